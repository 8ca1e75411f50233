// Karma is confined to this file: it is heavy to compile, and the texts must
// come from one place.
#include "zel/foundation/value_text.hpp"

#include <iterator>

#include <boost/spirit/include/karma_bool.hpp>
#include <boost/spirit/include/karma_generate.hpp>
#include <boost/spirit/include/karma_int.hpp>
#include <boost/spirit/include/karma_real.hpp>
#include <boost/spirit/include/karma_uint.hpp>

namespace vorn {

namespace {

namespace karma = boost::spirit::karma;

using sink_iterator = std::back_insert_iterator<std::string>;

// Karma's default real policy in all but the number of fractional digits.
template <class T>
struct real_text_policy : karma::real_policies<T> {
    static unsigned precision(T) { return sizeof(T) == sizeof(float) ? 6 : 15; }
};

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

template <class T>
bool append_real(std::string& sink, T value) {
    return generate_into(sink, karma::real_generator<T, real_text_policy<T>>(), value);
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
