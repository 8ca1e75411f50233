// The lookup of an atom table: from a text's hash to the number of its atom.
//
// Open addressing with linear probing over slots of eight bytes, each holding
// a text's 32-bit hash and its atom's number, kept at most three quarters
// full. A probe looks at a text only where the hashes agree, and runs along
// one cache line of eight slots in most cases; the index of a scene with a
// million atoms takes 16 MiB, small enough to stay in the processor's cache,
// where a table of whole handles would not. Numbers lie below 0xFFFFFFFF,
// the mark of an empty slot.
//
// The hash is for this index only, seeded once per process; nothing of it
// reaches a file, and atom numbers do not depend on it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <vector>

#include "zel/foundation/recycling_allocator.hpp"

namespace vorn {

class atom_index {
  public:
    static constexpr std::uint32_t none = 0xFFFFFFFF;

    static std::uint32_t hash_of(std::string_view text) noexcept;

    // The number stored under hash for which is_text(number) holds, or none.
    template <class IsText>
    std::uint32_t find(std::uint32_t hash, IsText&& is_text) const {
        if (slots_.empty()) {
            return none;
        }
        for (std::size_t at = hash & mask_;; at = (at + 1) & mask_) {
            const slot& s = slots_[at];
            if (s.number == none) {
                return none;
            }
            if (s.hash == hash && is_text(s.number)) {
                return s.number;
            }
        }
    }

    // Stores number under hash. The caller stores each text once, so that
    // find has one answer.
    void insert(std::uint32_t hash, std::uint32_t number);

    // Makes room for count numbers in all without growing again.
    void reserve(std::size_t count);

    std::size_t size() const noexcept { return size_; }

  private:
    struct slot {
        std::uint32_t hash;
        std::uint32_t number;
    };

    void place(slot s) noexcept;

    std::vector<slot, recycling_allocator<slot>> slots_;
    std::size_t mask_ = 0;
    std::size_t size_ = 0;
};

}  // namespace vorn
