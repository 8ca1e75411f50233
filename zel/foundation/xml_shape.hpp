// How deeply the elements of an XML text nest and how many nodes and
// attributes it makes, as the XML parser sees them: the reader of the table
// of contents and the reader of the scene document measure a text with it
// before they parse it.
//
// rapidxml parses an element's contents by recursion, one level of the stack
// for each open element, and has no limit of its own: a text of a few hundred
// kilobytes that opens elements inside each other exhausts the stack. It also
// allocates a node for every element and an attribute for every attribute, so
// a small text of many empty elements costs gigabytes. A table of contents
// that passed its hash is still text from a file, so its shape is measured
// before the parser allocates anything.
//
// The scan follows rapidxml's own grammar for parse flags 0, with its own
// character tables, so that it counts exactly the elements that the parser
// would open: declarations, processing instructions, comments, CDATA
// sections, doctypes and attribute values are skipped the way the parser
// skips them, and a "<" or "/>" inside them opens or closes nothing. It reads
// the text only; it does not change it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace vorn {

struct xml_shape_limits {
    std::size_t depth;         // elements open at once
    std::uint64_t elements;    // nodes: elements, runs of text and CDATA sections
    std::uint64_t attributes;  // attributes of elements
};

enum class xml_shape {
    within,
    too_deep,
    too_many_elements,
    too_many_attributes,
};

// The first limit that the zero-terminated text, parsed by rapidxml with flags
// 0, would pass, or within. A run of text inside an element counts as an
// element, since the parser makes a node of it as it does of a CDATA section.
// Where the text is not well formed the count stops: the parser stops there
// too, with its own error, before it allocates any more.
xml_shape xml_shape_of(const char* text, const xml_shape_limits& limits) noexcept;

}  // namespace vorn
