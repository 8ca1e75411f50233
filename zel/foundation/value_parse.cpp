// Qi is confined to this file: it is heavy to compile.
//
// Integers and booleans use Qi's own parsers. Reals don't: the grammar the
// value texts are read with keeps all digits that fit in an integer of the
// kind's width, refuses an integer part that doesn't fit, leaves the digits
// unscaled when an "e" has no digits behind it and reads "1.inf" as infinity.
// Qi's real parser in Boost 1.74 does none of these (it keeps 17 or 9 digits,
// scales excess integer digits, rescales in front of a bare "e" and stops in
// front of "inf"). The real grammar is therefore written out below as a Qi
// primitive, so that all kinds are read with the same skipper.
#include "zel/foundation/value_parse.hpp"

#include <cstdint>
#include <limits>
#include <span>
#include <type_traits>

#include <boost/spirit/include/qi_auxiliary.hpp>
#include <boost/spirit/include/qi_bool.hpp>
#include <boost/spirit/include/qi_char.hpp>
#include <boost/spirit/include/qi_int.hpp>
#include <boost/spirit/include/qi_parse.hpp>
#include <boost/spirit/include/qi_uint.hpp>
#include <boost/spirit/include/support_iso8859_1.hpp>

// The table of powers of ten that the value texts are generated with; the
// header relies on BOOST_ASSERT being defined already.
#include <boost/assert.hpp>
#include <boost/spirit/home/support/detail/pow10.hpp>

namespace vorn {

namespace {

namespace qi = boost::spirit::qi;

using iterator = const char*;

// The real grammar of value texts.
//
//   [+-] digits? ( "." digits? )? ( [eE] [+-]? digits )?  |  [+-] nan | inf
//
// Integer and fraction digits accumulate into one unsigned integer of the
// width of T. An overflow in the integer part fails the parse; fraction digits
// beyond what the accumulator holds are stepped over. The value is the
// accumulator scaled once by the exponent less the number of fraction digits
// taken. An "e" without exponent digits is not part of the number, and then
// the accumulator is taken unscaled. A bare 1 followed by "nan" or "inf" is
// that NaN or infinity.
template <class T>
class real_grammar {
  public:
    static bool parse(iterator& first, iterator last, T& out) {
        if (first == last) {
            return false;
        }
        const iterator start = first;
        bool negative = false;
        if (*first == '+' || *first == '-') {
            negative = *first == '-';
            ++first;
        }

        accumulator acc = 0;
        const bool got_integer = integer_digits(first, last, acc);
        if (!got_integer) {
            if (nan_or_inf(first, last, out)) {
                out = negative ? -out : out;
                return true;
            }
        }

        int fraction_count = 0;
        if (first != last && *first == '.') {
            ++first;
            if (!fraction_digits(first, last, acc, fraction_count) && !got_integer) {
                first = start;
                return false;
            }
        } else if (!got_integer) {
            first = start;
            return false;
        }

        T value = 0;
        const iterator e_position = first;
        if (first != last && (*first == 'e' || *first == 'E')) {
            ++first;
            int exponent = 0;
            if (exponent_digits(first, last, exponent)) {
                if (!scale(static_cast<long long>(exponent) - fraction_count, acc, value)) {
                    return false;
                }
            } else {
                first = e_position;
                value = static_cast<T>(acc);
            }
        } else if (fraction_count != 0) {
            scale(-fraction_count, acc, value);
        } else if (acc == 1 && nan_or_inf(first, last, value)) {
            out = negative ? -value : value;
            return true;
        } else {
            value = static_cast<T>(acc);
        }
        // Negation flips the sign bit, so "-0" is negative zero.
        out = negative ? -value : value;
        return true;
    }

  private:
    using accumulator =
        std::conditional_t<sizeof(T) == sizeof(float), std::uint32_t, std::uint64_t>;
    static constexpr int max_exponent = std::numeric_limits<T>::max_exponent10;  // 308, 38
    static constexpr int min_exponent = std::numeric_limits<T>::min_exponent10;  // -307, -37

    static bool is_digit(char c) { return c >= '0' && c <= '9'; }

