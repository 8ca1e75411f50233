// Reading a scene whose binaries live in a content library on a web server:
// what it costs the server, the network and the clock, beside the same work
// on the local files and beside downloading the whole library with curl.
//
// Input: a content library of 10,000 binaries of about 100 KiB, half stored
// as given (".png", random bytes) and half deflated (".bin", partly text),
// and four stored entries of 64 MiB, 1.16 GB in all; a scene package of 200 blocks,
// each linking one binary of the library, spread over all of it. nginx
// serves both on loopback, from the distribution's package.
//
// Runs, each with a fresh resolver over the scene:
//   local        the files on disk
//   remote cold  the URLs, with an empty node cache
//   remote warm  the URLs again, with the node cache the cold run filled
//   no cache     the URLs without a node cache, with 16 requests in flight (the
//                default) and with 8
// Each opens a scene graph over the scene package, with the library's alias
// redirected to the library, and resolves every link (this opens both
// packages: two requests each, header and tail), then fetches every binary
// the scene uses in one batch (zel_scene_graph::get_binaries). The
// counts of requests and bytes come from nginx's access log; "bytes used"
// are the stored bytes of the entries the scene uses, and "waves" the
// requests of the batch over the requests in flight: the round trips a node
// waits for when the network's latency, not loopback's bandwidth, is what
// costs.
// Then the large entries, one request each, beside curl fetching the same
// byte ranges, in nine alternated turns (median and best); and curl
// downloading the whole library.
//
//   make bench BENCH=remote_bench [BENCH_ARGS="--keep DIR"]
//
// --keep DIR writes the inputs to DIR once and serves them from there in
// later runs; without it they are written to a scratch directory each run.
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/archive/remote_options.hpp"
#include "zel/foundation/generic_param.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"
#include "zel/testing/nginx_server_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/testing/streams_test.hpp"
#include "zel/writer/file_writer.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vorn;
using clock_type = std::chrono::steady_clock;

constexpr int binary_count = 10000;
constexpr std::size_t binary_size = 100 * 1024;
constexpr int large_count = 4;
constexpr std::size_t large_size = std::size_t{64} << 20;
constexpr int large_turns = 9;
constexpr int linked_count = 200;
constexpr const char* alias = "TextureLibrary";
constexpr const char* curl_program = "/usr/bin/curl";

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

// Random bytes for a stored binary; for a deflated one, kilobytes of random
// bytes and of text, seven to three, so that it deflates to about three
// quarters. number makes every binary differ from every other.
std::string binary_bytes(int number, std::size_t size) {
    std::string bytes(size, '\0');
    std::uint64_t x = static_cast<std::uint64_t>(number) * 0x9E3779B97F4A7C15 + 1;
    static const char* const words[] = {"mesh ", "light ", "plate ", "wood ", "0.25 ", "1.0 "};
    std::size_t at = 0;
    while (at < bytes.size()) {
        x ^= x << 13;
        x ^= x >> 7;
        x ^= x << 17;
        if (number % 2 == 0 || (at >> 10) % 10 < 7) {
            bytes[at++] = static_cast<char>(x >> 56);
            continue;
        }
        for (const char* w = words[x % 6]; *w != '\0' && at < bytes.size(); ++w) {
            bytes[at++] = *w;
        }
    }
    return bytes;
}

// Printed rather than joined with +, which g++ 12 warns about wrongly under
// -O2.
std::string numbered(const char* prefix, int number) {
    char name[32];
    std::snprintf(name, sizeof name, "%s%d", prefix, number);
    return name;
}

std::string binary_name(int number) {
    char name[32];
    std::snprintf(name, sizeof name, "textures/t%05d.%s", number, number % 2 == 0 ? "png" : "bin");
    return name;
}

std::string large_name(int number) {
    char name[32];
    std::snprintf(name, sizeof name, "large/l%d.png", number);
    return name;
}

