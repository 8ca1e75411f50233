#include "zel/archive/range_reader.hpp"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/hostile_image_test.hpp"
#include "zel/archive/internal/range_client.hpp"
#include "zel/testing/http_server_test.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/testing/thrown_test.hpp"

namespace vorn::zela {
namespace {

using testing::archive_message;
using testing::what_of;

std::string text_of(const std::shared_ptr<const read_buffer>& b) {
    return std::string(b->data(), b->size());
}

constexpr std::size_t big_size = 2000000;

// Bytes that deflate does not shrink, so that entries keep their size.
std::string noise(std::size_t size, unsigned seed) {
    std::string bytes(size, '\0');
    std::uint32_t state = 2463534242u + seed;
    for (char& c : bytes) {
        state ^= state << 13;
        state ^= state >> 17;
        state ^= state << 5;
        c = static_cast<char>(state);
    }
    return bytes;
}

// A package as a writer leaves it: a large stored entry first, small
// compressed ones after it, the scene last, just before the table.
struct sample_package {
    testing::scratch_directory dir;
    std::filesystem::path path = dir.path() / "sample.zel";
    std::string bytes;
    std::vector<std::string> names;

    sample_package() {
        {
            zel_archive_file_appender<parallel::mutex_traits_no_op> a(path, true);
            a.add_entry("big.bin", testing::numbered_bytes(big_size).data(), big_size, false,
                        false);
            for (int i = 0; i < 10; ++i) {
                const std::string text = noise(2000 + 10 * i, i);
                std::string name = "c";
                name += std::to_string(i);
                a.add_entry(name, text.data(), text.size(), i % 2 == 0, false);
            }
            a.add_entry("empty", "", 0, false, false);
            const std::string scene = "<scene>" + std::string(5000, 's') + "</scene>";
            a.add_entry("scene.xml", scene.data(), scene.size(), true, false);
        }
        bytes = testing::read_file(path);
        zel_archive_file_reader(path).list_entries(names);
    }
};

// How an archive error with a message that starts so starts.
std::string opening_of(const std::string& message) {
    return zel_archive_exception(message).message();
}

remote_options quick_options() {
    remote_options o;
    o.timeout = std::chrono::milliseconds(5000);
    o.retries = 2;
    return o;
}

std::string range_of(const zel_archive_reader& reader, const std::string& name) {
    const auto* e = reader.get_entry_record(name);
    return "bytes=" + std::to_string(e->off) + "-" + std::to_string(e->off + e->csize - 1);
}

void expect_same_archive(const zel_archive_reader& remote, const zel_archive_reader& local,
                         const std::vector<std::string>& names) {
    std::vector<std::string> listed;
    remote.list_entries(listed);
    EXPECT_EQ(listed, names);
    EXPECT_EQ(remote.get_package_id(), local.get_package_id());
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        EXPECT_EQ(remote.get_entry_key(name), local.get_entry_key(name));
        EXPECT_EQ(text_of(remote.get_entry(name)), text_of(local.get_entry(name)));
        EXPECT_EQ(text_of(remote.get_raw_entry(name)), text_of(local.get_raw_entry(name)));
    }
}

TEST(RangeReaderTest, ReadsWhatTheFileReaderReadsWhateverTheTail) {
    const sample_package p;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    const zel_archive_file_reader local(p.path);
    const struct {
        std::uint64_t tail;
        std::size_t opening_requests;
    } rows[] = {{1u << 20, 2}, {p.bytes.size(), 2}, {48, 3}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.tail);
        server.clear_log();
        remote_options o = quick_options();
        o.tail_size = row.tail;
        const zel_archive_range_reader remote(server.url("/sample.zel"), o);
        EXPECT_EQ(remote.requests_made(), row.opening_requests);
        EXPECT_EQ(remote.file_size(), p.bytes.size());
        expect_same_archive(remote, local, p.names);
        // One request per entry outside the tail, for exactly its bytes.
        for (const auto& logged : server.log()) {
            EXPECT_EQ(logged.path, "/sample.zel");
        }
    }
}

TEST(RangeReaderTest, SceneInTheTailCostsNoRequestAndAnEntryExactlyOne) {
    const sample_package p;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    const zel_archive_range_reader remote(server.url("/sample.zel"), quick_options());
    remote.get_entry("scene.xml");
    remote.get_entry("empty");
    ASSERT_EQ(server.log().size(), 2u);
    EXPECT_EQ(server.log()[0].range, "bytes=0-47");
    EXPECT_EQ(server.log()[1].range, "bytes=-1048576");

    // The large entry lies before the tail.
    remote.get_entry("big.bin");
    ASSERT_EQ(server.log().size(), 3u);
    EXPECT_EQ(server.log()[2].range, range_of(remote, "big.bin"));
    EXPECT_EQ(remote.bytes_received(), 48 + (1u << 20) + big_size);
}

