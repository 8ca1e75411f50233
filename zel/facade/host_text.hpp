// Host text to the native string forms and back.
//
// Names, types, values, units, tags and hints become narrow strings in the
// code page of the calling thread, which on this platform is the character
// set of the thread's locale (uselocale, or the process's locale when the
// thread has none of its own). A character that the code page lacks becomes
// '?' and is no error, so two different host names can meet in one native
// name. Paths stay wide: their UTF-16 units become wide text as they stand,
// with surrogate pairs joined, and a file system path takes that text as a
// UTF-8 file name whatever the locale (an unpaired surrogate becomes '?').
//
// Failures are raised in the host's exception types:
//   null text, in any direction           ArgumentNullException
//                                         "NULLPTR is not supported for this conversion."
//   a code page that cannot be used       ArgumentException, the direction's
//                                         "Conversion from ... failed. ..." text
//   a result longer than INT_MAX units    ArgumentOutOfRangeException
//                                         "Size of string exceeds INT_MAX."
//   no memory for a host text             InsufficientMemoryException
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "zel/facade/host_string.hpp"

namespace Tessaly::Corvane::DB::ZEL {

std::string to_narrow(const System::String& text);
std::wstring to_wide(const System::String& text);
std::filesystem::path to_path(const System::String& text);
std::filesystem::path path_of(const std::wstring& wide);
System::String to_host(std::string_view narrow);

// UTF-8 of host text whatever the locale, for what() texts; an unpaired
// surrogate becomes '?'.
std::string utf8_of(std::u16string_view text);

}  // namespace Tessaly::Corvane::DB::ZEL
