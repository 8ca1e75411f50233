// Reading value texts back into numbers.
//
// The parsers are lax on purpose, and callers rely on it:
//   - white space (0x09 to 0x0D, 0x20 and 0xA0) is skipped around every
//     element;
//   - parse_value reads one element and ignores whatever follows it, so
//     "12abc" is 12 and "1 2 3" is 1;
//   - parse_array reads elements until the text ends or an element fails, and
//     keeps what it read: "1 2 x 3" gives 2 elements;
//   - an integer outside its kind's range is a failure, never a truncation;
//     unsigned kinds take no sign;
//   - reals follow the value text grammar: sign, digits, ".", digits, "e" and
//     a signed exponent, with "nan", "nan(...)", "inf" and "infinity" in any
//     case; the digits go into a 64-bit (double) or 32-bit (float) integer
//     that is scaled once by a power of ten, so a float with an integer part
//     above 4294967295 is refused, and an "e" without digits is not part of
//     the number and leaves the digits unscaled ("1.5e" is 15).
//
// Per kind:
//   char            scalar: the first byte, nothing skipped; arrays: each
//                   byte that isn't white space
//   unsigned char   scalar: a number read as unsigned int, of which the low
//                   8 bits are kept; arrays: each byte as for char
//   bool            scalar: false only for the whole texts "0" and "false",
//                   true for any other non-empty text; arrays: the words
//                   "true" and "false"
//   std::string     scalar only: the whole text, always true
//
// Nothing throws. On failure `out` holds whatever the parser reached.
// parse_array with a span stores no more elements than the span has room
// for, and leaves the rest of the text unread. The form with a pointer and a
// count writes as many elements as the text holds: its caller must size
// `out` by the count behind the type word, and a text that holds more
// elements than the type word says writes past it; it is kept for callers
// that read their own texts.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "zel/foundation/intrusive_string.hpp"

namespace vorn {

bool parse_value(std::string_view text, char& out);
bool parse_value(std::string_view text, unsigned char& out);
bool parse_value(std::string_view text, short& out);
bool parse_value(std::string_view text, unsigned short& out);
bool parse_value(std::string_view text, int& out);
bool parse_value(std::string_view text, unsigned int& out);
bool parse_value(std::string_view text, long long& out);
bool parse_value(std::string_view text, unsigned long long& out);
bool parse_value(std::string_view text, float& out);
bool parse_value(std::string_view text, double& out);
bool parse_value(std::string_view text, bool& out);
bool parse_value(std::string_view text, std::string& out);

// Stores at most out.size() elements and returns their number.
std::size_t parse_array(std::string_view text, std::span<char> out);
std::size_t parse_array(std::string_view text, std::span<unsigned char> out);
std::size_t parse_array(std::string_view text, std::span<short> out);
std::size_t parse_array(std::string_view text, std::span<unsigned short> out);
std::size_t parse_array(std::string_view text, std::span<int> out);
std::size_t parse_array(std::string_view text, std::span<unsigned int> out);
std::size_t parse_array(std::string_view text, std::span<long long> out);
std::size_t parse_array(std::string_view text, std::span<unsigned long long> out);
std::size_t parse_array(std::string_view text, std::span<float> out);
std::size_t parse_array(std::string_view text, std::span<double> out);
std::size_t parse_array(std::string_view text, std::span<bool> out);

// Stores the elements, sets count to their number and returns it; out must
// have room for every element of the text.
std::size_t parse_array(std::string_view text, char* out, std::size_t& count);
std::size_t parse_array(std::string_view text, unsigned char* out, std::size_t& count);
std::size_t parse_array(std::string_view text, short* out, std::size_t& count);
std::size_t parse_array(std::string_view text, unsigned short* out, std::size_t& count);
std::size_t parse_array(std::string_view text, int* out, std::size_t& count);
std::size_t parse_array(std::string_view text, unsigned int* out, std::size_t& count);
std::size_t parse_array(std::string_view text, long long* out, std::size_t& count);
std::size_t parse_array(std::string_view text, unsigned long long* out, std::size_t& count);
std::size_t parse_array(std::string_view text, float* out, std::size_t& count);
std::size_t parse_array(std::string_view text, double* out, std::size_t& count);
std::size_t parse_array(std::string_view text, bool* out, std::size_t& count);

template <class T>
bool parse_value(const intrusive_string& text, T& out) {
    return parse_value(text.view(), out);
}

template <class T>
std::size_t parse_array(const intrusive_string& text, T* out, std::size_t& count) {
    return parse_array(text.view(), out, count);
}

// Any storage that one of the span forms takes: a span, an array, a vector.
template <class Storage>
auto parse_array(const intrusive_string& text, Storage&& out)
    -> decltype(parse_array(text.view(), std::forward<Storage>(out))) {
    return parse_array(text.view(), std::forward<Storage>(out));
}

}  // namespace vorn
