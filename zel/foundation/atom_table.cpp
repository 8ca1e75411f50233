#include "zel/foundation/atom_table.hpp"

#include <cstring>
#include <stdexcept>

namespace vorn {

atom_table::atom_table() {
    // The library's defaults, set here because the file format relies on them:
    // 32 starting buckets, grow beyond half full, shrink below a fifth.
    lookup_.set_empty_key(intrusive_string());
    lookup_.set_resizing_parameters(0.2f, 0.5f);
}

atom_table::~atom_table() = default;

intrusive_string atom_table::intern(intrusive_string text) {
    if (text.size == 0) {
        return text;
    }
    // A handle that already is an atom of this table needs no hashing.
    if (text.index < atoms_.size() && atoms_[text.index].data == text.data) {
        return text;
    }
    const auto found = lookup_.find(text);
    if (found != lookup_.end()) {
        return atoms_[found->second];
    }
    const intrusive_string atom = add(text);
    lookup_.insert({atom, atom.index});
    return atom;
}

std::int32_t atom_table::intern_index(intrusive_string text) {
    if (text.size == 0) {
        return -1;
    }
    return static_cast<std::int32_t>(intern(text).index);
}

void atom_table::append(const char* text, std::uint32_t size) {
    const intrusive_string atom = add(intrusive_string(text, size));
    // The empty text equals the table's empty key and may not be entered.
    if (size != 0) {
        lookup_.insert({atom, atom.index});
    }
}

intrusive_string atom_table::add(intrusive_string text) {
    // intern_index reports numbers as signed 32-bit values.
    if (atoms_.size() >= 0x7FFFFFFF) {
        throw std::length_error("atom table is full");
    }
    char* bytes = pool_.allocate(text.size);
    if (text.size != 0) {
        std::memcpy(bytes, text.data, text.size);
    }
    const intrusive_string atom(bytes, text.size, static_cast<std::uint32_t>(atoms_.size()));
    atoms_.push_back(atom);
    return atom;
}

}  // namespace vorn