void write_library(const fs::path& path) {
    zel::zel_file_writer writer(path, false, true);
    writer.add_uncompressed_extension(".png");
    zel::zel_block& catalogue = writer.add_block("texture_set", "all");
    for (int i = 0; i < binary_count; ++i) {
        const std::string bytes = binary_bytes(i, binary_size + static_cast<std::size_t>(i % 97));
        catalogue.add_binary_link_with_data(numbered("t", i), binary_name(i), bytes.data(),
                                            bytes.size());
    }
    for (int i = 0; i < large_count; ++i) {
        const std::string bytes = binary_bytes(2 * (binary_count + i), large_size);
        writer.add_binary_data(large_name(i), bytes.data(), bytes.size());
    }
    writer.close();
}

// The binary that block i of the scene links: spread over the library.
int linked_binary(int i) {
    return i * (binary_count / linked_count) + (i * 7) % (binary_count / linked_count);
}

void write_scene(const fs::path& path) {
    zel::zel_file_writer writer(path, false, true);
    writer.add_referenced_library(alias);
    for (int i = 0; i < linked_count; ++i) {
        zel::zel_block& material = writer.add_block("material", numbered("m", i));
        material.add_parameter("roughness", generic_param(0.25f + 0.001f * i));
        material.add_binary_link("texture", binary_name(linked_binary(i)), alias);
    }
    writer.close();
}

struct traffic {
    std::size_t requests = 0;
    std::uint64_t bytes = 0;
};

class counted_server {
  public:
    explicit counted_server(testing::nginx_server& server) : server_(server) {}

    // What the server answered since the last call.
    traffic since_last() {
        const auto all = server_.requests();
        traffic t;
        for (std::size_t i = seen_; i < all.size(); ++i) {
            ++t.requests;
            t.bytes += all[i].body_bytes;
        }
        seen_ = all.size();
        return t;
    }

  private:
    testing::nginx_server& server_;
    std::size_t seen_ = 0;
};

struct run_result {
    const char* what;
    bool counted = false;  // served by nginx, whose log counts the traffic
    traffic open;
    traffic batch;
    double open_seconds = 0;
    double batch_seconds = 0;
    std::uint64_t used = 0;
    unsigned parallel = 0;
};

// The binary links of a scene, sorted.
std::vector<std::string> binary_links(const zel::zel_file_index& scene) {
    std::vector<std::string> links;
    scene.visit_blocks([&](intrusive_string, zel::zel_block& block) {
        for (const zel::zel_block::parameter& p : block.parameters()) {
            if (p.value.type().view() == "binary") {
                links.push_back(p.value.value().str());
            }
        }
    });
    std::sort(links.begin(), links.end());
    return links;
}

// Through a scene graph, as a render node reads a scene: the library's alias
// redirected to its location, every link resolved, the binaries fetched in
// one batch.
run_result run(const char* what, const std::string& scene_location,
               const std::string& library_location, const zela::remote_options& options,
               counted_server* server) {
    run_result r{what, server != nullptr, {}, {}};
    r.parallel = options.parallel_requests;
    if (server != nullptr) {
        server->since_last();
    }
    // The scenes are kept; the binaries not, so that every run fetches them.
    const auto resolver = std::make_shared<zel::zel_scene_resolver>(1u << 20, 0, 0, options);
    auto start = clock_type::now();
    const auto graph = zel::open_scene_graph(resolver, scene_location);
    graph->add_file_redirect(alias, library_location);
    const std::vector<std::string> links = binary_links(*graph->root_index());
    std::shared_ptr<zel::zel_file_index> library;
    for (const std::string& link : links) {
        std::string file;
        std::string target;
        graph->resolve_link(link, graph->root_index(), file, target);
        if (!library) {
            library = graph->open_file_index(file);
        }
        r.used += library->archive_reader()->get_entry_record(target)->csize;
    }
    r.open_seconds = seconds_since(start);
    if (server != nullptr) {
        r.open = server->since_last();
    }
    start = clock_type::now();
    const auto payloads = graph->get_binaries(links, false);
    r.batch_seconds = seconds_since(start);
    if (server != nullptr) {
        r.batch = server->since_last();
    }
    std::uint64_t payload = 0;
    for (const auto& p : payloads) {
        payload += p->size();
    }
    if (payloads.size() != links.size() || links.size() != linked_count || payload == 0) {
        throw std::runtime_error(std::string(what) + ": wrong payloads");
    }
    return r;
}

