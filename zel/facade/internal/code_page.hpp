// Conversion between host text (UTF-16) and narrow text in a named character
// set, the work behind host_text.hpp with the character set and the size
// limit as arguments, so that both can be chosen by a caller.
//
// Narrowing never fails for a character the set lacks: it becomes '?', the
// default character, and so does an unpaired surrogate; there is no best-fit
// substitute ("é" does not become "e"). Widening turns bytes that are not
// valid in the set into U+FFFD. Both raise the host's exceptions:
// ArgumentException with the conversion's failure text when the character
// set cannot be used at all, ArgumentOutOfRangeException "Size of string
// exceeds INT_MAX." when the result would pass size_limit units, and, for
// widening, InsufficientMemoryException when no memory is left.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace Tessaly::Corvane::DB::ZEL::code_page {

std::string narrow(std::u16string_view text, const char* charset, std::size_t size_limit);
std::u16string widen(std::string_view text, const char* charset, std::size_t size_limit);

// UTF-8 of wide text (code points), with '?' for a surrogate or a value past
// U+10FFFF.
std::string utf8_of_wide(std::wstring_view text);

// The character set of the calling thread's locale, as nl_langinfo names it.
const char* thread_charset();

}  // namespace Tessaly::Corvane::DB::ZEL::code_page
