// zel graph: the scene of a package as a Graphviz graph.
//
// Blocks are boxes labelled with their type and name, links are edges
// labelled with the parameter's name, binaries are leaves. The blocks and
// binaries that links reach in other packages or libraries are drawn inside
// one cluster per file; their own links are not followed. A library known by
// its alias is opened from the package that --library names for it. A local link to a
// block or binary that the package lacks is drawn in red, and so is its
// target; a target in a file that cannot be opened is drawn dashed.
#include <algorithm>
#include <cinttypes>
#include <cstdio>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tools/arguments.hpp"
#include "tools/command.hpp"
#include "tools/remote_arguments.hpp"
#include "zel/archive/reader.hpp"
#include "zel/foundation/exception.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"

namespace vorn::zel_tool {

namespace {

constexpr std::uint64_t scene_budget = std::uint64_t{1} << 40;

// A text as a quoted DOT string.
std::string quoted(const std::string& text) {
    std::string out = "\"";
    for (const char c : text) {
        if (c == '"' || c == '\\') {
            out += '\\';
        }
        if (c == '\n') {
            out += "\\n";
        } else {
            out += c;
        }
    }
    return out + '"';
}

enum class node_kind { block, binary };

struct node {
    std::string id;
    std::string label;
    node_kind kind;
    bool broken;   // a target that its file lacks
    bool unknown;  // a target in a file that could not be opened
};

class dot_graph {
  public:
    explicit dot_graph(std::shared_ptr<zel::zel_scene_graph> graph) : graph_(std::move(graph)) {}

    // Links into the library alias lead into package, whose cluster says
    // both.
    void add_library(const std::string& alias, const std::string& package) {
        graph_->add_file_redirect(alias, package);
        std::string& label = cluster_labels_[package];
        label += (label.empty() ? "" : ", ") + alias + "=" + package;
    }

    void add_root_blocks() {
        const zel::zel_file_index& root = *graph_->root_index();
        std::vector<std::pair<std::string, const zel::zel_block*>> blocks;
        root.visit_blocks([&](intrusive_string name, zel::zel_block& block) {
            blocks.emplace_back(name.str(), &block);
        });
        std::sort(blocks.begin(), blocks.end());
        for (const auto& [name, block] : blocks) {
            block_node("", name, block, false);
        }
        for (const auto& [name, block] : blocks) {
            add_links(name, *block);
        }
    }

    void print(const std::string& title) const {
        std::printf("digraph %s {\n", quoted(title).c_str());
        std::printf("  rankdir=LR;\n  node [shape=box];\n");
        int cluster = 0;
        for (const auto& [file, ids] : files_) {
            if (file.empty()) {
                for (const std::string& id : ids) {
                    print_node(nodes_.at(id), "  ");
                }
                continue;
            }
            const auto label = cluster_labels_.find(file);
            std::printf("  subgraph cluster_%d {\n    label=%s;\n    style=rounded;\n", cluster++,
                        quoted(label == cluster_labels_.end() ? file : label->second).c_str());
            for (const std::string& id : ids) {
                print_node(nodes_.at(id), "    ");
            }
            std::printf("  }\n");
        }
        for (const std::string& edge : edges_) {
            std::printf("  %s\n", edge.c_str());
        }
        std::printf("}\n");
    }

  private:
    const std::string& block_node(const std::string& file, const std::string& name,
                                  const zel::zel_block* block, bool unknown) {
        const std::string key = "b" + file + "#" + name;
        if (const auto found = ids_.find(key); found != ids_.end()) {
            return found->second;
        }
        const std::string label = block == nullptr ? name : block->type().str() + "\n" + name;
        return add_node(key, file,
                        {"", label, node_kind::block, block == nullptr && !unknown, unknown});
    }

    const std::string& binary_node(const std::string& file, const std::string& name) {
        const std::string key = "f" + file + "#" + name;
        if (const auto found = ids_.find(key); found != ids_.end()) {
            return found->second;
        }
        const auto scene = open(file);
        const zela::zel_archive_reader::entry* record =
            scene ? scene->archive_reader()->get_entry_record(name) : nullptr;
        std::string label = name;
        if (record != nullptr) {
            const std::uint64_t size = record->dsize == 0 ? record->csize : record->dsize;
            label += '\n';
            label += std::to_string(size);
            label += " bytes";
        }
        return add_node(key, file,
                        {"", label, node_kind::binary, scene && record == nullptr, !scene});
    }

