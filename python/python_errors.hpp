// The module's exceptions, and the one place where C++ failures become them.
//
// zel.Error is the root of the family; below it one class per kind of the
// library's own errors, each raised with the C++ what() unchanged:
//   ArchiveError      the archive layer (zel_archive_exception)
//   ZelError          the scene model and the writer (zel_exception)
//   ValidationError   failed link or binary validation, a ZelError
//   MappingError      mapping a file (mmap_error)
//   ZlibError         a damaged compressed stream (zlib_runtime_exception)
//   DocumentError     a scene document that is not well formed XML
//   NotFoundError     a path that does not exist, also a FileNotFoundError
// A bad name or argument that the library refuses with std::invalid_argument
// is a ValueError with its text; running out of memory a MemoryError. No
// C++ exception leaves a call of the module in any other form.
#pragma once

#include <pybind11/pybind11.h>

#include <filesystem>
#include <stdexcept>
#include <string>

namespace vorn::zel_python {

// Thrown by the module itself where a path it was given does not exist.
class missing_file : public std::runtime_error {
  public:
    using std::runtime_error::runtime_error;
};

// Thrown where an object is used after its close(); becomes ValueError.
class closed_object : public std::logic_error {
  public:
    using std::logic_error::logic_error;
};

void bind_errors(pybind11::module_& m);

// Runs open(), which opens what lies at path; a failure of the library while
// path does not exist becomes missing_file with the library's text.
template <class Open>
auto opening(const std::filesystem::path& path, Open open) -> decltype(open()) {
    try {
        return open();
    } catch (const std::exception& e) {
        std::error_code ignored;
        if (!std::filesystem::exists(path, ignored)) {
            throw missing_file(e.what());
        }
        throw;
    }
}

}  // namespace vorn::zel_python
