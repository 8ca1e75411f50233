#include <gtest/gtest.h>

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

}  // namespace
}  // namespace vorn::zel
