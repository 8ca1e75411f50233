// The error family of the library.
//
// Every failure the library detects itself is thrown as one of these classes.
// The layers differ only in the type and in the words put in front of the
// message. The root joins a context text to the message, a hook for a stack
// trace that is switched off, so every what() of the family ends in
// " from context of\n(backtrace support was disabled)". The one exception is
// zlib_runtime_exception, which carries its message alone.
#pragma once

#include <cstddef>
#include <cstdint>
#include <exception>
#include <string>

namespace vorn {

class vorn_exception : public std::exception {
  public:
    explicit vorn_exception(const std::string& message);
    vorn_exception(const vorn_exception&) = default;
    vorn_exception& operator=(const vorn_exception&) = default;
    ~vorn_exception() override;

    const char* what() const noexcept override { return text_.c_str(); }

    // The message without the context, prefixes of the layers included.
    std::string message() const { return text_.substr(0, message_size_); }
    // The context text behind the separator; empty for a bare message.
    std::string context() const { return text_.substr(context_offset_); }

  protected:
    struct bare_message {};
    // Joins no context: the text is the message alone.
    vorn_exception(const std::string& message, bare_message);

  private:
    std::string text_;
    std::size_t message_size_;
    std::size_t context_offset_;
};

// Failures of the compression streams; the message stands alone, without
// prefix and without context.
class zlib_runtime_exception : public vorn_exception {
  public:
    explicit zlib_runtime_exception(const std::string& message)
        : vorn_exception(message, bare_message{}) {}
};

namespace zel {

// Failures of the scene model and the writer: "zel exception: " + message.
class zel_exception : public vorn_exception {
  public:
    explicit zel_exception(const std::string& message);
};

// Failed link or binary validation: "zel exception: failed validation: " + message.
class zel_validation_exception : public zel_exception {
  public:
    explicit zel_validation_exception(const std::string& message);
};

}  // namespace zel

namespace zela {

// Failures of the archive layer: "zel_archive exception: " + message.
class zel_archive_exception : public vorn_exception {
  public:
    explicit zel_archive_exception(const std::string& message);
};

// Failures to fetch a package from a server, after its retries: a status
// that refuses, a transfer that broke, an answer that does not check out, an
// object that changed. Its own type, with the same words, so that a caller
// that takes a missing entry as no answer still passes these on.
class zel_remote_exception : public zel_archive_exception {
  public:
    using zel_archive_exception::zel_archive_exception;
};

}  // namespace zela

namespace system::mmap {

// Failures of file mapping. With a code, the message is followed by ": " and
// the operating system's text for that code.
class mmap_error : public vorn_exception {
  public:
    explicit mmap_error(const std::string& message);
    mmap_error(std::uint32_t error_code, const std::string& message);

    std::uint32_t error_code() const noexcept { return error_code_; }

  private:
    std::uint32_t error_code_;
};

// The operating system's text for an error number, trimmed of white space at
// both ends; "Unknown error " and the decimal number when it has none.
std::string system_error_text(std::uint32_t error_code);

}  // namespace system::mmap

}  // namespace vorn
