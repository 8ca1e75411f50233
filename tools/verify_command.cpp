// zel verify: checks everything that a package records about itself
// (zel/archive/package_verify.hpp) and prints the report, one line for each
// problem and a summary, or as JSON.
#include <cinttypes>
#include <cstdio>
#include <string>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/printable.hpp"
#include "tools/report_output.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/package_verify.hpp"

namespace vorn::zel_tool {

namespace {

void print_text(const zela::package_report& report) {
    for (const zela::finding& f : report.findings) {
        std::printf("entry %s: %s\n", printable(f.entry).c_str(), printable(f.message).c_str());
    }
    const std::uint64_t entries = report.count("entries");
    if (!report.findings.empty()) {
        const std::size_t problems = report.findings.size();
        std::printf("%s: %zu %s in %" PRIu64 " entries\n", printable(report.package).c_str(),
                    problems, problems == 1 ? "problem" : "problems", entries);
        return;
    }
    std::printf("%s: header, table of contents and %" PRIu64 " %s sound\n",
                printable(report.package).c_str(), entries,
                entries == 1 ? "entry is" : "entries are");
}

int run_verify(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--json"});
    const std::string package = parsed.operands(1, 1)[0];
    return run_report("verify", package, parsed.has("--json"), print_text, [&] {
        return zela::verify_package(zela::zel_archive_file_reader(package), package);
    });
}

}  // namespace

const command verify_command = {
    "verify", "PACKAGE [--json]", "check a package for damage",
    "Checks the header and the table of contents of PACKAGE, then every entry: that\n"
    "it lies within the file at a multiple of 16, apart from the header, the table of\n"
    "contents and the other entries; that its stored bytes hash to the recorded\n"
    "value; and that a deflated entry inflates to exactly its recorded size. Prints\n"
    "each problem found and exits with status 1 if there is any. With --json, prints\n"
    "the report as one JSON object instead (doc/package_report.md).\n",
    run_verify};

}  // namespace vorn::zel_tool
