// zel.Resolver and Graph: scenes that spread over several packages.
//
// A Resolver may serve any number of graphs and threads. A graph belongs to
// one thread at a time, so its calls keep the GIL: two Python threads never
// work on one graph at once, and its blocks are looked at under the same
// lock that changes them.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "python/bindings.hpp"
#include "python/bytes_view.hpp"
#include "python/package_text.hpp"
#include "python/python_errors.hpp"
#include "zel/scene/scene_graph.hpp"
#include "zel/scene/scene_resolver.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

using resolver_handle = std::shared_ptr<zel::zel_scene_resolver>;
using graph_handle = std::shared_ptr<zel::zel_scene_graph>;

std::pair<std::string, std::string> resolve_link(const zel::zel_scene_graph& g,
                                                 const std::string& link) {
    std::pair<std::string, std::string> target;
    g.resolve_link(link, g.root_index(), target.first, target.second);
    return target;
}

block_view modifiable_block(zel::zel_scene_graph& g, const std::string& file,
                            const std::string& block) {
    const zel::zel_block* modifiable = g.get_modifiable_block(file, block);
    // A block of another file now stands in the root under a name of its
    // own, to which the graph redirects the old link.
    const std::string name = file.empty() ? block : resolve_link(g, file + "#" + block).second;
    return {g.root_index(), modifiable, name};
}

}  // namespace

void bind_resolving(py::module_& m) {
    py::class_<zel::zel_scene_graph, graph_handle>(
        m, "Graph",
        "A scene over several packages: a copy of one scene as root, and the packages\n"
        "its links lead into, opened through the resolver.")
        .def("resolve_link", resolve_link, py::arg("link"),
             "Where a link of the root leads: (file, block), file \"\" for the root.")
        .def(
            "get_binary",
            [](zel::zel_scene_graph& g, const package_text& link, bool raw) {
                return view_of(g.get_binary(link.bytes, raw));
            },
            py::arg("link"), py::arg("raw") = false,
            "The bytes a binary link names, decoded or with raw as stored, as a read-only\n"
            "memoryview; ZelError if no package holds them.")
        .def("get_modifiable_block", modifiable_block, py::arg("file"), py::arg("block"),
             "The root's block standing for block of file (\"\" for the root), copied into\n"
             "the root first if it lives in another package.")
        .def("add_file_redirect", &zel::zel_scene_graph::add_file_redirect, py::arg("from_file"),
             py::arg("to_file"), "Sends every use of a file name to another one.")
        .def("add_block_redirect", &zel::zel_scene_graph::add_block_redirect, py::arg("from_file"),
             py::arg("from_block"), py::arg("to_file"), py::arg("to_block"),
             "Sends one link to another; the first for a link wins.")
        .def_property_readonly(
            "external_references",
            [](const zel::zel_scene_graph& g) {
                std::vector<package_text> refs;
                for (const intrusive_string& ref : g.external_references()) {
                    refs.push_back({std::string(ref.view())});
                }
                return refs;
            },
            "The libraries the root links into, as its \"external_refs\" list them.");

    py::class_<zel::zel_scene_resolver, resolver_handle>(
        m, "Resolver",
        "Opens packages for scene graphs and keeps their scenes and binaries in three\n"
        "bounded caches, shared by every graph it opened.")
        .def(py::init<std::uint64_t, std::uint64_t, std::uint64_t>(), py::arg("block_budget"),
             py::arg("decoded_budget"), py::arg("raw_budget"),
             "Budgets: scenes in blocks, decoded and stored binaries in bytes.")
        .def(
            "open_scene_graph",
            [](const resolver_handle& r, const std::filesystem::path& path) {
                return opening(path, [&] { return zel::open_scene_graph(r, path); });
            },
            py::arg("path"), "A new graph whose root is the scene of the package at path.");
}

}  // namespace vorn::zel_python
