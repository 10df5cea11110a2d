// Positions and levels read off a trace for display: the distance its samples span and
// the level at any position, in the trace's display unit and in dB.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tarnvik/trace/CTrace.h"

namespace tarnvik::tool {

// The position of the last sample in QRD (sample i lies at (i - 1) x range / samples);
// 0 without samples.
float LastSampleQRD(const CTrace& trace);

// The sample level at a QRD position, interpolated between the two samples around it,
// in thousandths of a dB (a larger value is less power); nothing when the trace has no
// samples or no range. Positions outside the samples take the nearest end.
std::optional<double> LevelAtQRD(const CTrace& trace, const std::vector<int32_t>& samples, float qrd);

}  // namespace tarnvik::tool
