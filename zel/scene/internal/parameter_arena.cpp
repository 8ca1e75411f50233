#include "zel/scene/internal/parameter_arena.hpp"

#include <cstdint>

#include "zel/foundation/prefaulted_memory.hpp"

namespace vorn::zel {

namespace {

constexpr std::size_t largest_chunk = std::size_t{4} << 20;

}  // namespace

parameter_arena::~parameter_arena() {
    for (const chunk& c : chunks_) {
        system::unmap_prefaulted(c.memory, c.size);
    }
}

void* parameter_arena::do_allocate(std::size_t bytes, std::size_t alignment) {
    const auto at = reinterpret_cast<std::uintptr_t>(next_);
    const std::size_t skip = (alignment - at % alignment) % alignment;
    if (next_ == nullptr || static_cast<std::size_t>(end_ - next_) < skip + bytes) {
        // A request beyond the usual chunk gets a chunk of its own size.
        const std::size_t size = bytes + alignment > next_chunk_ ? bytes + alignment : next_chunk_;
        chunks_.reserve(chunks_.size() + 1);
        void* memory = system::map_prefaulted(size);
        chunks_.push_back({memory, size});
        next_ = static_cast<char*>(memory);
        end_ = next_ + size;
        if (next_chunk_ < largest_chunk) {
            next_chunk_ *= 2;
        }
        return do_allocate(bytes, alignment);
    }
    void* piece = next_ + skip;
    next_ += skip + bytes;
    return piece;
}

}  // namespace vorn::zel
