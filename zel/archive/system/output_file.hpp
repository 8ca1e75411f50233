// A file written front to back with seeks, through a large buffer.
//
// The appender writes many small entries; each would otherwise cost a system
// call or two. Writes are gathered until the buffer is full, a seek comes or
// the file is closed; a write larger than the buffer goes straight out.
//
// Failures are not reported at the call: the first failed system call puts
// the object in a failed state in which every further write and seek does
// nothing, and keeps that call's error number; the owner asks failed() and
// error() when it matters (before writing the table of contents, and after
// the close).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <vector>

namespace vorn::system {

class output_file {
  public:
    enum class open_mode {
        create,  // create the file, or discard what it held
        update,  // open an existing file for reading and writing
    };

    output_file() = default;
    output_file(const output_file&) = delete;
    output_file& operator=(const output_file&) = delete;
    // Closes the file; a failure of the close is not reported.
    ~output_file();

    // False when the file cannot be opened.
    bool open(const std::filesystem::path& path, open_mode mode);

    // Reads up to size bytes at offset, from the file as it is on disk;
    // returns how many were read.
    std::size_t read_at(std::uint64_t offset, char* data, std::size_t size);
    // The file's size on disk.
    std::uint64_t size_on_disk();

    void write(const char* data, std::size_t size);
    void seek(std::uint64_t position);
    // Writes what is buffered and closes the file.
    void close();

    bool is_open() const { return fd_ >= 0; }
    bool failed() const { return failed_; }
    // The error number of the first failed call; 0 if none failed.
    int error() const { return error_; }

  private:
    void flush();
    void write_out(const char* data, std::size_t size);
    void fail(int error);

    int fd_ = -1;
    bool failed_ = false;
    int error_ = 0;
    std::vector<char> buffer_;
    std::size_t buffered_ = 0;
};

}  // namespace vorn::system
