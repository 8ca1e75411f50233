#include "zel/writer/contents_file.hpp"

#include <gtest/gtest.h>
#include <rapidxml/rapidxml.hpp>

#include <algorithm>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/library_test.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

std::string zel_message(const std::string& message) {
    return zel_exception(message).what();
}

const std::string minimal_scene =
    "<zelfile><zel><material name=\"wood\"/></zel><metazel/></zelfile>";

// A plain catalogue with the given blocks and the id text.
std::string catalogue(const std::string& blocks, const std::string& id = "7 9") {
    return "<zelfile><zel>" + blocks +
           "</zel><metazel><packageinfo name=\"original_zel_package\">"
           "<id type=\"integer2\">" +
           id + "</id></packageinfo></metazel></zelfile>";
}

class ContentsFileTest : public ::testing::Test {
  protected:
    std::filesystem::path path(const std::string& name) const { return scratch_.path() / name; }

    testing::scratch_directory scratch_;
};

TEST_F(ContentsFileTest, CatalogueHoldsEveryEntryOfTheLibrary) {
    const std::filesystem::path library = path("lib.zel");
    const std::string twice = testing::numbered_bytes(700);
    {
        zel_file_writer writer(library, true, true);
        writer.add_uncompressed_extension(".png");
        zel_block& wood = writer.add_block("material", "wood");
        wood.add_binary_link_with_data("a", "a.bin", twice.data(), twice.size());
        wood.add_binary_link_with_data("b", "b.bin", twice.data(), twice.size());
        wood.add_binary_link_with_data("t", "t.png", "raw", 3);
        wood.add_link("elsewhere", "oak", "trees");
    }
    create_contents_file(path("lib.zelc"), library);
    const zela::zel_archive_file_reader source(library);
    const zel_contents_file contents(path("lib.zelc"));

    std::vector<std::string> entries;
    source.list_entries(entries);
    ASSERT_EQ(entries.size(), 4u);  // the scene entry is one of them
    EXPECT_EQ(contents.binary_count(), entries.size());
    for (const std::string& name : entries) {
        EXPECT_EQ(contents.identity_of(name), source.get_entry_key(name)) << name;
        const zel_block* record = contents.get_binary_record(name);
        for (const char* parameter : {"off", "csize", "dsize", "hash"}) {
            EXPECT_NE(record->find_parameter(parameter), zel_block::no_parameter) << parameter;
        }
    }
    // Two entries with the same bytes: two names, one identity, and the
    // first of them in the catalogue answers.
    EXPECT_EQ(contents.identity_of("a.bin"), contents.identity_of("b.bin"));
    const std::vector<intrusive_string> names = contents.binary_names();
    const auto first = std::find_if(names.begin(), names.end(), [](intrusive_string n) {
        return n.view() == "a.bin" || n.view() == "b.bin";
    });
    EXPECT_EQ(contents.name_of(contents.identity_of("a.bin")), *first);
    EXPECT_EQ(contents.identity_of("nothing"), binary_identity{});
    EXPECT_TRUE(contents.name_of(binary_identity{1, 2}).empty());

    EXPECT_EQ(contents.get_package_id(), source.get_package_id());
    EXPECT_EQ(contents.get_block("wood")->type().view(), "material");
    EXPECT_EQ(contents.blocks_of_type("material").size(), 1u);
    EXPECT_EQ(what_of([&] { contents.get_block("oak"); }),
              zel_message("Block named oak was not found"));
    ASSERT_EQ(contents.external_references().size(), 1u);
    EXPECT_EQ(contents.external_references()[0].view(), "trees");

    // The scene is the library's, byte for byte, NUL included.
    const zela::zel_archive_file_reader copy(path("lib.zelc"));
    const auto original = source.get_entry("__zel_index__.xml");
    const auto copied = copy.get_entry("__zel_index__.xml");
    EXPECT_EQ(std::string(copied->data(), copied->size()),
              std::string(original->data(), original->size()));
    // The attributes go hash, then size; the id is an array of two.
    std::string document;
    append_package_document(path("lib.zelc"), document, false, "__zel_binaries__.xml");
    const binary_identity t = source.get_entry_key("t.png");
    EXPECT_NE(document.find("<binary name=\"t.png\" hash=\"" + std::to_string(t.hash) +
                            "\" size=\"" + std::to_string(t.size) + "\">"),
              std::string::npos)
        << document;
    const package_id id = source.get_package_id();
    EXPECT_NE(document.find("<id type=\"integer2\">" + std::to_string(id.toc_hash) + " " +
                            std::to_string(id.toc_end) + "</id>"),
              std::string::npos);
}

