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
// Beside the package, the temporaries that unfinished writes of it left
// (system/output_file.hpp) are named first, as warnings on the file:
//   stray-temporary-file  "stray temporary of an unfinished write of
//                         <package>; nothing reads it, and unless that write
//                         is still going on it may be deleted".
// Then the errors, each on the entry at the offset of its stored bytes:
//   entry-unreadable      the entry cannot be read where it lies (the
//                         reader's message);
//   entry-hash-mismatch   "stored bytes hash to <hex>, the table of contents
//                         records <hex>", 16 hex digits each;
//   entry-inflate-failed  the stream does not inflate to its record (the
//                         reader's or the stream's message).
// The report counts "entries". Its command is "verify".
#pragma once

#include <string>
#include <vector>

#include "zel/archive/package_report.hpp"
#include "zel/archive/reader.hpp"

namespace vorn::zela {

// The package's path is its name in the report, as given.
package_report verify_package(const zel_archive_reader& reader, const std::string& package);

// The stray temporaries of the package at that path alone, for a caller that
// names them before it opens the package, which may fail.
std::vector<finding> stray_temporaries(const std::string& package);

}  // namespace vorn::zela
