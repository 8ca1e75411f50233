// The texts of one scene, each stored once and numbered in order of first
// interning.
//
// Atom numbers are part of the file format: the compact scene document writes
// them in place of the words, so the order of interning decides the bytes of
// a package. Numbers start at 0, only grow, and are never reused. The empty
// text is never an atom. Characters live in a text_arena and never move, so
// every handle the table hands out stays valid for the life of the table.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zel/foundation/atom_index.hpp"
#include "zel/foundation/intrusive_string.hpp"
#include "zel/foundation/recycling_allocator.hpp"
#include "zel/foundation/text_arena.hpp"

namespace vorn {

class atom_table {
  public:
    using const_iterator =
        std::vector<intrusive_string, recycling_allocator<intrusive_string>>::const_iterator;

    atom_table();
    atom_table(const atom_table&) = delete;
    atom_table& operator=(const atom_table&) = delete;
    ~atom_table();

    // The atom of this text, added under the next number if the text is new.
    // An empty handle is returned as it came.
    intrusive_string intern(intrusive_string text);
    // The number of the atom of this text, added if new; -1 for empty text.
    std::int32_t intern_index(intrusive_string text);
    // Adds an atom under the next number even if the text is known already;
    // lookups keep finding the first atom of a text. For reading stored atom
    // tables, whose numbers must be kept as they are. Appending hashes
    // nothing: the lookup takes in appended atoms at the next intern.
    void append(const char* text, std::uint32_t size);
    // Makes room for count atoms in all, ahead of appending a stored table.
    void reserve(std::size_t count) { atoms_.reserve(count); }
    // The number of the first atom of this text, found by a scan in number
    // order without building the lookup; -1 if there is none. For the few
    // words a reader needs right after appending a whole table.
    std::int32_t find_first(std::string_view text) const noexcept;

    // No bounds check: index must be below size().
    intrusive_string at(std::uint32_t index) const noexcept { return atoms_[index]; }
    std::uint32_t size() const noexcept { return static_cast<std::uint32_t>(atoms_.size()); }

    // The atoms in number order.
    const_iterator begin() const noexcept { return atoms_.begin(); }
    const_iterator end() const noexcept { return atoms_.end(); }

    const text_arena& arena() const noexcept { return pool_; }

  private:
    intrusive_string add(intrusive_string text);
    void index_appended();

    // The number of this text's atom, or atom_index::none.
    std::uint32_t find(intrusive_string text, std::uint32_t hash) const;

    atom_index lookup_;
    std::vector<intrusive_string, recycling_allocator<intrusive_string>> atoms_;
    // Atoms below this number are in lookup_ (or are empty, or repeat an
    // earlier text).
    std::size_t indexed_ = 0;
    text_arena pool_;
};

}  // namespace vorn
