// zel scene: the scene document of a package, as a reader sees it.
//
// The document is read into a scene and printed again, so what appears is
// what every reader of the package gets, not the stored bytes: the plain
// form by default, the atomized form on request. Standard output carries the
// document and nothing else, so that it can be piped or compared.
#include <rapidxml/rapidxml.hpp>

#include <cstdio>
#include <stdexcept>
#include <string>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/remote_arguments.hpp"
#include "zel/archive/open_archive.hpp"
#include "zel/scene/file_index.hpp"

namespace vorn::zel_tool {

namespace {

constexpr const char* scene_entry = "__zel_index__.xml";

int run_scene(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--atomized"}, {cache_option, timeout_option, cacert_option});
    const auto& operands = parsed.operands(1, 1);
    std::string document;
    try {
        zel::zel_file_index index(zela::open_archive_reader(operands[0], remote_options_of(parsed)),
                                  scene_entry);
        index.write_document(document, parsed.has("--atomized"));
    } catch (const rapidxml::parse_error& e) {
        // rapidxml's message alone does not say what it was parsing.
        throw std::runtime_error(std::string(scene_entry) + " is not well-formed: " + e.what());
    }
    if (std::fwrite(document.data(), 1, document.size(), stdout) != document.size() ||
        std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output");
    }
    return exit_success;
}

}  // namespace

const command scene_command = {
    "scene",
    "[--atomized] PACKAGE",
    "print the scene document of a package",
    "Reads the scene of PACKAGE (its entry __zel_index__.xml) as every reader\n"
    "does and prints it to standard output as indented XML, with the words\n"
    "themselves in place of atom numbers. A package whose scene cannot be read\n"
    "gives one line on standard error and exit status 1.\n\n"
    "  --atomized   print the atomized form instead, as the writer stores it:\n"
    "               words as numbers into the atom table at the end, no layout\n",
    run_scene,
    remote_options_help};

}  // namespace vorn::zel_tool
