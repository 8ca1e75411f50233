// What reading a served package costs the server, counted from nginx's
// access log: requests and body bytes for opening, listing, the scene, one
// entry; each entry fetched once by many processes that share a node cache;
// and the caching proxy that doc/remote_packages.md describes.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "tools/remote_tool_test.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/streams_test.hpp"

namespace vorn::testing {
namespace {

struct byte_range {
    std::uint64_t first = 0;
    std::uint64_t last = 0;  // inclusive, as HTTP counts
};

// The one range of a Range header "bytes=FIRST-LAST", or nothing for a
// suffix range or none at all.
std::optional<byte_range> range_of(const access_entry& e) {
    unsigned long long first = 0;
    unsigned long long last = 0;
    if (std::sscanf(e.range.c_str(), "bytes=%llu-%llu", &first, &last) != 2) {
        return std::nullopt;
    }
    return byte_range{first, last};
}

bool is_suffix(const access_entry& e) {
    return e.range.rfind("bytes=-", 0) == 0;
}

std::vector<access_entry> since(const nginx_server& server, std::size_t& seen) {
    std::vector<access_entry> all = server.requests();
    std::vector<access_entry> fresh(all.begin() + static_cast<std::ptrdiff_t>(seen), all.end());
    seen = all.size();
    return fresh;
}

std::uint64_t body_bytes(const std::vector<access_entry>& entries) {
    std::uint64_t sum = 0;
    for (const access_entry& e : entries) {
        sum += e.body_bytes;
    }
    return sum;
}

// Expects the two requests of opening a package of the given size: its
// header, and its tail, which is all of it when it is smaller.
void expect_one_round_trip(const std::vector<access_entry>& requests, std::uint64_t size) {
    ASSERT_EQ(requests.size(), 2u);
    const auto header = std::find_if(requests.begin(), requests.end(),
                                     [](const access_entry& e) { return e.range == "bytes=0-47"; });
    const auto tail = std::find_if(requests.begin(), requests.end(), is_suffix);
    ASSERT_NE(header, requests.end());
    ASSERT_NE(tail, requests.end());
    EXPECT_EQ(header->body_bytes, 48u);
    EXPECT_EQ(tail->body_bytes, std::min(size, tail_size));
}

TEST(RemoteRequestsTest, OpeningListingAndTheSceneInTheTailTakeOneRoundTrip) {
    served_packages served;
    scratch_directory scratch;
    make_demo_packages(served.root(), scratch.path());
    const counted_package counted = make_counted_package(served.root(), scratch.path());
    std::size_t seen = 0;
    const struct {
        std::vector<std::string> args;
        std::uint64_t size;
    } cases[] = {
        {{"ls", "@scene.zel"}, fs::file_size(served.root() / "scene.zel")},
        {{"scene", "@scene.zel"}, fs::file_size(served.root() / "scene.zel")},
        {{"ls", "@counted.zel"}, counted.size},
        {{"scene", "@counted.zel"}, counted.size},
        {{"cat", "@counted.zel", "notes.txt"}, counted.size},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(served_packages::describe(c.args));
        ASSERT_TRUE(served.remote(c.args).succeeded());
        expect_one_round_trip(since(served.server(), seen), c.size);
    }
}

TEST(RemoteRequestsTest, AnEntryBeforeTheTailIsOneRequestForExactlyItsStoredBytes) {
    served_packages served;
    scratch_directory scratch;
    const counted_package counted = make_counted_package(served.root(), scratch.path());
    std::size_t seen = 0;
    const process_result cat = served.remote({"cat", "--raw", "@counted.zel", "big.bin"});
    ASSERT_TRUE(cat.succeeded()) << cat.err;
    EXPECT_EQ(cat.out, numbered_bytes(tail_size + 300000));
    const std::vector<access_entry> requests = since(served.server(), seen);
    ASSERT_EQ(requests.size(), 3u);
    const access_entry& entry = requests.back();
    const auto range = range_of(entry);
    ASSERT_TRUE(range) << entry.range;
    EXPECT_EQ(range->first, counted.big_offset);
    EXPECT_EQ(range->last, counted.big_offset + counted.big_stored - 1);
    EXPECT_EQ(entry.body_bytes, counted.big_stored);
    EXPECT_EQ(body_bytes(requests), 48 + std::min(counted.size, tail_size) + counted.big_stored);
}

// A library of many entries, most of them before the tail, stored as given
// or deflated.
fs::path make_library(const fs::path& dir, const fs::path& scratch, int binaries,
                      bool stored = true) {
    const fs::path in = scratch / "library";
    fs::create_directories(in / "textures");
    for (int i = 0; i < binaries; ++i) {
        std::string bytes = numbered_bytes(96 * 1024 + static_cast<std::size_t>(i) * 16);
        if (!stored) {
            // Half of it random, so that deflated entries reach before the tail.
            bytes.replace(0, bytes.size() / 2,
                          pseudo_random_bytes(bytes.size() / 2, pseudo_random(i + 1u)));
        }
        bytes[0] = static_cast<char>(i);  // no two alike
        // Appended rather than joined with +, which g++ 12 warns about
        // wrongly under -O2.
        std::string name = "t";
        name += std::to_string(i);
        name += ".bin";
        std::ofstream(in / "textures" / name, std::ios::binary) << bytes;
    }
    fs::copy_file(fs::path(ZEL_DEMO_DIR) / "ferrane" / "__zel_index__.xml",
                  in / "__zel_index__.xml");
    std::vector<std::string> pack = {ZEL_TOOL, "pack", (dir / "library.zel").string(),
                                     "__zel_index__.xml", "textures"};
    if (stored) {
        pack.insert(pack.begin() + 2, {"--store", "bin"});
    }
    run_checked(pack, in, scratch);
    return dir / "library.zel";
}

// Verifying checks the stored bytes of a deflated entry, then inflates them:
// one fetch serves both.
TEST(RemoteRequestsTest, VerifyFetchesEachByteOnce) {
    served_packages served;
    scratch_directory scratch;
    make_library(served.root(), scratch.path(), 40, false);
    std::size_t seen = 0;
    const process_result verify = served.remote({"verify", "@library.zel"});
    ASSERT_TRUE(verify.succeeded()) << verify.err;
    std::vector<byte_range> ranges;
    for (const access_entry& e : since(served.server(), seen)) {
        if (const auto range = range_of(e)) {
            ranges.push_back(*range);
        }
    }
    // The header, and every entry before the tail.
    ASSERT_GT(ranges.size(), 20u);
    std::sort(ranges.begin(), ranges.end(),
              [](const byte_range& a, const byte_range& b) { return a.first < b.first; });
    for (std::size_t i = 1; i < ranges.size(); ++i) {
        EXPECT_GT(ranges[i].first, ranges[i - 1].last) << "bytes " << ranges[i].first;
    }
}

TEST(RemoteRequestsTest, ProcessesSharingANodeCacheFetchEachEntryOnce) {
    constexpr int processes = 8;
    served_packages served;
    scratch_directory scratch;
    const fs::path library = make_library(served.root(), scratch.path(), 24);
    const std::uint64_t size = fs::file_size(library);
    const fs::path cache = scratch.path() / "cache";
    const process_result local = served.local({"verify", "@library.zel"});
    ASSERT_TRUE(local.succeeded()) << local.err;

    std::vector<std::unique_ptr<child_process>> children;
    for (int i = 0; i < processes; ++i) {
        const std::string tag = "verify" + std::to_string(i);
        children.push_back(std::make_unique<child_process>(
            std::vector<std::string>{ZEL_TOOL, "verify", "--cache", cache.string(),
                                     served.server().url("library.zel")},
            scratch.path(), scratch.path() / (tag + ".out"), scratch.path() / (tag + ".err")));
    }
    for (const auto& child : children) {
        const process_result run = child->wait(run_bound);
        EXPECT_TRUE(run.succeeded()) << run.err;
        EXPECT_EQ(served.as_local(run.out), local.out);
    }

    // Every entry that lies before the tail came from the server in exactly
    // one answer, whichever process asked for it.
    const std::vector<access_entry> requests = served.server().requests();
    const zela::zel_archive_file_reader reader(library);
    std::vector<std::string> names;
    reader.list_entries(names);
    for (const std::string& name : names) {
        const auto* record = reader.get_entry_record(name);
        if (record->csize == 0 || record->off + record->csize > size - std::min(size, tail_size)) {
            continue;
        }
        const auto answers = std::count_if(requests.begin(), requests.end(), [&](const auto& e) {
            const auto range = range_of(e);
            return range && range->first <= record->off &&
                   record->off + record->csize - 1 <= range->last && e.range != "bytes=0-47";
        });
        EXPECT_EQ(answers, 1) << name;
    }

    // With the cache warm, a process fetches nothing but the header and tail.
    std::size_t seen = requests.size();
    const process_result warm =
        served.remote({"verify", "@library.zel"}, {"--cache", cache.string()});
    EXPECT_TRUE(warm.succeeded()) << warm.err;
    expect_one_round_trip(since(served.server(), seen), size);
}

// A batch: neighbouring entries before the tail are merged into one
// request that spans exactly their bytes; entries far apart are one request
// each; entries in the tail cost nothing. Every payload is the file's.
TEST(RemoteRequestsTest, ABatchMergesNeighbouringEntriesAndFetchesEachByteOnce) {
    served_packages served;
    scratch_directory scratch;
    const fs::path library = make_library(served.root(), scratch.path(), 24);
    const std::uint64_t size = fs::file_size(library);
    const zela::zel_archive_file_reader local(library);
    std::vector<std::string> names;
    local.list_entries(names);
    std::sort(names.begin(), names.end());
    // The entries wholly before the tail: where their bytes start and end.
    std::uint64_t first = size;
    std::uint64_t end = 0;
    for (const std::string& name : names) {
        const auto* record = local.get_entry_record(name);
        if (record->off + record->csize <= size - tail_size) {
            first = std::min(first, record->off);
            end = std::max(end, record->off + record->csize);
        }
    }
    ASSERT_LT(first, end);

    std::size_t seen = 0;
    const auto reader = zela::open_archive_reader(served.server().url("library.zel"));
    since(served.server(), seen);
    const auto payloads = reader->get_entries(names);
    ASSERT_EQ(payloads.size(), names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        const auto expected = local.get_entry(names[i]);
        EXPECT_EQ(std::string_view(payloads[i]->data(), payloads[i]->size()),
                  std::string_view(expected->data(), expected->size()))
            << names[i];
    }
    const std::vector<access_entry> batch = since(served.server(), seen);
    ASSERT_EQ(batch.size(), 1u);
    const auto range = range_of(batch.front());
    ASSERT_TRUE(range) << batch.front().range;
    EXPECT_EQ(range->first, first);
    // The merged request may reach into the tail's first entry, never past it.
    EXPECT_LE(range->last + 1, size - tail_size + 96 * 1024 + 24 * 16);
    EXPECT_GE(range->last + 1, end);

    // Every fourth entry, too far apart to merge: one request each.
    std::vector<std::string> apart;
    for (std::size_t i = 0; i < names.size(); i += 4) {
        const auto* record = local.get_entry_record(names[i]);
        if (record->off + record->csize <= size - tail_size) {
            apart.push_back(names[i]);
        }
    }
    const auto fresh = zela::open_archive_reader(served.server().url("library.zel"));
    since(served.server(), seen);
    fresh->get_raw_entries(apart);
    const std::vector<access_entry> separate = since(served.server(), seen);
    EXPECT_EQ(separate.size(), apart.size());
    std::uint64_t stored = 0;
    for (const std::string& name : apart) {
        stored += local.get_entry_record(name)->csize;
    }
    EXPECT_EQ(body_bytes(separate), stored);
}

// The blocks of nginx configuration in doc/remote_packages.md, in order.
std::vector<std::string> documented_nginx_blocks() {
    const std::string doc = read_file(fs::path(ZEL_DOC_DIR) / "remote_packages.md");
    const std::string open = "```nginx\n";
    std::vector<std::string> blocks;
    for (std::size_t at = 0; (at = doc.find(open, at)) != std::string::npos;) {
        at += open.size();
        const std::size_t end = doc.find("```", at);
        blocks.push_back(doc.substr(at, end - at));
        at = end;
    }
    return blocks;
}

void replace_all(std::string& text, const std::string& from, const std::string& to) {
    for (std::size_t at = 0; (at = text.find(from, at)) != std::string::npos; at += to.size()) {
        text.replace(at, from.size(), to);
    }
}

TEST(RemoteProxyTest, TheDocumentedCachingProxyServesTheStoresBytesAndAsksItOnce) {
    served_packages store;
    scratch_directory scratch;
    make_demo_packages(store.root(), scratch.path());
    make_counted_package(store.root(), scratch.path());
    std::vector<std::string> blocks = documented_nginx_blocks();
    ASSERT_EQ(blocks.size(), 2u);
    for (std::string& block : blocks) {
        replace_all(block, "/var/cache/zel-packages", (scratch.path() / "proxy-cache").string());
        std::string origin = store.server().base_url();
        origin.pop_back();
        replace_all(block, "https://store.example.net", origin);
    }
    nginx_config config;
    config.http = blocks[0];
    config.server = blocks[1];
    const nginx_server proxy(config);
    store.read_through(proxy.base_url());

    const std::vector<std::vector<std::string>> reads = {
        {"ls", "@scene.zel"},
        {"verify", "@counted.zel"},
        {"cat", "--raw", "@counted.zel", "big.bin"},
        {"check", "@scene.zel", "--library", "FerraneLibrary=@content/library.zelc", "--library",
         "OblisLibrary=@content/oblis_library.zelc"},
    };
    for (const auto& args : reads) {
        store.expect_same(args);
    }
    // Another node, with no cache of its own: the proxy answers it alone.
    const std::size_t asked = store.server().requests().size();
    for (const auto& args : reads) {
        EXPECT_TRUE(store.remote(args).succeeded()) << served_packages::describe(args);
    }
    EXPECT_EQ(store.server().requests().size(), asked);
}

}  // namespace
}  // namespace vorn::testing
