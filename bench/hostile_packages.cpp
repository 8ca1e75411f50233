// Writes the hostile packages of the reader's tests into a directory, one
// file each, with a line for each: the file, the entry to fetch (or "-" when
// opening is refused) and the refusal a reader gives. At full scale, the
// default, they are the packages as reported, for measuring the time and
// peak memory a reader spends on each; with --small they are the fuzzer's
// seeds, whose refusals need the fuzzer's limits.
//
//   hostile_packages [--small] DIR
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>

#include "zel/archive/hostile_image_test.hpp"

namespace {

void write(const std::filesystem::path& path, const std::string& bytes) {
    std::ofstream out(path, std::ios::binary);
    out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!out) {
        throw std::runtime_error("cannot write " + path.string());
    }
}

}  // namespace

int main(int argc, char** argv) {
    const bool small = argc == 3 && std::strcmp(argv[1], "--small") == 0;
    if (argc != 2 && !small) {
        std::fprintf(stderr, "usage: hostile_packages [--small] DIR\n");
        return 2;
    }
    const std::filesystem::path dir = argv[argc - 1];
    std::filesystem::create_directories(dir);
    const auto scale =
        small ? vorn::testing::small_hostile_scale() : vorn::testing::full_hostile_scale();
    for (const auto& p : vorn::testing::hostile_packages(scale)) {
        write(dir / p.name, p.image);
        const std::string refusal = p.refusal.substr(0, p.refusal.find(" from context of"));
        std::printf("%s\t%s\t%s\n", p.name.c_str(), p.entry.empty() ? "-" : p.entry.c_str(),
                    refusal.c_str());
    }
    write(dir / "alternating-params",
          vorn::testing::alternating_params_image(scale.alternating_params));
    std::printf("alternating-params\te\topens\n");
    return 0;
}
