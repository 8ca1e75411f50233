// The calls that build a block without checks, for those who know its
// parameters are right: the readers of the scene document, which intern
// every text themselves, and the file index when it copies blocks. Users of
// the library add parameters through zel_block's checked calls.
#pragma once

#include <cstddef>
#include <span>

#include "zel/foundation/intrusive_generic_param.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/scene/block.hpp"

namespace vorn::zel {

class block_access {
  public:
    // Adds a parameter behind the last one of its name; its handles are atoms
    // of the block's table or unset.
    static void insert_parameter(zel_block& block, intrusive_string name,
                                 const intrusive_generic_param& value) {
        block.insert_parameter(name, value);
    }
    // The same by atom numbers, each below the table's size or no_atom, and
    // none the number of an empty atom.
    static void insert_parameter(zel_block& block, const zel_block::parameter_atoms& atoms) {
        block.insert_parameter(atoms);
    }
    // The same for a whole list, in its order, with room made for it first.
    static void insert_parameters(zel_block& block,
                                  std::span<const zel_block::parameter_atoms> list) {
        block.insert_parameters(list);
    }
    // Makes room for count more parameters ahead of a bulk insertion.
    static void reserve_parameters(zel_block& block, std::size_t count) {
        block.reserve_parameters(count);
    }
    // Appends an attribute pair of atoms.
    static void append_extra_attribute(zel_block& block, intrusive_string name,
                                       intrusive_string value) {
        block.append_extra_attribute(name, value);
    }
    // Gives copy the owner and the validation flags of source.
    static void copy_owner(const zel_block& source, zel_block& copy) {
        copy.owner_ = source.owner_;
        copy.validation_flags_ = source.validation_flags_;
    }
};

}  // namespace vorn::zel
