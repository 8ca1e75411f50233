// zel.Writer and WriterBlock: a package written from Python.
//
// The Writer owns the C++ writer; its blocks hold a share of the Writer's
// state, so a block outliving its Writer, or used after the close, raises
// ValueError instead of touching a finished writer. Storing bytes (which
// deflates them) and closing run without the GIL; the bytes of a Python
// object are borrowed for the call, not copied.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "python/bindings.hpp"
#include "python/bytes_view.hpp"
#include "python/python_errors.hpp"
#include "python/typed_value.hpp"
#include "zel/writer/file_writer.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

struct writer_state {
    std::filesystem::path path;
    std::unique_ptr<zel::zel_file_writer> writer;

    writer_state(std::filesystem::path where, bool atomize, bool allow_dup)
        : path(std::move(where)),
          writer(std::make_unique<zel::zel_file_writer>(path, allow_dup, atomize)) {}
    writer_state(const writer_state&) = delete;
    writer_state& operator=(const writer_state&) = delete;
    // A writer that nobody closed is closed, as the C++ writer's destructor
    // would, but quietly: nothing may leave a destructor that Python runs.
    ~writer_state() {
        if (writer) {
            try {
                writer->close();
            } catch (const std::exception&) {
                // The file is left as the failed close leaves it: refused by readers.
            }
        }
    }

    zel::zel_file_writer& open() const {
        if (!writer) {
            throw closed_object("writer of " + path.string() + " is closed");
        }
        return *writer;
    }

    // The checked close; after it, whether it raised or not, the writer is
    // finished with.
    void close() {
        const std::unique_ptr<zel::zel_file_writer> finishing = std::move(writer);
        if (finishing) {
            const py::gil_scoped_release unlocked;
            finishing->close();
        }
    }

    // Leaves no package behind: what a with block that raised wants.
    void abandon() noexcept {
        try {
            close();
        } catch (const std::exception&) {
            // The file goes either way.
        }
        std::error_code ignored;
        std::filesystem::remove(path, ignored);
    }
};

using writer_handle = std::shared_ptr<writer_state>;

struct writer_block {
    writer_handle state;
    zel::zel_block* block;
    std::string name;

    zel::zel_block& open() const {
        state->open();
        return *block;
    }
};

// Exactly one of data and path; TypeError otherwise.
void require_one_source(const py::object& data, const std::optional<std::filesystem::path>& path) {
    if (data.is_none() == !path.has_value()) {
        throw py::type_error("give the bytes either as data or as path, exactly one of them");
    }
}

std::string add_binary(const writer_state& s, const std::string& hint, const py::object& data,
                       const std::optional<std::filesystem::path>& path) {
    require_one_source(data, path);
    zel::zel_file_writer& w = s.open();
    if (path) {
        const py::gil_scoped_release unlocked;
        return opening(*path, [&] { return w.add_binary_data(hint, *path); });
    }
    const borrowed_bytes bytes(data);
    const py::gil_scoped_release unlocked;
    return w.add_binary_data(hint, bytes.data(), bytes.size());
}

void add_parameter(const writer_block& b, const std::string& name, const py::object& value,
                   const std::optional<std::string>& type, const std::optional<std::string>& unit,
                   const std::optional<std::string>& tag) {
    zel::zel_block& block = b.open();
    generic_param param;
    if (type) {
        if (!py::isinstance<py::str>(value)) {
            throw py::type_error("a value given with its type is its text, a str");
        }
        param.create(value.cast<std::string>(), *type);
    } else {
        param = param_of(value);
    }
    param.set_unit(unit.value_or(""));
    param.set_tag(tag.value_or(""));
    block.add_parameter(name, param);
}

// The entry that the last parameter of that name links to: the text behind
// its "#", as add_binary_link_with_data wrote it.
std::string linked_entry(const zel::zel_block& block, const std::string& name) {
    std::string link;
    for (const zel::zel_block::parameter& p : block.parameters()) {
        if (p.name.view() == name) {
            link = p.value.value().view();
        }
    }
    return link.substr(link.find('#') + 1);
}

std::string add_binary_link_with_data(const writer_block& b, const std::string& name,
                                      const py::object& data,
                                      const std::optional<std::filesystem::path>& path,
                                      const std::string& hint) {
    require_one_source(data, path);
    zel::zel_block& block = b.open();
    if (path) {
        const py::gil_scoped_release unlocked;
        opening(*path, [&] { block.add_binary_link_with_data(name, *path, hint); });
    } else {
        const borrowed_bytes bytes(data);
        const py::gil_scoped_release unlocked;
        block.add_binary_link_with_data(name, hint, bytes.data(), bytes.size());
    }
    return linked_entry(block, name);
}

}  // namespace

