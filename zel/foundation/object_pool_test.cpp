#include "zel/foundation/object_pool.hpp"

#include <gtest/gtest.h>

#include <vector>

#include "zel/foundation/spin_mutex.hpp"

namespace vorn {
namespace {

struct no_lock {
    void lock() noexcept {}
    void unlock() noexcept {}
};
struct unlocked {
    using mutex = no_lock;
};
struct spinning {
    using mutex = parallel::spin_mutex;
};

TEST(ObjectPoolTest, BlocksGrowWithoutMovingObjects) {
    object_pool<std::uint64_t, unlocked> pool;
    std::vector<std::uint64_t*> first;
    for (std::uint64_t i = 0; i < 2048; ++i) {
        first.push_back(pool.make(i));
    }
    EXPECT_EQ(pool.block_count(), 1u);
    std::uint64_t* next = pool.make(std::uint64_t{2048});
    EXPECT_EQ(pool.block_count(), 2u);
    EXPECT_EQ(*next, 2048u);
    for (std::uint64_t i = 0; i < first.size(); ++i) {
        ASSERT_EQ(*first[i], i);
    }
}

TEST(ObjectPoolTest, ObjectsDieInReverseOrderOfMaking) {
    std::vector<int> deaths;
    struct witness {
        std::vector<int>* deaths;
        int number;
        ~witness() { deaths->push_back(number); }
    };
    {
        object_pool<witness, spinning, 4> pool;
        for (int i = 0; i < 6; ++i) {
            pool.make(witness{&deaths, i});
            deaths.pop_back();  // the temporary
        }
    }
    EXPECT_EQ(deaths, (std::vector<int>{5, 4, 3, 2, 1, 0}));
}

}  // namespace
}  // namespace vorn
