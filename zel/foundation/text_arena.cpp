#include "zel/foundation/text_arena.hpp"

#include <algorithm>
#include <limits>
#include <new>

namespace vorn {

void text_arena::aligned_delete::operator()(char* chunk) const noexcept {
    ::operator delete[](chunk, std::align_val_t{alignment});
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
    char* piece = chunks_.back().get() + used_;
    used_ += rounded;
    return piece;
}

void text_arena::open_chunk(std::size_t size) {
    chunks_.emplace_back(static_cast<char*>(::operator new[](size, std::align_val_t{alignment})));
    capacity_ = size;
    used_ = 0;
}

}  // namespace vorn
