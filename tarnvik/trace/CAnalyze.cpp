#include "tarnvik/trace/CAnalyze.h"

#include <cmath>
#include <limits>
#include <utility>
#include <vector>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

const CTrace& RequireTrace(const std::shared_ptr<CTrace>& oTrace) {
  if (!oTrace) Raise(err::ObjectNotSet);
  return *oTrace;
}

// A 64-bit result that must be finite.
double CheckedFinite(double value) {
  if (!std::isfinite(value)) Raise(err::Overflow);
  return value;
}

// A 64-bit intermediate that must still fit a 32-bit float.
double CheckedSingleRange(double value) {
  if (!std::isfinite(value) || std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max())) {
    Raise(err::Overflow);
  }
  return value;
}

// The sample a Q-point belongs to: q / 8 rounded half to even, as a 16-bit index.
int16_t SampleOfQPoint(int32_t lQPoint) { return ToInt16(static_cast<double>(lQPoint) / 8.0); }

// A fitted line evaluated at a Q-point. The fit's abscissa is index - 1 while the line is
// read at q / 8; that one-sample offset is how the loss methods have always measured.
int32_t FitAtQPoint(double dSlope, double dYIntercept, int32_t lQPoint) {
  return ToInt32(dSlope * lQPoint / 8.0 + dYIntercept);
}

}  // namespace

namespace detail {

int16_t FitLineFromSums(int32_t n, int32_t lSumX, int32_t lSumY, float fSumXY, float fSumXX, double& dSlope,
                        double& dYIntercept) {
  const double dn = n;
  const double sx = lSumX;
  const double sy = lSumY;
  const double sxy = fSumXY;
  const double sxx = fSumXX;
  // The determinant is kept as a 32-bit float: near the top of the index range the
  // rounding of Sxx can make it vanish, which is reported as a degenerate fit.
  const auto determinant = static_cast<float>(CheckedSingleRange(dn * sxx - sx * sx));
  if (determinant == 0.0f) return 1;
  const double d = determinant;
  double slope = (dn * sxy - sx * sy) / d;
  const double intercept = (sy * sxx - sx * sxy) / d;
  if (slope > 1e10) slope = 1e10;
  if (slope < -1e10) slope = -1e10;
  dSlope = slope;
  dYIntercept = intercept;
  return 0;
}

}  // namespace detail

int16_t CAnalyze::LeastSquares(const std::shared_ptr<CTrace>& oTrace, int32_t nIndex1, int32_t nIndex2,
                               double& dSlope, double& dYIntercept) const {
  return Guarded(kModule, "LeastSquares()", [&]() -> int16_t {
    const CTrace& trace = RequireTrace(oTrace);
    int32_t first = CheckInt16(nIndex1);
    int32_t last = CheckInt16(nIndex2);
    const int32_t samples = trace.Samples();
    const auto clamp = [samples](int32_t index) {
      if (index < 1) index = 1;
      if (index > samples) index = samples;
      return index;
    };
    first = clamp(first);
    last = clamp(last);
    if (first > last) std::swap(first, last);
    if (last - first < 1) return 2;

    // The clamped range lies inside 1..Samples, so reading the array once raises nothing
    // that reading sample by sample would.
    const std::vector<int32_t> points = trace.DataPointArray();
    int16_t n = 0;
    int32_t sumX = 0;
    int32_t sumY = 0;
    float sumXY = 0.0f;
    float sumXX = 0.0f;
    for (int32_t i = first; i <= last; ++i) {
      const int32_t x = i - 1;
      const int32_t y = points[static_cast<std::size_t>(i - 1)];
      n = CheckInt16(n + 1);
      sumX = CheckInt32(int64_t{sumX} + x);
      sumY = CheckInt32(int64_t{sumY} + y);
      // Each term is an exact integer added to the float sum with one rounding.
      sumXY = static_cast<float>(static_cast<double>(sumXY) + CheckInt32(int64_t{x} * y));
      sumXX = static_cast<float>(static_cast<double>(sumXX) + static_cast<double>(x) * x);
    }
    return detail::FitLineFromSums(n, sumX, sumY, sumXY, sumXX, dSlope, dYIntercept);
  });
}