TEST(RangeReaderTest, BatchMergesNeighboursAndKeepsTheOrderOfNames) {
    const sample_package p;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    const zel_archive_file_reader local(p.path);
    const std::vector<std::string> names = {"c7", "big.bin", "c0", "c3", "c7", "scene.xml"};
    const struct {
        std::uint64_t merge_gap;
        std::uint64_t max_merged;
        std::size_t requests;
    } rows[] = {// Everything in one; without a gap only entries that touch (big.bin
                // and c0) share a request; the bound keeps big.bin alone.
                {1u << 20, 8u << 20, 1},
                {0, 8u << 20, 4},
                {1u << 20, 1u << 20, 2}};
    for (const auto& row : rows) {
        SCOPED_TRACE(row.requests);
        remote_options o = quick_options();
        o.tail_size = 48;
        o.merge_gap = row.merge_gap;
        o.max_merged_size = row.max_merged;
        o.parallel_requests = 2;
        const zel_archive_range_reader remote(server.url("/sample.zel"), o);
        const auto before = remote.requests_made();
        const auto got = remote.get_entries(names);
        EXPECT_EQ(remote.requests_made() - before, row.requests);
        ASSERT_EQ(got.size(), names.size());
        for (std::size_t i = 0; i < names.size(); ++i) {
            EXPECT_EQ(text_of(got[i]), text_of(local.get_entry(names[i]))) << names[i];
        }
        const auto raw = remote.get_raw_entries({"c1"});
        EXPECT_EQ(text_of(raw[0]), text_of(local.get_raw_entry("c1")));
    }
}

TEST(RangeReaderTest, NodeCacheServesEntriesOfEveryPackageThatHoldsTheirBytes) {
    const sample_package p;
    const testing::scratch_directory cache;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    server.put("/copy.zel", p.bytes, "\"c1\"");
    const zel_archive_file_reader local(p.path);
    remote_options o = quick_options();
    o.cache_directory = cache.path();
    o.tail_size = 48;
    {
        const zel_archive_range_reader first(server.url("/sample.zel"), o);
        first.get_entries(p.names);
        EXPECT_GT(first.requests_made(), 3u);
    }
    // Opening always asks the server; the entries come from the cache, also
    // for another package that holds the same bytes.
    const zel_archive_range_reader second(server.url("/copy.zel"), o);
    expect_same_archive(second, local, p.names);
    EXPECT_EQ(second.get_entries(p.names).size(), p.names.size());
    EXPECT_EQ(second.requests_made(), 3u);

    // A cache file damaged since is found out and its bytes fetched again.
    const auto* big = local.get_entry_record("big.bin");
    const auto file = node_cache(cache.path(), o.cache_budget).path_of({big->hash, big->csize});
    std::filesystem::resize_file(file, 1000);
    EXPECT_EQ(text_of(second.get_entry("big.bin")), text_of(local.get_entry("big.bin")));
    EXPECT_EQ(second.requests_made(), 4u);
    EXPECT_EQ(std::filesystem::file_size(file), big->csize);
}

TEST(RangeReaderTest, ThreadsWithTheirOwnReadersShareOneNodeCache) {
    const sample_package p;
    const testing::scratch_directory cache;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    const zel_archive_file_reader local(p.path);
    remote_options o = quick_options();
    o.cache_directory = cache.path();
    o.tail_size = 48;
    std::vector<std::string> failures(8);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < failures.size(); ++t) {
        threads.emplace_back([&, t] {
            try {
                const zel_archive_range_reader remote(server.url("/sample.zel"), o);
                const auto got = remote.get_entries(p.names);
                for (std::size_t i = 0; i < got.size(); ++i) {
                    if (text_of(got[i]) != text_of(local.get_entry(p.names[i]))) {
                        failures[t] += p.names[i] + " ";
                    }
                }
            } catch (const std::exception& e) {
                failures[t] = e.what();
            }
        });
    }
    for (auto& thread : threads) {
        thread.join();
    }
    for (const auto& failure : failures) {
        EXPECT_EQ(failure, "");
    }
}

TEST(RangeReaderTest, ServerThatIgnoresRangeServesTheWholeBodyOnce) {
    const sample_package p;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    server.ignore_range = true;
    const zel_archive_file_reader local(p.path);
    remote_options o = quick_options();
    o.tail_size = 16;
    const zel_archive_range_reader remote(server.url("/sample.zel"), o);
    // Both opening requests are on their way at once; the body of the first
    // answer is taken and the other abandoned.
    const auto after_opening = remote.requests_made();
    EXPECT_LE(after_opening, 2u);
    EXPECT_EQ(remote.bytes_received(), p.bytes.size());
    expect_same_archive(remote, local, p.names);
    remote.get_entries({"c1", "c2"});
    EXPECT_EQ(remote.requests_made(), after_opening);
}

