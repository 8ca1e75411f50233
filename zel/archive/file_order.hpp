// The entries of a package in the order in which their bytes lie in the file,
// for listings that read like the file itself.
#pragma once

#include <string>
#include <vector>

#include "zel/archive/reader.hpp"

namespace vorn::zela {

struct placed_entry {
    std::string name;
    const zel_archive_reader::entry* record;  // owned by the reader
};

// By offset, then by name: empty entries share the offset of the next one.
std::vector<placed_entry> entries_in_file_order(const zel_archive_reader& reader);

}  // namespace vorn::zela
