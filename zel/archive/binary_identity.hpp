// The identity of stored bytes: the system hash of the bytes as stored, then
// their number. Two entries are the same bytes exactly when their identities
// are equal; deduplication, contents catalogues and caches all key on it.
// (0, 0) means that there is no such entry.
#pragma once

#include <cstdint>

namespace vorn {

struct binary_identity {
    std::uint64_t hash = 0;
    std::uint64_t size = 0;

    friend bool operator==(const binary_identity&, const binary_identity&) = default;
};

}  // namespace vorn
