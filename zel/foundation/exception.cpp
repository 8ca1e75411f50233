#include "zel/foundation/exception.hpp"

#include <cstring>
#include <string_view>

namespace vorn {

namespace {

constexpr std::string_view context_separator = " from context of\n";

// The hook where a stack trace would be taken. Traces are switched off, and
// the sentence below is part of every message of the family.
std::string_view trace_context() {
    return "(backtrace support was disabled)";
}

}  // namespace

vorn_exception::vorn_exception(const std::string& message)
    : message_size_(message.size()), context_offset_(message.size() + context_separator.size()) {
    const std::string_view context = trace_context();
    text_.reserve(context_offset_ + context.size());
    text_.append(message).append(context_separator).append(context);
}

vorn_exception::vorn_exception(const std::string& message, bare_message)
    : text_(message), message_size_(message.size()), context_offset_(message.size()) {}

vorn_exception::~vorn_exception() = default;

namespace zel {

zel_exception::zel_exception(const std::string& message)
    : vorn_exception("zel exception: " + message) {}

zel_validation_exception::zel_validation_exception(const std::string& message)
    : zel_exception("failed validation: " + message) {}

}  // namespace zel

namespace zela {

zel_archive_exception::zel_archive_exception(const std::string& message)
    : vorn_exception("zel_archive exception: " + message) {}

}  // namespace zela

namespace system::mmap {

mmap_error::mmap_error(const std::string& message) : vorn_exception(message), error_code_(0) {}

mmap_error::mmap_error(std::uint32_t error_code, const std::string& message)
    : vorn_exception(message + ": " + system_error_text(error_code)), error_code_(error_code) {}

std::string system_error_text(std::uint32_t error_code) {
    const std::string unknown = "Unknown error " + std::to_string(error_code);
    if (error_code > static_cast<std::uint32_t>(INT32_MAX)) {
        return unknown;
    }
    char buffer[512];
    // The GNU strerror_r may return a static text instead of filling buffer.
    const char* text = strerror_r(static_cast<int>(error_code), buffer, sizeof buffer);
    std::string_view view = text != nullptr ? std::string_view(text) : std::string_view();
    constexpr std::string_view blanks = " \t\n\v\f\r";
    const auto first = view.find_first_not_of(blanks);
    if (first == std::string_view::npos || view.starts_with("Unknown error")) {
        return unknown;
    }
    view = view.substr(first, view.find_last_not_of(blanks) - first + 1);
    return std::string(view);
}

}  // namespace system::mmap

}  // namespace vorn
