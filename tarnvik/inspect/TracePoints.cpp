#include "tarnvik/inspect/TracePoints.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace tarnvik::inspect {

namespace {

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Unit {
  const char* code;
  double metres;
};
constexpr Unit kUnits[] = {{"km", 1000.0}, {"mt", 1.0}, {"ft", 0.3048}, {"kf", 304.8}, {"mi", 1609.344}};

// The distance unit and metres per unit; sets note when the file's is unknown.
void ChooseUnit(const SorDocument& doc, TracePoints& points) {
  if (!doc.fxdParams) return;
  const std::string& code = doc.fxdParams->distanceUnit.raw;
  for (const Unit& unit : kUnits) {
    if (code == unit.code) {
      points.unit = std::string(unit.code);  // (assigning the pointer trips a false -Wrestrict of g++ 12)
      points.metresPerUnit = unit.metres;
      return;
    }
  }
  points.note.assign("unknown distance unit \"").append(doc.fxdParams->distanceUnit.value).append("\": distances in metres");
}

// Metres per 1e-14 s of one-way travel; 0 without a group index above 0.
double MetresPerTick(const SorDocument& doc) {
  if (!doc.fxdParams || doc.fxdParams->groupIndex <= 0) return 0;
  return 1e-14 * kSpeedOfLight / (doc.fxdParams->groupIndex * 1e-5);
}

// A time in 100 ps (10,000 ticks of 1e-14 s) as a distance in points' unit; NaN without
// a group index.
double TimeInUnit(double time, double perTick, const TracePoints& points) {
  return perTick == 0 ? kNaN : time * 1e4 * perTick / points.metresPerUnit;
}

}  // namespace

TracePoints ComputeTracePoints(const SorDocument& doc) {
  TracePoints points;
  if (doc.dataPts) {
    std::size_t total = 0;
    for (const DataGroup& group : doc.dataPts->groups) total += group.samples.size();
    points.levels.reserve(total);
    for (const DataGroup& group : doc.dataPts->groups) {
      const double factor = group.scaleFactor;
      for (const uint16_t value : group.samples) {
        points.levels.push_back(group.scaleFactor == 0 ? kNaN : -(value / factor));
      }
    }
  }
  ChooseUnit(doc, points);
  const double perTick = MetresPerTick(doc);
  if (doc.keyEvents) {
    for (const KeyEvent& e : doc.keyEvents->events) points.eventDistances.push_back(TimeInUnit(e.travelTime, perTick, points));
  }
  if (perTick == 0) {
    points.note = doc.fxdParams ? "no group index above 0: no distances" : "no FxdParams block: no distances";
    return points;
  }
  const FxdParams& f = *doc.fxdParams;
  if (f.sampleSpacing.empty()) {
    points.note = "no sample spacing: no distances";
    return points;
  }
  const std::size_t total = points.levels.size();
  points.distances.resize(total);
  std::size_t start = 0;
  double base = 0;
  for (std::size_t k = 0; k < f.sampleSpacing.size() && start < total; ++k) {
    const double step = f.sampleSpacing[k] * perTick / points.metresPerUnit;
    const bool last = k + 1 == f.sampleSpacing.size() || k >= f.sampleCount.size();
    const std::size_t end = last ? total : std::min<std::size_t>(total, start + f.sampleCount[k]);
    for (std::size_t i = start; i < end; ++i) points.distances[i] = base + static_cast<double>(i - start) * step;
    base += static_cast<double>(end - start) * step;
    start = end;
    if (last) break;
  }
  return points;
}

DistanceOffsets ComputeDistanceOffsets(const SorDocument& doc) {
  DistanceOffsets offsets;
  TracePoints unit;
  ChooseUnit(doc, unit);
  const double perTick = MetresPerTick(doc);
  const auto distance = [&](int32_t time) { return TimeInUnit(time, perTick, unit); };
  if (doc.fxdParams) {
    offsets.acquisitionOffset = doc.fxdParams->acquisitionOffset;
    offsets.frontPanelOffset = doc.fxdParams->frontPanelOffset;
    offsets.acquisitionOffsetDistance = doc.fxdParams->acquisitionOffsetDistance;
  }
  if (doc.genParams) {
    offsets.userOffset = doc.genParams->userOffset;
    offsets.userOffsetDistance = doc.genParams->userOffsetDistance;
  }
  offsets.acquisitionOffsetInUnit = distance(offsets.acquisitionOffset);
  offsets.frontPanelOffsetInUnit = distance(offsets.frontPanelOffset);
  offsets.userOffsetInUnit = distance(offsets.userOffset);
  return offsets;
}

}  // namespace tarnvik::inspect
