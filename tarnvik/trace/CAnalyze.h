// Measurement arithmetic on a trace's samples: the loss between two cursors, a
// least-squares line through a run of samples, the level at a sub-sample position and
// the reflectance of a peak. Holds no state; it only reads the trace it is given.
//
// Levels are the samples' thousandths of a dB (a larger value is less power). Positions
// handed to ComputeLoss and QPointToPower are Q-points, eighths of a sample: Q-point q
// belongs to sample q / 8 rounded half to even.
#pragma once

#include <cstdint>
#include <memory>

#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik {

class CTrace;

class CAnalyze {
 public:
  CAnalyze() = default;
  CAnalyze(const CAnalyze&) = delete;
  CAnalyze& operator=(const CAnalyze&) = delete;

  // The loss from the left to the right cursor, in thousandths of a dB, by LOSS_TwoPoint,
  // LOSS_Multiple or LOSS_Single; the level found at the left cursor is written to
  // lLeftCursorLevel. Other methods compute no level and leave lLeftCursorLevel as passed.
  int32_t ComputeLoss(const std::shared_ptr<CTrace>& oTrace, int32_t lLeftCursorQPoint, int32_t lRightCursorQPoint,
                      int32_t lLeftStartQPoint, int32_t lRightEndQPoint, EnumLossMethods eLossMethod,
                      int32_t& lLeftCursorLevel) const;

  // Fits level = dSlope x (index - 1) + dYIntercept through samples nIndex1..nIndex2
  // (16-bit indexes, either order, clamped to the trace). Returns 0 when fitted, 1 for a
  // degenerate fit and 2 for fewer than two samples; the outputs are written only for 0.
  int16_t LeastSquares(const std::shared_ptr<CTrace>& oTrace, int32_t nIndex1, int32_t nIndex2, double& dSlope,
                       double& dYIntercept) const;

  // The level at Q-point lQPoint, taken on the line through the nearest sample and the one
  // after it.
  int32_t QPointToPower(int32_t lQPoint, const std::shared_ptr<CTrace>& oTrace) const;

  // The reflectance, in dB, of the lowest sample between lFirstPoint and lSecondPoint
  // measured against the level of the given cursor; 1.0 when that sample is not above it.
  float CalculateReflectance(const std::shared_ptr<CTrace>& oTrace, int32_t lFirstPoint, int32_t lSecondPoint,
                             EnumCursors nActiveCursor) const;

 private:
  static constexpr const char* kModule = "CAnalyze";
};

namespace detail {

// The closing step of CAnalyze::LeastSquares, from the accumulated sums: status 1 when
// the determinant is 0, else 0 with the slope clamped to +-1e10. Kept separate so that
// the clamp, which real sample values cannot reach, can be checked on its own.
int16_t FitLineFromSums(int32_t n, int32_t lSumX, int32_t lSumY, float fSumXY, float fSumXX, double& dSlope,
                        double& dYIntercept);

}  // namespace detail

}  // namespace tarnvik
