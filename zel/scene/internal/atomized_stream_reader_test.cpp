#include "zel/scene/internal/atomized_stream_reader.hpp"

#include <rapidxml/rapidxml.hpp>

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zel/foundation/generic_param.hpp"
#include "zel/scene/internal/block_access.hpp"
#include "zel/scene/internal/document_reader.hpp"
#include "zel/testing/scene_example_test.hpp"

namespace vorn::zel {
namespace {

std::vector<char> terminated(const std::string& text) {
    std::vector<char> bytes(text.begin(), text.end());
    bytes.push_back('\0');
    return bytes;
}

// What a reader made of a document, as far as anyone can see it: the atoms
// in number order and both prints, or the error.
std::string outcome(zel_file_index& index) {
    std::string out;
    for (const intrusive_string& atom : index.atoms()) {
        out.append(atom.view()).push_back('\n');
    }
    index.write_document(out, false);
    index.write_document(out, true);
    return out;
}

std::string tree_outcome(const std::string& text) {
    std::vector<char> bytes = terminated(text);
    zel_file_index index;
    try {
        read_document_tree(index, bytes.data());
    } catch (const rapidxml::parse_error& e) {
        return std::string("parse error: ") + e.what();
    } catch (const std::exception& e) {
        return std::string("error: ") + e.what();
    }
    return outcome(index);
}

// Reads text through the streaming reader and through the tree. Where the
// streaming reader takes the text, both must give the same scene; the text
// is left unchanged for the tree. Answers whether it was taken.
bool streamed_as_tree_reads(const std::string& text) {
    std::vector<char> bytes = terminated(text);
    zel_file_index streamed;
    const bool taken = read_atomized_stream(streamed, bytes.data());
    EXPECT_EQ(bytes, terminated(text));
    if (taken) {
        EXPECT_EQ(outcome(streamed), tree_outcome(text)) << text;
    }
    return taken;
}

std::string printed(zel_file_index& index) {
    std::string out;
    index.write_document(out, true);
    return out;
}

// A scene with what the short example lacks: tokens of two and three
// digits, texts that need references or are only blanks, parameters without
// text or without a name, a repeated parameter name, extra attributes and an
// empty block.
std::string varied_scene() {
    zel_file_index index;
    zel_block* first = index.add_block("mesh", "first");
    for (int i = 0; i < 70; ++i) {
        first->add_parameter(std::string("p").append(std::to_string(i)), generic_param(i * 7));
    }
    first->add_parameter("quoted", generic_param(std::string("say \"<hi>\" & 'bye'")));
    first->add_parameter("blank", generic_param(std::string("  ")));
    first->add_parameter("padded", generic_param(std::string(" x ")));
    generic_param empty{std::string()};
    empty.set_unit("m");
    first->add_parameter("empty", empty);
    first->add_parameter("twice", generic_param(1));
    first->add_parameter("twice", generic_param(2));
    block_access::append_extra_attribute(*first, index.intern("shade"), index.intern("smooth"));
    // Parameters whose name reads back as empty, in a block large enough to
    // keep an index of its names.
    block_access::insert_parameter(*first, index.intern("  "),
                                   intrusive_generic_param(index.intern("a"), {}));
    first->add_parameter("between", generic_param(0));
    block_access::insert_parameter(*first, index.intern("  "),
                                   intrusive_generic_param(index.intern("b"), {}));
    index.add_block("group", "second");
    index.add_metadata_block("note", "meta")->add_parameter("by", generic_param(std::string("me")));
    for (int i = 0; i < 4100; ++i) {
        index.intern(std::string("filler ").append(std::to_string(i)));
    }
    index.add_block("mesh", "late")->add_parameter("far", generic_param(std::string("end")));
    return printed(index);
}

std::string empty_scene() {
    zel_file_index index;
    return printed(index);
}

TEST(AtomizedStreamReaderTest, TakesWhatTheWriterPrintsAndReadsItAsTheTreeDoes) {
    for (const std::string& text :
         {testing::example_atomized_document(), empty_scene(), varied_scene()}) {
        EXPECT_TRUE(streamed_as_tree_reads(text)) << text;
    }
}

TEST(AtomizedStreamReaderTest, DeclinesEverythingElseForTheTree) {
    const std::string example = testing::example_atomized_document();
    const auto replaced = [&](std::string_view from, std::string_view to) {
        std::string text = example;
        const std::size_t at = text.find(from);
        EXPECT_NE(at, std::string::npos) << from;
        return text.replace(at, from.size(), to);
    };
    const std::string declined[] = {
        // What the parser allows but the writer never prints.
        "\xEF\xBB\xBF" + example,
        replaced("<zel>", " <zel>"),
        replaced("<zel>", "<!-- c --><zel>"),
        replaced("</4>", "</4>\n"),
        replaced("<9 1=\"8\">", "<9 1='8'>"),
        replaced("<9 1=\"8\">", "<9  1=\"8\">"),
        replaced("<9 1=\"8\">", "<9 1 = \"8\">"),
        replaced("<a>plate</a>", "<a>pl&#97;te</a>"),
        replaced("<a>plate</a>", "<a>plate<b/></a>"),
        replaced("<a>plate</a>", "<a>plate&</a>"),
        replaced("7</9>", "7<x/></9>"),
        replaced("7</9>", "&amp;</9>"),
        replaced("</atom_table></zelfile>", "</atom_table></zelfile> "),
        replaced("</atom_table></zelfile>", "</atom_table></zelfile><x/>"),
        replaced("<zel><4", "<zel>text<4"),
        replaced("<zel><4 .=\"3\">", "<zel><4 .=\"3\"><!---->"),
        // Children in another order, or missing.
        replaced("<metazel>", "<other/><metazel>"),
        replaced("<zel>", "<metazel/><zel>"),
        // What the tree refuses.
        replaced("<4 .=\"3\">", "<4>"),
        replaced("<4 .=\"3\">", "<4 .=\"\">"),
        replaced("<4 .=\"3\">", "<4 .=\"z\">"),
        replaced("<D 1=\"B\"", "<D 1=\"zz\""),
        replaced("<D 1=\"B\"", "<D 1=\"B......\""),
        replaced("<D 1=\"B\"", "<D 1=\"zzzzzz\""),
        replaced("</zel>", ""),
        replaced("<a>plate</a>", "<a>plate"),
        example.substr(0, example.size() - 1),
        std::string(),
    };
    for (const std::string& text : declined) {
        EXPECT_FALSE(streamed_as_tree_reads(text)) << text;
    }
}

TEST(AtomizedStreamReaderTest, ReadsEverySeedAsTheTreeDoes) {
    std::size_t seeds = 0;
    for (const auto& entry : std::filesystem::directory_iterator(ZEL_SCENE_SEEDS_DIR)) {
        std::ifstream in(entry.path(), std::ios::binary);
        const std::string text{std::istreambuf_iterator<char>(in), {}};
        streamed_as_tree_reads(text);
        ++seeds;
    }
    EXPECT_GT(seeds, 10u);
}

}  // namespace
}  // namespace vorn::zel
