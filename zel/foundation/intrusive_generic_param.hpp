// A typed value as four handles into an atom table: value, unit, type, tag.
//
// The compact form that a block stores. It owns nothing; its handles are valid
// as long as the table they point into. A missing unit or tag is the unset
// handle (no bytes, index 0xFFFFFFFF). Interning goes in the order value,
// type, unit, tag, and that order decides the atom numbers in a written file.
#pragma once

#include "zel/foundation/atom_table.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/foundation/intrusive_string.hpp"

namespace vorn {

class intrusive_generic_param {
  public:
    intrusive_generic_param() = default;
    intrusive_generic_param(intrusive_string value, intrusive_string type) noexcept
        : value_(value), type_(type) {}
    // Interns the four strings of source; empty ones stay unset.
    intrusive_generic_param(const generic_param& source, atom_table& table);
    // For copying a value into another table. With same_numbering, each
    // handle becomes the atom of the same number in table, which must hold
    // all of them; otherwise each text is interned by content.
    intrusive_generic_param(const intrusive_generic_param& source, atom_table& table,
                            bool same_numbering);

    void create(intrusive_string value, intrusive_string type) noexcept {
        value_ = value;
        type_ = type;
    }
    void set_unit(intrusive_string unit) noexcept { unit_ = unit; }
    void set_tag(intrusive_string tag) noexcept { tag_ = tag; }

    intrusive_string value() const noexcept { return value_; }
    intrusive_string unit() const noexcept { return unit_; }
    intrusive_string type() const noexcept { return type_; }
    intrusive_string tag() const noexcept { return tag_; }

  private:
    intrusive_string value_;
    intrusive_string unit_;
    intrusive_string type_;
    intrusive_string tag_;
};

static_assert(sizeof(intrusive_generic_param) == 64);

}  // namespace vorn
