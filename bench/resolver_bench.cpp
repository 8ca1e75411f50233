// The scene resolver on one package of 10,000 blocks and 1,000 binaries: how
// much its caches save.
//
//   cold open     a resolver that keeps nothing maps the file and parses the
//                 scene at every open
//   cached open   the scene comes from the cache
//   binaries      get_cached_binary for the payload, all binaries cached:
//                 500 stored as given (views of the mapping) and 500
//                 deflated (inflated once), from one thread and from two;
//                 the time is that of one call in one thread, the rate
//                 that of all threads together
//   uncached      the same with budgets of 0: every deflated call inflates
//
// The package is written into a scratch directory first and stays in the
// page cache. Binaries are 16 KiB each; the deflated ones are text.
//
//   make bench BENCH=resolver_bench
#include <stdlib.h>
#include <sys/resource.h>

#include <chrono>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "zel/foundation/generic_param.hpp"
#include "zel/scene/scene_resolver.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/writer/file_writer.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vorn;
using clock_type = std::chrono::steady_clock;

constexpr int block_count = 10000;
constexpr int binary_count = 1000;
constexpr std::size_t binary_size = 16 * 1024;

std::string binary_bytes(int number) {
    std::string bytes(binary_size, '\0');
    auto random = vorn::testing::pseudo_random::numbered(static_cast<std::uint64_t>(number));
    static const char* const words[] = {"mesh ", "light ", "plate ", "wood ", "0.25 ", "1.0 "};
    std::size_t at = 0;
    while (at < bytes.size()) {
        const std::uint64_t x = random.next();
        if (number % 2 == 0) {
            bytes[at++] = static_cast<char>(x >> 56);
            continue;
        }
        for (const char* w = words[x % 6]; *w != '\0' && at < bytes.size(); ++w) {
            bytes[at++] = *w;
        }
    }
    return bytes;
}

std::string binary_name(int number) {
    return "binaries/" + std::to_string(number) + (number % 2 == 0 ? ".raw" : ".txt");
}

void write_package(const fs::path& path) {
    zel::zel_file_writer writer(path, false, true);
    writer.add_uncompressed_extension(".raw");
    for (int b = 0; b < block_count; ++b) {
        zel::zel_block& block =
            writer.add_block(b % 3 == 0 ? "mesh" : "material", "block" + std::to_string(b));
        block.add_parameter("index", generic_param(b));
        block.add_parameter("gain", generic_param(0.5 + b));
        if (b > 0) {
            block.add_link("next", "block" + std::to_string(b - 1), "");
        }
        if (b < binary_count) {
            const std::string bytes = binary_bytes(b);
            block.add_binary_link_with_data("data", binary_name(b), bytes.data(), bytes.size());
        }
    }
}

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

// Calls per second of get_cached_binary over the binaries of one parity,
// each thread walking all of them rounds times.
double binaries_per_second(zel::zel_scene_resolver& resolver,
                           const std::shared_ptr<zel::zel_file_index>& index, int parity,
                           int threads, int rounds) {
    std::vector<std::string> names;
    for (int n = parity; n < binary_count; n += 2) {
        names.push_back(binary_name(n));
    }
    for (const std::string& name : names) {
        resolver.get_cached_binary(index, name, false);  // warm the caches
    }
    const auto start = clock_type::now();
    std::vector<std::thread> workers;
    for (int t = 0; t < threads; ++t) {
        workers.emplace_back([&] {
            std::uint64_t sum = 0;
            for (int r = 0; r < rounds; ++r) {
                for (const std::string& name : names) {
                    sum += resolver.get_cached_binary(index, name, false)->size();
                }
            }
            if (sum != static_cast<std::uint64_t>(rounds) * names.size() * binary_size) {
                std::fprintf(stderr, "wrong sizes\n");
                std::exit(1);
            }
        });
    }
    for (std::thread& w : workers) {
        w.join();
    }
    return static_cast<double>(threads) * rounds * names.size() / seconds_since(start);
}

}  // namespace

int main() {
    std::string pattern = (fs::temp_directory_path() / "zel-resolver-bench-XXXXXX").string();
    const fs::path directory = ::mkdtemp(pattern.data());
    const fs::path package = directory / "scene.zel";
    write_package(package);
    std::printf("package: %d blocks, %d binaries of %zu KiB (half deflated), %.1f MB\n\n",
                block_count, binary_count, binary_size / 1024,
                static_cast<double>(fs::file_size(package)) / 1e6);

    constexpr int cold_opens = 20;
    const auto cold_start = clock_type::now();
    zel::zel_scene_resolver keeps_nothing(0, 0, 0);
    for (int i = 0; i < cold_opens; ++i) {
        keeps_nothing.open_file_index(package);
    }
    const double cold = seconds_since(cold_start) / cold_opens;

    constexpr int cached_opens = 200000;
    zel::zel_scene_resolver resolver(1000000, 1 << 30, 1 << 30);
    const auto index = resolver.open_file_index(package);
    const auto cached_start = clock_type::now();
    for (int i = 0; i < cached_opens; ++i) {
        resolver.open_file_index(package);
    }
    const double cached = seconds_since(cached_start) / cached_opens;

    std::printf("%-34s %16s %18s\n", "operation", "time per call", "calls per second");
    std::printf("%-34s %13.3f ms %18.0f\n", "open, cold (map and parse)", cold * 1e3, 1 / cold);
    std::printf("%-34s %13.3f us %18.0f\n", "open, cached", cached * 1e6, 1 / cached);
    const struct {
        const char* what;
        int parity;
        int threads;
        bool cache;
    } runs[] = {
        {"binary stored, 1 thread", 0, 1, true},   {"binary stored, 2 threads", 0, 2, true},
        {"binary deflated, 1 thread", 1, 1, true}, {"binary deflated, 2 threads", 1, 2, true},
        {"binary stored, uncached", 0, 1, false},  {"binary deflated, uncached", 1, 1, false},
    };
    for (const auto& run : runs) {
        zel::zel_scene_resolver& used = run.cache ? resolver : keeps_nothing;
        const int rounds = run.cache ? 400 : (run.parity == 0 ? 200 : 4);
        const double rate = binaries_per_second(used, index, run.parity, run.threads, rounds);
        std::printf("%-34s %13.3f us %18.0f\n", run.what, 1e6 * run.threads / rate, rate);
    }
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    std::printf("\npeak memory: %.1f MB\n", static_cast<double>(usage.ru_maxrss) / 1024);
    fs::remove_all(directory);
    return 0;
}
