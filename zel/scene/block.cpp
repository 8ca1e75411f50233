#include "zel/scene/block.hpp"

#include <google/dense_hash_map>

#include <algorithm>
#include <stdexcept>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/scene/internal/scene_texts.hpp"
#include "zel/scene/names.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {

namespace {

// Runs are found by a scan of the nodes up to this many parameters; a block
// with more gets a hash index of its names, so that a large block still adds
// in constant time. Most blocks are smaller and never pay for the index.
constexpr std::size_t scanned_parameters = 32;
// Room for the first parameters, taken at the first insertion.
constexpr std::size_t first_parameters = 4;

// Bit 0 of the validation flags: check links into libraries at once.
constexpr std::uint32_t validate_links = 1;

// Equal texts, with the cheap answer for the same atom first.
bool same_text(const intrusive_string& a, const intrusive_string& b) noexcept {
    return a.size == b.size && (a.data == b.data || a == b);
}

intrusive_string intern_text(atom_table& atoms, std::string_view text) {
    return atoms.intern(intrusive_string(text));
}

// The atom of the same number in target; unset for no atom or for a number
// that target does not hold.
intrusive_string renumbered(const atom_table& target, intrusive_string handle) {
    if (handle.index == intrusive_string::no_index || handle.index >= target.size()) {
        return intrusive_string();
    }
    return target.at(handle.index);
}

}  // namespace

class zel_block::run_index {
  public:
    run_index() { table_.set_empty_key(intrusive_string()); }
    name_run find(intrusive_string name) const {
        const auto found = table_.find(name);
        return found == table_.end() ? name_run{no_parameter, no_parameter} : found->second;
    }
    // The run of that name, made empty if there was none.
    name_run& at(intrusive_string name) {
        return table_.insert({name, name_run{no_parameter, no_parameter}}).first->second;
    }

  private:
    google::dense_hash_map<intrusive_string, name_run, hash<intrusive_string>> table_;
};

const zel_block::parameter& zel_block::parameter_iterator::operator*() const {
    return nodes_[at_].entry;
}

zel_block::parameter_iterator& zel_block::parameter_iterator::operator++() {
    at_ = nodes_[at_].next;
    return *this;
}

zel_block::zel_block(intrusive_string type, atom_table& atoms, std::pmr::memory_resource* memory)
    : type_(atoms.intern(type)), nodes_(memory), atoms_(&atoms) {}

zel_block::zel_block(const zel_block& source, atom_table& target, std::pmr::memory_resource* memory)
    : nodes_(memory),
      validation_flags_(source.validation_flags_),
      writer_(source.writer_),
      atoms_(&target) {
    const bool same_table = &target == source.atoms_;
    const auto copied = [&](intrusive_string handle) {
        return same_table ? handle : renumbered(target, handle);
    };
    type_ = copied(source.type_);
    attributes_.reserve(source.attributes_.size());
    for (const attribute& a : source.attributes_) {
        attributes_.emplace_back(copied(a.first), copied(a.second));
    }
    nodes_.reserve(source.live_);
    for (const parameter& p : source.parameters()) {
        intrusive_generic_param value(copied(p.value.value()), copied(p.value.type()));
        value.set_unit(copied(p.value.unit()));
        value.set_tag(copied(p.value.tag()));
        insert_parameter(copied(p.name), value);
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
    if (writer_ == nullptr || library.empty()) {
        return;
    }
    writer_->add_referenced_library(library);
    if ((validation_flags_ & validate_links) != 0) {
        if (type_word == texts::link_type) {
            writer_->check_library_block(library, target);
        } else {
            writer_->check_library_binary(library, target);
        }
    }
}

void zel_block::add_binary_link_with_data(const std::string& name,
                                          const std::filesystem::path& path,
                                          const std::string& entry_name) {
    if (writer_ == nullptr) {
        throw zel_exception(std::string(texts::in_memory_scene));
    }
    check_xml_name(name);
    const std::string hint = entry_name.empty() ? binary_entry_name(path) : entry_name;
    add_stored_binary(name, writer_->add_binary_data(hint, path));
}

void zel_block::add_binary_link_with_data(const std::string& name,
                                          const std::string& entry_name_hint, const char* data,
                                          std::uint64_t size) {
    if (writer_ == nullptr) {
        throw zel_exception(std::string(texts::in_memory_scene));
    }
    check_xml_name(name);
    add_stored_binary(name, writer_->add_binary_data(entry_name_hint, data, size));
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
    const intrusive_string wanted(name);
    const name_run run = find_run(wanted);
    if (run.head == no_parameter) {
        return;
    }
    const intrusive_string wanted_tag(tag);
    const parameter_id end = nodes_[run.tail].next;
    parameter_id head = no_parameter;
    parameter_id tail = no_parameter;
    for (parameter_id at = run.head; at != end;) {
        const parameter_id next = nodes_[at].next;
        if (same_text(nodes_[at].entry.value.tag(), wanted_tag)) {
            unlink(at);
        } else {
            head = head == no_parameter ? at : head;
            tail = at;
        }
        at = next;
    }
    if (run_index_) {
        run_index_->at(wanted) = name_run{head, tail};
    }
}

zel_block::parameter_range zel_block::parameters() const noexcept {
    return {parameter_iterator(nodes_.data(), first_),
            parameter_iterator(nodes_.data(), no_parameter)};
}

zel_block::parameter_id zel_block::find_parameter(std::string_view name) const {
    return find_run(intrusive_string(name)).head;
}

const zel_block::parameter& zel_block::parameter_at(parameter_id id) const {
    return nodes_[id].entry;
}

void zel_block::set_parameter(parameter_id id, intrusive_string value, intrusive_string type) {
    nodes_[id].entry.value.create(value, type);
}

void zel_block::insert_parameter(intrusive_string name, const intrusive_generic_param& value) {
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
    // A small block finds the run before the new node joins the scan.
    parameter_id tail = run_index_ ? no_parameter : find_run(name).tail;
    nodes_.push_back(node{parameter{name, value}, no_parameter, no_parameter});
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
// last live one are its head and its tail.
zel_block::name_run zel_block::find_run(intrusive_string name) const {
    if (run_index_) {
        return run_index_->find(name);
    }
    name_run run{no_parameter, no_parameter};
    for (parameter_id at = 0; at < nodes_.size(); ++at) {
        const node& n = nodes_[at];
        if (n.previous != removed && same_text(n.entry.name, name)) {
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
            name_run& run = index->at(nodes_[at].entry.name);
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
