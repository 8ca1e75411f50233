// Checks everything that a package records about itself.
//
// Opening the package has checked the header and the hash of the table of
// contents. Here each entry, in file order, must lie within the file, at a
// multiple of 16, outside the header, the table of contents and every other
// entry, which the reader tests before it reads a byte of the entry; its
// stored bytes must hash to the recorded value, and a deflated entry must
// inflate to exactly its recorded size. Readers test none of the entries'
// hashes, so this is where damage inside an entry shows.
//
// Findings, all errors, on the entry at the offset of its stored bytes:
//   entry-unreadable      the entry cannot be read where it lies (the
//                         reader's message);
//   entry-hash-mismatch   "stored bytes hash to <hex>, the table of contents
//                         records <hex>", 16 hex digits each;
//   entry-inflate-failed  the stream does not inflate to its record (the
//                         reader's or the stream's message).
// The report counts "entries". Its command is "verify".
#pragma once

#include <string>

#include "zel/archive/package_report.hpp"
#include "zel/archive/reader.hpp"

namespace vorn::zela {

package_report verify_package(const zel_archive_reader& reader, const std::string& package);

}  // namespace vorn::zela