    const std::string& add_node(const std::string& key, const std::string& file, node n) {
        // Printed rather than joined with +, which g++ 12 warns about wrongly
        // under -O2.
        char id[32];
        std::snprintf(id, sizeof id, "n%zu", ids_.size());
        n.id = id;
        files_[file].push_back(n.id);
        nodes_.emplace(n.id, n);
        return ids_.emplace(key, n.id).first->second;
    }

    // The scene of a file named by a link, or null if it cannot be opened.
    std::shared_ptr<zel::zel_file_index> open(const std::string& file) {
        if (file.empty()) {
            return graph_->root_index();
        }
        if (const auto found = scenes_.find(file); found != scenes_.end()) {
            return found->second;
        }
        std::shared_ptr<zel::zel_file_index> scene;
        try {
            scene = graph_->open_file_index(file);
        } catch (const std::exception&) {
            // A library known by its alias only, or a damaged package: its
            // targets are drawn as names.
        }
        scenes_.emplace(file, scene);
        return scene;
    }

    void add_links(const std::string& name, const zel::zel_block& block) {
        const std::string& from = ids_.at("b#" + name);
        for (const zel::zel_block::parameter& p : block.parameters()) {
            const std::string_view type = p.value.type().view();
            if (type != "link" && type != "binary") {
                continue;
            }
            std::string file;
            std::string target;
            try {
                graph_->resolve_link(p.value.value().str(), graph_->root_index(), file, target);
            } catch (const std::out_of_range&) {
                continue;  // a value without "#" leads nowhere
            }
            const std::string* to = nullptr;
            if (type == "binary") {
                to = &binary_node(file, target);
            } else {
                const auto scene = open(file);
                const zel::zel_block* found =
                    scene && scene->exists_block(target) ? scene->get_block(target) : nullptr;
                to = &block_node(file, target, found, !scene);
            }
            const bool broken = nodes_.at(*to).broken;
            edges_.push_back(from + " -> " + *to + " [label=" + quoted(p.name.str()) +
                             (broken ? ", color=red, fontcolor=red" : "") + "];");
        }
    }

    static void print_node(const node& n, const char* indent) {
        std::string attributes = "label=" + quoted(n.label);
        if (n.kind == node_kind::binary) {
            attributes += ", shape=note";
        }
        if (n.broken) {
            attributes += ", color=red, fontcolor=red";
        }
        if (n.unknown) {
            attributes += ", style=dashed";
        }
        std::printf("%s%s [%s];\n", indent, n.id.c_str(), attributes.c_str());
    }

    std::shared_ptr<zel::zel_scene_graph> graph_;
    std::map<std::string, std::string> ids_;  // "b" or "f", file, "#", name -> node id
    std::map<std::string, node> nodes_;
    std::map<std::string, std::vector<std::string>> files_;  // file -> node ids, in order
    std::map<std::string, std::shared_ptr<zel::zel_file_index>> scenes_;
    std::map<std::string, std::string> cluster_labels_;  // package -> its aliases
    std::vector<std::string> edges_;
};

int run_graph(const std::vector<std::string>& args) {
    const arguments parsed(args, {}, {"--library", cache_option, timeout_option, cacert_option});
    const std::string package = parsed.operands(1, 1)[0];
    const auto libraries = parsed.named_values("--library", "ALIAS=LIBRARY.zel");
    const auto resolver =
        std::make_shared<zel::zel_scene_resolver>(scene_budget, 0, 0, remote_options_of(parsed));
    dot_graph dot(zel::open_scene_graph(resolver, package));
    for (const auto& [alias, library] : libraries) {
        dot.add_library(alias, library);
    }
    dot.add_root_blocks();
    dot.print(shown_location(package));
    return exit_success;
}

}  // namespace

const command graph_command = {
    "graph",
    "PACKAGE [--library ALIAS=LIBRARY.zel]...",
    "print the scene of a package as a Graphviz graph",
    "Prints the blocks and links of PACKAGE's scene in the DOT language, so that\n"
    "  zel graph scene.zel | dot -Tsvg > scene.svg\n"
    "draws it. Blocks are boxes labelled with their type and name, links are\n"
    "edges labelled with the parameter's name, binaries are leaves with their\n"
    "size. Blocks and binaries in other packages or libraries are drawn in one\n"
    "cluster per file, which is opened by the name the link gives, from the\n"
    "working directory, or from the package that --library names for a library's\n"
    "alias; a file that cannot be opened is drawn dashed. A link to a block or\n"
    "binary that its package lacks is drawn in red.\n\n"
    "  --library ALIAS=LIBRARY.zel   open the library package LIBRARY.zel for links\n"
    "                                into ALIAS; once for each library\n",
    run_graph,
    remote_options_help};

}  // namespace vorn::zel_tool
