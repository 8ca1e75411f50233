#include "zel/archive/system/output_file.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::system {
namespace {

using vorn::testing::scratch_directory;

// What a killed writer leaves is what the finder finds: the name open()
// chose, and no other file of the directory.
TEST(OutputFileTest, TemporaryOfAnUnfinishedReplacementIsFoundBesideItsTarget) {
    const scratch_directory dir;
    const auto target = dir.write("scene.zel", "old");
    dir.write("scene.zel.tmp", "");
    dir.write("other.zel.0123456789ab.tmp", "");
    EXPECT_TRUE(temporaries_of(target).empty());

    output_file writing;
    ASSERT_TRUE(writing.open(target, output_file::open_mode::replace));
    const std::vector<std::filesystem::path> found = temporaries_of(target);
    ASSERT_EQ(found.size(), 1u);
    EXPECT_EQ(found[0].parent_path(), dir.path());
    EXPECT_TRUE(is_temporary_name("scene.zel", found[0].filename().string())) << found[0];

    writing.abandon();
    EXPECT_TRUE(temporaries_of(target).empty());
}

TEST(OutputFileTest, TemporaryNameIsTheTargetsDotTwelveHexadecimalDigitsAndTmp) {
    const struct {
        const char* target;
        const char* file;
        bool temporary;
    } cases[] = {
        {"scene.zel", "scene.zel.0123456789ab.tmp", true},
        {"scene.zel", "scene.zel.ffffffffffff.tmp", true},
        {"scene", "scene.000000000000.tmp", true},
        {"scene.zel", "scene.zel.0123456789AB.tmp", false},   // the writer's digits are lower case
        {"scene.zel", "scene.zel.0123456789a.tmp", false},    // eleven digits
        {"scene.zel", "scene.zel.0123456789abc.tmp", false},  // thirteen
        {"scene.zel", "scene.zel.0123456789ag.tmp", false},
        {"scene.zel", "scene.zel-0123456789ab.tmp", false},
        {"scene.zel", "scene.zel.0123456789ab.tmx", false},
        {"scene.zel", "scenX.zel.0123456789ab.tmp", false},
        {"scene.zel", "xscene.zel.0123456789a.tmp", false},  // as long, another target
        {"scene.zel", "scene.zel", false},
        {"scene.zel", "", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(is_temporary_name(c.target, c.file), c.temporary) << c.target << " " << c.file;
    }
}

// A target that is a symbolic link is replaced where it points, so that is
// where its temporaries lie; a target in the working directory is listed
// with a relative name.
TEST(OutputFileTest, TemporariesOfALinkAreBesideTheFileItPointsTo) {
    const scratch_directory dir;
    std::filesystem::create_directory(dir.path() / "real");
    const auto file = dir.write("real/scene.zel", "old");
    const auto link = dir.path() / "scene.zel";
    std::filesystem::create_symlink(file, link);
    const auto stray = dir.write("real/scene.zel.00000000000a.tmp", "");
    dir.write("scene.zel.00000000000b.tmp", "");
    dir.write("real/scene.zel.00000000000c.tmp", "");
    EXPECT_EQ(temporaries_of(link), (std::vector<std::filesystem::path>{
                                        stray, dir.path() / "real/scene.zel.00000000000c.tmp"}));

    const auto working = std::filesystem::current_path();
    std::filesystem::current_path(dir.path() / "real");
    const std::vector<std::filesystem::path> relative = temporaries_of("scene.zel");
    std::filesystem::current_path(working);
    EXPECT_EQ(relative, (std::vector<std::filesystem::path>{"scene.zel.00000000000a.tmp",
                                                            "scene.zel.00000000000c.tmp"}));
}

}  // namespace
}  // namespace vorn::system
