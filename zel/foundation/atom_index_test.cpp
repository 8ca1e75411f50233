#include "zel/foundation/atom_index.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

namespace vorn {
namespace {

// Texts by number, and the hash each is stored under; the tests choose the
// hashes, to force collisions and runs across the end of the slots.
struct stored_texts {
    std::vector<std::string> texts;
    atom_index index;

    void add(const std::string& text, std::uint32_t hash) {
        index.insert(hash, static_cast<std::uint32_t>(texts.size()));
        texts.push_back(text);
    }
    std::uint32_t find(const std::string& text, std::uint32_t hash) const {
        return index.find(hash, [&](std::uint32_t number) { return texts[number] == text; });
    }
};

TEST(AtomIndexTest, FindsEveryTextThroughCollisionsAndGrowth) {
    struct row {
        const char* what;
        std::uint32_t (*hash)(std::uint32_t i);
    };
    const row rows[] = {
        {"one hash for all", [](std::uint32_t) { return 7u; }},
        {"hashes at the end of the slots", [](std::uint32_t i) { return 0xFFFFFFFFu - i % 3; }},
        {"spread", [](std::uint32_t i) { return i * 2654435761u; }},
    };
    for (const row& r : rows) {
        stored_texts s;
        for (std::uint32_t i = 0; i < 3000; ++i) {
            s.add("text " + std::to_string(i), r.hash(i));
        }
        EXPECT_EQ(s.index.size(), 3000u) << r.what;
        for (std::uint32_t i = 0; i < 3000; ++i) {
            ASSERT_EQ(s.find("text " + std::to_string(i), r.hash(i)), i) << r.what;
        }
        EXPECT_EQ(s.find("absent", r.hash(5)), atom_index::none) << r.what;
    }
}

TEST(AtomIndexTest, EmptyIndexFindsNothing) {
    const atom_index index;
    EXPECT_EQ(index.find(0, [](std::uint32_t) { return true; }), atom_index::none);
}

TEST(AtomIndexTest, HashDependsOnEveryByteAndTheLength) {
    const std::string base = "a parameter value of some length";
    const std::uint32_t hash = atom_index::hash_of(base);
    for (std::size_t at = 0; at < base.size(); ++at) {
        std::string changed = base;
        changed[at] ^= 1;
        EXPECT_NE(atom_index::hash_of(changed), hash) << at;
    }
    EXPECT_NE(atom_index::hash_of(std::string_view("a\0", 2)), atom_index::hash_of("a"));
    EXPECT_NE(atom_index::hash_of(""), atom_index::hash_of(std::string_view("\0", 1)));
}

}  // namespace
}  // namespace vorn