void bind_writing(py::module_& m) {
    m.attr("VALIDATE_LIBRARY_LINKS") = zel::validate_library_links;
    m.attr("VALIDATE_LIBRARY_BINARIES") = zel::validate_library_binaries;

    py::class_<writer_block>(m, "WriterBlock",
                             "A block being written; valid until its Writer is closed.")
        .def_readonly("name", &writer_block::name)
        .def_property_readonly(
            "type", [](const writer_block& b) { return std::string(b.open().type().view()); })
        .def("add_parameter", add_parameter, py::arg("name"), py::arg("value"),
             py::arg("type") = py::none(), py::arg("unit") = py::none(),
             py::arg("tag") = py::none(),
             "Adds a parameter. A bool, int, float or str, or a list or tuple of one of\n"
             "them, is written as the C++ writer writes a bool, a 64-bit integer, a double\n"
             "or a string (\"double3\" for three floats); with type, value is a str stored\n"
             "as it is under that type word. ValueError for a bad name.")
        .def(
            "add_link",
            [](const writer_block& b, const std::string& name, const std::string& block,
               const std::string& library) { b.open().add_link(name, block, library); },
            py::arg("name"), py::arg("block"), py::arg("library") = "",
            "Links to a block of this package, or of the library of that alias.")
        .def(
            "add_binary_link",
            [](const writer_block& b, const std::string& name, const std::string& binary,
               const std::string& library) { b.open().add_binary_link(name, binary, library); },
            py::arg("name"), py::arg("binary"), py::arg("library") = "",
            "Links to a binary stored already, in this package or in a library.")
        .def("add_binary_link_with_data", add_binary_link_with_data, py::arg("name"),
             py::arg("data") = py::none(), py::arg("path") = py::none(), py::arg("hint") = "",
             "Stores bytes (data, any object with contiguous bytes, or the file at path)\n"
             "and links to the entry that holds them; returns that entry's name.")
        .def(
            "add_extra_attribute",
            [](const writer_block& b, const std::string& name, const std::string& value) {
                b.open().add_extra_attribute(name, value);
            },
            py::arg("name"), py::arg("value"), "Adds an attribute of the block itself.")
        .def("__repr__", [](const writer_block& b) { return "<zel.WriterBlock " + b.name + ">"; });

    py::class_<writer_state, writer_handle>(
        m, "Writer",
        "Writes a package: blocks and binaries in any order, the scene document at the\n"
        "close. A context manager: leaving the with block closes the package, or, if the\n"
        "block raised, abandons it and leaves no file.")
        .def(py::init([](const std::filesystem::path& path, bool atomize, bool allow_dup) {
                 const py::gil_scoped_release unlocked;
                 return std::make_shared<writer_state>(path, atomize, allow_dup);
             }),
             py::arg("path"), py::arg("atomize") = true, py::arg("allow_dup") = false,
             "Creates the package at path, replacing any file there. atomize writes the\n"
             "compact document; allow_dup keeps a second copy of equal bytes.")
        .def_readonly("path", &writer_state::path)
        .def(
            "add_block",
            [](const writer_handle& s, const std::string& type, const std::string& name) {
                return writer_block{s, &s->open().add_block(type, name), name};
            },
            py::arg("type"), py::arg("name"),
            "Adds a block; ValueError for a bad type or name, ZelError for a name taken.")
        .def(
            "block_exists",
            [](const writer_state& s, const std::string& name) {
                return s.open().exists_block(name);
            },
            py::arg("name"))
        .def("add_binary", add_binary, py::arg("hint"), py::arg("data") = py::none(),
             py::arg("path") = py::none(),
             "Stores bytes (data, any object with contiguous bytes, or the file at path)\n"
             "under the name hint and returns the name of the entry that holds them: hint,\n"
             "or the entry that held equal bytes already.")
        .def(
            "add_uncompressed_extension",
            [](const writer_state& s, const std::string& extension) {
                s.open().add_uncompressed_extension(extension);
            },
            py::arg("extension"),
            "Stores binaries whose hint ends in extension (with its dot, as \".png\") as\n"
            "they are, to be read later without a copy; others are deflated.")
        .def(
            "register_library",
            [](const writer_state& s, const std::string& alias,
               const std::filesystem::path& contents_path) {
                zel::zel_file_writer& w = s.open();
                opening(contents_path, [&] { w.register_library_contents(contents_path, alias); });
            },
            py::arg("alias"), py::arg("contents_path"),
            "Registers the library described by the contents file at contents_path under\n"
            "alias, so that links into it can be proven.")
        .def_property(
            "validation", [](const writer_state& s) { return s.open().validation_mode(); },
            [](const writer_state& s, std::uint32_t mode) { s.open().set_validation_mode(mode); },
            "The validation mode: 1 proves links into registered libraries as they are\n"
            "added, 2 refuses bytes that a registered library holds.")
        .def_property_readonly("closed", [](const writer_state& s) { return !s.writer; })
        .def("close", &writer_state::close,
             "Writes the scene document, the table of contents and the header; raises what\n"
             "went wrong. After it the writer and its blocks are finished with.")
        .def("__enter__", [](const writer_handle& s) { return s; })
        .def(
            "__exit__",
            [](writer_state& s, const py::object& type, const py::object&, const py::object&) {
                if (type.is_none()) {
                    s.close();
                } else {
                    s.abandon();
                }
                return false;
            },
            py::arg("exc_type"), py::arg("exc"), py::arg("traceback"))
        .def("__repr__",
             [](const writer_state& s) { return "<zel.Writer " + s.path.string() + ">"; });
}

}  // namespace vorn::zel_python
