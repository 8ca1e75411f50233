#include "zel/foundation/atom_table.hpp"

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "zel/testing/atom_texts_test.hpp"

namespace vorn {
namespace {

using testing::texts_of;

TEST(AtomTableTest, NumbersAtomsInOrderOfFirstInterning) {
    atom_table table;
    for (std::string word : {"name", "unit", "type", "tag", "unit", "double", "name"}) {
        // The table keeps a copy; the source may change afterwards.
        EXPECT_NE(table.intern(intrusive_string(word)).data, word.data());
        word.assign(word.size(), '?');
    }
    EXPECT_EQ(texts_of(table), (std::vector<std::string>{"name", "unit", "type", "tag", "double"}));
    EXPECT_EQ(table.intern_index(intrusive_string("tag")), 3);
    EXPECT_EQ(table.intern_index(intrusive_string("new")), 5);
    EXPECT_EQ(table.size(), 6u);
    EXPECT_EQ(table.at(4).view(), "double");
    EXPECT_EQ(table.at(4).index, 4u);
}

TEST(AtomTableTest, EmptyTextIsNoAtom) {
    atom_table table;
    const std::string empty;
    const intrusive_string handle(empty);
    const intrusive_string result = table.intern(handle);
    EXPECT_EQ(result.data, handle.data);
    EXPECT_EQ(result.index, intrusive_string::no_index);
    EXPECT_EQ(table.intern_index(intrusive_string()), -1);
    EXPECT_EQ(table.size(), 0u);
}

TEST(AtomTableTest, TextsAreSixteenByteAlignedInTheArena) {
    atom_table table;
    const intrusive_string first = table.intern(intrusive_string("seventeen bytes!!"));
    const intrusive_string second = table.intern(intrusive_string("x"));
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(first.data) % 16, 0u);
    EXPECT_EQ(second.data, first.data + 32);
    EXPECT_EQ(table.arena().chunk_used(), 48u);
}

TEST(AtomTableTest, KnownAtomIsRecognisedByItsPointer) {
    atom_table table;
    const intrusive_string atom = table.intern(intrusive_string("shared"));
    // The fast path trusts index and pointer and doesn't look at the text.
    const intrusive_string same(atom.data, 3, atom.index);
    EXPECT_EQ(table.intern(same).size, 3u);
    EXPECT_EQ(table.size(), 1u);
}

TEST(AtomTableTest, HandleOfAnotherTableIsLookedUpByContent) {
    atom_table other;
    other.intern(intrusive_string("a"));
    const intrusive_string foreign = other.intern(intrusive_string("b"));
    ASSERT_EQ(foreign.index, 1u);

    atom_table table;
    table.intern(intrusive_string("b"));
    table.intern(intrusive_string("c"));
    // Index 1 is valid here but holds "c"; the pointer differs, so "b" is found.
    const intrusive_string found = table.intern(foreign);
    EXPECT_EQ(found.view(), "b");
    EXPECT_EQ(found.index, 0u);
    EXPECT_EQ(table.size(), 2u);
}

TEST(AtomTableTest, AppendKeepsDuplicatesButLookupFindsTheFirst) {
    atom_table table;
    table.append("x", 1);
    table.append("y", 1);
    table.append("x", 1);
    table.append("", 0);
    EXPECT_EQ(table.size(), 4u);
    EXPECT_EQ(table.at(2).view(), "x");
    EXPECT_EQ(table.at(3).size, 0u);
    EXPECT_EQ(table.intern_index(intrusive_string("x")), 0);
    EXPECT_EQ(table.intern_index(intrusive_string("z")), 4);
}

TEST(AtomTableTest, AppendsBetweenInternsAreFoundAsIfIndexedAtOnce) {
    atom_table table;
    table.append("a", 1);
    EXPECT_EQ(table.intern_index(intrusive_string("b")), 1);
    // Appended after the lookup was built: taken in at the next intern.
    table.append("b", 1);
    table.append("c", 1);
    table.append("c", 1);
    table.append("", 0);
    const struct {
        const char* text;
        std::int32_t first;
    } cases[] = {{"a", 0}, {"b", 1}, {"c", 3}, {"", -1}, {"d", -1}};
    for (const auto& c : cases) {
        EXPECT_EQ(table.find_first(c.text), c.first) << c.text;
    }
    EXPECT_EQ(table.size(), 6u);
    EXPECT_EQ(table.intern_index(intrusive_string("c")), 3);
    EXPECT_EQ(table.intern_index(intrusive_string("a")), 0);
    EXPECT_EQ(table.intern_index(intrusive_string("d")), 6);
    table.append("d", 1);
    EXPECT_EQ(table.intern_index(intrusive_string("d")), 6);
    EXPECT_EQ(table.find_first("d"), 6);
}

TEST(AtomTableTest, HandlesStayValidWhileTheTableGrows) {
    atom_table table;
    std::vector<intrusive_string> atoms;
    for (int i = 0; i < 20000; ++i) {
        // Long texts so that the arena opens further chunks.
        const std::string text = std::to_string(i) + std::string(100, '.');
        atoms.push_back(table.intern(intrusive_string(text)));
    }
    EXPECT_GT(table.arena().chunk_count(), 1u);
    for (int i = 0; i < 20000; ++i) {
        const std::string expected = std::to_string(i) + std::string(100, '.');
        ASSERT_EQ(atoms[i].view(), expected);
        ASSERT_EQ(table.intern_index(intrusive_string(expected)), i);
    }
}

}  // namespace
}  // namespace vorn
