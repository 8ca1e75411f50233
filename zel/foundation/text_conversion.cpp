#include "zel/foundation/text_conversion.hpp"

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace vorn {

namespace {

static_assert(sizeof(wchar_t) == 4, "wide text is taken to be UTF-32");

constexpr char32_t replacement = 0xFFFD;
constexpr std::string_view replacement_utf8 = "\xEF\xBF\xBD";
constexpr std::string_view error_marker = "-> unicode_ERROR";
constexpr std::wstring_view wide_error_marker = L"-> unicode_ERROR";

bool is_continuation(unsigned char byte) {
    return (byte & 0xC0) == 0x80;
}

// Decodes one sequence at text[i] and advances i past it. An invalid
// sequence yields U+FFFD and is skipped as far as it was a valid prefix (at
// least one byte), so the next sequence starts at the first byte that broke
// it.
char32_t decode_one(std::string_view text, std::size_t& i) {
    const auto lead = static_cast<unsigned char>(text[i++]);
    if (lead < 0x80) {
        return lead;
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
        return replacement;
    }
    for (std::size_t k = 1; k < length; ++k) {
        if (i == text.size()) {
            return replacement;
        }
        const auto byte = static_cast<unsigned char>(text[i]);
        if (k == 1 ? (byte < low || byte > high) : !is_continuation(byte)) {
            return replacement;
        }
        code = (code << 6) | (byte & 0x3F);
        ++i;
    }
    return code;
}

void encode_one(char32_t code, std::string& out) {
    if (code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) {
        out.append(replacement_utf8);
    } else if (code < 0x80) {
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

}  // namespace

std::wstring to_wide(const std::string& utf8) {
    std::wstring wide;
    wide.reserve(utf8.size());
    bool replaced = false;
    for (std::size_t i = 0; i < utf8.size();) {
        const char32_t code = decode_one(utf8, i);
        replaced |= code == replacement;
        wide.push_back(static_cast<wchar_t>(code));
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
        encode_one(static_cast<char32_t>(unit), utf8);
    }
    if (utf8.empty() || utf8.find(replacement_utf8) != std::string::npos) {
        utf8.append(error_marker);
    }
    return utf8;
}

}  // namespace vorn
