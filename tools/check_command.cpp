// zel check: proves every link of a package's scene.
//
// Local links against the package itself, links into libraries against the
// contents files given with --library (zel/writer/link_check.hpp). Prints one
// line for each broken link, the package's external references, and a
// summary, or the report as JSON; exits with status 1 if anything is broken.
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/remote_arguments.hpp"
#include "tools/report_output.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/link_check.hpp"

namespace vorn::zel_tool {

namespace {

const char* plural(std::uint64_t count, const char* one, const char* more) {
    return count == 1 ? one : more;
}

zel::link_checker checker_of(const arguments& parsed, const zela::remote_options& options) {
    zel::link_checker checker;
    for (const auto& [alias, file] : parsed.named_values("--library", "ALIAS=FILE.zelc")) {
        checker.add_library(alias, std::make_shared<zel::zel_contents_file>(file, options));
    }
    return checker;
}

void print_text(const zela::package_report& report) {
    for (const zela::finding& f : report.findings) {
        if (f.place == zela::finding_place::parameter) {
            std::printf("%s %s, parameter %s, link \"%s\": %s\n",
                        f.metadata ? "metadata block" : "block", f.block.c_str(),
                        f.parameter.c_str(), f.link.c_str(), f.message.c_str());
        } else {
            std::printf("library %s: %s\n", f.library.c_str(), f.message.c_str());
        }
    }
    std::string refs;
    for (const std::string& ref : *report.external_refs) {
        refs += refs.empty() ? ref : ", " + ref;
    }
    std::printf("external_refs: %s\n", refs.empty() ? "none" : refs.c_str());
    const std::uint64_t links = report.count("links");
    const std::uint64_t local_binaries = report.count("local_binaries");
    std::size_t broken = 0;
    std::size_t unlisted = 0;
    for (const zela::finding& f : report.findings) {
        ++(f.place == zela::finding_place::parameter ? broken : unlisted);
    }
    std::printf("%s: %" PRIu64 " %s (%" PRIu64 " local, %" PRIu64 " local %s, %" PRIu64
                " into libraries), %zu broken",
                report.package.c_str(), links, plural(links, "link", "links"),
                report.count("local_links"), local_binaries,
                plural(local_binaries, "binary", "binaries"), report.count("library_links"),
                broken);
    if (unlisted != 0) {
        std::printf(", %zu %s missing from the external_refs", unlisted,
                    plural(unlisted, "alias", "aliases"));
    }
    std::printf("\n");
}

int run_check(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--json"},
                           {"--library", cache_option, timeout_option, cacert_option});
    const std::string package = parsed.operands(1, 1)[0];
    const std::string shown = shown_location(package);
    const zela::remote_options options = remote_options_of(parsed);
    const zel::link_checker checker = checker_of(parsed, options);
    return run_report("check", shown, parsed.has("--json"), print_text, [&] {
        const zel::zel_file_index scene(zela::open_archive_reader(package, options),
                                        "__zel_index__.xml");
        return zel::package_report_of(checker.check(scene), shown);
    });
}

}  // namespace

const command check_command = {
    "check",
    "PACKAGE [--library ALIAS=FILE.zelc]... [--json]",
    "prove every link of a package",
    "Proves every link of the scene of PACKAGE: a local link must name a block of\n"
    "the package, a local binary link an entry of it, and a link into a library a\n"
    "block or binary of that library, whose contents file is given with --library\n"
    "under the alias that the links use (zel contents makes it). Prints one line\n"
    "for each broken link, the package's external_refs and a summary, and exits\n"
    "with status 1 if any link is broken, or if links use an alias that the\n"
    "package's external_refs do not list. With --json, prints the report as one JSON\n"
    "object instead (doc/package_report.md).\n",
    run_check,
    remote_options_help};

}  // namespace vorn::zel_tool
