#include "zel/scene/lru_cache.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

namespace vorn::zel {
namespace {

// A value is its cost and a version, so that a replaced value can be told
// from the one before it.
using value = std::pair<std::uint64_t, int>;

struct first_is_cost {
    std::uint64_t operator()(const value& v) const noexcept { return v.first; }
};

using cache = lru_cache<std::string, value, first_is_cost, std::hash<std::string>>;

struct step {
    char op;  // 'i' inserts {cost, version}; 'g' gets and expects version, -1 for a miss
    std::string key;
    std::uint64_t cost;
    int version;
    bool taken = true;  // what insert answers
};

struct budget_case {
    const char* what;
    std::uint64_t budget;
    std::vector<step> steps;
    std::vector<std::string> keys_by_use;
    std::uint64_t cost;
};

TEST(LruCacheTest, BudgetEdgeCases) {
    const budget_case cases[] = {
        {"a budget of 0 keeps only what costs nothing",
         0,
         {{'i', "a", 0, 1}, {'i', "b", 1, 1, false}, {'g', "a", 0, 1}, {'g', "b", 0, -1}},
         {"a"},
         0},
        {"a value that costs the whole budget evicts everything else",
         10,
         {{'i', "a", 3, 1}, {'i', "b", 3, 1}, {'i', "c", 10, 1}},
         {"c"},
         10},
        {"a value over budget changes nothing, the value of its key included",
         10,
         {{'i', "a", 3, 1}, {'i', "b", 4, 1}, {'i', "a", 11, 2, false}, {'g', "a", 0, 1}},
         {"b", "a"},
         7},
        {"replacing charges the new cost only",
         10,
         {{'i', "a", 6, 1}, {'i', "b", 4, 1}, {'i', "a", 5, 2}, {'g', "a", 0, 2}},
         {"b", "a"},
         9},
        {"replacing with a larger value evicts others, not itself",
         10,
         {{'i', "a", 2, 1}, {'i', "b", 4, 1}, {'i', "c", 4, 1}, {'i', "c", 6, 2}},
         {"b", "c"},
         10},
        {"a get protects its value from the next eviction",
         10,
         {{'i', "a", 4, 1}, {'i', "b", 4, 1}, {'g', "a", 0, 1}, {'i', "c", 4, 1}},
         {"a", "c"},
         8},
        {"eviction takes the least recently used until the new value fits",
         10,
         {{'i', "a", 3, 1}, {'i', "b", 3, 1}, {'i', "c", 3, 1}, {'i', "d", 5, 1}},
         {"c", "d"},
         8},
        {"a miss changes nothing",
         10,
         {{'i', "a", 3, 1}, {'i', "b", 3, 1}, {'g', "z", 0, -1}},
         {"a", "b"},
         6},
    };
    for (const budget_case& c : cases) {
        SCOPED_TRACE(c.what);
        cache lru(c.budget);
        for (const step& s : c.steps) {
            if (s.op == 'i') {
                EXPECT_EQ(lru.insert(s.key, {s.cost, s.version}), s.taken) << s.key;
                continue;
            }
            value out{0, -1};
            EXPECT_EQ(lru.get(s.key, out), s.version != -1) << s.key;
            EXPECT_EQ(out.second, s.version) << s.key;
        }
        EXPECT_EQ(lru.keys_by_use(), c.keys_by_use);
        const auto usage = lru.current_usage();
        EXPECT_EQ(usage.cost, c.cost);
        EXPECT_EQ(usage.elements, c.keys_by_use.size());
        EXPECT_EQ(usage.budget, c.budget);
    }
}

TEST(LruCacheTest, EvictedValuesAreReleased) {
    struct counted_cost {
        std::uint64_t operator()(const std::shared_ptr<int>&) const noexcept { return 1; }
    };
    lru_cache<int, std::shared_ptr<int>, counted_cost, std::hash<int>> lru(1);
    const auto first = std::make_shared<int>(1);
    lru.insert(1, first);
    EXPECT_EQ(first.use_count(), 2);
    lru.insert(2, std::make_shared<int>(2));
    EXPECT_EQ(first.use_count(), 1);
}

}  // namespace
}  // namespace vorn::zel
