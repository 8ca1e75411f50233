#include "zel/scene/scene_graph.hpp"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "zel/foundation/exception.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/names.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

const std::string image_bytes = testing::numbered_bytes(700);

struct resolved {
    std::string file;
    std::string block;
    friend bool operator==(const resolved&, const resolved&) = default;
};

std::ostream& operator<<(std::ostream& out, const resolved& r) {
    return out << '"' << r.file << "\" \"" << r.block << '"';
}

// What a block holds, as texts: its type, its attributes and every
// parameter's name and four strings.
std::vector<std::string> texts_of(const zel_block& block) {
    std::vector<std::string> texts{block.type().str()};
    for (const auto& [name, value] : block.extra_attributes()) {
        texts.push_back(name.str() + "=" + value.str());
    }
    for (const zel_block::parameter& p : block.parameters()) {
        texts.push_back(p.name.str() + ": " + p.value.value().str() + " | " + p.value.unit().str() +
                        " | " + p.value.type().str() + " | " + p.value.tag().str());
    }
    return texts;
}

class SceneGraphTest : public ::testing::Test {
  protected:
    SceneGraphTest() {
        write_other();
        write_root();
        resolver_ = std::make_shared<zel_scene_resolver>(1000, 1 << 20, 1 << 20);
        graph_ = open_scene_graph(resolver_, root_path());
    }

    std::filesystem::path root_path() const { return scratch_.path() / "root.zel"; }
    std::string other() const { return (scratch_.path() / "other.zel").string(); }

    // Another package whose atoms are numbered otherwise than the root's: its
    // blocks and words come in another order, with words the root lacks.
    void write_other() const {
        zel_file_writer writer(other(), false, true);
        writer.add_uncompressed_extension(".raw");
        writer.add_block("texture", "m").add_parameter("filter", generic_param(std::string("box")));
        zel_block& b = writer.add_block("material", "b");
        b.add_extra_attribute("group", "floor");
        generic_param gain(2.5f);
        gain.set_unit("cm");
        gain.set_tag("t9");
        b.add_parameter("gain", gain);
        b.add_link("albedo", "m", "");
        b.add_link("shared", "m", "lib");
        b.add_parameter("note", generic_param(std::string("#m")));
        b.add_binary_link_with_data("image", "img.raw", image_bytes.data(), image_bytes.size());
        writer.close();
    }

    void write_root() const {
        zel_file_writer writer(root_path(), false, true);
        writer.add_block("material", "b").add_link("next", "c", "");
        writer.add_block("light", "c");
        writer.add_block("mesh", "b_modified_from_" + other() + "(POUND)b");
        writer.add_block("mesh", "user").add_link("look", "b", other());
        writer.add_block("mesh", "reuse").add_link("lib_look", "x", "lib");
        writer.close();
    }

    resolved resolve(const std::string& link) const { return resolve(link, graph_->root_index()); }
    resolved resolve(const std::string& link, const std::shared_ptr<zel_file_index>& from) const {
        resolved r;
        graph_->resolve_link(link, from, r.file, r.block);
        return r;
    }

    testing::scratch_directory scratch_;
    std::shared_ptr<zel_scene_resolver> resolver_;
    std::shared_ptr<zel_scene_graph> graph_;
};

TEST_F(SceneGraphTest, ALocalBlockIsHandedOutAsItIs) {
    const std::size_t blocks = graph_->root_index()->block_count();
    zel_block* b = graph_->get_modifiable_block("", "b");
    EXPECT_EQ(b, graph_->root_index()->get_block("b"));
    EXPECT_EQ(graph_->root_index()->block_count(), blocks);
    EXPECT_EQ(resolve("#b"), (resolved{"", "b"}));
}

TEST_F(SceneGraphTest, ABlockOfAnotherFileIsCopiedOnceUnderItsDerivedName) {
    const std::size_t blocks = graph_->root_index()->block_count();
    zel_block* copy = graph_->get_modifiable_block(other(), "b");
    // The derived name is taken in the root, so an "x" follows.
    const std::string name = modified_block_name("b", other(), "b") + "x";
    EXPECT_EQ(copy, graph_->root_index()->get_block(name));
    EXPECT_EQ(graph_->root_index()->block_count(), blocks + 1);
    EXPECT_EQ(graph_->get_modifiable_block(other(), "b"), copy);
    EXPECT_EQ(graph_->root_index()->block_count(), blocks + 1);
    EXPECT_EQ(resolve(other() + "#b"), (resolved{"", name}));
    // The source stays as it was.
    EXPECT_EQ(resolver_->open_file_index(other())->block_count(), 4u);  // with two metadata blocks
}

