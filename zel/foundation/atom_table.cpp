#include "zel/foundation/atom_table.hpp"

#include <cstring>
#include <stdexcept>

namespace vorn {

atom_table::atom_table() = default;

atom_table::~atom_table() = default;

intrusive_string atom_table::intern(intrusive_string text) {
    if (text.size == 0) {
        return text;
    }
    // A handle that already is an atom of this table needs no hashing.
    if (text.index < atoms_.size() && atoms_[text.index].data == text.data) {
        return text;
    }
    index_appended();
    const std::uint32_t hash = atom_index::hash_of(text.view());
    if (const std::uint32_t found = find(text, hash); found != atom_index::none) {
        return atoms_[found];
    }
    const intrusive_string atom = add(text);
    lookup_.insert(hash, atom.index);
    indexed_ = atoms_.size();
    return atom;
}

std::uint32_t atom_table::find(intrusive_string text, std::uint32_t hash) const {
    return lookup_.find(hash, [&](std::uint32_t number) { return atoms_[number] == text; });
}

std::int32_t atom_table::intern_index(intrusive_string text) {
    if (text.size == 0) {
        return -1;
    }
    return static_cast<std::int32_t>(intern(text).index);
}

void atom_table::append(const char* text, std::uint32_t size) {
    add(intrusive_string(text, size));
}

std::int32_t atom_table::find_first(std::string_view text) const noexcept {
    if (text.empty()) {
        return -1;
    }
    for (const intrusive_string& atom : atoms_) {
        if (atom.view() == text) {
            return static_cast<std::int32_t>(atom.index);
        }
    }
    return -1;
}

void atom_table::index_appended() {
    if (indexed_ == atoms_.size()) {
        return;
    }
    lookup_.reserve(lookup_.size() + (atoms_.size() - indexed_));
    for (; indexed_ < atoms_.size(); ++indexed_) {
        const intrusive_string atom = atoms_[indexed_];
        // The empty text is never looked up; of a repeated text the first
        // atom is the one found.
        if (atom.size == 0) {
            continue;
        }
        const std::uint32_t hash = atom_index::hash_of(atom.view());
        if (find(atom, hash) == atom_index::none) {
            lookup_.insert(hash, atom.index);
        }
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
