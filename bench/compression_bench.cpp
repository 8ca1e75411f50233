// Throughput of the archive's compression streams on every reference input,
// from the empty one to 2 MiB, and on two large inputs made of them (all of
// them one after the other, 7.5 MiB; the scene document 40 times, 23 MiB),
// next to zlib's own deflate at level 6 on the same input in the same run; and inflating: a
// compressed entry fetched with get_entry, which inflates in one call into a buffer of its recorded
// size, next to zlib's one-call uncompress of the same stream into a buffer that is already there,
// on every reference input of 64 KiB and more. After the runs two summary tables give both speeds
// per input and the geometric mean of their ratios: for deflating over all inputs, small ones
// included, since callers with many small payloads pay the set-up of each stream as often as they
// pay for its bytes.
//
//   make bench BENCH=compression_bench
//   make bench BENCH=compression_bench BENCH_ARGS=--benchmark_repetitions=5
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
#include "zel/archive/internal/deflate/deflate_encoder.hpp"
#include "zel/archive/zlib_stream.hpp"

namespace {

const std::filesystem::path inputs =
    std::filesystem::path(ZEL_TEST_DATA_DIR) / "deflate" / "inputs";

const std::string zel_prefix = "deflate/zel/";
const std::string zlib_prefix = "deflate/zlib6/";

// The large inputs, deflated on several threads from 4 MiB on; the encoder
// on one thread ("deflate/zel-serial/") runs beside them. Times of deflating
// are wall times, and the CPU column counts the time of every thread.
const std::string serial_prefix = "deflate/zel-serial/";
const std::string all_inputs = "all-inputs-7m";
const std::string scene_x40 = "scene-xml-x40";

// Inflate is measured on the larger inputs only; its speed is not in
// question here.
constexpr std::uintmax_t inflate_min_size = 32 * 1024;

struct input_file {
    std::string name;
    std::uintmax_t size;
};

// Smallest first, so that the report reads from set-up cost to throughput.
std::vector<input_file> list_inputs() {
    std::vector<input_file> files;
    for (const auto& entry : std::filesystem::directory_iterator(inputs)) {
        files.push_back({entry.path().filename().string(), entry.file_size()});
    }
    std::sort(files.begin(), files.end(), [](const input_file& a, const input_file& b) {
        return a.size != b.size ? a.size < b.size : a.name < b.name;
    });
    return files;
}

std::string read_file(const std::filesystem::path& path) {
    std::ifstream in(path, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string read_input(const std::string& name) {
    if (name == all_inputs) {
        std::string all;
        for (const input_file& file : list_inputs()) {
            all += read_file(inputs / file.name);
        }
        return all;
    }
    if (name == scene_x40) {
        const std::string scene = read_file(inputs / "scene-xml-600k.xml");
        std::string out;
        for (int i = 0; i < 40; ++i) {
            out += scene;
        }
        return out;
    }
    return read_file(inputs / name);
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

void set_counters(benchmark::State& state, std::size_t in, std::size_t out) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * in));
    state.counters["ratio"] = in == 0 ? 0.0 : double(out) / double(in);
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
    set_counters(state, input.size(), out.size());
}

void deflate_serial(benchmark::State& state, const std::string& name) {
    const std::string input = read_input(name);
    std::vector<char> out;
    for (auto _ : state) {
        out.clear();
        vorn::deflate::deflate_encoder encoder;
        const auto* in = reinterpret_cast<const std::uint8_t*>(input.data());
        std::size_t in_size = input.size();
        vorn::deflate::stream_status status;
        do {
            std::uint8_t buffer[4096];
            std::uint8_t* next = buffer;
            std::size_t left = sizeof buffer;
            status = encoder.deflate(in, in_size, next, left, true);
            out.insert(out.end(), buffer, next);
        } while (status == vorn::deflate::stream_status::ok);
        benchmark::DoNotOptimize(out.data());
    }
    set_counters(state, input.size(), out.size());
}

void deflate_zlib6(benchmark::State& state, const std::string& name) {
    const std::string input = read_input(name);
    std::vector<char> out;
    for (auto _ : state) {
        out.clear();
        zlib_level6(out, input);
        benchmark::DoNotOptimize(out.data());
    }
    set_counters(state, input.size(), out.size());
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

// The console report, followed by the side-by-side summary. Of repeated runs
// the fastest counts, since other load on the machine only ever slows a run.
class summary_reporter : public benchmark::ConsoleReporter {
  public:
    explicit summary_reporter(std::vector<input_file> files) : files_(std::move(files)) {}

    void ReportRuns(const std::vector<Run>& runs) override {
        for (const Run& run : runs) {
            if (run.run_type != Run::RT_Iteration || run.error_occurred || run.iterations == 0) {
                continue;
            }
            const double seconds = run.real_accumulated_time / double(run.iterations);
            auto [at, fresh] = best_.try_emplace(run.run_name.function_name, seconds);
            if (!fresh) {
                at->second = std::min(at->second, seconds);
            }
        }
        ConsoleReporter::ReportRuns(runs);
    }

    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\n%-28s %9s %10s %10s %9s %9s %8s\n", "input", "bytes", "zel us", "zlib6 us",
                    "zel MB/s", "zlib MB/s", "zel/zlib");
        double log_sum = 0;
        int count = 0;
        for (const input_file& file : files_) {
            const auto zel = best_.find(zel_prefix + file.name);
            const auto zlib = best_.find(zlib_prefix + file.name);
            if (zel == best_.end() || zlib == best_.end()) {
                continue;
            }
            const double speedup = zlib->second / zel->second;
            log_sum += std::log(speedup);
            ++count;
            std::printf("%-28s %9ju %10.2f %10.2f %9.1f %9.1f %8.2f\n", file.name.c_str(),
                        file.size, zel->second * 1e6, zlib->second * 1e6,
                        megabytes_per_second(file.size, zel->second),
                        megabytes_per_second(file.size, zlib->second), speedup);
        }
        if (count != 0) {
            std::printf("geometric mean of zel/zlib over %d inputs: %.3f\n", count,
                        std::exp(log_sum / count));
        }
        print_serial_summary();
        print_inflate_summary();
    }

