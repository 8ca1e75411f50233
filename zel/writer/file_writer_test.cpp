#include "zel/writer/file_writer.hpp"

#include <gtest/gtest.h>
#include <sys/resource.h>

#include <algorithm>
#include <csignal>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/names.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scene_example_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

std::string zel_message(const std::string& message) {
    return zel_exception(message).what();
}

class FileWriterTest : public ::testing::Test {
  protected:
    std::filesystem::path package() const { return scratch_.path() / "scene.zel"; }

    std::shared_ptr<zela::zel_archive_file_reader> reopen() const {
        return std::make_shared<zela::zel_archive_file_reader>(package());
    }

    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        reopen()->list_entries(names);
        std::sort(names.begin(), names.end());
        return names;
    }

    std::string scene_entry() const {
        const auto entry = reopen()->get_entry("__zel_index__.xml");
        return std::string(entry->data(), entry->size());
    }

    testing::scratch_directory scratch_;
};

TEST_F(FileWriterTest, ExamplePackageHoldsTheDocumentWithItsNul) {
    for (const bool atomize : {true, false}) {
        {
            zel_file_writer writer(package(), false, atomize);
            zel_block& plate = writer.add_block("material", "plate");
            writer.add_block("light", "lamp");
            testing::fill_example_plate(plate);
        }
        const std::string expected =
            atomize ? testing::example_atomized_document() : testing::example_plain_document();
        EXPECT_EQ(scene_entry(), expected + std::string(1, '\0'));
        EXPECT_EQ(scene_entry().size(), atomize ? 672u : expected.size() + 1);
        EXPECT_NE(reopen()->get_raw_entry("__zel_index__.xml")->pending_size(), 0u);
    }
}

TEST_F(FileWriterTest, BlockArgumentsAreCheckedInOrder) {
    zel_file_writer writer(package(), false, true);
    writer.add_block("t", "a");
    struct row {
        std::string type;
        std::string name;
        std::string thrown;
    };
    const row rows[] = {
        {"", "", "\"name\" of block must not be empty"},
        {"", "b", "block type must not be empty"},
        {"a b", "b", "\"a b\" isn't a valid xml/zel name (no spaces allowed)"},
        {"other", "a", zel_message("Block named a already exists in add_block()")},
    };
    for (const row& r : rows) {
        EXPECT_EQ(what_of([&] { writer.add_block(r.type, r.name); }), r.thrown);
    }
    EXPECT_THROW(writer.add_metadata_block("", "b"), std::invalid_argument);
    // A block name may hold anything, blanks included.
    zel_block& spaced = writer.add_metadata_block("t", "a b");
    EXPECT_EQ(spaced.owner_writer(), &writer);
    EXPECT_TRUE(writer.exists_block("a"));
    EXPECT_FALSE(writer.exists_metadata_block("a"));
    EXPECT_TRUE(writer.exists_metadata_block("a b"));
    EXPECT_FALSE(writer.exists_block("a b"));
}

// A copy in another index reaches the writer while it lives: it stores
// binaries in the writer's package and records the libraries it links to.
// Once the writer is gone, the copy is an in-memory block.
TEST_F(FileWriterTest, CopiedBlockReachesItsWriterOnlyWhileTheWriterLives) {
    zel_file_index other;
    zel_block* copy = nullptr;
    {
        zel_file_writer writer(package(), false, true);
        writer.set_validation_mode(validate_library_links);
        zel_block& plate = writer.add_block("material", "plate");
        std::string name = "plate";
        copy = other.add_block_copy(name, plate);
        EXPECT_EQ(copy->owner_writer(), &writer);
        EXPECT_EQ(copy->validation_flags(), validate_library_links);
        copy->add_binary_link_with_data("texture", "wood.bin", "grain", 5);
        EXPECT_THROW(copy->add_link("base", "stone", "StoneLibrary"), zel_exception);
    }
    EXPECT_EQ(entries(), (std::vector<std::string>{"__zel_index__.xml", "wood.bin"}));
    EXPECT_NE(scene_entry().find("StoneLibrary"), std::string::npos);

    EXPECT_EQ(copy->owner_writer(), nullptr);
    EXPECT_EQ(what_of([&] { copy->add_binary_link_with_data("more", "more.bin", "bytes", 5); }),
              zel_message("Cannot add a new binary to an in-memory zel scene"));
    copy->add_link("base", "stone", "StoneLibrary");
    EXPECT_EQ(copy->parameter_count(), 3u);
}

