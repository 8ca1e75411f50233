// zel.Writer and WriterBlock: a package written from Python.
//
// The Writer owns the C++ writer; its blocks hold a share of the Writer's
// state, so a block outliving its Writer, or used after the close, raises
// ValueError instead of touching a finished writer. Storing bytes (which
// deflates them) and closing run without the GIL, and a lock of the writer's
// own keeps two threads out of it at once; the bytes of a Python object are
// borrowed for the call, not copied.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <memory>
#include <mutex>
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

class writer_state {
  public:
    writer_state(std::filesystem::path where, bool atomize, bool allow_dup)
        : path_(std::move(where)),
          writer_(std::make_unique<zel::zel_file_writer>(path_, allow_dup, atomize)) {}
    writer_state(const writer_state&) = delete;
    writer_state& operator=(const writer_state&) = delete;
    // A writer that nobody closed is closed, as the C++ writer's destructor
    // would, but quietly: nothing may leave a destructor that Python runs.
    ~writer_state() {
        if (writer_) {
            try {
                writer_->close();
            } catch (const std::exception&) {
                // The file is left as the failed close leaves it: refused by readers.
            }
        }
    }

    const std::filesystem::path& path() const noexcept { return path_; }

    // Runs work on the open writer under the writer's lock, with the GIL
    // held: for calls that take no time. A thread that waits here holds up
    // the others only until a call without the GIL is done, and that call
    // never needs the GIL to finish.
    template <class Work>
    auto with_writer(Work work) const {
        const std::lock_guard<std::mutex> guard(lock_);
        return work(open());
    }

    // The same without the GIL, for calls that store bytes.
    template <class Work>
    auto with_writer_released(Work work) const {
        const py::gil_scoped_release unlocked;
        const std::lock_guard<std::mutex> guard(lock_);
        return work(open());
    }

    bool closed() const {
        const std::lock_guard<std::mutex> guard(lock_);
        return !writer_;
    }

    // The checked close; after it, whether it raised or not, the writer is
    // finished with.
    void close() {
        std::unique_ptr<zel::zel_file_writer> finishing;
        const py::gil_scoped_release unlocked;
        const std::lock_guard<std::mutex> guard(lock_);
        finishing = std::move(writer_);
        if (finishing) {
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
        std::filesystem::remove(path_, ignored);
    }

  private:
    zel::zel_file_writer& open() const {
        if (!writer_) {
            throw closed_object("writer of " + path_.string() + " is closed");
        }
        return *writer_;
    }

    std::filesystem::path path_;
    // Guards writer_ and everything made by it: the C++ writer and its
    // blocks belong to one thread at a time.
    mutable std::mutex lock_;
    std::unique_ptr<zel::zel_file_writer> writer_;
};

using writer_handle = std::shared_ptr<writer_state>;

struct writer_block {
    writer_handle state;
    zel::zel_block* block;
    std::string name;

