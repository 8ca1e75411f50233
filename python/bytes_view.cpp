#include "python/bytes_view.hpp"

#include <utility>

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

struct buffer_owner {
    std::shared_ptr<const read_buffer> buffer;
};

// The address of an empty view; a buffer of no bytes may have none.
const char no_bytes = 0;

}  // namespace

void bind_bytes_view(py::module_& m) {
    py::class_<buffer_owner>(m, "_Bytes", py::buffer_protocol(),
                             "The owner of bytes read from a package; seen through memoryview.")
        .def_buffer([](const buffer_owner& owner) {
            const read_buffer& b = *owner.buffer;
            const char* data = b.size() == 0 ? &no_bytes : b.data();
            return py::buffer_info(const_cast<char*>(data), 1,
                                   py::format_descriptor<unsigned char>::format(), 1,
                                   {static_cast<py::ssize_t>(b.size())}, {1}, true);
        });
}

py::memoryview view_of(std::shared_ptr<const read_buffer> buffer) {
    const py::object owner = py::cast(buffer_owner{std::move(buffer)});
    return py::memoryview(owner);
}

borrowed_bytes::borrowed_bytes(const py::handle& source) {
    if (PyObject_GetBuffer(source.ptr(), &view_, PyBUF_SIMPLE) != 0) {
        PyErr_Clear();
        throw py::type_error("expected bytes or an object with contiguous bytes, not " +
                             std::string(py::str(py::type::handle_of(source).attr("__name__"))));
    }
}

borrowed_bytes::~borrowed_bytes() {
    PyBuffer_Release(&view_);
}

}  // namespace vorn::zel_python
