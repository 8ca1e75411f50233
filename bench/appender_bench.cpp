// Throughput of the appender, next to the raw cost of its two jobs in the
// same run: writing the same bytes with fwrite, and compressing them with the
// encoder alone. The difference is the archive layer's own overhead
// (hashing, tables, placing, and the table of contents at close).
//
//   make bench BENCH=appender_bench
//
// Inputs: "small" is 20000 distinct entries of 1 KiB of scene-like text,
// "large" is 8 distinct entries of 4 MiB of the same kind.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <filesystem>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/zlib_stream.hpp"

namespace {

using appender = vorn::zela::zel_archive_file_appender<vorn::parallel::mutex_traits_no_op>;

std::vector<std::string> make_payloads(std::size_t count, std::size_t size) {
    std::vector<std::string> payloads;
    std::uint32_t seed = 12345;
    for (std::size_t n = 0; n < count; ++n) {
        std::string p = "entry " + std::to_string(n) + "\n";
        while (p.size() < size) {
            seed = seed * 1103515245u + 12345u;
            p += "<param name=\"p" + std::to_string(seed >> 24) + "\" type=\"double\">" +
                 std::to_string((seed >> 8) % 100000) + ".5</param>\n";
        }
        p.resize(size);
        payloads.push_back(std::move(p));
    }
    return payloads;
}

const std::vector<std::string>& payloads(bool small) {
    static const std::vector<std::string> small_set = make_payloads(20000, 1024);
    static const std::vector<std::string> large_set = make_payloads(8, 4 << 20);
    return small ? small_set : large_set;
}

std::int64_t total_bytes(const std::vector<std::string>& set) {
    std::int64_t total = 0;
    for (const std::string& p : set) {
        total += static_cast<std::int64_t>(p.size());
    }
    return total;
}

const std::filesystem::path target = std::filesystem::temp_directory_path() / "zel-bench.zel";

void appender_run(benchmark::State& state, bool small, bool compress) {
    const auto& set = payloads(small);
    for (auto _ : state) {
        appender archive(target, true);
        for (std::size_t n = 0; n < set.size(); ++n) {
            archive.add_entry("e" + std::to_string(n), set[n].data(), set[n].size(), compress,
                              false);
        }
    }
    state.SetBytesProcessed(state.iterations() * total_bytes(set));
    state.counters["entries/s"] = benchmark::Counter(
        static_cast<double>(set.size()) * static_cast<double>(state.iterations()),
        benchmark::Counter::kIsRate);
}

void fwrite_run(benchmark::State& state, bool small) {
    const auto& set = payloads(small);
    for (auto _ : state) {
        std::FILE* f = std::fopen(target.c_str(), "wb");
        for (const std::string& p : set) {
            std::fwrite(p.data(), 1, p.size(), f);
        }
        std::fclose(f);
    }
    state.SetBytesProcessed(state.iterations() * total_bytes(set));
}

void encoder_run(benchmark::State& state, bool small) {
    const auto& set = payloads(small);
    std::vector<char> out;
    for (auto _ : state) {
        for (const std::string& p : set) {
            out.clear();
            vorn::zlib_deflate(
                [&out](const char* b, std::size_t n) { out.insert(out.end(), b, b + n); }, p.data(),
                p.size());
        }
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(state.iterations() * total_bytes(set));
}

const bool registered = [] {
    for (const bool small : {true, false}) {
        const std::string size = small ? "small" : "large";
        benchmark::RegisterBenchmark(("stored/appender/" + size).c_str(), appender_run, small,
                                     false);
        benchmark::RegisterBenchmark(("stored/fwrite/" + size).c_str(), fwrite_run, small);
        benchmark::RegisterBenchmark(("compressed/appender/" + size).c_str(), appender_run, small,
                                     true);
        benchmark::RegisterBenchmark(("compressed/encoder/" + size).c_str(), encoder_run, small);
    }
    return true;
}();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    std::filesystem::remove(target);
}
