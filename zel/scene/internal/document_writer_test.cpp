#include <rapidxml/rapidxml.hpp>
#include <rapidxml/rapidxml_print.hpp>

#include <gtest/gtest.h>

#include <iterator>
#include <list>
#include <memory>

#include <string>
#include <vector>

#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/document_tokens.hpp"
#include "zel/testing/atom_texts_test.hpp"
#include "zel/testing/scene_example_test.hpp"

namespace vorn::zel {
namespace {

// The example scene on an index of its own, with the four words first, as a
// writer has them.
void build_example(zel_file_index& index) {
    for (const char* word : {"name", "unit", "type", "tag"}) {
        index.intern(std::string_view(word));
    }
    zel_block* plate = index.add_block("material", "plate");
    index.add_block("light", "lamp");
    testing::fill_example_plate(*plate);
}

TEST(DocumentWriterTest, ExamplePrintsByteForByteInBothForms) {
    zel_file_index atomized;
    build_example(atomized);
    std::string document = "kept|";
    atomized.write_document(document, true);
    EXPECT_EQ(document, "kept|" + testing::example_atomized_document());
    EXPECT_EQ(document.size(), 5u + 671u);
    EXPECT_EQ(atomized.atoms().size(), 32u);

    zel_file_index plain;
    build_example(plain);
    std::string text;
    plain.write_document(text, false);
    EXPECT_EQ(text, testing::example_plain_document());
}

TEST(DocumentWriterTest, TokensCountInBase64LowDigitFirst) {
    struct row {
        std::uint32_t number;
        std::string token;
    };
    const row rows[] = {
        {0, "."},   {1, "0"},     {11, "A"},     {63, "z"},       {64, ".0"},
        {65, "00"}, {4095, "zz"}, {4096, "..0"}, {262143, "zzz"}, {0xFFFFFFFE, "yzzzz2"}};
    for (const row& r : rows) {
        char buffer[tokens::max_digits];
        EXPECT_EQ(std::string(buffer, tokens::encode(r.number, buffer)), r.token) << r.number;
        EXPECT_EQ(tokens::decode(r.token), r.number) << r.token;
    }
    EXPECT_EQ(tokens::decode(""), 0u);
    // A character outside the alphabet is the digit 0xFF.
    EXPECT_EQ(tokens::decode("!"), 0xFFu);
    EXPECT_EQ(tokens::decode("0!"), (0xFFu << 6) | 1);
    // The number of no atom keeps its token; what passes 32 bits fits none.
    EXPECT_EQ(tokens::decode("zzzzz2"), 0xFFFFFFFFu);
    for (const char* unfit : {"zzzzz3", "zzzzzz", ".......", "0......", "!!!!!!"}) {
        EXPECT_EQ(tokens::decode(unfit), tokens::unfit) << unfit;
    }
}

TEST(DocumentWriterTest, EmptySceneHasTheInternalBlockAndTheFourWords) {
    zel_file_index index;
    std::string document;
    index.write_document(document, true);
    EXPECT_EQ(document,
              "<?xml version=\"1.0\" encoding=\"utf-8\"?><zelfile version=\"0.1\"><zel/><metazel>"
              "<0 4=\".\"><3 5=\"2\">1</3></0></metazel><atom_table><a>__internal_use__</a>"
              "<a>internal_use_block</a><a>0</a><a>integer</a><a>num</a><a>name</a><a>type</a>"
              "<a>unit</a><a>tag</a></atom_table></zelfile>");
}

TEST(DocumentWriterTest, QuotesAndEmptyValuesFollowThePrinter) {
    zel_file_index index;
    zel_block* block = index.add_block("t", "it's \"q\"");
    generic_param quoted(std::string("say \"hi\" & 'bye' <x>"));
    quoted.set_tag("a\"b'c");
    block->add_parameter("p", quoted);
    block->add_parameter("p", generic_param());
    block->add_extra_attribute("single", "it's");
    std::string plain;
    index.write_document(plain, false);
    EXPECT_NE(plain.find("\t\t<t name='it&apos;s \"q\"' single=\"it's\">\n"), std::string::npos)
        << plain;
    EXPECT_NE(plain.find("\t\t\t<p type=\"string\" tag='a\"b&apos;c'>say &quot;hi&quot; &amp; "
                         "&apos;bye&apos; &lt;x&gt;</p>\n"
                         "\t\t\t<p type=\"\"/>\n"),
              std::string::npos)
        << plain;

    std::string atomized;
    index.write_document(atomized, true);
    EXPECT_NE(atomized.find("<a>say &quot;hi&quot; &amp; &apos;bye&apos; &lt;x&gt;</a>"),
              std::string::npos);
    EXPECT_NE(atomized.find("<a>a&quot;b&apos;c</a>"), std::string::npos);
}

TEST(DocumentWriterTest, CountOfBlocksIsTakenOnceAndCountsOrdinaryBlocksOnly) {
    zel_file_index index;
    index.add_block("t", "a");
    index.add_metadata_block("t", "m");
    std::string first;
    index.write_document(first, false);
    EXPECT_NE(first.find("<num type=\"integer\">1</num>"), std::string::npos);
    index.add_block("t", "b");
    std::string second;
    index.write_document(second, false);
    EXPECT_NE(second.find("<num type=\"integer\">1</num>"), std::string::npos);
    EXPECT_NE(second.find("<t name=\"b\"/>"), std::string::npos);
}

// The same document built as a rapidxml tree and printed by rapidxml, in the
// tables' own order: the printer must give its bytes exactly.
std::string printed_by_rapidxml(const zel_file_index& index, bool atomize) {
    const auto owned = std::make_unique<rapidxml::xml_document<char>>();
    rapidxml::xml_document<char>& document = *owned;
    std::list<std::string> texts;  // the tree borrows its strings
    const auto word = [&](intrusive_string handle) -> const char* {
        if (atomize && !handle.empty()) {
            char buffer[tokens::max_digits];
            return texts.emplace_back(buffer, tokens::encode(handle.index, buffer)).c_str();
        }
        return texts.emplace_back(handle.view()).c_str();
    };
    const auto text_of = [&](intrusive_string handle) {
        return atomize ? word(handle) : texts.emplace_back(handle.view()).c_str();
    };
    const auto element = [&](const char* name, const char* value = "") {
        return document.allocate_node(rapidxml::node_element, name, value);
    };
    const auto add_attribute = [&](rapidxml::xml_node<char>* node, const char* name,
                                   const char* value) {
        node->append_attribute(document.allocate_attribute(name, value));
    };
    rapidxml::xml_node<char>* declaration = document.allocate_node(rapidxml::node_declaration);
    add_attribute(declaration, "version", "1.0");
    add_attribute(declaration, "encoding", "utf-8");
    document.append_node(declaration);
    rapidxml::xml_node<char>* root = element("zelfile");
    add_attribute(root, "version", "0.1");
    document.append_node(root);
    const atom_table& atoms = index.atoms();
    const auto find_word = [&](std::string_view text) {
        for (const intrusive_string& atom : atoms) {
            if (atom.view() == text) {
                return atom;
            }
        }
        return intrusive_string(text);
    };
    const auto table = [&](const char* name, bool metadata) {
        rapidxml::xml_node<char>* parent = element(name);
        root->append_node(parent);
        const auto add_block = [&](intrusive_string block_name, zel_block& block) {
            rapidxml::xml_node<char>* node = element(word(block.type()));
            add_attribute(node, word(find_word("name")), word(block_name));
            for (const auto& [attribute, value] : block.extra_attributes()) {
                add_attribute(node, word(attribute), word(value));
            }
            for (const zel_block::parameter& p : block.parameters()) {
                rapidxml::xml_node<char>* child = element(word(p.name), text_of(p.value.value()));
                add_attribute(child, word(find_word("type")), word(p.value.type()));
                if (!p.value.unit().empty()) {
                    add_attribute(child, word(find_word("unit")), word(p.value.unit()));
                }
                if (!p.value.tag().empty()) {
                    add_attribute(child, word(find_word("tag")), word(p.value.tag()));
                }
                node->append_node(child);
            }
            parent->append_node(node);
        };
        metadata ? index.visit_metadata_blocks(add_block) : index.visit_blocks(add_block);
    };
    table("zel", false);
    table("metazel", true);
    if (atomize) {
        rapidxml::xml_node<char>* atom_table = element("atom_table");
        for (const intrusive_string& atom : atoms) {
            atom_table->append_node(element("a", texts.emplace_back(atom.view()).c_str()));
        }
        root->append_node(atom_table);
    }
    std::string out;
    rapidxml::print(std::back_inserter(out), document, atomize ? rapidxml::print_no_indenting : 0);
    // Printed whole, the document node gets a line feed of its own behind
    // the root's; the plain form ends with the root's line.
    if (!atomize) {
        out.pop_back();
    }
    return out;
}

std::string joined(std::string_view a, std::string_view b) {
    std::string text(a);
    text.append(b);
    return text;
}

TEST(DocumentWriterTest, BytesAreThoseOfTheRapidxmlPrinter) {
    for (const bool atomize : {false, true}) {
        zel_file_index index;
        for (int b = 0; b < 70; ++b) {
            const std::string suffix = std::to_string(b);
            zel_block* block =
                index.add_block(b % 3 == 0 ? "t" : joined("u", suffix), joined("n'\"&<>", suffix));
            if (b % 4 == 0) {
                block->add_extra_attribute("x", b % 8 == 0 ? "" : joined("v\"'", suffix));
            }
            for (int p = 0; p < b % 5; ++p) {
                generic_param value(joined(p % 2 == 0 ? "a&b<c>'d\"" : "\xC3\xA9 \t x", suffix));
                value.set_unit(p == 1 ? "m'm" : "");
                value.set_tag(p == 3 ? "\"" : "");
                block->add_parameter(joined("p", std::to_string(p % 3)), value);
                block->add_parameter("empty", generic_param());
            }
        }
        index.add_metadata_block("m", "meta")->add_link("l", "x", "lib");
        std::string printed;
        index.write_document(printed, atomize);
        EXPECT_EQ(printed, printed_by_rapidxml(index, atomize)) << atomize;
    }
}

}  // namespace
}  // namespace vorn::zel
