#include "zel/scene/block.hpp"

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/block_access.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/testing/atom_texts_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zel {
namespace {

using testing::texts_of;
using testing::what_of;

// "name=value" for each parameter in walking order, with "/tag" if tagged.
std::vector<std::string> walk(const zel_block& block) {
    std::vector<std::string> seen;
    for (const zel_block::parameter& p : block.parameters()) {
        std::string text(p.name.view());
        text.append("=").append(p.value.value().view());
        if (!p.value.tag().empty()) {
            text.append("/").append(p.value.tag().view());
        }
        seen.push_back(text);
    }
    return seen;
}

generic_param tagged(const std::string& value, const std::string& tag) {
    generic_param param{std::string(value)};
    param.set_tag(tag);
    return param;
}

TEST(BlockTest, ParametersOfOneNameFollowTheLastOneOfThatName) {
    zel_file_index index;
    zel_block& block = *index.add_block("t", "b");
    for (const auto& [name, value] : std::vector<std::pair<std::string, std::string>>{
             {"a", "1"}, {"b", "1"}, {"a", "2"}, {"c", "1"}, {"b", "2"}, {"a", "3"}}) {
        block.add_parameter(name, generic_param(std::string(value)));
    }
    EXPECT_EQ(walk(block), (std::vector<std::string>{"a=1", "a=2", "a=3", "b=1", "b=2", "c=1"}));
    EXPECT_EQ(block.parameter_count(), 6u);
}

TEST(BlockTest, ManyNamesKeepTheirRunsAndTheirFirstOrder) {
    zel_file_index index;
    zel_block& block = *index.add_block("t", "b");
    std::vector<std::string> expected;
    for (int name = 0; name < 40; ++name) {
        for (int round = 0; round < 3; ++round) {
            std::string text = "p";
            text.append(std::to_string(name)).append("=").append(std::to_string(round));
            expected.push_back(text);
        }
    }
    for (int round = 0; round < 3; ++round) {
        for (int name = 0; name < 40; ++name) {
            std::string parameter = "p";
            parameter.append(std::to_string(name));
            block.add_parameter(parameter, generic_param(std::to_string(round)));
        }
    }
    EXPECT_EQ(walk(block), expected);
    block.remove_parameters("p39", "");
    block.add_parameter("p39", generic_param(std::string("again")));
    EXPECT_EQ(walk(block).back(), "p39=again");
    EXPECT_EQ(block.parameter_at(block.find_parameter("p17")).value.value().view(), "0");
}

// A reader hands a block all its parameters at once; they must fall into the
// same runs as one by one, whatever the names: repeated, unnamed, or one
// text under two atom numbers, as a table read from a file may hold it.
TEST(BlockTest, ListOfParametersFallsIntoTheRunsOfOneByOne) {
    zel_file_index index;
    atom_table& atoms = file_index_access::of(index).atoms;
    const std::uint32_t a = index.intern("a").index;
    const std::uint32_t b = index.intern("b").index;
    atoms.append("a", 1);  // "a" again, under another number
    const std::uint32_t a_again = atoms.size() - 1;
    const std::uint32_t none = zel_block::no_atom;
    const std::vector<std::vector<std::uint32_t>> lists = {
        {},
        {a},
        {a, b, a, b, a_again, none, b, none},
        {none, a_again, a, a},
        std::vector<std::uint32_t>(32, a),
        std::vector<std::uint32_t>(33, b),
    };
    for (std::size_t l = 0; l < lists.size(); ++l) {
        std::vector<zel_block::parameter_atoms> list;
        for (std::size_t i = 0; i < lists[l].size(); ++i) {
            const std::uint32_t value = index.intern(std::to_string(i)).index;
            list.push_back({lists[l][i], value, none, none, none});
        }
        zel_block& at_once = *index.add_block("t", "once" + std::to_string(l));
        zel_block& one_by_one = *index.add_block("t", "each" + std::to_string(l));
        block_access::insert_parameters(at_once, list);
        for (const zel_block::parameter_atoms& p : list) {
            block_access::insert_parameter(one_by_one, p);
        }
        EXPECT_EQ(walk(at_once), walk(one_by_one)) << l;
        // Both go on alike, past the size at which a block indexes its names.
        for (zel_block* block : {&at_once, &one_by_one}) {
            for (int i = 0; i < 40; ++i) {
                block_access::insert_parameter(*block, {i % 2 == 0 ? a : b, a, none, none, none});
            }
        }
        EXPECT_EQ(walk(at_once), walk(one_by_one)) << l;
        EXPECT_EQ(at_once.parameter_count(), one_by_one.parameter_count()) << l;
    }
}

TEST(BlockTest, RemoveParametersMatchesTagsByText) {
    struct row {
        std::string name;
        std::string tag;
        std::vector<std::string> left;
    };
    const row rows[] = {
        {"p", "", {"p=2/t", "p=4/u", "q=1"}},
        {"p", "t", {"p=1", "p=3", "p=4/u", "q=1"}},
        {"p", "x", {"p=1", "p=2/t", "p=3", "p=4/u", "q=1"}},
        {"nothing", "", {"p=1", "p=2/t", "p=3", "p=4/u", "q=1"}},
        {"q", "", {"p=1", "p=2/t", "p=3", "p=4/u"}},
    };
    for (const row& r : rows) {
        zel_file_index index;
        zel_block& block = *index.add_block("t", "b");
        block.add_parameter("p", generic_param(std::string("1")));
        block.add_parameter("q", generic_param(std::string("1")));
        block.add_parameter("p", tagged("2", "t"));
        block.add_parameter("p", generic_param(std::string("3")));
        block.add_parameter("p", tagged("4", "u"));
        const std::uint32_t atoms = index.atoms().size();
        block.remove_parameters(r.name, r.tag);
        EXPECT_EQ(walk(block), r.left) << r.name << "/" << r.tag;
        EXPECT_EQ(index.atoms().size(), atoms);
        // What is added later still joins its run, or starts at the end,
        // also once the block has grown past its scanned size.
        block.add_parameter("p", generic_param(std::string("5")));
        const std::vector<std::string> after = walk(block);
        EXPECT_EQ(std::count(after.begin(), after.end(), "p=5"), 1);
        for (int filler = 0; filler < 40; ++filler) {
            block.add_parameter("f" + std::to_string(filler), generic_param(filler));
        }
        block.add_parameter("p", generic_param(std::string("6")));
        const std::vector<std::string> grown = walk(block);
        const auto five = std::find(grown.begin(), grown.end(), "p=5");
        ASSERT_NE(five, grown.end());
        EXPECT_EQ(*(five + 1), "p=6") << r.name << "/" << r.tag;
        EXPECT_EQ(block.parameter_count(), r.left.size() + 42);
    }
}

TEST(BlockTest, EachOperationInternsInItsOwnOrder) {
    zel_file_index index;
    zel_block& block = *index.add_block("material", "plate");
    generic_param gain(1.5f);
    gain.set_unit("mm");
    gain.set_tag("t1");
    block.add_parameter("gain", gain);
    block.add_link("albedo", "lamp", "lib");
    block.add_binary_link("tex", "wood.png", "");
    block.add_extra_attribute("flavour", "red");
    block.add_extra_attribute("empty", "");
    EXPECT_EQ(texts_of(index.atoms()),
              (std::vector<std::string>{"plate", "material", "1.5", "double", "mm", "t1", "gain",
                                        "link", "lib#lamp", "albedo", "binary", "#wood.png", "tex",
                                        "red", "flavour", "empty"}));
    ASSERT_EQ(block.extra_attributes().size(), 2u);
    EXPECT_TRUE(block.extra_attributes()[1].second.empty());
    EXPECT_EQ(block.extra_attributes()[1].second.index, intrusive_string::no_index);
    const zel_block::parameter& link = block.parameter_at(block.find_parameter("albedo"));
    EXPECT_EQ(link.value.type().view(), "link");
    EXPECT_TRUE(link.value.unit().empty());
    EXPECT_TRUE(link.value.tag().empty());
}

TEST(BlockTest, RefusedNamesChangeNothing) {
    zel_file_index index;
    zel_block& block = *index.add_block("t", "b");
    const std::uint32_t atoms = index.atoms().size();
    const std::string no_spaces = "\"a b\" isn't a valid xml/zel name (no spaces allowed)";
    EXPECT_EQ(what_of([&] { block.add_parameter("a b", generic_param(1)); }), no_spaces);
    EXPECT_EQ(what_of([&] { block.add_link("a b", "x", "lib"); }), no_spaces);
    EXPECT_EQ(what_of([&] { block.add_binary_link("a b", "x", ""); }), no_spaces);
    EXPECT_EQ(what_of([&] { block.add_extra_attribute("a b", "x"); }), no_spaces);
    EXPECT_EQ(what_of([&] { block.add_parameter("", generic_param(1)); }),
              "the empty string is not a valid xml/zel name");
    EXPECT_EQ(index.atoms().size(), atoms);
    EXPECT_EQ(block.parameter_count(), 0u);
    EXPECT_TRUE(block.extra_attributes().empty());
}

TEST(BlockTest, BlockWithoutWriterLinksAnywhereButStoresNoBinary) {
    zel_file_index index;
    zel_block& block = *index.add_block("t", "b");
    block.add_link("p", "b", "lib");
    EXPECT_EQ(block.parameter_at(block.find_parameter("p")).value.value().view(), "lib#b");

    const std::string in_memory =
        zel_exception("Cannot add a new binary to an in-memory zel scene").what();
    // The refusal comes before the name check.
    EXPECT_EQ(what_of([&] { block.add_binary_link_with_data("bad name", "file.png", ""); }),
              in_memory);
    EXPECT_EQ(what_of([&] { block.add_binary_link_with_data("bad name", "hint", "xy", 2); }),
              in_memory);
    EXPECT_EQ(block.parameter_count(), 1u);
}

TEST(BlockTest, CopyKeepsOrderAndRepointsAtomsByNumber) {
    zel_file_index source;
    zel_block& block = *source.add_block("t", "b");
    block.add_parameter("a", generic_param(std::string("1")));
    block.add_parameter("b", tagged("2", "t"));
    block.add_parameter("a", generic_param(std::string("3")));
    block.add_extra_attribute("x", "y");
    block.remove_parameters("b", "t");

    const zel_block same(block, source.atoms());
    EXPECT_EQ(walk(same), (std::vector<std::string>{"a=1", "a=3"}));
    EXPECT_EQ(same.type().data, block.type().data);

    // A table whose atoms have other texts at the same numbers: the copy
    // follows the numbers, not the texts.
    zel_file_index other;
    for (const intrusive_string& atom : source.atoms()) {
        std::string upper = "N";
        upper.append(atom.view());
        other.intern(upper);
    }
    const zel_block renumbered(block, other.atoms());
    EXPECT_EQ(walk(renumbered), (std::vector<std::string>{"Na=N1", "Na=N3"}));
    EXPECT_EQ(renumbered.type().view(), "Nt");
    EXPECT_EQ(renumbered.extra_attributes()[0].first.view(), "Nx");
    EXPECT_EQ(&renumbered.atoms(), &other.atoms());

    // Numbers the target does not hold become unset handles.
    zel_file_index small;
    const zel_block truncated(block, small.atoms());
    EXPECT_TRUE(truncated.type().empty());
    EXPECT_EQ(truncated.parameter_count(), 2u);
}

TEST(BlockTest, ParameterValueAndTypeAreRewrittenInPlace) {
    zel_file_index index;
    zel_block& block = *index.add_block("t", "b");
    block.add_link("a", "m", "");
    block.add_parameter("z", generic_param(1));
    const zel_block::parameter_id id = block.find_parameter("a");
    block.set_parameter(id, index.intern(std::string_view("other#m")),
                        block.parameter_at(id).value.type());
    EXPECT_EQ(walk(block), (std::vector<std::string>{"a=other#m", "z=1"}));
    EXPECT_EQ(block.parameter_at(id).value.type().view(), "link");
}

}  // namespace
}  // namespace vorn::zel
