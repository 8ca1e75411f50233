// What the tests of the zel tool on served packages share: the tool run on
// the files of a directory that nginx serves, once by path and once by URL.
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "zel/archive/file_reader.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/testing/child_process_test.hpp"
#include "zel/testing/nginx_server_test.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"

namespace vorn::testing {

namespace fs = std::filesystem;

// No run of the tool comes near this; a hang does.
inline constexpr std::chrono::seconds run_bound{120};
// Far above what reading any of these packages takes, sanitizers included.
inline constexpr long memory_bound_kib = 512 * 1024;
// Stands for the query string of a presigned URL, which must never show.
inline constexpr const char* signature = "X-Sig=a1b2c3-secret";

inline process_result run_checked(const std::vector<std::string>& argv, const fs::path& cwd,
                                  const fs::path& scratch) {
    const process_result result = run_process(argv, cwd, scratch, run_bound);
    if (!result.succeeded()) {
        throw std::runtime_error(argv[0] + " failed: " + result.err);
    }
    return result;
}

// The demonstration packages, as the tour makes them: two libraries with
// their contents files, and a host's scene that links into both.
inline void make_demo_packages(const fs::path& dir, const fs::path& scratch) {
    const fs::path demo = ZEL_DEMO_DIR;
    fs::create_directories(dir / "content");
    run_checked({ZEL_TOOL, "pack", "--store", "png", (dir / "ferrane.zel").string(),
                 "__zel_index__.xml", "textures"},
                demo / "ferrane", scratch);
    run_checked({ZEL_TOOL, "pack", (dir / "oblis.zel").string(), "__zel_index__.xml", "meshes"},
                demo / "oblis", scratch);
    run_checked({ZEL_TOOL, "contents", "ferrane.zel", "content/library.zelc"}, dir, scratch);
    run_checked({ZEL_TOOL, "contents", "oblis.zel", "content/oblis_library.zelc"}, dir, scratch);
    run_checked({ZEL_HOST_SCENE, (dir / "scene.zel").string(), (dir / "content").string(),
                 (demo / "scene").string()},
                dir, scratch);
}

inline const std::uint64_t tail_size = zela::remote_options{}.tail_size;

// A package whose first entry lies before its tail and whose scene and last
// entry lie in it.
struct counted_package {
    std::uint64_t size = 0;
    std::uint64_t big_offset = 0;
    std::uint64_t big_stored = 0;
};

inline counted_package make_counted_package(const fs::path& dir, const fs::path& scratch) {
    const fs::path in = scratch / "counted";
    fs::create_directories(in);
    std::ofstream(in / "big.bin", std::ios::binary) << numbered_bytes(tail_size + 300000);
    fs::copy_file(fs::path(ZEL_DEMO_DIR) / "oblis" / "__zel_index__.xml", in / "__zel_index__.xml");
    std::ofstream(in / "notes.txt") << "a few words\n";
    run_checked({ZEL_TOOL, "pack", "--store", "bin", (dir / "counted.zel").string(), "big.bin",
                 "__zel_index__.xml", "notes.txt"},
                in, scratch);
    const zela::zel_archive_file_reader reader(dir / "counted.zel");
    const auto* big = reader.get_entry_record("big.bin");
    return {fs::file_size(dir / "counted.zel"), big->off, big->csize};
}

// One served directory and the tool run on its files both ways. An argument
// "@NAME", or one that ends so ("ALIAS=@NAME"), names a file of the
// directory: as its path on disk, or as its URL.
class served_packages {
  public:
    explicit served_packages(nginx_config config = {}) : server_(std::move(config)) {}

    nginx_server& server() { return server_; }
    fs::path root() const { return server_.root(); }
    // Remote runs go to base_url from now on: a proxy in front of the server.
    void read_through(std::string base_url) { front_ = std::move(base_url); }
    std::string base_url() const { return front_.empty() ? server_.base_url() : front_; }

    process_result local(const std::vector<std::string>& args) {
        return run(args, [&](const std::string& name) { return (root() / name).string(); }, {});
    }

    // The URLs carry a query string, as presigned URLs do; options are the
    // remote options to add.
    process_result remote(const std::vector<std::string>& args,
                          std::vector<std::string> options = {}) {
        if (!server_.ca_file().empty()) {
            options.insert(options.end(), {"--cacert", server_.ca_file().string()});
        }
        return run(
            args, [&](const std::string& name) { return base_url() + name + "?" + signature; },
            options);
    }

    // What the remote run printed, with each URL turned into the path that
    // the local run printed in its place.
    std::string as_local(std::string text) const {
        const std::string from = base_url();
        const std::string to = root().string() + "/";
        for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
            text.replace(at, from.size(), to);
        }
        return text;
    }

    void expect_same(const std::vector<std::string>& args) {
        SCOPED_TRACE(describe(args));
        const process_result local_run = local(args);
        const process_result remote_run = remote(args);
        ASSERT_FALSE(remote_run.timed_out);
        EXPECT_EQ(remote_run.signal, 0);
        EXPECT_EQ(remote_run.exit_code, local_run.exit_code);
        EXPECT_EQ(as_local(remote_run.out), local_run.out);
        EXPECT_EQ(as_local(remote_run.err), local_run.err);
        EXPECT_EQ(remote_run.out.find(signature), std::string::npos);
        EXPECT_EQ(remote_run.err.find(signature), std::string::npos);
        EXPECT_LT(remote_run.peak_kib, memory_bound_kib);
    }

    static std::string describe(const std::vector<std::string>& args) {
        std::string text = "zel";
        for (const std::string& arg : args) {
            text += " " + arg;
        }
        return text;
    }

  private:
    template <typename Locate>
    process_result run(const std::vector<std::string>& args, Locate locate,
                       const std::vector<std::string>& options) {
        std::vector<std::string> argv = {ZEL_TOOL};
        for (const std::string& arg : args) {
            const std::size_t at = arg.find('@');
            argv.push_back(
                at == std::string::npos ? arg : arg.substr(0, at) + locate(arg.substr(at + 1)));
        }
        argv.insert(argv.end(), options.begin(), options.end());
        return run_process(argv, root(), scratch_.path(), run_bound,
                           "zel" + std::to_string(++runs_));
    }

    nginx_server server_;
    std::string front_;
    scratch_directory scratch_;
    int runs_ = 0;
};

}  // namespace vorn::testing
