// Library packages and contents files for the tests of libraries.
#pragma once

#include <filesystem>
#include <string>

#include "zel/archive/appender.hpp"
#include "zel/scene/block.hpp"
#include "zel/testing/pseudo_random_test.hpp"
#include "zel/testing/scratch_directory_test.hpp"
#include "zel/writer/create_contents_file.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::testing {

// The bytes of the library's binaries.
inline std::string mesh_bytes() {
    return std::string(3000, 'm') + numbered_bytes(500);
}
inline std::string texture_bytes() {
    return numbered_bytes(2000);
}

// A library package: blocks "wood" and "steel" (type "material"), the
// binary "mesh.bin" deflated and "tex.png" stored as it is, both linked from
// "wood". With a tag, the blocks and bytes differ by it, so that two tags
// give two libraries.
inline void write_library(const std::filesystem::path& path, const std::string& tag = "") {
    zel::zel_file_writer writer(path, false, true);
    writer.add_uncompressed_extension(".png");
    zel::zel_block& wood = writer.add_block("material", "wood");
    writer.add_block("material", "steel").add_parameter("tag", generic_param(tag));
    const std::string mesh = mesh_bytes() + tag;
    const std::string texture = texture_bytes() + tag;
    wood.add_binary_link_with_data("mesh", "mesh.bin", mesh.data(), mesh.size());
    wood.add_binary_link_with_data("texture", "tex.png", texture.data(), texture.size());
}

// A library and its contents file in dir, as dir/<name>.zel and .zelc.
inline std::filesystem::path make_library(const std::filesystem::path& dir, const std::string& name,
                                          const std::string& tag = "") {
    const std::filesystem::path package = dir / (name + ".zel");
    const std::filesystem::path contents = dir / (name + ".zelc");
    write_library(package, tag);
    zel::create_contents_file(contents, package);
    return contents;
}

// An archive whose entries "__zel_index__.xml" and "__zel_binaries__.xml"
// hold the given texts, as a damaged or hand-made contents file. The
// catalogue is stored as it is if deflate_catalogue is clear, so that its
// text can be damaged in the file.
inline void write_contents_archive(const std::filesystem::path& path, const std::string& scene,
                                   const std::string& catalogue, bool deflate_catalogue = true) {
    zela::zel_archive_file_appender<parallel::mutex_traits_no_op> archive(path, true);
    archive.add_entry("__zel_index__.xml", scene.data(), scene.size(), true, false);
    archive.add_entry("__zel_binaries__.xml", catalogue.data(), catalogue.size(), deflate_catalogue,
                      false);
    archive.close();
}

}  // namespace vorn::testing
