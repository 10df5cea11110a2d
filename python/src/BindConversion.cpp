// tarnvik.convert_to_v1: a version-1 file that CSORFile and ReadTrace take, built from any
// SR-4731 file, with what it refused, dropped and changed; saved with the library's safe
// whole-file replace.
#include <string>

#include "PyInspect.h"
#include "PyRepr.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/inspect/ConvertToV1.h"

namespace tarnvik::python {

namespace {

using inspect::ConversionIssue;
using inspect::ConversionResult;

std::string Counted(std::size_t n, const char* word) {
  return std::to_string(n) + " " + word + (n == 1 ? "" : "s");
}

}  // namespace

void BindConversion(py::module_& m) {
  py::class_<ConversionIssue, std::shared_ptr<ConversionIssue>> issue(
      m, "ConversionIssue", "A value the library refuses in a version-1 file, and what fit=True makes of it.");
  issue.def_property_readonly(
      "kind", [](const ConversionIssue& i) { return TextToPy(i.kind); },
      "\"language-code\", \"data-flag\", \"distance-unit\", \"pulse-widths\", \"scale-factor-groups\", "
      "\"samples\", \"reflectance-threshold\", \"group-index\", \"time\", \"event-code\" or \"loss-technique\".");
  issue.def_property_readonly(
      "refusal", [](const ConversionIssue& i) { return TextToPy(i.refusal); },
      "The rule and the value, with the library's error and source.");
  issue.def_property_readonly(
      "change", [](const ConversionIssue& i) { return TextToPy(i.change); }, "What fit=True makes of it.");
  issue.def("__repr__", [](const ConversionIssue& i) {
    return Enclosed("ConversionIssue", i.kind + ": " + i.change);
  });

  py::class_<ConversionResult, std::shared_ptr<ConversionResult>> conversion(
      m, "Conversion", "The result of tarnvik.convert_to_v1.");
  conversion.def_property_readonly(
      "bytes",
      [](const ConversionResult& r) { return py::bytes(reinterpret_cast<const char*>(r.bytes.data()), r.bytes.size()); },
      "The version-1 file; b\"\" when refused.");
  conversion.def_property_readonly("refused", &ConversionResult::Refused,
                                   "True when a value the library refuses was met without fit=True (no bytes).");
  conversion.def_property_readonly(
      "issues",
      [](const std::shared_ptr<ConversionResult>& self) {
        py::list out;
        for (const ConversionIssue& i : self->issues) out.append(py::cast(Within(self, i)));
        return out;
      },
      "The values the library refuses (ConversionIssue), each changed when fit=True.");
  conversion.def_property_readonly(
      "dropped", [](const ConversionResult& r) { return StringsToPy(r.dropped); },
      "The version-2 fields and blocks left out, with their values.");
  conversion.def_property_readonly(
      "notes", [](const ConversionResult& r) { return StringsToPy(r.notes); },
      "What the library changes in any file it writes, and the blocks kept as bytes.");
  conversion.def(
      "save",
      [](const ConversionResult& r, const py::object& path) {
        const std::string name = PathFrom(path);
        py::gil_scoped_release unlocked;
        Call("Conversion", "Save()", [&] {
          if (r.Refused()) {
            Raise(err::InvalidCall, "The conversion was refused (" + Counted(r.issues.size(), "value") +
                                        " the library refuses, in issues): nothing to save; fit=True changes them");
          }
          ReplaceWholeFile(name, r.bytes);
        });
      },
      py::arg("path"),
      "Writes the file through the library's safe whole-file replace: a failure leaves any file at path "
      "untouched (75 no space or permission, 76 a missing folder, 52 no name). A refused conversion raises 5.");
  conversion.def_static(
      "prove_loads",
      [](const py::object& path) {
        const std::string name = PathFrom(path);
        py::gil_scoped_release unlocked;
        Call("Conversion", "ProveLoads()", [&] { inspect::ProveLoadsAsTrace(name); });
      },
      py::arg("path"),
      "Loads the file at path as the library's object model does (CSORFile.load_from_file, then "
      "CFileOperations.read_trace with the checksum checked) and raises the first error.");
  conversion.def("__repr__", [](const ConversionResult& r) {
    const std::string head = r.Refused() ? "refused" : Counted(r.bytes.size(), "byte");
    return Enclosed("Conversion", head + ", " + Counted(r.issues.size(), "issue") + ", " +
                                      std::to_string(r.dropped.size()) + " dropped, " +
                                      Counted(r.notes.size(), "note"));
  });

  m.def(
      "convert_to_v1",
      [](const py::object& source, bool fit) {
        const auto doc = DocumentOf(source);
        py::gil_scoped_release unlocked;
        return Call("SorDocument", "ConvertToV1()", [&] {
          return std::make_shared<ConversionResult>(inspect::ConvertToV1(*doc, {.fit = fit}));
        });
      },
      py::arg("source"), py::arg("fit") = false,
      "A version-1 file that CSORFile and read_trace take, built from any SR-4731 file (a SorDocument, a "
      "path or the file's bytes). Without fit any value the library refuses refuses the conversion (no "
      "bytes, the values in issues); with fit each is changed as its issue says.");
}

}  // namespace tarnvik::python
