#include "zel/archive/internal/xml_depth.hpp"

#include <gtest/gtest.h>

#include <string>

#include "zel/archive/file_reader.hpp"
#include "zel/archive/sealed_image_test.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::zela {
namespace {

// The most elements the text has open at once, as the scan counts them.
std::size_t depth_of(const std::string& text) {
    std::size_t limit = 0;
    while (!xml_depth_within(text.c_str(), limit)) {
        ++limit;
    }
    return limit;
}

std::string repeated(const std::string& part, std::size_t count) {
    std::string text;
    for (std::size_t i = 0; i < count; ++i) {
        text += part;
    }
    return text;
}

// Markup that the parser skips opens nothing, whatever "<" or "/>" it holds,
// and what the parser does open is counted even where it is not well formed.
TEST(XmlDepthTest, CountsWhatTheParserOpens) {
    struct row {
        const char* what;
        std::string text;
        std::size_t depth;
    };
    const row rows[] = {
        {"nested", "<a><b><c/></b><d></d></a>", 2},
        {"several roots", "<a></a><b><c></c></b>", 2},
        {"text and entities", "<a>&lt;b&gt; x < y<b/></a>", 1},
        {"attribute values", "<a x=\"<b><c>\" y='/>' z = \"'\"><d></d></a>", 2},
        {"a quote of the other kind", "<a x='\"><b>'><c></c></a>", 2},
        {"comment", "<a><!-- <b><c> --></a>", 1},
        {"comment that is no comment", "<a><!- <b> ><c></c></a>", 2},
        {"CDATA", "<a><![CDATA[<b><c>]]></a>", 1},
        {"declaration and instruction", "<?xml version=\"1.0\"?><a><?pi <b><c> ?></a>", 1},
        {"doctype with brackets", "<!DOCTYPE x [ <b> [<c>] ]><a><d></d></a>", 2},
        {"other markup declaration", "<!ELEMENT <b> ><a/>", 0},
        {"closing names are not compared", "<a><b></zzz ><c></c></a>", 2},
        {"byte order mark", "\xEF\xBB\xBF<a><b><c>", 3},
        {"unterminated", "<a><b><c><d", 3},
        {"no element name", "<a>< b><c>", 1},
        {"malformed attribute", "<a x=y><b><c>", 0},
        {"text before the first element", "x<a><b>", 0},
        {"empty", "", 0},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(depth_of(r.text), r.depth);
    }
}

TEST(XmlDepthTest, DeepTableOfContentsIsRefusedBeforeItIsParsed) {
    const testing::scratch_directory dir;
    const std::string shallow =
        "<zelindex>" + repeated("<a>", 63) + repeated("</a>", 63) + "</zelindex>";
    const std::string deep = "<zelindex>" + repeated("<a>", 200000);
    EXPECT_NO_THROW(
        zel_archive_file_reader(dir.write("shallow.zel", testing::sealed_image("", shallow))));
    try {
        zel_archive_file_reader reader(dir.write("deep.zel", testing::sealed_image("", deep)));
        ADD_FAILURE() << "a deep table of contents was accepted";
    } catch (const zel_archive_exception& e) {
        EXPECT_EQ(e.message(),
                  "zel_archive exception: table of contents nests elements deeper "
                  "than 64 levels");
    }
}

}  // namespace
}  // namespace vorn::zela
