#include "zel/scene/names.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <locale>
#include <stdexcept>
#include <string>

#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

TEST(NamesTest, NameCheckRefusesOnlyEmptyNamesAndSpaces) {
    struct row {
        std::string name;
        std::string thrown;
    };
    const std::string no_spaces = "\" isn't a valid xml/zel name (no spaces allowed)";
    const row rows[] = {
        {"a<b", "nothing thrown"},
        {"1a", "nothing thrown"},
        {"x:y&\"'", "nothing thrown"},
        {"\xC3\xA9t\xC3\xA9", "nothing thrown"},
        {"", "the empty string is not a valid xml/zel name"},
        {"a b", "\"a b" + no_spaces},
        {"a\tb", "\"a\tb" + no_spaces},
        {"ab\n", "\"ab\n" + no_spaces},
        {"\r", "\"\r" + no_spaces},
        {std::string("a\vb\f", 4), "\"a\vb\f" + no_spaces},
    };
    for (const row& r : rows) {
        EXPECT_EQ(what_of([&] { check_xml_name(r.name); }), r.thrown) << r.name;
    }
    EXPECT_THROW(check_xml_name("a b"), std::invalid_argument);
}

TEST(NamesTest, PathTextIsMarkedWhenItIsNoUtf8) {
    EXPECT_EQ(path_to_utf8("dir/\xC3\xA9.png"), "dir/\xC3\xA9.png");
    EXPECT_EQ(path_to_utf8(""), "-> unicode_ERROR");
    EXPECT_EQ(path_to_utf8("a\xFF"), "a\xFF-> unicode_ERROR");
    EXPECT_EQ(path_to_utf8("a\xEF\xBF\xBD"), "a\xEF\xBF\xBD-> unicode_ERROR");
    EXPECT_EQ(path_to_utf8("\xC0\xAF"), "\xC0\xAF-> unicode_ERROR");  // overlong "/"
}

TEST(NamesTest, EntryNameDigestsTheDirectoryInFiveGroups) {
    struct row {
        std::string path;
        std::string entry;
    };
    const row rows[] = {
        {"C:\\models\\textures\\wood.png",
         "binaries/cd241fd6/7f55/81c9/cee8/f811fc90f1b0/wood.png"},
        {"C:/models\\textures/wood.png", "binaries/cd241fd6/7f55/81c9/cee8/f811fc90f1b0/wood.png"},
        {"C:/models/textures/", "binaries/cd241fd6/7f55/81c9/cee8/f811fc90f1b0/"},
        {"wood.png", "wood.png"},
        {"", "-> unicode_ERROR"},
        {"no such dir/my wood.png", "binaries/f3581ea9/d755/a395/6b73/df17667f6305/my wood.png"},
    };
    for (const row& r : rows) {
        EXPECT_EQ(binary_entry_name(r.path), r.entry) << r.path;
    }
}

TEST(NamesTest, EntryNameOfAnExistingRelativePathDigestsItsAbsoluteDirectory) {
    const testing::scratch_directory scratch;
    std::filesystem::create_directory(scratch.path() / "sub");
    scratch.write("sub/wood.png", "grain");
    const std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::current_path(scratch.path());
    const std::string relative = binary_entry_name("sub/wood.png");
    const std::string dotted = binary_entry_name("./sub/../sub/wood.png");
    std::filesystem::current_path(previous);

    const std::string absolute = binary_entry_name(scratch.path() / "sub" / "wood.png");
    EXPECT_EQ(relative, absolute);
    EXPECT_EQ(dotted, absolute);
    EXPECT_EQ(absolute.size(), 45 + std::string("/wood.png").size());
    EXPECT_TRUE(absolute.ends_with("/wood.png"));
}

TEST(NamesTest, LinkValueSplitsAtItsFirstPound) {
    const link_parts local = split_link_value("#lamp");
    EXPECT_EQ(local.location, "");
    EXPECT_EQ(local.target, "lamp");
    EXPECT_TRUE(local.has_separator);
    const link_parts library = split_link_value("lib#a#b");
    EXPECT_EQ(library.location, "lib");
    EXPECT_EQ(library.target, "a#b");
    const link_parts bare = split_link_value("lamp");
    EXPECT_FALSE(bare.has_separator);
    EXPECT_EQ(bare.location, "");
    EXPECT_EQ(bare.target, "lamp");
    EXPECT_EQ(make_link_value("", "b"), "#b");
    EXPECT_EQ(make_link_value("l#x", "b"), "l#x#b");
}

TEST(NamesTest, ModifiedBlockNameHasNoSecondPound) {
    EXPECT_EQ(modified_block_name("wood2", "lib.zel", "wood"),
              "wood2_modified_from_lib.zel(POUND)wood");
}

}  // namespace
}  // namespace vorn::zel