  private:
    // The large inputs deflated by zlib_deflate (on several threads when the
    // machine has them) next to the encoder on one thread.
    void print_serial_summary() const {
        for (const input_file& file : files_) {
            const auto zel = best_.find(zel_prefix + file.name);
            const auto serial = best_.find(serial_prefix + file.name);
            if (zel == best_.end() || serial == best_.end()) {
                continue;
            }
            std::printf("%-28s zlib_deflate %.1f MB/s, one thread %.1f MB/s: %.2f times\n",
                        file.name.c_str(), megabytes_per_second(file.size, zel->second),
                        megabytes_per_second(file.size, serial->second),
                        serial->second / zel->second);
        }
    }

    // get_entry's speed over uncompress's for each input both ran, and their
    // geometric mean.
    void print_inflate_summary() const {
        double log_sum = 0;
        int count = 0;
        for (const std::string& name : package().names()) {
            const auto ours = best_.find(get_entry_prefix + name);
            const auto theirs = best_.find(uncompress_prefix + name);
            if (ours == best_.end() || theirs == best_.end()) {
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

    static double megabytes_per_second(std::uintmax_t bytes, double seconds) {
        return double(bytes) / seconds / 1e6;
    }

    std::vector<input_file> files_;
    std::map<std::string, double> best_;  // seconds per call
};

}  // namespace

int main(int argc, char** argv) {
    const std::vector<input_file> reference_files = list_inputs();
    std::vector<input_file> files = reference_files;
    for (const std::string& name : {all_inputs, scene_x40}) {
        files.push_back({name, read_input(name).size()});
    }
    for (const input_file& file : files) {
        benchmark::RegisterBenchmark((zel_prefix + file.name).c_str(), deflate_zel, file.name)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
        if (file.size >= 4u << 20) {
            benchmark::RegisterBenchmark((serial_prefix + file.name).c_str(), deflate_serial,
                                         file.name)
                ->MeasureProcessCPUTime()
                ->UseRealTime();
        }
        benchmark::RegisterBenchmark((zlib_prefix + file.name).c_str(), deflate_zlib6, file.name)
            ->MeasureProcessCPUTime()
            ->UseRealTime();
    }
    for (const input_file& file : reference_files) {
        if (file.size >= inflate_min_size) {
            benchmark::RegisterBenchmark(("inflate/" + file.name).c_str(), inflate_zel, file.name);
        }
    }
    for (const std::string& name : package().names()) {
        benchmark::RegisterBenchmark((get_entry_prefix + name).c_str(), inflate_get_entry, name);
        benchmark::RegisterBenchmark((uncompress_prefix + name).c_str(), inflate_uncompress, name);
    }
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 1;
    }
    summary_reporter reporter(files);
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
