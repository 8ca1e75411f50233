// The scene layer over packages on an HTTP server: the resolver, the scene
// graph's redirects, contents files and the writer take URLs where they take
// paths, and read what they read from the same files on disk.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"
#include "zel/testing/http_server_test.hpp"
#include "zel/testing/library_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/testing/thrown_test.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel {
namespace {

using testing::what_of;

std::string text_of(const std::shared_ptr<const read_buffer>& b) {
    return std::string(b->data(), b->size());
}

// A library package, its contents file, and both on a server.
struct served_library {
    testing::scratch_directory dir;
    std::filesystem::path contents = testing::make_library(dir.path(), "lib");
    std::filesystem::path package = dir.path() / "lib.zel";
    testing::http_test_server server;
    std::string package_url = server.url("/lib.zel");
    std::string contents_url = server.url("/lib.zelc");

    served_library() {
        server.put("/lib.zel", testing::read_file(package), "\"p\"");
        server.put("/lib.zelc", testing::read_file(contents), "\"c\"");
    }
    std::size_t requests_for(const std::string& path) const {
        std::size_t n = 0;
        for (const auto& logged : server.log()) {
            n += logged.path == path;
        }
        return n;
    }
};

// A tail too short for the binaries, so that each costs a range request.
zela::remote_options short_tail() {
    zela::remote_options o;
    o.retries = 1;
    o.tail_size = 48;
    o.timeout = std::chrono::milliseconds(5000);
    return o;
}

TEST(RemoteSceneTest, ResolverReadsScenesAndBinariesOfAUrlInAFewRequests) {
    const served_library lib;
    zel_scene_resolver local(1000, 1u << 20, 1u << 20);
    zel_scene_resolver remote(1000, 1u << 20, 1u << 20, short_tail());
    const auto local_index = local.open_file_index(lib.package);
    const auto remote_index = remote.open_file_index(lib.package_url);
    EXPECT_EQ(remote.open_file_index(lib.package_url), remote_index);  // cached by its text
    EXPECT_EQ(remote_index->block_count(), local_index->block_count());
    EXPECT_EQ(remote_index->get_package_id(), local_index->get_package_id());
    // Header and tail, then the table of contents and the scene entry, which
    // lie before the short tail.
    EXPECT_EQ(lib.requests_for("/lib.zel"), 4u);

    const std::vector<std::string> names = {"tex.png", "mesh.bin", "tex.png"};
    for (const bool raw : {false, true}) {
        const auto got = remote.get_cached_binaries(remote_index, names, raw);
        ASSERT_EQ(got.size(), names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(text_of(got[i]), text_of(local.get_cached_binary(local_index, names[i], raw)))
                << names[i] << raw;
        }
    }
    // One request for both neighbours, and one for the stored form of the
    // deflated mesh.bin; that of tex.png, stored as it is, was cached.
    EXPECT_EQ(lib.requests_for("/lib.zel"), 6u);
    EXPECT_EQ(what_of([&] {
                  remote.get_cached_binaries(remote_index, {"tex.png", "none"}, true);
              }),
              what_of([&] { local.get_cached_binary(local_index, "none", true); }));
}

TEST(RemoteSceneTest, SceneGraphFollowsARedirectToAUrlAndFetchesItsLinksTogether) {
    served_library lib;
    const auto resolver = std::make_shared<zel_scene_resolver>(1000, 0, 0, short_tail());
    const auto graph = open_scene_graph(resolver, lib.package);
    graph->add_file_redirect("Lib", lib.package_url);
    const std::vector<std::string> links = {"Lib#mesh.bin", "#tex.png", "Lib#tex.png"};
    const auto got = graph->get_binaries(links, false);
    ASSERT_EQ(got.size(), links.size());
    EXPECT_EQ(text_of(got[0]), testing::mesh_bytes());
    EXPECT_EQ(text_of(got[1]), testing::texture_bytes());
    EXPECT_EQ(text_of(got[2]), testing::texture_bytes());
    // Opening (4) and one request for the two binaries, the caches being off.
    EXPECT_EQ(lib.requests_for("/lib.zel"), 5u);
    EXPECT_EQ(what_of([&] {
                  graph->get_binaries({"Lib#mesh.bin", "Lib#none"}, false);
              }),
              what_of([&] { graph->get_binary("Lib#none", false); }));

    // A server that fails is not taken for a missing binary.
    lib.server.server_errors = 1000;
    const std::string failure = lib.package_url + ": the server answered HTTP status 500";
    EXPECT_EQ(what_of([&] { graph->get_binary("Lib#mesh.bin", false); }),
              zela::zel_remote_exception(failure).what());
    EXPECT_EQ(what_of([&] { graph->get_binaries({"Lib#tex.png"}, false); }),
              zela::zel_remote_exception(failure).what());
}

TEST(RemoteSceneTest, ContentsFileAndWriterTakeAUrl) {
    const served_library lib;
    const zel_contents_file local(lib.contents);
    const zel_contents_file remote(lib.contents_url);
    EXPECT_EQ(remote.get_package_id(), local.get_package_id());

    zel_file_writer writer(lib.dir.path() / "scene.zel", false, true);
    writer.set_remote_options(short_tail());
    writer.register_library_contents(lib.contents_url, "Lib");
    writer.check_library_binary("Lib", "mesh.bin");
    writer.check_library_block("Lib", "wood");
    EXPECT_THROW(writer.check_library_binary("Lib", "none"), zel_validation_exception);

    // A package that is no contents file is named as the file reader's path
    // would be, without the query string of the URL.
    const std::string local_refusal = what_of([&] { zel_contents_file{lib.package}; });
    std::string expected = local_refusal;
    expected.replace(expected.find(lib.package.string()), lib.package.string().size(),
                     lib.package_url);
    EXPECT_EQ(what_of([&] { zel_contents_file{lib.package_url + "?X-Signature=abc"}; }), expected);
}

}  // namespace
}  // namespace vorn::zel
