// Levels and distances of a document's samples, and the offsets a distance may include.
// Both work on any document the reader returns and never fail.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "tarnvik/inspect/SorDocument.h"

namespace tarnvik::inspect {

inline constexpr double kSpeedOfLight = 299792458.0;  // m/s

struct TracePoints {
  // One level per sample of "DataPts", the groups in order, in dB below the top of the
  // scale. A stored value v of a group with scale factor s (stored x 1000) counts units
  // of 0.001 dB x 1000 / s, so its level is -v / s dB: 0 dB for v = 0, -12.345 dB for
  // v = 12345 and s = 1000, -10 dB for v = 14700 and s = 1470. NaN for a group whose
  // scale factor is 0. The power offset of the first point (FxdParams) is not applied.
  std::vector<double> levels;
  // The distance of each sample from the first one, in `unit`, one way: sample i lies at
  // i x spacing x c / group index (spacing stored x 1e-14 s, group index stored x 1e-5,
  // c = kSpeedOfLight). With several pulse widths, each spacing covers its own sample
  // count in turn, continuing from the last sample of the one before; the last spacing
  // covers any sample past the counts.
  // No offset is applied: neither the acquisition offset, the front panel offset nor the
  // user offset (see DistanceOffsets); the first sample is at 0.
  // Empty when the file has no FxdParams, no sample spacing or a group index not above 0.
  std::vector<double> distances;
  // The distance of each key event (KeyEvents, in order) in `unit`, one way from the first
  // sample: its travel time (100 ps) converted as the samples are. NaN for every event
  // when there is no group index above 0.
  std::vector<double> eventDistances;
  // The distance unit used: the file's ("km", "mt", "ft", "kf", "mi"), or "mt" when the
  // file gives another; metresPerUnit converts it to metres.
  std::string unit = "mt";
  double metresPerUnit = 1.0;
  // Why there are no distances, or that the file's unit was not known; empty otherwise.
  std::string note;
};

TracePoints ComputeTracePoints(const SorDocument& doc);

// The offsets of a document, none of them applied to TracePoints::distances. The three
// times (100 ps, one way) are also given as distances in TracePoints' unit, converted as
// the samples are (NaN without a group index above 0); the version-2 distance fields as
// stored (no value in version 1 or when the file does not hold them).
struct DistanceOffsets {
  int32_t acquisitionOffset = 0;  // FxdParams
  int32_t frontPanelOffset = 0;   // FxdParams
  int32_t userOffset = 0;         // GenParams
  double acquisitionOffsetInUnit = 0;
  double frontPanelOffsetInUnit = 0;
  double userOffsetInUnit = 0;
  std::optional<int32_t> acquisitionOffsetDistance;  // FxdParams, version 2
  std::optional<int32_t> userOffsetDistance;         // GenParams, version 2
};

DistanceOffsets ComputeDistanceOffsets(const SorDocument& doc);

}  // namespace tarnvik::inspect
