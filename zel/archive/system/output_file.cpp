#include "zel/archive/system/output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>
#include <random>
#include <system_error>

namespace vorn::system {

namespace {

constexpr std::size_t buffer_size = 1 << 20;
// Tries at a free temporary name before giving up; with 48 random bits a
// second try is already rare.
constexpr int temporary_attempts = 16;

// Repeats a call that a signal interrupted: that says nothing about the file.
template <class Call>
auto repeated(Call call) {
    auto result = call();
    while (result < 0 && errno == EINTR) {
        result = call();
    }
    return result;
}

// A temporary's name is the target's, then ".<12 hexadecimal digits>.tmp".
constexpr std::size_t temporary_digits = 12;
constexpr std::string_view temporary_extension = ".tmp";

std::string temporary_suffix(std::random_device& random) {
    const std::uint64_t bits = (std::uint64_t{random()} << 32 | random()) & 0xFFFFFFFFFFFFu;
    char text[32];
    std::snprintf(text, sizeof text, ".%0*" PRIx64 "%s", static_cast<int>(temporary_digits), bits,
                  temporary_extension.data());
    return text;
}

// The file that replacing target writes over: target itself, or where it
// points if it is a symbolic link.
std::filesystem::path replaced_file(const std::filesystem::path& target) {
    std::error_code ignored;
    if (std::filesystem::is_symlink(target, ignored)) {
        std::filesystem::path resolved = std::filesystem::weakly_canonical(target, ignored);
        if (!resolved.empty()) {
            return resolved;
        }
    }
    return target;
}

}  // namespace

output_file::output_file(file_system_calls& calls) : calls_(calls) {}

output_file::~output_file() {
    abandon();
}

bool output_file::open(const std::filesystem::path& path, open_mode mode) {
    failed_ = false;
    error_ = 0;
    temporary_.clear();
    target_.clear();
    if (mode == open_mode::replace) {
        if (!open_temporary(path)) {
            return false;
        }
    } else {
        descriptor_ = repeated([&] { return calls_.open(path.c_str(), O_RDWR | O_CLOEXEC, 0); });
        if (descriptor_ < 0) {
            error_ = errno;
            return false;
        }
    }
    buffer_.resize(buffer_size);
    buffered_ = 0;
    return true;
}

bool output_file::open_temporary(const std::filesystem::path& target) {
    target_ = replaced_file(target);
    // A target that could not be opened for writing is not replaced either,
    // and the new file takes the permissions of the one it replaces, as a
    // file rewritten in place would keep them.
    struct stat old;
    const bool replaces_a_file = ::stat(target_.c_str(), &old) == 0;
    if (replaces_a_file && (S_ISDIR(old.st_mode) || ::access(target_.c_str(), W_OK) != 0)) {
        error_ = S_ISDIR(old.st_mode) ? EISDIR : errno;
        return false;
    }

    std::random_device random;
    for (int attempt = 0; attempt < temporary_attempts; ++attempt) {
        temporary_ = target_;
        temporary_ += temporary_suffix(random);
        descriptor_ = repeated([&] {
            return calls_.open(temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        });
        if (descriptor_ >= 0) {
            if (replaces_a_file && S_ISREG(old.st_mode)) {
                calls_.fchmod(descriptor_, old.st_mode & 07777);
            }
            return true;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    error_ = errno;
    temporary_.clear();
    return false;
}

std::size_t output_file::read_at(std::uint64_t offset, char* data, std::size_t size) {
    flush();
    std::size_t done = 0;
    while (done < size && !failed_) {
        const ssize_t n = repeated([&] {
            return calls_.pread(descriptor_, data + done, size - done,
                                static_cast<off_t>(offset + done));
        });
        if (n <= 0) {
            break;
        }
        done += static_cast<std::size_t>(n);
    }
    return done;
}

std::uint64_t output_file::size_on_disk() {
    flush();
    struct stat status;
    return calls_.fstat(descriptor_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void output_file::write(const char* data, std::size_t size) {
    if (failed_ || size == 0) {
        return;
    }
    if (buffered_ + size > buffer_.size()) {
        flush();
        if (size >= buffer_.size()) {
            write_out(data, size);
            return;
        }
    }
    std::memcpy(buffer_.data() + buffered_, data, size);
    buffered_ += size;
}

void output_file::seek(std::uint64_t position) {
    flush();
    if (!failed_ && calls_.lseek(descriptor_, static_cast<off_t>(position), SEEK_SET) < 0) {
        fail(errno);
    }
}

void output_file::close() {
    if (descriptor_ < 0) {
        return;
    }
    flush();
    const bool replacing = !temporary_.empty();
    // Synced before the rename, so that the target never names bytes that
    // are not on the disk yet.
    if (replacing && !failed_ && repeated([&] { return calls_.fsync(descriptor_); }) != 0) {
        fail(errno);
    }
    close_descriptor();
    if (replacing) {
        if (!failed_ && calls_.rename(temporary_.c_str(), target_.c_str()) != 0) {
            fail(errno);
        }
        if (failed_) {
            calls_.unlink(temporary_.c_str());
        }
        temporary_.clear();
    }
    buffer_ = std::vector<char>();
}

void output_file::abandon() noexcept {
    if (descriptor_ < 0) {
        return;
    }
    buffered_ = 0;
    calls_.close(descriptor_);
    descriptor_ = -1;
    if (!temporary_.empty()) {
        calls_.unlink(temporary_.c_str());
        temporary_.clear();
    }
    buffer_ = std::vector<char>();
}

void output_file::close_descriptor() {
    // Linux frees the descriptor even when close is interrupted, so EINTR
    // is no failure and the call is not repeated.
    if (calls_.close(descriptor_) != 0 && errno != EINTR) {
        fail(errno);
    }
    descriptor_ = -1;
}

void output_file::fail(int error) {
    if (!failed_) {
        failed_ = true;
        error_ = error;
    }
}

void output_file::flush() {
    if (buffered_ != 0) {
        write_out(buffer_.data(), buffered_);
        buffered_ = 0;
    }
}

void output_file::write_out(const char* data, std::size_t size) {
    while (size != 0 && !failed_) {
        const ssize_t n = repeated([&] { return calls_.write(descriptor_, data, size); });
        if (n <= 0) {
            // A write that takes nothing and reports no error is a full disk.
            fail(n < 0 ? errno : ENOSPC);
            return;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

bool is_temporary_name(std::string_view target_name, std::string_view file_name) {
    if (file_name.size() !=
            target_name.size() + 1 + temporary_digits + temporary_extension.size() ||
        !file_name.starts_with(target_name) || !file_name.ends_with(temporary_extension)) {
        return false;
    }
    const std::string_view suffix = file_name.substr(target_name.size());
    return suffix[0] == '.' &&
           std::all_of(suffix.begin() + 1, suffix.begin() + 1 + temporary_digits,
                       [](char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'); });
}

std::vector<std::filesystem::path> temporaries_of(const std::filesystem::path& target) {
    const std::filesystem::path file = replaced_file(target);
    const std::string name = file.filename().string();
    std::filesystem::path directory = file.parent_path();
    std::vector<std::filesystem::path> found;
    std::error_code error;
    std::filesystem::directory_iterator entries(directory.empty() ? "." : directory, error);
    for (; !error && entries != std::filesystem::directory_iterator(); entries.increment(error)) {
        if (is_temporary_name(name, entries->path().filename().string())) {
            found.push_back(directory / entries->path().filename());
        }
    }
    std::sort(found.begin(), found.end());
    return found;
}

}  // namespace vorn::system
