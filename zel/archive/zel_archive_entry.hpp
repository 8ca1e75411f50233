// The record of one archive entry.
#pragma once

#include <cstdint>

#include "zel/archive/entry_params.hpp"

namespace vorn::zela {

template <class traits>
struct zel_archive_entry {
    std::uint64_t off = 0;           // file offset of the stored bytes
    std::uint64_t csize = 0;         // stored size
    std::uint64_t dsize = 0;         // payload size when compressed; 0 when stored as given
    std::uint64_t hash = 0;          // hash of the stored bytes
    entry_params* params = nullptr;  // owned by the archive's pool; may be null
    // Guards params.
    [[no_unique_address]] typename traits::shared_mutex lock;
};

}  // namespace vorn::zela
