// The module zel: reading, checking and writing scene packages from Python.
#include <pybind11/pybind11.h>

#include "python/bindings.hpp"
#include "python/bytes_view.hpp"
#include "python/python_errors.hpp"

PYBIND11_MODULE(_zel, m) {
    m.doc() =
        "Scene packages from Python: open one for reading with zel.open, write one with\n"
        "zel.Writer, follow links across packages with zel.Resolver, and check packages\n"
        "with Package.verify and zel.check, whose reports are data.";
    vorn::zel_python::bind_errors(m);
    vorn::zel_python::bind_bytes_view(m);
    vorn::zel_python::bind_reports(m);
    vorn::zel_python::bind_reading(m);
    vorn::zel_python::bind_writing(m);
    vorn::zel_python::bind_resolving(m);
}
