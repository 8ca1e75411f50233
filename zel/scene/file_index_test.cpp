#include "zel/scene/file_index.hpp"

#include <gtest/gtest.h>
#include <google/dense_hash_map>

#include <memory>
#include <string>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

std::string zel_message(const std::string& message) {
    return zel_exception(message).what();
}

std::vector<std::string> block_names(const zel_file_index& index) {
    std::vector<std::string> names;
    index.visit_blocks([&](intrusive_string name, zel_block&) { names.push_back(name.str()); });
    return names;
}

TEST(FileIndexTest, TablesHaveSeparateNameSpaces) {
    zel_file_index index;
    zel_block* block = index.add_block("t", "a");
    zel_block* metadata = index.add_metadata_block("t", "a");
    EXPECT_NE(block, metadata);
    EXPECT_EQ(what_of([&] { index.add_block("other", "a"); }),
              zel_message("Block named a already exists in add_block()"));
    EXPECT_EQ(index.get_block("a"), block);
    EXPECT_EQ(index.get_block("a")->type().view(), "t");
    EXPECT_EQ(index.block_count(), 2u);
    // The refused block's type was never interned; its name is an atom.
    EXPECT_EQ(index.atoms().size(), 2u);

    index.add_metadata_block("t", "only-meta");
    EXPECT_FALSE(index.exists_block("only-meta"));
    EXPECT_TRUE(index.exists_metadata_block("only-meta"));
    EXPECT_FALSE(index.exists_block(""));
    EXPECT_EQ(what_of([&] { index.get_block("only-meta"); }),
              zel_message("Block named only-meta was not found"));
    EXPECT_EQ(what_of([&] { index.get_metadata_block("b"); }),
              zel_message("Metadata Block named b was not found"));
    EXPECT_EQ(what_of([&] { index.add_block("t", ""); }), "\"name\" of block must not be empty");
}

TEST(FileIndexTest, CopyTakesTheFirstFreeNameWithLettersX) {
    zel_file_index index;
    zel_block* source = index.add_block("t", "b");
    source->add_parameter("p", generic_param(1));
    index.add_block("t", "bx");
    std::string name = "b";
    zel_block* copy = index.add_block_copy(name, *source);
    EXPECT_EQ(name, "bxx");
    EXPECT_EQ(index.get_block("bxx"), copy);
    EXPECT_EQ(copy->parameter_count(), 1u);
    std::string fresh = "c";
    index.add_block_copy(fresh, *source);
    EXPECT_EQ(fresh, "c");
}

TEST(FileIndexTest, TypeListsAreBuiltOnceForACompleteScene) {
    zel_file_index index;
    EXPECT_TRUE(index.blocks_of_type("light").empty());
    index.add_block("light", "one");
    index.add_block("material", "m");
    index.add_metadata_block("light", "meta");
    ASSERT_EQ(index.blocks_of_type("light").size(), 1u);
    EXPECT_EQ(index.blocks_of_type("light")[0].first.view(), "one");
    EXPECT_EQ(index.blocks_of_type("light")[0].second, index.get_block("one"));
    index.add_block("light", "two");
    EXPECT_EQ(index.blocks_of_type("light").size(), 1u);
    EXPECT_TRUE(index.blocks_of_type("camera").empty());
}

TEST(FileIndexTest, BlocksIterateInTheOrderOfTheSystemHashTable) {
    // The document's block order is that of an open-addressing table of the
    // system hash with 32 starting buckets that doubles beyond half full; 20
    // blocks make it grow once.
    google::dense_hash_map<std::string, int, hash<std::string>> reference;
    reference.set_empty_key(std::string());
    zel_file_index index;
    for (int i = 0; i < 20; ++i) {
        const std::string name = "block" + std::to_string(i);
        reference.insert({name, i});
        index.add_block("t", name);
    }
    std::vector<std::string> expected;
    for (const auto& entry : reference) {
        expected.push_back(entry.first);
    }
    EXPECT_EQ(reference.bucket_count(), 64u);
    EXPECT_EQ(block_names(index), expected);
}

TEST(FileIndexTest, SoleOwnerIsTakenOverOtherwiseCopied) {
    const auto make = [] {
        auto index = std::make_shared<zel_file_index>();
        index->add_block("t", "a")->add_parameter("p", generic_param(1));
        index->add_metadata_block("m", "meta");
        index->append("dup", 3);
        index->append("dup", 3);
        return index;
    };

    auto shared = make();
    const auto keeper = shared;
    const zel_file_index copy(shared);
    EXPECT_EQ(shared->block_count(), 2u);
    EXPECT_EQ(copy.block_count(), 2u);
    ASSERT_EQ(copy.atoms().size(), shared->atoms().size());
    for (std::uint32_t i = 0; i < copy.atoms().size(); ++i) {
        EXPECT_EQ(copy.at(i).view(), shared->at(i).view());
        EXPECT_NE(copy.at(i).data, shared->at(i).data);
    }
    EXPECT_EQ(&copy.get_block("a")->atoms(), &copy.atoms());
    EXPECT_NE(copy.get_block("a"), shared->get_block("a"));
    EXPECT_EQ(copy.get_block("a")->parameter_count(), 1u);

    auto sole = make();
    const intrusive_string atom = sole->at(0);
    const zel_file_index taken(sole);
    EXPECT_EQ(sole->block_count(), 0u);
    EXPECT_EQ(sole->atoms().size(), 0u);
    EXPECT_EQ(taken.block_count(), 2u);
    EXPECT_EQ(taken.at(0).data, atom.data);
    EXPECT_EQ(&taken.get_block("a")->atoms(), &taken.atoms());
    EXPECT_EQ(&taken.get_metadata_block("meta")->atoms(), &taken.atoms());
}

}  // namespace
}  // namespace vorn::zel
