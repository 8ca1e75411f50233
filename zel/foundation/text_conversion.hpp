// Conversion between UTF-8 and wide text.
//
// Bad input never raises. Invalid sequences become U+FFFD, and a result that
// is empty or holds U+FFFD gets the marker "-> unicode_ERROR" appended, so an
// empty input converts to the marker alone. Input that really holds U+FFFD is
// marked as well. Wide text is UTF-32.
#pragma once

#include <string>

namespace vorn {

std::wstring to_wide(const std::string& utf8);
std::string to_utf8(const std::wstring& wide);

}  // namespace vorn
