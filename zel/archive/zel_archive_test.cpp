#include "zel/archive/zel_archive.hpp"

#include <gtest/gtest.h>

#include <string>

#include "zel/archive/archive_image_test.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/foundation/hash.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

using testing::archive_message;

using testing::archive_image;

constexpr const char* declaration = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";

std::string entry_xml(const std::string& name, const std::string& fields) {
    return "<zelentry name=\"" + name + "\">" + fields + "</zelentry>";
}

std::string fields_xml(const std::string& off, const std::string& csize = "1",
                       const std::string& dsize = "0", const std::string& hash = "7") {
    return "<off type=\"integer\">" + off + "</off><csize type=\"integer\">" + csize +
           "</csize><dsize type=\"integer\">" + dsize + "</dsize><hash type=\"integer\">" + hash +
           "</hash>";
}

std::string index_xml(const std::string& entries) {
    return std::string(declaration) + "<zelindex version=\"0 1\">" + entries + "</zelindex>\n";
}

// An archive whose table of contents is the given text, placed at 48, with
// the header made consistent and then changed by adjust.
std::filesystem::path craft(
    const testing::scratch_directory& dir, const std::string& text,
    const std::function<void(zel_archive_header&, std::string&)>& adjust = [](zel_archive_header&,
                                                                              std::string&) {}) {
    std::string stored = testing::deflated(text);
    zel_archive_header header;
    header.stamp();
    header.toc_offset = 48;
    header.toc_csize = stored.size();
    header.toc_dsize = text.size() + 1;
    header.toc_hash = hash_bytes(stored.data(), stored.size());
    adjust(header, stored);
    std::string bytes(48, '\0');
    header.encode(bytes.data());
    return dir.write("crafted.zel", bytes + stored);
}

std::string refusal(const std::filesystem::path& path) {
    try {
        archive_image image(path);
    } catch (const vorn_exception& e) {
        return e.what();
    }
    return "accepted";
}

TEST(ZelArchiveTest, EveryDamageOfHeaderAndIndexHasItsMessage) {
    const std::string good = index_xml(entry_xml("a", fields_xml("48")));
    struct row {
        const char* what;
        std::string text;
        std::function<void(zel_archive_header&, std::string&)> adjust;
        std::string message;  // without the archive prefix
    };
    const auto keep = [](zel_archive_header&, std::string&) {};
    const row rows[] = {
        {"magic", good, [](zel_archive_header& h, std::string&) { h.magic[3] = '?'; },
         "magic value incompatible... not a zel archive"},
        {"major version", good, [](zel_archive_header& h, std::string&) { h.version_major = 3; },
         "zel archive version 0 cannot read an archived file of version 3"},
        {"offset in header", good, [](zel_archive_header& h, std::string&) { h.toc_offset = 7; },
         "table of contents offset falls inside of header"},
        {"hash", good, [](zel_archive_header&, std::string& s) { s[5] ^= 0x20; },
         "Hash value for the archive table of contents does not match"},
        {"parse", index_xml("<zelentry name=a></zelentry>"), keep,
         "Index parse error: expected ' or \" at: a></zelentry></zelindex>\n"},
        {"duplicate",
         index_xml(entry_xml("a", fields_xml("48")) + entry_xml("a", fields_xml("64"))), keep,
         "a is a duplicate entry"},
        {"no index", std::string(declaration) + "<other/>\n", keep,
         "table of contents has no zelindex element"},
        {"no name", index_xml("<zelentry>" + fields_xml("48") + "</zelentry>"), keep,
         "zelentry without a name"},
        {"empty name", index_xml(entry_xml("", fields_xml("48"))), keep, "zelentry without a name"},
        {"no csize",
         index_xml(entry_xml("a",
                             "<off type=\"integer\">48</off><dsize type=\"integer\">0</dsize>"
                             "<hash type=\"integer\">1</hash>")),
         keep, "zelentry \"a\" lacks its element csize"},
        {"element without type", index_xml(entry_xml("a", fields_xml("48") + "<p>1</p>")), keep,
         "zelentry \"a\" has an element without a type: p"},
    };
    for (const row& r : rows) {
        SCOPED_TRACE(r.what);
        const testing::scratch_directory dir;
        EXPECT_EQ(refusal(craft(dir, r.text, r.adjust)), archive_message(r.message));
    }
}

TEST(ZelArchiveTest, DamagedIndexStreamRaisesTheInflateError) {
    const testing::scratch_directory dir;
    const auto path = craft(dir, index_xml(""), [](zel_archive_header& h, std::string& s) {
        s[s.size() - 1] ^= 1;  // the Adler-32 trailer
        h.toc_hash = hash_bytes(s.data(), s.size());
    });
    EXPECT_EQ(refusal(path), "unknown zlib stream error during inflate");
}

TEST(ZelArchiveTest, LaxFieldsDoNotStopReading) {
    const std::string text = index_xml(
        "<unrelated/>" + entry_xml("a", fields_xml(" 64 ", "12abc", "x", "18446744073709551615") +
                                            "<p type=\"string\" unit=\"u\">v</p>"));
    const testing::scratch_directory dir;
    const archive_image image(craft(dir, text));
    const auto& e = image.record("a");
    EXPECT_EQ(e.off, 64u);
    EXPECT_EQ(e.csize, 12u);
    EXPECT_EQ(e.dsize, 0u);
    EXPECT_EQ(e.hash, 18446744073709551615u);
    ASSERT_NE(e.params, nullptr);
    std::vector<std::string> names;
    for (const auto& item : *e.params) {
        names.push_back(item.name);
    }
    EXPECT_EQ(names, (std::vector<std::string>{"off", "csize", "dsize", "hash", "p"}));
    const generic_param* p = e.params->find("p");
    ASSERT_NE(p, nullptr);
    EXPECT_EQ(p->value, "v");
    EXPECT_EQ(p->type, "string");
    EXPECT_EQ(p->unit, "u");
    EXPECT_EQ(p->tag, "");
}

// The header test alone lets offsets 8 to 47 pass; 8 is the first.
TEST(ZelArchiveTest, HeaderTestAcceptsOffsetsFromEight) {
    struct header_reader : zel_archive<parallel::mutex_traits_no_op> {
        using zel_archive::read_header;
    };
    for (const std::uint64_t offset : {std::uint64_t{8}, std::uint64_t{47}}) {
        zel_archive_header h;
        h.stamp();
        h.version_minor = 9;
        h.toc_offset = offset;
        char bytes[48];
        h.encode(bytes);
        header_reader reader;
        EXPECT_NO_THROW(reader.read_header(bytes));
    }
}

}  // namespace
}  // namespace vorn::zela
