// The zel tool on packages served by nginx: every read command prints on a
// URL what it prints on the same file on disk, for sound packages and for
// damaged and hostile ones, over http and https.
#include <arpa/inet.h>
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "tools/remote_tool_test.hpp"
#include "zel/archive/hostile_image_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {
namespace {

// Every read command, on packages and contents files alike.
const std::vector<std::vector<std::string>>& read_commands() {
    static const std::vector<std::vector<std::string>> commands = {
        {"ls", "@scene.zel"},
        {"ls", "@ferrane.zel"},
        {"ls", "@content/oblis_library.zelc"},
        {"verify", "@scene.zel"},
        {"verify", "@oblis.zel"},
        {"cat", "@scene.zel", "textures/checker.png"},
        {"cat", "--raw", "@scene.zel", "__zel_index__.xml"},
        {"cat", "@ferrane.zel", "textures/no_such.png"},
        {"scene", "@scene.zel"},
        {"scene", "--atomized", "@scene.zel"},
        {"scene", "@content/library.zelc"},
        {"check", "@scene.zel", "--library", "FerraneLibrary=@content/library.zelc", "--library",
         "OblisLibrary=@content/oblis_library.zelc"},
        {"check", "@scene.zel", "--library", "FerraneLibrary=@content/library.zelc"},
        {"resolve", "@scene.zel", "#chess_board"},
        {"resolve", "@scene.zel", "#textures/checker.png"},
        {"resolve", "--bytes", "@scene.zel", "#textures/checker.png"},
        {"resolve", "@scene.zel", "#no_such_block"},
        {"graph", "@scene.zel"},
    };
    return commands;
}

class RemoteToolTest : public ::testing::TestWithParam<bool> {};

TEST_P(RemoteToolTest, EveryReadCommandPrintsOnAUrlWhatItPrintsOnTheFile) {
    served_packages served({GetParam()});
    scratch_directory scratch;
    make_demo_packages(served.root(), scratch.path());
    for (const auto& args : read_commands()) {
        served.expect_same(args);
    }
}

TEST_P(RemoteToolTest, DamagedPackagesAreRefusedOverHttpInTheSameWords) {
    served_packages served({GetParam()});
    scratch_directory scratch;
    make_demo_packages(scratch.path(), scratch.path());
    const std::string sound = read_file(scratch.path() / "scene.zel");
    const std::size_t size = sound.size();
    struct damage {
        std::string name;
        std::string bytes;
    };
    const auto flipped = [&](std::size_t at) {
        std::string bytes = sound;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x5A);
        return bytes;
    };
    std::vector<damage> damaged = {
        {"empty.zel", ""},
        {"magic_only.zel", sound.substr(0, 4)},
        {"header_short.zel", sound.substr(0, 47)},
        {"header_only.zel", sound.substr(0, 48)},
        {"half.zel", sound.substr(0, size / 2)},
        {"one_short.zel", sound.substr(0, size - 1)},
        {"one_more.zel", sound + "x"},
        {"magic.zel", flipped(1)},
        {"header_field.zel", flipped(20)},
        {"header_end.zel", flipped(47)},
        {"first_entry.zel", flipped(48 + 5)},
        {"table_of_contents.zel", flipped(size - 30)},
        {"last_byte.zel", flipped(size - 1)},
    };
    // A package larger than the tail, whose first entry is fetched apart.
    const counted_package counted = make_counted_package(scratch.path(), scratch.path());
    const std::string large = read_file(scratch.path() / "counted.zel");
    const auto large_flipped = [&](std::uint64_t at) {
        std::string bytes = large;
        bytes[at] = static_cast<char>(bytes[at] ^ 0x5A);
        return bytes;
    };
    damaged.push_back({"large_entry.zel", large_flipped(counted.big_offset + 1000)});
    damaged.push_back({"large_cut_in_entry.zel", large.substr(0, counted.big_offset + 5000)});
    damaged.push_back({"large_cut_after_tail.zel", large.substr(0, large.size() - 10)});
    damaged.push_back({"large_table.zel", large_flipped(large.size() - 30)});
    for (const damage& d : damaged) {
        std::ofstream(served.root() / d.name, std::ios::binary) << d.bytes;
        for (const std::vector<std::string>& args :
             std::vector<std::vector<std::string>>{{"ls", "@" + d.name},
                                                   {"verify", "@" + d.name},
                                                   {"scene", "@" + d.name},
                                                   {"cat", "@" + d.name, "textures/checker.png"},
                                                   {"cat", "@" + d.name, "big.bin"}}) {
            served.expect_same(args);
        }
    }
}

TEST_P(RemoteToolTest, HostilePackagesAreRefusedOverHttpInTheSameWords) {
    served_packages served({GetParam()});
    for (const hostile_package& p : hostile_packages(small_hostile_scale())) {
        std::ofstream(served.root() / p.name, std::ios::binary) << p.image;
        served.expect_same({"ls", "@" + p.name});
        served.expect_same({"verify", "@" + p.name});
        if (!p.entry.empty()) {
            served.expect_same({"cat", "@" + p.name, p.entry});
        }
    }
}

