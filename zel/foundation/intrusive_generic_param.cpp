#include "zel/foundation/intrusive_generic_param.hpp"

namespace vorn {

namespace {

// An empty text becomes the unset handle rather than a handle into source.
intrusive_string intern_owned(atom_table& table, const std::string& text) {
    return text.empty() ? intrusive_string() : table.intern(intrusive_string(text));
}

intrusive_string renumber(const atom_table& table, intrusive_string handle) {
    return handle.index == intrusive_string::no_index ? intrusive_string() : table.at(handle.index);
}

}  // namespace

intrusive_generic_param::intrusive_generic_param(const generic_param& source, atom_table& table) {
    value_ = intern_owned(table, source.value);
    type_ = intern_owned(table, source.type);
    unit_ = intern_owned(table, source.unit);
    tag_ = intern_owned(table, source.tag);
}

intrusive_generic_param::intrusive_generic_param(const intrusive_generic_param& source,
                                                 atom_table& table, bool same_numbering) {
    if (same_numbering) {
        value_ = renumber(table, source.value_);
        type_ = renumber(table, source.type_);
        unit_ = renumber(table, source.unit_);
        tag_ = renumber(table, source.tag_);
    } else {
        value_ = table.intern(source.value_);
        type_ = table.intern(source.type_);
        unit_ = table.intern(source.unit_);
        tag_ = table.intern(source.tag_);
    }
}

}  // namespace vorn
