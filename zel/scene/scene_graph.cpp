#include "zel/scene/scene_graph.hpp"

#include <google/dense_hash_map>

#include <map>
#include <stdexcept>
#include <string_view>
#include <utility>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/foundation/text_conversion.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

using redirect_table = google::dense_hash_map<std::string, std::string, hash<std::string>>;

redirect_table make_redirect_table() {
    redirect_table table;
    table.set_empty_key(std::string());
    return table;
}

// An empty table answers without hashing; the empty key may not be looked up.
template <class Table>
auto find_in(Table& table, const std::string& key) -> decltype(&table.find(key)->second) {
    if (table.empty() || key.empty()) {
        return nullptr;
    }
    const auto found = table.find(key);
    return found == table.end() ? nullptr : &found->second;
}

// The value split at its first "#", which is dropped.
void split_redirect(const std::string& value, std::string& file, std::string& block) {
    const std::size_t p = value.find(texts::link_separator);
    if (p == std::string::npos) {
        throw std::out_of_range(std::string(texts::invalid_position));
    }
    file = value.substr(0, p);
    block = value.substr(p + 1);
}

std::string_view behind_separator(const std::string& link) {
    const std::size_t p = link.find(texts::link_separator);
    return p == std::string::npos ? std::string_view(link) : std::string_view(link).substr(p + 1);
}

std::filesystem::path utf8_path(const std::string& text) {
    if (to_wide(text).find(L'\uFFFD') != std::wstring::npos) {
        throw std::invalid_argument(std::string(texts::invalid_file_name));
    }
    return std::filesystem::path(text);
}

bool is_reference_type(intrusive_string type) {
    return type.view() == texts::link_type || type.view() == texts::binary_type;
}

}  // namespace

struct zel_scene_graph::state {
    redirect_table file_redirects = make_redirect_table();
    redirect_table block_redirects = make_redirect_table();
    std::shared_ptr<zel_file_index> root_index;
    link_mapper mapper = [](const std::string&, std::string&) { return false; };
    binary_provider provider = [](const std::string&, std::uint64_t&) {
        return std::shared_ptr<char>();
    };
    std::shared_ptr<zel_scene_resolver> resolver;
    std::vector<intrusive_string> external_references;

    std::shared_ptr<const read_buffer> fetch(const std::shared_ptr<zel_file_index>& index,
                                             const std::string& name, bool raw);
    std::shared_ptr<const read_buffer> open_and_fetch(const std::string& file,
                                                      const std::string& name, bool raw);
};

// Only a missing entry counts as no answer; other failures leave, and so
// does every failure to fetch from a server.
std::shared_ptr<const read_buffer> zel_scene_graph::state::fetch(
    const std::shared_ptr<zel_file_index>& index, const std::string& name, bool raw) {
    try {
        return resolver->get_cached_binary(index, name, raw);
    } catch (const zela::zel_remote_exception&) {
        throw;
    } catch (const zela::zel_archive_exception&) {
        return nullptr;
    }
}

std::shared_ptr<const read_buffer> zel_scene_graph::state::open_and_fetch(const std::string& file,
                                                                          const std::string& name,
                                                                          bool raw) {
    std::shared_ptr<zel_file_index> index;
    try {
        index = resolver->open_file_index(utf8_path(file));
    } catch (const zel_exception&) {
        return nullptr;
    }
    return fetch(index, name, raw);
}

zel_scene_graph::zel_scene_graph(std::shared_ptr<zel_scene_resolver> resolver,
                                 const std::shared_ptr<zel_file_index>& index)
    : state_(std::make_unique<state>()) {
    state_->resolver = std::move(resolver);
    state_->root_index = std::make_shared<zel_file_index>(index);
    const zel_file_index& root = *state_->root_index;
    if (root.exists_metadata_block(texts::library_refs_name)) {
        const zel_block& refs = *root.get_metadata_block(texts::library_refs_name);
        for (const zel_block::parameter& p : refs.parameters()) {
            if (p.name.view() == texts::library_ref_parameter) {
                state_->external_references.push_back(p.value.value());
            }
        }
    }
}

zel_scene_graph::~zel_scene_graph() = default;

