#include "zel/foundation/prefaulted_memory.hpp"

#include <gtest/gtest.h>

#include <cstddef>
#include <cstring>

namespace vorn::system {
namespace {

constexpr std::size_t mib = std::size_t{1} << 20;

// Restores the default budget and empties what a test kept.
class PrefaultedMemoryTest : public ::testing::Test {
  protected:
    void SetUp() override { set_kept_prefaulted_budget(0); }
    void TearDown() override { set_kept_prefaulted_budget(std::size_t{256} << 20); }
};

TEST_F(PrefaultedMemoryTest, ReleasedBlockServesTheNextRequestOfItsClass) {
    set_kept_prefaulted_budget(64 * mib);
    char* first = static_cast<char*>(map_prefaulted(3 * mib - 5000));
    std::memset(first, 0x5A, 3 * mib - 5000);
    unmap_prefaulted(first, 3 * mib - 5000);
    EXPECT_EQ(kept_prefaulted_bytes(), 3 * mib);
    // A little more than before still falls into the class of 2.75 MiB to
    // 3 MiB; the block comes back, whole and writable.
    char* second = static_cast<char*>(map_prefaulted(3 * mib));
    EXPECT_EQ(second, first);
    EXPECT_EQ(kept_prefaulted_bytes(), 0u);
    std::memset(second, 0x11, 3 * mib);
    // Another class maps anew.
    void* other = map_prefaulted(5 * mib);
    EXPECT_NE(other, second);
    unmap_prefaulted(other, 5 * mib);
    unmap_prefaulted(second, 3 * mib);
    EXPECT_EQ(kept_prefaulted_bytes(), 8 * mib);
}

TEST_F(PrefaultedMemoryTest, TablesAndPrefaultedBlocksShareWhatIsKept) {
    set_kept_prefaulted_budget(64 * mib);
    char* table = static_cast<char*>(map_recyclable(2 * mib));
    table[2 * mib - 1] = 1;  // a page had only as it is written
    unmap_prefaulted(table, 2 * mib);
    void* block = map_prefaulted(2 * mib - 100);
    EXPECT_EQ(block, table);
    unmap_prefaulted(block, 2 * mib - 100);
    EXPECT_EQ(map_recyclable(2 * mib), table);
    unmap_prefaulted(table, 2 * mib);
}

TEST_F(PrefaultedMemoryTest, BudgetBoundsWhatIsKept) {
    const std::size_t sizes[] = {mib, 2 * mib, 4 * mib, 8 * mib};
    void* blocks[4];
    for (int round = 0; round < 2; ++round) {
        set_kept_prefaulted_budget(round == 0 ? 0 : 6 * mib);
        for (int i = 0; i < 4; ++i) {
            blocks[i] = map_prefaulted(sizes[i]);
        }
        for (int i = 0; i < 4; ++i) {
            unmap_prefaulted(blocks[i], sizes[i]);
            EXPECT_LE(kept_prefaulted_bytes(), round == 0 ? 0 : 6 * mib);
        }
    }
    EXPECT_EQ(kept_prefaulted_bytes(), 3 * mib);
    // Lowering the budget gives back what passes it.
    set_kept_prefaulted_budget(mib);
    EXPECT_LE(kept_prefaulted_bytes(), mib);
}

}  // namespace
}  // namespace vorn::system
