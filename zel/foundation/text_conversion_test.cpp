#include "zel/foundation/text_conversion.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vorn {
namespace {

TEST(TextConversionTest, ValidTextConvertsBothWays) {
    const std::string utf8 = "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80\x7F";
    const std::wstring wide = {L'a', 0xE9, 0x20AC, 0x1F600, 0x7F};
    EXPECT_EQ(to_wide(utf8), wide);
    EXPECT_EQ(to_utf8(wide), utf8);
    EXPECT_EQ(to_wide(std::string(1, '\0')), std::wstring(1, L'\0'));
}

TEST(TextConversionTest, EmptyInputGivesTheMarkerAlone) {
    EXPECT_EQ(to_wide(""), L"-> unicode_ERROR");
    EXPECT_EQ(to_utf8(L""), "-> unicode_ERROR");
}

TEST(TextConversionTest, InvalidSequencesAreReplacedAndMarked) {
    const struct {
        std::string utf8;
        std::wstring wide;
    } rows[] = {
        {"\xFF", L"\xFFFD"},
        {"a\x80z", L"a\xFFFDz"},
        // Overlong forms, surrogates and code points beyond U+10FFFF.
        {"\xC0\xAF", L"\xFFFD\xFFFD"},
        {"\xE0\x80\xAF", L"\xFFFD\xFFFD\xFFFD"},
        {"\xED\xA0\x80", L"\xFFFD\xFFFD\xFFFD"},
        {"\xF4\x90\x80\x80", L"\xFFFD\xFFFD\xFFFD\xFFFD"},
        // A sequence cut short is replaced once, and what broke it is kept.
        {"\xE2\x82z", L"\xFFFDz"},
        {"\xF0\x9F\x98", L"\xFFFD"},
        // A real U+FFFD is marked as well.
        {"\xEF\xBF\xBD", L"\xFFFD"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(to_wide(row.utf8), row.wide + L"-> unicode_ERROR");
    }
}

TEST(TextConversionTest, UnencodableWideCharactersAreReplacedAndMarked) {
    EXPECT_EQ(to_utf8(std::wstring{L'a', static_cast<wchar_t>(0xD800), L'b'}),
              "a\xEF\xBF\xBD"
              "b-> unicode_ERROR");
    EXPECT_EQ(to_utf8(std::wstring{static_cast<wchar_t>(0x110000)}),
              "\xEF\xBF\xBD-> unicode_ERROR");
    EXPECT_EQ(to_utf8(L"\xFFFD"), "\xEF\xBF\xBD-> unicode_ERROR");
}

}  // namespace
}  // namespace vorn