TEST_F(SceneGraphTest, TheCopyCarriesTheSourcesTextsAndPointsItsLocalLinksHome) {
    const zel_block& source = *resolver_->open_file_index(other())->get_block("b");
    const zel_block& copy = *graph_->get_modifiable_block(other(), "b");
    std::vector<std::string> expected = texts_of(source);
    for (std::string& text : expected) {
        // Only links and binaries with an empty left part change.
        for (const char* local : {"albedo: #m | ", "image: #img.raw | "}) {
            if (text.starts_with(local)) {
                text.insert(text.find('#'), other());
            }
        }
    }
    EXPECT_EQ(texts_of(copy), expected);
    EXPECT_EQ(expected[1], "group=floor");
    EXPECT_EQ(expected[2], "gain: 2.5 | cm | double | t9");
    EXPECT_EQ(expected[3], "albedo: " + other() + "#m |  | link | ");
    EXPECT_EQ(expected[4], "shared: lib#m |  | link | ");
    EXPECT_EQ(expected[5], "note: #m |  | string | ");
    EXPECT_EQ(expected[6], "image: " + other() + "#img.raw |  | binary | ");
    // The rewritten links lead back into the source's file.
    EXPECT_EQ(resolve(other() + "#m"), (resolved{other(), "m"}));
    EXPECT_EQ(graph_->get_binary(other() + "#img.raw", false)->size(), image_bytes.size());
}

TEST_F(SceneGraphTest, AMissingBlockInTheOtherFileChangesNothing) {
    const std::size_t blocks = graph_->root_index()->block_count();
    EXPECT_EQ(what_of([&] { graph_->get_modifiable_block(other(), "nothing"); }),
              zel_exception("Block named nothing was not found").what());
    EXPECT_EQ(graph_->root_index()->block_count(), blocks);
    EXPECT_EQ(resolve(other() + "#nothing"), (resolved{other(), "nothing"}));
}

TEST_F(SceneGraphTest, ABlockRedirectLeadsTheCopyToItsTarget) {
    graph_->add_file_redirect("alias", other());
    graph_->add_block_redirect("", "stand_in", "alias", "b");
    zel_block* copy = graph_->get_modifiable_block("", "stand_in");
    const std::string name = modified_block_name("b", "", "stand_in");
    EXPECT_EQ(copy, graph_->root_index()->get_block(name));
    // The redirect now leads to the copy.
    EXPECT_EQ(resolve("#stand_in"), (resolved{"", name}));
    EXPECT_EQ(graph_->get_modifiable_block("", "stand_in"), copy);
}

TEST_F(SceneGraphTest, FileRedirectsOverwriteAndBlockRedirectsKeepTheFirst) {
    graph_->add_file_redirect("f", "one");
    graph_->add_file_redirect("f", "two");
    ASSERT_NE(graph_->find_file_redirect("f"), nullptr);
    EXPECT_EQ(*graph_->find_file_redirect("f"), "two");
    EXPECT_EQ(graph_->find_file_redirect("g"), nullptr);
    EXPECT_EQ(graph_->find_file_redirect(""), nullptr);
    EXPECT_THROW(graph_->add_file_redirect("", "x"), std::invalid_argument);

    graph_->add_block_redirect("g", "b", "h", "first");
    graph_->add_block_redirect("g", "b", "h", "second");
    EXPECT_EQ(resolve("g#b"), (resolved{"h", "first"}));
    // File names of a block redirect are redirected when it is made.
    graph_->add_block_redirect("f", "b", "f", "c");
    EXPECT_EQ(resolve("f#b"), (resolved{"two", "c"}));
    EXPECT_EQ(resolve("f#other"), (resolved{"two", "other"}));
}

