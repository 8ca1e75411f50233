#include "zel/foundation/hash.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace vorn {
namespace {

TEST(HashTest, ReferenceValues) {
    EXPECT_EQ(hash_bytes("", 0), 0xDEADBF10DEADBF10ull);
    EXPECT_EQ(hash_bytes("a", 1), 0xE6D154492B837164ull);
    const std::string four_score = "Four score and seven years ago";
    EXPECT_EQ(hash_bytes(four_score.data(), four_score.size()), 0x537B295CEB759272ull);
    EXPECT_EQ(hash<std::string>()(four_score), 0x537B295CEB759272ull);
}

TEST(HashTest, SameResultForEveryAlignmentAndTailLength) {
    std::string text;
    for (int i = 0; i < 40; ++i) {
        text.push_back(static_cast<char>('A' + i * 7 % 26));
    }
    std::vector<char> buffer(text.size() + 8);
    for (std::size_t length = 0; length <= text.size(); ++length) {
        const std::uint64_t expected = hash_bytes(text.data(), length);
        for (std::size_t shift = 1; shift < 8; ++shift) {
            std::memcpy(buffer.data() + shift, text.data(), length);
            EXPECT_EQ(hash_bytes(buffer.data() + shift, length), expected)
                << length << " " << shift;
        }
    }
}

TEST(HashTest, EveryByteCounts) {
    // Inputs that differ in one byte of a full round or of the tail.
    std::string base(25, 'z');
    const std::uint64_t h = hash_bytes(base.data(), base.size());
    for (std::size_t i = 0; i < base.size(); ++i) {
        std::string changed = base;
        changed[i] = 'y';
        EXPECT_NE(hash_bytes(changed.data(), changed.size()), h) << i;
    }
}

// Families of pairs that a plain combination of the two words sends to a few
// buckets spread over the low bits, which pick a bucket, as for random pairs:
// 4096 random keys in 4096 buckets fill about 2590 of them.
TEST(HashTest, PairsWithPatternsSpreadOverTheBuckets) {
    constexpr std::uint64_t buckets = 4096;
    const struct {
        const char* what;
        std::uint64_t (*first)(std::uint64_t);
        std::uint64_t (*second)(std::uint64_t);
    } families[] = {
        {"equal words", [](std::uint64_t k) { return k; }, [](std::uint64_t k) { return k; }},
        {"first only", [](std::uint64_t k) { return k; },
         [](std::uint64_t) { return std::uint64_t{0}; }},
        {"second only", [](std::uint64_t) { return std::uint64_t{0}; },
         [](std::uint64_t k) { return k; }},
        {"multiples of the table", [](std::uint64_t k) { return k * buckets; },
         [](std::uint64_t k) { return k * buckets; }},
        {"high halves", [](std::uint64_t k) { return k << 32; }, [](std::uint64_t k) { return k; }},
    };
    for (const auto& family : families) {
        std::vector<bool> used(buckets, false);
        for (std::uint64_t k = 1; k <= buckets; ++k) {
            used[hash_words(family.first(k), family.second(k)) % buckets] = true;
        }
        EXPECT_GT(std::count(used.begin(), used.end(), true), 2400) << family.what;
    }
}

}  // namespace
}  // namespace vorn