TEST_F(ContentsFileTest, DamagedFilesRaiseClearErrors) {
    const std::string good = "<binary name=\"a\" hash=\"5\" size=\"6\"/>";
    struct row {
        const char* label;
        std::string catalogue;
        std::string thrown;  // the message without its prefix
    };
    const std::string file = path("bad.zelc").string();
    const std::string block = "File " + file + ": binary block a";
    const row rows[] = {
        {"one attribute", catalogue("<binary name=\"a\" hash=\"5\"/>"),
         block + " lacks its attributes \"hash\" and \"size\""},
        {"no attribute", catalogue("<binary name=\"a\"/>"),
         block + " lacks its attributes \"hash\" and \"size\""},
        {"hash with letters", catalogue("<binary name=\"a\" hash=\"12x\" size=\"6\"/>"),
         block + " has a hash or size that is no number: 12x"},
        {"negative size", catalogue("<binary name=\"a\" hash=\"5\" size=\"-1\"/>"),
         block + " has a hash or size that is no number: -1"},
        {"size beyond 64 bits",
         catalogue("<binary name=\"a\" hash=\"5\" size=\"18446744073709551616\"/>"),
         block + " has a hash or size that is no number: 18446744073709551616"},
        {"empty hash", catalogue("<binary name=\"a\" hash=\"\" size=\"6\"/>"),
         block + " has a hash or size that is no number: "},
        {"id of one number", catalogue(good, "7"),
         "File " + file + ": \"id\" of original_zel_package does not hold two numbers"},
        {"id of words", catalogue(good, "seven nine"),
         "File " + file + ": \"id\" of original_zel_package does not hold two numbers"},
        {"no id",
         "<zelfile><zel/><metazel><packageinfo name=\"original_zel_package\"/></metazel>"
         "</zelfile>",
         "File " + file + ": \"id\" of original_zel_package does not hold two numbers"},
        {"no package info", "<zelfile><zel>" + good + "</zel><metazel/></zelfile>",
         "Metadata Block named original_zel_package was not found"},
    };
    for (const row& r : rows) {
        testing::write_contents_archive(file, minimal_scene, r.catalogue);
        EXPECT_EQ(what_of([&] { zel_contents_file contents(file); }), zel_message(r.thrown))
            << r.label;
    }
}

TEST_F(ContentsFileTest, FilesOfTheWrongKindAreRefused) {
    const std::filesystem::path package = path("plain.zel");
    { zel_file_writer writer(package, false, true); }
    EXPECT_EQ(what_of([&] { zel_contents_file contents(package); }),
              zel_message("File " + package.string() + " is not a contents file!"));
    {
        zela::zel_archive_file_appender<parallel::mutex_traits_no_op> archive(package, true);
        const std::string text = catalogue("");
        archive.add_entry("__zel_binaries__.xml", text.data(), text.size(), true, false);
    }
    EXPECT_EQ(what_of([&] { zel_contents_file contents(package); }),
              zel_message("File " + package.string() + " is not a contents file!"));
    const std::filesystem::path missing = path("missing.zelc");
    EXPECT_EQ(what_of([&] { zel_contents_file contents(missing); }),
              testing::archive_message("zel file " + missing.string() +
                                       " not found on local filesystem"));
}

