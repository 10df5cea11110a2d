#include "trace_view.h"

#include <cmath>

namespace tarnvik::tool {

float LastSampleQRD(const CTrace& trace) {
  const int32_t n = trace.Samples();
  if (n == 0) return 0.0f;
  return static_cast<float>(static_cast<double>(trace.AquisitionRange()) * (n - 1) / n);
}

std::optional<double> LevelAtQRD(const CTrace& trace, const std::vector<int32_t>& samples, float qrd) {
  if (samples.empty() || trace.AquisitionRange() == 0) return std::nullopt;
  const double f = static_cast<double>(trace.QRDToFracPoint(qrd)) - 1.0;  // 0-based
  if (!std::isfinite(f) || f <= 0) return samples.front();
  const auto last = static_cast<double>(samples.size() - 1);
  if (f >= last) return samples.back();
  const auto i = static_cast<std::size_t>(f);
  const double t = f - static_cast<double>(i);
  return samples[i] + (samples[i + 1] - samples[i]) * t;
}

}  // namespace tarnvik::tool