TEST_F(SceneGraphTest, ALocalLinkOfAnotherFileIgnoresTheRootsRedirects) {
    graph_->add_block_redirect("", "b", "", "c");
    const auto foreign = resolver_->open_file_index(other());
    const struct {
        std::string link;
        bool from_root;
        resolved expected;
    } cases[] = {
        {"#b", true, {"", "c"}},        {"#b", false, {"", "b"}},      {"#c", true, {"", "c"}},
        {"lib#m", false, {"lib", "m"}}, {"a#b#c", true, {"a", "b#c"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.link);
        EXPECT_EQ(resolve(c.link, c.from_root ? graph_->root_index() : foreign), c.expected);
    }
    EXPECT_EQ(what_of([&] { resolve("no_separator"); }), "invalid string position");
}

TEST_F(SceneGraphTest, TheLinkMapperRewritesLinksBeforeTheyAreResolved) {
    std::vector<std::string> seen;
    graph_->set_link_mapper([&](const std::string& target, std::string& link) {
        seen.push_back(target);
        if (target != "moved") {
            return false;
        }
        link = "lib#moved_here";
        return true;
    });
    EXPECT_EQ(resolve("x#moved"), (resolved{"lib", "moved_here"}));
    EXPECT_EQ(resolve("#c"), (resolved{"", "c"}));
    EXPECT_EQ(seen, (std::vector<std::string>{"moved", "c"}));
    // A mapper may also give a link its "#".
    graph_->set_link_mapper([](const std::string&, std::string& link) {
        link = "#" + link;
        return true;
    });
    EXPECT_EQ(resolve("c"), (resolved{"", "c"}));
}

TEST_F(SceneGraphTest, EmptyHooksRaiseWhereTheyAreCalled) {
    graph_->set_link_mapper({});
    EXPECT_THROW(resolve("#c"), std::bad_function_call);
    EXPECT_THROW(graph_->get_binary("missing#x", false), std::bad_function_call);
    graph_->set_link_mapper([](const std::string&, std::string&) { return false; });
    graph_->set_binary_provider({});
    EXPECT_THROW(graph_->get_binary("missing#x", false), std::bad_function_call);
    // A binary found on the first road calls no hook.
    EXPECT_EQ(graph_->get_binary(other() + "#img.raw", true)->size(), image_bytes.size());
}

TEST_F(SceneGraphTest, GetBinaryFallsThroughEverySourceToItsOwnError) {
    const std::string missing_file = (scratch_.path() / "missing.zel").string();
    for (const std::string& link : {missing_file + "#img.raw", other() + "#no_entry",
                                    std::string("#img.raw"), missing_file}) {
        SCOPED_TRACE(link);
        EXPECT_EQ(what_of([&] { graph_->get_binary(link, false); }),
                  zel_exception("Failed to get binary: " + link).what());
    }
}

TEST_F(SceneGraphTest, GetBinaryFindsBytesThroughRedirectsAndTheMapper) {
    graph_->add_file_redirect("alias", other());
    const auto direct = graph_->get_binary(other() + "#img.raw", false);
    EXPECT_EQ(std::string(direct->data(), direct->size()), image_bytes);
    EXPECT_EQ(graph_->get_binary("alias#img.raw", false), direct);

    std::vector<std::string> asked;
    graph_->set_link_mapper([&](const std::string& name, std::string& location) {
        asked.push_back(name + "|" + location);
        location = other() + "#img.raw";
        return true;
    });
    EXPECT_EQ(graph_->get_binary("#picture", false), direct);
    EXPECT_EQ(graph_->get_binary("nowhere.zel#picture", false), direct);
    EXPECT_EQ(asked, (std::vector<std::string>{"picture|", "picture|"}));
}

TEST_F(SceneGraphTest, AProvidersBytesComeBackAsADecodedBuffer) {
    std::vector<std::string> asked;
    graph_->set_binary_provider([&](const std::string& link, std::uint64_t& size) {
        asked.push_back(link);
        std::shared_ptr<char> bytes(new char[5], std::default_delete<char[]>());
        std::memcpy(bytes.get(), "bytes", 5);
        size = 5;
        return bytes;
    });
    const auto buffer = graph_->get_binary("missing.zel#x", false);
    EXPECT_EQ(std::string(buffer->data(), buffer->size()), "bytes");
    EXPECT_TRUE(buffer->decoded());
    EXPECT_EQ(buffer->pending_size(), 0u);
    EXPECT_EQ(buffer->identity(), binary_identity{});
    EXPECT_EQ(asked, std::vector<std::string>{"missing.zel#x"});
}

TEST_F(SceneGraphTest, TheRootIsACopyOfACachedSceneAndTakesOverOneThatIsNot) {
    const auto cached = resolver_->open_file_index(root_path());
    EXPECT_NE(graph_->root_index(), cached);
    graph_->get_modifiable_block(other(), "b");
    EXPECT_EQ(cached->block_count() + 1, graph_->root_index()->block_count());

    const auto small = std::make_shared<zel_scene_resolver>(0, 0, 0);
    const auto graph = open_scene_graph(small, root_path());
    EXPECT_EQ(graph->root_index()->block_count(), cached->block_count());
    EXPECT_EQ(graph->get_package_id(), cached->get_package_id());
    EXPECT_NE(graph->get_package_id(), package_id{});
}

TEST_F(SceneGraphTest, ExternalReferencesNameTheLibrariesInOrder) {
    std::vector<std::string> refs;
    for (const intrusive_string& ref : graph_->external_references()) {
        refs.push_back(ref.str());
    }
    EXPECT_EQ(refs, (std::vector<std::string>{other(), "lib"}));
    const auto none = open_scene_graph(resolver_, other());
    EXPECT_EQ(none->external_references().size(), 1u);
}

TEST_F(SceneGraphTest, AFileNameThatIsNotUtf8IsRefused) {
    EXPECT_EQ(what_of([&] { graph_->get_modifiable_block("bad\xff", "b"); }),
              "invalid char filename argument");
    EXPECT_THROW(graph_->open_file_index("bad\xff"), std::invalid_argument);
}

}  // namespace
}  // namespace vorn::zel
