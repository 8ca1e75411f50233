// The text forms of values.
//
// Every value is stored as text from the moment it is handed over, and these
// texts decide the bytes of the scene document and which values count as the
// same atom, so they never vary with locale or platform:
//
//   integers   decimal, "-" for negative values, no "+", no leading zeros;
//   8-bit      the byte itself, not its number;
//   booleans   "true" or "false";
//   reals      at most 15 (double) or 6 (float) fractional digits without
//              trailing zeros but always with "." and a digit on either side;
//              fixed notation for zero and for magnitudes from 0.001 up to
//              below 100000, otherwise scientific with an exponent of at least
//              two digits ("1.0e05", "1.5e-07"); "nan", "-nan", "inf", "-inf";
//              never "-0.0".
//
// Each function appends to the sink and reports whether the generator
// succeeded; a string sink never refuses, so in practice all return true.
#pragma once

#include <string>
#include <string_view>

namespace vorn {

bool append_value_text(std::string& sink, char value);
bool append_value_text(std::string& sink, unsigned char value);
bool append_value_text(std::string& sink, short value);
bool append_value_text(std::string& sink, unsigned short value);
bool append_value_text(std::string& sink, int value);
bool append_value_text(std::string& sink, unsigned int value);
bool append_value_text(std::string& sink, long long value);
bool append_value_text(std::string& sink, unsigned long long value);
bool append_value_text(std::string& sink, float value);
bool append_value_text(std::string& sink, double value);
bool append_value_text(std::string& sink, bool value);
bool append_value_text(std::string& sink, const std::string& value);

// The four type words of typed values; arrays append their element count.
inline constexpr std::string_view integer_type_word = "integer";
inline constexpr std::string_view double_type_word = "double";
inline constexpr std::string_view string_type_word = "string";
inline constexpr std::string_view boolean_type_word = "boolean";

}  // namespace vorn
