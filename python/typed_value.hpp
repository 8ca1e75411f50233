// Values between Python and the library's typed texts.
//
// Writing: a Python bool, int, float or str, or a list or tuple of one of
// them, takes the text and type word that the C++ generic_param makes of a
// bool, a 64-bit integer, a double or a string, so a value written from
// Python is the same bytes as one written from C++. Ints may stand among
// floats; nothing else mixes.
//
// Reading: a value text becomes a Python value by its type word, as the
// library's parsers read it: "integer", "double", "boolean", "string", and
// the first three with an element count ("double3") as a tuple of exactly
// that many. Other type words ("link", "binary", unknown ones) give the text.
#pragma once

#include <pybind11/pybind11.h>

#include <string_view>

#include "zel/foundation/generic_param.hpp"

namespace vorn::zel_python {

// Raises TypeError for a value of another kind, OverflowError for an int
// beyond 64 bits, and the library's error for an empty list.
generic_param param_of(const pybind11::handle& value);

// Raises ValueError for a text that does not read as its type word says.
pybind11::object typed_value(std::string_view type, std::string_view text);

}  // namespace vorn::zel_python
