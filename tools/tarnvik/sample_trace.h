// A synthetic but realistic 1310 nm trace made with the library: backscatter falling at
// 0.35 dB/km with noise, a reflective connector with a loss, a non-reflective splice, a
// reflective fibre end dropping into the noise floor, the three events and both cursors.
// The noise comes from a fixed pseudo-random sequence, so every run gives the same trace.
#pragma once

#include <cstdint>
#include <memory>

#include "tarnvik/trace/CTrace.h"

namespace tarnvik::tool {

// Samples are 4 QRD (about 4.08 m) apart, so the range grows with the count; the events
// stay where they are (connector 6.5 km, splice 14.2 km, end 24.6 km), so a count below
// 6,030 cuts the fibre end off.
std::shared_ptr<CTrace> MakeSampleTrace(int32_t samples = 8000);

// Where the sample's events are, in km.
inline constexpr double kSampleConnectorKm = 6.5;
inline constexpr double kSampleSpliceKm = 14.2;
inline constexpr double kSampleEndKm = 24.6;

}  // namespace tarnvik::tool
