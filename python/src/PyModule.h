// The parts the extension is assembled from.
#pragma once

#include <pybind11/pybind11.h>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::python {

// The published classes, enumerations and global functions (generated).
void BindSurface(pybind11::module_& m);
// CTrace's samples and distances as NumPy arrays.
void BindTraceArrays(pybind11::module_& m);
// The read-only reader of any SR-4731 file and the conversion to version 1.
void BindInspect(pybind11::module_& m);

// Sets the Python error tarnvik.Error(number, description, source) for e.
void RaiseAsPythonError(const Error& e);

}  // namespace tarnvik::python
