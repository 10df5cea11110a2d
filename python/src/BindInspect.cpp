#include "PyModule.h"

namespace tarnvik::python {

void BindInspect(pybind11::module_& /*m*/) {}

}  // namespace tarnvik::python
