#include "PyRepr.h"

#include <cstdio>
#include <string>

#include <pybind11/pybind11.h>

namespace tarnvik::python {

namespace py = pybind11;

namespace {

std::string Quoted(const std::string& s) {
  std::string out(1, '\'');
  for (char c : s) {
    if (c == '\'') out.push_back('\\');
    out.push_back(c);
  }
  out.push_back('\'');
  return out;
}

std::string Number(double value, const char* format) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

}  // namespace

std::string Enclosed(const char* name, const std::string& detail) {
  std::string text("<tarnvik.");
  text.append(name);
  if (!detail.empty()) text.append(" ").append(detail);
  text.push_back('>');
  return text;
}

std::string Counted(std::size_t n, const char* word) {
  std::string text = std::to_string(n);
  text.append(" ").append(word);
  if (n != 1) text.push_back('s');
  return text;
}

std::string Describe(const CTrace& trace) {
  const int32_t events = trace.Events() ? trace.Events()->Count() : 0;
  std::string text = trace.FileName().empty() ? std::string("(no file)") : Quoted(trace.FileName());
  text += " " + std::to_string(trace.NominalWavelength()) + " nm";
  text += ", " + Counted(static_cast<std::size_t>(events), "event");
  text += ", " + Counted(static_cast<std::size_t>(trace.Samples()), "sample");
  return text;
}

std::string Describe(const CEvent& event) {
  // The type by its enumeration name (EVTYPE_Reflective), a value outside it as a number.
  std::string type = std::to_string(static_cast<int32_t>(event.EType()));
  const py::object name = py::cast(event.EType()).attr("name");
  if (py::str(name).cast<std::string>() != "???") type = py::str(name).cast<std::string>();
  return std::to_string(event.Number()) + " at QRD " + Number(event.LocationQRD(), "%.6g") + ", " + type +
         ", loss " + Number(event.Loss(), "%.6g") +
         ", reflectance " + Number(event.Reflectance(), "%.6g");
}

std::string Describe(const CSORFile& file) {
  const auto map = file.MapBlock();
  const int32_t blocks = map && map->MapBlocks() ? map->MapBlocks()->Count() : 0;
  return (file.FileName().empty() ? std::string("(no file)") : Quoted(file.FileName())) + ", " +
         Counted(static_cast<std::size_t>(blocks), "block") + " in its map";
}

std::string Describe(const CBlock& block) {
  return Quoted(block.BlockID()) + " revision " + std::to_string(block.RevisionNum()) + ", " +
         std::to_string(block.BlockSize()) + " bytes";
}

std::string Describe(const CProprietaryBlock& block) {
  return Quoted(block.BlockID()) + " revision " + std::to_string(block.Revision()) + ", " +
         std::to_string(block.BlockSize()) + " bytes";
}

std::string Describe(const CKTRCommand& command) {
  return Quoted(command.CommandType()) + " with " + std::to_string(command.ParamsCount()) + " parameters";
}

std::string Describe(const CMap& map) {
  return "revision " + std::to_string(map.MapRevision()) + ", " +
         std::to_string(map.MapBlocks() ? map.MapBlocks()->Count() : 0) + " blocks";
}

}  // namespace tarnvik::python
