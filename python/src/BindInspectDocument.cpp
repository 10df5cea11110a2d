// tarnvik.SorDocument and the classes of its parts: every field of the reader's structs
// as a read-only attribute in snake case (texts as str, version-2 fields None when
// absent, arrays as tuples, samples, levels and distances as NumPy copies). Each part
// keeps the whole document alive, so that it may outlive the SorDocument object.
#include <pybind11/numpy.h>

#include <Python.h>

#include <array>
#include <cstdint>
#include <string>
#include <type_traits>
#include <vector>

#include "PyInspect.h"
#include "PyRepr.h"

namespace tarnvik::python {

namespace {

using namespace inspect;

// ---- Field values as Python values ----

py::object ToPy(const std::string& text) { return TextToPy(text); }
py::object ToPy(const Text& text) { return TextToPy(text.value); }
py::object ToPy(const ByteRange& range) { return py::make_tuple(range.offset, range.size); }

template <class T>
  requires std::is_arithmetic_v<T>
py::object ToPy(T value) {
  return py::cast(value);
}

template <class T>
py::object ToPy(const std::vector<T>& values) {
  py::tuple out(values.size());
  for (std::size_t i = 0; i < values.size(); ++i) out[i] = ToPy(values[i]);
  return out;
}

template <class T, std::size_t N>
py::object ToPy(const std::array<T, N>& values) {
  py::tuple out(N);
  for (std::size_t i = 0; i < N; ++i) out[i] = ToPy(values[i]);
  return out;
}

template <class T>
py::object ToPy(const std::optional<T>& value) {
  return value ? ToPy(*value) : py::none();
}

template <class T>
py::array_t<T> ArrayOf(const std::vector<T>& values) {
  py::array_t<T> array(static_cast<py::ssize_t>(values.size()));
  if (!values.empty()) std::copy(values.begin(), values.end(), array.mutable_data());
  return array;
}

// The parts of a vector as objects that keep the document alive.
template <class T, class Owner>
py::list PartsOf(const std::shared_ptr<Owner>& owner, const std::vector<T>& parts) {
  py::list out;
  for (const T& part : parts) out.append(py::cast(Within(owner, part)));
  return out;
}

// ---- Binding helpers ----

template <class T>
using Class = py::class_<T, std::shared_ptr<T>>;

template <class T, class Base, class V>
void Field(Class<T>& cls, const char* name, V Base::*member, const char* doc = nullptr) {
  cls.def_property_readonly(name, [member](const T& self) { return ToPy(self.*member); }, doc);
}

template <class T>
void Repr(Class<T>& cls, const char* name, std::string (*describe)(const T&)) {
  cls.def("__repr__", [name, describe](const T& self) { return Enclosed(name, describe(self)); });
}

template <class T>
void BlockTail(Class<T>& cls) {
  Field(cls, "entry", &BlockInfo::entry, "The block's index in the document's map.");
  Field(cls, "missing_field", &BlockInfo::missingField,
        "The first field the block's bytes did not hold (\"group index\", \"event 3: comment\"); empty when "
        "every field was there. Fields from that one on keep their defaults.");
  Field(cls, "extra", &BlockInfo::extra, "(offset, size) of the bytes after the block's last field.");
}

std::string CutNote(const BlockInfo& info) {
  return info.missingField.empty() ? "" : ", cut at " + Shown(info.missingField);
}

std::size_t SamplesHeld(const SorDocument& doc) {
  std::size_t n = 0;
  if (doc.dataPts) {
    for (const DataGroup& g : doc.dataPts->groups) n += g.samples.size();
  }
  return n;
}

// ---- to_dict: the attributes, walked ----

// The SorDocument's attributes that are not the document as read: the file's bytes and
// what is computed from the samples.
bool LeftOutOfDict(const std::string& name) {
  for (const char* n : {"bytes", "levels", "distances", "event_distances", "distance_unit", "metres_per_unit", "points_note"}) {
    if (name == n) return true;
  }
  return false;
}

// Every property of one of this file's objects, recursively: objects as dicts (in the
// order the attributes are bound), tuples and arrays as lists.
py::object Plain(const py::handle& value, bool top) {
  if (value.is_none() || py::isinstance<py::bool_>(value) || py::isinstance<py::int_>(value) ||
      py::isinstance<py::float_>(value) || py::isinstance<py::str>(value)) {
    return py::reinterpret_borrow<py::object>(value);
  }
  if (py::isinstance<py::array>(value)) return value.attr("tolist")();
  if (py::isinstance<py::tuple>(value) || py::isinstance<py::list>(value)) {
    py::list out;
    for (const py::handle item : value) out.append(Plain(item, false));
    return out;
  }
  py::dict out;
  const py::object members = py::type::of(value).attr("__dict__");
  for (const py::handle item : members.attr("items")()) {
    const py::tuple pair = py::reinterpret_borrow<py::tuple>(item);
    if (!PyObject_TypeCheck(pair[1].ptr(), &PyProperty_Type)) continue;
    const auto name = pair[0].cast<std::string>();
    if (top && LeftOutOfDict(name)) continue;
    out[pair[0]] = Plain(value.attr(pair[0]), false);
  }
  return out;
}

}  // namespace

void BindDocument(py::module_& m) {
  Class<MapEntry> entry(m, "MapEntry", "One entry of the map and where its block lies.");
  Field(entry, "name", &MapEntry::name, "The block's name as listed, trailing spaces kept.");
  Field(entry, "revision", &MapEntry::revision);
  Field(entry, "size", &MapEntry::size, "As listed; in version 2 it counts the body's name text.");
  Field(entry, "offset", &MapEntry::offset, "Where the block starts in the file.");
  Field(entry, "body", &MapEntry::body,
        "(offset, size) of the block's own bytes as far as the file holds them, after the name text of a "
        "version-2 body.");
  entry.def_property_readonly(
      "kind", [](const MapEntry& e) { return BlockKindName(e.kind); },
      "\"GenParams\", \"SupParams\", \"FxdParams\", \"KeyEvents\", \"LnkParams\", \"DataPts\", \"Cksum\" or "
      "\"Other\".");
  Field(entry, "decoded", &MapEntry::decoded,
        "False for a block kept as bytes (LnkParams, vendors' blocks, a second block of a standard name).");
  Repr<MapEntry>(entry, "MapEntry", [](const MapEntry& e) {
    return Shown(e.name.value) + " revision " + std::to_string(e.revision) + ", " + Counted(e.size, "byte") +
           " at " + std::to_string(e.offset) + (e.decoded ? "" : ", kept as bytes");
  });

  Class<GenParams> gen(m, "GenParams", "The general parameters block.");
  Field(gen, "language_code", &GenParams::languageCode);
  Field(gen, "cable_id", &GenParams::cableId);
  Field(gen, "fiber_id", &GenParams::fiberId);
  Field(gen, "fiber_type", &GenParams::fiberType, "Version 2: the ITU-T number, 652 for G.652; else None.");
  Field(gen, "nominal_wavelength", &GenParams::nominalWavelength, "nm");
  Field(gen, "originating_location", &GenParams::originatingLocation);
  Field(gen, "terminating_location", &GenParams::terminatingLocation);
  Field(gen, "cable_code", &GenParams::cableCode);
  Field(gen, "current_data_flag", &GenParams::currentDataFlag);
  Field(gen, "user_offset", &GenParams::userOffset, "100 ps");
  Field(gen, "user_offset_distance", &GenParams::userOffsetDistance, "Version 2, as stored; else None.");
  Field(gen, "operator_name", &GenParams::operatorName);
  Field(gen, "comment", &GenParams::comment);
  BlockTail(gen);
  Repr<GenParams>(gen, "GenParams", [](const GenParams& g) {
    return std::to_string(g.nominalWavelength) + " nm, cable " + Shown(g.cableId.value) + ", fiber " +
           Shown(g.fiberId.value) + CutNote(g);
  });

  Class<SupParams> sup(m, "SupParams", "The supplier parameters block.");
  Field(sup, "supplier", &SupParams::supplier);
  Field(sup, "mainframe_id", &SupParams::mainframeId);
  Field(sup, "mainframe_serial", &SupParams::mainframeSerial);
  Field(sup, "module_id", &SupParams::moduleId);
  Field(sup, "module_serial", &SupParams::moduleSerial);
  Field(sup, "software_revision", &SupParams::softwareRevision);
  Field(sup, "other", &SupParams::other);
  BlockTail(sup);
  Repr<SupParams>(sup, "SupParams", [](const SupParams& s) {
    return Shown(s.supplier.value) + " " + Shown(s.mainframeId.value) + CutNote(s);
  });

  Class<FxdParams> fxd(m, "FxdParams", "The fixed parameters block; values as stored.");
  Field(fxd, "date_time", &FxdParams::dateTime, "Unix seconds");
  Field(fxd, "distance_unit", &FxdParams::distanceUnit, "\"km\", \"mt\", \"ft\", \"kf\", \"mi\" as stored");
  Field(fxd, "actual_wavelength", &FxdParams::actualWavelength, "0.1 nm");
  Field(fxd, "acquisition_offset", &FxdParams::acquisitionOffset, "100 ps");
  Field(fxd, "acquisition_offset_distance", &FxdParams::acquisitionOffsetDistance, "Version 2, as stored.");
  Field(fxd, "pulse_width_count", &FxdParams::pulseWidthCount, "As stored.");
  Field(fxd, "pulse_widths", &FxdParams::pulseWidths, "ns, one per pulse width the block holds");
  Field(fxd, "sample_spacing", &FxdParams::sampleSpacing, "1e-14 s, one per pulse width");
  Field(fxd, "sample_count", &FxdParams::sampleCount, "One per pulse width.");
  Field(fxd, "group_index", &FxdParams::groupIndex, "x 1e-5");
  Field(fxd, "backscatter_coefficient", &FxdParams::backscatterCoefficient, "-0.1 dB");
  Field(fxd, "averages", &FxdParams::averages);
  Field(fxd, "averaging_time", &FxdParams::averagingTime, "Version 2: 0.1 s.");
  Field(fxd, "acquisition_range", &FxdParams::acquisitionRange);
  Field(fxd, "acquisition_range_distance", &FxdParams::acquisitionRangeDistance, "Version 2, as stored.");
  Field(fxd, "front_panel_offset", &FxdParams::frontPanelOffset, "100 ps");
  Field(fxd, "noise_floor_level", &FxdParams::noiseFloorLevel, "-0.001 dB");
  Field(fxd, "noise_floor_scale_factor", &FxdParams::noiseFloorScaleFactor);
  Field(fxd, "power_offset_first_point", &FxdParams::powerOffsetFirstPoint, "0.001 dB");
  Field(fxd, "loss_threshold", &FxdParams::lossThreshold, "0.001 dB");
  Field(fxd, "reflectance_threshold", &FxdParams::reflectanceThreshold, "-0.001 dB");
  Field(fxd, "end_of_fiber_threshold", &FxdParams::endOfFiberThreshold, "0.001 dB");
  Field(fxd, "trace_type", &FxdParams::traceType, "Version 2: \"ST\", \"RT\", \"DT\", \"RF\".");
  Field(fxd, "window_coordinates", &FxdParams::windowCoordinates, "Version 2: four integers.");
  BlockTail(fxd);
  Repr<FxdParams>(fxd, "FxdParams", [](const FxdParams& f) {
    return "unit " + Shown(f.distanceUnit.value) + ", " + Counted(f.pulseWidths.size(), "pulse width") + CutNote(f);
  });

  Class<KeyEvent> event(m, "KeyEvent", "One key event; values as stored.");
  Field(event, "number", &KeyEvent::number);
  Field(event, "travel_time", &KeyEvent::travelTime, "100 ps");
  Field(event, "slope", &KeyEvent::slope, "0.001 dB/km");
  Field(event, "splice_loss", &KeyEvent::spliceLoss, "0.001 dB");
  Field(event, "reflectance", &KeyEvent::reflectance, "0.001 dB");
  Field(event, "code", &KeyEvent::code, "6 characters as stored (\"2E9999\").");
  Field(event, "loss_technique", &KeyEvent::lossTechnique, "\"LS\", \"2P\" ...");
  Field(event, "markers", &KeyEvent::markers, "Version 2: five integers; else None.");
  Field(event, "comment", &KeyEvent::comment);
  event.def_property_readonly(
      "kind", [](const KeyEvent& e) { return EventKindName(e.kind); },
      "The code's first character: \"non-reflective\" (0), \"reflective\" (1), \"saturated-reflective\" (2) "
      "or \"unknown\".");
  event.def_property_readonly(
      "origin", [](const KeyEvent& e) { return EventOriginName(e.origin); },
      "The code's second character: \"found\" (F), \"added\" (A), \"moved\" (M), \"end-of-fiber\" (E), "
      "\"out-of-range\" (O), \"deleted\" (D) or \"unknown\".");
  Repr<KeyEvent>(event, "KeyEvent", [](const KeyEvent& e) {
    return std::to_string(e.number) + " " + Shown(e.code.value) + " " + EventKindName(e.kind) + " " +
           EventOriginName(e.origin) + " at " + std::to_string(e.travelTime) + " (100 ps)";
  });

  Class<KeyEventsSummary> summary(m, "KeyEventsSummary", "The totals after the events; values as stored.");
  Field(summary, "total_loss", &KeyEventsSummary::totalLoss, "0.001 dB");
  Field(summary, "loss_start", &KeyEventsSummary::lossStart);
  Field(summary, "loss_end", &KeyEventsSummary::lossEnd);
  Field(summary, "optical_return_loss", &KeyEventsSummary::opticalReturnLoss, "0.001 dB");
  Field(summary, "return_loss_start", &KeyEventsSummary::returnLossStart);
  Field(summary, "return_loss_end", &KeyEventsSummary::returnLossEnd);
  Repr<KeyEventsSummary>(summary, "KeyEventsSummary", [](const KeyEventsSummary& s) {
    return "total loss " + std::to_string(s.totalLoss) + ", optical return loss " +
           std::to_string(s.opticalReturnLoss) + " (0.001 dB)";
  });

  Class<KeyEvents> events(m, "KeyEvents", "The key events block.");
  Field(events, "event_count", &KeyEvents::eventCount, "As stored.");
  events.def_property_readonly(
      "events", [](const std::shared_ptr<KeyEvents>& self) { return PartsOf(self, self->events); },
      "The complete events the block holds (list of KeyEvent).");
  events.def_property_readonly(
      "summary",
      [](const std::shared_ptr<KeyEvents>& self) -> py::object {
        return self->summary ? py::cast(Within(self, *self->summary)) : py::none();
      },
      "KeyEventsSummary, or None when the block ends before it.");
  BlockTail(events);
  Repr<KeyEvents>(events, "KeyEvents", [](const KeyEvents& k) {
    const std::string held = k.events.size() == k.eventCount ? "" : std::to_string(k.events.size()) + " of ";
    return held + Counted(k.eventCount, "event") + CutNote(k);
  });

  Class<DataGroup> group(m, "DataGroup", "One scale factor's samples.");
  Field(group, "count", &DataGroup::count, "As stored.");
  Field(group, "scale_factor", &DataGroup::scaleFactor, "x 1000");
  group.def_property_readonly(
      "samples", [](const DataGroup& g) { return ArrayOf(g.samples); },
      "The samples the block holds (at most count), as a uint16 array (a copy).");
  Repr<DataGroup>(group, "DataGroup", [](const DataGroup& g) {
    return Counted(g.samples.size(), "sample") + ", scale factor " + std::to_string(g.scaleFactor);
  });

  Class<DataPts> data(m, "DataPts", "The data points block.");
  Field(data, "sample_count", &DataPts::sampleCount, "As stored.");
  Field(data, "group_count", &DataPts::groupCount, "As stored.");
  data.def_property_readonly(
      "groups", [](const std::shared_ptr<DataPts>& self) { return PartsOf(self, self->groups); },
      "The scale-factor groups (list of DataGroup).");
  Field(data, "interleaved", &DataPts::interleaved,
        "True when each group's samples follow its own header (the way CSORFile writes several groups).");
  BlockTail(data);
  Repr<DataPts>(data, "DataPts", [](const DataPts& d) {
    std::size_t held = 0;
    for (const DataGroup& g : d.groups) held += g.samples.size();
    return Counted(d.groups.size(), "group") + ", " + Counted(held, "sample") + CutNote(d);
  });

  Class<Cksum> cksum(m, "Cksum", "The checksum block.");
  Field(cksum, "stored", &Cksum::stored);
  BlockTail(cksum);
  Repr<Cksum>(cksum, "Cksum", [](const Cksum& c) { return "stored " + std::to_string(c.stored) + CutNote(c); });

  Class<ChecksumVerdict> verdict(m, "ChecksumVerdict", "What the checksum block says of the file.");
  verdict.def_property_readonly(
      "status", [](const ChecksumVerdict& v) { return ChecksumStatusName(v.status); },
      "\"ok\", \"ok-with-field-as-zero\", \"zero\", \"mismatch\" or \"no-checksum-block\".");
  Field(verdict, "stored", &ChecksumVerdict::stored);
  Field(verdict, "computed", &ChecksumVerdict::computed, "CRC-16/CCITT-FALSE over the bytes before the field.");
  verdict.def_property_readonly(
      "text", [](const ChecksumVerdict& v) { return TextToPy(v.Text()); }, "The verdict in words.");
  Repr<ChecksumVerdict>(verdict, "ChecksumVerdict", [](const ChecksumVerdict& v) { return v.Text(); });

  Class<Warning> warning(m, "SorWarning", "One quirk the reader met: a code (\"trailing-bytes\" ...) and a sentence.");
  Field(warning, "code", &Warning::code);
  Field(warning, "message", &Warning::message);
  Repr<Warning>(warning, "SorWarning", [](const Warning& w) { return w.code + ": " + w.message; });

  Class<DistanceOffsets> offsets(m, "DistanceOffsets",
                                 "The offsets a distance may include, none of them applied to distances.");
  Field(offsets, "acquisition_offset", &DistanceOffsets::acquisitionOffset, "100 ps, FxdParams");
  Field(offsets, "front_panel_offset", &DistanceOffsets::frontPanelOffset, "100 ps, FxdParams");
  Field(offsets, "user_offset", &DistanceOffsets::userOffset, "100 ps, GenParams");
  Field(offsets, "acquisition_offset_in_unit", &DistanceOffsets::acquisitionOffsetInUnit,
        "In distance_unit; NaN without a group index above 0.");
  Field(offsets, "front_panel_offset_in_unit", &DistanceOffsets::frontPanelOffsetInUnit);
  Field(offsets, "user_offset_in_unit", &DistanceOffsets::userOffsetInUnit);
  Field(offsets, "acquisition_offset_distance", &DistanceOffsets::acquisitionOffsetDistance,
        "Version 2, as stored; else None.");
  Field(offsets, "user_offset_distance", &DistanceOffsets::userOffsetDistance, "Version 2, as stored; else None.");
  Repr<DistanceOffsets>(offsets, "DistanceOffsets", [](const DistanceOffsets& o) {
    return "acquisition " + std::to_string(o.acquisitionOffset) + ", front panel " +
           std::to_string(o.frontPanelOffset) + ", user " + std::to_string(o.userOffset) + " (100 ps)";
  });

  // The document and its blocks (None when the file has none).
  Class<Document> doc(m, "SorDocument",
                      "Any SR-4731 file as read by tarnvik.read_sor_document: the map, every standard block, "
                      "the checksum's verdict and the warnings. Read-only.");
  const auto scalar = [&doc](const char* name, auto member, const char* help) {
    doc.def_property_readonly(name, [member](const Document& self) { return ToPy((*self.doc).*member); }, help);
  };
  scalar("version", &SorDocument::version, "1 (map revision 100..199) or 2 (\"Map\" 0x00, revision 200..299).");
  scalar("map_revision", &SorDocument::mapRevision, "As stored.");
  scalar("map_size", &SorDocument::mapSize, "As stored; in version 2 it counts \"Map\" 0x00.");
  scalar("block_count", &SorDocument::blockCount, "As stored: the map counts itself.");
  doc.def_property_readonly(
      "map", [](const Document& self) { return PartsOf(self.doc, self.doc->map); }, "The map's entries (MapEntry).");
  const auto block = [&doc](const char* name, auto member, const char* help) {
    doc.def_property_readonly(
        name,
        [member](const Document& self) -> py::object {
          const auto& part = (*self.doc).*member;
          return part ? py::cast(Within(self.doc, *part)) : py::none();
        },
        help);
  };
  block("gen_params", &SorDocument::genParams, "GenParams or None.");
  block("sup_params", &SorDocument::supParams, "SupParams or None.");
  block("fxd_params", &SorDocument::fxdParams, "FxdParams or None.");
  block("key_events", &SorDocument::keyEvents, "KeyEvents or None.");
  block("data_pts", &SorDocument::dataPts, "DataPts or None.");
  block("cksum", &SorDocument::cksum, "Cksum or None.");
  scalar("trailing", &SorDocument::trailing, "(offset, size) of the bytes after the last block the map lists.");
  doc.def_property_readonly(
      "checksum", [](const Document& self) { return Within(self.doc, self.doc->checksum); }, "ChecksumVerdict");
  doc.def_property_readonly(
      "warnings", [](const Document& self) { return PartsOf(self.doc, self.doc->warnings); },
      "One Warning per quirk met, in the order met.");
  doc.def_property_readonly(
      "bytes",
      [](const Document& self) {
        return py::bytes(reinterpret_cast<const char*>(self.doc->bytes.data()), self.doc->bytes.size());
      },
      "The whole file.");

  // The trace points, computed once.
  doc.def_property_readonly(
      "levels", [](Document& self) { return ArrayOf(self.Points().levels); },
      "One level per sample (dB below the top of the scale, float64, a copy); NaN for a group of scale "
      "factor 0. The power offset of the first point is not applied.");
  doc.def_property_readonly(
      "distances", [](Document& self) { return ArrayOf(self.Points().distances); },
      "The distance of each sample from the first one, one way, in distance_unit (float64, a copy); no "
      "offset applied. Empty without FxdParams, a sample spacing or a group index above 0 (points_note says "
      "why).");
  doc.def_property_readonly(
      "event_distances", [](Document& self) { return ArrayOf(self.Points().eventDistances); },
      "The distance of each key event (key_events.events, in order) in distance_unit, one way from the "
      "first sample, from its travel time (float64, a copy); NaN without a group index above 0.");
  doc.def_property_readonly(
      "distance_unit", [](Document& self) { return TextToPy(self.Points().unit); },
      "The unit of distances: the file's (\"km\", \"mt\", \"ft\", \"kf\", \"mi\"), or \"mt\" for another.");
  doc.def_property_readonly(
      "metres_per_unit", [](Document& self) { return self.Points().metresPerUnit; }, "distance_unit in metres");
  doc.def_property_readonly(
      "points_note", [](Document& self) { return TextToPy(self.Points().note); },
      "Why there are no distances, or that the file's unit was not known; empty otherwise.");
  doc.def(
      "offsets", [](const Document& self) { return std::make_shared<DistanceOffsets>(ComputeDistanceOffsets(*self.doc)); },
      "The acquisition, front panel and user offsets (DistanceOffsets), none of them applied to distances.");
  doc.def(
      "to_dict", [](const py::object& self) { return Plain(self, true); },
      "The document as plain dicts, lists, ints, strs and bools: every attribute above with its name, "
      "recursively (tuples and sample arrays as lists), but for bytes and the trace points (levels, "
      "distances, distance_unit, metres_per_unit, points_note).");
  doc.def("__repr__", [](const Document& self) {
    const SorDocument& d = *self.doc;
    return Enclosed("SorDocument", "version " + std::to_string(d.version) + ", " + Counted(d.map.size(), "block") +
                                       ", " + Counted(d.keyEvents ? d.keyEvents->events.size() : 0, "event") + ", " +
                                       Counted(SamplesHeld(d), "sample") + ", checksum " +
                                       ChecksumStatusName(d.checksum.status) + ", " + Counted(d.warnings.size(), "warning"));
  });
}

}  // namespace tarnvik::python