TEST_F(FileWriterTest, EqualBytesAreStoredOnceUnlessDuplicatesAreAllowed) {
    const std::string bytes = testing::numbered_bytes(1000);
    for (const bool allow : {false, true}) {
        {
            zel_file_writer writer(package(), allow, true);
            EXPECT_EQ(writer.add_binary_data("first.bin", bytes.data(), bytes.size()), "first.bin");
            EXPECT_EQ(writer.add_binary_data("second.bin", bytes.data(), bytes.size()),
                      allow ? "second.bin" : "first.bin");
            if (!allow) {
                // The same hint with the same bytes is no error then.
                EXPECT_EQ(writer.add_binary_data("first.bin", bytes.data(), bytes.size()),
                          "first.bin");
            }
            // Other bytes under a taken name are, whatever allowDup says.
            EXPECT_EQ(what_of([&] { writer.add_binary_data("first.bin", "other", 5); }),
                      testing::archive_message(
                          "Can't add entry with name \"first.bin\": entry already exists"));
        }
        const std::vector<std::string> expected =
            allow ? std::vector<std::string>{"__zel_index__.xml", "first.bin", "second.bin"}
                  : std::vector<std::string>{"__zel_index__.xml", "first.bin"};
        EXPECT_EQ(entries(), expected);
    }
}

TEST_F(FileWriterTest, ExtensionDecidesCompression) {
    const std::string bytes(4000, 'z');
    {
        zel_file_writer writer(package(), true, true);
        writer.add_uncompressed_extension(".gz");
        writer.add_uncompressed_extension("png");
        for (const char* hint : {"a.tar.gz", "gz", "b.GZ", "c.png", "d.gz.txt"}) {
            writer.add_binary_data(hint, bytes.data(), bytes.size());
        }
    }
    const auto reader = reopen();
    struct row {
        const char* hint;
        bool compressed;
    };
    for (const row r : {row{"a.tar.gz", false}, row{"gz", true}, row{"b.GZ", true},
                        row{"c.png", true}, row{"d.gz.txt", true}}) {
        EXPECT_EQ(reader->get_raw_entry(r.hint)->pending_size() != 0, r.compressed) << r.hint;
        EXPECT_EQ(reader->get_entry(r.hint)->size(), bytes.size());
    }
}

TEST_F(FileWriterTest, BinaryFromAFileIsLinkedUnderTheNameThatHoldsIt) {
    const auto texture = scratch_.write("wood.png", "grain");
    {
        zel_file_writer writer(package(), false, false);
        zel_block& block = writer.add_block("t", "b");
        block.add_binary_link_with_data("tex", texture, "");
        const atom_table& atoms = writer.file_index().atoms();
        ASSERT_EQ(atoms.size(), 9u);
        EXPECT_EQ(atoms.at(6).view(), "binary");
        EXPECT_EQ(atoms.at(7).view(), "#" + binary_entry_name(texture));
        EXPECT_EQ(atoms.at(8).view(), "tex");
        block.add_binary_link_with_data("again", "copy.png", "grain", 5);
        block.add_binary_link_with_data("named", texture, "given.png");
        const std::string missing =
            what_of([&] { block.add_binary_link_with_data("x", scratch_.path() / "no.png", ""); });
        EXPECT_NE(missing.find("does not exist for archive open"), std::string::npos) << missing;
        EXPECT_EQ(block.parameter_count(), 3u);
    }
    const std::string entry = binary_entry_name(texture);
    const std::string document = scene_entry();
    EXPECT_NE(document.find("<tex type=\"binary\">#" + entry + "</tex>"), std::string::npos);
    EXPECT_NE(document.find("<again type=\"binary\">#" + entry + "</again>"), std::string::npos);
    EXPECT_NE(document.find("<named type=\"binary\">#" + entry + "</named>"), std::string::npos);
}

TEST_F(FileWriterTest, LibraryLinksAreRecordedAndCheckedByTheModeOfTheirBlock) {
    {
        zel_file_writer writer(package(), false, false);
        zel_block& before = writer.add_block("t", "before");
        writer.set_validation_mode(validate_library_links);
        zel_block& after = writer.add_block("t", "after");
        before.add_link("l", "m", "lib");
        EXPECT_EQ(what_of([&] { after.add_link("l", "m", "other"); }),
                  zel_message("contents for library name \"other\" was not found"));
        EXPECT_EQ(
            what_of([&] { after.add_binary_link("b", "x.png", "third"); }),
            zel_validation_exception("contents for library name \"third\" was not found").what());
        EXPECT_THROW(after.add_binary_link("b", "x.png", "third"), zel_validation_exception);
        after.add_link("local", "m", "");
        EXPECT_EQ(after.parameter_count(), 4u);
    }
    const std::string document = scene_entry();
    EXPECT_NE(document.find("\t\t<librefs name=\"external_refs\">\n"
                            "\t\t\t<ref type=\"string\">lib</ref>\n"
                            "\t\t\t<ref type=\"string\">other</ref>\n"
                            "\t\t\t<ref type=\"string\">third</ref>\n"
                            "\t\t</librefs>\n"),
              std::string::npos)
        << document;
}