TEST_F(ContentsFileTest, ValidCatalogueReadsByPosition) {
    const std::filesystem::path file = path("made.zelc");
    testing::write_contents_archive(
        file, minimal_scene,
        catalogue("<binary name=\"a\" hash=\"5\" size=\"6\"/>"
                  "<binary name=\"swapped\" size=\"8\" hash=\"9\"/>"
                  "<binary name=\"nothing\" hash=\"0\" size=\"0\"/>"
                  "<binary name=\"extra\" hash=\"1\" size=\"2\" note=\"x\"/>"
                  "<material name=\"not a binary\" hash=\"3\" size=\"4\"/>",
                  "7 9 11"));
    const zel_contents_file contents(file);
    EXPECT_EQ(contents.identity_of("a"), (binary_identity{5, 6}));
    // The reader goes by position: the names of the attributes are not read.
    EXPECT_EQ(contents.identity_of("swapped"), (binary_identity{8, 9}));
    // (0, 0) means "absent", so such a block is known by no name.
    EXPECT_EQ(contents.identity_of("nothing"), binary_identity{});
    EXPECT_EQ(contents.identity_of("extra"), (binary_identity{1, 2}));
    EXPECT_EQ(contents.identity_of("not a binary"), binary_identity{});
    EXPECT_EQ(contents.name_of({5, 6}).view(), "a");
    EXPECT_EQ(contents.binary_count(), 3u);
    EXPECT_EQ(contents.binary_names().size(), 4u);
    EXPECT_EQ(contents.get_package_id(), (package_id{7, 9}));
    EXPECT_TRUE(contents.external_references().empty());
    EXPECT_TRUE(contents.has_block("wood"));
}

TEST_F(ContentsFileTest, EmptyCatalogueKnowsNothing) {
    const std::filesystem::path file = path("empty.zelc");
    testing::write_contents_archive(file, minimal_scene, catalogue(""));
    const zel_contents_file contents(file);
    EXPECT_EQ(contents.binary_count(), 0u);
    EXPECT_EQ(contents.identity_of(""), binary_identity{});
    EXPECT_EQ(contents.identity_of("a"), binary_identity{});
    EXPECT_TRUE(contents.name_of({5, 6}).empty());
}

// Every byte of a real catalogue, atomized as a writer makes it, replaced in
// turn: the file opens, or raises one of the errors of reading, and never
// does anything else. The catalogue is stored as it is, so the damage lies
// in its text, which no hash protects.
TEST_F(ContentsFileTest, DamageAnywhereInTheCatalogueIsReportedOrHarmless) {
    testing::write_library(path("lib.zel"));
    create_contents_file(path("lib.zelc"), path("lib.zel"));
    const auto entry =
        zela::zel_archive_file_reader(path("lib.zelc")).get_entry("__zel_binaries__.xml");
    const std::filesystem::path file = path("damaged.zelc");
    testing::write_contents_archive(file, minimal_scene, std::string(entry->data(), entry->size()),
                                    false);
    const std::string image = testing::read_file(file);
    const zela::zel_archive_file_reader pristine(file);
    const auto* record = pristine.get_entry_record("__zel_binaries__.xml");
    ASSERT_NE(record, nullptr);
    // One byte is changed in place: rewriting the whole file each time would
    // make the file system flush it.
    std::fstream bytes(file, std::ios::in | std::ios::out | std::ios::binary);
    const auto put = [&bytes](std::uint64_t at, char byte) {
        bytes.seekp(static_cast<std::streamoff>(at));
        bytes.put(byte);
        bytes.flush();
    };
    std::size_t opened = 0;
    for (std::uint64_t at = record->off; at < record->off + record->csize; ++at) {
        for (const char replacement : {'\0', '<', '"', '9', 'x'}) {
            put(at, replacement);
            try {
                const zel_contents_file contents(file);
                ++opened;
            } catch (const vorn_exception&) {
            } catch (const rapidxml::parse_error&) {
            }
        }
        put(at, image[at]);
    }
    // Most bytes are text whose change does the format no harm; the rest
    // raise.
    EXPECT_GT(opened, record->csize);
    EXPECT_LT(opened, 5 * record->csize);
}

}  // namespace
}  // namespace vorn::zel
