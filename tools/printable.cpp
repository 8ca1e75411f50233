#include "tools/printable.hpp"

#include <cstdio>

namespace vorn::zel_tool {

namespace {

void append_escaped(std::string& out, unsigned char c) {
    switch (c) {
        case '\n':
            out += "\\n";
            return;
        case '\r':
            out += "\\r";
            return;
        case '\t':
            out += "\\t";
            return;
        case '\\':
            out += "\\\\";
            return;
        default:
            char text[8];
            std::snprintf(text, sizeof text, "\\x%02x", c);
            out += text;
    }
}

bool is_control(unsigned char c) {
    return c < 0x20 || c == 0x7F || c == '\\';
}

// 0xC2 0x80 to 0xC2 0x9F: U+0080 to U+009F, which terminals may obey.
bool is_c1_control(std::string_view text, std::size_t i) {
    return static_cast<unsigned char>(text[i]) == 0xC2 && i + 1 < text.size() &&
           static_cast<unsigned char>(text[i + 1]) >= 0x80 &&
           static_cast<unsigned char>(text[i + 1]) <= 0x9F;
}

}  // namespace

std::string printable(std::string_view text) {
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto c = static_cast<unsigned char>(text[i]);
        if (is_c1_control(text, i)) {
            append_escaped(out, c);
            append_escaped(out, static_cast<unsigned char>(text[++i]));
        } else if (is_control(c)) {
            append_escaped(out, c);
        } else {
            out += text[i];
        }
    }
    return out;
}

}  // namespace vorn::zel_tool
