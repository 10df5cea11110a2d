#include "document_view.h"

#include <algorithm>
#include <cmath>

#include "names.h"
#include "text_table.h"

namespace tarnvik::tool {

namespace {

using namespace tarnvik::inspect;

// A text as read, quoted, with the code page it was read in when it is not ASCII.
std::string Shown(const Text& text) {
  std::string out = "\"" + text.value + "\"";
  if (text.encoding == TextEncoding::Utf8) out += " (UTF-8)";
  if (text.encoding == TextEncoding::Windows1252) out += " (read as Windows-1252)";
  return out;
}

template <class T>
std::string OrNone(const std::optional<T>& value) {
  return value ? std::to_string(*value) : std::string("-");
}

void Line(std::string& out, const std::string& key, const std::string& value) {
  std::string padded = key;
  if (padded.size() < 22) padded.resize(22, ' ');
  out += "    " + padded + value + "\n";
}

// What every decoded block may add: the first field it did not hold, bytes after its
// fields.
void BlockTail(std::string& out, const BlockInfo& info) {
  if (!info.missingField.empty()) Line(out, "Ends before", info.missingField);
  if (info.extra.size > 0) Line(out, "Extra bytes", std::to_string(info.extra.size) + " after the last field");
}

std::string Join(const std::vector<std::string>& items) {
  std::string out;
  for (const auto& item : items) out += (out.empty() ? "" : ", ") + item;
  return out;
}

template <class T>
std::string Numbers(const std::vector<T>& values) {
  std::vector<std::string> items;
  for (const T v : values) items.push_back(std::to_string(v));
  return Join(items);
}

}  // namespace

std::string DocumentText(const SorDocument& doc) {
  std::string out = "  SR-4731 version " + std::to_string(doc.version) + ": map revision " +
                    std::to_string(doc.mapRevision) + ", " + std::to_string(doc.mapSize) + " bytes, " +
                    std::to_string(doc.blockCount) + " blocks (the map counted)\n";
  TextTable map({"Block", "Revision", "Bytes", "Offset", "Read"}, "lrrrl");
  for (const MapEntry& e : doc.map) {
    const std::string read = e.decoded ? "decoded"
                             : e.kind == BlockKind::Other || e.kind == BlockKind::LnkParams
                                 ? "kept as bytes (" + std::to_string(e.body.size) + ")"
                                 : std::string("kept as bytes: second ") + BlockKindName(e.kind);
    map.Add({"\"" + e.name.value + "\"", std::to_string(e.revision), std::to_string(e.size), std::to_string(e.offset),
             read});
  }
  out += map.Render("    ");

  if (doc.genParams) {
    const GenParams& g = *doc.genParams;
    out += "  GenParams\n";
    Line(out, "Language code", Shown(g.languageCode));
    Line(out, "Cable id", Shown(g.cableId));
    Line(out, "Fibre id", Shown(g.fiberId));
    Line(out, "Fibre type", OrNone(g.fiberType));
    Line(out, "Nominal wavelength", std::to_string(g.nominalWavelength) + " nm");
    Line(out, "Originating location", Shown(g.originatingLocation));
    Line(out, "Terminating location", Shown(g.terminatingLocation));
    Line(out, "Cable code", Shown(g.cableCode));
    Line(out, "Current data flag", Shown(g.currentDataFlag));
    Line(out, "User offset", std::to_string(g.userOffset) + " (100 ps), distance " + OrNone(g.userOffsetDistance));
    Line(out, "Operator", Shown(g.operatorName));
    Line(out, "Comment", Shown(g.comment));
    BlockTail(out, g);
  }
  if (doc.supParams) {
    const SupParams& s = *doc.supParams;
    out += "  SupParams\n";
    Line(out, "Supplier", Shown(s.supplier));
    Line(out, "Mainframe id", Shown(s.mainframeId));
    Line(out, "Mainframe serial", Shown(s.mainframeSerial));
    Line(out, "Module id", Shown(s.moduleId));
    Line(out, "Module serial", Shown(s.moduleSerial));
    Line(out, "Software revision", Shown(s.softwareRevision));
    Line(out, "Other", Shown(s.other));
    BlockTail(out, s);
  }
  if (doc.fxdParams) {
    const FxdParams& f = *doc.fxdParams;
    out += "  FxdParams\n";
    Line(out, "Date/time", std::to_string(f.dateTime) + " (Unix seconds)");
    Line(out, "Distance unit", Shown(f.distanceUnit));
    Line(out, "Actual wavelength", std::to_string(f.actualWavelength) + " (0.1 nm)");
    Line(out, "Acquisition offset", std::to_string(f.acquisitionOffset) + " (100 ps), distance " +
                                        OrNone(f.acquisitionOffsetDistance));
    Line(out, "Pulse widths", std::to_string(f.pulseWidthCount) + ": " + Numbers(f.pulseWidths) + " ns");
    Line(out, "Sample spacing", Numbers(f.sampleSpacing) + " (1e-14 s)");
    Line(out, "Sample counts", Numbers(f.sampleCount));
    Line(out, "Group index", std::to_string(f.groupIndex) + " (x 1e-5)");
    Line(out, "Backscatter", std::to_string(f.backscatterCoefficient) + " (-0.1 dB)");
    Line(out, "Averages", std::to_string(f.averages) + ", averaging time " + OrNone(f.averagingTime) + " (0.1 s)");
    Line(out, "Acquisition range", std::to_string(f.acquisitionRange) + ", distance " +
                                       OrNone(f.acquisitionRangeDistance));
    Line(out, "Front panel offset", std::to_string(f.frontPanelOffset) + " (100 ps)");
    Line(out, "Noise floor", std::to_string(f.noiseFloorLevel) + " (-0.001 dB), scale factor " +
                                 std::to_string(f.noiseFloorScaleFactor));
    Line(out, "Power offset", std::to_string(f.powerOffsetFirstPoint) + " (0.001 dB)");
    Line(out, "Thresholds", "loss " + std::to_string(f.lossThreshold) + ", reflectance " +
                                std::to_string(f.reflectanceThreshold) + " (-0.001 dB), end of fibre " +
                                std::to_string(f.endOfFiberThreshold) + " (0.001 dB)");
    Line(out, "Trace type", f.traceType ? Shown(*f.traceType) : "-");
    Line(out, "Window coordinates",
         f.windowCoordinates ? Numbers(std::vector<int32_t>(f.windowCoordinates->begin(), f.windowCoordinates->end()))
                             : "-");
    BlockTail(out, f);
  }
  if (doc.keyEvents) {
    const KeyEvents& k = *doc.keyEvents;
    out += "  KeyEvents: " + std::to_string(k.events.size()) + " of " + std::to_string(k.eventCount) + " events\n";
    if (!k.events.empty()) {
      TextTable table({"#", "Time", "Slope", "Loss", "Reflectance", "Code", "Technique", "Markers", "Comment"},
                      "rrrrrllll");
      for (const KeyEvent& e : k.events) {
        table.Add({std::to_string(e.number), std::to_string(e.travelTime), std::to_string(e.slope),
                   std::to_string(e.spliceLoss), std::to_string(e.reflectance), Shown(e.code), Shown(e.lossTechnique),
                   e.markers ? Numbers(std::vector<int32_t>(e.markers->begin(), e.markers->end())) : "-",
                   Shown(e.comment)});
      }
      out += table.Render("    ");
    }
    if (k.summary) {
      const KeyEventsSummary& s = *k.summary;
      Line(out, "Total loss", std::to_string(s.totalLoss) + " (0.001 dB) from " + std::to_string(s.lossStart) +
                                  " to " + std::to_string(s.lossEnd));
      Line(out, "Return loss", std::to_string(s.opticalReturnLoss) + " (0.001 dB) from " +
                                   std::to_string(s.returnLossStart) + " to " + std::to_string(s.returnLossEnd));
    }
    BlockTail(out, k);
  }
  if (doc.dataPts) {
    const DataPts& d = *doc.dataPts;
    out += "  DataPts: " + std::to_string(d.sampleCount) + " samples in " + std::to_string(d.groupCount) +
           " scale-factor group(s)" + (d.interleaved ? ", each group's samples after its own header" : "") + "\n";
    std::size_t g = 0;
    for (const DataGroup& group : d.groups) {
      std::string text = std::to_string(group.samples.size()) + " of " + std::to_string(group.count) +
                         " samples, scale factor " + std::to_string(group.scaleFactor);
      if (!group.samples.empty() && group.scaleFactor != 0) {
        const auto [lo, hi] = std::minmax_element(group.samples.begin(), group.samples.end());
        text += ", levels " + Fixed(-*hi * 1.0 / group.scaleFactor, 3) + " to " +
                Fixed(-*lo * 1.0 / group.scaleFactor, 3) + " dB";
      }
      Line(out, "Group " + std::to_string(++g), text);
    }
    BlockTail(out, d);
  }
  if (doc.cksum) out += "  Cksum: stored " + std::to_string(doc.cksum->stored) + "\n";
  std::vector<std::string> others;
  for (const MapEntry& e : doc.map) {
    if (!e.decoded) others.push_back("\"" + e.name.value + "\" (" + std::to_string(e.size) + " bytes)");
  }
  if (!others.empty()) out += "  Other blocks: " + Join(others) + "\n";
  if (doc.trailing.size > 0) out += "  Trailing bytes: " + std::to_string(doc.trailing.size) + "\n";
  out += "  Checksum: " + doc.checksum.Text() + "\n";
  for (const Warning& w : doc.warnings) out += "  Warning " + w.code + ": " + w.message + "\n";
  return out;
}

std::string DocumentTsv(const SorDocument& doc) {
  const TracePoints points = ComputeTracePoints(doc);
  const DistanceOffsets offsets = ComputeDistanceOffsets(doc);
  const int decimals = points.unit == "mt" || points.unit == "ft" ? 3 : 6;
  std::string out = "group\tdistance (" + points.unit +
                    ", one way from the first sample; no offset included: acquisition " +
                    std::to_string(offsets.acquisitionOffset) + ", front panel " +
                    std::to_string(offsets.frontPanelOffset) + ", user " + std::to_string(offsets.userOffset) +
                    " x 100 ps)\tlevel (dB below the top of the scale)\n";
  std::size_t i = 0, g = 0;
  if (doc.dataPts) {
    for (const DataGroup& group : doc.dataPts->groups) {
      ++g;
      for (std::size_t k = 0; k < group.samples.size(); ++k, ++i) {
        out += std::to_string(g) + "\t";
        if (i < points.distances.size()) out += Fixed(points.distances[i], decimals);
        out += "\t";
        out += std::isfinite(points.levels[i]) ? Fixed(points.levels[i], 3) : "NaN";
        out += "\n";
      }
    }
  }
  return out;
}

std::vector<Curve> DocumentCurves(const SorDocument& doc) {
  std::vector<Curve> curves;
  if (!doc.dataPts) return curves;
  const auto& groups = doc.dataPts->groups;
  std::size_t first = 0;
  if (groups.size() > 1) {
    for (std::size_t g = 0; g < groups.size(); ++g) {
      curves.push_back({first, groups[g].samples.size(),
                        "group " + std::to_string(g + 1) + ", scale factor " + std::to_string(groups[g].scaleFactor)});
      first += groups[g].samples.size();
    }
    return curves;
  }
  const std::size_t total = groups.empty() ? 0 : groups[0].samples.size();
  const auto* f = doc.fxdParams ? &*doc.fxdParams : nullptr;
  if (f && f->pulseWidths.size() > 1) {
    for (std::size_t k = 0; k < f->pulseWidths.size() && first < total; ++k) {
      const bool last = k + 1 == f->pulseWidths.size() || k >= f->sampleCount.size();
      const std::size_t count = last ? total - first : std::min<std::size_t>(f->sampleCount[k], total - first);
      curves.push_back({first, count, std::to_string(f->pulseWidths[k]) + " ns"});
      first += count;
    }
    return curves;
  }
  std::string name = f && !f->pulseWidths.empty() ? std::to_string(f->pulseWidths[0]) + " ns" : "samples";
  curves.push_back({0, total, name});
  return curves;
}

}  // namespace tarnvik::tool
