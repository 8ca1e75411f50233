#include "zel/foundation/value_text.hpp"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <string>

namespace vorn {
namespace {

template <class T>
std::string text_of(T value) {
    std::string text;
    EXPECT_TRUE(append_value_text(text, value));
    return text;
}

struct real_row {
    double literal;
    const char* double_text;
    const char* float_text;  // nullptr where float has no such value
};

TEST(ValueTextTest, RealTextsOfBothKinds) {
    const double inf = std::numeric_limits<double>::infinity();
    const real_row rows[] = {
        {0, "0.0", "0.0"},
        {-0.0, "0.0", "0.0"},
        {1, "1.0", "1.0"},
        {-1, "-1.0", "-1.0"},
        {0.05, "0.05", "0.05"},
        {0.1, "0.1", "0.1"},
        {1.5, "1.5", "1.5"},
        {1.0 / 3, "0.333333333333333", "0.333333"},
        {2.0 / 3, "0.666666666666667", "0.666667"},
        {1234.5678, "1234.567800000000034", "1234.567749"},
        {12345.678, "12345.677999999999884", "12345.677734"},
        {65536, "65536.0", "65536.0"},
        {99999.5, "99999.5", "99999.5"},
        {100000, "1.0e05", "1.0e05"},
        {100000.5, "1.000005e05", "1.000005e05"},
        {123456.789, "1.23456789e05", "1.234568e05"},
        {1e22, "1.0e22", "1.0e22"},
        {1e100, "1.0e100", nullptr},
        {0.001, "0.001", "0.001"},
        {0.00099, "9.9e-04", "9.9e-04"},
        {0.0001, "1.0e-04", "1.0e-04"},
        {1.5e-7, "1.5e-07", "1.5e-07"},
        {1e-10, "1.0e-10", "1.0e-10"},
        {inf, "inf", "inf"},
        {-inf, "-inf", "-inf"},
        {std::nan(""), "nan", "nan"},
        {-std::nan(""), "-nan", "-nan"},
    };
    for (const real_row& row : rows) {
        EXPECT_EQ(text_of(row.literal), row.double_text) << row.double_text;
        if (row.float_text != nullptr) {
            EXPECT_EQ(text_of(static_cast<float>(row.literal)), row.float_text) << row.float_text;
        }
    }
}

TEST(ValueTextTest, NotationChangesAtTheLimits) {
    EXPECT_EQ(text_of(99999.999), "99999.998999999996158");
    EXPECT_EQ(text_of(100000.0), "1.0e05");
    EXPECT_EQ(text_of(0.001), "0.001");
    EXPECT_EQ(text_of(std::nextafter(0.001, 0.0)), "1.0e-03");
    // The float nearest 0.001 lies above it, so it stays fixed.
    EXPECT_EQ(text_of(0.001f), "0.001");
    EXPECT_EQ(text_of(0.0009999f), "9.999001e-04");
}

TEST(ValueTextTest, RoundingCarriesIntoTheIntegerPart) {
    EXPECT_EQ(text_of(0.9999999999999999), "1.0");
    EXPECT_EQ(text_of(0.9999999f), "1.0");
    EXPECT_EQ(text_of(-0.9999999999999999), "-1.0");
}

TEST(ValueTextTest, ExponentHasTwoDigitsAtLeast) {
    EXPECT_EQ(text_of(1e5), "1.0e05");
    EXPECT_EQ(text_of(1e100), "1.0e100");
    EXPECT_EQ(text_of(1e-300), "1.0e-300");
    EXPECT_EQ(text_of(-2.5e-9), "-2.5e-09");
    EXPECT_EQ(text_of(1e308), "1.0e308");
    EXPECT_EQ(text_of(3e38f), "3.0e38");
}

TEST(ValueTextTest, IntegerTexts) {
    EXPECT_EQ(text_of(0), "0");
    EXPECT_EQ(text_of(-7), "-7");
    EXPECT_EQ(text_of(std::numeric_limits<short>::min()), "-32768");
    EXPECT_EQ(text_of(std::numeric_limits<unsigned short>::max()), "65535");
    EXPECT_EQ(text_of(std::numeric_limits<int>::min()), "-2147483648");
    EXPECT_EQ(text_of(std::numeric_limits<int>::max()), "2147483647");
    EXPECT_EQ(text_of(std::numeric_limits<unsigned int>::max()), "4294967295");
    EXPECT_EQ(text_of(std::numeric_limits<long long>::min()), "-9223372036854775808");
    EXPECT_EQ(text_of(std::numeric_limits<unsigned long long>::max()), "18446744073709551615");
    EXPECT_EQ(text_of(10ull), "10");
}

TEST(ValueTextTest, BytesBooleansAndStringsAreAppendedAsTheyStand) {
    std::string text = "x";
    append_value_text(text, 'A');
    append_value_text(text, static_cast<unsigned char>(0xE9));
    append_value_text(text, '\0');
    append_value_text(text, true);
    append_value_text(text, false);
    append_value_text(text, std::string("a b"));
    EXPECT_EQ(text, std::string("xA\xE9\0truefalsea b", 16));
}

}  // namespace
}  // namespace vorn
