// zel contents: makes the contents file of a library package.
#include <cinttypes>
#include <cstdio>
#include <filesystem>
#include <string>
#include <system_error>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/create_contents_file.hpp"

namespace vorn::zel_tool {

namespace {

int run_contents(const std::vector<std::string>& args) {
    const std::vector<std::string> operands = arguments(args, {}).operands(2, 2);
    const std::filesystem::path library = operands[0];
    const std::filesystem::path output = operands[1];
    std::error_code ignored;
    if (std::filesystem::equivalent(library, output, ignored)) {
        throw usage_error("the contents file would overwrite the library");
    }
    // Written beside OUT and renamed at the end, so that a failure leaves no
    // half-written contents file and does not touch an older one.
    std::filesystem::path partial = output;
    partial += ".part";
    try {
        zel::create_contents_file(partial, library);
        std::filesystem::rename(partial, output);
    } catch (...) {
        std::filesystem::remove(partial, ignored);
        throw;
    }
    const zel::zel_contents_file contents(output);
    const package_id id = contents.get_package_id();
    std::printf("%s: %zu binaries of %s, package id %016" PRIx64 ":%" PRIu64 "\n",
                output.string().c_str(), contents.binary_count(), library.string().c_str(),
                id.toc_hash, id.toc_end);
    return exit_success;
}

}  // namespace

const command contents_command = {
    "contents", "LIBRARY OUT", "make the contents file of a library package",
    "Writes to OUT the contents file (.zelc) of the library package LIBRARY: the\n"
    "library's scene, and the name, hash and size of each of its entries, without\n"
    "their bytes. Writers that register it can then prove links into the library,\n"
    "and zel check can prove the links of packages that use it.\n",
    run_contents};

}  // namespace vorn::zel_tool
