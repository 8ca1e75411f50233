// zel ls: one line for each entry of a package, in file order, and a summary.
#include <cinttypes>
#include <cstdio>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/printable.hpp"
#include "tools/remote_arguments.hpp"
#include "zel/archive/file_order.hpp"
#include "zel/archive/open_archive.hpp"

namespace vorn::zel_tool {

namespace {

int run_ls(const std::vector<std::string>& args) {
    const arguments parsed(args, {}, {cache_option, timeout_option, cacert_option});
    const std::string package = parsed.operands(1, 1)[0];
    const auto reader = zela::open_archive_reader(package, remote_options_of(parsed));
    const auto entries = zela::entries_in_file_order(*reader);

    std::printf("%12s %12s %12s  %-16s  %-8s  %s\n", "offset", "stored", "payload", "hash", "kind",
                "name");
    std::uint64_t stored = 0;
    std::uint64_t payload = 0;
    for (const zela::placed_entry& e : entries) {
        const auto& r = *e.record;
        const std::uint64_t size = r.dsize == 0 ? r.csize : r.dsize;
        std::printf("%12" PRIu64 " %12" PRIu64 " %12" PRIu64 "  %016" PRIx64 "  %-8s  %s\n", r.off,
                    r.csize, size, r.hash, r.dsize == 0 ? "stored" : "deflated",
                    printable(e.name).c_str());
        stored += r.csize;
        payload += size;
    }
    const package_id id = reader->get_package_id();
    std::printf("%zu entries, %" PRIu64 " bytes stored for %" PRIu64
                " bytes of payload; package id %016" PRIx64 ":%" PRIu64 "\n",
                entries.size(), stored, payload, id.toc_hash, id.toc_end);
    return exit_success;
}

}  // namespace

const command ls_command = {
    "ls",
    "PACKAGE",
    "list the entries of a package",
    "Lists every entry of PACKAGE in the order of its bytes in the file: the offset,\n"
    "the stored size, the payload size, the hash of the stored bytes, whether the\n"
    "entry is deflated or stored as given, and its name. A last line sums the sizes\n"
    "and gives the package id: the hash and the end of the table of contents.\n",
    run_ls,
    remote_options_help};

}  // namespace vorn::zel_tool
