// Makes the contents file of a library package (see contents_file.hpp for
// the format).
//
// The library's scene entry is copied as it is, and each entry of the
// library becomes one "binary" block of the catalogue with the identity that
// the library's table of contents records and a copy of the entry's
// parameters; the scene entry itself is one of them. The package id of the
// library goes into "original_zel_package". No binary's bytes are read, so
// two runs on one package give contents files with equal package ids.
//
// Errors pass as they are raised: the archive's for a package that cannot
// be opened or has no "__zel_index__.xml", the writer's for an output that
// cannot be written. A failure after the output was created leaves a partial
// archive at output.
#pragma once

#include <filesystem>

namespace vorn::zel {

void create_contents_file(const std::filesystem::path& output,
                          const std::filesystem::path& source_package);

}  // namespace vorn::zel
