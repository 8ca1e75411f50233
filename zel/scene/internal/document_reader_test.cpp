#include "zel/scene/internal/document_reader.hpp"

#include <rapidxml/rapidxml.hpp>

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/internal/file_index_state.hpp"
#include "zel/testing/atom_texts_test.hpp"
#include "zel/testing/scene_example_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zel {
namespace {

using testing::texts_of;
using testing::what_of;

std::string rewritten(zel_file_index& index, bool atomize) {
    std::string out;
    index.write_document(out, atomize);
    return out;
}

std::string zel_message(const std::string& message) {
    return zel_exception(message).what();
}

TEST(DocumentReaderTest, ExampleReadsBackWithItsAtomsAndWritesTheSame) {
    const std::string document = testing::example_atomized_document();
    zel_file_index index(document_text{document});
    EXPECT_TRUE(index.read_atomized());
    EXPECT_EQ(index.atoms().size(), 32u);
    EXPECT_EQ(index.block_count(), 3u);
    EXPECT_TRUE(index.exists_block("plate"));
    EXPECT_TRUE(index.exists_block("lamp"));
    EXPECT_TRUE(index.exists_metadata_block("__internal_use__"));
    EXPECT_EQ(index.at(15).view(), "a&b");
    const zel_block* plate = index.get_block("plate");
    EXPECT_EQ(plate->type().index, 5u);
    EXPECT_EQ(plate->parameter_count(), 6u);
    const zel_block::parameter& gain = plate->parameter_at(plate->find_parameter("gain"));
    EXPECT_EQ(gain.value.unit().view(), "mm");
    EXPECT_EQ(gain.value.value().index, 11u);
    const std::vector<std::string> atoms = texts_of(index.atoms());

    EXPECT_EQ(rewritten(index, true), document);
    EXPECT_EQ(texts_of(index.atoms()), atoms);
    EXPECT_EQ(rewritten(index, false), testing::example_plain_document());
}

TEST(DocumentReaderTest, PlainAndRootlessFormsReadAlike) {
    const std::string plain = testing::example_plain_document();
    const std::string rootless =
        "<metazel><internal_use_block name=\"__internal_use__\"><num type=\"integer\">2</num>"
        "</internal_use_block></metazel>"
        "<!-- the older form --><zel><material name=\"plate\">"
        "<count type=\"integer\">3</count><gain type=\"double\" unit=\"mm\">1.5</gain>"
        "<label type=\"string\" tag=\"t1\">a&amp;b</label><rgb type=\"double3\">0.25 0.5 1.0</rgb>"
        "<size type=\"boolean\">true</size><albedo type=\"link\">#lamp</albedo></material>"
        "<light name=\"lamp\"/></zel>";
    const std::string reordered = "<zelfile><metazel/><zel><light name=\"lamp\"/></zel></zelfile>";
    for (const std::string& text : {plain, rootless}) {
        zel_file_index index(document_text{text});
        EXPECT_FALSE(index.read_atomized());
        EXPECT_EQ(index.block_count(), 3u);
        EXPECT_EQ(rewritten(index, false), plain) << text;
    }
    zel_file_index index(document_text{reordered});
    EXPECT_EQ(index.block_count(), 1u);
    EXPECT_EQ(index.get_block("lamp")->type().view(), "light");
}

TEST(DocumentReaderTest, TextIsTranslatedAndAttributesKeptInOrder) {
    const std::string text =
        "<zelfile><zel>"
        "<t name=\"b\" x=\"1\" name=\"second\" y=\"&#233;\"><p type=\"s\" other=\"o\">a&amp;b</p>"
        "<q type=\"s\">  </q></t>"
        "<t name=\"b\"><lost type=\"s\">1</lost></t>"
        "</zel><metazel/></zelfile>";
    zel_file_index index(document_text{text});
    const zel_block* block = index.get_block("b");
    ASSERT_EQ(block->extra_attributes().size(), 2u);
    EXPECT_EQ(block->extra_attributes()[0].first.view(), "x");
    EXPECT_EQ(block->extra_attributes()[1].second.view(), "\xC3\xA9");
    EXPECT_EQ(block->parameter_at(block->find_parameter("p")).value.value().view(), "a&b");
    // A run of white space is no text.
    EXPECT_TRUE(block->parameter_at(block->find_parameter("q")).value.value().empty());
    // The first block of a name wins.
    EXPECT_EQ(block->find_parameter("lost"), zel_block::no_parameter);
}

// Each field of a parameter unset or empty, written in both forms and read
// back by the streaming reader (where it takes the text) and by the tree.
TEST(DocumentReaderTest, UnsetAndEmptyFieldsReadBackAsWritten) {
    struct row {
        const char* name;
        const char* value;
        const char* type;
        const char* unit;  // null: never set
        const char* tag;
    };
    const row rows[] = {
        {"all_empty", "", "", "", ""},           {"no_type", "v", "", nullptr, nullptr},
        {"no_value", "", "t", nullptr, nullptr}, {"empty_unit", "v", "t", "", nullptr},
        {"empty_tag", "v", "t", nullptr, ""},    {"all_set", "v", "t", "u", "g"},
    };
    zel_file_index written;
    zel_block* block = written.add_block("kind", "b");
    for (const row& r : rows) {
        generic_param param;
        param.create(r.value, r.type);
        if (r.unit != nullptr) {
            param.set_unit(r.unit);
        }
        if (r.tag != nullptr) {
            param.set_tag(r.tag);
        }
        block->add_parameter(r.name, param);
    }
    for (const bool atomize : {true, false}) {
        const std::string document = rewritten(written, atomize);
        std::vector<char> text(document.begin(), document.end());
        text.push_back('\0');
        zel_file_index by_tree;
        read_document_tree(by_tree, text.data());
        zel_file_index by_reader(document_text{document});
        for (zel_file_index* read : {&by_tree, &by_reader}) {
            const zel_block* b = read->get_block("b");
            for (const row& r : rows) {
                const zel_block::parameter p = b->parameter_at(b->find_parameter(r.name));
                EXPECT_EQ(p.value.value().view(), r.value) << r.name << atomize;
                EXPECT_EQ(p.value.type().view(), r.type) << r.name << atomize;
                // What is set empty is kept as unset, and so reads back.
                const std::string unit = r.unit != nullptr ? r.unit : "";
                const std::string tag = r.tag != nullptr ? r.tag : "";
                EXPECT_EQ(p.value.unit().view(), unit) << r.name << atomize;
                EXPECT_EQ(p.value.tag().view(), tag) << r.name << atomize;
            }
            EXPECT_EQ(rewritten(*read, atomize), document);
        }
    }
}

// In the atomized form an empty type is no type, but an empty unit, tag or
// extra attribute is atom 0, the word "name" in every file this writer makes.
TEST(DocumentReaderTest, EmptyAtomizedAttributesDecodeAsTheFormSays) {
    const std::string text =
        "<zelfile><atom_table><a>name</a><a>type</a><a>unit</a><a>tag</a><a>k</a><a>b</a>"
        "<a>p</a><a>x</a></atom_table><metazel/>"
        "<zel><3 .=\"4\" 6=\"\"><5 0=\"\" 1=\"\" 2=\"\"/></3></zel></zelfile>";
    zel_file_index index(document_text{text});
    const zel_block* b = index.get_block("b");
    const zel_block::parameter p = b->parameter_at(b->find_parameter("p"));
    EXPECT_TRUE(p.value.type().empty());
    EXPECT_EQ(p.value.unit().view(), "name");
    EXPECT_EQ(p.value.tag().view(), "name");
    EXPECT_EQ(b->extra_attributes().at(0).second.view(), "name");
}

TEST(DocumentReaderTest, PlainBlocksInternParametersBeforeAttributesAndName) {
    const std::string text =
        "<zelfile><metazel><i name=\"__internal_use__\"><num type=\"integer\">4000000000</num>"
        "</i></metazel><zel><t name=\"b\" x=\"v\"><p type=\"s\" unit=\"u\" tag=\"g\">val</p>"
        "</t></zel></zelfile>";
    zel_file_index index(document_text{text});
    EXPECT_EQ(texts_of(index.atoms()),
              (std::vector<std::string>{"i", "num", "4000000000", "integer", "__internal_use__",
                                        "t", "p", "val", "s", "u", "g", "v", "x", "b"}));
    // The count sizes the table no larger than the document's blocks.
    EXPECT_EQ(index.block_count(), 2u);
}

TEST(DocumentReaderTest, EntryIsReadWithOrWithoutItsNul) {
    const testing::scratch_directory scratch;
    const std::string document = testing::example_atomized_document();
    const auto package = scratch.path() / "scene.zel";
    {
        zela::zel_archive_file_appender<parallel::mutex_traits_no_op> appender(package, true);
        appender.add_entry("with", document.c_str(), document.size() + 1, true, false);
        appender.add_entry("without", document.data(), document.size(), true, false);
        appender.add_entry("stored", document.c_str(), document.size() + 1, false, false);
        appender.close();
    }
    const auto reader = std::make_shared<zela::zel_archive_file_reader>(package);
    for (const char* entry : {"with", "without", "stored"}) {
        zel_file_index index(reader, entry);
        EXPECT_EQ(index.atoms().size(), 32u) << entry;
        EXPECT_EQ(rewritten(index, true), document) << entry;
        EXPECT_EQ(index.archive_reader(), reader);
        EXPECT_EQ(index.get_package_id(), reader->get_package_id());
    }
    std::string plain;
    append_package_document(package, plain, false, "with");
    EXPECT_EQ(plain, testing::example_plain_document());
}

TEST(DocumentReaderTest, HostileDocumentsAreRefusedInWords) {
    const std::string atomized_head =
        "<zelfile><atom_table><a>name</a><a>type</a><a>t</a><a>b</a></atom_table><metazel/>";
    struct row {
        std::string text;
        std::string thrown;
    };
    const row rows[] = {
        {atomized_head + "<zel><1 .=\"2\"/><1 .=\"Z\"/></zel></zelfile>",
         zel_message("scene document token beyond the atom table: Z")},
        {atomized_head + "<zel><1 .=\"2\"><1 0=\"!!!!\"/></1></zel></zelfile>",
         zel_message("scene document token beyond the atom table: !!!!")},
        // A token of seven digits, or of six beyond 32 bits, names no atom.
        {atomized_head + "<zel><1 .=\"2\"><1 0=\"3......\"/></1></zel></zelfile>",
         zel_message("scene document token fits no atom number: 3......")},
        {atomized_head + "<zel><1 .=\"zzzzzz\"/></zel></zelfile>",
         zel_message("scene document token fits no atom number: zzzzzz")},
        {atomized_head + "<zel><1 .=\"2\"><1 0=\"3\">2......</1></1></zel></zelfile>",
         zel_message("scene document token fits no atom number: 2......")},
        {atomized_head + "<zel><1 .=\"\"/></zel></zelfile>",
         zel_message("block name of zero length read")},
        {atomized_head + "<zel><1/></zel></zelfile>",
         zel_message("scene document has a block without a name: 1")},
        {atomized_head + "</zelfile>", zel_message("scene document has no element zel")},
        {"<zelfile><zel/></zelfile>", zel_message("scene document has no element metazel")},
        {"<zel/>", zel_message("scene document has no element metazel")},
        {"<metazel/>", zel_message("scene document has no element zel")},
        {"<zelfile><metazel/><zel><t/></zel></zelfile>",
         zel_message("scene document has a block without a name: t")},
        {"<zelfile><metazel/><zel><t name=\"\"/></zel></zelfile>",
         zel_message("block name of zero length read")},
        {"", zel_message("scene document has no element metazel")},
        {"<zelfile><metazel/><zel><t name=\"x\"></zel>", "unexpected end of data"},
        {"<zelfile><zel", "expected >"},
    };
    for (const row& r : rows) {
        EXPECT_EQ(what_of([&] { zel_file_index index(document_text{r.text}); }), r.thrown)
            << r.text;
    }
    EXPECT_THROW(zel_file_index(document_text{std::string("<zelfile")}), rapidxml::parse_error);

    std::string deep = "<zelfile><metazel/><zel>";
    for (int i = 0; i < 100000; ++i) {
        deep += "<d>";
    }
    EXPECT_EQ(what_of([&] { zel_file_index index(document_text{deep}); }),
              zel_message("scene document nests elements deeper than 32 levels"));
}

TEST(DocumentReaderTest, DamageAnywhereGivesADocumentOrAnErrorInWords) {
    const std::string document = testing::example_atomized_document();
    int refused = 0;
    for (std::size_t at = 0; at < document.size(); ++at) {
        for (const char damage : {'\0', '<', '"', 'z'}) {
            std::string damaged = document;
            damaged[at] = damage;
            try {
                zel_file_index index(document_text{damaged});
                std::string out;
                index.write_document(out, true);
            } catch (const zel_exception&) {
                ++refused;
            } catch (const rapidxml::parse_error&) {
                ++refused;
            }
        }
    }
    EXPECT_GT(refused, 0);
}

TEST(DocumentReaderTest, ManyParametersOfAlternatingNamesKeepTheirRuns) {
    std::string text = "<zelfile><metazel/><zel><t name=\"b\">";
    constexpr int count = 100000;
    for (int i = 0; i < count; ++i) {
        text += (i % 2 == 0) ? "<x type=\"s\">1</x>" : "<y type=\"s\">2</y>";
    }
    text += "</t></zel></zelfile>";
    zel_file_index index(document_text{text});
    const zel_block* block = index.get_block("b");
    ASSERT_EQ(block->parameter_count(), static_cast<std::size_t>(count));
    int position = 0;
    for (const zel_block::parameter& p : block->parameters()) {
        EXPECT_EQ(p.name.view(), position < count / 2 ? "x" : "y");
        if (p.name.view() != (position < count / 2 ? "x" : "y")) {
            break;
        }
        ++position;
    }
}

}  // namespace
}  // namespace vorn::zel
