// Bytes of the library handed to Python without a copy.
//
// A read_buffer is exported through the buffer protocol, read-only, by a
// small owner object that holds the buffer's share; the memoryview made of
// it holds the owner. So a view of a mapped file keeps the mapping alive for
// as long as the view (or anything made of it, a numpy array included)
// lives, whatever became of the package it was read from.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>

#include "zel/archive/system/read_buffer.hpp"

namespace vorn::zel_python {

void bind_bytes_view(pybind11::module_& m);

pybind11::memoryview view_of(std::shared_ptr<const read_buffer> buffer);

// The bytes of a Python object that offers them contiguously (bytes,
// bytearray, memoryview, a contiguous numpy array), held for as long as this
// lives. Raises TypeError for anything else.
class borrowed_bytes {
  public:
    explicit borrowed_bytes(const pybind11::handle& source);
    borrowed_bytes(const borrowed_bytes&) = delete;
    borrowed_bytes& operator=(const borrowed_bytes&) = delete;
    ~borrowed_bytes();

    const char* data() const noexcept { return static_cast<const char*>(view_.buf); }
    std::uint64_t size() const noexcept { return static_cast<std::uint64_t>(view_.len); }

  private:
    Py_buffer view_;
};

}  // namespace vorn::zel_python
