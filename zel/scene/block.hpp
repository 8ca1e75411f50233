// One block of a scene: a type, free attributes, and a multimap of named,
// typed parameters, all held as atoms of the owning file index's table.
//
// A block has no name of its own: its name is its key in the file index
// that owns it, and it lives as long as that index. Links and binary links
// are ordinary parameters of the types "link" and "binary" whose value reads
// location + "#" + target.
//
// Parameter order. Parameters iterate in order of insertion, except that a
// new parameter goes directly behind the last live one of its name: the
// parameters of one name stay together in the order they were added, and
// the runs of different names follow the first insertion of each name. The
// scene document is written in this order, so it is the same everywhere.
// Adding costs constant time whatever the number of names.
//
// Interning orders, which decide atom numbers in a written document:
//   add_parameter           value, type, unit, tag, then the name
//   add_link, add_binary_*  type word, value, then the name
//   add_extra_attribute     value, then the name
// Every name check runs before anything is interned, so a refused call
// leaves the atom table as it was.
//
// Read side. type(), extra_attributes() in order of addition, and the
// parameters in the order above as (name, value) pairs, each with an id that
// stays valid for the life of the block (removed parameters keep theirs
// unused). set_parameter rewrites one parameter's value and type in place.
// Iterators are invalidated by the next insertion; ids are not.
//
// A parameter is kept as the five atom numbers of its texts, 28 bytes with
// its links, and its handles are made when it is looked at: a large scene
// costs a third of the memory that whole handles would.
//
// A block is not thread-safe, and neither is the atom table that all blocks
// of one index share.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <iterator>
#include <memory>
#include <memory_resource>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/intrusive_generic_param.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/foundation/name_runs.hpp"
#include "zel/scene/block_owner.hpp"

namespace vorn::zel {

class zel_block {
    struct node;

  public:
    using attribute = std::pair<intrusive_string, intrusive_string>;
    using parameter_id = std::uint32_t;
    static constexpr parameter_id no_parameter = 0xFFFFFFFF;

    struct parameter {
        intrusive_string name;
        intrusive_generic_param value;
    };

    // A parameter as the block keeps it: the atom numbers of its texts, with
    // no_atom for a text it lacks. Never the number of an empty atom.
    static constexpr std::uint32_t no_atom = intrusive_string::no_index;
    struct parameter_atoms {
        std::uint32_t name = no_atom;
        std::uint32_t value = no_atom;
        std::uint32_t type = no_atom;
        std::uint32_t unit = no_atom;
        std::uint32_t tag = no_atom;
    };

    // Walks the live parameters in their order. A parameter's handles are
    // made from its atom numbers when it is first looked at through the
    // iterator, and live as long as the iterator stays where it is.
    class parameter_iterator {
      public:
        using iterator_category = std::forward_iterator_tag;
        using value_type = parameter;
        using difference_type = std::ptrdiff_t;
        using pointer = const parameter*;
        using reference = const parameter&;

        parameter_iterator() = default;
        reference operator*() const;
        pointer operator->() const { return &**this; }
        parameter_iterator& operator++();
        parameter_iterator operator++(int) {
            parameter_iterator before = *this;
            ++*this;
            return before;
        }
        parameter_id id() const noexcept { return at_; }
        // The atom numbers of the parameter, without making handles.
        const parameter_atoms& atoms() const;
        friend bool operator==(const parameter_iterator& a, const parameter_iterator& b) noexcept {
            return a.at_ == b.at_;
        }

      private:
        friend class zel_block;
        parameter_iterator(const zel_block* block, parameter_id at) : block_(block), at_(at) {}
        const zel_block* block_ = nullptr;
        parameter_id at_ = no_parameter;
        mutable parameter current_;
        mutable bool made_ = false;
    };

    struct parameter_range {
        parameter_iterator first;
        parameter_iterator last;
        parameter_iterator begin() const { return first; }
        parameter_iterator end() const { return last; }
    };

    // A block of the given type, interned into atoms, with no parameters. It
    // has no owner and its validation flags are zero: an in-memory block.
    // Its parameters live in memory, by default the heap; a memory resource
    // must outlive the block.
    zel_block(intrusive_string type, atom_table& atoms,
              std::pmr::memory_resource* memory = std::pmr::new_delete_resource());
    // A copy of source whose handles are atoms of target. With source's own
    // table, the handles are copied as they are; with another, each handle
    // becomes the atom of the same number in target (the text is not looked
    // at), and a number that target does not hold becomes the unset handle.
    // The link to the owner and the validation flags are copied as they
    // stand: the copy reaches the owner while the owner lives.
    zel_block(const zel_block& source, atom_table& target,
              std::pmr::memory_resource* memory = std::pmr::new_delete_resource());
    zel_block(const zel_block&) = delete;
    zel_block& operator=(const zel_block&) = delete;
    ~zel_block();

