#include "zel/foundation/value_text.hpp"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <initializer_list>
#include <iterator>
#include <limits>
#include <random>
#include <string>
#include <type_traits>

#include <boost/spirit/include/karma_generate.hpp>
#include <boost/spirit/include/karma_real.hpp>

namespace vorn {
namespace {

template <class T>
std::string text_of(T value) {
    std::string text;
    EXPECT_TRUE(append_value_text(text, value));
    return text;
}

// The real texts were made by Karma's real generator with this policy; they
// are part of the file format, so the generator is kept here as the
// reference for the library's own.
template <class T>
struct reference_policy : boost::spirit::karma::real_policies<T> {
    static unsigned precision(T) { return std::is_same_v<T, float> ? 6 : 15; }
};

template <class T>
std::string reference_text(T value) {
    std::string text;
    std::back_insert_iterator<std::string> out(text);
    boost::spirit::karma::generate(
        out, boost::spirit::karma::real_generator<T, reference_policy<T>>(), value);
    return text;
}

template <class T>
using bits_of = std::conditional_t<std::is_same_v<T, float>, std::uint32_t, std::uint64_t>;

// Holds texts against the reference, counting mismatches and reporting the
// first few with the value's bits.
template <class T>
class reference_check {
  public:
    explicit reference_check(const char* family)
        : family_(std::string(std::is_same_v<T, float> ? "float " : "double ") + family) {}

    ~reference_check() { EXPECT_EQ(mismatches_, 0u) << family_ << ": " << checked_ << " values"; }

    void operator()(T value) {
        if (std::fpclassify(value) == FP_SUBNORMAL) {
            return;
        }
        ++checked_;
        std::string text;
        append_value_text(text, value);
        const std::string expected = reference_text(value);
        if (text != expected && ++mismatches_ <= 10) {
            char bits[24];
            std::snprintf(bits, sizeof bits, "%#llx",
                          static_cast<unsigned long long>(std::bit_cast<bits_of<T>>(value)));
            ADD_FAILURE() << family_ << ": bits " << bits << " give \"" << text
                          << "\", the reference \"" << expected << "\"";
        }
    }

    void both_signs(T value) {
        (*this)(value);
        (*this)(-value);
    }

