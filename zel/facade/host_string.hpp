// The host's text, as the managed runtime hands it over: UTF-16 code units
// that may be null. A null text and the empty text are different values, as
// in the runtime, although most checks of the façade reject both alike.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace System {

class String {
  public:
    // The null text.
    String() = default;
    String(std::nullptr_t) {}
    // A null pointer gives the null text; anything else is read up to its NUL.
    String(const char16_t* text) {
        if (text != nullptr) {
            units_ = std::u16string(text);
        }
    }
    String(std::u16string text) : units_(std::move(text)) {}
    String(std::u16string_view text) : units_(std::u16string(text)) {}

    bool is_null() const noexcept { return !units_.has_value(); }
    bool empty() const noexcept { return !units_ || units_->empty(); }
    // The units; empty for the null text.
    std::u16string_view view() const noexcept {
        return units_ ? std::u16string_view(*units_) : std::u16string_view();
    }
    std::size_t size() const noexcept { return units_ ? units_->size() : 0; }

    static bool IsNullOrEmpty(const String& text) noexcept { return text.empty(); }

    friend bool operator==(const String& a, const String& b) = default;

  private:
    std::optional<std::u16string> units_;
};

// A native pointer boxed as a host object: absent (a null reference) or
// holding a pointer, which may itself be null.
using BoxedIntPtr = std::optional<const void*>;

// The platform's line end, which the log text of ZELFile::Create uses.
struct Environment {
    static constexpr std::u16string_view NewLine = u"\n";
};

}  // namespace System
