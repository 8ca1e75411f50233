// zel check: proves every link of a package's scene.
//
// Local links against the package itself, links into libraries against the
// contents files given with --library. Prints one line for each broken link,
// the package's external references, and a summary; exits with status 1 if
// anything is broken.
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/scene/file_index.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/link_check.hpp"

namespace vorn::zel_tool {

namespace {

const char* plural(std::size_t count, const char* one, const char* more) {
    return count == 1 ? one : more;
}

zel::link_checker checker_of(const arguments& parsed) {
    zel::link_checker checker;
    for (const auto& [alias, file] : parsed.named_values("--library", "ALIAS=FILE.zelc")) {
        checker.add_library(alias, std::make_shared<zel::zel_contents_file>(file));
    }
    return checker;
}

void print_report(const std::string& package, const zel::link_report& report) {
    for (const zel::broken_link& b : report.broken) {
        std::printf("%s %s, parameter %s, link \"%s\": %s\n",
                    b.metadata ? "metadata block" : "block", b.block.c_str(), b.parameter.c_str(),
                    b.value.c_str(), b.problem.c_str());
    }
    for (const std::string& alias : report.unlisted_aliases) {
        std::printf("library %s: used by links but not among the external_refs\n", alias.c_str());
    }
    std::string refs;
    for (const std::string& ref : report.external_refs) {
        refs += refs.empty() ? ref : ", " + ref;
    }
    std::printf("external_refs: %s\n", refs.empty() ? "none" : refs.c_str());
    std::printf("%s: %zu %s (%zu local, %zu local %s, %zu into libraries), %zu broken",
                package.c_str(), report.links(), plural(report.links(), "link", "links"),
                report.local_links, report.local_binaries,
                plural(report.local_binaries, "binary", "binaries"), report.library_links,
                report.broken.size());
    if (!report.unlisted_aliases.empty()) {
        std::printf(", %zu %s missing from the external_refs", report.unlisted_aliases.size(),
                    plural(report.unlisted_aliases.size(), "alias", "aliases"));
    }
    std::printf("\n");
}

int run_check(const std::vector<std::string>& args) {
    const arguments parsed(args, {}, {"--library"});
    const std::string package = parsed.operands(1, 1)[0];
    const zel::link_checker checker = checker_of(parsed);
    const zel::zel_file_index scene(std::make_shared<zela::zel_archive_file_reader>(package),
                                    "__zel_index__.xml");
    const zel::link_report report = checker.check(scene);
    print_report(package, report);
    return report.sound() ? exit_success : exit_failure;
}

}  // namespace

const command check_command = {
    "check", "PACKAGE [--library ALIAS=FILE.zelc]...", "prove every link of a package",
    "Proves every link of the scene of PACKAGE: a local link must name a block of\n"
    "the package, a local binary link an entry of it, and a link into a library a\n"
    "block or binary of that library, whose contents file is given with --library\n"
    "under the alias that the links use (zel contents makes it). Prints one line\n"
    "for each broken link, the package's external_refs and a summary, and exits\n"
    "with status 1 if any link is broken, or if links use an alias that the\n"
    "package's external_refs do not list.\n",
    run_check};

}  // namespace vorn::zel_tool
