// Registration of libraries with a writer, the checks of links into them and
// the look-up of bytes that they hold.
#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/testing/library_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/binary_identity_of.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

std::string zel_message(const std::string& message) {
    return zel_exception(message).what();
}

std::string validation_message(const std::string& message) {
    return zel_validation_exception(message).what();
}

class LibraryRegistrationTest : public ::testing::Test {
  protected:
    LibraryRegistrationTest()
        : library_(testing::make_library(scratch_.path(), "lib")),
          other_(testing::make_library(scratch_.path(), "other", "-other")) {}

    std::filesystem::path path(const std::string& name) const { return scratch_.path() / name; }

    std::vector<std::string> external_refs(const std::filesystem::path& package) const {
        const zel_file_index index(std::make_shared<zela::zel_archive_file_reader>(package),
                                   "__zel_index__.xml");
        std::vector<std::string> refs;
        for (const auto& p : index.get_metadata_block("external_refs")->parameters()) {
            refs.push_back(p.value.value().str());
        }
        return refs;
    }

    testing::scratch_directory scratch_;
    std::filesystem::path library_;
    std::filesystem::path other_;
};

TEST_F(LibraryRegistrationTest, AnAliasIsRegisteredOnce) {
    const std::filesystem::path moved = path("moved.zelc");
    std::filesystem::copy_file(library_, moved);
    const std::filesystem::path again = path("again.zelc");
    create_contents_file(again, path("lib.zel"));

    zel_file_writer writer(path("out.zel"), false, true);
    writer.register_library_contents(library_, "lib");
    writer.register_library_contents(library_, "second name");
    const std::string same = zel_message("re-registered exactly the same alias contents_file: lib");
    struct row {
        std::filesystem::path file;
        std::string alias;
        std::string thrown;
    };
    const row rows[] = {
        {library_, "lib", same},
        {moved, "lib", same},
        // A second contents file of the same package has the same id.
        {again, "lib", same},
        {other_, "lib",
         zel_message("Tried to register contents with alias lib with different "
                     "contents")},
        {library_, "", zel_message("a library alias must not be empty")},
        {path("none.zelc"), "lib",
         testing::archive_message("zel file " + path("none.zelc").string() +
                                  " not found on local filesystem")},
    };
    for (const row& r : rows) {
        EXPECT_EQ(what_of([&] { writer.register_library_contents(r.file, r.alias); }), r.thrown)
            << r.file;
    }
    // The first registration stands.
    EXPECT_EQ(what_of([&] { writer.check_library_binary("lib", "mesh.bin"); }), "nothing thrown");
    const auto& steel = writer.check_library_block("lib", "steel");
    EXPECT_EQ(steel.parameter_at(steel.find_parameter("tag")).value.value().view(), "");
}

TEST_F(LibraryRegistrationTest, ChecksTellTheirFailuresByTypeAndWords) {
    zel_file_writer writer(path("out.zel"), false, true);
    writer.register_library_contents(library_, "lib");
    struct row {
        const char* label;
        std::function<void()> call;
        std::string thrown;
        bool validation;
    };
    const row rows[] = {
        {"binary, unknown alias", [&] { writer.check_library_binary("nope", "mesh.bin"); },
         validation_message("contents for library name \"nope\" was not found"), true},
        {"block, unknown alias", [&] { writer.check_library_block("nope", "wood"); },
         zel_message("contents for library name \"nope\" was not found"), false},
        {"binary, empty alias", [&] { writer.check_library_binary("", "mesh.bin"); },
         validation_message("contents for library name \"\" was not found"), true},
        {"binary, unknown name", [&] { writer.check_library_binary("lib", "wood"); },
         validation_message("contents for library name \"lib\" could not find a binary named "
                            "wood"),
         true},
        {"block, unknown name", [&] { writer.check_library_block("lib", "mesh.bin"); },
         zel_message("contents for library name \"lib\" could not find a block named mesh.bin"),
         false},
    };
    for (const row& r : rows) {
        EXPECT_EQ(what_of(r.call), r.thrown) << r.label;
        try {
            r.call();
        } catch (const zel_exception& e) {
            EXPECT_EQ(dynamic_cast<const zel_validation_exception*>(&e) != nullptr, r.validation)
                << r.label;
        }
    }
    writer.check_library_binary("lib", "tex.png");
    writer.check_library_binary("lib", "__zel_index__.xml");
    EXPECT_EQ(writer.check_library_block("lib", "wood").type().view(), "material");
}

TEST_F(LibraryRegistrationTest, LinksAreRecordedThenCheckedAndStayWhenTheCheckFails) {
    const std::filesystem::path package = path("out.zel");
    {
        zel_file_writer writer(package, false, true);
        writer.register_library_contents(library_, "lib");
        zel_block& unchecked = writer.add_block("t", "unchecked");
        writer.set_validation_mode(validate_library_links);
        zel_block& block = writer.add_block("t", "checked");
        block.add_link("good", "wood", "lib");
        block.add_binary_link("good_binary", "mesh.bin", "lib");
        EXPECT_THROW(block.add_link("bad", "oak", "lib"), zel_exception);
        EXPECT_THROW(block.add_binary_link("bad_binary", "oak.png", "lib"),
                     zel_validation_exception);
        EXPECT_EQ(what_of([&] { block.add_link("ghost", "wood", "ghost"); }),
                  zel_message("contents for library name \"ghost\" was not found"));
        // The links that failed stay in the block.
        EXPECT_EQ(block.parameter_count(), 5u);
        for (const char* name : {"bad", "bad_binary", "ghost"}) {
            EXPECT_NE(block.find_parameter(name), zel_block::no_parameter) << name;
        }
        // A block made before validation was on never checks.
        unchecked.add_link("unknown", "wood", "unregistered");
        unchecked.add_binary_link("missing", "nothing.bin", "lib");
    }
    EXPECT_EQ(external_refs(package), (std::vector<std::string>{"lib", "ghost", "unregistered"}));
}

