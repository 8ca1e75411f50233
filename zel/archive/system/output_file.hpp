// A file written front to back with seeks, through a large buffer.
//
// The appender writes many small entries; each would otherwise cost a system
// call or two. Writes are gathered until the buffer is full, a seek comes or
// the file is closed; a write larger than the buffer goes straight out.
//
// A file opened to replace its target never touches the target before it is
// complete. It is written beside the target under a temporary name (the
// target's name, a dot, random hexadecimal digits and ".tmp", created
// exclusively) and close() syncs it to the disk and renames it over the
// target. Until that rename the target is what it was, and a process that
// has it mapped keeps its bytes; a crash or a kill leaves the target as it
// was and at most a stray temporary beside it. A target that is a symbolic
// link is replaced where the link points.
//
// Failures are not reported at the call: the first failed system call puts
// the object in a failed state in which every further write and seek does
// nothing, and keeps that call's error number; the owner asks failed() and
// error() when it matters (before writing the table of contents, and after
// the close). A failed file that replaces a target is removed at the close,
// so the target stays as it was.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string_view>
#include <vector>

#include "zel/archive/system/file_system_calls.hpp"

namespace vorn::system {

class output_file {
  public:
    enum class open_mode {
        replace,  // a new file, put in the target's place by close()
        update,   // an existing file, read and written in place
    };

    explicit output_file(file_system_calls& calls = file_system_calls::system());
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    // Abandons the file if nobody closed it.
    ~output_file();

    // False when the file cannot be opened; error() then tells why.
    bool open(const std::filesystem::path& path, open_mode mode);

    // Reads up to size bytes at offset, from the file as it is on disk;
    // returns how many were read.
    std::size_t read_at(std::uint64_t offset, char* data, std::size_t size);
    // The file's size on disk.
    std::uint64_t size_on_disk();

    void write(const char* data, std::size_t size);
    void seek(std::uint64_t position);
    // Writes what is buffered and closes the file. A replacing file is synced
    // and renamed over its target, unless a call failed, now or before: then
    // it is removed and the target stays as it was.
    void close();
    // Closes the file without writing what is buffered. A replacing file is
    // removed and its target stays as it was; an updated file keeps what was
    // written to it so far.
    void abandon() noexcept;

    bool is_open() const { return descriptor_ >= 0; }
    bool failed() const { return failed_; }
    // The error number of the first failed call; 0 if none failed.
    int error() const { return error_; }

  private:
    bool open_temporary(const std::filesystem::path& target);
    void flush();
    void write_out(const char* data, std::size_t size);
    void fail(int error);
    // Closes the descriptor; a failure counts as a failed call.
    void close_descriptor();

    file_system_calls& calls_;
    int descriptor_ = -1;
    bool failed_ = false;
    int error_ = 0;
    // For a replacing file: where it is written, and the file it replaces.
    std::filesystem::path temporary_;
    std::filesystem::path target_;
    std::vector<char> buffer_;
    std::size_t buffered_ = 0;
};

// The temporaries that replacing files of target left beside it, sorted by
// name: files named as open() names them, whose writer was killed or is still
// writing. Such a file is never read and, once its writer is gone, may be
// deleted. A directory that cannot be listed has none.
std::vector<std::filesystem::path> temporaries_of(const std::filesystem::path& target);

// Whether file_name is a name that open() gives a temporary of a target
// named target_name.
bool is_temporary_name(std::string_view target_name, std::string_view file_name);

}  // namespace vorn::system
