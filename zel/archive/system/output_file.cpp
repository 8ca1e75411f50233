#include "zel/archive/system/output_file.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

namespace vorn::system {

namespace {

constexpr std::size_t buffer_size = 1 << 20;

}  // namespace

output_file::~output_file() {
    close();
}

bool output_file::open(const std::filesystem::path& path, open_mode mode) {
    const int flags = mode == open_mode::create ? O_WRONLY | O_CREAT | O_TRUNC : O_RDWR;
    do {
        fd_ = ::open(path.c_str(), flags | O_CLOEXEC, 0666);
    } while (fd_ < 0 && errno == EINTR);
    if (fd_ < 0) {
        return false;
    }
    failed_ = false;
    error_ = 0;
    buffer_.resize(buffer_size);
    buffered_ = 0;
    return true;
}

std::size_t output_file::read_at(std::uint64_t offset, char* data, std::size_t size) {
    flush();
    std::size_t done = 0;
    while (done < size && !failed_) {
        const ssize_t n = ::pread(fd_, data + done, size - done, static_cast<off_t>(offset + done));
        if (n < 0 && errno == EINTR) {
            continue;
        }
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
    return ::fstat(fd_, &status) == 0 ? static_cast<std::uint64_t>(status.st_size) : 0;
}

void output_file::write(const char* data, std::size_t size) {
    if (failed_) {
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
    if (!failed_ && ::lseek(fd_, static_cast<off_t>(position), SEEK_SET) < 0) {
        fail(errno);
    }
}

void output_file::close() {
    if (fd_ < 0) {
        return;
    }
    flush();
    if (::close(fd_) != 0 && errno != EINTR) {
        fail(errno);
    }
    fd_ = -1;
    buffer_ = std::vector<char>();
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
        const ssize_t n = ::write(fd_, data, size);
        if (n < 0 && errno == EINTR) {
            continue;
        }
        if (n <= 0) {
            // A write that takes nothing and reports no error is a full disk.
            fail(n < 0 ? errno : ENOSPC);
            return;
        }
        data += n;
        size -= static_cast<std::size_t>(n);
    }
}

}  // namespace vorn::system
