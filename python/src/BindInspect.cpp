// The read-only reader of any SR-4731 file: tarnvik.read_sor_document, the document's
// classes (BindInspectDocument.cpp) and the conversion to version 1 (BindConversion.cpp).
#include <Python.h>

#include <cstdint>
#include <vector>

#include "PyInspect.h"
#include "PyModule.h"

namespace tarnvik::python {

std::string PathFrom(const py::handle& path) {
  const py::bytes name = py::module_::import("os").attr("fsencode")(path);
  return std::string(name);
}

std::shared_ptr<const inspect::SorDocument> DocumentOf(const py::handle& source) {
  if (py::isinstance<Document>(source)) return source.cast<const Document&>().doc;
  const bool isBytes = py::isinstance<py::bytes>(source) || PyByteArray_Check(source.ptr()) ||
                       PyMemoryView_Check(source.ptr());
  if (!isBytes && !py::isinstance<py::str>(source) && !py::hasattr(source, "__fspath__")) {
    throw py::type_error("a SorDocument, a path (str or os.PathLike) or the file's bytes (bytes, bytearray, "
                         "memoryview) was expected, not " + std::string(py::str(py::type::of(source).attr("__name__"))));
  }
  if (isBytes) {
    // A copy in one piece, whatever the buffer's layout.
    const auto copy = py::reinterpret_steal<py::bytes>(PyBytes_FromObject(source.ptr()));
    if (!copy) throw py::error_already_set();
    const char* data = PyBytes_AS_STRING(copy.ptr());
    std::vector<uint8_t> bytes(data, data + PyBytes_GET_SIZE(copy.ptr()));
    py::gil_scoped_release unlocked;
    return Call("SorDocument", "ReadSorDocument()", [&] { return inspect::ReadSorDocument(std::move(bytes)); });
  }
  const std::string path = PathFrom(source);
  py::gil_scoped_release unlocked;
  return Call("SorDocument", "ReadSorDocument()", [&] { return inspect::ReadSorDocument(path); });
}

std::string Shown(const std::string& text) { return std::string(py::repr(TextToPy(text))); }

void BindInspect(py::module_& m) {
  BindDocument(m);
  BindConversion(m);
  m.def(
      "read_sor_document",
      [](const py::object& source) { return std::make_shared<Document>(Document{DocumentOf(source), {}}); },
      py::arg("source"),
      "Reads any SR-4731 file, version 1 or 2, as it is: source is a path (str or os.PathLike) or the "
      "file's bytes (bytes, bytearray, memoryview). Refusals raise tarnvik.Error: 10513 not an SR-4731 "
      "file, 62 a file that ends inside the map, 10512 map entries past the map's size; from a path also "
      "52 (no name), 53 (no such file) and 75 (a folder or an unreadable file). Every other quirk is a "
      "warning of the document.");
}

}  // namespace tarnvik::python
