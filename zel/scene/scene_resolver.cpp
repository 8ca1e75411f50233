#include "zel/scene/scene_resolver.hpp"

#include <stdexcept>
#include <string>
#include <system_error>

#include "zel/archive/open_archive.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/scene/lru_cache.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

struct index_cost {
    std::uint64_t operator()(const std::shared_ptr<zel_file_index>& index) const noexcept {
        return index->block_count();
    }
};

struct buffer_cost {
    std::uint64_t operator()(const std::shared_ptr<const read_buffer>& buffer) const noexcept {
        return buffer->size();
    }
};

// The first word is a hash of the bytes already.
struct identity_hash {
    std::size_t operator()(const binary_identity& id) const noexcept {
        return static_cast<std::size_t>(id.hash);
    }
};

using index_cache =
    lru_cache<std::string, std::shared_ptr<zel_file_index>, index_cost, hash<std::string>>;
using binary_cache =
    lru_cache<binary_identity, std::shared_ptr<const read_buffer>, buffer_cost, identity_hash>;

template <class Cache>
zel_scene_resolver::cache_usage usage_of(const Cache& cache) {
    const auto u = cache.current_usage();
    return {u.elements, u.cost, u.budget};
}

bool is_missing(const std::filesystem::path& path) {
    std::error_code ignored;
    const std::filesystem::file_type type = std::filesystem::status(path, ignored).type();
    return type == std::filesystem::file_type::not_found ||
           type == std::filesystem::file_type::none || type == std::filesystem::file_type::unknown;
}

}  // namespace

struct zel_scene_resolver::state {
    state(std::uint64_t block_budget, std::uint64_t decoded_budget, std::uint64_t raw_budget)
        : file_index_cache(block_budget),
          raw_binary_cache(raw_budget),
          decoded_binary_cache(decoded_budget) {}

    zela::remote_options remote;
    index_cache file_index_cache;
    binary_cache raw_binary_cache;
    binary_cache decoded_binary_cache;
};

zel_scene_resolver::zel_scene_resolver(std::uint64_t block_budget, std::uint64_t decoded_budget,
                                       std::uint64_t raw_budget)
    : state_(std::make_unique<state>(block_budget, decoded_budget, raw_budget)) {}

zel_scene_resolver::zel_scene_resolver(std::uint64_t block_budget, std::uint64_t decoded_budget,
                                       std::uint64_t raw_budget, const zela::remote_options& remote)
    : zel_scene_resolver(block_budget, decoded_budget, raw_budget) {
    state_->remote = remote;
}

zel_scene_resolver::~zel_scene_resolver() = default;

std::shared_ptr<zel_file_index> zel_scene_resolver::open_file_index(
    const std::filesystem::path& path) {
    const std::string key = path_to_utf8(path);
    std::shared_ptr<zel_file_index> index;
    if (state_->file_index_cache.get(key, index)) {
        return index;
    }
    const bool url = zela::is_url(key);
    if (!url && is_missing(path)) {
        std::string message;
        message.append(texts::file_prefix).append(key).append(texts::file_not_found);
        throw zel_exception(message);
    }
    index = std::make_shared<zel_file_index>(zela::open_archive_reader(key, state_->remote),
                                             std::string(texts::index_entry));
    state_->file_index_cache.insert(key, index);
    return index;
}

std::shared_ptr<const read_buffer> zel_scene_resolver::get_cached_binary(
    const std::shared_ptr<zel_file_index>& index, const std::string& name, bool raw) {
    const zela::zel_archive_reader& reader = reader_of(index);
    const binary_identity key = reader.get_entry_key(name);
    // (0, 0) is the answer for a name the archive does not hold; a hostile
    // table could also give it to a real entry. Neither may meet what the
    // caches hold under that key, so the read decides: it raises, or gives
    // bytes that are not kept.
    if (key == binary_identity{}) {
        return raw ? reader.get_raw_entry(name) : reader.get_entry(name);
    }
    std::shared_ptr<const read_buffer> buffer;
    if (find_cached(key, raw, buffer)) {
        return buffer;
    }
    buffer = raw ? reader.get_raw_entry(name) : reader.get_entry(name);
    keep(key, raw, buffer);
    return buffer;
}

std::vector<std::shared_ptr<const read_buffer>> zel_scene_resolver::get_cached_binaries(
    const std::shared_ptr<zel_file_index>& index, const std::vector<std::string>& names, bool raw) {
    const zela::zel_archive_reader& reader = reader_of(index);
    std::vector<std::shared_ptr<const read_buffer>> buffers(names.size());
    std::vector<binary_identity> keys(names.size());
    std::vector<std::string> wanted;
    std::vector<std::size_t> wanted_at;
    for (std::size_t i = 0; i < names.size(); ++i) {
        keys[i] = reader.get_entry_key(names[i]);
        if (keys[i] == binary_identity{} || !find_cached(keys[i], raw, buffers[i])) {
            wanted.push_back(names[i]);
            wanted_at.push_back(i);
        }
    }
    if (wanted.empty()) {
        return buffers;
    }
    auto fetched = raw ? reader.get_raw_entries(wanted) : reader.get_entries(wanted);
    for (std::size_t k = 0; k < wanted.size(); ++k) {
        const std::size_t i = wanted_at[k];
        buffers[i] = std::move(fetched[k]);
        if (keys[i] != binary_identity{}) {
            keep(keys[i], raw, buffers[i]);
        }
    }
    return buffers;
}

const zela::zel_archive_reader& zel_scene_resolver::reader_of(
    const std::shared_ptr<zel_file_index>& index) {
    if (!index || !index->archive_reader()) {
        throw std::invalid_argument(std::string(texts::no_archive));
    }
    return *index->archive_reader();
}

bool zel_scene_resolver::find_cached(const binary_identity& key, bool raw,
                                     std::shared_ptr<const read_buffer>& buffer) {
    if (raw) {
        return state_->raw_binary_cache.get(key, buffer);
    }
    if (state_->decoded_binary_cache.get(key, buffer)) {
        return true;
    }
    // Stored bytes that wait for no inflating are the payload. A compressed
    // hit is not used, though the get has refreshed it.
    if (state_->raw_binary_cache.get(key, buffer) && buffer->pending_size() == 0) {
        return true;
    }
    buffer.reset();
    return false;
}

void zel_scene_resolver::keep(const binary_identity& key, bool raw,
                              const std::shared_ptr<const read_buffer>& buffer) {
    if (!raw && buffer->decoded()) {
        state_->decoded_binary_cache.insert(key, buffer);
    } else {
        state_->raw_binary_cache.insert(key, buffer);
    }
}

zel_scene_resolver::cache_usage zel_scene_resolver::file_index_usage() const {
    return usage_of(state_->file_index_cache);
}

zel_scene_resolver::cache_usage zel_scene_resolver::raw_binary_usage() const {
    return usage_of(state_->raw_binary_cache);
}

zel_scene_resolver::cache_usage zel_scene_resolver::decoded_binary_usage() const {
    return usage_of(state_->decoded_binary_cache);
}

std::shared_ptr<zel_scene_graph> open_scene_graph(
    const std::shared_ptr<zel_scene_resolver>& resolver, const std::filesystem::path& path) {
    // The only pointer outside the cache is this one, so a scene that the
    // cache did not keep is taken over rather than copied.
    const std::shared_ptr<zel_file_index> index = resolver->open_file_index(path);
    return std::make_shared<zel_scene_graph>(resolver, index);
}

}  // namespace vorn::zel