    template <class Work>
    auto with_block(Work work) const {
        return state->with_writer([&](zel::zel_file_writer&) { return work(*block); });
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
    if (path) {
        return s.with_writer_released([&](zel::zel_file_writer& w) {
            return opening(*path, [&] { return w.add_binary_data(hint, *path); });
        });
    }
    const borrowed_bytes bytes(data);
    return s.with_writer_released([&](zel::zel_file_writer& w) {
        return w.add_binary_data(hint, bytes.data(), bytes.size());
    });
}

void add_parameter(const writer_block& b, const std::string& name, const py::object& value,
                   const std::optional<std::string>& type, const std::optional<std::string>& unit,
                   const std::optional<std::string>& tag) {
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
    b.with_block([&](zel::zel_block& block) { block.add_parameter(name, param); });
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
    zel::zel_block& block = *b.block;
    if (path) {
        return b.state->with_writer_released([&](zel::zel_file_writer&) {
            opening(*path, [&] { block.add_binary_link_with_data(name, *path, hint); });
            return linked_entry(block, name);
        });
    }
    const borrowed_bytes bytes(data);
    return b.state->with_writer_released([&](zel::zel_file_writer&) {
        block.add_binary_link_with_data(name, hint, bytes.data(), bytes.size());
        return linked_entry(block, name);
    });
}

}  // namespace

void bind_writing(py::module_& m) {
    m.attr("VALIDATE_LIBRARY_LINKS") = zel::validate_library_links;
    m.attr("VALIDATE_LIBRARY_BINARIES") = zel::validate_library_binaries;

    py::class_<writer_block>(m, "WriterBlock",
                             "A block being written; valid until its Writer is closed.")
        .def_readonly("name", &writer_block::name)
        .def_property_readonly("type",
                               [](const writer_block& b) {
                                   return b.with_block([](const zel::zel_block& block) {
                                       return std::string(block.type().view());
                                   });
                               })
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
               const std::string& library) {
                b.with_block([&](zel::zel_block& self) { self.add_link(name, block, library); });
            },
            py::arg("name"), py::arg("block"), py::arg("library") = "",
            "Links to a block of this package, or of the library of that alias.")
        .def(
            "add_binary_link",
            [](const writer_block& b, const std::string& name, const std::string& binary,
               const std::string& library) {
                b.with_block(
                    [&](zel::zel_block& self) { self.add_binary_link(name, binary, library); });
            },
            py::arg("name"), py::arg("binary"), py::arg("library") = "",
            "Links to a binary stored already, in this package or in a library.")
        .def("add_binary_link_with_data", add_binary_link_with_data, py::arg("name"),
             py::arg("data") = py::none(), py::arg("path") = py::none(), py::arg("hint") = "",
             "Stores bytes (data, any object with contiguous bytes, or the file at path)\n"
             "and links to the entry that holds them; returns that entry's name.")
        .def(
            "add_extra_attribute",
            [](const writer_block& b, const std::string& name, const std::string& value) {
                b.with_block([&](zel::zel_block& self) { self.add_extra_attribute(name, value); });
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
        .def_property_readonly("path", &writer_state::path)
        .def(
            "add_block",
            [](const writer_handle& s, const std::string& type, const std::string& name) {
                zel::zel_block* block = s->with_writer(
                    [&](zel::zel_file_writer& w) { return &w.add_block(type, name); });
                return writer_block{s, block, name};
            },
            py::arg("type"), py::arg("name"),
            "Adds a block; ValueError for a bad type or name, ZelError for a name taken.")
        .def(
            "block_exists",
            [](const writer_state& s, const std::string& name) {
                return s.with_writer(
                    [&](const zel::zel_file_writer& w) { return w.exists_block(name); });
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
                s.with_writer(
                    [&](zel::zel_file_writer& w) { w.add_uncompressed_extension(extension); });
            },
            py::arg("extension"),
            "Stores binaries whose hint ends in extension (with its dot, as \".png\") as\n"
            "they are, to be read later without a copy; others are deflated.")
        .def(
            "register_library",
            [](const writer_state& s, const std::string& alias,
               const std::filesystem::path& contents_path) {
                s.with_writer([&](zel::zel_file_writer& w) {
                    opening(contents_path,
                            [&] { w.register_library_contents(contents_path, alias); });
                });
            },
            py::arg("alias"), py::arg("contents_path"),
            "Registers the library described by the contents file at contents_path under\n"
            "alias, so that links into it can be proven.")
        .def_property(
            "validation",
            [](const writer_state& s) {
                return s.with_writer(
                    [](const zel::zel_file_writer& w) { return w.validation_mode(); });
            },
            [](const writer_state& s, std::uint32_t mode) {
                s.with_writer([&](zel::zel_file_writer& w) { w.set_validation_mode(mode); });
            },
            "The validation mode: 1 proves links into registered libraries as they are\n"
            "added, 2 refuses bytes that a registered library holds.")
        .def_property_readonly("closed", &writer_state::closed)
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
             [](const writer_state& s) { return "<zel.Writer " + s.path().string() + ">"; });
}

}  // namespace vorn::zel_python
