#include "zel/facade/zel_file.hpp"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/host_test.hpp"
#include "zel/testing/http_server_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace Tessaly::Corvane::DB::ZEL {
namespace {

using vorn::testing::host_failure_of;
using vorn::testing::parameters_of;
using vorn::testing::read_scene;

class ZELFileTest : public ::testing::Test {
  protected:
    std::filesystem::path package() const { return scratch_.path() / "scene.zel"; }
    System::String text_of(const std::filesystem::path& path) const {
        return System::String(path.u16string());
    }
    std::vector<std::string> entries() const {
        std::vector<std::string> names;
        vorn::zela::zel_archive_file_reader(package()).list_entries(names);
        std::sort(names.begin(), names.end());
        return names;
    }

    vorn::testing::scratch_directory scratch_;
    const char bytes_[4] = {'z', 'e', 'l', '!'};
};

TEST_F(ZELFileTest, FirstFailingCheckWinsAndNothingHappens) {
    ZELFile file(text_of(package()), false, true);
    file.AddBlock(u"material", u"plate");
    const System::String null;
    System::String message(u"untouched");
    const System::BoxedIntPtr absent;
    const System::BoxedIntPtr null_box(nullptr);
    const System::BoxedIntPtr bytes(bytes_);
    struct row {
        std::function<void()> call;
        std::string thrown;
    };
    const std::string null_argument = "System.ArgumentNullException: ";
    const std::string size = "System.ArgumentException: size should be above zero.";
    const row rows[] = {
        {[&] { ZELFile(null, false, true); }, null_argument + "Input null zel file location path."},
        {[&] { ZELFile::Create(u"", null, message); },
         null_argument + "Input null zel file location path."},
        {[&] { ZELFile::Create(text_of(scratch_.path() / "b.zel"), u"", message); },
         null_argument + "Input null content location path."},
        {[&] { file.AddBlock(null, null); }, null_argument + "typeTag is empty or null."},
        {[&] { file.AddBlock(u"light", u""); }, null_argument + "blockName is empty or null."},
        {[&] { file.BlockExists(u""); }, null_argument + "blockName is empty or null."},
        {[&] { file.AddBinaryData(u"", u""); }, null_argument + "hint is empty or null."},
        {[&] { file.AddBinaryData(u"h", null); }, null_argument + "path is empty or null."},
        {[&] { file.AddBinaryData(null, absent, 0); }, null_argument + "hint is empty or null."},
        {[&] { file.AddBinaryData(u"h", absent, 0); }, null_argument + "data is null."},
        {[&] { file.AddBinaryData(u"h", bytes, 0); }, size},
        {[&] { file.AddBinaryData(u"h", null_box, -7); }, size},
        {[&] { file.AddBinaryData(u"h", null_box, 4); }, null_argument + "data is null."},
        // The writer's own failures pass as they are.
        {[&] { file.AddBlock(u"light", u"plate"); },
         vorn::zel::zel_exception("Block named plate already exists in add_block()").what()},
        {[&] { file.AddBlock(u"a light", u"lamp"); },
         "\"a light\" isn't a valid xml/zel name (no spaces allowed)"},
    };
    for (const row& r : rows) {
        EXPECT_EQ(host_failure_of(r.call), r.thrown);
    }
    EXPECT_EQ(message, System::String(u"untouched"));
    EXPECT_FALSE(std::filesystem::exists(scratch_.path() / "b.zel"));
    file.CloseFile();
    EXPECT_EQ(entries(), std::vector<std::string>{"__zel_index__.xml"});
}

TEST_F(ZELFileTest, CreateWithoutLibrariesLogsTheFailureAndValidatesNothing) {
    const std::u16string location = scratch_.path().u16string() + u"/nowhere/";
    System::String message;
    std::unique_ptr<ZELFile> file = ZELFile::Create(text_of(package()), location, message);
    EXPECT_EQ(message, System::String(u"Loading library.zelc from : " + location + u"\n" +
                                      u"Failed to library.zelc or oblis_library.zelc from : " +
                                      location + u"\n"));
    // Validation is off: a link to a block that no library holds is kept.
    file->AddBlock(u"mesh", u"chair").AddLink(u"material", u"no-such-block", u"FerraneLibrary");
    file->CloseFile();
    EXPECT_EQ(parameters_of(*read_scene(package()), "chair"),
              std::vector<std::string>{"material=FerraneLibrary#no-such-block type:link"});
}

// The log tells each outcome, and validation is on only with both libraries.
TEST_F(ZELFileTest, CreateLogsHowTheLibrariesLoaded) {
    const std::u16string loading_first = u"Loading library.zelc from : ";
    const std::u16string loading_second = u"Loading oblis_library.zelc from : ";
    const std::u16string failed = u"Failed to library.zelc or oblis_library.zelc from : ";
    struct row {
        bool first;
        bool second;
        std::vector<std::u16string> lines;
        bool validates;
    };
    const row rows[] = {
        {false, false, {loading_first, failed}, false},
        {false, true, {loading_first, failed}, false},
        {true, false, {loading_second, failed}, false},
        {true, true, {loading_second}, true},
    };
    int run = 0;
    for (const row& r : rows) {
        const std::filesystem::path content = scratch_.path() / ("content" + std::to_string(run));
        const std::filesystem::path scene = scratch_.path() / ("scene" + std::to_string(run++));
        std::filesystem::create_directory(content);
        if (r.first) {
            vorn::testing::make_library(content / "library.zelc", "material", "oak", "oak.png");
        }
        if (r.second) {
            vorn::testing::make_library(content / "oblis_library.zelc", "mesh", "chair",
                                        "chair.bin");
        }
        const std::u16string location = content.u16string();
        std::u16string expected;
        for (const std::u16string& line : r.lines) {
            expected += line + location + u"\n";
        }
        System::String message;
        std::unique_ptr<ZELFile> file = ZELFile::Create(text_of(scene), location, message);
        EXPECT_EQ(message, System::String(expected));
        ZELBlock chair = file->AddBlock(u"mesh", u"chair");
        // A link to a block the library lacks is refused only while validating.
        EXPECT_EQ(host_failure_of([&] { chair.AddLink(u"base", u"walnut", u"FerraneLibrary"); }),
                  r.validates ? vorn::zel::zel_exception(
                                    "contents for library name \"FerraneLibrary\" could not "
                                    "find a block named walnut")
                                    .what()
                              : "nothing thrown");
        EXPECT_EQ(host_failure_of([&] { chair.AddLink(u"shape", u"chair", u"OblisLibrary"); }),
                  "nothing thrown");
        file->CloseFile();
        // Either way the link stays in the block.
        EXPECT_EQ(parameters_of(*read_scene(scene), "chair"),
                  (std::vector<std::string>{"base=FerraneLibrary#walnut type:link",
                                            "shape=OblisLibrary#chair type:link"}));
    }
}

// Libraries whose contents files lie on a server are loaded from there.
TEST_F(ZELFileTest, CreateLoadsTheLibrariesFromAContentUrl) {
    const std::filesystem::path content = scratch_.path() / "content";
    std::filesystem::create_directory(content);
    vorn::testing::make_library(content / "library.zelc", "material", "oak", "oak.png");
    vorn::testing::make_library(content / "oblis_library.zelc", "mesh", "chair", "chair.bin");
    vorn::testing::http_test_server server;
    for (const char* name : {"library.zelc", "oblis_library.zelc"}) {
        server.put(std::string("/content/") + name, vorn::testing::read_file(content / name),
                   "\"1\"");
    }
    const std::string url = server.url("/content");
    const std::u16string location(url.begin(), url.end());
    System::String message;
    std::unique_ptr<ZELFile> file = ZELFile::Create(text_of(package()), location, message);
    EXPECT_EQ(message, System::String(u"Loading oblis_library.zelc from : " + location + u"\n"));
    ZELBlock chair = file->AddBlock(u"mesh", u"chair");
    EXPECT_EQ(
        host_failure_of([&] { chair.AddLink(u"base", u"walnut", u"FerraneLibrary"); }),
        vorn::zel::zel_exception(
            "contents for library name \"FerraneLibrary\" could not find a block named walnut")
            .what());
    EXPECT_EQ(host_failure_of([&] { chair.AddLink(u"base", u"oak", u"FerraneLibrary"); }),
              "nothing thrown");
    file->CloseFile();
}

TEST_F(ZELFileTest, BlockExistsAsksTheScene) {
    ZELFile file(text_of(package()), false, true);
    file.AddBlock(u"light", u"lamp");
    EXPECT_TRUE(file.BlockExists(u"lamp"));
    EXPECT_FALSE(file.BlockExists(u"Lamp"));
}

TEST_F(ZELFileTest, EqualBytesAreStoredOnceUnderTheFirstName) {
    const std::filesystem::path texture = scratch_.write("checker.png", "squares");
    ZELFile file(text_of(package()), false, true);
    EXPECT_EQ(file.AddBinaryData(u"textures/checker.png", text_of(texture)),
              System::String(u"textures/checker.png"));
    EXPECT_EQ(file.AddBinaryData(u"textures/again.png", text_of(texture)),
              System::String(u"textures/checker.png"));
    EXPECT_EQ(file.AddBinaryData(u"bytes.bin", System::BoxedIntPtr(bytes_), 4),
              System::String(u"bytes.bin"));
    EXPECT_EQ(file.AddBinaryData(u"same.bin", System::BoxedIntPtr(bytes_), 4),
              System::String(u"bytes.bin"));
    file.CloseFile();
    EXPECT_EQ(entries(),
              (std::vector<std::string>{"__zel_index__.xml", "bytes.bin", "textures/checker.png"}));
}

TEST_F(ZELFileTest, BinaryFromAPathGetsASecondAttemptFromMemory) {
    const std::filesystem::path first = scratch_.write("first.bin", "first bytes");
    const std::filesystem::path second = scratch_.write("second.bin", "other bytes");
    ZELFile file(text_of(package()), false, true);
    file.AddBinaryData(u"taken.bin", text_of(first));
    // A missing file fails both attempts, and the second one speaks.
    EXPECT_EQ(host_failure_of([&] {
                  file.AddBinaryData(u"missing.bin", text_of(scratch_.path() / "missing.bin"));
              }),
              "System.InvalidOperationException: Add binary data failed.");
    // A taken name fails both attempts too, and the second one's error
    // reaches the host as the archive raised it.
    EXPECT_EQ(host_failure_of([&] { file.AddBinaryData(u"taken.bin", text_of(second)); }),
              vorn::zela::zel_archive_exception(
                  "Can't add entry with name \"taken.bin\": entry already exists")
                  .what());
    // An empty file is stored by the first attempt.
    EXPECT_EQ(file.AddBinaryData(u"empty.bin", text_of(scratch_.write("empty.bin", ""))),
              System::String(u"empty.bin"));
    file.CloseFile();
    EXPECT_EQ(entries(), (std::vector<std::string>{"__zel_index__.xml", "empty.bin", "taken.bin"}));
}

TEST_F(ZELFileTest, CloseFileAndDisposeCanBeRepeated) {
    ZELFile file(text_of(package()), false, true);
    file.AddBlock(u"light", u"lamp");
    file.CloseFile();
    file.CloseFile();
    file.Dispose();
    EXPECT_EQ(read_scene(package())->get_block("lamp")->type().str(), "light");
}

TEST_F(ZELFileTest, DestructionAloneCompletesThePackage) {
    {
        System::String message;
        std::unique_ptr<ZELFile> file = ZELFile::Create(text_of(package()), u"/none", message);
        file->AddBlock(u"light", u"lamp").AddParameter(u"power", 60);
    }
    EXPECT_EQ(parameters_of(*read_scene(package()), "lamp"),
              std::vector<std::string>{"power=60 type:integer"});
}

TEST_F(ZELFileTest, FailedCloseRaisesOnceAndLeavesTheObjectClosed) {
    ZELFile file(text_of(package()), false, true);
    // Bytes under the scene's own entry name make the close fail.
    file.AddBinaryData(u"__zel_index__.xml", System::BoxedIntPtr(bytes_), 4);
    file.AddBlock(u"light", u"lamp");
    EXPECT_EQ(host_failure_of([&] { file.CloseFile(); }),
              vorn::zela::zel_archive_exception(
                  "Can't add entry with name \"__zel_index__.xml\": entry already exists")
                  .what());
    EXPECT_EQ(host_failure_of([&] { file.CloseFile(); }), "nothing thrown");
    // The archive is whole, without a scene.
    EXPECT_EQ(entries(), std::vector<std::string>{"__zel_index__.xml"});
}

TEST_F(ZELFileTest, NamesTakeTheThreadsCodePage) {
    // In the "C" locale what ASCII lacks becomes '?', so two host names can
    // meet in one native name.
    const vorn::testing::thread_locale c("C");
    ZELFile file(text_of(package()), false, true);
    file.AddBlock(u"light", u"l\u00e4mp");
    EXPECT_TRUE(file.BlockExists(u"l?mp"));
    EXPECT_TRUE(file.BlockExists(u"l\u00f6mp"));
}

TEST_F(ZELFileTest, PathsAreUtf8FileNamesInAnyLocale) {
    const vorn::testing::thread_locale c("C");
    const std::filesystem::path texture = scratch_.write("b\xc3\xa4r.png", "fur");
    const std::u16string directory = scratch_.path().u16string();
    {
        ZELFile file(directory + u"/sc\u00e8ne.zel", false, true);
        EXPECT_EQ(file.AddBinaryData(u"fur.png", directory + u"/b\u00e4r.png"),
                  System::String(u"fur.png"));
    }
    EXPECT_TRUE(std::filesystem::exists(scratch_.path() / "sc\xc3\xa8ne.zel"));
}

}  // namespace
}  // namespace Tessaly::Corvane::DB::ZEL
