#include "zel/archive/system/file_contents.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>

namespace vorn::system {

namespace {

// Room added at a time beyond what the file's size announced: for a file that
// grows, or one whose size the system does not know (a pipe, a file under
// /proc).
constexpr std::size_t read_step = 1 << 16;

int failure(std::vector<char>& bytes, int error) {
    bytes.clear();
    return error;
}

}  // namespace

int read_file_contents(file_system_calls& calls, const std::filesystem::path& path,
                       std::vector<char>& bytes) {
    bytes.clear();
    int descriptor;
    do {
        descriptor = calls.open(path.c_str(), O_RDONLY | O_CLOEXEC, 0);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0) {
        return errno;
    }
    int error = 0;
    struct stat status;
    if (calls.fstat(descriptor, &status) != 0) {
        error = errno;
    } else if (S_ISDIR(status.st_mode)) {
        error = EISDIR;
    } else {
        // One byte more than announced, so that the read that finds the end
        // needs no more room.
        bytes.resize(S_ISREG(status.st_mode) ? static_cast<std::size_t>(status.st_size) + 1
                                             : read_step);
    }
    std::size_t size = 0;
    while (error == 0) {
        if (size == bytes.size()) {
            bytes.resize(size + std::max(size, read_step));
        }
        const ssize_t n = calls.read(descriptor, bytes.data() + size, bytes.size() - size);
        if (n == 0) {
            break;
        }
        if (n < 0) {
            if (errno != EINTR) {
                error = errno;
            }
            continue;
        }
        size += static_cast<std::size_t>(n);
    }
    calls.close(descriptor);
    if (error != 0) {
        return failure(bytes, error);
    }
    bytes.resize(size);
    return 0;
}

}  // namespace vorn::system
