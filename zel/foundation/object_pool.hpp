// A bump allocator of objects of one type that frees only as a whole.
//
// Objects are built in blocks of a fixed number of elements; a block is never
// moved or freed before the pool dies, so every object keeps its address for
// the pool's life. At destruction the objects are destroyed in reverse order
// of allocation. Each allocation takes the policy's plain lock: traits::mutex,
// a complete type where the pool is made (the archive's locking policies in
// zel/archive/mutex_traits.hpp are the ones in use).
#pragma once

#include <cstddef>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

#include "zel/foundation/recycling_allocator.hpp"

namespace vorn {

template <class T, class traits, std::size_t block_elements = 2048>
class object_pool {
  public:
    object_pool() {
        blocks_.reserve(initial_block_slots);
        add_block();
    }
    object_pool(const object_pool&) = delete;
    object_pool& operator=(const object_pool&) = delete;

    ~object_pool() {
        const std::lock_guard<mutex_type> lock(mutex_);
        if constexpr (!std::is_trivially_destructible_v<T>) {
            for (std::size_t b = blocks_.size(); b-- > 0;) {
                const std::size_t used = b + 1 == blocks_.size() ? used_in_last_ : block_elements;
                for (std::size_t i = used; i-- > 0;) {
                    std::destroy_at(element(b, i));
                }
            }
        }
    }

    // A new object built from args.
    template <class... Args>
    T* make(Args&&... args) {
        const std::lock_guard<mutex_type> lock(mutex_);
        if (used_in_last_ == block_elements) {
            add_block();
        }
        T* object = std::construct_at(element(blocks_.size() - 1, used_in_last_),
                                      std::forward<Args>(args)...);
        ++used_in_last_;
        return object;
    }

    std::size_t block_count() const { return blocks_.size(); }

  private:
    using mutex_type = typename traits::mutex;
    // Slots of the block table before it first grows: 4096 bytes of pointers.
    static constexpr std::size_t initial_block_slots = 512;

    static_assert(alignof(T) <= __STDCPP_DEFAULT_NEW_ALIGNMENT__);
    struct alignas(T) storage {
        std::byte bytes[sizeof(T) * block_elements];
    };

    // Blocks come from the recycling allocator: a large pool released in a
    // long-lived process leaves its pages to the next.
    struct storage_delete {
        void operator()(storage* block) const noexcept {
            deallocate_recycled(block, sizeof(storage));
        }
    };

    void add_block() {
        blocks_.reserve(blocks_.size() + 1);
        blocks_.emplace_back(static_cast<storage*>(allocate_recycled(sizeof(storage))));
        used_in_last_ = 0;
    }
    T* element(std::size_t block, std::size_t index) {
        return reinterpret_cast<T*>(blocks_[block]->bytes) + index;
    }

    std::vector<std::unique_ptr<storage, storage_delete>> blocks_;
    std::size_t used_in_last_ = 0;
    [[no_unique_address]] mutex_type mutex_;
};

}  // namespace vorn
