// Memory that is written whole as soon as it is had, mapped with its pages
// in place: the system provides them in one call, which costs far less than
// taking a fault on the first write to each page.
//
// A process that reads one package after another would otherwise have the
// system find, zero and map every page of every read anew, and unmap them
// all again when the scene is released. So released blocks are kept, up to a
// budget, and the next request of their size class gets one back with its
// pages still in place. A kept block is marked as free to the system, which
// may take its pages back under memory pressure; the block then faults them
// in again as it is written. Sizes are rounded up to classes of an eighth of
// a power of two, so that the blocks of one read serve the next read of a
// scene of about the same size.
//
// Thread-safe: the kept blocks are guarded by one lock, taken once per
// block of at least 64 KiB.
#pragma once

#include <cstddef>

namespace vorn::system {

// Blocks of at least this many bytes are worth mapping so.
constexpr std::size_t prefaulted_block = std::size_t{1} << 20;

// size bytes of page-aligned memory with every page present; throws
// std::bad_alloc when the system refuses. What the memory holds is
// unspecified: zeros if it is new, what its last user left if it is kept.
void* map_prefaulted(std::size_t size);
// The same for memory that is filled bit by bit, such as a chunk of an arena
// or a table that may stay half empty: a kept block comes back with its pages
// in place, but a new mapping gets each page only as it is first written, as
// the heap's memory would.
void* map_recyclable(std::size_t size);
// Gives back a block had from map_prefaulted(size) or map_recyclable(size):
// it is kept for a later
// request of its class if the budget allows, and unmapped otherwise.
void unmap_prefaulted(void* block, std::size_t size) noexcept;

// The bytes of released blocks that are kept for reuse, at most; 256 MiB
// unless set. Setting it lower unmaps what is kept beyond it; 0 keeps none.
void set_kept_prefaulted_budget(std::size_t bytes) noexcept;
// The bytes kept now, for reports and tests.
std::size_t kept_prefaulted_bytes() noexcept;

}  // namespace vorn::system
