// Printing a file index as the scene document, atomized or plain. The bytes,
// which every package keeps, are told in document_writer.cpp; the file index
// is its only caller (zel_file_index::write_document).
#pragma once

#include <string>

#include "zel/scene/file_index.hpp"

namespace vorn::zel {

// Appends the document of index to out. Adds the metadata block
// "__internal_use__" with the count of ordinary blocks first, unless the
// index holds one already; an atomized document interns the four attribute
// words into the index's table if it lacks them.
void write_document(zel_file_index& index, std::string& out, bool atomize);

}  // namespace vorn::zel
