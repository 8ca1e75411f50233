// How packages that live on an HTTP server are read: the node cache, the
// bounds of every call, and the trust of TLS.
//
// The defaults suit a render node: no cache unless a directory is named, a
// call that gives up after 30 seconds without progress, three retries of a
// failed transfer, sixteen requests in flight. Certificates are always
// verified, against the system's store unless a CA file is named.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>

namespace vorn::zela {

struct remote_options {
    // The node cache: a directory that any number of processes of a node may
    // share, keyed by binary identity. Empty: no cache.
    std::filesystem::path cache_directory;
    // The bytes the cache may hold; the least recently used files go first.
    std::uint64_t cache_budget = std::uint64_t{16} << 30;
    // The longest a single request may take, retries not counted.
    std::chrono::milliseconds timeout{30000};
    // The certificates that HTTPS servers are verified against, as a PEM file.
    // Empty: the system's default store.
    std::filesystem::path ca_file;
    // How often a transfer that failed on the way (no connection, reset,
    // timeout, 5xx) is tried again, with a growing pause, before it raises.
    unsigned retries = 3;
    // Requests in flight at once when many entries are fetched together:
    // the 200 binaries of a scene spread over a large library are 13 waves
    // of requests at 16, 25 at 8.
    unsigned parallel_requests = 16;
    // The file's tail asked for with the header when a package is opened: a
    // package ends with its table of contents, and its scene entry just
    // before that.
    std::uint64_t tail_size = std::uint64_t{1} << 20;
    // Two ranges of a batch closer than this are fetched as one request.
    std::uint64_t merge_gap = std::uint64_t{64} << 10;
    // The most bytes one merged request may span.
    std::uint64_t max_merged_size = std::uint64_t{8} << 20;
    // The most bytes taken from a server that ignores Range and answers with
    // the whole object, which then serves as the package's image in memory.
    std::uint64_t max_whole_object = std::uint64_t{4} << 30;
};

}  // namespace vorn::zela