    // Adds a parameter; an existing one of that name stays. Raises
    // std::invalid_argument for a bad name (check_xml_name).
    void add_parameter(const std::string& name, const generic_param& value);
    // Adds the parameter of type "link" with the value library + "#" + block.
    // With an owner and a library, records the library with the owner and,
    // if bit 0 of the validation flags is set, has the owner check the
    // block in that library; a failed check raises after the parameter and
    // the record were made, and both stay.
    void add_link(const std::string& name, const std::string& block, const std::string& library);
    // The same with the type "binary", for a binary stored already.
    void add_binary_link(const std::string& name, const std::string& binary,
                         const std::string& library);
    // Stores the file at path through the owner, under entry_name or, if that
    // is empty, under binary_entry_name(path), and links to the entry that
    // holds the bytes: "#" + the name the owner returned. A block without an
    // owner raises zel_exception before any other check.
    void add_binary_link_with_data(const std::string& name, const std::filesystem::path& path,
                                   const std::string& entry_name);
    // The same for size bytes at data, under entry_name_hint as it is.
    void add_binary_link_with_data(const std::string& name, const std::string& entry_name_hint,
                                   const char* data, std::uint64_t size);
    // Appends an attribute pair; an empty value stays unset, repeated names
    // repeat.
    void add_extra_attribute(const std::string& name, const std::string& value);
    // Removes every parameter of that name whose tag has exactly the text
    // tag; an empty tag matches the parameters without one. Checks and
    // interns nothing.
    void remove_parameters(std::string_view name, std::string_view tag);

    intrusive_string type() const noexcept { return type_; }
    const std::vector<attribute>& extra_attributes() const noexcept { return attributes_; }
    parameter_range parameters() const noexcept;
    std::size_t parameter_count() const noexcept { return order_.live(); }
    // Asks the processor for the first parameters ahead of their use, for a
    // walk over many blocks in an order that memory does not follow.
    void prefetch_parameters() const noexcept { __builtin_prefetch(nodes_.data()); }
    // The first live parameter of that name, or no_parameter.
    parameter_id find_parameter(std::string_view name) const;
    // No bounds check: id must come from this block.
    parameter parameter_at(parameter_id id) const;
    // Rewrites the value and the type of one parameter; unit, tag, name and
    // position stay. The handles must be atoms of atoms() or unset.
    void set_parameter(parameter_id id, intrusive_string value, intrusive_string type);

    // The writer that made the block, or null: for a block that was read or
    // made by an index alone, and once that writer is gone.
    block_owner* owner_writer() const noexcept { return owner_.lock().get(); }
    std::uint32_t validation_flags() const noexcept { return validation_flags_; }

    atom_table& atoms() const noexcept { return *atoms_; }

  private:
    // Readers and indices build blocks through block_access, with none of the
    // checks that the calls above make; an owner adopts blocks.
    friend class block_access;
    friend class block_owner;

    // Adds a parameter whose handles are atoms of atoms() or unset, behind
    // the last one of its name, without any check.
    void insert_parameter(intrusive_string name, const intrusive_generic_param& value);
    // The same by atom numbers, each below atoms().size() or no_atom, and
    // none the number of an empty atom.
    void insert_parameter(const parameter_atoms& atoms);
    // The same for a whole list, in its order, with room made for it first.
    void insert_parameters(std::span<const parameter_atoms> list);
    // Makes room for count more parameters ahead of a bulk insertion.
    void reserve_parameters(std::size_t count);
    // Appends an attribute pair of atoms, without any check.
    void append_extra_attribute(intrusive_string name, intrusive_string value);

    // The order of the parameters: runs are found by a scan up to 32
    // parameters, and a larger block indexes them by the text of the name
    // atoms, which stays where it is for the life of the table. Most blocks
    // are smaller and never pay for the index.
    using parameter_order = name_runs<std::string_view, 32>;

    struct node {
        parameter_atoms atoms;
        parameter_id next;
        parameter_id previous;
    };

    void add_reference(const std::string& name, std::string_view type_word,
                       const std::string& target, const std::string& library);
    void add_stored_binary(const std::string& name, const std::string& stored_name);
    // Whether parameter at bears the name: the same atom number is the same
    // name; other numbers are compared by text, as a table read from a file
    // may hold a text twice. number may be no_atom for a lookup by text alone.
    auto named(std::uint32_t number, std::string_view name) const noexcept {
        return [this, number, name](parameter_id at) {
            const std::uint32_t n = nodes_[at].atoms.name;
            return (number != no_atom && n == number) || text_of(n) == name;
        };
    }
    auto name_of() const noexcept {
        return [this](parameter_id at) { return text_of(nodes_[at].atoms.name); };
    }
    intrusive_string handle(std::uint32_t number) const noexcept {
        return number == no_atom ? intrusive_string() : atoms_->at(number);
    }
    std::string_view text_of(std::uint32_t number) const noexcept {
        return number == no_atom ? std::string_view() : atoms_->at(number).view();
    }

    intrusive_string type_;
    std::vector<attribute> attributes_;
    // By parameter id; order_ links them in list order.
    std::pmr::vector<node> nodes_;
    // The flags fill the room that the order leaves at its end, which keeps
    // a block as small as it was before the order was a class of its own.
    [[no_unique_address]] parameter_order order_;
    std::uint32_t validation_flags_ = 0;
    std::weak_ptr<block_owner> owner_;
    atom_table* atoms_;
};

}  // namespace vorn::zel
