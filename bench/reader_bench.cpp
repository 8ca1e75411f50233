// Reading every entry of a package with the file reader, next to the least
// the same work could cost in the same run: copying the stored bytes with
// memcpy, and inflating the compressed ones with zlib alone into a buffer
// that is already large enough.
//
// The package, written once into a scratch directory before the runs: 64
// entries stored as given, 128 KiB of pseudo-random bytes each, and 64
// deflated entries of 128 KiB of text, slices of the scene XML and word list
// inputs under tests/data/deflate. It stays in the page cache throughout.
//
//   make bench BENCH=reader_bench
#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <zlib.h>

#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "zel/archive/appender.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/testing/pseudo_random_test.hpp"

namespace {

namespace fs = std::filesystem;
using vorn::zela::zel_archive_file_reader;

constexpr std::size_t entry_size = 128 * 1024;
constexpr std::size_t entries_of_each_kind = 64;

std::string read_input(const std::string& name) {
    std::ifstream in(fs::path(ZEL_TEST_DATA_DIR) / "deflate" / "inputs" / name, std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

std::string noise(std::uint64_t seed) {
    return vorn::testing::pseudo_random_bytes(entry_size,
                                              vorn::testing::pseudo_random::numbered(seed));
}

class sample_package {
  public:
    sample_package() {
        std::string pattern = (fs::temp_directory_path() / "zel-reader-bench-XXXXXX").string();
        directory_ = ::mkdtemp(pattern.data());
        path_ = directory_ / "sample.zel";
        const std::string texts[] = {read_input("scene-xml-600k.xml"), read_input("words-2m.txt")};
        vorn::zela::zel_archive_file_appender<vorn::parallel::mutex_traits_no_op> a(path_, true);
        for (std::size_t i = 0; i < entries_of_each_kind; ++i) {
            const std::string stored = noise(i);
            stored_names_.push_back("stored/" + std::to_string(i));
            a.add_entry(stored_names_.back(), stored.data(), stored.size(), false, false);

            const std::string& text = texts[i % 2];
            const std::size_t start = (i / 2) * ((text.size() - entry_size) / entries_of_each_kind);
            deflated_names_.push_back("deflated/" + std::to_string(i));
            a.add_entry(deflated_names_.back(), text.data() + start, entry_size, true, false);
        }
    }
    ~sample_package() {
        std::error_code ignored;
        fs::remove_all(directory_, ignored);
    }

    const fs::path& path() const { return path_; }
    const std::vector<std::string>& stored_names() const { return stored_names_; }
    const std::vector<std::string>& deflated_names() const { return deflated_names_; }

  private:
    fs::path directory_;
    fs::path path_;
    std::vector<std::string> stored_names_;
    std::vector<std::string> deflated_names_;
};

const sample_package& package() {
    static const sample_package instance;
    return instance;
}

const zel_archive_file_reader& reader() {
    static const zel_archive_file_reader instance(package().path());
    return instance;
}

void report(benchmark::State& state, std::size_t entries) {
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * entries * entry_size));
    state.counters["entries/s"] = benchmark::Counter(
        static_cast<double>(state.iterations() * entries), benchmark::Counter::kIsRate);
}

// A stored entry is a view of the mapping: nothing is copied.
void stored_reader(benchmark::State& state) {
    for (auto _ : state) {
        for (const std::string& name : package().stored_names()) {
            benchmark::DoNotOptimize(reader().get_entry(name)->data());
        }
    }
    report(state, entries_of_each_kind);
}

// The same bytes copied out of the mapping, as a reader without views would.
void stored_memcpy(benchmark::State& state) {
    std::vector<std::shared_ptr<const vorn::read_buffer>> views;
    for (const std::string& name : package().stored_names()) {
        views.push_back(reader().get_raw_entry(name));
    }
    std::vector<char> copy(entry_size);
    for (auto _ : state) {
        for (const auto& view : views) {
            std::memcpy(copy.data(), view->data(), view->size());
            benchmark::ClobberMemory();
        }
    }
    report(state, entries_of_each_kind);
}

void deflated_reader(benchmark::State& state) {
    for (auto _ : state) {
        for (const std::string& name : package().deflated_names()) {
            benchmark::DoNotOptimize(reader().get_entry(name)->data());
        }
    }
    report(state, entries_of_each_kind);
}

// zlib's one-call inflate of the same streams into a buffer that is there
// already: the floor under the reader's own cost.
void deflated_zlib(benchmark::State& state) {
    std::vector<std::shared_ptr<const vorn::read_buffer>> streams;
    for (const std::string& name : package().deflated_names()) {
        streams.push_back(reader().get_raw_entry(name));
    }
    std::vector<Bytef> payload(entry_size);
    for (auto _ : state) {
        for (const auto& stream : streams) {
            uLongf size = payload.size();
            if (uncompress(payload.data(), &size, reinterpret_cast<const Bytef*>(stream->data()),
                           static_cast<uLong>(stream->size())) != Z_OK) {
                state.SkipWithError("zlib could not inflate an entry");
                return;
            }
            benchmark::DoNotOptimize(payload.data());
        }
    }
    report(state, entries_of_each_kind);
}

// Opening the package, its table of contents included, and reading all.
void open_and_read_all(benchmark::State& state) {
    for (auto _ : state) {
        const zel_archive_file_reader fresh(package().path());
        for (const auto* names : {&package().stored_names(), &package().deflated_names()}) {
            for (const std::string& name : *names) {
                benchmark::DoNotOptimize(fresh.get_entry(name)->data());
            }
        }
    }
    report(state, 2 * entries_of_each_kind);
}

BENCHMARK(stored_reader)->Unit(benchmark::kMicrosecond);
BENCHMARK(stored_memcpy)->Unit(benchmark::kMicrosecond);
BENCHMARK(deflated_reader)->Unit(benchmark::kMillisecond);
BENCHMARK(deflated_zlib)->Unit(benchmark::kMillisecond);
BENCHMARK(open_and_read_all)->Unit(benchmark::kMillisecond);

}  // namespace

BENCHMARK_MAIN();