const std::shared_ptr<zel_file_index>& zel_scene_graph::root_index() const noexcept {
    return state_->root_index;
}

const std::shared_ptr<zel_scene_resolver>& zel_scene_graph::resolver() const noexcept {
    return state_->resolver;
}

void zel_scene_graph::add_file_redirect(const std::string& from, const std::string& to) {
    if (from.empty()) {
        throw std::invalid_argument(std::string(texts::empty_redirect));
    }
    state_->file_redirects[from] = to;
}

void zel_scene_graph::add_block_redirect(const std::string& from_file,
                                         const std::string& from_block, const std::string& to_file,
                                         const std::string& to_block) {
    const std::string* to_target = find_in(state_->file_redirects, to_file);
    const std::string* from_target = find_in(state_->file_redirects, from_file);
    std::string value = make_link_value(to_target ? *to_target : to_file, to_block);
    std::string key = make_link_value(from_target ? *from_target : from_file, from_block);
    // insert keeps the value of a key that is there: the first redirect wins.
    state_->block_redirects.insert({std::move(key), std::move(value)});
}

const std::string* zel_scene_graph::find_file_redirect(const std::string& name) const {
    return find_in(state_->file_redirects, name);
}

void zel_scene_graph::set_link_mapper(link_mapper mapper) {
    state_->mapper = std::move(mapper);
}

void zel_scene_graph::set_binary_provider(binary_provider provider) {
    state_->provider = std::move(provider);
}

void zel_scene_graph::resolve_link(const std::string& link,
                                   const std::shared_ptr<zel_file_index>& from_index,
                                   std::string& file_out, std::string& block_out) const {
    std::string t = link;
    state_->mapper(std::string(behind_separator(link)), t);
    const std::size_t p = t.find(texts::link_separator);
    if (p == std::string::npos) {
        throw std::out_of_range(std::string(texts::invalid_position));
    }
    file_out = t.substr(0, p);
    block_out = t.substr(p);
    const std::string* redirect = nullptr;
    if (p != 0) {
        if (const std::string* file = find_in(state_->file_redirects, file_out)) {
            file_out = *file;
            redirect = find_in(state_->block_redirects, file_out + block_out);
        } else {
            redirect = find_in(state_->block_redirects, t);
        }
    } else if (from_index == state_->root_index) {
        // Only from the root: a link with an empty left part read in another
        // file means that file, which the root's redirects say nothing about.
        redirect = find_in(state_->block_redirects, t);
    }
    if (redirect != nullptr) {
        split_redirect(*redirect, file_out, block_out);
        return;
    }
    block_out.erase(0, 1);
}

zel_block* zel_scene_graph::get_modifiable_block(const std::string& file,
                                                 const std::string& block) {
    std::string f = file;
    std::string b = block;
    std::string* redirect = nullptr;
    if (file.empty()) {
        redirect = find_in(state_->block_redirects, make_link_value("", b));
    } else {
        if (const std::string* target = find_in(state_->file_redirects, f)) {
            f = *target;
        }
        redirect = find_in(state_->block_redirects, make_link_value(f, b));
    }
    if (redirect != nullptr) {
        split_redirect(*redirect, f, b);
    }
    if (f.empty()) {
        return state_->root_index->get_block(b);
    }
    const std::shared_ptr<zel_file_index> source_index =
        state_->resolver->open_file_index(utf8_path(f));
    const zel_block& source = *source_index->get_block(b);

    std::string name = modified_block_name(b, file, block);
    zel_file_index& root = *state_->root_index;
    zel_block* copy = root.add_block_copy(name, source);
    // Local links of the source mean the source's file; seen from the root
    // they must say so.
    for (auto at = copy->parameters().begin(); at != copy->parameters().end(); ++at) {
        const intrusive_generic_param& value = at->value;
        if (is_reference_type(value.type()) && !value.value().empty() &&
            value.value().data[0] == texts::link_separator) {
            const std::string rewritten = f + value.value().str();
            copy->set_parameter(at.id(), root.intern(rewritten), value.type());
        }
    }
    const std::string to_copy = make_link_value("", name);
    if (redirect != nullptr) {
        *redirect = to_copy;
    } else {
        state_->block_redirects.insert({make_link_value(f, b), to_copy});
    }
    return copy;
}

