// A file opened read-only so that mapped_region can map it.
//
// The object owns one descriptor, or none when it is closed; the value of a
// closed object is invalid_handle. Read-only (mode 0) is the only mode: any
// other mode is refused by name before anything is opened, so that the
// interface can grow later without changing its callers.
//
// Opening is tried up to open_attempts times. A failure that stands for a
// sharing violation waits retry_delay and tries again (also after the last
// attempt); any other failure stops at once. POSIX has no sharing modes. What
// stands for a sharing violation here is EWOULDBLOCK: the file is opened with
// O_NONBLOCK, and the kernel then answers EWOULDBLOCK instead of blocking when
// another process holds a write lease on the file, that is, when it has asked
// not to share the file without being told. Every other errno ends the attempts.
//
// A directory is refused with EISDIR, as it cannot be mapped. The region does
// not need the file_mapping once it exists: closing the file afterwards leaves
// the mapping intact.
#pragma once

#include <chrono>
#include <filesystem>

namespace vorn::system::mmap {

class file_mapping {
  public:
    using native_handle_type = int;
    static constexpr native_handle_type invalid_handle = -1;
    static constexpr int read_only = 0;
    static constexpr int open_attempts = 3;
    static constexpr std::chrono::milliseconds retry_delay{250};

    // A closed object.
    file_mapping() noexcept = default;
    // Opens an existing file for reading. Raises mmap_error with
    // "file_mapping: unsupported, non-read only mode" and no code for a mode
    // other than read_only, and with the last errno and
    // "Could not create file mapping for \"<path>\"" when no attempt succeeds.
    file_mapping(const std::filesystem::path& path, int mode);

    file_mapping(file_mapping&& other) noexcept;
    // Closes the own descriptor and takes the other's, leaving it closed.
    file_mapping& operator=(file_mapping&& other) noexcept;
    file_mapping(const file_mapping&) = delete;
    file_mapping& operator=(const file_mapping&) = delete;
    ~file_mapping();

    // Closes the descriptor if there is one; repeated calls do nothing. Only
    // invalid_handle means closed: descriptor 0 is an open file like any other.
    void close() noexcept;

    bool is_open() const noexcept { return handle_ != invalid_handle; }
    native_handle_type native_handle() const noexcept { return handle_; }

  private:
    native_handle_type handle_ = invalid_handle;
};

// True for the errno of an open that failed only because another process
// does not share the file for now; such a failure is worth another attempt.
bool is_sharing_violation(int error_number) noexcept;

}  // namespace vorn::system::mmap
