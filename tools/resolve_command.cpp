// zel resolve: where a link of a package's scene leads, and for a binary link
// its bytes.
#include <cinttypes>
#include <cstdio>
#include <memory>
#include <stdexcept>
#include <string>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/remote_arguments.hpp"
#include "zel/archive/reader.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"

namespace vorn::zel_tool {

namespace {

// One look at a few packages: nothing needs evicting.
constexpr std::uint64_t scene_budget = std::uint64_t{1} << 40;
constexpr std::uint64_t byte_budget = std::uint64_t{1} << 40;

void write_bytes(const read_buffer& bytes) {
    const auto size = static_cast<std::size_t>(bytes.size());
    if (std::fwrite(bytes.data(), 1, size, stdout) != size || std::fflush(stdout) != 0) {
        throw std::runtime_error("cannot write to standard output");
    }
}

int run_resolve(const std::vector<std::string>& args) {
    const arguments parsed(args, {"--bytes"},
                           {"--library", cache_option, timeout_option, cacert_option});
    const auto& operands = parsed.operands(2, 2);
    const std::string& package = operands[0];
    const std::string& link = operands[1];
    if (link.find('#') == std::string::npos) {
        // The scene graph would raise the standard library's "invalid
        // string position", which says nothing of the link.
        throw usage_error("link \"" + link + "\" has no \"#\": a link is FILE#NAME, as in \"#" +
                          link + "\" for a block or binary of PACKAGE itself");
    }
    const auto resolver = std::make_shared<zel::zel_scene_resolver>(
        scene_budget, byte_budget, byte_budget, remote_options_of(parsed));
    const auto graph = zel::open_scene_graph(resolver, package);
    for (const auto& [alias, library] : parsed.named_values("--library", "ALIAS=LIBRARY.zel")) {
        graph->add_file_redirect(alias, library);
    }
    std::string file;
    std::string target;
    graph->resolve_link(link, graph->root_index(), file, target);
    const auto scene = file.empty() ? graph->root_index() : graph->open_file_index(file);
    const std::string where = file.empty() ? shown_location(package) : file;

    if (scene->exists_block(target)) {
        if (parsed.has("--bytes")) {
            throw std::runtime_error(link + " leads to a block, not a binary");
        }
        const zel::zel_block& block = *scene->get_block(target);
        std::printf("file    %s\nblock   %s\ntype    %s\n", where.c_str(), target.c_str(),
                    block.type().str().c_str());
        return exit_success;
    }
    const auto* record = scene->archive_reader()->get_entry_record(target);
    if (record == nullptr) {
        throw std::runtime_error("no block or binary named \"" + target + "\" in " + where);
    }
    if (parsed.has("--bytes")) {
        write_bytes(*graph->get_binary(link, false, scene));
        return exit_success;
    }
    const std::uint64_t payload = record->dsize == 0 ? record->csize : record->dsize;
    std::printf("file    %s\nbinary  %s\nstored  %" PRIu64 " bytes, %s\npayload %" PRIu64
                " bytes\n",
                where.c_str(), target.c_str(), record->csize,
                record->dsize == 0 ? "as given" : "deflated", payload);
    return exit_success;
}

}  // namespace

const command resolve_command = {
    "resolve",
    "[--bytes] PACKAGE LINK [--library ALIAS=LIBRARY.zel]...",
    "tell where a link of a package's scene leads",
    "Follows LINK, a link value such as \"#lamp\" or \"library#wood\", from the scene of\n"
    "PACKAGE as a scene graph does, and prints the file it lands in and the block\n"
    "there with its type, or the binary with its sizes. An empty left part means\n"
    "PACKAGE itself; other packages are opened by the names that links give,\n"
    "from the working directory, and a library known by its alias from the\n"
    "package that --library names for it.\n\n"
    "  --bytes                       for a binary link, write the binary's payload\n"
    "                                to standard output\n"
    "  --library ALIAS=LIBRARY.zel   open the library package LIBRARY.zel for links\n"
    "                                into ALIAS; once for each library\n",
    run_resolve,
    remote_options_help};

}  // namespace vorn::zel_tool
