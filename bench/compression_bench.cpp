// Throughput of the archive's compression streams on the reference inputs,
// next to zlib's own deflate at level 6 in the same run.
//
//   make bench BENCH=compression_bench
#include <benchmark/benchmark.h>
#include <zlib.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "zel/archive/zlib_stream.hpp"

namespace {

const std::filesystem::path inputs =
    std::filesystem::path(ZEL_TEST_DATA_DIR) / "deflate" / "inputs";

const char* const names[] = {"scene-xml-600k.xml", "words-2m.txt",     "code-35k.txt",
                             "floats-512k.bin",    "records-120k.bin", "mixed-1m.bin",
                             "random-300k.bin",    "zeros-1m.bin"};

std::string read_input(const std::string& name) {
    std::ifstream in(inputs / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// zlib's deflate at level 6, driven like the archive's stream: 4096 bytes of
// output space at a time, appended to a vector.
void zlib_level6(std::vector<char>& out, const std::string& input) {
    z_stream stream{};
    deflateInit(&stream, 6);
    stream.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(input.data()));
    stream.avail_in = static_cast<uInt>(input.size());
    int status;
    do {
        Bytef buffer[4096];
        stream.next_out = buffer;
        stream.avail_out = sizeof buffer;
        status = deflate(&stream, Z_FINISH);
        out.insert(out.end(), buffer, buffer + (sizeof buffer - stream.avail_out));
    } while (status != Z_STREAM_END);
    deflateEnd(&stream);
}

void deflate_zel(benchmark::State& state, const std::string& name) {
    const std::string input = read_input(name);
    std::vector<char> out;
    for (auto _ : state) {
        out.clear();
        vorn::zlib_deflate([&](const char* p, std::size_t n) { out.insert(out.end(), p, p + n); },
                           input.data(), input.size());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
    state.counters["ratio"] = double(out.size()) / double(input.size());
}

void deflate_zlib6(benchmark::State& state, const std::string& name) {
    const std::string input = read_input(name);
    std::vector<char> out;
    for (auto _ : state) {
        out.clear();
        zlib_level6(out, input);
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
    state.counters["ratio"] = double(out.size()) / double(input.size());
}

void inflate_zel(benchmark::State& state, const std::string& name) {
    const std::string input = read_input(name);
    std::vector<char> stream;
    vorn::zlib_deflate([&](const char* p, std::size_t n) { stream.insert(stream.end(), p, p + n); },
                       input.data(), input.size());
    std::vector<char> out;
    out.reserve(input.size());
    for (auto _ : state) {
        out.clear();
        vorn::zlib_inflate([&](const char* p, std::size_t n) { out.insert(out.end(), p, p + n); },
                           stream.data(), stream.size());
        benchmark::DoNotOptimize(out.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * input.size()));
}

const bool registered = [] {
    for (const char* name : names) {
        benchmark::RegisterBenchmark((std::string("deflate/zel/") + name).c_str(), deflate_zel,
                                     std::string(name));
        benchmark::RegisterBenchmark((std::string("deflate/zlib6/") + name).c_str(), deflate_zlib6,
                                     std::string(name));
    }
    for (const char* name : names) {
        benchmark::RegisterBenchmark((std::string("inflate/") + name).c_str(), inflate_zel,
                                     std::string(name));
    }
    return true;
}();

}  // namespace

BENCHMARK_MAIN();
