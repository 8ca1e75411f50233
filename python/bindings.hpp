// The parts of the module zel, each bound by a source of its own, and what
// two parts share: the block of a scene as Python sees it.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <string>

#include "zel/scene/block.hpp"
#include "zel/scene/file_index.hpp"

namespace vorn::zel_python {

// A block of a scene, holding the scene: Python's Block.
struct block_view {
    std::shared_ptr<zel::zel_file_index> scene;
    const zel::zel_block* block;
    std::string name;
};

// The package's scene document, the entry every writer fills.
inline constexpr const char* scene_entry_name = "__zel_index__.xml";

void bind_reading(pybind11::module_& m);
void bind_writing(pybind11::module_& m);
void bind_resolving(pybind11::module_& m);
void bind_reports(pybind11::module_& m);

}  // namespace vorn::zel_python