TEST(RangeReaderTest, FaultsOfTheServerGiveTheRightBytesOrAClearError) {
    const sample_package p;
    const std::string expected = testing::numbered_bytes(big_size);
    const struct {
        const char* fault;
        void (*set)(testing::http_test_server&);
        const char* refusal;  // what the error's message holds; null for the right bytes
    } rows[] = {
        {"a body cut once", [](auto& s) { s.cut_bodies = 1; }, nullptr},
        {"500 twice", [](auto& s) { s.server_errors = 2; }, nullptr},
        {"a body cut once, its length unannounced", [](auto& s) { s.cut_unannounced = 1; },
         nullptr},
        {"bodies always cut, their length unannounced", [](auto& s) { s.cut_unannounced = 100; },
         ": the answer holds 1000000 bytes, not 2000000 bytes asked for"},
        {"bodies always cut", [](auto& s) { s.cut_bodies = 100; }, ": transfer failed: "},
        {"500 always", [](auto& s) { s.server_errors = 100; },
         ": the server answered HTTP status 500"},
        {"500 with a long body",
         [](auto& s) {
             s.server_errors = 100;
             s.error_body = 1u << 20;
         },
         ": the server answered HTTP status 500"},
        {"a lying Content-Range", [](auto& s) { s.shifted_range = true; },
         ": the server answered with bytes \""},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.fault);
        testing::http_test_server server;
        server.put("/sample.zel", p.bytes, "\"v1\"");
        const zel_archive_range_reader remote(server.url("/sample.zel"), quick_options());
        row.set(server);
        if (row.refusal == nullptr) {
            EXPECT_EQ(text_of(remote.get_entry("big.bin")), expected);
        } else {
            const std::string got = what_of([&] { remote.get_entry("big.bin"); });
            EXPECT_TRUE(got.starts_with(opening_of(server.url("/sample.zel") + row.refusal)))
                << got;
        }
    }
}

TEST(RangeReaderTest, ObjectReplacedWhileReadIsRefused) {
    const sample_package p;
    testing::http_test_server server;
    server.put("/sample.zel", p.bytes, "\"v1\"");
    const std::string url = server.url("/sample.zel");
    const zel_archive_range_reader remote(url, quick_options());
    server.put("/sample.zel", p.bytes, "\"v2\"");
    EXPECT_EQ(what_of([&] { remote.get_entry("big.bin"); }),
              archive_message(url + ": the package changed while it was read"));
    EXPECT_EQ(server.log().back().range, range_of(remote, "big.bin"));
}

TEST(RangeReaderTest, SilentServerFailsWhenTheTimeoutFires) {
    testing::http_test_server server;
    server.silent = true;
    remote_options o = quick_options();
    o.timeout = std::chrono::milliseconds(200);
    const std::string got =
        what_of([&] { zel_archive_range_reader(server.url("/sample.zel"), o); });
    EXPECT_TRUE(got.starts_with(opening_of(server.url("/sample.zel") + ": transfer failed: ")))
        << got;
    EXPECT_NE(got.find("imed out"), std::string::npos) << got;
}

TEST(RangeReaderTest, RefusalsNameTheUrlWithoutItsQuery) {
    testing::http_test_server server;
    server.put("/short.zel", "zel!", "\"s\"");
    server.put("/empty.zel", "", "\"e\"");
    const std::string secret = "?X-Signature=c2VjcmV0&X-Expires=99";
    const std::string base = server.url("");
    const struct {
        std::string url;
        std::string message;
    } rows[] = {
        {base + "/missing.zel" + secret,
         base + "/missing.zel: the server answered HTTP status 404"},
        {base + "/short.zel" + secret, "incomplete zel header"},
        {base + "/empty.zel" + secret, "incomplete zel header"},
    };
    for (const auto& row : rows) {
        const std::string got =
            what_of([&] { zel_archive_range_reader(row.url, quick_options()); });
        EXPECT_EQ(got, archive_message(row.message));
        EXPECT_EQ(got.find("c2VjcmV0"), std::string::npos);
    }
    const struct {
        const char* url;
        const char* shown;
    } shown[] = {
        {"https://h/p/a.zel?sig=1#frag", "https://h/p/a.zel"},
        {"https://user:pass@h:8/a.zel", "https://h:8/a.zel"},
        {"http://h/a@b.zel", "http://h/a@b.zel"},
        {"http://h/a.zel#x", "http://h/a.zel"},
    };
    for (const auto& s : shown) {
        EXPECT_EQ(http::shown_url(s.url), s.shown);
    }
}

TEST(RangeReaderTest, HostilePackagesAreRefusedInTheFileReadersWords) {
    const testing::scratch_directory dir;
    const testing::hostile_scale scale = testing::small_hostile_scale();
    testing::http_test_server server;
    for (const testing::hostile_package& p : testing::hostile_packages(scale)) {
        SCOPED_TRACE(p.name);
        const auto path = dir.write(p.name + ".zel", p.image);
        server.put("/" + p.name, p.image, "\"h\"");
        const auto read = [&](const zel_archive_reader& reader) {
            if (!p.entry.empty()) {
                reader.get_entry(p.entry);
            }
        };
        remote_options o = quick_options();
        o.tail_size = 4096;
        EXPECT_EQ(what_of([&] {
                      read(zel_archive_range_reader(server.url("/" + p.name), o, scale.limits));
                  }),
                  what_of([&] { read(zel_archive_file_reader(path, scale.limits)); }));
    }
}

}  // namespace
}  // namespace vorn::zela
