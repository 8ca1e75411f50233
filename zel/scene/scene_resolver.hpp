// Where package files enter memory when scenes are read.
//
// The resolver turns the path of a package into its scene (a zel_file_index)
// and the name of a binary into its bytes (a read_buffer), and keeps both in
// three bounded caches: scenes by path, costed by their number of blocks;
// binaries as stored, and binaries decoded, both keyed by the identity of
// the stored bytes and costed by their size. Since binaries are keyed by
// content, two packages that hold the same bytes share one cached buffer.
//
// A path is its own key, as given: no canonical form is made, so two
// spellings of one file are two entries. A scene too large for its cache is
// returned all the same, only not kept; so is a buffer.
//
// Threads. Any number of threads may use one resolver. Each cache has its own
// lock, held for one cache operation and never together with another; files
// are mapped and parsed outside every lock, so two threads that open the same
// path at once both read it and the later one's scene stays in the cache.
// Scenes handed out are shared with the cache and with other callers: treat
// them as read-only (a scene graph works on its own copy).
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/remote_options.hpp"
#include "zel/archive/system/read_buffer.hpp"
#include "zel/scene/file_index.hpp"

namespace vorn::zel {

class zel_scene_graph;

class zel_scene_resolver {
  public:
    struct cache_usage {
        std::size_t elements = 0;
        std::uint64_t cost = 0;
        std::uint64_t budget = 0;
    };

    // Budgets in blocks for scenes, in bytes for binaries. A budget of 0
    // keeps only what costs nothing.
    zel_scene_resolver(std::uint64_t block_budget, std::uint64_t decoded_budget,
                       std::uint64_t raw_budget);
    // The same, with the settings for packages that are URLs.
    zel_scene_resolver(std::uint64_t block_budget, std::uint64_t decoded_budget,
                       std::uint64_t raw_budget, const zela::remote_options& remote);
    zel_scene_resolver(const zel_scene_resolver&) = delete;
    zel_scene_resolver& operator=(const zel_scene_resolver&) = delete;
    ~zel_scene_resolver();

    // The scene of the package at path, or at an http:// or https:// URL
    // (open_archive.hpp) given as the path's text. Raises zel_exception "zel
    // file <path> not found on local filesystem" for a path that does not
    // exist, and the errors of the archive and of the scene document as they
    // come; a failed open leaves the caches as they were.
    std::shared_ptr<zel_file_index> open_file_index(const std::filesystem::path& path);

    // The binary called name in index's archive: the bytes as stored if raw,
    // else the payload. An entry stored as given is the same buffer both
    // ways, and a raw buffer cached for it answers a decoded request too.
    // A name that the archive does not hold raises the archive's "Can't find
    // entry with name" error; an index without an archive raises
    // std::invalid_argument.
    std::shared_ptr<const read_buffer> get_cached_binary(
        const std::shared_ptr<zel_file_index>& index, const std::string& name, bool raw);

    // The binaries called names in index's archive, in their order, as
    // get_cached_binary gives each: those the caches lack are fetched
    // together (zel_archive_reader::get_entries), so a package on a server
    // answers them in a few round trips. The first name that the archive
    // does not hold raises before anything is fetched.
    std::vector<std::shared_ptr<const read_buffer>> get_cached_binaries(
        const std::shared_ptr<zel_file_index>& index, const std::vector<std::string>& names,
        bool raw);

    cache_usage file_index_usage() const;
    cache_usage raw_binary_usage() const;
    cache_usage decoded_binary_usage() const;

  private:
    static const zela::zel_archive_reader& reader_of(const std::shared_ptr<zel_file_index>& index);
    // A cached buffer that answers for key, raw or decoded.
    bool find_cached(const binary_identity& key, bool raw,
                     std::shared_ptr<const read_buffer>& buffer);
    void keep(const binary_identity& key, bool raw,
              const std::shared_ptr<const read_buffer>& buffer);

    struct state;
    std::unique_ptr<state> state_;
};

// A new scene graph over the package at path, holding resolver. Its root is a
// copy of the cached scene, or the scene itself if the cache did not keep it.
std::shared_ptr<zel_scene_graph> open_scene_graph(
    const std::shared_ptr<zel_scene_resolver>& resolver, const std::filesystem::path& path);

}  // namespace vorn::zel
