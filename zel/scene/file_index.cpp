#include "zel/scene/file_index.hpp"

#include <algorithm>
#include <stdexcept>
#include <string>
#include <utility>

#include "zel/archive/open_archive.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/internal/block_access.hpp"
#include "zel/scene/internal/document_reader.hpp"
#include "zel/scene/internal/document_writer.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

void use_system_settings(block_table& table) {
    // The library's defaults, stated because the document's block order
    // follows from them: 32 buckets, grow beyond half full.
    table.set_empty_key(intrusive_string());
    table.set_resizing_parameters(0.2f, 0.5f);
}

zel_block* find_in(const block_table& table, intrusive_string name) {
    if (name.empty()) {
        return nullptr;  // the empty key may not be looked up
    }
    const auto found = table.find(name);
    return found == table.end() ? nullptr : found->second;
}

// A copy of source whose texts are interned into target. Atom numbers of
// two scenes mean different words, so a block that comes from another scene
// can only be carried over by its texts; copying by number is right only
// between a table and its clone, as when an index copies another.
template <class Pool>
zel_block* copy_by_text(Pool& pool, const zel_block& source, atom_table& target) {
    zel_block* copy = pool.make(source.type(), target);
    for (const zel_block::attribute& a : source.extra_attributes()) {
        block_access::append_extra_attribute(*copy, target.intern(a.first),
                                             target.intern(a.second));
    }
    block_access::reserve_parameters(*copy, source.parameter_count());
    for (const zel_block::parameter& p : source.parameters()) {
        const intrusive_string name = target.intern(p.name);
        block_access::insert_parameter(*copy, name,
                                       intrusive_generic_param(p.value, target, false));
    }
    block_access::copy_owner(source, *copy);
    return copy;
}

[[noreturn]] void raise_missing(std::string_view prefix, std::string_view name) {
    std::string message;
    message.append(prefix).append(name).append(texts::not_found);
    throw zel_exception(message);
}

}  // namespace

zel_file_index::state::state() {
    use_system_settings(blocks);
    use_system_settings(metadata_blocks);
    type_lists.set_empty_key(intrusive_string());
}

zel_block* zel_file_index::state::add(block_table& table, std::string_view type,
                                      std::string_view name) {
    if (name.empty()) {
        throw std::invalid_argument(std::string(texts::empty_block_name));
    }
    const intrusive_string name_atom = atoms.intern(intrusive_string(name));
    table.resize(table.size() + 1);
    if (table.find(name_atom) != table.end()) {
        std::string message;
        message.append(texts::block_named).append(name).append(texts::already_exists);
        throw zel_exception(message);
    }
    zel_block* block = block_pool.make(intrusive_string(type), atoms);
    table.insert({name_atom, block});
    return block;
}

bool zel_file_index::state::enter(block_table& table, intrusive_string name, zel_block* block) {
    return table.insert({name, block}).second;
}

zel_file_index::zel_file_index() : state_(std::make_unique<state>()) {}

zel_file_index::zel_file_index(const std::filesystem::path& path) : zel_file_index() {
    state_->appender = std::make_shared<appender_type>(path, true);
}

zel_file_index::zel_file_index(document_text document) : zel_file_index() {
    std::vector<char> text(document.text.begin(), document.text.end());
    text.push_back('\0');
    read_document(*this, text.data());
}

zel_file_index::zel_file_index(std::shared_ptr<zela::zel_archive_reader> reader,
                               const std::string& entry_name)
    : zel_file_index() {
    state_->reader = std::move(reader);
    std::shared_ptr<const read_buffer> entry = state_->reader->get_entry(entry_name);
    const char* bytes = entry->data();
    std::uint64_t size = entry->size();
    // The parser changes the text as it reads it. A decoded buffer is this
    // reader's own copy and ends in the NUL that the writer stores, so it is
    // parsed where it lies; a view into the mapped file is read-only, and a
    // text without its NUL needs one, so those are copied.
    if (entry->decoded() && size != 0 && bytes[size - 1] == '\0') {
        read_document(*this, const_cast<char*>(bytes));
        return;
    }
    if (size != 0 && bytes[size - 1] == '\0') {
        --size;
    }
    std::vector<char> text(bytes, bytes + size);
    text.push_back('\0');
    entry.reset();
    read_document(*this, text.data());
}

zel_file_index::zel_file_index(const std::shared_ptr<zel_file_index>& source) : zel_file_index() {
    state& from = *source->state_;
    if (source.use_count() == 1) {
        // The atom table stays where it is, so every block still names it.
        std::swap(state_, source->state_);
        source->state_->reader = state_->reader;
        source->state_->appender = state_->appender;
        return;
    }
    state_->reader = from.reader;
    state_->appender = from.appender;
    for (const intrusive_string& atom : from.atoms) {
        state_->atoms.append(atom.data, atom.size);
    }
    const auto copy_table = [this](const block_table& source_table, block_table& target) {
        for (const auto& [name, block] : source_table) {
            zel_block* copy =
                state_->block_pool.make(*block, state_->atoms, &state_->parameter_memory);
            target.insert({state_->atoms.at(name.index), copy});
        }
    };
    copy_table(from.blocks, state_->blocks);
    copy_table(from.metadata_blocks, state_->metadata_blocks);
}

