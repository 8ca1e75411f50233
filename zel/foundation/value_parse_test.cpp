#include "zel/foundation/value_parse.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace vorn {
namespace {

// The parse result, or nullopt for a failure.
template <class T>
std::optional<T> scalar(const std::string& text) {
    T value{};
    if (!parse_value(text, value)) {
        return std::nullopt;
    }
    return value;
}

template <class T>
std::vector<T> array(const std::string& text) {
    // A text holds at most one element per byte.
    const auto buffer = std::make_unique<T[]>(text.size() + 1);
    std::size_t count = 99;
    const std::size_t returned = parse_array(text, buffer.get(), count);
    EXPECT_EQ(returned, count);
    return std::vector<T>(buffer.get(), buffer.get() + count);
}

TEST(ValueParseTest, IntegersSkipBlanksAndIgnoreWhatFollows) {
    EXPECT_EQ(scalar<int>(" 42 "), 42);
    EXPECT_EQ(scalar<int>("\xA0\t7\n"), 7);
    EXPECT_EQ(scalar<int>("12abc"), 12);
    EXPECT_EQ(scalar<int>("1 2 3"), 1);
    EXPECT_EQ(scalar<int>("-0"), 0);
    EXPECT_EQ(scalar<int>("+5"), 5);
    EXPECT_EQ(scalar<int>("0000000000000000000042"), 42);
    EXPECT_EQ(scalar<int>(""), std::nullopt);
    EXPECT_EQ(scalar<int>("   "), std::nullopt);
    EXPECT_EQ(scalar<int>("-"), std::nullopt);
    EXPECT_EQ(scalar<int>("- 1"), std::nullopt);
    EXPECT_EQ(scalar<int>("x1"), std::nullopt);
}

TEST(ValueParseTest, IntegersOutsideTheirRangeFail) {
    EXPECT_EQ(scalar<short>("-32768"), -32768);
    EXPECT_EQ(scalar<short>("32768"), std::nullopt);
    EXPECT_EQ(scalar<unsigned short>("65535"), 65535);
    EXPECT_EQ(scalar<unsigned short>("65536"), std::nullopt);
    EXPECT_EQ(scalar<unsigned int>("4294967295"), 4294967295u);
    EXPECT_EQ(scalar<unsigned int>("4294967296"), std::nullopt);
    EXPECT_EQ(scalar<unsigned long long>("4294967296"), 4294967296ull);
    EXPECT_EQ(scalar<unsigned long long>("18446744073709551615"), 18446744073709551615ull);
    EXPECT_EQ(scalar<unsigned long long>("18446744073709551616"), std::nullopt);
    EXPECT_EQ(scalar<long long>("-9223372036854775808"), std::numeric_limits<long long>::min());
    EXPECT_EQ(scalar<long long>("9223372036854775808"), std::nullopt);
    // Unsigned kinds take no sign at all.
    EXPECT_EQ(scalar<unsigned int>("-1"), std::nullopt);
    EXPECT_EQ(scalar<unsigned int>("+1"), std::nullopt);
}

TEST(ValueParseTest, ArraysStopAtTheFirstElementThatFails) {
    EXPECT_EQ(array<int>("1 2 x 3"), (std::vector<int>{1, 2}));
    EXPECT_EQ(array<int>(" 1\xA0-2\t\n3 "), (std::vector<int>{1, -2, 3}));
    EXPECT_EQ(array<int>("1 2x 3"), (std::vector<int>{1, 2}));
    EXPECT_EQ(array<int>(""), std::vector<int>{});
    EXPECT_EQ(array<int>(" \xA0 "), std::vector<int>{});
    EXPECT_EQ(array<unsigned short>("1 70000 2"), std::vector<unsigned short>{1});
    EXPECT_EQ(array<unsigned long long>("0 18446744073709551615"),
              (std::vector<unsigned long long>{0, 18446744073709551615ull}));
    EXPECT_EQ(array<double>("1.5 -inf 2e3 x"), (std::vector<double>{1.5, -INFINITY, 2000}));
}

// A text with more elements than the storage has room for fills the storage
// and writes nothing past it; with room to spare, the span form reads what
// the pointer form reads.
TEST(ValueParseTest, SpanFormNeverWritesPastItsStorage) {
    int guarded[5] = {-1, -1, -1, -1, -1};
    EXPECT_EQ(parse_array("1 2 3 4 5", std::span<int>(guarded, 2)), 2u);
    EXPECT_EQ(std::vector<int>(guarded, guarded + 5), (std::vector<int>{1, 2, -1, -1, -1}));
    EXPECT_EQ(parse_array("7", std::span<int>(guarded, 0)), 0u);
    EXPECT_EQ(guarded[0], 1);

    double reals[2] = {};
    EXPECT_EQ(parse_array(std::string_view("0.5 1.5 2.5"), reals), 2u);
    EXPECT_EQ(reals[1], 1.5);
    char bytes[3] = {};
    EXPECT_EQ(parse_array("a b c d", bytes), 3u);
    EXPECT_EQ(std::string(bytes, 3), "abc");
    bool flags[1] = {};
    EXPECT_EQ(parse_array("true false", flags), 1u);
    EXPECT_TRUE(flags[0]);

    // Exactly sized storage, so that a sanitizer sees a write past it.
    std::vector<unsigned long long> exact(2);
    EXPECT_EQ(parse_array(intrusive_string("10 20 30", 8), exact), 2u);
    EXPECT_EQ(exact, (std::vector<unsigned long long>{10, 20}));

    for (const char* text : {"1 2 x 3", " 1\xA0-2\t\n3 ", "", "5 6 7 8 9"}) {
        std::vector<int> roomy(std::string_view(text).size() + 1);
        const std::size_t count = parse_array(text, roomy);
        roomy.resize(count);
        EXPECT_EQ(roomy, array<int>(text)) << text;
    }
}

TEST(ValueParseTest, EightBitKinds) {
    EXPECT_EQ(scalar<char>(" x"), ' ');
    EXPECT_EQ(scalar<char>(""), std::nullopt);
    EXPECT_EQ(array<char>("a b\t\xA0"
                          "c"),
              (std::vector<char>{'a', 'b', 'c'}));
    // The scalar unsigned char is read as a number, the array by bytes.
    EXPECT_EQ(scalar<unsigned char>(" 65"), 65);
    EXPECT_EQ(scalar<unsigned char>("300"), 44);
    EXPECT_EQ(scalar<unsigned char>("A"), std::nullopt);
    EXPECT_EQ(array<unsigned char>("6 5"), (std::vector<unsigned char>{'6', '5'}));
}

TEST(ValueParseTest, BooleanScalarIsFalseOnlyForZeroAndFalse) {
    const struct {
        const char* text;
        std::optional<bool> expected;
    } rows[] = {
        {"", std::nullopt}, {"0", false}, {"false", false}, {"true", true},  {"1", true},
        {"no", true},       {"f", true},  {" false", true}, {"False", true}, {"false ", true},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(scalar<bool>(row.text), row.expected) << '"' << row.text << '"';
    }
    EXPECT_EQ(array<bool>("true false\xA0true True"), (std::vector<bool>{true, false, true}));
}

TEST(ValueParseTest, StringIsTheWholeText) {
    EXPECT_EQ(scalar<std::string>(" a b "), " a b ");
    EXPECT_EQ(scalar<std::string>(""), "");
}

TEST(ValueParseTest, HandlesReadLikeStrings) {
    const std::string text = "17 18 19";
    unsigned long long value = 0;
    EXPECT_TRUE(parse_value(intrusive_string(text.data(), 5), value));
    EXPECT_EQ(value, 17u);
    unsigned long long values[3] = {};
    std::size_t count = 0;
    // The handle ends inside the second number.
    EXPECT_EQ(parse_array(intrusive_string(text.data(), 4), values, count), 2u);
    EXPECT_EQ(values[1], 1u);
}

TEST(ValueParseTest, RealGrammar) {
    const double inf = std::numeric_limits<double>::infinity();
    const struct {
        const char* text;
        std::optional<double> expected;
    } rows[] = {
        {" 42 ", 42.0},
        {".5", 0.5},
        {"5.", 5.0},
        {"+.5", 0.5},
        {".", std::nullopt},
        {"", std::nullopt},
        {"e5", std::nullopt},
        {"1e5", 1e5},
        {"1.0e05", 1e5},
        {"2.5E-3", 2.5 / 1e3},
        {"12abc", 12.0},
        {"0.30000000000000004", 30000000000000004.0 / 1e17},
        // An "e" without digits stays outside the number, unscaled.
        {"1.5e", 15.0},
        {"1.5ex", 15.0},
        {"1e", 1.0},
        {"1e99999999999", 1.0},
        {"-inf", -inf},
        {"Infinity", inf},
        {"INFin", inf},
        {"1.inf", inf},
        {"2.inf", 2.0},
        {"1.0inf", 1.0},
        {"nan(", std::nullopt},
        {"na", std::nullopt},
        // Powers from the table, within the kind's exponent range.
        {"1e308", 1e308},
        {"1e309", std::nullopt},
        {"1e400", std::nullopt},
        {"1e-307", 1 / 1e307},
        {"1e-310", 1 / 1e307 / 1e3},
        {"1e-614", 0.0},
        {"1e-615", std::nullopt},
        // The integer part must fit 64 bits; fraction digits that don't fit
        // are stepped over.
        {"18446744073709551615", 18446744073709551615.0},
        {"18446744073709551616", std::nullopt},
        {"18446744073709551616.5", std::nullopt},
        {"0.123456789012345678901234", 12345678901234567890.0 / 1e20},
        {"18446744073709551615.75", 18446744073709551615.0},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(scalar<double>(row.text), row.expected) << '"' << row.text << '"';
    }
}

TEST(ValueParseTest, RealNanAndSigns) {
    for (const char* text : {"NaN", "nan", "nan(123)", "1nan", "1.NAN()"}) {
        const auto value = scalar<double>(text);
        ASSERT_TRUE(value.has_value()) << text;
        EXPECT_TRUE(std::isnan(*value)) << text;
        EXPECT_FALSE(std::signbit(*value)) << text;
    }
    EXPECT_TRUE(std::signbit(*scalar<double>("-nan")));
    EXPECT_TRUE(std::signbit(*scalar<double>("-0")));
    EXPECT_TRUE(std::signbit(*scalar<float>("-0.0")));
}

TEST(ValueParseTest, FloatHasA32BitAccumulator) {
    EXPECT_EQ(scalar<float>("4294967295"), 4294967295.0f);
    EXPECT_EQ(scalar<float>("4294967296"), std::nullopt);
    EXPECT_EQ(scalar<float>("4294967296.0"), std::nullopt);
    EXPECT_EQ(scalar<float>("429496729.6e1"), 4294967296.0f);
    EXPECT_EQ(scalar<float>("0.1234567890123"), 1234567890.0f / 1e10f);
    EXPECT_EQ(scalar<float>("1.5"), 1.5f);
    EXPECT_EQ(scalar<float>("1e38"), 1e38f);
    EXPECT_EQ(scalar<float>("1e39"), std::nullopt);
    EXPECT_EQ(scalar<float>("1e-74"), 1 / 1e37f / 1e37f);
    EXPECT_EQ(scalar<float>("1e-75"), std::nullopt);
}

TEST(ValueParseTest, GeneratedRealTextsAreReadWhole) {
    const std::string texts =
        "0.0 1.0 -1.0 0.05 0.333333333333333 1234.567800000000034 12345.677999999999884 65536.0 "
        "99999.5 1.0e05 1.000005e05 1.23456789e05 1.0e22 1.0e100 0.001 9.9e-04 1.0e-04 1.5e-07 "
        "1.0e-10 inf -inf nan";
    const std::vector<double> values = array<double>(texts);
    ASSERT_EQ(values.size(), 22u);
    const double expected[] = {0,         1,          -1,     0.05,    0.333333333333333,
                               1234.5678, 12345.678,  65536,  99999.5, 100000,
                               100000.5,  123456.789, 1e22,   1e100,   0.001,
                               0.00099,   0.0001,     1.5e-7, 1e-10,   INFINITY,
                               -INFINITY};
    for (std::size_t i = 0; i < std::size(expected); ++i) {
        EXPECT_DOUBLE_EQ(values[i], expected[i]) << i;
    }
    EXPECT_TRUE(std::isnan(values[21]));
}

}  // namespace
}  // namespace vorn
