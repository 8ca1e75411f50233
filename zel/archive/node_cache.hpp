// The node cache: entries of packages read over the network, kept in a
// directory on local disk and keyed by their binary identity.
//
// Equal bytes have equal identities, so two packages or libraries that hold
// the same bytes share one cached file, and a cached file never needs to ask
// a server whether it is still valid. Each file is named after its identity
// (<first two hex digits of the hash>/<hash in hex>-<size>) and holds the
// stored bytes of the entry, nothing else.
//
// Any number of processes and threads may share one directory. A file is
// written under a temporary name and renamed into place, so it appears whole
// or not at all; a file is never changed once there, so a process that has
// it mapped keeps its bytes even if another evicts it. What find() hands out
// is tested against its identity (size and hash) first: a damaged or
// truncated file is removed and reported missing, and the caller fetches the
// bytes again.
//
// The budget. A hit refreshes the file's modification time; when the bytes
// a process believes the directory holds pass the budget, it scans the
// directory and removes the least recently used files until they fill at
// most nine tenths of it. Each process counts what it adds itself between
// scans, so with many writers the directory can pass its budget for a while
// by what they added since their last scan. Temporary files of writers that
// died are removed by a scan once they are an hour old.
//
// Failures to write (a full disk, a directory that cannot be made) are not
// errors: the cache is an optimisation, and the bytes are simply not kept.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>

#include "zel/archive/binary_identity.hpp"

namespace vorn::zela {

class node_cache {
  public:
    struct cached {
        std::shared_ptr<void> holder;  // keeps data mapped
        const char* data = nullptr;
    };

    node_cache(std::filesystem::path directory, std::uint64_t budget);

    // The bytes with that identity, if the cache holds them sound.
    std::optional<cached> find(const binary_identity& identity);
    // Keeps size bytes at data under identity, unless they do not have that
    // identity or do not fit the budget at all.
    void store(const binary_identity& identity, const char* data, std::uint64_t size);

    // Where the bytes of identity are kept.
    std::filesystem::path path_of(const binary_identity& identity) const;
    const std::filesystem::path& directory() const noexcept { return directory_; }

  private:
    // Scans the directory and evicts down to nine tenths of the budget.
    void evict();

    std::filesystem::path directory_;
    std::uint64_t budget_;
    std::mutex mutex_;
    std::optional<std::uint64_t> believed_size_;
};

}  // namespace vorn::zela
