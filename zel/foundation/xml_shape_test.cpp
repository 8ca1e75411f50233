#include "zel/foundation/xml_shape.hpp"

#include <gtest/gtest.h>

#include <string>

namespace vorn {
namespace {

constexpr std::uint64_t unlimited = ~std::uint64_t{0};

// The least limit of one kind that the text stays within, the others open:
// the most elements open at once, the nodes and the attributes, as the scan
// counts them.
struct shape_counts {
    std::uint64_t depth;
    std::uint64_t elements;
    std::uint64_t attributes;
    bool operator==(const shape_counts&) const = default;
};

std::uint64_t least_limit(const std::string& text, xml_shape refusal,
                          xml_shape_limits (*limits)(std::uint64_t)) {
    std::uint64_t limit = 0;
    while (xml_shape_of(text.c_str(), limits(limit)) == refusal) {
        ++limit;
    }
    return limit;
}

shape_counts shape_of(const std::string& text) {
    return {least_limit(text, xml_shape::too_deep,
                        [](std::uint64_t n) {
                            return xml_shape_limits{n, unlimited, unlimited};
                        }),
            least_limit(text, xml_shape::too_many_elements,
                        [](std::uint64_t n) {
                            return xml_shape_limits{unlimited, n, unlimited};
                        }),
            least_limit(text, xml_shape::too_many_attributes, [](std::uint64_t n) {
                return xml_shape_limits{unlimited, unlimited, n};
            })};
}

// Markup that the parser skips opens and makes nothing, whatever "<" or "/>"
// it holds; what the parser does make is counted up to where it is no longer
// well formed. Runs of text make a node unless they are only white space.
TEST(XmlShapeTest, CountsWhatTheParserOpensAndMakes) {
    struct row {
        const char* what;
        std::string text;
        shape_counts counts;  // depth, elements, attributes
    };
    const row rows[] = {
        {"nested", "<a><b><c/></b><d></d></a>", {2, 4, 0}},
        {"several roots", "<a></a><b><c></c></b>", {2, 3, 0}},
        {"text and entities", "<a>&lt;b&gt; x < y<b/></a>", {1, 2, 0}},
        {"white space makes nothing", "<a> \t\n <b/>\n </a>", {1, 2, 0}},
        {"text between elements", "<a>x<b/> y <b/>z</a>", {1, 6, 0}},
        {"attribute values", "<a x=\"<b><c>\" y='/>' z = \"'\"><d></d></a>", {2, 2, 3}},
        {"a quote of the other kind", "<a x='\"><b>'><c></c></a>", {2, 2, 1}},
        {"comment", "<a><!-- <b><c> --></a>", {1, 1, 0}},
        {"comment that is no comment", "<a><!- <b> ><c></c></a>", {2, 3, 0}},
        {"CDATA", "<a><![CDATA[<b><c>]]></a>", {1, 2, 0}},
        {"declaration and instruction", "<?xml version=\"1.0\"?><a><?pi <b><c> ?></a>", {1, 1, 0}},
        {"doctype with brackets", "<!DOCTYPE x [ <b> [<c>] ]><a><d></d></a>", {2, 2, 0}},
        {"other markup declaration", "<!ELEMENT <b> ><a/>", {0, 0, 0}},
        {"closing names are not compared", "<a><b></zzz ><c></c></a>", {2, 3, 0}},
        {"byte order mark", "\xEF\xBB\xBF<a><b><c>", {3, 3, 0}},
        {"unterminated", "<a><b><c><d", {3, 3, 0}},
        {"no element name", "<a>< b><c>", {1, 1, 0}},
        {"malformed attribute", "<a x=y><b><c>", {0, 0, 1}},
        {"text before the first element", "x<a><b>", {0, 0, 0}},
        {"many attributes", "<a p='1' q='2'><b r=\"3\"/></a>", {1, 2, 3}},
        {"empty", "", {0, 0, 0}},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        EXPECT_EQ(shape_of(r.text), r.counts);
    }
}

}  // namespace
}  // namespace vorn
