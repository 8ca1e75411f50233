// The C++ side of bench/python_bench.py: the same work as the Python side,
// timed inside the process, so the two rates compare the module with the
// library it binds and leave out the start of a process.
//
//   python_bench_peer read PACKAGE
//       reads every entry's payload and touches one byte of every page of it;
//       prints "read BYTES SECONDS"
//   python_bench_peer write PACKAGE BLOCKS
//       writes BLOCKS blocks of ten parameters (the scene that the Python side
//       writes, value for value) and closes; prints "write PARAMETERS SECONDS"
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <string>
#include <vector>

#include "zel/archive/file_reader.hpp"
#include "zel/writer/file_writer.hpp"

namespace {

using clock_type = std::chrono::steady_clock;

double seconds_since(clock_type::time_point start) {
    return std::chrono::duration<double>(clock_type::now() - start).count();
}

constexpr std::uint64_t page = 4096;

int read_package(const char* path) {
    const auto start = clock_type::now();
    const vorn::zela::zel_archive_file_reader reader(path);
    std::vector<std::string> names;
    reader.list_entries(names);
    std::uint64_t bytes = 0;
    unsigned sum = 0;
    for (const std::string& name : names) {
        const auto payload = reader.get_entry(name);
        const auto* data = reinterpret_cast<const volatile unsigned char*>(payload->data());
        for (std::uint64_t at = 0; at < payload->size(); at += page) {
            sum += data[at];
        }
        bytes += payload->size();
    }
    const double elapsed = seconds_since(start);
    std::printf("read %llu %.6f %u\n", static_cast<unsigned long long>(bytes), elapsed, sum & 1);
    return 0;
}

vorn::generic_param with_unit(vorn::generic_param param, const char* unit) {
    param.set_unit(unit);
    return param;
}

vorn::generic_param with_tag(vorn::generic_param param, const char* tag) {
    param.set_tag(tag);
    return param;
}

int write_scene(const char* path, long long blocks) {
    const auto start = clock_type::now();
    vorn::zel::zel_file_writer writer(path, /*allowDup=*/false, /*atomize=*/true);
    for (long long i = 0; i < blocks; ++i) {
        vorn::zel::zel_block& block =
            writer.add_block("node" + std::to_string(i % 8), "b" + std::to_string(i));
        block.add_parameter("id", vorn::generic_param(i));
        block.add_parameter("count", vorn::generic_param(i % 7));
        block.add_parameter("scale", with_unit(vorn::generic_param(i * 0.25), "m"));
        block.add_parameter("weight", vorn::generic_param(1.0 / static_cast<double>(i + 1)));
        block.add_parameter("visible", vorn::generic_param(i % 2 == 0));
        block.add_parameter("name", vorn::generic_param("block " + std::to_string(i)));
        const double colour[] = {static_cast<double>(i % 10) * 0.125, 0.5, 1.0};
        block.add_parameter("colour", vorn::generic_param(colour, 3));
        const long long offset[] = {i, -i, 2 * i};
        block.add_parameter("offset", vorn::generic_param(offset, 3));
        block.add_parameter("label", with_tag(vorn::generic_param(std::string("label")), "ui"));
        block.add_parameter("flag", vorn::generic_param(false));
    }
    writer.close();
    const double elapsed = seconds_since(start);
    std::printf("write %lld %.6f\n", blocks * 10, elapsed);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        const std::string mode = argc > 1 ? argv[1] : "";
        if (mode == "read" && argc == 3) {
            return read_package(argv[2]);
        }
        if (mode == "write" && argc == 4) {
            return write_scene(argv[2], std::atoll(argv[3]));
        }
        std::fprintf(stderr, "usage: python_bench_peer read PACKAGE | write PACKAGE BLOCKS\n");
        return 2;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "python_bench_peer: %s\n", e.what());
        return 1;
    }
}
