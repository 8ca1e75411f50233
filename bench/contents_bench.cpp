// Opening the contents file of a large library, and the questions a writer
// asks it.
//
// The library, written once into a scratch directory: 100,000 blocks of
// type "mesh", each linking to a binary of its own of 64 to 127 bytes,
// deflated, so 100,001 entries with the scene. Its contents file is made
// from it, then measured:
//   open              constructing zel_contents_file, in a process of its
//                     own, with its peak memory and what it holds after;
//   check binary      zel_file_writer::check_library_binary on every name in
//                     turn, registered under one alias;
//   check block       zel_file_writer::check_library_block likewise;
//   find data         zel_file_writer::find_data_in_libraries on the bytes of
//                     every binary, which deflates each before its probe;
//   deflate only      binary_identity_of_data on the same bytes, the peer of
//                     the line above: what the probe adds to it.
//
//   make bench BENCH=contents_bench
#include <malloc.h>
#include <stdlib.h>
#include <time.h>

#include <chrono>
#include <cinttypes>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "zel/testing/pseudo_random_test.hpp"
#include "zel/writer/binary_identity_of.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace {

namespace fs = std::filesystem;
using clock_type = std::chrono::steady_clock;

constexpr std::size_t library_size = 100000;
constexpr std::size_t check_rounds = 20;

// Different bytes for every number, 64 to 127 of them.
std::string binary_bytes(std::size_t number) {
    std::string bytes = "binary " + std::to_string(number) + ":";
    auto random = vorn::testing::pseudo_random::numbered(number);
    while (bytes.size() < 64 + number % 64) {
        bytes.push_back(static_cast<char>('a' + (random.next() >> 59)));
    }
    return bytes;
}

std::string block_name(std::size_t number) {
    return "mesh_" + std::to_string(number);
}

std::string binary_name(std::size_t number) {
    return "meshes/" + std::to_string(number) + ".bin";
}

// A field of /proc/self/status in KiB, or 0.
std::uint64_t status_kib(const std::string& field) {
    std::ifstream status("/proc/self/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.starts_with(field + ":")) {
            return std::stoull(line.substr(field.size() + 1));
        }
    }
    return 0;
}

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

// The processor time of this process, which a busy machine does not inflate
// as it does the wall-clock time.
double cpu_seconds() {
    timespec now{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) * 1e-9;
}

// Wall-clock and processor time of one measured stretch.
class stopwatch {
  public:
    stopwatch() : wall_(clock_type::now()), cpu_(cpu_seconds()) {}
    double wall() const { return seconds_since(wall_); }
    double cpu() const { return cpu_seconds() - cpu_; }

  private:
    clock_type::time_point wall_;
    double cpu_;
};

struct open_figures {
    double seconds = 0;
    double cpu_seconds = 0;
    std::uint64_t resident_before_kib = 0;
    std::uint64_t peak_kib = 0;
    std::uint64_t resident_after_kib = 0;  // while the contents file is open
    std::uint64_t binaries = 0;
};

// Opens the contents file in this process, which must have done nothing
// else, so that its peak memory is the open's.
open_figures open_here(const fs::path& path) {
    open_figures figures;
    figures.resident_before_kib = status_kib("VmRSS");
    const stopwatch watch;
    {
        const vorn::zel::zel_contents_file contents(path);
        figures.binaries = contents.binary_count();
        figures.seconds = watch.wall();
        figures.cpu_seconds = watch.cpu();
        // Memory that the parse freed goes back to the system first, so that
        // what remains is what the open file holds.
        ::malloc_trim(0);
        figures.resident_after_kib = status_kib("VmRSS");
    }
    figures.peak_kib = status_kib("VmHWM");
    return figures;
}

// Runs this program again with "--open path": a process whose heap holds
// nothing of the library that was written before.
open_figures open_in_fresh_process(const fs::path& path) {
    open_figures figures;
    const std::string command =
        fs::read_symlink("/proc/self/exe").string() + " --open '" + path.string() + "'";
    FILE* child = ::popen(command.c_str(), "r");
    if (child == nullptr ||
        std::fscanf(child, "%lf %lf %" SCNu64 " %" SCNu64 " %" SCNu64 " %" SCNu64, &figures.seconds,
                    &figures.cpu_seconds, &figures.resident_before_kib, &figures.peak_kib,
                    &figures.resident_after_kib, &figures.binaries) != 6) {
        std::fprintf(stderr, "the open in a process of its own failed\n");
    }
    if (child != nullptr) {
        ::pclose(child);
    }
    return figures;
}

