// zel.open and what it gives: Package, Entry, Scene, Block, Parameter.
//
// A Package holds a share of the mapped file; close() lets go of it, and
// every later call raises ValueError, while views and scenes taken before
// keep their own shares. Reading an entry, inflating it and parsing the
// scene run without the GIL; the scene's blocks are looked at with it, as
// the scene's tables are not made for threads.
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
#include "python/typed_value.hpp"
#include "zel/archive/file_order.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/package_verify.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

class package {
  public:
    explicit package(std::filesystem::path path) : path_(std::move(path)) {
        reader_ = opening(
            path_, [this] { return std::make_shared<zela::zel_archive_file_reader>(path_); });
    }

    const std::shared_ptr<zela::zel_archive_file_reader>& reader() const {
        if (!reader_) {
            throw closed_object("package " + path_.string() + " is closed");
        }
        return reader_;
    }
    const std::filesystem::path& path() const noexcept { return path_; }
    bool closed() const noexcept { return !reader_; }
    // Lets go of the mapping without the GIL: the last share of a large
    // mapping takes a while to end.
    void close() noexcept {
        std::shared_ptr<zela::zel_archive_file_reader> last = std::move(reader_);
        const py::gil_scoped_release unlocked;
        last.reset();
    }

  private:
    std::filesystem::path path_;
    std::shared_ptr<zela::zel_archive_file_reader> reader_;
};

struct entry_info {
    package_text name;
    std::uint64_t offset;
    std::uint64_t stored_size;
    std::uint64_t size;
    std::uint64_t hash;
    bool compressed;
};

std::vector<entry_info> entries_of(const zela::zel_archive_reader& reader) {
    std::vector<entry_info> entries;
    for (zela::placed_entry& e : zela::entries_in_file_order(reader)) {
        const auto& r = *e.record;
        entries.push_back({{std::move(e.name)},
                           r.off,
                           r.csize,
                           r.dsize == 0 ? r.csize : r.dsize,
                           r.hash,
                           r.dsize != 0});
    }
    return entries;
}

py::memoryview read_entry(const package& p, const package_text& text, bool raw) {
    const auto reader = p.reader();
    const std::string& name = text.bytes;
    if (reader->get_entry_record(name) == nullptr) {
        raise_key_error(text);
    }
    std::shared_ptr<const read_buffer> buffer;
    {
        const py::gil_scoped_release unlocked;
        buffer = raw ? reader->get_raw_entry(name) : reader->get_entry(name);
    }
    return view_of(std::move(buffer));
}

struct scene_view {
    std::shared_ptr<zel::zel_file_index> index;
    std::vector<block_view> blocks;
};

scene_view scene_of(const package& p) {
    const auto reader = p.reader();
    scene_view scene;
    {
        const py::gil_scoped_release unlocked;
        scene.index = std::make_shared<zel::zel_file_index>(reader, scene_entry_name);
    }
    scene.index->visit_blocks([&scene](intrusive_string name, zel::zel_block& block) {
        scene.blocks.push_back({scene.index, &block, std::string(name.view())});
    });
    return scene;
}

std::vector<block_view> metadata_blocks_of(const scene_view& scene) {
    std::vector<block_view> blocks;
    scene.index->visit_metadata_blocks([&](intrusive_string name, zel::zel_block& block) {
        blocks.push_back({scene.index, &block, std::string(name.view())});
    });
    return blocks;
}

struct parameter_view {
    package_text name;
    package_text value;
    package_text type;
    package_text unit;
    package_text tag;
};

package_text text_of(intrusive_string text) {
    return {std::string(text.view())};
}

parameter_view parameter_of(const zel::zel_block::parameter& p) {
    return {text_of(p.name), text_of(p.value.value()), text_of(p.value.type()),
            text_of(p.value.unit()), text_of(p.value.tag())};
}

std::vector<parameter_view> parameters_of(const block_view& b) {
    std::vector<parameter_view> parameters;
    parameters.reserve(b.block->parameter_count());
    for (const zel::zel_block::parameter& p : b.block->parameters()) {
        parameters.push_back(parameter_of(p));
    }
    return parameters;
}

parameter_view parameter_named(const block_view& b, const package_text& name) {
    const zel::zel_block::parameter_id id = b.block->find_parameter(name.bytes);
    if (id == zel::zel_block::no_parameter) {
        raise_key_error(name);
    }
    return parameter_of(b.block->parameter_at(id));
}

std::vector<std::pair<package_text, package_text>> attributes_of(const block_view& b) {
    std::vector<std::pair<package_text, package_text>> attributes;
    for (const auto& [name, value] : b.block->extra_attributes()) {
        attributes.emplace_back(text_of(name), text_of(value));
    }
    return attributes;
}

}  // namespace

