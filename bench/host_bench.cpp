// The host's road, timed: the same scene of BLOCKS blocks with 10 parameters
// each (4 integers, 3 floats, 3 strings; no content libraries, so no
// validation) written through the C++ façade in this process and through the
// managed assembly under mono, side by side in one table, with the cost of
// crossing into native code.
//
// usage: host_bench [BLOCKS] (default 100000)
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <string>

#include <unistd.h>

#include "zel/facade/zel_file.hpp"

using namespace Tessaly::Corvane::DB::ZEL;
using System::String;

namespace {

constexpr int parameters_per_block = 10;

struct timing {
    double add_seconds = 0;
    double close_seconds = 0;
};

String host(const std::string& text) {
    return String(std::u16string(text.begin(), text.end()));
}

timing write_through_facade(const std::filesystem::path& package, int blocks) {
    using clock = std::chrono::steady_clock;
    String names[parameters_per_block];
    for (int p = 0; p < parameters_per_block; ++p) {
        names[p] = host("param" + std::to_string(p));
    }
    String message;
    std::unique_ptr<ZELFile> file =
        ZELFile::Create(String(package.u16string()),
                        String(package.parent_path().u16string() + u"/no-libraries"), message);
    const clock::time_point start = clock::now();
    for (int i = 0; i < blocks; ++i) {
        ZELBlock block = file->AddBlock(u"mesh", host("block" + std::to_string(i)));
        for (int p = 0; p < 4; ++p) {
            block.AddParameter(names[p], i + p);
        }
        for (int p = 4; p < 7; ++p) {
            block.AddParameter(names[p], 0.25f * static_cast<float>(p));
        }
        for (int p = 7; p < 10; ++p) {
            block.AddParameter(names[p], String(u"value"));
        }
    }
    const clock::time_point added = clock::now();
    file->CloseFile();
    const clock::time_point closed = clock::now();
    return {std::chrono::duration<double>(added - start).count(),
            std::chrono::duration<double>(closed - added).count()};
}

// Runs the managed half; false if mono or the assembly is not there.
bool write_through_assembly(const std::filesystem::path& package, int blocks, timing& result,
                            double& empty_call_ns) {
#ifdef ZEL_MANAGED_BENCH
    const std::string command = "MONO_PATH=" ZEL_MANAGED_ASSEMBLY_DIR
                                " LD_LIBRARY_PATH=" ZEL_HOST_LIBRARY_DIR " " ZEL_MONO
                                " " ZEL_MANAGED_BENCH " '" +
                                package.string() + "' " + std::to_string(blocks);
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) {
        return false;
    }
    const int read = std::fscanf(pipe, "%lf %lf %lf", &result.add_seconds, &result.close_seconds,
                                 &empty_call_ns);
    return pclose(pipe) == 0 && read == 3;
#else
    (void)package, (void)blocks, (void)result, (void)empty_call_ns;
    return false;
#endif
}

void print_row(const char* host_name, const timing& t, int blocks) {
    const double calls = static_cast<double>(blocks) * (parameters_per_block + 1);
    std::printf("%-22s %9.3f %9.3f %13.0f %9.1f\n", host_name, t.add_seconds, t.close_seconds,
                blocks * parameters_per_block / t.add_seconds, t.add_seconds * 1e9 / calls);
}

}  // namespace

int main(int argc, char** argv) {
    const int blocks = argc > 1 ? std::atoi(argv[1]) : 100000;
    if (blocks <= 0) {
        std::fprintf(stderr, "usage: host_bench [BLOCKS]\n");
        return 2;
    }
    const std::filesystem::path scratch =
        std::filesystem::temp_directory_path() / ("host_bench." + std::to_string(getpid()));
    std::filesystem::create_directories(scratch);
    try {
        std::printf("%d blocks x %d parameters (4 int, 3 float, 3 string), no validation\n\n",
                    blocks, parameters_per_block);
        std::printf("%-22s %9s %9s %13s %9s\n", "host", "add s", "close s", "params/s", "ns/call");
        const timing native = write_through_facade(scratch / "facade.zel", blocks);
        print_row("C++ ZELFile", native, blocks);
        timing managed;
        double empty_call_ns = 0;
        if (write_through_assembly(scratch / "managed.zel", blocks, managed, empty_call_ns)) {
            print_row("C# ZELFile (mono)", managed, blocks);
            const double calls = static_cast<double>(blocks) * (parameters_per_block + 1);
            std::printf("\nmanaged speed: %.2f of the C++ facade's\n",
                        native.add_seconds / managed.add_seconds);
            std::printf(
                "crossing into native code: %.1f ns for an empty call, %.1f ns per "
                "facade call over C++ (handle, text, status)\n",
                empty_call_ns, (managed.add_seconds - native.add_seconds) * 1e9 / calls);
        } else {
            std::printf("C# ZELFile (mono)      not run: mono or the assembly is missing\n");
        }
    } catch (const std::exception& e) {
        std::fprintf(stderr, "host_bench: %s\n", e.what());
        std::filesystem::remove_all(scratch);
        return 1;
    }
    std::filesystem::remove_all(scratch);
    return 0;
}
