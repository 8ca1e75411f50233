// The atomized scene document read in one pass, straight into blocks.
//
// The general reader parses the whole document into a tree first, which for
// a large scene costs more memory than the scene itself. This reader takes
// only the shape that the document writer prints: the declaration, the root
// with "zel", "metazel" and "atom_table" in this order, no white space
// between elements, tokens without references, attributes in double quotes.
// Within that shape it reads exactly what the general reader reads.
//
// Anything else, including every document that the general reader refuses,
// is declined: the reader answers false, having perhaps filled the index
// halfway, and the caller starts again on an empty index with the general
// reader, which gives the document's result or its error. So this reader
// never raises for a document and never decides a refusal. It only reads the
// text, up to its first NUL, and never changes it.
#pragma once

#include <cstddef>

#include "zel/scene/file_index.hpp"

namespace vorn::zel {

// Reads the NUL-terminated text into the empty index if it has the written
// shape; false if it has not.
bool read_atomized_stream(zel_file_index& index, const char* text);

// Sizes the index's block table from the count in "__internal_use__", if it
// is there and readable, but never beyond children, the number of blocks the
// document holds: the count is text from a file, and sizes an allocation.
void size_block_table(zel_file_index& index, std::size_t children);

}  // namespace vorn::zel
