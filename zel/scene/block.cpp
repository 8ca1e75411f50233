#include "zel/scene/block.hpp"

#include <google/dense_hash_map>

#include <algorithm>
#include <stdexcept>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

// Runs are found by a scan of the nodes up to this many parameters; a block
// with more gets a hash index of its names, so that a large block still adds
// in constant time. Most blocks are smaller and never pay for the index.
constexpr std::size_t scanned_parameters = 32;
// Room for the first parameters, taken at the first insertion.
constexpr std::size_t first_parameters = 4;

intrusive_string intern_text(atom_table& atoms, std::string_view text) {
    return atoms.intern(intrusive_string(text));
}

// The number a block keeps for a handle of its own table.
std::uint32_t number_of(intrusive_string handle) noexcept {
    return handle.empty() ? zel_block::no_atom : handle.index;
}

// The number of the same atom in target: kept where target holds a text
// there, no_atom otherwise.
std::uint32_t renumbered(const atom_table& target, std::uint32_t number) noexcept {
    return number < target.size() && !target.at(number).empty() ? number : zel_block::no_atom;
}

}  // namespace

// The runs of a large block by the text of their name. The empty text is
// the table's empty key and may not be entered, so the run of parameters
// without a name is kept beside it.
class zel_block::run_index {
  public:
    run_index() { table_.set_empty_key(intrusive_string()); }
    name_run find(std::string_view name) const {
        if (name.empty()) {
            return unnamed_;
        }
        const auto found = table_.find(intrusive_string(name));
        return found == table_.end() ? name_run{no_parameter, no_parameter} : found->second;
    }
    // The run of that name, made empty if there was none. name must stay
    // valid: the text of an atom.
    name_run& at(std::string_view name) {
        if (name.empty()) {
            return unnamed_;
        }
        return table_.insert({intrusive_string(name), name_run{no_parameter, no_parameter}})
            .first->second;
    }

  private:
    google::dense_hash_map<intrusive_string, name_run, hash<intrusive_string>> table_;
    name_run unnamed_{no_parameter, no_parameter};
};

const zel_block::parameter& zel_block::parameter_iterator::operator*() const {
    if (!made_) {
        current_ = block_->parameter_at(at_);
        made_ = true;
    }
    return current_;
}

const zel_block::parameter_atoms& zel_block::parameter_iterator::atoms() const {
    return block_->nodes_[at_].atoms;
}

zel_block::parameter_iterator& zel_block::parameter_iterator::operator++() {
    at_ = block_->nodes_[at_].next;
    made_ = false;
    return *this;
}

zel_block::zel_block(intrusive_string type, atom_table& atoms, std::pmr::memory_resource* memory)
    : type_(atoms.intern(type)), nodes_(memory), atoms_(&atoms) {}

zel_block::zel_block(const zel_block& source, atom_table& target, std::pmr::memory_resource* memory)
    : nodes_(memory),
      validation_flags_(source.validation_flags_),
      owner_(source.owner_),
      atoms_(&target) {
    const bool same_table = &target == source.atoms_;
    const auto copied = [&](intrusive_string handle) {
        if (same_table || handle.empty()) {
            return handle;
        }
        const std::uint32_t number = renumbered(target, handle.index);
        return number == no_atom ? intrusive_string() : target.at(number);
    };
    const auto copied_number = [&](std::uint32_t number) {
        return same_table || number == no_atom ? number : renumbered(target, number);
    };
    type_ = copied(source.type_);
    attributes_.reserve(source.attributes_.size());
    for (const attribute& a : source.attributes_) {
        attributes_.emplace_back(copied(a.first), copied(a.second));
    }
    nodes_.reserve(source.live_);
    for (auto at = source.parameters().begin(); at != source.parameters().end(); ++at) {
        const parameter_atoms& p = at.atoms();
        insert_parameter(parameter_atoms{copied_number(p.name), copied_number(p.value),
                                         copied_number(p.type), copied_number(p.unit),
                                         copied_number(p.tag)});
    }
}

