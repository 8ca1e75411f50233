// Names and messages made safe for one line of a terminal.
//
// Entry names and file names are bytes that anybody may choose: an escape
// sequence in one would reach the terminal, and a line feed would split a
// row of a listing. Every name and message the tool prints goes through
// printable() first.
#pragma once

#include <string>
#include <string_view>

namespace vorn::zel_tool {

// The text with its control characters escaped: "\n", "\r" and "\t" for
// those three, "\xHH" for the other bytes below 0x20, DEL and the C1
// controls as UTF-8 encodes them (two bytes, each escaped), and "\\" for the
// backslash itself, so that an escaped text reads back unambiguously. Other
// bytes, UTF-8 text among them, stay as they are.
std::string printable(std::string_view text);

}  // namespace vorn::zel_tool