std::shared_ptr<const read_buffer> zel_scene_graph::get_binary(const std::string& link, bool raw) {
    return get_binary(link, raw, state_->root_index);
}

std::shared_ptr<const read_buffer> zel_scene_graph::get_binary(
    const std::string& link, bool raw, const std::shared_ptr<zel_file_index>& scene_index) {
    const std::size_t p = link.find(texts::link_separator);
    const std::string name(behind_separator(link));
    std::shared_ptr<const read_buffer> found;
    if (p != 0) {
        std::string file = link.substr(0, p);
        if (const std::string* target = find_in(state_->file_redirects, file)) {
            file = *target;
        }
        found = state_->open_and_fetch(file, name, raw);
    } else if (scene_index && scene_index->archive_reader()) {
        found = state_->fetch(scene_index, name, raw);
    }
    if (found) {
        return found;
    }
    std::string location;
    if (state_->mapper(name, location)) {
        const std::size_t q = location.find(texts::link_separator);
        const std::string mapped_file = location.substr(0, q);
        const std::string mapped_name(behind_separator(location));
        if (mapped_file.empty()) {
            found = scene_index && scene_index->archive_reader()
                        ? state_->fetch(scene_index, mapped_name, raw)
                        : nullptr;
        } else {
            found = state_->fetch(state_->resolver->open_file_index(utf8_path(mapped_file)),
                                  mapped_name, raw);
        }
        if (found) {
            return found;
        }
    }
    std::uint64_t size = 0;
    if (std::shared_ptr<char> bytes = state_->provider(link, size)) {
        return read_buffer::make_external(std::move(bytes), size);
    }
    throw zel_exception(std::string(texts::failed_binary) + link);
}

std::vector<std::shared_ptr<const read_buffer>> zel_scene_graph::get_binaries(
    const std::vector<std::string>& links, bool raw) {
    // Links grouped by the package that answers them: the root for an empty
    // left part, else the file after its redirect. Links without "#" take
    // the road of get_binary alone.
    std::map<std::string, std::vector<std::size_t>> by_file;
    for (std::size_t i = 0; i < links.size(); ++i) {
        const std::size_t p = links[i].find(texts::link_separator);
        if (p == std::string::npos) {
            continue;
        }
        std::string file = links[i].substr(0, p);
        if (const std::string* target = find_in(state_->file_redirects, file)) {
            file = *target;
        }
        by_file[file].push_back(i);
    }
    std::vector<std::shared_ptr<const read_buffer>> buffers(links.size());
    for (const auto& [file, members] : by_file) {
        std::shared_ptr<zel_file_index> index = state_->root_index;
        try {
            if (!file.empty()) {
                index = state_->resolver->open_file_index(utf8_path(file));
            }
        } catch (const zel_exception&) {
            continue;
        }
        if (!index || !index->archive_reader()) {
            continue;
        }
        // The names the package holds are fetched together; any other, and
        // any failure of the batch, is left to get_binary and its fallbacks.
        std::vector<std::string> names;
        std::vector<std::size_t> held;
        for (const std::size_t i : members) {
            std::string name(behind_separator(links[i]));
            if (index->archive_reader()->get_entry_record(name) != nullptr) {
                names.push_back(std::move(name));
                held.push_back(i);
            }
        }
        try {
            auto fetched = state_->resolver->get_cached_binaries(index, names, raw);
            for (std::size_t k = 0; k < held.size(); ++k) {
                buffers[held[k]] = std::move(fetched[k]);
            }
        } catch (const zela::zel_remote_exception&) {
            throw;
        } catch (const zela::zel_archive_exception&) {
        }
    }
    for (std::size_t i = 0; i < links.size(); ++i) {
        if (!buffers[i]) {
            buffers[i] = get_binary(links[i], raw);
        }
    }
    return buffers;
}

std::shared_ptr<zel_file_index> zel_scene_graph::open_file_index(const std::string& path) {
    return state_->resolver->open_file_index(utf8_path(path));
}

package_id zel_scene_graph::get_package_id() const {
    return state_->root_index->get_package_id();
}

const std::vector<intrusive_string>& zel_scene_graph::external_references() const noexcept {
    return state_->external_references;
}

}  // namespace vorn::zel