zel_block::~zel_block() = default;

void zel_block::add_parameter(const std::string& name, const generic_param& value) {
    check_xml_name(name);
    const intrusive_generic_param interned(value, *atoms_);
    insert_parameter(intern_text(*atoms_, name), interned);
}

void zel_block::add_link(const std::string& name, const std::string& block,
                         const std::string& library) {
    add_reference(name, texts::link_type, block, library);
}

void zel_block::add_binary_link(const std::string& name, const std::string& binary,
                                const std::string& library) {
    add_reference(name, texts::binary_type, binary, library);
}

void zel_block::add_reference(const std::string& name, std::string_view type_word,
                              const std::string& target, const std::string& library) {
    check_xml_name(name);
    const std::string link = make_link_value(library, target);
    const intrusive_string type = intern_text(*atoms_, type_word);
    const intrusive_string value = intern_text(*atoms_, link);
    insert_parameter(intern_text(*atoms_, name), intrusive_generic_param(value, type));
    const std::shared_ptr<block_owner> owner = owner_.lock();
    if (owner == nullptr || library.empty()) {
        return;
    }
    owner->add_referenced_library(library);
    if ((validation_flags_ & validate_library_links) != 0) {
        if (type_word == texts::link_type) {
            owner->check_library_block(library, target);
        } else {
            owner->check_library_binary(library, target);
        }
    }
}

void zel_block::add_binary_link_with_data(const std::string& name,
                                          const std::filesystem::path& path,
                                          const std::string& entry_name) {
    const std::shared_ptr<block_owner> owner = owner_.lock();
    if (owner == nullptr) {
        throw zel_exception(std::string(texts::in_memory_scene));
    }
    check_xml_name(name);
    const std::string hint = entry_name.empty() ? binary_entry_name(path) : entry_name;
    add_stored_binary(name, owner->add_binary_data(hint, path));
}

void zel_block::add_binary_link_with_data(const std::string& name,
                                          const std::string& entry_name_hint, const char* data,
                                          std::uint64_t size) {
    const std::shared_ptr<block_owner> owner = owner_.lock();
    if (owner == nullptr) {
        throw zel_exception(std::string(texts::in_memory_scene));
    }
    check_xml_name(name);
    add_stored_binary(name, owner->add_binary_data(entry_name_hint, data, size));
}

void zel_block::add_stored_binary(const std::string& name, const std::string& stored_name) {
    const std::string link = make_link_value("", stored_name);
    const intrusive_string type = intern_text(*atoms_, texts::binary_type);
    const intrusive_string value = intern_text(*atoms_, link);
    insert_parameter(intern_text(*atoms_, name), intrusive_generic_param(value, type));
}

void zel_block::add_extra_attribute(const std::string& name, const std::string& value) {
    check_xml_name(name);
    const intrusive_string value_atom =
        value.empty() ? intrusive_string() : intern_text(*atoms_, value);
    append_extra_attribute(intern_text(*atoms_, name), value_atom);
}

void zel_block::remove_parameters(std::string_view name, std::string_view tag) {
    const name_run run = find_run(no_atom, name);
    if (run.head == no_parameter) {
        return;
    }
    const parameter_id end = nodes_[run.tail].next;
    parameter_id head = no_parameter;
    parameter_id tail = no_parameter;
    for (parameter_id at = run.head; at != end;) {
        const parameter_id next = nodes_[at].next;
        if (text_of(nodes_[at].atoms.tag) == tag) {
            unlink(at);
        } else {
            head = head == no_parameter ? at : head;
            tail = at;
        }
        at = next;
    }
    if (run_index_) {
        run_index_->at(text_of(nodes_[run.head].atoms.name)) = name_run{head, tail};
    }
}

zel_block::parameter_range zel_block::parameters() const noexcept {
    return {parameter_iterator(this, first_), parameter_iterator(this, no_parameter)};
}

