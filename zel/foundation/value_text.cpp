// Karma writes the integers and booleans straight to the sink; it is heavy to
// compile, and the texts must come from one place. Real numbers are written
// by the code below instead, which follows Karma's real generator with the
// library's policy step for step in the same arithmetic, so its texts are
// Karma's to the byte (the test holds them against it). Only the steps on
// numbers that are exact integers run on std::uint64_t.
#include "zel/foundation/value_text.hpp"

#include <array>
#include <cmath>
#include <cstdint>
#include <iterator>
#include <limits>
#include <string_view>

#include <boost/spirit/include/karma_bool.hpp>
#include <boost/spirit/include/karma_generate.hpp>
#include <boost/spirit/include/karma_int.hpp>
#include <boost/spirit/include/karma_uint.hpp>

namespace vorn {

namespace {

namespace karma = boost::spirit::karma;

using sink_iterator = std::back_insert_iterator<std::string>;

template <class Generator, class T>
bool generate_into(std::string& sink, const Generator& generator, T value) {
    sink_iterator out(sink);
    return karma::generate(out, generator, value);
}

template <class T>
bool append_signed(std::string& sink, T value) {
    return generate_into(sink, karma::int_generator<T>(), value);
}

template <class T>
bool append_unsigned(std::string& sink, T value) {
    return generate_into(sink, karma::uint_generator<T>(), value);
}

// The exact double literals 1e0 to 1e308. Float arithmetic uses them rounded
// to float.
constexpr double powers_of_ten[] = {
    1e0,   1e1,   1e2,   1e3,   1e4,   1e5,   1e6,   1e7,   1e8,   1e9,   1e10,  1e11,  1e12,
    1e13,  1e14,  1e15,  1e16,  1e17,  1e18,  1e19,  1e20,  1e21,  1e22,  1e23,  1e24,  1e25,
    1e26,  1e27,  1e28,  1e29,  1e30,  1e31,  1e32,  1e33,  1e34,  1e35,  1e36,  1e37,  1e38,
    1e39,  1e40,  1e41,  1e42,  1e43,  1e44,  1e45,  1e46,  1e47,  1e48,  1e49,  1e50,  1e51,
    1e52,  1e53,  1e54,  1e55,  1e56,  1e57,  1e58,  1e59,  1e60,  1e61,  1e62,  1e63,  1e64,
    1e65,  1e66,  1e67,  1e68,  1e69,  1e70,  1e71,  1e72,  1e73,  1e74,  1e75,  1e76,  1e77,
    1e78,  1e79,  1e80,  1e81,  1e82,  1e83,  1e84,  1e85,  1e86,  1e87,  1e88,  1e89,  1e90,
    1e91,  1e92,  1e93,  1e94,  1e95,  1e96,  1e97,  1e98,  1e99,  1e100, 1e101, 1e102, 1e103,
    1e104, 1e105, 1e106, 1e107, 1e108, 1e109, 1e110, 1e111, 1e112, 1e113, 1e114, 1e115, 1e116,
    1e117, 1e118, 1e119, 1e120, 1e121, 1e122, 1e123, 1e124, 1e125, 1e126, 1e127, 1e128, 1e129,
    1e130, 1e131, 1e132, 1e133, 1e134, 1e135, 1e136, 1e137, 1e138, 1e139, 1e140, 1e141, 1e142,
    1e143, 1e144, 1e145, 1e146, 1e147, 1e148, 1e149, 1e150, 1e151, 1e152, 1e153, 1e154, 1e155,
    1e156, 1e157, 1e158, 1e159, 1e160, 1e161, 1e162, 1e163, 1e164, 1e165, 1e166, 1e167, 1e168,
    1e169, 1e170, 1e171, 1e172, 1e173, 1e174, 1e175, 1e176, 1e177, 1e178, 1e179, 1e180, 1e181,
    1e182, 1e183, 1e184, 1e185, 1e186, 1e187, 1e188, 1e189, 1e190, 1e191, 1e192, 1e193, 1e194,
    1e195, 1e196, 1e197, 1e198, 1e199, 1e200, 1e201, 1e202, 1e203, 1e204, 1e205, 1e206, 1e207,
    1e208, 1e209, 1e210, 1e211, 1e212, 1e213, 1e214, 1e215, 1e216, 1e217, 1e218, 1e219, 1e220,
    1e221, 1e222, 1e223, 1e224, 1e225, 1e226, 1e227, 1e228, 1e229, 1e230, 1e231, 1e232, 1e233,
    1e234, 1e235, 1e236, 1e237, 1e238, 1e239, 1e240, 1e241, 1e242, 1e243, 1e244, 1e245, 1e246,
    1e247, 1e248, 1e249, 1e250, 1e251, 1e252, 1e253, 1e254, 1e255, 1e256, 1e257, 1e258, 1e259,
    1e260, 1e261, 1e262, 1e263, 1e264, 1e265, 1e266, 1e267, 1e268, 1e269, 1e270, 1e271, 1e272,
    1e273, 1e274, 1e275, 1e276, 1e277, 1e278, 1e279, 1e280, 1e281, 1e282, 1e283, 1e284, 1e285,
    1e286, 1e287, 1e288, 1e289, 1e290, 1e291, 1e292, 1e293, 1e294, 1e295, 1e296, 1e297, 1e298,
    1e299, 1e300, 1e301, 1e302, 1e303, 1e304, 1e305, 1e306, 1e307, 1e308,
};

template <class T>
T power_of_ten(long exponent) {
    return static_cast<T>(powers_of_ten[exponent]);
}

// 10^0 to 10^19.
constexpr std::array<std::uint64_t, 20> integer_powers_of_ten = [] {
    std::array<std::uint64_t, 20> powers{};
    std::uint64_t power = 1;
    for (std::uint64_t& entry : powers) {
        entry = power;
        power *= 10;
    }
    return powers;
}();

// precision: the most fractional digits. near_power_shift: a fraction number
// whose distance to 10^k is at most 10^k >> near_power_shift is "near" that
// power (see leading_zero_count).
template <class T>
struct real_kind;

template <>
struct real_kind<double> {
    static constexpr unsigned precision = 15;
    static constexpr unsigned near_power_shift = 38;
};

template <>
struct real_kind<float> {
    static constexpr unsigned precision = 6;
    static constexpr unsigned near_power_shift = 12;
};

unsigned decimal_digit_count(std::uint64_t value) {
    unsigned count = 1;
    while (count < integer_powers_of_ten.size() && value >= integer_powers_of_ten[count]) {
        ++count;
    }
    return count;
}

constexpr std::array<char, 200> digit_pairs = [] {
    std::array<char, 200> pairs{};
    for (std::size_t i = 0; i < 100; ++i) {
        pairs[2 * i] = static_cast<char>('0' + i / 10);
        pairs[2 * i + 1] = static_cast<char>('0' + i % 10);
    }
    return pairs;
}();

// Writes the last `count` digits of value, two at a time, from the end.
template <class Unsigned>
void write_digits_backwards(char* end, Unsigned value, unsigned count) {
    for (; count >= 2; count -= 2) {
        const std::size_t pair = 2 * static_cast<std::size_t>(value % 100);
        value /= 100;
        end -= 2;
        end[0] = digit_pairs[pair];
        end[1] = digit_pairs[pair + 1];
    }
    if (count != 0) {
        end[-1] = static_cast<char>('0' + value % 10);
    }
}

// Writes the `count` digits of value, which has exactly that many. The low
// eight run in 32 bits, apart from the rest.
char* write_digits(char* out, std::uint64_t value, unsigned count) {
    char* const end = out + count;
    if (count > 8) {
        write_digits_backwards(end, static_cast<std::uint32_t>(value % 100000000), 8);
        write_digits_backwards(end - 8, value / 100000000, count - 8);
    } else {
        write_digits_backwards(end, static_cast<std::uint32_t>(value), count);
    }
    return end;
}

char* write_decimal(char* out, std::uint64_t value) {
    return write_digits(out, value, decimal_digit_count(value));
}

template <class T>
long truncate_to_long(T value) {
    return static_cast<long>(std::signbit(value) ? std::ceil(value) : std::floor(value));
}

// Fixed notation for zero and for magnitudes in [0.001, 100000); both limits
// are compared in double, which for float matters at 0.001 only.
template <class T>
bool is_fixed_notation(T magnitude) {
    const double wide = magnitude;
    return magnitude == 0 || (wide < 1e5 && wide >= 1e-3);
}

// Scales the finite, positive n to about [1, 10) by the table's powers and
// returns the decimal exponent as the generator keeps it: log10(n) itself
// above 1, minus the power used below 1. Subnormals, whose power is beyond
// the kind, are scaled in two steps.
template <class T>
T normalise(T& n) {
    T exponent = std::log10(n);
    if (exponent > 0) {
        n /= power_of_ten<T>(truncate_to_long(exponent));
    } else if (n < 1) {
        long power = truncate_to_long(-exponent);
        if (static_cast<T>(power) != -exponent) {
            ++power;
        }
        exponent = static_cast<T>(-power);
        constexpr long largest = std::numeric_limits<T>::max_exponent10;
        if (power > largest) {
            n *= power_of_ten<T>(largest);
            n *= power_of_ten<T>(power - largest);
        } else {
            n *= power_of_ten<T>(power);
        }
    }
    return exponent;
}

struct real_parts {
    std::uint64_t integer;
    std::uint64_t fraction;
};

// The integer part, and the fraction rounded to `precision` digits as an
// integer below 10^precision; a fraction that rounds up to 1 is carried into
// the integer part, which is not renormalised (a normalised 9.99... can
// become 10).
//
// The rounding runs in T as the generator's does. What leaves it is exact:
// modf's integer part is an integer of T, at most 10^5 in fixed notation and
// about 10 after normalising, and the rounded fraction is an integer of T no
// larger than 10^precision (10^15 < 2^53, 10^6 < 2^24).
template <class T>
real_parts split(T n) {
    const T scale = power_of_ten<T>(real_kind<T>::precision);
    T integer;
    T fraction = std::floor(std::modf(n, &integer) * scale + T(0.5));
    if (fraction >= scale) {
        fraction = std::floor(fraction - scale);
        integer += 1;
    }
    return {static_cast<std::uint64_t>(std::floor(integer)), static_cast<std::uint64_t>(fraction)};
}

// Removes the trailing zeros of a non-zero fraction of `digits` digits,
// taking one from `digits` for each. A non-zero fraction below 10^digits has
// at most digits - 1 of them, fewer than 16: removing 8, 4, 2 and 1 where
// they divide removes them all.
std::uint64_t drop_trailing_zeros(std::uint64_t fraction, unsigned& digits) {
    for (unsigned step : {8u, 4u, 2u, 1u}) {
        if (fraction % integer_powers_of_ten[step] == 0) {
            fraction /= integer_powers_of_ten[step];
            digits -= step;
        }
    }
    return fraction;
}

// Whether f, which has `count` digits, lies within 10^k >> near_power_shift
// of 10^(count - 1) or 10^count; 1 itself does not count. Anywhere else
// |log10(f) - k| > 0.43 * 2^-near_power_shift for every integer k: 2^-40 for
// double, 2^-14 for float, over a hundred ulps of the result, far beyond the
// error of any platform's log10. log10(1) is exactly 0 (C's IEEE annex).
template <class T>
bool is_near_power_of_ten(std::uint64_t f, unsigned count) {
    constexpr unsigned shift = real_kind<T>::near_power_shift;
    const std::uint64_t below = integer_powers_of_ten[count - 1];
    const std::uint64_t above = integer_powers_of_ten[count];
    return (count > 1 && f - below <= (below >> shift)) || above - f <= (above >> shift);
}

// The zeros between the point and the fraction number f of `digits` places.
// The generator estimates f's digits as floor(log10(f)) + 1 in T and pads
// up to `digits`. Its estimate is f's digit count unless log10(f) lands on
// the wrong side of an integer, which can only happen near a power of ten:
// just below 10^15 the correctly rounded log10 of a double is 15 already
// (there f fills all 15 places and nothing is padded either way), and an
// inexact log10 just above 10^k could fall below k. Near a power, the
// estimate is therefore made as the generator makes it.
template <class T>
unsigned leading_zero_count(std::uint64_t f, unsigned f_digits, unsigned digits) {
    if (is_near_power_of_ten<T>(f, f_digits)) {
        unsigned zeros = 0;
        for (T estimate = std::floor(std::log10(static_cast<T>(f))) + 1;
             estimate < static_cast<T>(digits); estimate = estimate + 1) {
            ++zeros;
        }
        return zeros;
    }
    return f_digits < digits ? digits - f_digits : 0;
}

char* write_exponent(char* out, long exponent) {
    *out++ = 'e';
    if (exponent < 0) {
        *out++ = '-';
        exponent = -exponent;
    }
    if (exponent < 10) {
        *out++ = '0';
    }
    return write_decimal(out, static_cast<std::uint64_t>(exponent));
}

bool append_word(std::string& sink, bool negative, std::string_view word) {
    if (negative) {
        sink.push_back('-');
    }
    sink.append(word);
    return true;
}

template <class T>
bool append_real(std::string& sink, T value) {
    if (std::isnan(value)) {
        return append_word(sink, std::signbit(value), "nan");
    }
    if (std::isinf(value)) {
        return append_word(sink, std::signbit(value), "inf");
    }
    T n = std::fabs(value);
    const bool fixed = is_fixed_notation(n);
    const T exponent = fixed ? T(0) : normalise(n);
    const real_parts parts = split(n);

    unsigned digits = 0;
    std::uint64_t fraction = 0;
    if (parts.fraction != 0) {
        digits = real_kind<T>::precision;
        fraction = drop_trailing_zeros(parts.fraction, digits);
    }
    // Values that come out as zero carry no sign.
    const bool negative = std::signbit(value) && (parts.integer != 0 || fraction != 0);

    // Sign, 20 integer digits, point, 15 zeros and 15 digits, "e-308".
    char text[64];
    char* out = text;
    if (negative) {
        *out++ = '-';
    }
    out = write_decimal(out, parts.integer);
    *out++ = '.';
    const unsigned fraction_digits = decimal_digit_count(fraction);
    for (unsigned zeros = leading_zero_count<T>(fraction, fraction_digits, digits); zeros != 0;
         --zeros) {
        *out++ = '0';
    }
    out = write_digits(out, fraction, fraction_digits);
    if (!fixed) {
        out = write_exponent(out, truncate_to_long(exponent));
    }
    sink.append(text, out);
    return true;
}

}  // namespace

bool append_value_text(std::string& sink, char value) {
    sink.push_back(value);
    return true;
}

bool append_value_text(std::string& sink, unsigned char value) {
    sink.push_back(static_cast<char>(value));
    return true;
}

bool append_value_text(std::string& sink, short value) {
    return append_signed(sink, value);
}

bool append_value_text(std::string& sink, unsigned short value) {
    return append_unsigned(sink, value);
}

bool append_value_text(std::string& sink, int value) {
    return append_signed(sink, value);
}

bool append_value_text(std::string& sink, unsigned int value) {
    return append_unsigned(sink, value);
}

bool append_value_text(std::string& sink, long long value) {
    return append_signed(sink, value);
}

bool append_value_text(std::string& sink, unsigned long long value) {
    return append_unsigned(sink, value);
}

bool append_value_text(std::string& sink, float value) {
    return append_real(sink, value);
}

bool append_value_text(std::string& sink, double value) {
    return append_real(sink, value);
}

bool append_value_text(std::string& sink, bool value) {
    return generate_into(sink, karma::bool_, value);
}

bool append_value_text(std::string& sink, const std::string& value) {
    sink.append(value);
    return true;
}

}  // namespace vorn