    // Adds a digit unless the accumulator would overflow.
    static bool add_digit(accumulator& acc, char c) {
        constexpr accumulator max = std::numeric_limits<accumulator>::max();
        const accumulator digit = static_cast<accumulator>(c - '0');
        if (acc > max / 10 || acc * 10 > max - digit) {
            return false;
        }
        acc = acc * 10 + digit;
        return true;
    }

    // At least one digit, none of them overflowing; on failure nothing is taken.
    static bool integer_digits(iterator& first, iterator last, accumulator& acc) {
        iterator it = first;
        for (; it != last && is_digit(*it); ++it) {
            if (!add_digit(acc, *it)) {
                return false;
            }
        }
        if (it == first) {
            return false;
        }
        first = it;
        return true;
    }

    // Digits into acc as far as it holds, counted; the rest are stepped over.
    static bool fraction_digits(iterator& first, iterator last, accumulator& acc, int& count) {
        if (first == last || !is_digit(*first)) {
            return false;
        }
        for (; first != last && is_digit(*first) && add_digit(acc, *first); ++first) {
            ++count;
        }
        while (first != last && is_digit(*first)) {
            ++first;
        }
        return true;
    }

    // An optional sign and at least one digit of a 32-bit signed number; on
    // failure nothing is taken.
    static bool exponent_digits(iterator& first, iterator last, int& exponent) {
        return qi::parse(first, last, qi::int_parser<int>(), exponent);
    }

    // Matches word case-insensitively; word is given in lower case.
    static bool word(iterator& first, iterator last, const char* lower) {
        iterator it = first;
        for (; *lower != '\0'; ++lower, ++it) {
            if (it == last || (*it != *lower && *it != *lower - ('a' - 'A'))) {
                return false;
            }
        }
        first = it;
        return true;
    }

    // "nan", optionally with a bracketed text, or "inf" or "infinity", in any
    // case. A "nan" whose bracket isn't closed stays consumed yet fails.
    static bool nan_or_inf(iterator& first, iterator last, T& out) {
        if (word(first, last, "nan")) {
            if (first != last && *first == '(') {
                iterator close = first;
                while (++close != last && *close != ')') {
                }
                if (close == last) {
                    return false;
                }
                first = close + 1;
            }
            out = std::numeric_limits<T>::quiet_NaN();
            return true;
        }
        if (word(first, last, "inf")) {
            word(first, last, "inity");
            out = std::numeric_limits<T>::infinity();
            return true;
        }
        return false;
    }

    static T power_of_ten(long long exponent) {
        return boost::spirit::traits::pow10<T>(static_cast<unsigned>(exponent));
    }

    // One multiplication or division by a power of ten from the table; below
    // the smallest power the kind holds, two divisions.
    static bool scale(long long exponent, accumulator acc, T& out) {
        if (exponent >= 0) {
            if (exponent > max_exponent) {
                return false;
            }
            out = static_cast<T>(acc) * power_of_ten(exponent);
        } else if (exponent >= min_exponent) {
            out = static_cast<T>(acc) / power_of_ten(-exponent);
        } else {
            const long long rest = exponent - min_exponent;
            if (rest < min_exponent) {
                return false;
            }
            out = static_cast<T>(acc) / power_of_ten(-min_exponent) / power_of_ten(-rest);
        }
        return true;
    }
};

// The real grammar as a Qi parser, skipping white space in front like Qi's
// own numeric parsers.
template <class T>
struct real_parser : qi::primitive_parser<real_parser<T>> {
    template <class Context, class Iterator>
    struct attribute {
        using type = T;
    };

    template <class Iterator, class Context, class Skipper, class Attribute>
    bool parse(Iterator& first, const Iterator& last, Context&, const Skipper& skipper,
               Attribute& attr) const {
        qi::skip_over(first, last, skipper);
        T value = 0;
        if (!real_grammar<T>::parse(first, last, value)) {
            return false;
        }
        boost::spirit::traits::assign_to(value, attr);
        return true;
    }

