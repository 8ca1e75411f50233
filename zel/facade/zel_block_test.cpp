#include "zel/facade/zel_block.hpp"

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "zel/facade/zel_file.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/host_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace Tessaly::Corvane::DB::ZEL {
namespace {

using vorn::testing::host_failure_of;
using vorn::testing::parameters_of;
using vorn::testing::read_scene;

const std::string null_argument = "System.ArgumentNullException: ";

class ZELBlockTest : public ::testing::Test {
  protected:
    std::filesystem::path package() const { return scratch_.path() / "scene.zel"; }
    System::String package_text() const { return System::String(package().u16string()); }

    vorn::testing::scratch_directory scratch_;
    const char bytes_[4] = {'z', 'e', 'l', '!'};
};

TEST_F(ZELBlockTest, FirstFailingCheckWinsAndNothingHappens) {
    ZELFile file(package_text(), false, true);
    ZELBlock block = file.AddBlock(u"material", u"plate");
    const System::BoxedIntPtr absent;
    const System::BoxedIntPtr null_box(nullptr);
    const System::BoxedIntPtr bytes(bytes_);
    const System::String null;
    struct row {
        std::function<void()> call;
        std::string thrown;
    };
    const row rows[] = {
        {[&] { block.AddParameter(null, 1); }, "paramName is empty or null."},
        {[&] { block.AddParameter(u"", 1.5f); }, "paramName is empty or null."},
        {[&] { block.AddParameter(u"", null); }, "paramName is empty or null."},
        {[&] { block.AddParameter(u"p", System::String(u"")); }, "val is empty or null."},
        {[&] { block.AddParameter(null, null, null, u"mm"); }, "paramName is empty or null."},
        {[&] { block.AddParameter(u"p", u"", null, u"mm"); },
         "valType or val can not be both empty or null."},
        {[&] { block.AddLink(null, null); }, "paramName is empty or null."},
        {[&] { block.AddLink(u"p", u""); }, "blockName is empty or null."},
        {[&] { block.AddLink(u"p", null, u"OblisLibrary"); }, "blockName is empty or null."},
        {[&] { block.AddLinkWithTag(u"", u"b", u""); }, "paramName is empty or null."},
        {[&] { block.AddLinkWithTag(u"p", u"b", null); }, "tagName is empty or null."},
        {[&] { block.AddLinkWithTag(u"p", null, u"t"); },
         "NULLPTR is not supported for this conversion."},
        {[&] { block.AddBinaryLink(u"", u"", u""); }, "paramName is empty or null."},
        {[&] { block.AddBinaryLink(u"p", null, u"OblisLibrary"); }, "binName is empty or null."},
        {[&] { block.AddBinaryLinkWithData(null, null, null); }, "paramName is empty or null."},
        {[&] { block.AddBinaryLinkWithData(u"p", u"", u"h"); }, "pathToData is empty or null."},
        {[&] { block.AddBinaryLinkWithData(u"", u"", absent, 0); }, "paramName is empty or null."},
        {[&] { block.AddBinaryLinkWithData(u"p", null, absent, 0); },
         "binNameHint is empty or null."},
        {[&] { block.AddBinaryLinkWithData(u"p", u"h", absent, 0); }, "data is empty."},
        {[&] { block.AddBinaryLinkWithData(u"p", u"h", bytes, 0); },
         "!System.ArgumentException: size should be above zero."},
        {[&] { block.AddBinaryLinkWithData(u"p", u"h", null_box, -1); },
         "!System.ArgumentException: size should be above zero."},
        {[&] { block.AddBinaryLinkWithData(u"p", u"h", null_box, 4); }, "data is empty."},
        {[&] { block.AddExtraAttribute(u"", u""); }, "attrName is empty or null."},
        {[&] { block.AddExtraAttribute(u"a", null); }, "attrValue is empty or null."},
        // The native layers' failures pass as they are.
        {[&] { block.AddParameter(u"a b", 1); },
         "!\"a b\" isn't a valid xml/zel name (no spaces allowed)"},
    };
    for (const row& r : rows) {
        const std::string expected =
            r.thrown.starts_with('!') ? r.thrown.substr(1) : null_argument + r.thrown;
        EXPECT_EQ(host_failure_of(r.call), expected);
    }
    file.CloseFile();
    const auto scene = read_scene(package());
    EXPECT_TRUE(parameters_of(*scene, "plate").empty());
    EXPECT_TRUE(scene->get_block("plate")->extra_attributes().empty());
    EXPECT_EQ(scene->block_count(), 2u);  // plate and the internal block
}

TEST_F(ZELBlockTest, EachOverloadStoresItsValue) {
    ZELFile file(package_text(), false, true);
    ZELBlock plate = file.AddBlock(u"material", u"plate");
    const System::String null;
    plate.AddParameter(u"count", 3);
    plate.AddParameter(u"gain", 1.5f);
    plate.AddParameter(u"label", System::String(u"oak"));
    plate.AddParameter(u"speed", u"double", u"2.5", u"m/s");
    plate.AddParameter(u"note", null, u"1", null);    // no type: a string
    plate.AddParameter(u"tint", u"color", u"", u"");  // a type, no value
    plate.AddLink(u"l1", u"lamp");
    plate.AddLink(u"l2", u"lamp", u"");
    plate.AddLink(u"l3", u"lamp", null);
    plate.AddLinkWithTag(u"t1", u"", u"front");
    plate.AddLinkWithTag(u"t2", u"lamp", u"back");
    plate.AddBinaryLinkWithData(u"raw", u"raw.bin", System::BoxedIntPtr(bytes_), 4);
    plate.AddBinaryLink(u"again", u"raw.bin", null);
    plate.AddExtraAttribute(u"layer", u"top");
    file.CloseFile();

    const auto scene = read_scene(package());
    const std::vector<std::string> expected = {
        "count=3 type:integer",        "gain=1.5 type:double",
        "label=oak type:string",       "speed=2.5 type:double unit:m/s",
        "note=1 type:string",          "tint= type:color",
        "l1=#lamp type:link",          "l2=#lamp type:link",
        "l3=#lamp type:link",          "t1=# type:link tag:front",
        "t2=#lamp type:link tag:back", "raw=#raw.bin type:binary",
        "again=#raw.bin type:binary",
    };
    EXPECT_EQ(parameters_of(*scene, "plate"), expected);
    const auto& attributes = scene->get_block("plate")->extra_attributes();
    ASSERT_EQ(attributes.size(), 1u);
    EXPECT_EQ(attributes[0].first.str(), "layer");
    EXPECT_EQ(attributes[0].second.str(), "top");
    // No link named a library.
    EXPECT_FALSE(scene->exists_metadata_block("external_refs"));
}

TEST_F(ZELBlockTest, LibraryLinksAreRecordedAndTaggedLinksAreNot) {
    ZELFile file(package_text(), false, true);
    ZELBlock chair = file.AddBlock(u"mesh", u"chair");
    chair.AddLink(u"material", u"oak", u"FerraneLibrary");
    chair.AddBinaryLink(u"vertices", u"meshes/chair.bin", u"OblisLibrary");
    chair.AddLinkWithTag(u"local", u"chair", u"self");
    file.CloseFile();
    const auto scene = read_scene(package());
    const std::vector<std::string> expected = {
        "material=FerraneLibrary#oak type:link",
        "vertices=OblisLibrary#meshes/chair.bin type:binary",
        "local=#chair type:link tag:self",
    };
    EXPECT_EQ(parameters_of(*scene, "chair"), expected);
    std::vector<std::string> refs;
    for (const auto& p : scene->get_metadata_block("external_refs")->parameters()) {
        refs.push_back(p.value.value().str());
    }
    EXPECT_EQ(refs, (std::vector<std::string>{"FerraneLibrary", "OblisLibrary"}));
}

TEST_F(ZELBlockTest, BinaryFromAPathIsNamedByTheHintOrByThePath) {
    const std::filesystem::path texture = scratch_.write("wood.png", "grain");
    const System::String texture_text(texture.u16string());
    ZELFile file(package_text(), false, true);
    ZELBlock plate = file.AddBlock(u"material", u"plate");
    plate.AddBinaryLinkWithData(u"hinted", texture_text, u"textures/wood.png");
    plate.AddBinaryLinkWithData(u"named", texture_text, System::String());
    file.CloseFile();
    const auto parameters = parameters_of(*read_scene(package()), "plate");
    ASSERT_EQ(parameters.size(), 2u);
    EXPECT_EQ(parameters[0], "hinted=#textures/wood.png type:binary");
    // Equal bytes are stored once: the second link names the first entry.
    EXPECT_EQ(parameters[1], "named=#textures/wood.png type:binary");

    ZELFile other((scratch_.path() / "other.zel").u16string(), false, true);
    other.AddBlock(u"material", u"plate").AddBinaryLinkWithData(u"named", texture_text, u"");
    other.CloseFile();
    const auto named = parameters_of(*read_scene(scratch_.path() / "other.zel"), "plate");
    ASSERT_EQ(named.size(), 1u);
    EXPECT_TRUE(named[0].starts_with("named=#binaries/")) << named[0];
    EXPECT_TRUE(named[0].ends_with("/wood.png type:binary")) << named[0];
}

TEST_F(ZELBlockTest, FailedBinaryLinkIsTakenBackWithTheUntaggedParametersOfItsName) {
    const std::filesystem::path content = scratch_.path() / "content";
    std::filesystem::create_directory(content);
    vorn::testing::make_library(content / "library.zelc", "material", "oak", "oak.png");
    vorn::testing::make_library(content / "oblis_library.zelc", "mesh", "chair", "chair.bin");
    System::String message;
    std::unique_ptr<ZELFile> file =
        ZELFile::Create(package_text(), System::String(content.u16string()), message);
    ZELBlock plate = file->AddBlock(u"material", u"plate");
    plate.AddBinaryLink(u"texture", u"oak.png", u"FerraneLibrary");
    plate.AddLinkWithTag(u"texture", u"plate", u"kept");
    plate.AddParameter(u"texture", System::String(u"untagged"));
    plate.AddBinaryLink(u"shape", u"chair.bin", u"OblisLibrary");
    EXPECT_EQ(
        host_failure_of([&] { plate.AddBinaryLink(u"texture", u"walnut.png", u"FerraneLibrary"); }),
        std::string("System.InvalidOperationException: ") +
            vorn::zel::zel_validation_exception(
                "contents for library name \"FerraneLibrary\" could not find a binary "
                "named walnut.png")
                .what());
    file->CloseFile();
    EXPECT_EQ(parameters_of(*read_scene(package()), "plate"),
              (std::vector<std::string>{"texture=#plate type:link tag:kept",
                                        "shape=OblisLibrary#chair.bin type:binary"}));
}

}  // namespace
}  // namespace Tessaly::Corvane::DB::ZEL
