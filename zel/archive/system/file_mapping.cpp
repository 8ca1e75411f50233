#include "zel/archive/system/file_mapping.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <string>
#include <thread>
#include <utility>

#include "zel/foundation/exception.hpp"

namespace vorn::system::mmap {

namespace {

// O_NONBLOCK makes an open that conflicts with a lease fail with EWOULDBLOCK
// instead of waiting for the lease holder; it also keeps a FIFO from blocking
// the open. It changes nothing else for a descriptor that is only mapped.
constexpr int open_flags = O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

// One open of an existing file for reading: the descriptor, or invalid_handle
// with errno set. An interrupted call is repeated, as it says nothing about
// the file.
int open_for_reading(const std::filesystem::path& path) {
    int descriptor;
    do {
        descriptor = ::open(path.c_str(), open_flags);
    } while (descriptor == file_mapping::invalid_handle && errno == EINTR);
    if (descriptor == file_mapping::invalid_handle) {
        return descriptor;
    }
    // A directory opens for reading but cannot be mapped; it counts as a file
    // that cannot be opened.
    struct stat status;
    if (::fstat(descriptor, &status) != 0 || S_ISDIR(status.st_mode)) {
        const int error_number = S_ISDIR(status.st_mode) ? EISDIR : errno;
        ::close(descriptor);
        errno = error_number;
        return file_mapping::invalid_handle;
    }
    return descriptor;
}

}  // namespace

bool is_sharing_violation(int error_number) noexcept {
    return error_number == EWOULDBLOCK;
}

file_mapping::file_mapping(const std::filesystem::path& path, int mode) {
    if (mode != read_only) {
        throw mmap_error("file_mapping: unsupported, non-read only mode");
    }
    int error_number = 0;
    for (int attempt = 0; attempt < open_attempts; ++attempt) {
        handle_ = open_for_reading(path);
        if (handle_ != invalid_handle) {
            return;
        }
        error_number = errno;
        if (!is_sharing_violation(error_number)) {
            break;
        }
        std::this_thread::sleep_for(retry_delay);
    }
    throw mmap_error(static_cast<std::uint32_t>(error_number),
                     "Could not create file mapping for \"" + path.string() + "\"");
}

file_mapping::file_mapping(file_mapping&& other) noexcept
    : handle_(std::exchange(other.handle_, invalid_handle)) {}

file_mapping& file_mapping::operator=(file_mapping&& other) noexcept {
    if (this != &other) {
        close();
        handle_ = std::exchange(other.handle_, invalid_handle);
    }
    return *this;
}

file_mapping::~file_mapping() {
    close();
}

void file_mapping::close() noexcept {
    if (handle_ != invalid_handle) {
        // The descriptor is gone whatever close answers, even EINTR; a retry
        // could close a descriptor that another thread has just been given.
        ::close(handle_);
        handle_ = invalid_handle;
    }
}

}  // namespace vorn::system::mmap