// The times of the large entries' turns, summed over the entries: the sum of
// their medians, and of their best turns.
struct transfer_times {
    double median = 0;
    double best = 0;

    void add(std::vector<double> turns) {
        std::sort(turns.begin(), turns.end());
        median += turns[turns.size() / 2];
        best += turns.front();
    }
};

double megabytes_per_second(std::uint64_t bytes, double seconds) {
    return static_cast<double>(bytes) / 1e6 / seconds;
}

// curl fetching url (a byte range of it, if range is not empty) to
// /dev/null; the seconds the transfer took by curl's own clock, which leaves
// out the start of the process.
//
// curl is started with posix_spawn, not fork: a fork marks every page of
// this process copy-on-write, so the reader's next entry would take a fault
// on each page of the buffer it fills again, which a reader that starts no
// programs never pays.
double curl_seconds(const std::string& url, const std::string& range, const fs::path& scratch) {
    std::vector<std::string> argv = {curl_program, "-sS", "-o", "/dev/null", "-w", "%{time_total}"};
    if (!range.empty()) {
        argv.insert(argv.end(), {"-r", range});
    }
    argv.push_back(url);
    std::vector<char*> args;
    for (std::string& arg : argv) {
        args.push_back(arg.data());
    }
    args.push_back(nullptr);
    const fs::path out = scratch / "curl.out";
    const fs::path err = scratch / "curl.err";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    pid_t pid = 0;
    const int started = ::posix_spawn(&pid, curl_program, &actions, nullptr, args.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    int status = 0;
    if (started != 0 || ::waitpid(pid, &status, 0) != pid || !WIFEXITED(status) ||
        WEXITSTATUS(status) != 0) {
        throw std::runtime_error("curl failed: " + testing::read_file(err));
    }
    return std::stod(testing::read_file(out));
}

}  // namespace

