#include "zel/foundation/text_arena.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <vector>

namespace vorn {
namespace {

constexpr std::size_t mib = 0x100000;

TEST(TextArenaTest, RequestsAreRoundedToSixteenAndAligned) {
    text_arena arena;
    EXPECT_EQ(arena.chunk_count(), 0u);
    char* first = arena.allocate(17);
    EXPECT_EQ(arena.chunk_count(), 1u);
    EXPECT_EQ(arena.chunk_capacity(), mib);
    EXPECT_EQ(arena.chunk_used(), 32u);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first) % 16, 0u);
    EXPECT_EQ(arena.allocate(1), first + 32);
    EXPECT_EQ(arena.allocate(16), first + 48);
    EXPECT_EQ(arena.chunk_used(), 64u);
}

TEST(TextArenaTest, OrdinaryChunksDoubleEverySecondTime) {
    text_arena arena;
    std::vector<std::size_t> capacities;
    for (int i = 0; i < 8; ++i) {
        // A small request opens the next chunk; then the chunk is filled.
        arena.allocate(16);
        EXPECT_EQ(arena.chunk_count(), capacities.size() + 1);
        capacities.push_back(arena.chunk_capacity() / mib);
        arena.allocate(arena.chunk_capacity() - arena.chunk_used());
    }
    EXPECT_EQ(capacities, (std::vector<std::size_t>{1, 2, 2, 4, 4, 8, 8, 16}));
}

TEST(TextArenaTest, RequestLargerThanTheChunkOpensTwiceItsSize) {
    text_arena arena;
    arena.allocate(10);
    char* big = arena.allocate(3 * mib + 1);
    EXPECT_EQ(arena.chunk_count(), 2u);
    EXPECT_EQ(arena.chunk_capacity(), 6 * mib + 32);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(big) % 16, 0u);
    // The rest of the big chunk serves the next requests.
    EXPECT_EQ(arena.allocate(5), big + 3 * mib + 16);
    EXPECT_EQ(arena.chunk_count(), 2u);
}

}  // namespace
}  // namespace vorn