TEST_P(RemoteToolTest, AFailedRequestGivesOneLineWithTheUrlAndNeverItsQueryString) {
    served_packages served({GetParam()});
    const process_result missing = served.remote({"ls", "@missing.zel"});
    EXPECT_EQ(missing.exit_code, 1);
    EXPECT_NE(missing.err.find("404"), std::string::npos) << missing.err;
    EXPECT_NE(missing.err.find(served.server().url("missing.zel")), std::string::npos)
        << missing.err;
    EXPECT_EQ(missing.err.find(signature), std::string::npos) << missing.err;
    EXPECT_EQ(std::count(missing.err.begin(), missing.err.end(), '\n'), 1) << missing.err;
    EXPECT_TRUE(missing.out.empty());
}

INSTANTIATE_TEST_SUITE_P(HttpAndHttps, RemoteToolTest, ::testing::Bool(),
                         [](const ::testing::TestParamInfo<bool>& info) {
                             return info.param ? "Https" : "Http";
                         });

TEST(RemoteToolOptionsTest, HttpsWithoutTheServersCertificateIsRefused) {
    nginx_server server({true});
    scratch_directory scratch;
    make_demo_packages(server.root(), scratch.path());
    const process_result untrusted = run_process({ZEL_TOOL, "ls", server.url("scene.zel")},
                                                 scratch.path(), scratch.path(), run_bound);
    EXPECT_EQ(untrusted.exit_code, 1);
    EXPECT_NE(untrusted.err.find(server.url("scene.zel")), std::string::npos) << untrusted.err;
    EXPECT_TRUE(untrusted.out.empty());
    // A request that was refused before any byte came is not logged as served.
    for (const access_entry& e : server.requests()) {
        EXPECT_NE(e.status, 206) << e.uri;
    }
}

// libcurl is loaded by the first URL, so that a host reading only local
// packages never loads it and the libraries it brings.
TEST(RemoteToolOptionsTest, OnlyAUrlLoadsLibcurl) {
    nginx_server server;
    scratch_directory scratch;
    make_demo_packages(server.root(), scratch.path());
    const auto loads_curl = [&](const std::string& location) {
        // The dynamic loader names every library it loads on standard error.
        const process_result run =
            run_process({"/usr/bin/env", "LD_DEBUG=files", ZEL_TOOL, "ls", location},
                        scratch.path(), scratch.path(), run_bound);
        EXPECT_EQ(run.exit_code, 0) << location;
        return run.err.find("libcurl") != std::string::npos;
    };
    EXPECT_FALSE(loads_curl((server.root() / "scene.zel").string()));
    EXPECT_TRUE(loads_curl(server.url("scene.zel")));
}

TEST(RemoteToolOptionsTest, ABadOptionValueIsAUsageError) {
    scratch_directory scratch;
    const std::vector<std::vector<std::string>> cases = {
        {"ls", "--timeout", "0", "http://127.0.0.1:9/a.zel"},
        {"ls", "--timeout", "-1", "http://127.0.0.1:9/a.zel"},
        {"ls", "--timeout", "soon", "http://127.0.0.1:9/a.zel"},
        {"ls", "--timeout", "1e9", "http://127.0.0.1:9/a.zel"},
        {"scene", "--cache", "a", "--cache", "b", "http://127.0.0.1:9/a.zel"},
        {"verify", "--cacert", "http://127.0.0.1:9/a.zel"},
    };
    for (std::vector<std::string> args : cases) {
        args.insert(args.begin(), ZEL_TOOL);
        const process_result run = run_process(args, scratch.path(), scratch.path(), run_bound);
        EXPECT_EQ(run.exit_code, 2) << served_packages::describe(args) << ": " << run.err;
    }
}

// A server that takes connections and never answers: the timeout ends the
// command, with one line, however long the server would wait.
TEST(RemoteToolOptionsTest, AServerThatNeverAnswersEndsInTheTimeout) {
    const int listener = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    ASSERT_EQ(::bind(listener, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    ASSERT_EQ(::listen(listener, 16), 0);
    ASSERT_EQ(::getsockname(listener, reinterpret_cast<sockaddr*>(&address), &size), 0);
    const std::string url =
        "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/silent.zel";
    scratch_directory scratch;
    const process_result run = run_process({ZEL_TOOL, "ls", "--timeout", "0.5", url},
                                           scratch.path(), scratch.path(), run_bound);
    ::close(listener);
    EXPECT_FALSE(run.timed_out);
    EXPECT_EQ(run.exit_code, 1);
    EXPECT_NE(run.err.find(url), std::string::npos) << run.err;
}

}  // namespace
}  // namespace vorn::testing
