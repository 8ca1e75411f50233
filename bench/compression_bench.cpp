// Throughput of the archive's compression streams on the reference inputs,
// next to zlib's own deflate at level 6 in the same run; and inflating: a
// compressed entry fetched with get_entry, which inflates in one call into a
// buffer of its recorded size, next to zlib's one-call uncompress of the same
// stream into a buffer that is already there, on every reference input of 64
// KiB and more. The last lines give, for these, the geometric mean of
// get_entry's speed over uncompress's, by CPU time, which a machine shared
// with other work disturbs less than the wall clock.
//
//   make bench BENCH=compression_bench
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <zlib.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
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

// The reference inputs of 64 KiB and more, each a compressed entry of one
// package written once into a scratch directory.
class inflate_package {
  public:
    inflate_package() {
        std::string pattern =
            (std::filesystem::temp_directory_path() / "zel-compression-bench-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        const auto path = directory_ / "inputs.zel";
        {
            vorn::zela::zel_archive_file_appender<vorn::parallel::mutex_traits_no_op> a(path, true);
            for (const auto& file : std::filesystem::directory_iterator(inputs)) {
                if (file.file_size() >= 64 * 1024) {
                    names_.push_back(file.path().filename().string());
                    const std::string input = read_input(names_.back());
                    a.add_entry(names_.back(), input.data(), input.size(), true, false);
                }
            }
        }
        std::sort(names_.begin(), names_.end());
        reader_ = std::make_unique<vorn::zela::zel_archive_file_reader>(path);
    }
    ~inflate_package() {
        reader_.reset();
        std::error_code ignored;
        std::filesystem::remove_all(directory_, ignored);
    }

    const std::vector<std::string>& names() const { return names_; }
    const vorn::zela::zel_archive_file_reader& reader() const { return *reader_; }

  private:
    std::filesystem::path directory_;
    std::vector<std::string> names_;
    std::unique_ptr<vorn::zela::zel_archive_file_reader> reader_;
};

const inflate_package& package() {
    static const inflate_package instance;
    return instance;
}

void inflate_get_entry(benchmark::State& state, const std::string& name) {
    const auto& reader = package().reader();
    std::uint64_t size = 0;
    for (auto _ : state) {
        const auto payload = reader.get_entry(name);
        size = payload->size();
        benchmark::DoNotOptimize(payload->data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * size));
}

void inflate_uncompress(benchmark::State& state, const std::string& name) {
    const auto stream = package().reader().get_raw_entry(name);
    std::vector<Bytef> payload(stream->pending_size());
    for (auto _ : state) {
        uLongf size = payload.size();
        if (uncompress(payload.data(), &size, reinterpret_cast<const Bytef*>(stream->data()),
                       static_cast<uLong>(stream->size())) != Z_OK) {
            state.SkipWithError("zlib could not inflate the entry");
            return;
        }
        benchmark::DoNotOptimize(payload.data());
    }
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * payload.size()));
}

constexpr const char* get_entry_prefix = "inflate/get_entry/";
constexpr const char* uncompress_prefix = "inflate/uncompress/";

// The console's report, and the time of every run kept for the summary.
class summary_reporter : public benchmark::ConsoleReporter {
  public:
    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type == Run::RT_Iteration && !run.error_occurred) {
                seconds_[run.benchmark_name()] = run.GetAdjustedCPUTime();
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    // get_entry's speed over uncompress's for each input both ran, and their
    // geometric mean.
    void print_inflate_summary() const {
        double log_sum = 0;
        int count = 0;
        for (const std::string& name : package().names()) {
            const auto ours = seconds_.find(get_entry_prefix + name);
            const auto theirs = seconds_.find(uncompress_prefix + name);
            if (ours == seconds_.end() || theirs == seconds_.end()) {
                continue;
            }
            const double ratio = theirs->second / ours->second;
            std::printf("%-28s get_entry at %.2f times uncompress\n", name.c_str(), ratio);
            log_sum += std::log(ratio);
            ++count;
        }
        if (count > 0) {
            std::printf("geometric mean over %d inputs of 64 KiB and more: %.2f\n", count,
                        std::exp(log_sum / count));
        }
    }

  private:
    std::map<std::string, double> seconds_;
};

const bool registered = [] {
    for (const char* name : names) {
        benchmark::RegisterBenchmark((std::string("deflate/zel/") + name).c_str(), deflate_zel,
                                     std::string(name));
        benchmark::RegisterBenchmark((std::string("deflate/zlib6/") + name).c_str(), deflate_zlib6,
                                     std::string(name));
    }
    for (const char* name : names) {
        benchmark::RegisterBenchmark((std::string("inflate/stream/") + name).c_str(), inflate_zel,
                                     std::string(name));
    }
    for (const std::string& name : package().names()) {
        benchmark::RegisterBenchmark((get_entry_prefix + name).c_str(), inflate_get_entry, name);
        benchmark::RegisterBenchmark((uncompress_prefix + name).c_str(), inflate_uncompress, name);
    }
    return true;
}();

}  // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    summary_reporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    reporter.print_inflate_summary();
    benchmark::Shutdown();
    return 0;
}
