// A typed value as four owned strings: value text, unit, type word and tag.
//
// A value becomes text the moment it is handed over (value_text.hpp gives the
// forms) and the type word records its kind: "integer", "double", "string" or
// "boolean", with the element count glued on for arrays ("double3"). float
// answers to "double" as well; only the number of digits tells them apart.
// Array elements are joined by one blank, strings unquoted. An empty unit or
// tag means the value has none.
//
// generate appends to `value` and replaces `type`, except for a scalar string,
// which replaces `value` too. Constructors start from four empty strings. An
// array has at least one element: one of none raises, as it has no text and
// no type word that reads back.
#pragma once

#include <concepts>
#include <cstddef>
#include <string>
#include <string_view>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/value_text.hpp"

namespace vorn {

inline constexpr std::string_view empty_array_message =
    "could not generate an array of no elements in generic_param";

// The twelve kinds a typed value can be made from.
template <class T>
concept value_kind =
    std::same_as<T, char> || std::same_as<T, unsigned char> || std::same_as<T, short> ||
    std::same_as<T, unsigned short> || std::same_as<T, int> || std::same_as<T, unsigned int> ||
    std::same_as<T, long long> || std::same_as<T, unsigned long long> || std::same_as<T, float> ||
    std::same_as<T, double> || std::same_as<T, std::string> || std::same_as<T, bool>;

template <value_kind T>
constexpr std::string_view type_word_of() noexcept {
    if constexpr (std::same_as<T, float> || std::same_as<T, double>) {
        return double_type_word;
    } else if constexpr (std::same_as<T, std::string>) {
        return string_type_word;
    } else if constexpr (std::same_as<T, bool>) {
        return boolean_type_word;
    } else {
        return integer_type_word;
    }
}

class generic_param {
  public:
    std::string value;
    std::string unit;
    std::string type;
    std::string tag;

    generic_param() = default;

    template <value_kind T>
    explicit generic_param(const T& scalar) {
        generate(scalar);
    }

    // Raises vorn_exception if count is 0.
    template <value_kind T>
    generic_param(const T* first, std::size_t count) {
        generate(first, count);
    }

    template <value_kind T>
    void generate(const T& scalar);

    // Appends the elements joined by blanks; raises vorn_exception, changing
    // nothing, if count is 0.
    template <value_kind T>
    void generate(const T* first, std::size_t count);

    // Stores a value under a type word of the caller's own, unchecked.
    void create(const std::string& value_text, const std::string& type_word) {
        value = value_text;
        type = type_word;
    }
    void set_unit(const std::string& unit_name) { unit = unit_name; }
    void set_tag(const std::string& tag_text) { tag = tag_text; }
};

template <value_kind T>
void generic_param::generate(const T& scalar) {
    if constexpr (std::same_as<T, std::string>) {
        if (&scalar != &value) {
            value = scalar;
        }
    } else if (!append_value_text(value, scalar)) {
        throw vorn_exception("could not generate generic_param");
    }
    type = type_word_of<T>();
}

template <value_kind T>
void generic_param::generate(const T* first, std::size_t count) {
    if (count == 0) {
        throw vorn_exception(std::string(empty_array_message));
    }
    bool failed = false;
    for (std::size_t i = 0; i + 1 < count; ++i) {
        failed |= !append_value_text(value, first[i]);
        value.push_back(' ');
    }
    failed |= !append_value_text(value, first[count - 1]);
    if (failed) {
        throw vorn_exception("could not generate array in generic_param");
    }
    type = type_word_of<T>();
    append_value_text(type, static_cast<unsigned long long>(count));
}

}  // namespace vorn