    template <class Context>
    boost::spirit::info what(Context&) const {
        return boost::spirit::info("real");
    }
};

// One element, with white space skipped in front and behind.
template <class Parser, class T>
bool parse_one(std::string_view text, const Parser& parser, T& out) {
    iterator first = text.data();
    return qi::phrase_parse(first, first + text.size(), parser, boost::spirit::iso8859_1::space,
                            out);
}

// Elements separated by white space, up to the end of the text, the first
// element that fails, or room elements stored.
template <class Parser, class T>
std::size_t parse_many(std::string_view text, const Parser& parser, T* out, std::size_t room,
                       std::size_t& count) {
    const auto& space = boost::spirit::iso8859_1::space;
    iterator first = text.data();
    const iterator last = first + text.size();
    count = 0;
    qi::phrase_parse(first, last, qi::eps, space);
    while (count < room && first != last &&
           qi::phrase_parse(first, last, parser, space, out[count])) {
        ++count;
    }
    return count;
}

// The parser of one array element of kind T.
template <class T>
auto element_parser() {
    if constexpr (std::is_same_v<T, char> || std::is_same_v<T, unsigned char>) {
        return qi::standard::char_;
    } else if constexpr (std::is_same_v<T, bool>) {
        return qi::bool_;
    } else if constexpr (std::is_floating_point_v<T>) {
        return real_parser<T>();
    } else if constexpr (std::is_signed_v<T>) {
        return qi::int_parser<T>();
    } else {
        return qi::uint_parser<T>();
    }
}

// What the pointer forms pass as room: they trust the caller's array.
constexpr std::size_t unbounded = static_cast<std::size_t>(-1);

template <class T>
std::size_t parse_elements(std::string_view text, T* out, std::size_t room, std::size_t& count) {
    return parse_many(text, element_parser<T>(), out, room, count);
}

template <class T>
std::size_t parse_elements(std::string_view text, std::span<T> out) {
    std::size_t count = 0;
    return parse_many(text, element_parser<T>(), out.data(), out.size(), count);
}

}  // namespace

bool parse_value(std::string_view text, char& out) {
    if (text.empty()) {
        return false;
    }
    out = text.front();
    return true;
}

bool parse_value(std::string_view text, unsigned char& out) {
    unsigned int number = 0;
    if (!parse_one(text, qi::uint_parser<unsigned int>(), number)) {
        return false;
    }
    out = static_cast<unsigned char>(number);
    return true;
}

bool parse_value(std::string_view text, short& out) {
    return parse_one(text, qi::int_parser<short>(), out);
}

bool parse_value(std::string_view text, unsigned short& out) {
    return parse_one(text, qi::uint_parser<unsigned short>(), out);
}

bool parse_value(std::string_view text, int& out) {
    return parse_one(text, qi::int_parser<int>(), out);
}

bool parse_value(std::string_view text, unsigned int& out) {
    return parse_one(text, qi::uint_parser<unsigned int>(), out);
}

bool parse_value(std::string_view text, long long& out) {
    return parse_one(text, qi::int_parser<long long>(), out);
}

bool parse_value(std::string_view text, unsigned long long& out) {
    return parse_one(text, qi::uint_parser<unsigned long long>(), out);
}

bool parse_value(std::string_view text, float& out) {
    return parse_one(text, real_parser<float>(), out);
}

bool parse_value(std::string_view text, double& out) {
    return parse_one(text, real_parser<double>(), out);
}

bool parse_value(std::string_view text, bool& out) {
    if (text.empty()) {
        return false;
    }
    out = !(text == "0" || text == "false");
    return true;
}

bool parse_value(std::string_view text, std::string& out) {
    out.assign(text);
    return true;
}

std::size_t parse_array(std::string_view text, char* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, unsigned char* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, short* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, unsigned short* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, int* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, unsigned int* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, long long* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, unsigned long long* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, float* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, double* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, bool* out, std::size_t& count) {
    return parse_elements(text, out, unbounded, count);
}

std::size_t parse_array(std::string_view text, std::span<char> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<unsigned char> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<short> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<unsigned short> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<int> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<unsigned int> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<long long> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<unsigned long long> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<float> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<double> out) {
    return parse_elements(text, out);
}

std::size_t parse_array(std::string_view text, std::span<bool> out) {
    return parse_elements(text, out);
}

}  // namespace vorn
