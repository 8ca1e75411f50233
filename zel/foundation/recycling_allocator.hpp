// The allocator of the large tables of a scene: the atoms, their index, the
// block tables and the pools of blocks.
//
// A request of at least 64 KiB is served by map_recyclable, so that the
// tables of a scene released in a long-lived process are kept and serve the
// next scene with their pages in place, instead of being unmapped by the
// heap and faulted in again page by page. Smaller requests go to the heap.
// Stateless: any two instances are equal, and memory from one can be given
// back through another.
#pragma once

#include <cstddef>
#include <limits>
#include <new>

#include "zel/foundation/prefaulted_memory.hpp"

namespace vorn {

// An address sanitizer checks only the heap, so a sanitized build keeps
// every table there, where a read past its end is found.
#if defined(__SANITIZE_ADDRESS__)
#define ZEL_HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define ZEL_HEAP_ONLY 1
#endif
#endif
#ifdef ZEL_HEAP_ONLY
inline constexpr bool recycles_memory = false;
#undef ZEL_HEAP_ONLY
#else
inline constexpr bool recycles_memory = true;
#endif

// Requests of at least this many bytes are mapped and kept for reuse.
constexpr std::size_t recycled_block = std::size_t{64} << 10;

inline void* allocate_recycled(std::size_t bytes) {
    return recycles_memory && bytes >= recycled_block ? system::map_recyclable(bytes)
                                                      : ::operator new(bytes);
}

inline void deallocate_recycled(void* block, std::size_t bytes) noexcept {
    if (recycles_memory && bytes >= recycled_block) {
        system::unmap_prefaulted(block, bytes);
    } else {
        ::operator delete(block);
    }
}

template <class T>
class recycling_allocator {
  public:
    using value_type = T;
    // What sparsehash asks of an allocator besides the standard's.
    using size_type = std::size_t;
    using difference_type = std::ptrdiff_t;
    using pointer = T*;
    using const_pointer = const T*;
    using reference = T&;
    using const_reference = const T&;
    template <class U>
    struct rebind {
        using other = recycling_allocator<U>;
    };

    recycling_allocator() noexcept = default;
    template <class U>
    recycling_allocator(const recycling_allocator<U>&) noexcept {}

    T* allocate(std::size_t n) {
        if (n > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
            throw std::bad_alloc();
        }
        static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
        return static_cast<T*>(allocate_recycled(n * sizeof(T)));
    }
    void deallocate(T* p, std::size_t n) noexcept { deallocate_recycled(p, n * sizeof(T)); }

    std::size_t max_size() const noexcept {
        return std::numeric_limits<std::size_t>::max() / sizeof(T);
    }

    template <class U>
    bool operator==(const recycling_allocator<U>&) const noexcept {
        return true;
    }
};

}  // namespace vorn
