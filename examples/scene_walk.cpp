// Reads a scene that spans two packages: opens a scene through a resolver,
// walks its blocks, follows a link into a library and fetches a binary.
//
//   scene_walk                  writes a small scene and library to a
//                               temporary directory, then reads them
//   scene_walk SCENE [LIBRARY]  reads SCENE; links into the alias "lib" go
//                               to LIBRARY
#include <cstdio>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>

#include "zel/zel.hpp"

namespace {

namespace fs = std::filesystem;
using namespace vorn;

// A library with one material and its texture, and a scene that uses it.
void write_demo(const fs::path& scene, const fs::path& library) {
    {
        zel::zel_file_writer writer(library, false, true);
        zel::zel_block& wood = writer.add_block("material", "wood");
        wood.add_parameter("roughness", generic_param(0.6f));
        const std::string texture(4096, 'w');
        wood.add_binary_link_with_data("albedo", "textures/wood.png", texture.data(),
                                       texture.size());
    }
    zel::zel_file_writer writer(scene, false, true);
    zel::zel_block& table = writer.add_block("mesh", "table");
    table.add_parameter("vertices", generic_param(1024));
    table.add_link("material", "wood", "lib");  // the value "lib#wood"
    writer.add_block("light", "lamp").add_parameter("power", generic_param(60.0));
}

void print_block(const std::string& name, const zel::zel_block& block) {
    std::printf("  %s (%s)\n", name.c_str(), block.type().str().c_str());
    for (const zel::zel_block::parameter& p : block.parameters()) {
        std::printf("    %-10s %-8s %s\n", p.name.str().c_str(), p.value.type().str().c_str(),
                    p.value.value().str().c_str());
    }
}

int walk(const fs::path& scene, const fs::path& library) {
    // Budgets: 100,000 blocks of scenes, 64 MiB of binaries each way.
    const auto resolver = std::make_shared<zel::zel_scene_resolver>(100000, 64 << 20, 64 << 20);
    const auto graph = zel::open_scene_graph(resolver, scene);
    // Links name the library by its alias; the redirect says where it is.
    graph->add_file_redirect("lib", library.string());

    std::printf("%s:\n", scene.string().c_str());
    graph->root_index()->visit_blocks(
        [](intrusive_string name, zel::zel_block& block) { print_block(name.str(), block); });

    graph->root_index()->visit_blocks([&](intrusive_string, zel::zel_block& block) {
        for (const zel::zel_block::parameter& p : block.parameters()) {
            if (p.value.type().view() != "link") {
                continue;
            }
            std::string file;
            std::string target;
            graph->resolve_link(p.value.value().str(), graph->root_index(), file, target);
            const auto other = file.empty() ? graph->root_index() : graph->open_file_index(file);
            std::printf("\n%s leads to %s in %s:\n", p.value.value().str().c_str(), target.c_str(),
                        file.empty() ? "this scene" : file.c_str());
            const zel::zel_block& linked = *other->get_block(target);
            print_block(target, linked);
            // A binary link read in the library: its empty left part means
            // the library, so the library's scene is passed along.
            for (const zel::zel_block::parameter& q : linked.parameters()) {
                if (q.value.type().view() == "binary") {
                    const auto bytes = graph->get_binary(q.value.value().str(), false, other);
                    std::printf("    %s: %llu bytes\n", q.value.value().str().c_str(),
                                static_cast<unsigned long long>(bytes->size()));
                }
            }
        }
    });
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        if (argc > 1) {
            return walk(argv[1], argc > 2 ? argv[2] : "lib");
        }
        const fs::path directory = fs::temp_directory_path() / "zel-scene-walk";
        fs::create_directories(directory);
        write_demo(directory / "scene.zel", directory / "library.zel");
        const int status = walk(directory / "scene.zel", directory / "library.zel");
        fs::remove_all(directory);
        return status;
    } catch (const std::exception& e) {
        std::fprintf(stderr, "scene_walk: %s\n", e.what());
        return 1;
    }
}
