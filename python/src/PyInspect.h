// The reader of any SR-4731 file from Python: what the three parts of BindInspect share.
#pragma once

#include <pybind11/pybind11.h>

#include <memory>
#include <optional>
#include <string>

#include "PyGlue.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TracePoints.h"

namespace tarnvik::python {

// tarnvik.SorDocument: the document as read, and its trace points once asked for (they
// never change: the document is immutable).
struct Document {
  std::shared_ptr<const inspect::SorDocument> doc;
  std::optional<inspect::TracePoints> points;

  const inspect::TracePoints& Points() {
    if (!points) points = inspect::ComputeTracePoints(*doc);
    return *points;
  }
};

// The document of a source: a SorDocument as it is, a path (str or os.PathLike) read with
// the library's path overload, or the file's bytes (bytes, bytearray, memoryview). Any
// other type raises TypeError; the library's refusals are numbered errors.
std::shared_ptr<const inspect::SorDocument> DocumentOf(const py::handle& source);

// A path argument (str or os.PathLike) as the bytes of the name, as os.fsencode gives them.
std::string PathFrom(const py::handle& path);

// A part of a document, as an object that keeps the whole document alive. The classes
// are bound with non-const holders; every member they have reads.
template <class T, class Owner>
std::shared_ptr<T> Within(const std::shared_ptr<Owner>& owner, const T& part) {
  return std::shared_ptr<T>(owner, const_cast<T*>(&part));
}

// The text as Python's repr shows it: 'Cabinet 17'.
std::string Shown(const std::string& text);

void BindDocument(py::module_& m);
void BindConversion(py::module_& m);

}  // namespace tarnvik::python
