#include "zel/archive/node_cache.hpp"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <random>
#include <string>
#include <system_error>
#include <tuple>
#include <vector>

#include "zel/archive/system/file_mapping.hpp"
#include "zel/archive/system/mapped_region.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"

namespace vorn::zela {

namespace fs = std::filesystem;

namespace {

constexpr std::string_view temporary_prefix = ".tmp-";
constexpr std::string_view lock_suffix = ".lock";
constexpr auto stale_temporary_age = std::chrono::hours(1);

std::string hex(std::uint64_t value) {
    char text[17];
    std::snprintf(text, sizeof text, "%016llx", static_cast<unsigned long long>(value));
    return text;
}

// A name that no other writer, in this process or another, picks at once.
std::string temporary_name() {
    static std::atomic<std::uint64_t> counter{0};
    static const std::uint64_t salt = std::random_device{}();
    return std::string(temporary_prefix) + std::to_string(::getpid()) + "-" +
           hex(salt ^ counter.fetch_add(1, std::memory_order_relaxed));
}

bool write_all(int fd, const char* data, std::uint64_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, std::min<std::uint64_t>(size, 1u << 30));
        if (written < 0) {
            if (errno == EINTR) {
                continue;
            }
            return false;
        }
        data += written;
        size -= static_cast<std::uint64_t>(written);
    }
    return true;
}

}  // namespace

node_cache::node_cache(fs::path directory, std::uint64_t budget)
    : directory_(std::move(directory)), budget_(budget) {}

node_cache::fetch_claim& node_cache::fetch_claim::operator=(fetch_claim&& other) noexcept {
    if (this != &other) {
        release();
        locks_ = std::move(other.locks_);
    }
    return *this;
}

// The lock file goes first, while it is held: a process that opened it
// before gets the claim on the unlinked file and finds the bytes stored; one
// that comes later makes a new lock file and finds them too.
void node_cache::fetch_claim::release() noexcept {
    for (const auto& [fd, path] : locks_) {
        ::unlink(path.c_str());
        ::close(fd);
    }
    locks_.clear();
}

node_cache::fetch_claim node_cache::claim(std::vector<binary_identity> identities) {
    std::sort(identities.begin(), identities.end(), [](const auto& a, const auto& b) {
        return std::tie(a.hash, a.size) < std::tie(b.hash, b.size);
    });
    // Claimed twice, one identity would wait for itself.
    identities.erase(std::unique(identities.begin(), identities.end()), identities.end());
    fetch_claim claim;
    for (const binary_identity& identity : identities) {
        if (identity.size == 0) {
            continue;
        }
        fs::path path = path_of(identity);
        path += lock_suffix;
        std::error_code error;
        fs::create_directories(path.parent_path(), error);
        const int fd = ::open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
        if (fd < 0) {
            continue;
        }
        int locked;
        while ((locked = ::flock(fd, LOCK_EX)) != 0 && errno == EINTR) {
        }
        if (locked != 0) {
            ::close(fd);
            continue;
        }
        claim.locks_.emplace_back(fd, std::move(path));
    }
    return claim;
}

fs::path node_cache::path_of(const binary_identity& identity) const {
    const std::string hash = hex(identity.hash);
    return directory_ / hash.substr(0, 2) / (hash + "-" + std::to_string(identity.size));
}

std::optional<node_cache::cached> node_cache::find(const binary_identity& identity) {
    if (identity.size == 0) {
        return std::nullopt;
    }
    const fs::path path = path_of(identity);
    std::error_code error;
    const auto size = fs::file_size(path, error);
    if (error) {
        return std::nullopt;
    }
    std::shared_ptr<system::mmap::mapped_region> region;
    if (size == identity.size) {
        try {
            const system::mmap::file_mapping file(path, system::mmap::file_mapping::read_only);
            region = std::make_shared<system::mmap::mapped_region>(
                file, system::mmap::mapped_region::read_only, 0, size);
        } catch (const vorn_exception&) {
            return std::nullopt;  // evicted meanwhile, or unreadable: fetched again
        }
    }
    if (!region || hash_bytes(region->base(), region->size()) != identity.hash) {
        fs::remove(path, error);
        return std::nullopt;
    }
    // The least recently used go first; a hit makes the file young again.
    ::utimensat(AT_FDCWD, path.c_str(), nullptr, 0);
    const char* data = region->base();
    return cached{std::move(region), data};
}

void node_cache::store(const binary_identity& identity, const char* data, std::uint64_t size) {
    if (size == 0 || size != identity.size || size > budget_ ||
        hash_bytes(data, size) != identity.hash) {
        return;
    }
    const fs::path target = path_of(identity);
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    if (error) {
        return;
    }
    const fs::path temporary = target.parent_path() / temporary_name();
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0644);
    if (fd < 0) {
        return;
    }
    const bool written = write_all(fd, data, size);
    if (::close(fd) != 0 || !written || ::rename(temporary.c_str(), target.c_str()) != 0) {
        fs::remove(temporary, error);
        return;
    }
    std::lock_guard lock(mutex_);
    if (!believed_size_) {
        evict();
    } else {
        *believed_size_ += size;
        if (*believed_size_ > budget_) {
            evict();
        }
    }
}

void node_cache::evict() {
    struct file {
        fs::path path;
        fs::file_time_type used;
        std::uint64_t size;
    };
    std::vector<file> files;
    std::uint64_t total = 0;
    const auto now = fs::file_time_type::clock::now();
    std::error_code error;
    for (fs::recursive_directory_iterator it(directory_, error), end; !error && it != end;
         it.increment(error)) {
        if (!it->is_regular_file(error)) {
            continue;
        }
        const auto used = it->last_write_time(error);
        const auto size = it->file_size(error);
        if (error) {
            error.clear();
            continue;  // gone meanwhile
        }
        const std::string name = it->path().filename().string();
        if (name.starts_with(temporary_prefix) || name.ends_with(lock_suffix)) {
            if (now - used > stale_temporary_age) {
                fs::remove(it->path(), error);
            }
            continue;
        }
        files.push_back({it->path(), used, size});
        total += size;
    }
    std::sort(files.begin(), files.end(),
              [](const file& a, const file& b) { return a.used < b.used; });
    const std::uint64_t goal = budget_ / 10 * 9;
    for (const file& f : files) {
        if (total <= goal) {
            break;
        }
        fs::remove(f.path, error);
        total -= f.size;
    }
    believed_size_ = total;
}

}  // namespace vorn::zela
