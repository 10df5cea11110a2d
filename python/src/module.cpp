// The extension tarnvik._tarnvik: the library's errors as tarnvik.Error, the published
// classes (written from the surface), the NumPy views of a trace, and the reader of any
// SR-4731 file.
#include <pybind11/pybind11.h>

#include <exception>

#include "PyGlue.h"
#include "PyModule.h"

namespace py = pybind11;

PYBIND11_MODULE(_tarnvik, m) {
  using namespace tarnvik::python;
  m.doc() = "The Tarnvik library's classes; import them from the package tarnvik.";
  m.attr("__version__") = TARNVIK_VERSION_TEXT;
  // tarnvik.Error is defined in Python (tarnvik/_error.py); it is looked up once, when
  // the first error is raised, and kept for the life of the process.
  py::register_exception_translator([](std::exception_ptr p) {
    try {
      if (p) std::rethrow_exception(p);
    } catch (const tarnvik::Error& e) {
      RaiseAsPythonError(e);
    }
  });
  BindSurface(m);
  BindTraceArrays(m);
  BindInspect(m);
}