int main(int argc, char** argv) {
    fs::path keep;
    if (argc == 3 && std::strcmp(argv[1], "--keep") == 0) {
        keep = argv[2];
    } else if (argc != 1) {
        std::fprintf(stderr, "usage: remote_bench [--keep DIR]\n");
        return 2;
    }
    try {
        testing::scratch_directory scratch;
        const fs::path inputs = keep.empty() ? scratch.path() / "inputs" : keep;
        fs::create_directories(inputs);
        if (!fs::exists(inputs / "library.zel") || !fs::exists(inputs / "scene.zel")) {
            std::printf("writing the inputs to %s ...\n", inputs.string().c_str());
            std::fflush(stdout);
            write_library(inputs / "library.zel");
            write_scene(inputs / "scene.zel");
        }
        testing::nginx_server server;
        for (const char* name : {"library.zel", "scene.zel"}) {
            fs::create_symlink(fs::absolute(inputs / name), server.root() / name);
        }
        counted_server counted(server);
        const std::uint64_t library_size = fs::file_size(inputs / "library.zel");
        std::printf(
            "library: %d binaries of about %zu KiB (half deflated) and %d of %zu MiB, "
            "%.1f MB; scene: %d links into it\n\n",
            binary_count, binary_size >> 10, large_count, large_size >> 20,
            static_cast<double>(library_size) / 1e6, linked_count);

        zela::remote_options cold;
        cold.cache_directory = scratch.path() / "node-cache";
        const zela::remote_options warm = cold;
        zela::remote_options narrow;
        narrow.parallel_requests = 8;
        // Unreported: brings the local files into the page cache, as they
        // are on a node that reads them again.
        run("local", (inputs / "scene.zel").string(), (inputs / "library.zel").string(), {},
            nullptr);
        const run_result results[] = {
            run("local", (inputs / "scene.zel").string(), (inputs / "library.zel").string(), {},
                nullptr),
            run("remote, cold cache", server.url("scene.zel"), server.url("library.zel"), cold,
                &counted),
            run("remote, warm cache", server.url("scene.zel"), server.url("library.zel"), warm,
                &counted),
            run("no cache, 16 in flight", server.url("scene.zel"), server.url("library.zel"), {},
                &counted),
            run("no cache, 8 in flight", server.url("scene.zel"), server.url("library.zel"), narrow,
                &counted),
        };

        std::printf("%-23s %8s %9s %10s %8s %10s %10s %10s\n", "", "resolve", "resolve", "resolve",
                    "batch", "batch", "bytes", "batch");
        std::printf("%-23s %8s %9s %10s %8s %10s %10s %10s %6s\n", "run", "requests", "bytes",
                    "time", "requests", "bytes", "used", "time", "waves");
        for (const run_result& r : results) {
            if (!r.counted) {
                std::printf("%-23s %8s %9s %7.2f ms %8s %10s %10" PRIu64 " %7.2f ms %6s\n", r.what,
                            "-", "-", r.open_seconds * 1e3, "-", "-", r.used, r.batch_seconds * 1e3,
                            "-");
                continue;
            }
            const std::size_t waves = (r.batch.requests + r.parallel - 1) / r.parallel;
            std::printf("%-23s %8zu %9" PRIu64 " %7.2f ms %8zu %10" PRIu64 " %10" PRIu64
                        " %7.2f ms %6zu\n",
                        r.what, r.open.requests, r.open.bytes, r.open_seconds * 1e3,
                        r.batch.requests, r.batch.bytes, r.used, r.batch_seconds * 1e3, waves);
        }

        // Large entries: the reader's one request each against curl's, nine
        // turns each, taken in alternation. A turn's time on a shared machine
        // swings by half either way, so the median is what compares; the
        // best turns are shown beside it.
        const auto reader = zela::open_archive_reader(server.url("library.zel"));
        const zela::zel_archive_file_reader local_reader(inputs / "library.zel");
        transfer_times reader_times;
        transfer_times curl_times;
        std::uint64_t large_bytes = 0;
        for (int i = 0; i < large_count; ++i) {
            const auto* record = local_reader.get_entry_record(large_name(i));
            const std::string range =
                std::to_string(record->off) + "-" + std::to_string(record->off + record->csize - 1);
            std::vector<double> by_reader;
            std::vector<double> by_curl;
            for (int turn = 0; turn < large_turns; ++turn) {
                const auto start = clock_type::now();
                const auto bytes = reader->get_raw_entry(large_name(i));
                by_reader.push_back(seconds_since(start));
                if (bytes->size() != record->csize) {
                    throw std::runtime_error("wrong size of " + large_name(i));
                }
                by_curl.push_back(curl_seconds(server.url("library.zel"), range, scratch.path()));
            }
            large_bytes += record->csize;
            reader_times.add(by_reader);
            curl_times.add(by_curl);
        }
        const double whole = curl_seconds(server.url("library.zel"), "", scratch.path());
        std::printf("\n%-44s %12s %12s %12s %12s\n", "transfer", "median", "speed", "best",
                    "speed");
        const auto print_times = [&](const char* what, const transfer_times& t) {
            std::printf("%-44s %9.1f ms %7.0f MB/s %9.1f ms %7.0f MB/s\n", what, t.median * 1e3,
                        megabytes_per_second(large_bytes, t.median), t.best * 1e3,
                        megabytes_per_second(large_bytes, t.best));
        };
        print_times("reader: 4 large entries, one request each", reader_times);
        print_times("curl: the same byte ranges", curl_times);
        std::printf("%-44s %9.1f ms %7.0f MB/s\n", "curl: the whole library, once", whole * 1e3,
                    megabytes_per_second(library_size, whole));
        std::printf("reader at %.0f%% of curl's speed on the large entries (best turns: %.0f%%)\n",
                    100 * curl_times.median / reader_times.median,
                    100 * curl_times.best / reader_times.best);

        rusage usage{};
        ::getrusage(RUSAGE_SELF, &usage);
        std::printf("\npeak memory: %.1f MB\n", static_cast<double>(usage.ru_maxrss) / 1024);
    } catch (const std::exception& e) {
        std::fprintf(stderr, "remote_bench: %s\n", e.what());
        return 1;
    }
    return 0;
}
