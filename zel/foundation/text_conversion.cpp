#include "zel/foundation/text_conversion.hpp"

#include <cstdint>

namespace vorn {

namespace {

static_assert(sizeof(wchar_t) == 4, "wide text is taken to be UTF-32");

constexpr std::string_view error_marker = "-> unicode_ERROR";
constexpr std::wstring_view wide_error_marker = L"-> unicode_ERROR";

bool is_continuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

}  // namespace

utf8_sequence decode_utf8(std::string_view text, std::size_t at) noexcept {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) {
        return {lead, 1, true};
    }
    std::size_t length;
    char32_t code;
    // The range of the second byte excludes overlong forms, surrogates and
    // code points beyond U+10FFFF.
    unsigned char low = 0x80;
    unsigned char high = 0xBF;
    if (lead >= 0xC2 && lead <= 0xDF) {
        length = 2;
        code = lead & 0x1F;
    } else if (lead >= 0xE0 && lead <= 0xEF) {
        length = 3;
        code = lead & 0x0F;
        low = lead == 0xE0 ? 0xA0 : 0x80;
        high = lead == 0xED ? 0x9F : 0xBF;
    } else if (lead >= 0xF0 && lead <= 0xF4) {
        length = 4;
        code = lead & 0x07;
        low = lead == 0xF0 ? 0x90 : 0x80;
        high = lead == 0xF4 ? 0x8F : 0xBF;
    } else {
        return {replacement_character, 1, false};
    }
    for (std::size_t k = 1; k < length; ++k) {
        if (at + k == text.size()) {
            return {replacement_character, k, false};
        }
        const auto byte = static_cast<unsigned char>(text[at + k]);
        if (k == 1 ? (byte < low || byte > high) : !is_continuation(byte)) {
            return {replacement_character, k, false};
        }
        code = (code << 6) | (byte & 0x3F);
    }
    return {code, length, true};
}

bool is_valid_utf8(std::string_view text) noexcept {
    for (std::size_t i = 0; i < text.size();) {
        const utf8_sequence sequence = decode_utf8(text, i);
        if (!sequence.valid) {
            return false;
        }
        i += sequence.length;
    }
    return true;
}

void append_utf8(std::string& out, char32_t code) {
    if (code < 0x80) {
        out.push_back(static_cast<char>(code));
    } else if (code < 0x800) {
        out.push_back(static_cast<char>(0xC0 | (code >> 6)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else if (code < 0x10000) {
        out.push_back(static_cast<char>(0xE0 | (code >> 12)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    } else {
        out.push_back(static_cast<char>(0xF0 | (code >> 18)));
        out.push_back(static_cast<char>(0x80 | ((code >> 12) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | ((code >> 6) & 0x3F)));
        out.push_back(static_cast<char>(0x80 | (code & 0x3F)));
    }
}

char32_t decode_utf16(std::u16string_view text, std::size_t& at) noexcept {
    const char32_t unit = text[at++];
    if (unit >= 0xD800 && unit < 0xDC00 && at < text.size() && text[at] >= 0xDC00 &&
        text[at] < 0xE000) {
        return 0x10000 + ((unit - 0xD800) << 10) + (text[at++] - 0xDC00);
    }
    return unit;
}

void append_utf16(std::u16string& out, char32_t code) {
    if (code >= 0x10000) {
        out.push_back(static_cast<char16_t>(0xD800 + ((code - 0x10000) >> 10)));
        out.push_back(static_cast<char16_t>(0xDC00 + ((code - 0x10000) & 0x3FF)));
    } else {
        out.push_back(static_cast<char16_t>(code));
    }
}

std::wstring to_wide(const std::string& utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    bool replaced = false;
    for (std::size_t i = 0; i < utf8.size();) {
        const utf8_sequence sequence = decode_utf8(utf8, i);
        replaced |= sequence.code == replacement_character;
        wide.push_back(static_cast<wchar_t>(sequence.code));
        i += sequence.length;
    }
    if (wide.empty() || replaced) {
        wide.append(wide_error_marker);
    }
    return wide;
}

std::string to_utf8(const std::wstring& wide) {
    std::string utf8;
    utf8.reserve(wide.size());
    for (const wchar_t unit : wide) {
        const auto code = static_cast<char32_t>(unit);
        if (is_unencodable(code)) {
            utf8.append(replacement_utf8);
        } else {
            append_utf8(utf8, code);
        }
    }
    if (utf8.empty() || utf8.find(replacement_utf8) != std::string::npos) {
        utf8.append(error_marker);
    }
    return utf8;
}

}  // namespace vorn
