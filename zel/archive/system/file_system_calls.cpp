#include "zel/archive/system/file_system_calls.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>

namespace vorn::system {

file_system_calls::~file_system_calls() = default;

int file_system_calls::open(const char* path, int flags, mode_t mode) {
    return ::open(path, flags, mode);
}

ssize_t file_system_calls::read(int descriptor, void* data, std::size_t size) {
    return ::read(descriptor, data, size);
}

ssize_t file_system_calls::pread(int descriptor, void* data, std::size_t size, off_t offset) {
    return ::pread(descriptor, data, size, offset);
}

ssize_t file_system_calls::write(int descriptor, const void* data, std::size_t size) {
    return ::write(descriptor, data, size);
}

off_t file_system_calls::lseek(int descriptor, off_t offset, int whence) {
    return ::lseek(descriptor, offset, whence);
}

int file_system_calls::fstat(int descriptor, struct stat* status) {
    return ::fstat(descriptor, status);
}

int file_system_calls::fchmod(int descriptor, mode_t mode) {
    return ::fchmod(descriptor, mode);
}

int file_system_calls::fsync(int descriptor) {
    return ::fsync(descriptor);
}

int file_system_calls::close(int descriptor) {
    return ::close(descriptor);
}

int file_system_calls::rename(const char* from, const char* to) {
    return std::rename(from, to);
}

int file_system_calls::unlink(const char* path) {
    return ::unlink(path);
}

file_system_calls& file_system_calls::system() {
    static file_system_calls calls;
    return calls;
}

}  // namespace vorn::system
