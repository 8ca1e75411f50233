#include "zel/foundation/text_conversion.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

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

// The names, the host's texts and the code pages each answer bad input in
// their own way from what one decoded sequence says: whether it is valid,
// and how many bytes still began a valid one.
TEST(TextConversionTest, OneSequenceTellsItsValidityAndLength) {
    const struct {
        std::string text;
        char32_t code;
        std::size_t length;
        bool valid;
    } rows[] = {
        {"a", U'a', 1, true},
        {"\xC3\xA9z", 0xE9, 2, true},
        {"\xF0\x9F\x98\x80", 0x1F600, 4, true},
        {"\xF4\x8F\xBF\xBF", 0x10FFFF, 4, true},
        {"\x80", replacement_character, 1, false},
        {"\xC0\xAF", replacement_character, 1, false},
        {"\xE0\x9F\x80", replacement_character, 1, false},
        {"\xED\xA0\x80", replacement_character, 1, false},
        {"\xF4\x90\x80\x80", replacement_character, 1, false},
        {"\xE2\x82z", replacement_character, 2, false},
        {"\xF0\x9F\x98", replacement_character, 3, false},
    };
    for (const auto& row : rows) {
        const utf8_sequence sequence = decode_utf8(row.text, 0);
        EXPECT_EQ(sequence.code, row.code) << row.text;
        EXPECT_EQ(sequence.length, row.length) << row.text;
        EXPECT_EQ(sequence.valid, row.valid) << row.text;
        EXPECT_EQ(is_valid_utf8(row.text), row.valid) << row.text;
    }
}

TEST(TextConversionTest, SurrogatePairsJoinAndLoneSurrogatesStay) {
    const std::u16string units = {u'a', 0xD83D, 0xDE00, 0xDC00, 0xD800, u'b', 0xD800};
    std::vector<char32_t> codes;
    for (std::size_t i = 0; i < units.size();) {
        codes.push_back(decode_utf16(units, i));
    }
    EXPECT_EQ(codes, (std::vector<char32_t>{U'a', 0x1F600, 0xDC00, 0xD800, U'b', 0xD800}));
    std::u16string again;
    for (const char32_t code : {U'a', char32_t{0x1F600}, char32_t{0xFFFD}}) {
        append_utf16(again, code);
    }
    EXPECT_EQ(again, (std::u16string{u'a', 0xD83D, 0xDE00, 0xFFFD}));
}

}  // namespace
}  // namespace vorn
