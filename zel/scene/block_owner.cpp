#include "zel/scene/block_owner.hpp"

#include "zel/scene/block.hpp"

namespace vorn::zel {

// The link points at the owner and deletes nothing: the owner's own
// lifetime decides, and the link only tells blocks whether it has ended.
block_owner::block_owner() : link_(this, [](block_owner*) {}) {}

block_owner::~block_owner() = default;

void block_owner::adopt(zel_block& block, std::uint32_t validation_flags) const noexcept {
    block.owner_ = link_;
    block.validation_flags_ = validation_flags;
}

}  // namespace vorn::zel
