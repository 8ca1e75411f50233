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
// Fetching. A process that misses an entry claims its identity before it
// fetches the bytes: a lock file beside the entry's file, held with flock.
// Another process (or thread) that misses the same entry waits for the
// claim, then finds the bytes in the cache, so the processes of a node fetch
// each entry from the server once. A process that dies lets go of its claims.
//
// Failures to write (a full disk, a directory that cannot be made) are not
// errors: the cache is an optimisation, and the bytes are simply not kept.
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "zel/archive/binary_identity.hpp"

namespace vorn::zela {

class node_cache {
  public:
    struct cached {
        std::shared_ptr<void> holder;  // keeps data mapped
        const char* data = nullptr;
    };

    // The right to fetch the bytes of some identities for the whole node,
    // held until it is destroyed. An identity that cannot be claimed (no lock
    // file can be made) is fetched without a claim.
    class fetch_claim {
      public:
        fetch_claim() = default;
        fetch_claim(fetch_claim&& other) noexcept : locks_(std::move(other.locks_)) {}
        fetch_claim& operator=(fetch_claim&& other) noexcept;
        fetch_claim(const fetch_claim&) = delete;
        fetch_claim& operator=(const fetch_claim&) = delete;
        ~fetch_claim() { release(); }

      private:
        friend class node_cache;
        void release() noexcept;

        std::vector<std::pair<int, std::filesystem::path>> locks_;  // descriptor, lock file
    };

    node_cache(std::filesystem::path directory, std::uint64_t budget);

    // Claims the identities, waiting while another holds any of them. They
    // are taken in one order in every process, so two claims never wait for
    // each other. Look into the cache again once it is held: what another
    // process fetched meanwhile is there.
    fetch_claim claim(std::vector<binary_identity> identities);

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
