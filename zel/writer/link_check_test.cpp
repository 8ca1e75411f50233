#include "zel/writer/link_check.hpp"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

class LinkCheckTest : public ::testing::Test {
  protected:
    std::filesystem::path path(const std::string& name) const { return scratch_.path() / name; }

    // Runs the zel tool with the arguments, its output in out.txt; the exit
    // status.
    int run_tool([[maybe_unused]] const std::string& arguments) const {
#ifdef ZEL_TOOL
        const std::string command = std::string("'") + ZEL_TOOL + "' " + arguments + " >'" +
                                    path("out.txt").string() + "' 2>&1";
        const int status = std::system(command.c_str());
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
#else
        return -1;
#endif
    }

    std::string tool_output() const {
        return testing::read_file(path("out.txt"));
    }

    testing::scratch_directory scratch_;
};

std::vector<std::string> problems(const link_report& report) {
    std::vector<std::string> lines;
    for (const broken_link& b : report.broken) {
        lines.push_back(b.block + "." + b.parameter + "=" + b.value + ": " + b.problem);
    }
    std::sort(lines.begin(), lines.end());
    return lines;
}

// From files on disk to a proof of every link: a library package, its
// contents file, a package that links into it with validation on and off,
// and the check of what was written, through the library and the tool.
TEST_F(LinkCheckTest, RoundTripFromFilesToProof) {
    const std::filesystem::path library = path("lib.zel");
    {
        zel_file_writer writer(library, false, true);
        zel_block& wood = writer.add_block("material", "wood");
        writer.add_block("material", "steel");
        wood.add_binary_link_with_data("mesh", scratch_.write("mesh.bin", std::string(900, 'm')),
                                       "mesh.bin");
        wood.add_binary_link_with_data(
            "tex", scratch_.write("tex.png", testing::numbered_bytes(99)), "tex.png");
    }
    create_contents_file(path("lib.zelc"), library);

    const std::filesystem::path package = path("scene.zel");
    {
        zel_file_writer writer(package, false, true);
        writer.register_library_contents(path("lib.zelc"), "lib");
        writer.set_validation_mode(validate_library_links);
        zel_block& chair = writer.add_block("object", "chair");
        chair.add_link("material", "wood", "lib");
        chair.add_binary_link("mesh", "mesh.bin", "lib");
        EXPECT_THROW(chair.add_link("bad", "oak", "lib"), zel_exception);
        EXPECT_THROW(chair.add_binary_link("bad_binary", "nope.bin", "lib"),
                     zel_validation_exception);
        writer.set_validation_mode(0);
        zel_block& table = writer.add_block("object", "table");
        table.add_link("frame", "steel", "lib");
        table.add_link("ghost", "anything", "ghost");
        table.add_link("local", "chair", "");
        table.add_link("dangling", "missing", "");
        table.add_binary_link_with_data("own", "own.bin", "own bytes", 9);
        table.add_binary_link("lost", "lost.bin", "");
    }

    link_checker checker;
    checker.add_library("lib", std::make_shared<zel_contents_file>(path("lib.zelc")));
    const zel_file_index scene(std::make_shared<zela::zel_archive_file_reader>(package),
                               "__zel_index__.xml");
    const link_report report = checker.check(scene);
    EXPECT_EQ(problems(report),
              (std::vector<std::string>{
                  "chair.bad=lib#oak: no block oak in library lib",
                  "chair.bad_binary=lib#nope.bin: no binary nope.bin in library lib",
                  "table.dangling=#missing: no block missing in the package",
                  "table.ghost=ghost#anything: library ghost is not registered",
                  "table.lost=#lost.bin: no entry lost.bin in the package",
              }));
    EXPECT_EQ(report.local_links, 2u);
    EXPECT_EQ(report.local_binaries, 2u);
    EXPECT_EQ(report.library_links, 6u);
    EXPECT_EQ(report.external_refs, (std::vector<std::string>{"lib", "ghost"}));
    EXPECT_TRUE(report.unlisted_aliases.empty());
    EXPECT_FALSE(report.sound());

    if (run_tool("--help") != 0) {
        GTEST_SKIP() << "built without the zel tool";
    }
    const std::string arguments =
        "check '" + package.string() + "' --library 'lib=" + path("lib.zelc").string() + "'";
    EXPECT_EQ(run_tool(arguments), 1);
    const std::string out = tool_output();
    EXPECT_NE(out.find("block chair, parameter bad, link \"lib#oak\": no block oak in library "
                       "lib\n"),
              std::string::npos)
        << out;
    EXPECT_NE(out.find("external_refs: lib, ghost\n"), std::string::npos) << out;
    EXPECT_NE(out.find(package.string() +
                       ": 10 links (2 local, 2 local binaries, 6 into libraries), 5 broken\n"),
              std::string::npos)
        << out;
    // The tool's contents file of the library is the library's, once more.
    EXPECT_EQ(run_tool("contents '" + library.string() + "' '" + path("tool.zelc").string() + "'"),
              0)
        << tool_output();
    EXPECT_EQ(zel_contents_file(path("tool.zelc")).get_package_id(),
              zel_contents_file(path("lib.zelc")).get_package_id());
}

TEST_F(LinkCheckTest, AliasesMissingFromTheExternalRefsAreReported) {
    const std::filesystem::path package = path("scene.zel");
    {
        // Blocks without a writer record no library.
        zel_file_writer writer(package, false, true);
        writer.file_index().add_block("object", "chair")->add_link("m", "wood", "lib");
    }
    const zel_file_index scene(std::make_shared<zela::zel_archive_file_reader>(package),
                               "__zel_index__.xml");
    link_checker checker;
    const link_report report = checker.check(scene);
    EXPECT_EQ(report.unlisted_aliases, std::vector<std::string>{"lib"});
    EXPECT_EQ(problems(report),
              std::vector<std::string>{"chair.m=lib#wood: library lib is not registered"});
    EXPECT_EQ(testing::what_of([&] { checker.add_library("", nullptr); }),
              zel_exception("a library alias must not be empty").what());
}

}  // namespace
}  // namespace vorn::zel