zel_file_index::~zel_file_index() = default;

zel_block* zel_file_index::add_block(const std::string& type, const std::string& name) {
    return state_->add(state_->blocks, type, name);
}

zel_block* zel_file_index::add_metadata_block(const std::string& type, const std::string& name) {
    return state_->add(state_->metadata_blocks, type, name);
}

zel_block* zel_file_index::add_block_copy(std::string& name, const zel_block& source) {
    if (name.empty()) {
        throw std::invalid_argument(std::string(texts::empty_block_name));
    }
    zel_block* copy = &source.atoms() == &state_->atoms
                          ? state_->block_pool.make(source, state_->atoms)
                          : copy_by_text(state_->block_pool, source, state_->atoms);
    while (exists_block(name)) {
        name.push_back('x');
    }
    state_->blocks.insert({state_->atoms.intern(intrusive_string(name)), copy});
    return copy;
}

bool zel_file_index::exists_block(std::string_view name) const noexcept {
    return find_in(state_->blocks, intrusive_string(name)) != nullptr;
}

bool zel_file_index::exists_metadata_block(std::string_view name) const noexcept {
    return find_in(state_->metadata_blocks, intrusive_string(name)) != nullptr;
}

zel_block* zel_file_index::get_block(std::string_view name) const {
    return get_block(intrusive_string(name));
}

zel_block* zel_file_index::get_block(intrusive_string name) const {
    zel_block* block = find_in(state_->blocks, name);
    if (block == nullptr) {
        raise_missing(texts::block_named, name.view());
    }
    return block;
}

zel_block* zel_file_index::get_metadata_block(std::string_view name) const {
    return get_metadata_block(intrusive_string(name));
}

zel_block* zel_file_index::get_metadata_block(intrusive_string name) const {
    zel_block* block = find_in(state_->metadata_blocks, name);
    if (block == nullptr) {
        raise_missing(texts::metadata_block_named, name.view());
    }
    return block;
}

const std::vector<zel_file_index::block_ref>& zel_file_index::blocks_of_type(
    std::string_view type) {
    return blocks_of_type(intrusive_string(type));
}

const std::vector<zel_file_index::block_ref>& zel_file_index::blocks_of_type(
    intrusive_string type) {
    state& s = *state_;
    if (s.type_lists.empty()) {
        for (const auto& [name, block] : s.blocks) {
            if (block->type().empty()) {
                continue;  // the empty key can't be entered; no query asks for it
            }
            auto [list, added] = s.type_lists.insert({block->type(), nullptr});
            if (added) {
                list->second = s.list_pool.make();
            }
            list->second->emplace_back(name, block);
        }
    }
    if (type.empty()) {
        return s.empty_list;
    }
    const auto found = s.type_lists.find(type);
    return found == s.type_lists.end() ? s.empty_list : *found->second;
}

void zel_file_index::visit_blocks(const block_visitor& visit) const {
    for (const auto& [name, block] : state_->blocks) {
        visit(name, *block);
    }
}

void zel_file_index::visit_metadata_blocks(const block_visitor& visit) const {
    for (const auto& [name, block] : state_->metadata_blocks) {
        visit(name, *block);
    }
}

void zel_file_index::reserve_blocks(std::size_t count) {
    state_->blocks.resize(count);
}

std::size_t zel_file_index::block_count() const noexcept {
    return state_->blocks.size() + state_->metadata_blocks.size();
}

atom_table& zel_file_index::atoms() noexcept {
    return state_->atoms;
}

const atom_table& zel_file_index::atoms() const noexcept {
    return state_->atoms;
}

intrusive_string zel_file_index::intern(intrusive_string text) {
    return state_->atoms.intern(text);
}

std::int32_t zel_file_index::intern_index(intrusive_string text) {
    return state_->atoms.intern_index(text);
}

void zel_file_index::append(const char* text, std::uint32_t size) {
    state_->atoms.append(text, size);
}

intrusive_string zel_file_index::at(std::uint32_t index) const noexcept {
    return index == intrusive_string::no_index ? intrusive_string() : state_->atoms.at(index);
}

const std::shared_ptr<zela::zel_archive_reader>& zel_file_index::archive_reader() const noexcept {
    return state_->reader;
}

const std::shared_ptr<zel_file_index::appender_type>& zel_file_index::appender() const noexcept {
    return state_->appender;
}

void zel_file_index::write_document(std::string& out, bool atomize) {
    vorn::zel::write_document(*this, out, atomize);
}

bool zel_file_index::read_atomized() const noexcept {
    return state_->atomized;
}

package_id zel_file_index::get_package_id() const {
    return state_->reader ? state_->reader->get_package_id() : package_id{};
}

void append_package_document(const std::filesystem::path& path, std::string& out, bool atomize,
                             const std::string& entry_name, const zela::remote_options& remote) {
    zel_file_index index(zela::open_archive_reader(path.string(), remote), entry_name);
    index.write_document(out, atomize);
}

}  // namespace vorn::zel
