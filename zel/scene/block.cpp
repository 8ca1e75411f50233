#include "zel/scene/block.hpp"

#include <array>

#include "zel/foundation/exception.hpp"
#include "zel/scene/names.hpp"
#include "zel/scene/scene_texts.hpp"

namespace vorn::zel {

namespace {

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
    reserve_parameters(source.parameter_count());
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
    order_.remove_if(nodes_, name, named(no_atom, name),
                     [this, tag](parameter_id at) { return text_of(nodes_[at].atoms.tag) == tag; });
}

zel_block::parameter_range zel_block::parameters() const noexcept {
    return {parameter_iterator(this, order_.first()), parameter_iterator(this, no_parameter)};
}

zel_block::parameter_id zel_block::find_parameter(std::string_view name) const {
    return order_.find(nodes_, name, named(no_atom, name)).head;
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
    parameter_order::check_room(nodes_.size());
    if (nodes_.capacity() == 0) {
        nodes_.reserve(first_parameters);
    }
    const std::string_view name = text_of(atoms.name);
    nodes_.push_back(node{atoms, no_parameter, no_parameter});
    try {
        order_.enter(nodes_, name, named(atoms.name, name), name_of());
    } catch (...) {
        nodes_.pop_back();
        throw;
    }
}

void zel_block::insert_parameters(std::span<const parameter_atoms> list) {
    if (!nodes_.empty() || list.size() > parameter_order::scanned_items) {
        reserve_parameters(list.size());
        for (const parameter_atoms& p : list) {
            insert_parameter(p);
        }
        return;
    }
    // Into an empty small block, as a reader fills it: the runs are found in
    // the list itself, and each name's text is looked up once rather than at
    // every comparison, as the scan of the order would.
    nodes_.reserve(list.size());
    std::array<std::string_view, parameter_order::scanned_items> names;
    for (std::size_t i = 0; i < list.size(); ++i) {
        const parameter_atoms& p = list[i];
        names[i] = text_of(p.name);
        parameter_id tail = no_parameter;
        for (std::size_t j = i; j-- > 0;) {
            if ((p.name != no_atom && list[j].name == p.name) || names[j] == names[i]) {
                tail = static_cast<parameter_id>(j);
                break;
            }
        }
        nodes_.push_back(node{p, no_parameter, no_parameter});
        order_.enter_behind(nodes_, tail);
    }
}

void zel_block::reserve_parameters(std::size_t count) {
    nodes_.reserve(nodes_.size() + count);
}

void zel_block::append_extra_attribute(intrusive_string name, intrusive_string value) {
    attributes_.emplace_back(name, value);
}

}  // namespace vorn::zel