TEST_F(LibraryRegistrationTest, FoundBytesDependOnTheCompressDecision) {
    const std::string mesh = testing::mesh_bytes();
    const std::string texture = testing::texture_bytes();
    zel_file_writer writer(path("out.zel"), false, true);
    std::string alias = "untouched";
    std::string name = "untouched";
    EXPECT_FALSE(writer.find_data_in_libraries(mesh.data(), mesh.size(), "m.bin", alias, name));
    writer.register_library_contents(library_, "lib");
    EXPECT_FALSE(writer.find_data_in_libraries("new", 3, "m.bin", alias, name));
    EXPECT_EQ(alias + name, "untoucheduntouched");

    EXPECT_TRUE(writer.find_data_in_libraries(mesh.data(), mesh.size(), "m.bin", alias, name));
    EXPECT_EQ(alias + "#" + name, "lib#mesh.bin");
    // The library stored the texture as it is; this writer would deflate it.
    EXPECT_FALSE(
        writer.find_data_in_libraries(texture.data(), texture.size(), "t.png", alias, name));
    writer.add_uncompressed_extension(".png");
    EXPECT_TRUE(
        writer.find_data_in_libraries(texture.data(), texture.size(), "t.png", alias, name));
    EXPECT_EQ(alias + "#" + name, "lib#tex.png");

    // The same through files, judged by their paths.
    const std::filesystem::path file = scratch_.write("copy.png", texture);
    name.clear();
    EXPECT_TRUE(writer.find_binary_in_libraries(file, alias, name));
    EXPECT_EQ(name, "tex.png");
    const std::filesystem::path missing = path("missing.png");
    EXPECT_EQ(
        what_of([&] { writer.find_binary_in_libraries(missing, alias, name); }),
        zel_message("library binary file " + missing.string() + " not found on local filesystem"));

    // A library registered twice answers under one of its aliases.
    writer.register_library_contents(library_, "lib2");
    EXPECT_TRUE(writer.find_data_in_libraries(mesh.data(), mesh.size(), "m.bin", alias, name));
    EXPECT_TRUE(alias == "lib" || alias == "lib2") << alias;
}

TEST_F(LibraryRegistrationTest, IdentitiesAreThoseTheArchiveGives) {
    const zela::zel_archive_file_reader library(path("lib.zel"));
    const std::string mesh = testing::mesh_bytes();
    const std::string texture = testing::texture_bytes();
    EXPECT_EQ(binary_identity_of_data(mesh.data(), mesh.size(), true),
              library.get_entry_key("mesh.bin"));
    EXPECT_EQ(binary_identity_of_data(texture.data(), texture.size(), false),
              library.get_entry_key("tex.png"));
    const std::filesystem::path file = scratch_.write("mesh.bin", mesh);
    EXPECT_EQ(binary_identity_of_file(file, true), library.get_entry_key("mesh.bin"));
    const std::filesystem::path empty = scratch_.write("empty", "");
    EXPECT_EQ(binary_identity_of_file(empty, true), binary_identity_of_data("", 0, true));
    EXPECT_EQ(binary_identity_of_file(empty, false).size, 0u);
    const std::filesystem::path missing = path("missing");
    EXPECT_EQ(what_of([&] { binary_identity_of_file(missing, false); }),
              zel_message("file " + missing.string() + " not found on local filesystem"));
}

TEST_F(LibraryRegistrationTest, BitOneRefusesLibraryBytesButKeepsTheEntry) {
    const std::string mesh = testing::mesh_bytes();
    const std::filesystem::path package = path("out.zel");
    {
        zel_file_writer writer(package, false, true);
        writer.register_library_contents(library_, "lib");
        writer.set_validation_mode(validate_library_binaries);
        EXPECT_EQ(what_of([&] { writer.add_binary_data("copy.bin", mesh.data(), mesh.size()); }),
                  validation_message("added binary data available in alias lib as mesh.bin"));
        EXPECT_EQ(writer.add_binary_data("own.bin", "own", 3), "own.bin");
        // Stored as it is, the bytes are not the library's.
        writer.add_uncompressed_extension(".raw");
        EXPECT_EQ(writer.add_binary_data("copy.raw", mesh.data(), mesh.size()), "copy.raw");
        // Bit 0 alone does not look at bytes.
        writer.set_validation_mode(validate_library_links);
        EXPECT_EQ(writer.add_binary_data("again.bin", mesh.data(), mesh.size()), "copy.bin");
    }
    const zela::zel_archive_file_reader written(package);
    EXPECT_NE(written.get_entry_record("copy.bin"), nullptr);
}

}  // namespace
}  // namespace vorn::zel
