// Reading the scene document into a file index: the atomized form by the
// streaming reader first, what it declines through the document tree. The
// grammar, and how a hostile document is refused, are told in
// document_reader.cpp; the file index is its only caller.
#pragma once

#include "zel/scene/file_index.hpp"

namespace vorn::zel {

// Reads the NUL-terminated document at text into the empty index. The text is
// changed as it is read.
void read_document(zel_file_index& index, char* text);
// The same through the general parser alone, for what the streaming reader of
// the atomized form declines, and for comparing the two.
void read_document_tree(zel_file_index& index, char* text);

}  // namespace vorn::zel