void bind_reading(py::module_& m) {
    py::class_<entry_info>(m, "Entry", "An entry of a package's archive, as its table records it.")
        .def_readonly("name", &entry_info::name)
        .def_readonly("offset", &entry_info::offset, "Where its stored bytes start in the file.")
        .def_readonly("stored_size", &entry_info::stored_size, "The number of stored bytes.")
        .def_readonly("size", &entry_info::size, "The number of bytes of the payload.")
        .def_readonly("hash", &entry_info::hash, "The hash of the stored bytes.")
        .def_readonly("compressed", &entry_info::compressed,
                      "Whether the stored bytes are deflated.")
        .def("__repr__", [](const entry_info& e) {
            return package_text{"<zel.Entry " + e.name.bytes + " at " + std::to_string(e.offset) +
                                ", " + std::to_string(e.stored_size) + " stored, " +
                                std::to_string(e.size) + " payload>"};
        });

    py::class_<parameter_view>(m, "Parameter", "A typed parameter of a block, as texts.")
        .def_readonly("name", &parameter_view::name)
        .def_readonly("value", &parameter_view::value, "The value as text.")
        .def_readonly("type", &parameter_view::type,
                      "The type word: \"integer\", \"double3\", \"link\", ...")
        .def_readonly("unit", &parameter_view::unit, "The unit; \"\" when it has none.")
        .def_readonly("tag", &parameter_view::tag, "The tag; \"\" when it has none.")
        .def(
            "typed",
            [](const parameter_view& p) { return typed_value(p.type.bytes, p.value.bytes); },
            "The value as Python sees it by its type word: int for \"integer\", float for\n"
            "\"double\", bool for \"boolean\", str for \"string\", and a tuple of exactly the\n"
            "given count for an array such as \"double3\". The text itself for \"link\",\n"
            "\"binary\" and unknown types. Raises ValueError for a text that does not read.")
        .def("__repr__", [](const parameter_view& p) {
            return package_text{"<zel.Parameter " + p.name.bytes + " " + p.type.bytes + " \"" +
                                p.value.bytes + "\">"};
        });

    py::class_<block_view>(m, "Block", "A block of a scene: a type and its parameters in order.")
        .def_property_readonly("name", [](const block_view& b) { return package_text{b.name}; })
        .def_property_readonly("type", [](const block_view& b) { return text_of(b.block->type()); })
        .def_property_readonly("parameters", parameters_of,
                               "The parameters in the block's order, a list of Parameter.")
        .def_property_readonly("extra_attributes", attributes_of,
                               "The block's other attributes, a list of (name, value) pairs.")
        .def("parameter", parameter_named, py::arg("name"),
             "The first parameter of that name; KeyError if the block has none.")
        .def("__len__", [](const block_view& b) { return b.block->parameter_count(); })
        .def("__repr__", [](const block_view& b) {
            return package_text{"<zel.Block " + b.name + " of type " +
                                std::string(b.block->type().view()) + ">"};
        });

    py::class_<scene_view>(m, "Scene", "The scene of a package: its blocks and metadata blocks.")
        .def("__len__", [](const scene_view& s) { return s.blocks.size(); })
        .def(
            "blocks", [](const scene_view& s) { return s.blocks; },
            "The blocks, a list of Block in the order of the block table.")
        .def(
            "block",
            [](const scene_view& s, const package_text& name) {
                if (!s.index->exists_block(name.bytes)) {
                    raise_key_error(name);
                }
                return block_view{s.index, s.index->get_block(std::string_view(name.bytes)),
                                  name.bytes};
            },
            py::arg("name"), "The block of that name; KeyError if there is none.")
        .def("metadata_blocks", metadata_blocks_of,
             "The blocks that describe the package, such as \"external_refs\".")
        .def_property_readonly(
            "atomized", [](const scene_view& s) { return s.index->read_atomized(); },
            "Whether the document was written in the atomized form.");

    py::class_<package, std::shared_ptr<package>>(
        m, "Package",
        "A package opened for reading: the file is mapped once and read without copies.\n"
        "A context manager; close() lets go of the mapping, which lives on in the views\n"
        "and scenes taken from it.")
        .def_property_readonly("path", &package::path)
        .def_property_readonly("closed", &package::closed)
        .def(
            "entries", [](const package& p) { return entries_of(*p.reader()); },
            "The entries, a list of Entry in the order of their bytes in the file.")
        .def("read", read_entry, py::arg("name"), py::arg("raw") = false,
             "The entry's payload, or with raw its stored bytes, as a read-only memoryview.\n"
             "An entry stored as given is a view of the mapped file, no copy; it keeps the\n"
             "mapping alive while it lives. KeyError for a name the package lacks.")
        .def("scene", scene_of, "The scene of the package, read from its scene document.")
        .def(
            "verify",
            [](const package& p) {
                const auto reader = p.reader();
                const py::gil_scoped_release unlocked;
                return zela::verify_package(*reader, p.path().string());
            },
            "Checks every entry as zel verify does: where it lies, the hash of its stored\n"
            "bytes, and that a deflated entry inflates to its size. Returns a Report.")
        .def("close", &package::close, "Lets go of the mapping; a second call does nothing.")
        .def("__enter__", [](const std::shared_ptr<package>& p) { return p; })
        .def("__exit__", [](package& p, const py::args&) { p.close(); })
        .def("__repr__", [](const package& p) {
            return "<zel.Package " + p.path().string() + (p.closed() ? " closed>" : ">");
        });

    m.def(
        "open",
        [](const std::filesystem::path& path) {
            const py::gil_scoped_release unlocked;
            return std::make_shared<package>(path);
        },
        py::arg("path"),
        "Opens the package at path (a str or os.PathLike) for reading. Raises\n"
        "NotFoundError for a path that does not exist and ArchiveError for a file that\n"
        "is not a sound package.");
}

}  // namespace vorn::zel_python
