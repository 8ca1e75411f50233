// Writes a one-entry archive through the umbrella header and reads its value
// text back, so that headers, library and dependencies are all exercised.
#include <cstdio>
#include <filesystem>

#include "zel/zel.hpp"

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: zel_consumer ARCHIVE\n");
        return 2;
    }
    const vorn::generic_param value(0.1);
    {
        vorn::zela::zel_archive_file_appender<vorn::parallel::mutex_traits_no_op> archive(argv[1],
                                                                                          true);
        archive.add_entry("value.txt", value.value.data(), value.value.size(), true, false);
    }
    std::printf("%s %s %llu\n", value.value.c_str(), value.type.c_str(),
                static_cast<unsigned long long>(std::filesystem::file_size(argv[1])));
    return value.value == "0.1" ? 0 : 1;
}
