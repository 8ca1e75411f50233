// Texts of a package as Python strs.
//
// A package's names and values are bytes: UTF-8 when a writer made them,
// anything at all in a damaged file. They reach Python as str decoded with
// "surrogateescape", as the os module hands out file names, so that no name
// makes a listing raise; a str given back is encoded the same way, so that
// such a name can still be asked for.
#pragma once

#include <pybind11/pybind11.h>

#include <string>
#include <utility>

namespace vorn::zel_python {

struct package_text {
    std::string bytes;
};

}  // namespace vorn::zel_python

namespace pybind11::detail {

template <>
struct type_caster<vorn::zel_python::package_text> {
    PYBIND11_TYPE_CASTER(vorn::zel_python::package_text, const_name("str"));

    bool load(handle source, bool) {
        if (!PyUnicode_Check(source.ptr())) {
            return false;
        }
        const object bytes = reinterpret_steal<object>(
            PyUnicode_AsEncodedString(source.ptr(), "utf-8", "surrogateescape"));
        if (!bytes) {
            PyErr_Clear();
            return false;
        }
        value.bytes.assign(PyBytes_AS_STRING(bytes.ptr()),
                           static_cast<std::size_t>(PyBytes_GET_SIZE(bytes.ptr())));
        return true;
    }

    static handle cast(const vorn::zel_python::package_text& text, return_value_policy, handle) {
        return PyUnicode_DecodeUTF8(text.bytes.data(), static_cast<Py_ssize_t>(text.bytes.size()),
                                    "surrogateescape");
    }
};

}  // namespace pybind11::detail

namespace vorn::zel_python {

// Raises KeyError for the name, as a str made as above.
[[noreturn]] inline void raise_key_error(const package_text& name) {
    const pybind11::object key = pybind11::cast(name);
    PyErr_SetObject(PyExc_KeyError, key.ptr());
    throw pybind11::error_already_set();
}

}  // namespace vorn::zel_python
