#include "python/python_errors.hpp"

#include <rapidxml/rapidxml.hpp>

#include <cstring>
#include <functional>
#include <new>

#include "zel/foundation/exception.hpp"

namespace vorn::zel_python {

namespace py = pybind11;

namespace {

// The classes live as long as the process: the translator may run until the
// interpreter's last moment, and a Python object must not be released after
// it is gone.
struct error_classes {
    py::handle error;
    py::handle archive;
    py::handle zel;
    py::handle validation;
    py::handle mapping;
    py::handle zlib;
    py::handle document;
    py::handle not_found;
};

error_classes& classes() {
    static error_classes* const the_classes = new error_classes;
    return *the_classes;
}

py::handle make_class(py::module_& m, const char* name, const char* doc, py::handle bases) {
    const std::string qualified = std::string("zel.") + name;
    PyObject* type = PyErr_NewExceptionWithDoc(qualified.c_str(), doc, bases.ptr(), nullptr);
    if (type == nullptr) {
        throw py::error_already_set();
    }
    m.add_object(name, py::handle(type));  // the module takes its own reference
    return type;                           // and ours is never released
}

// Messages quote names from files, which may be any bytes.
void raise(py::handle type, const char* text) {
    const py::object message = py::reinterpret_steal<py::object>(
        PyUnicode_DecodeUTF8(text, static_cast<Py_ssize_t>(std::strlen(text)), "backslashreplace"));
    if (message) {
        PyErr_SetObject(type.ptr(), message.ptr());
    }
}

void translate(std::exception_ptr failure) {
    const error_classes& c = classes();
    try {
        std::rethrow_exception(failure);
    } catch (const missing_file& e) {
        raise(c.not_found, e.what());
    } catch (const closed_object& e) {
        raise(PyExc_ValueError, e.what());
    } catch (const system::mmap::mmap_error& e) {
        raise(c.mapping, e.what());
    } catch (const zel::zel_validation_exception& e) {
        raise(c.validation, e.what());
    } catch (const zel::zel_exception& e) {
        raise(c.zel, e.what());
    } catch (const zela::zel_archive_exception& e) {
        raise(c.archive, e.what());
    } catch (const zlib_runtime_exception& e) {
        raise(c.zlib, e.what());
    } catch (const vorn_exception& e) {
        raise(c.error, e.what());
    } catch (const rapidxml::parse_error& e) {
        // where() points into a text that is gone by now; what() alone.
        raise(c.document, e.what());
    } catch (const std::invalid_argument& e) {
        raise(PyExc_ValueError, e.what());
    } catch (const std::out_of_range& e) {
        raise(PyExc_ValueError, e.what());
    } catch (const std::bad_alloc&) {
        PyErr_NoMemory();
    } catch (const std::bad_function_call& e) {
        raise(PyExc_RuntimeError, e.what());
    }
    // Anything else goes on to pybind11's own translators: its exceptions,
    // and std::exception as RuntimeError.
}

}  // namespace

void bind_errors(py::module_& m) {
    error_classes& c = classes();
    c.error = make_class(m, "Error", "The root of every error that zel raises.", PyExc_Exception);
    c.archive =
        make_class(m, "ArchiveError",
                   "A package that cannot be read as an archive, or an entry of it.", c.error);
    c.zel = make_class(m, "ZelError", "A failure of the scene model or of the writer.", c.error);
    c.validation = make_class(m, "ValidationError",
                              "A link or binary that a registered library does not prove.", c.zel);
    c.mapping = make_class(m, "MappingError", "A file that cannot be mapped into memory.", c.error);
    c.zlib = make_class(m, "ZlibError", "A compressed stream that is damaged.", c.error);
    c.document =
        make_class(m, "DocumentError", "A scene document that is not well formed XML.", c.error);
    const py::tuple not_found_bases = py::make_tuple(c.error, py::handle(PyExc_FileNotFoundError));
    c.not_found =
        make_class(m, "NotFoundError", "A path that does not exist; also a FileNotFoundError.",
                   not_found_bases);
    py::register_exception_translator(translate);
}

}  // namespace vorn::zel_python