int32_t CAnalyze::QPointToPower(int32_t lQPoint, const std::shared_ptr<CTrace>& oTrace) const {
  return Guarded(kModule, "QPointToPower()", [&]() -> int32_t {
    const CTrace& trace = RequireTrace(oTrace);
    const int16_t n = SampleOfQPoint(lQPoint);
    // The sample's own Q-point is a 16-bit product, so it overflows past sample 4095.
    const int16_t sampleQPoint = CheckInt16(8 * static_cast<int32_t>(n));
    const int32_t level = trace.DataPoints(n);
    if (lQPoint == sampleQPoint) return level;
    // Always the forward difference from sample n, also when the Q-point lies below it:
    // the line through n and n + 1 is then extended backwards.
    const int32_t rise = CheckInt32(int64_t{trace.DataPoints(n + 1)} - level);
    const int32_t scaled = CheckInt32(int64_t{rise} * CheckInt32(int64_t{lQPoint} - sampleQPoint));
    return ToInt32(static_cast<double>(level) + static_cast<double>(scaled) / 8.0);
  });
}

int32_t CAnalyze::ComputeLoss(const std::shared_ptr<CTrace>& oTrace, int32_t lLeftCursorQPoint,
                              int32_t lRightCursorQPoint, int32_t lLeftStartQPoint, int32_t lRightEndQPoint,
                              EnumLossMethods eLossMethod, int32_t& lLeftCursorLevel) const {
  return Guarded(kModule, "ComputeLoss()", [&]() -> int32_t {
    const CTrace& trace = RequireTrace(oTrace);
    const auto levelAt = [&trace](int32_t lQPoint) { return trace.DataPoints(SampleOfQPoint(lQPoint)); };

    int32_t right = 0;
    switch (eLossMethod) {
      case LOSS_TwoPoint: {
        const int32_t left = QPointToPower(lLeftCursorQPoint, oTrace);
        right = QPointToPower(lRightCursorQPoint, oTrace);
        lLeftCursorLevel = left;
        break;
      }
      case LOSS_Multiple:
      case LOSS_Single: {
        double slope = 0.0;
        double intercept = 0.0;
        const int32_t left = LeastSquares(oTrace, SampleOfQPoint(lLeftStartQPoint), SampleOfQPoint(lLeftCursorQPoint),
                                          slope, intercept) == 0
                                 ? FitAtQPoint(slope, intercept, lLeftCursorQPoint)
                                 : levelAt(lLeftCursorQPoint);
        // The right-hand line is read at the left cursor for LOSS_Multiple (carried back
        // across the event) and at the right cursor for LOSS_Single. A failed fit falls
        // back to the sample at the left cursor; the check below usually corrects that.
        if (LeastSquares(oTrace, SampleOfQPoint(lRightCursorQPoint), SampleOfQPoint(lRightEndQPoint), slope,
                         intercept) == 0) {
          right = FitAtQPoint(slope, intercept,
                              eLossMethod == LOSS_Multiple ? lLeftCursorQPoint : lRightCursorQPoint);
        } else {
          right = levelAt(lLeftCursorQPoint);
        }
        lLeftCursorLevel = left;
        break;
      }
      default:
        break;  // no level for the other methods; the caller's left level stands
    }

    // A right level more than 1 dB away from the sample at the right cursor is not
    // believed; the sample itself is used instead.
    const int32_t sampleRight = levelAt(lRightCursorQPoint);
    if (static_cast<int64_t>(right) > static_cast<int64_t>(sampleRight) + 1000 ||
        static_cast<int64_t>(right) < static_cast<int64_t>(sampleRight) - 1000) {
      right = sampleRight;
    }
    return CheckInt32(int64_t{right} - lLeftCursorLevel);
  });
}

float CAnalyze::CalculateReflectance(const std::shared_ptr<CTrace>& oTrace, int32_t lFirstPoint,
                                     int32_t lSecondPoint, EnumCursors nActiveCursor) const {
  return Guarded(kModule, "CalculateReflectance()", [&]() -> float {
    const CTrace& trace = RequireTrace(oTrace);
    // The peak of a reflection is the lowest sample; the first of equal minima wins.
    int32_t peak = trace.DataPoints(lFirstPoint);
    const int16_t from = CheckInt16(lFirstPoint);
    const int16_t to = CheckInt16(lSecondPoint);
    for (int32_t i = from; i <= to; ++i) {
      const int32_t level = trace.DataPoints(i);
      if (level < peak) peak = level;
    }
    const float cursorDb = trace.CursorLevel(nActiveCursor) / 1000.0f;
    const double height = static_cast<double>(cursorDb) - static_cast<double>(peak) / 1000.0;
    // No peak above the cursor level: 1.0 is a value no real reflectance takes.
    if (!(height > 0.0)) return 1.0f;
    const double excess = CheckedFinite(std::pow(10.0, height / 5.0)) - 1.0;
    const double reflectance = static_cast<double>(trace.BackScatterCoefficient()) +
                               10.0 * Log10(excess * static_cast<double>(trace.PulseWidth()));
    return static_cast<float>(CheckedSingleRange(reflectance));
  });
}

}  // namespace tarnvik
