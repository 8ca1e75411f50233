// Report and Finding: the checks of a package as data, and zel.check.
//
// A Report is the library's package_report; to_dict() is its JSON form read
// back, so a report from Python and the JSON of `zel verify --json` or
// `zel check --json` for the same package are equal.
#include <pybind11/pybind11.h>
#include <pybind11/stl.h>
#include <pybind11/stl/filesystem.h>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "python/bindings.hpp"
#include "python/package_text.hpp"
#include "python/python_errors.hpp"
#include "zel/archive/file_reader.hpp"
#include "zel/archive/package_report.hpp"
#include "zel/writer/contents_file.hpp"
#include "zel/writer/link_check.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

using zela::finding;
using zela::finding_place;
using zela::package_report;

// A field of the finding where its place has it, else None.
py::object where(const finding& f, finding_place place, const std::string& text) {
    return f.place == place ? py::cast(package_text{text}) : py::none();
}

py::object where(const finding& f, finding_place place, std::uint64_t value) {
    return f.place == place ? py::cast(value) : py::none();
}

py::object where(const finding& f, finding_place place, bool value) {
    return f.place == place ? py::cast(value) : py::none();
}

package_report check(const std::filesystem::path& path,
                     const std::map<std::string, std::filesystem::path>& libraries) {
    const py::gil_scoped_release unlocked;
    zel::link_checker checker;
    for (const auto& [alias, contents] : libraries) {
        checker.add_library(alias, opening(contents, [&] {
                                return std::make_shared<zel::zel_contents_file>(contents);
                            }));
    }
    const zel::zel_file_index scene(
        opening(path, [&] { return std::make_shared<zela::zel_archive_file_reader>(path); }),
        scene_entry_name);
    return zel::package_report_of(checker.check(scene), path.string());
}

}  // namespace

void bind_reports(py::module_& m) {
    py::class_<finding>(m, "Finding",
                        "One problem a check found: a stable code, a severity, where it is and\n"
                        "the message in words. Fields of another kind of place are None.")
        .def_readonly("code", &finding::code,
                      "A word that stays the same whatever the message says, such as\n"
                      "\"entry-hash-mismatch\" or \"broken-link\".")
        .def_property_readonly("severity",
                               [](const finding& f) {
                                   return f.severity == zela::finding_severity::error ? "error"
                                                                                      : "warning";
                               })
        .def_property_readonly("message", [](const finding& f) { return package_text{f.message}; })
        .def_property_readonly(
            "file", [](const finding& f) { return where(f, finding_place::file, f.file); },
            "A file beside the package, such as a stray temporary of a write.")
        .def_property_readonly(
            "entry", [](const finding& f) { return where(f, finding_place::entry, f.entry); })
        .def_property_readonly(
            "offset", [](const finding& f) { return where(f, finding_place::entry, f.offset); },
            "The file offset of the entry's stored bytes.")
        .def_property_readonly(
            "block", [](const finding& f) { return where(f, finding_place::parameter, f.block); })
        .def_property_readonly(
            "metadata",
            [](const finding& f) { return where(f, finding_place::parameter, f.metadata); },
            "Whether the block is one of the metadata table.")
        .def_property_readonly(
            "parameter",
            [](const finding& f) { return where(f, finding_place::parameter, f.parameter); })
        .def_property_readonly(
            "link", [](const finding& f) { return where(f, finding_place::parameter, f.link); })
        .def_property_readonly(
            "library", [](const finding& f) { return where(f, finding_place::library, f.library); })
        .def("__repr__",
             [](const finding& f) { return "<zel.Finding " + f.code + ": " + f.message + ">"; });

    py::class_<package_report>(m, "Report", "What zel verify or zel check found in one package.")
        .def_readonly("command", &package_report::command, "\"verify\" or \"check\".")
        .def_property_readonly("package",
                               [](const package_report& r) { return package_text{r.package}; })
        .def_property_readonly("errors", &package_report::errors)
        .def_property_readonly("warnings", &package_report::warnings)
        .def_property_readonly("sound", &package_report::sound, "Whether nothing is an error.")
        .def_property_readonly(
            "counts",
            [](const package_report& r) {
                py::dict counts;
                for (const auto& [name, value] : r.counts) {
                    counts[py::str(name)] = value;
                }
                return counts;
            },
            "What the check looked at, as {name: number}.")
        .def_property_readonly(
            "external_refs",
            [](const package_report& r) -> py::object {
                if (!r.external_refs) {
                    return py::none();
                }
                py::list refs;
                for (const std::string& ref : *r.external_refs) {
                    refs.append(py::cast(package_text{ref}));
                }
                return refs;
            },
            "The libraries the package names, for a check; None for verify.")
        .def_readonly("findings", &package_report::findings, "A list of Finding, in order.")
        .def("to_json", &zela::to_json, "The report as the tool's --json prints it, on one line.")
        .def(
            "to_dict",
            [](const package_report& r) {
                return py::module_::import("json").attr("loads")(zela::to_json(r));
            },
            "The report as plain data: the tool's --json output, read.")
        .def("__repr__", [](const package_report& r) {
            return package_text{"<zel.Report " + r.command + " " + r.package + ": " +
                                std::to_string(r.errors()) + " errors, " +
                                std::to_string(r.warnings()) + " warnings>"};
        });

    m.def("check", check, py::arg("path"),
          py::arg("libraries") = std::map<std::string, std::filesystem::path>{},
          "Proves every link of the package at path, as zel check does: local links\n"
          "against the package, links into libraries against the contents files given as\n"
          "{alias: contents_path}. Returns a Report.");
}

}  // namespace vorn::zel_python