  private:
    std::string family_;
    std::size_t checked_ = 0;
    std::size_t mismatches_ = 0;
};

// The parameters of each kind's value families.
template <class T>
struct kind_range;

template <>
struct kind_range<double> {
    static constexpr int lowest_power = -307;
    static constexpr int highest_power = 308;
    static constexpr int precision = 15;
    static double parse(const char* text) { return std::strtod(text, nullptr); }
};

template <>
struct kind_range<float> {
    static constexpr int lowest_power = -37;
    static constexpr int highest_power = 38;
    static constexpr int precision = 6;
    static float parse(const char* text) { return std::strtof(text, nullptr); }
};

// A uniform number in [0, 1) from 53 random bits.
double unit(std::mt19937_64& random) {
    return static_cast<double>(random() >> 11) * 0x1p-53;
}

template <class T>
void check_random_bit_patterns(std::size_t count) {
    reference_check<T> check("random bits");
    std::mt19937_64 random(1);
    for (std::size_t i = 0; i < count; ++i) {
        check(std::bit_cast<T>(static_cast<bits_of<T>>(random())));
    }
}

// Uniform over the range and uniform over its decades, both signs.
template <class T>
void check_random_fixed_values(std::size_t count) {
    reference_check<T> check("random fixed");
    std::mt19937_64 random(2);
    for (std::size_t i = 0; i < count; ++i) {
        check.both_signs(static_cast<T>(1e-3 + unit(random) * (1e5 - 1e-3)));
        check.both_signs(static_cast<T>(std::pow(10.0, -3 + 8 * unit(random))));
    }
}

// k / 2^n and k / 10^n, computed in the kind.
template <class T>
void check_binary_and_decimal_fractions() {
    reference_check<T> check("k/2^n, k/10^n");
    for (int k = 0; k < 2048; ++k) {
        for (int n = 0; n <= 24; ++n) {
            check.both_signs(static_cast<T>(k) / static_cast<T>(1 << n));
        }
        T power = 1;
        for (int n = 0; n <= 12; ++n, power *= 10) {
            check.both_signs(static_cast<T>(k) / power);
        }
    }
}

// Each power of ten of the kind (as its literal would be read) and eight
// neighbours on either side.
template <class T>
void check_powers_of_ten() {
    reference_check<T> check("powers of ten");
    for (int k = kind_range<T>::lowest_power; k <= kind_range<T>::highest_power; ++k) {
        const std::string literal = "1e" + std::to_string(k);
        const T power = kind_range<T>::parse(literal.c_str());
        T below = power;
        T above = power;
        check.both_signs(power);
        for (int step = 0; step < 8; ++step) {
            below = std::nextafter(below, T(0));
            above = std::nextafter(above, std::numeric_limits<T>::infinity());
            check.both_signs(below);
            check.both_signs(above);
        }
    }
}

// Just below an integer, where the rounded fraction may carry into the
// integer part, in fixed and (scaled) in scientific notation.
template <class T>
void check_values_below_integers() {
    reference_check<T> check("below an integer");
    const T half_place = static_cast<T>(0.5 * std::pow(10.0, -kind_range<T>::precision));
    for (int m = 1; m <= 2000; ++m) {
        const T integer = static_cast<T>(m);
        T below = integer;
        for (int step = 0; step < 16; ++step) {
            below = std::nextafter(below, T(0));
            check.both_signs(below);
            check.both_signs(below * T(1e-5));
            check.both_signs(below * T(1e6));
        }
        for (T offset : {T(0.6), T(0.9), T(1), T(1.1), T(1.5), T(2)}) {
            check.both_signs(integer - offset * half_place);
        }
    }
}

// Fractions whose rounded digits, trailing zeros dropped, lie near a power
// of ten: where the count of leading zeros is decided.
template <class T>
void check_fractions_near_powers_of_ten() {
    reference_check<T> check("fraction near 10^k");
    const double scale = std::pow(10.0, kind_range<T>::precision);
    for (int k = 1; k <= kind_range<T>::precision; ++k) {
        const double power = std::pow(10.0, k);
        for (int offset = -3000; offset <= 3000; ++offset) {
            const double fraction = (power + offset) / scale;
            if (fraction > 0 && fraction < 1) {
                check.both_signs(static_cast<T>(fraction));
                check.both_signs(static_cast<T>(7 + fraction));
            }
        }
    }
}

template <class T>
void check_limits_and_special_values() {
    reference_check<T> check("limits and special values");
    const T values[] = {
        T(0),
        T(99999.999),
        T(1e5),
        std::nextafter(T(1e5), T(0)),
        T(1e-3),
        std::nextafter(T(1e-3), T(0)),
        std::nextafter(T(1e-3), T(1)),
        T(0.0009999),
        std::numeric_limits<T>::min(),
        std::numeric_limits<T>::max(),
        std::numeric_limits<T>::infinity(),
        std::numeric_limits<T>::quiet_NaN(),
    };
    for (T value : values) {
        check.both_signs(value);
    }
}

template <class T>
void check_all_families(std::size_t random_count) {
    check_random_bit_patterns<T>(random_count);
    check_random_fixed_values<T>(random_count / 5);
    check_binary_and_decimal_fractions<T>();
    check_powers_of_ten<T>();
    check_values_below_integers<T>();
    check_fractions_near_powers_of_ten<T>();
    check_limits_and_special_values<T>();
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

TEST(ValueTextTest, RealTextsEqualTheReferenceGenerator) {
    check_all_families<double>(400000);
    check_all_families<float>(400000);
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
