#include "zel/scene/internal/parameter_arena.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <utility>
#include <vector>

namespace vorn::zel {
namespace {

TEST(ParameterArenaTest, PiecesAreAlignedAndApartAcrossChunks) {
    parameter_arena arena;
    struct piece {
        unsigned char* at;
        std::size_t size;
    };
    std::vector<piece> pieces;
    // Small and odd sizes over several chunks, and once a piece beyond the
    // largest chunk, which gets a chunk of its own.
    const std::pair<std::size_t, std::size_t> requests[] = {
        {28, 4}, {3, 1}, {280, 8}, {28 * 1000, 4}, {1, 64}, {900, 8},
    };
    for (int round = 0; round < 200; ++round) {
        for (auto [size, alignment] : requests) {
            if (round == 100 && size == 1) {
                size = std::size_t{6} << 20;
            }
            auto* at = static_cast<unsigned char*>(arena.allocate(size, alignment));
            ASSERT_EQ(reinterpret_cast<std::uintptr_t>(at) % alignment, 0u);
            std::memset(at, static_cast<int>(pieces.size() & 0xFF), size);
            pieces.push_back({at, size});
        }
    }
    for (std::size_t i = 0; i < pieces.size(); ++i) {
        const piece& p = pieces[i];
        const auto mark = static_cast<unsigned char>(i & 0xFF);
        EXPECT_TRUE(std::all_of(p.at, p.at + p.size, [&](unsigned char c) { return c == mark; }))
            << "piece " << i << " was overwritten";
    }
}

TEST(ParameterArenaTest, GivingBackIsANoOpAndOnlyTheArenaEqualsItself) {
    parameter_arena arena;
    parameter_arena other;
    void* at = arena.allocate(64, 8);
    arena.deallocate(at, 64, 8);
    EXPECT_NE(arena.allocate(64, 8), at);
    EXPECT_TRUE(arena.is_equal(arena));
    EXPECT_FALSE(arena.is_equal(other));
}

}  // namespace
}  // namespace vorn::zel