// Rates are per processor second.
void row(const char* what, std::size_t count, double wall, double cpu) {
    std::printf("%-14s %10zu %12.1f %12.1f %14.0f\n", what, count, wall * 1e3, cpu * 1e3,
                static_cast<double>(count) / cpu);
}

void row(const char* what, std::size_t count, const stopwatch& watch) {
    const double cpu = watch.cpu();
    row(what, count, watch.wall(), cpu);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::string(argv[1]) == "--open") {
        const open_figures figures = open_here(argv[2]);
        std::printf("%.6f %.6f %" PRIu64 " %" PRIu64 " %" PRIu64 " %" PRIu64 "\n", figures.seconds,
                    figures.cpu_seconds, figures.resident_before_kib, figures.peak_kib,
                    figures.resident_after_kib, figures.binaries);
        return 0;
    }
    std::string pattern = (fs::temp_directory_path() / "zel-contents-bench-XXXXXX").string();
    const fs::path directory = ::mkdtemp(pattern.data());
    const fs::path library = directory / "library.zel";
    const fs::path contents_path = directory / "library.zelc";

    auto start = clock_type::now();
    {
        vorn::zel::zel_file_writer writer(library, false, true);
        for (std::size_t i = 0; i < library_size; ++i) {
            const std::string bytes = binary_bytes(i);
            writer.add_block("mesh", block_name(i))
                .add_binary_link_with_data("data", binary_name(i), bytes.data(), bytes.size());
        }
    }
    const double write_seconds = seconds_since(start);
    start = clock_type::now();
    vorn::zel::create_contents_file(contents_path, library);
    const double create_seconds = seconds_since(start);

    const open_figures open = open_in_fresh_process(contents_path);

    vorn::zel::zel_file_writer writer(directory / "user.zel", false, true);
    writer.register_library_contents(contents_path, "lib");
    std::vector<std::string> blocks;
    std::vector<std::string> names;
    std::vector<std::string> data;
    for (std::size_t i = 0; i < library_size; ++i) {
        blocks.push_back(block_name(i));
        names.push_back(binary_name(i));
        data.push_back(binary_bytes(i));
    }

    std::printf("library: %zu blocks, %" PRIu64
                " binaries; package %.1f MB written in %.2f s, "
                "contents file %.1f MB made in %.2f s\n\n",
                library_size, open.binaries, static_cast<double>(fs::file_size(library)) / 1e6,
                write_seconds, static_cast<double>(fs::file_size(contents_path)) / 1e6,
                create_seconds);
    std::printf("%-14s %10s %12s %12s %14s\n", "operation", "count", "wall ms", "cpu ms",
                "per cpu second");
    row("open", 1, open.seconds, open.cpu_seconds);

    stopwatch watch;
    for (std::size_t round = 0; round < check_rounds; ++round) {
        for (const std::string& name : names) {
            writer.check_library_binary("lib", name);
        }
    }
    row("check binary", check_rounds * library_size, watch);

    watch = stopwatch();
    std::size_t found_blocks = 0;
    for (std::size_t round = 0; round < check_rounds; ++round) {
        for (const std::string& name : blocks) {
            found_blocks += writer.check_library_block("lib", name).parameter_count();
        }
    }
    row("check block", check_rounds * library_size, watch);

    watch = stopwatch();
    std::size_t found = 0;
    std::string alias;
    std::string name;
    for (std::size_t i = 0; i < library_size; ++i) {
        found +=
            writer.find_data_in_libraries(data[i].data(), data[i].size(), names[i], alias, name);
    }
    row("find data", library_size, watch);

    watch = stopwatch();
    std::uint64_t sizes = 0;
    for (const std::string& bytes : data) {
        sizes += vorn::zel::binary_identity_of_data(bytes.data(), bytes.size(), true).size;
    }
    row("deflate only", library_size, watch);

    std::printf(
        "\nthe open, in a process of its own that held %.1f MB before it: %.1f MB at "
        "the peak, %.1f MB held while the file is open\n",
        static_cast<double>(open.resident_before_kib) / 1024,
        static_cast<double>(open.peak_kib) / 1024,
        static_cast<double>(open.resident_after_kib) / 1024);
    std::printf("found %zu of %zu binaries by their bytes (%zu parameters, %" PRIu64
                " stored bytes)\n",
                found, library_size, found_blocks / check_rounds, sizes);
    std::error_code ignored;
    fs::remove_all(directory, ignored);
    return found == library_size ? 0 : 1;
}