zel_block::parameter_id zel_block::find_parameter(std::string_view name) const {
    return find_run(no_atom, name).head;
}

zel_block::parameter zel_block::parameter_at(parameter_id id) const {
    const parameter_atoms& p = nodes_[id].atoms;
    intrusive_generic_param value(handle(p.value), handle(p.type));
    value.set_unit(handle(p.unit));
    value.set_tag(handle(p.tag));
    return {handle(p.name), value};
}

void zel_block::set_parameter(parameter_id id, intrusive_string value, intrusive_string type) {
    nodes_[id].atoms.value = number_of(value);
    nodes_[id].atoms.type = number_of(type);
}

void zel_block::insert_parameter(intrusive_string name, const intrusive_generic_param& value) {
    insert_parameter(parameter_atoms{number_of(name), number_of(value.value()),
                                     number_of(value.type()), number_of(value.unit()),
                                     number_of(value.tag())});
}

void zel_block::insert_parameter(const parameter_atoms& atoms) {
    if (nodes_.size() >= removed) {
        throw std::length_error("list<T> too long");
    }
    const auto at = static_cast<parameter_id>(nodes_.size());
    if (nodes_.capacity() == 0) {
        nodes_.reserve(first_parameters);
    }
    if (!run_index_ && nodes_.size() == scanned_parameters) {
        index_runs();
    }
    const std::string_view name = text_of(atoms.name);
    // A small block finds the run before the new node joins the scan.
    parameter_id tail = run_index_ ? no_parameter : find_run(atoms.name, name).tail;
    nodes_.push_back(node{atoms, no_parameter, no_parameter});
    if (run_index_) {
        name_run& run = run_index_->at(name);
        tail = run.tail;
        run.head = run.head == no_parameter ? at : run.head;
        run.tail = at;
    }
    link_after(at, tail == no_parameter ? last_ : tail);
    ++live_;
}

void zel_block::reserve_parameters(std::size_t count) {
    nodes_.reserve(nodes_.size() + count);
}

void zel_block::append_extra_attribute(intrusive_string name, intrusive_string value) {
    attributes_.emplace_back(name, value);
}

// The nodes of one name lie in the order of their run, so the first and the
// last live one are its head and its tail. The same number is the same
// name; other numbers are compared by text, as a table read from a file may
// hold a text twice.
zel_block::name_run zel_block::find_run(std::uint32_t number, std::string_view name) const {
    if (run_index_) {
        return run_index_->find(name);
    }
    name_run run{no_parameter, no_parameter};
    for (parameter_id at = 0; at < nodes_.size(); ++at) {
        const node& n = nodes_[at];
        if (n.previous != removed &&
            ((number != no_atom && n.atoms.name == number) || text_of(n.atoms.name) == name)) {
            run.head = run.head == no_parameter ? at : run.head;
            run.tail = at;
        }
    }
    return run;
}

void zel_block::index_runs() {
    auto index = std::make_unique<run_index>();
    for (parameter_id at = 0; at < nodes_.size(); ++at) {
        if (nodes_[at].previous != removed) {
            name_run& run = index->at(text_of(nodes_[at].atoms.name));
            run.head = run.head == no_parameter ? at : run.head;
            run.tail = at;
        }
    }
    run_index_ = std::move(index);
}

void zel_block::link_after(parameter_id at, parameter_id after) {
    node& n = nodes_[at];
    n.previous = after;
    if (after == no_parameter) {
        n.next = first_;
        first_ = at;
    } else {
        n.next = nodes_[after].next;
        nodes_[after].next = at;
    }
    if (n.next == no_parameter) {
        last_ = at;
    } else {
        nodes_[n.next].previous = at;
    }
}

void zel_block::unlink(parameter_id at) {
    node& n = nodes_[at];
    (n.previous == no_parameter ? first_ : nodes_[n.previous].next) = n.next;
    (n.next == no_parameter ? last_ : nodes_[n.next].previous) = n.previous;
    n.previous = removed;
    --live_;
}

}  // namespace vorn::zel
