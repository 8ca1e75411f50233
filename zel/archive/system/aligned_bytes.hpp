// A byte vector whose storage starts at a multiple of 16, for decompressed
// entries: a reader may load them with aligned 16-byte instructions, just as
// it may the entries of a mapped archive, which lie at multiples of 16 too.
//
// Such a buffer is written whole right after it is made, so a large one is
// mapped with its pages in place.
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "zel/foundation/prefaulted_memory.hpp"

namespace vorn {

// A stateless allocator that aligns every block to Alignment bytes. Every
// block, also after the vector grows, comes from it.
template <class T, std::size_t Alignment>
class aligned_allocator {
  public:
    static_assert(Alignment >= alignof(T) && (Alignment & (Alignment - 1)) == 0,
                  "the alignment must be a power of two no weaker than the type's own");

    using value_type = T;
    template <class U>
    struct rebind {
        using other = aligned_allocator<U, Alignment>;
    };

    aligned_allocator() noexcept = default;
    template <class U>
    aligned_allocator(const aligned_allocator<U, Alignment>&) noexcept {}

    T* allocate(std::size_t count) {
        if (count > static_cast<std::size_t>(-1) / sizeof(T)) {
            throw std::bad_array_new_length();
        }
        if (count * sizeof(T) >= system::prefaulted_block) {
            return static_cast<T*>(system::map_prefaulted(count * sizeof(T)));
        }
        return static_cast<T*>(::operator new (count * sizeof(T), std::align_val_t{Alignment}));
    }

    void deallocate(T* block, std::size_t count) noexcept {
        if (count * sizeof(T) >= system::prefaulted_block) {
            system::unmap_prefaulted(block, count * sizeof(T));
            return;
        }
        ::operator delete (block, std::align_val_t{Alignment});
    }

    // A vector that grows or is made with a size leaves its new elements
    // default-initialised, so unset for bytes: a buffer that a decoder is
    // about to fill is not cleared first.
    template <class U>
    void construct(U* at) noexcept(std::is_nothrow_default_constructible_v<U>) {
        ::new (static_cast<void*>(at)) U;
    }
    template <class U, class... Args>
    void construct(U* at, Args&&... args) {
        ::new (static_cast<void*>(at)) U(std::forward<Args>(args)...);
    }

    template <class U>
    friend bool operator==(const aligned_allocator&, const aligned_allocator<U, Alignment>&) {
        return true;
    }
};

using aligned_bytes = std::vector<char, aligned_allocator<char, 16>>;

}  // namespace vorn
