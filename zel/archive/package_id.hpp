// What identifies one state of a package: the hash of its table of contents
// and the end of the table of contents. Both change with any change of the
// archive.
#pragma once

#include <cstdint>

namespace vorn {

struct package_id {
    std::uint64_t toc_hash = 0;
    std::uint64_t toc_end = 0;

    friend bool operator==(const package_id&, const package_id&) = default;
};

}  // namespace vorn