TEST_F(FileWriterTest, EmptySceneIsAValidPackageWithoutLibraryReferences) {
    { zel_file_writer writer(package(), false, true); }
    EXPECT_EQ(entries(), std::vector<std::string>{"__zel_index__.xml"});
    const zel_file_index index(reopen(), "__zel_index__.xml");
    EXPECT_EQ(index.block_count(), 1u);
    EXPECT_FALSE(index.exists_metadata_block("external_refs"));
    EXPECT_EQ(index.at(0).view(), "name");
    EXPECT_EQ(index.at(1).view(), "unit");
    EXPECT_EQ(index.at(2).view(), "type");
    EXPECT_EQ(index.at(3).view(), "tag");
}

TEST_F(FileWriterTest, HintEqualToTheSceneEntryFailsTheCloseButLeavesAnArchive) {
    std::optional<zel_file_writer> writer(std::in_place, package(), false, true);
    EXPECT_EQ(writer->add_binary_data("__zel_index__.xml", "x", 1), "__zel_index__.xml");
    EXPECT_EQ(what_of([&] { writer->close(); }),
              testing::archive_message(
                  "Can't add entry with name \"__zel_index__.xml\": entry already exists"));
    writer.reset();  // closed already: the destructor does nothing
    EXPECT_EQ(entries(), std::vector<std::string>{"__zel_index__.xml"});
    EXPECT_EQ(scene_entry(), "x");
}

TEST_F(FileWriterTest, SceneEntryNameTakenByEqualBytesFailsTheClose) {
    std::string document;
    {
        zel_file_index index;
        for (const char* word : {"name", "unit", "type", "tag"}) {
            index.intern(std::string_view(word));
        }
        index.write_document(document, true);
    }
    zel_file_writer writer(package(), false, true);
    writer.set_index_entry_name("scene.xml");
    writer.add_binary_data("early", document.c_str(), document.size() + 1);
    EXPECT_EQ(what_of([&] { writer.close(); }),
              zel_message("scene.xml name already used in zel_file_writer!"));
}

TEST_F(FileWriterTest, DestructorRaisesAFailedClose) {
    const auto destroy = [this] {
        zel_file_writer writer(package(), false, true);
        writer.add_binary_data("__zel_index__.xml", "x", 1);
    };
    EXPECT_THROW(destroy(), zela::zel_archive_exception);
}

// Writes beyond a file size limit fail with EFBIG, as on a full disk.
class file_size_limit {
  public:
    explicit file_size_limit(rlim_t bytes) {
        ::getrlimit(RLIMIT_FSIZE, &saved_);
        previous_handler_ = std::signal(SIGXFSZ, SIG_IGN);
        rlimit limited = saved_;
        limited.rlim_cur = bytes;
        ::setrlimit(RLIMIT_FSIZE, &limited);
    }
    file_size_limit(const file_size_limit&) = delete;
    file_size_limit& operator=(const file_size_limit&) = delete;
    ~file_size_limit() {
        ::setrlimit(RLIMIT_FSIZE, &saved_);
        std::signal(SIGXFSZ, previous_handler_);
    }

  private:
    rlimit saved_{};
    void (*previous_handler_)(int) = nullptr;
};

TEST_F(FileWriterTest, BytesThatDoNotReachTheDiskAreAFailedClose) {
    const std::string bytes = testing::numbered_bytes(1 << 20);
    const auto write_past_the_limit = [&] {
        zel_file_writer writer(package(), false, true);
        writer.add_uncompressed_extension(".bin");
        writer.add_binary_data("big.bin", bytes.data(), bytes.size());
        writer.add_block("t", "b");
        writer.close();
    };
    const file_size_limit limit(64 * 1024);
    EXPECT_THROW(write_past_the_limit(), zela::zel_archive_exception);
}

}  // namespace
}  // namespace vorn::zel
