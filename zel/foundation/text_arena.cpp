#include "zel/foundation/text_arena.hpp"

#include <algorithm>
#include <limits>
#include <new>

#include "zel/foundation/recycling_allocator.hpp"

namespace vorn {

text_arena::~text_arena() {
    for (const chunk& c : chunks_) {
        deallocate_recycled(c.bytes, c.size);
    }
}

char* text_arena::allocate(std::size_t size) {
    if (size > std::numeric_limits<std::size_t>::max() / 2 - alignment) {
        throw std::bad_alloc();
    }
    const std::size_t rounded = (size + alignment - 1) & ~(alignment - 1);
    if (chunks_.empty()) {
        open_chunk(first_chunk_size);
    }
    if (capacity_ - used_ < rounded) {
        const std::size_t closed_capacity = capacity_;
        open_chunk(std::max(2 * rounded, size_setting_));
        if (size_setting_ < 2 * closed_capacity) {
            size_setting_ = 2 * capacity_;
        }
    }
    char* piece = chunks_.back().bytes + used_;
    used_ += rounded;
    return piece;
}

void text_arena::open_chunk(std::size_t size) {
    // A mapped chunk starts on a page, a chunk from the heap on 16 bytes.
    chunks_.reserve(chunks_.size() + 1);
    chunks_.push_back({static_cast<char*>(allocate_recycled(size)), size});
    capacity_ = size;
    used_ = 0;
}

}  // namespace vorn
