#include "python/bindings.hpp"

namespace vorn::zel_python {

void bind_reports(pybind11::module_&) {}

}  // namespace vorn::zel_python
