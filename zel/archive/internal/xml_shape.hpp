// How deeply the elements of an XML text nest, as the parser of the table of
// contents sees them.
//
// rapidxml parses an element's contents by recursion, one level of the stack
// for each open element, and has no limit of its own: a text of a few hundred
// kilobytes that opens elements inside each other exhausts the stack. A table
// of contents that passed its hash is still text from a file, so its depth is
// measured before it is parsed.
//
// The scan follows rapidxml's own grammar for parse flags 0, with its own
// character tables, so that it counts exactly the elements that the parser
// would open: declarations, processing instructions, comments, CDATA
// sections, doctypes and attribute values are skipped the way the parser
// skips them, and a "<" or "/>" inside them opens or closes nothing. It reads
// the text only; it does not change it.
#pragma once

#include <cstddef>

namespace vorn::zela {

// False if the zero-terminated text, parsed by rapidxml with flags 0, would
// have more than limit elements open at once. True otherwise, also where the
// text is not well formed: the parser stops there with its own error before it
// goes any deeper.
bool xml_depth_within(const char* text, std::size_t limit) noexcept;

}  // namespace vorn::zela
