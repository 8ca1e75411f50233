// The system calls through which archives are written and files read whole.
//
// Every call is virtual so that a test can put a layer of its own between the
// archive and the system, one that fails the n-th write or seek, say, and
// check what each failure leaves on disk. Each operation does what its POSIX
// namesake does and answers as it does: -1 (or false) with errno set on
// failure. An interrupted call (EINTR) is repeated by the callers.
//
// Writers buffer, so an archive costs one write call per megabyte and a seek
// per gap, not per entry: the indirection is not on any path that matters.
#pragma once

#include <sys/stat.h>
#include <sys/types.h>

#include <cstddef>

namespace vorn::system {

class file_system_calls {
  public:
    virtual ~file_system_calls();

    virtual int open(const char* path, int flags, mode_t mode);
    virtual ssize_t read(int descriptor, void* data, std::size_t size);
    virtual ssize_t pread(int descriptor, void* data, std::size_t size, off_t offset);
    virtual ssize_t write(int descriptor, const void* data, std::size_t size);
    virtual off_t lseek(int descriptor, off_t offset, int whence);
    virtual int fstat(int descriptor, struct stat* status);
    virtual int fchmod(int descriptor, mode_t mode);
    virtual int fsync(int descriptor);
    virtual int close(int descriptor);
    virtual int rename(const char* from, const char* to);
    virtual int unlink(const char* path);

    // The calls as the system makes them; shared by every user, stateless.
    static file_system_calls& system();
};

}  // namespace vorn::system
