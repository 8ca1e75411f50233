// zel cat: the payload of one entry, or its stored bytes, to standard output.
#include <cstdio>
#include <stdexcept>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/remote_arguments.hpp"
#include "zel/archive/open_archive.hpp"

namespace vorn::zel_tool {

namespace {

int run_cat(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--raw"}, {cache_option, timeout_option, cacert_option});
    const auto& operands = parsed.operands(2, 2);
    const auto reader = zela::open_archive_reader(operands[0], remote_options_of(parsed));
    const auto bytes =
        parsed.has("--raw") ? reader->get_raw_entry(operands[1]) : reader->get_entry(operands[1]);
    const auto size = static_cast<std::size_t>(bytes->size());
    // An empty payload may have no storage at all: no pointer to pass.
    if ((size != 0 && std::fwrite(bytes->data(), 1, size, stdout) != size) ||
        std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output");
    }
    return exit_success;
}

}  // namespace

const command cat_command = {
    "cat",
    "[--raw] PACKAGE ENTRY",
    "write the payload of an entry to standard output",
    "Writes the payload of the entry named ENTRY to standard output, inflated if\n"
    "the entry is deflated.\n\n"
    "  --raw   write the bytes as stored instead: a deflated entry as its zlib stream\n",
    run_cat,
    remote_options_help};

}  // namespace vorn::zel_tool
