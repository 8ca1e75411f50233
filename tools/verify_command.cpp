// zel verify: checks everything that a package records about itself
// (zel/archive/package_verify.hpp) and prints the report: the stray
// temporaries beside the package, one line for each problem and a summary;
// or the report as JSON.
#include <cinttypes>
#include <cstdio>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/printable.hpp"
#include "tools/remote_arguments.hpp"
#include "tools/report_output.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/archive/package_verify.hpp"

namespace vorn::zel_tool {

namespace {

void print_finding(const zela::finding& f) {
    if (f.place == zela::finding_place::file) {
        std::printf("%s: %s\n", printable(f.file).c_str(), printable(f.message).c_str());
    } else {
        std::printf("entry %s: %s\n", printable(f.entry).c_str(), printable(f.message).c_str());
    }
}

// The stray temporaries of a package on disk; a URL has none.
std::vector<zela::finding> strays_of(const std::string& package) {
    return zela::is_url(package) ? std::vector<zela::finding>() : zela::stray_temporaries(package);
}

// The stray temporaries come first, so that they are said even of a package
// that cannot be read, or that a killed first write never made.
int print_text(const std::string& package, const zela::remote_options& options) {
    for (const zela::finding& f : strays_of(package)) {
        print_finding(f);
    }
    const std::string shown = shown_location(package);
    const zela::package_report report =
        zela::verify_package(*zela::open_archive_reader(package, options), shown);
    for (const zela::finding& f : report.findings) {
        if (f.place != zela::finding_place::file) {
            print_finding(f);
        }
    }
    const std::uint64_t entries = report.count("entries");
    if (const std::size_t problems = report.errors(); problems != 0) {
        std::printf("%s: %zu %s in %" PRIu64 " entries\n", printable(shown).c_str(), problems,
                    problems == 1 ? "problem" : "problems", entries);
    } else {
        std::printf("%s: header, table of contents and %" PRIu64 " %s sound\n",
                    printable(shown).c_str(), entries, entries == 1 ? "entry is" : "entries are");
    }
    return report.sound() ? exit_success : exit_failure;
}

int print_json(const std::string& package, const zela::remote_options& options) {
    const std::string shown = shown_location(package);
    bool opened = false;
    zela::package_report report = report_or_unreadable("verify", shown, [&] {
        zela::package_report verified =
            zela::verify_package(*zela::open_archive_reader(package, options), shown);
        opened = true;
        return verified;
    });
    if (!opened) {
        // The stray temporaries are there all the same.
        std::vector<zela::finding> strays = strays_of(package);
        report.findings.insert(report.findings.begin(), strays.begin(), strays.end());
    }
    return zel_tool::print_json(report);
}

int run_verify(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--json"}, {cache_option, timeout_option, cacert_option});
    const std::string package = parsed.operands(1, 1)[0];
    const zela::remote_options options = remote_options_of(parsed);
    return parsed.has("--json") ? print_json(package, options) : print_text(package, options);
}

}  // namespace

const command verify_command = {
    "verify",
    "PACKAGE [--json]",
    "check a package for damage",
    "Checks the header and the table of contents of PACKAGE, then every entry: that\n"
    "it lies within the file at a multiple of 16, apart from the header, the table of\n"
    "contents and the other entries; that its stored bytes hash to the recorded\n"
    "value; and that a deflated entry inflates to exactly its recorded size. Prints\n"
    "each problem found and exits with status 1 if there is any.\n\n"
    "It also names the stray temporaries of PACKAGE beside it, files named\n"
    "PACKAGE.<12 hexadecimal digits>.tmp that a write killed before it finished\n"
    "left behind (see zel pack --help). Nothing reads them and, once no write of\n"
    "PACKAGE is going on, they may be deleted; they do not change the status.\n\n"
    "With --json, prints the report as one JSON object instead\n"
    "(doc/package_report.md).\n",
    run_verify,
    remote_options_help};

}  // namespace vorn::zel_tool
