// Memory that is written whole as soon as it is had, mapped with its pages
// in place: the system provides them in one call, which costs far less than
// taking a fault on the first write to each page.
#pragma once

#include <cstddef>

namespace vorn::system {

// Blocks of at least this many bytes are worth mapping so.
constexpr std::size_t prefaulted_block = std::size_t{1} << 20;

// size bytes of zeroed, page-aligned memory with every page present; throws
// std::bad_alloc when the system refuses.
void* map_prefaulted(std::size_t size);
void unmap_prefaulted(void* block, std::size_t size) noexcept;

}  // namespace vorn::system
