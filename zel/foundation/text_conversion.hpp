// Conversion between UTF-8, UTF-16 and wide text: the one place where the
// library encodes and decodes Unicode. Scene names, the host's texts and
// code pages build on the single-sequence calls below, each with its own
// answer to bad input.
//
// to_wide and to_utf8 never raise. Invalid sequences become U+FFFD, and a
// result that is empty or holds U+FFFD gets the marker "-> unicode_ERROR"
// appended, so an empty input converts to the marker alone. Input that
// really holds U+FFFD is marked as well. Wide text is UTF-32.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace vorn {

inline constexpr char32_t replacement_character = 0xFFFD;
inline constexpr std::string_view replacement_utf8 = "\xEF\xBF\xBD";

std::wstring to_wide(const std::string& utf8);
std::string to_utf8(const std::wstring& wide);

// One UTF-8 sequence, as decode_utf8 reads it.
struct utf8_sequence {
    char32_t code;
    // Bytes taken: the whole sequence if it is well formed, and otherwise
    // the bytes that still began a valid one, at least one.
    std::size_t length;
    bool valid;
};

// Reads the sequence at text[at], at < text.size(). Well formed means no
// overlong form, no surrogate, nothing beyond U+10FFFF.
utf8_sequence decode_utf8(std::string_view text, std::size_t at) noexcept;
bool is_valid_utf8(std::string_view text) noexcept;
// Whether code is a surrogate or beyond U+10FFFF, which no UTF encodes.
constexpr bool is_unencodable(char32_t code) noexcept {
    return code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF);
}
// Appends the UTF-8 of code, which must not be unencodable.
void append_utf8(std::string& out, char32_t code);

// Reads the code point at text[at], at < text.size(), and advances at past
// it: a surrogate pair gives its code point, an unpaired surrogate is given
// as it is.
char32_t decode_utf16(std::u16string_view text, std::size_t& at) noexcept;
// Appends the UTF-16 of code, which must not be unencodable.
void append_utf16(std::u16string& out, char32_t code);

}  // namespace vorn
