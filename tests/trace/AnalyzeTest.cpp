// The analysis object: least-squares fits, Q-point levels, loss between cursors and
// reflectance, with their exact arithmetic and error reports.
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <memory>
#include <vector>

#include "support/Fixtures.h"
#include "tarnvik/trace/CAnalyze.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

std::shared_ptr<CTrace> TraceOf(const std::vector<int32_t>& samples) {
  auto trace = std::make_shared<CTrace>();
  trace->SetSamples(static_cast<int32_t>(samples.size()));
  for (std::size_t i = 0; i < samples.size(); ++i) trace->SetDataPoints(static_cast<int32_t>(i + 1), samples[i]);
  return trace;
}

TEST(AnalyzeLeastSquares, FitsOnIndexLessOneInEitherOrder) {
  CAnalyze analyze;
  const auto trace = TraceOf({10, 20, 30, 45, 45});
  double slope = 0;
  double intercept = 0;

  EXPECT_EQ(analyze.LeastSquares(trace, 1, 3, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(slope, 10.0);
  EXPECT_DOUBLE_EQ(intercept, 10.0);  // abscissas 0, 1, 2

  slope = intercept = 0;
  EXPECT_EQ(analyze.LeastSquares(trace, 3, 1, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(slope, 10.0);
  EXPECT_DOUBLE_EQ(intercept, 10.0);

  // Samples 2 and 3 sit at abscissas 1 and 2: the same line, so the same intercept.
  slope = intercept = 0;
  EXPECT_EQ(analyze.LeastSquares(trace, 2, 3, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(slope, 10.0);
  EXPECT_DOUBLE_EQ(intercept, 10.0);

  // Indexes outside the trace are clamped to it.
  EXPECT_EQ(analyze.LeastSquares(trace, -7, 3, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(intercept, 10.0);
  EXPECT_EQ(analyze.LeastSquares(trace, 4, 900, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(slope, 0.0);
  EXPECT_DOUBLE_EQ(intercept, 45.0);
}

TEST(AnalyzeLeastSquares, FewerThanTwoSamplesAndDegenerateFitsLeaveTheOutputs) {
  CAnalyze analyze;
  const auto trace = TraceOf({10, 20, 30, 45, 45});
  double slope = -7;
  double intercept = -7;
  EXPECT_EQ(analyze.LeastSquares(trace, 2, 2, slope, intercept), 2);
  EXPECT_EQ(analyze.LeastSquares(trace, 0, 1, slope, intercept), 2);   // both clamp to 1
  EXPECT_EQ(analyze.LeastSquares(trace, 9, 12, slope, intercept), 2);  // both clamp to 5
  EXPECT_EQ(analyze.LeastSquares(std::make_shared<CTrace>(), 1, 5, slope, intercept), 2);
  EXPECT_EQ(slope, -7);
  EXPECT_EQ(intercept, -7);

  // At abscissas 2897..2899 the 32-bit float sum of squares rounds down by 2, which
  // makes the determinant exactly 0; a 64-bit sum would not.
  std::vector<int32_t> long_trace(2900, 500);
  const auto big = TraceOf(long_trace);
  EXPECT_EQ(analyze.LeastSquares(big, 2898, 2900, slope, intercept), 1);
  EXPECT_EQ(slope, -7);
  EXPECT_EQ(intercept, -7);
  EXPECT_EQ(analyze.LeastSquares(big, 2899, 2900, slope, intercept), 0);
  EXPECT_DOUBLE_EQ(slope, 0.0);
}

TEST(AnalyzeLeastSquares, SlopeIsClampedButInterceptIsNot) {
  double slope = 0;
  double intercept = 0;
  // n = 2, abscissas 0 and 1: determinant 1, slope 2 x Sxy, intercept -Sxy.
  const float big = 34359738368.0f;  // 2^35
  EXPECT_EQ(detail::FitLineFromSums(2, 1, 0, big, 1.0f, slope, intercept), 0);
  EXPECT_EQ(slope, 1e10);
  EXPECT_EQ(intercept, -34359738368.0);
  EXPECT_EQ(detail::FitLineFromSums(2, 1, 0, -big, 1.0f, slope, intercept), 0);
  EXPECT_EQ(slope, -1e10);
  EXPECT_EQ(intercept, 34359738368.0);
  EXPECT_EQ(detail::FitLineFromSums(2, 1, 0, 4294967296.0f, 1.0f, slope, intercept), 0);
  EXPECT_EQ(slope, 8589934592.0);  // below the limit: untouched
  EXPECT_EQ(detail::FitLineFromSums(3, 3, 9, 0.0f, 3.0f, slope, intercept), 1);
}

TEST(AnalyzeLeastSquares, Errors) {
  CAnalyze analyze;
  double slope = 0;
  double intercept = 0;
  EXPECT_RAISES(analyze.LeastSquares(nullptr, 1, 2, slope, intercept), 91, "CAnalyze:LeastSquares()",
                "Object variable or With block variable not set");
  const auto trace = TraceOf({1, 2, 3});
  EXPECT_RAISES(analyze.LeastSquares(trace, 1, 32768, slope, intercept), 6, "CAnalyze:LeastSquares()", "Overflow");
  EXPECT_RAISES(analyze.LeastSquares(trace, -32769, 2, slope, intercept), 6, "CAnalyze:LeastSquares()", "Overflow");
  // The level sum is a 32-bit integer.
  const auto loud = TraceOf({std::numeric_limits<int32_t>::max(), 1});
  EXPECT_RAISES(analyze.LeastSquares(loud, 1, 2, slope, intercept), 6, "CAnalyze:LeastSquares()", "Overflow");
  // So is each product of abscissa and level: 2 x 2^30.
  const auto steep = TraceOf({0, 0, 1 << 30});
  EXPECT_RAISES(analyze.LeastSquares(steep, 1, 3, slope, intercept), 6, "CAnalyze:LeastSquares()", "Overflow");
  EXPECT_EQ(analyze.LeastSquares(steep, 1, 2, slope, intercept), 0);
}

TEST(AnalyzeQPointToPower, OneSidedInterpolationRoundedHalfToEven) {
  CAnalyze analyze;
  const auto trace = TraceOf({90, 100, 200, 250});
  EXPECT_EQ(analyze.QPointToPower(8, trace), 90);
  EXPECT_EQ(analyze.QPointToPower(16, trace), 100);
  EXPECT_EQ(analyze.QPointToPower(32, trace), 250);  // last sample: no neighbour is read
  EXPECT_EQ(analyze.QPointToPower(20, trace), 150);  // 2.5 rounds to sample 2
  // 12 / 8 = 1.5 rounds to sample 2 as well: the line through samples 2 and 3 is carried
  // backwards, not interpolated between samples 1 and 2 (which would give 95).
  EXPECT_EQ(analyze.QPointToPower(12, trace), 50);
  EXPECT_EQ(analyze.QPointToPower(13, trace), 62);   // 100 - 300 / 8 = 62.5
  EXPECT_EQ(analyze.QPointToPower(17, trace), 112);  // 100 + 100 / 8 = 112.5
  EXPECT_EQ(analyze.QPointToPower(19, trace), 138);  // 100 + 300 / 8 = 137.5
  EXPECT_EQ(analyze.QPointToPower(25, trace), 206);  // 200 + 50 / 8 = 206.25
}

TEST(AnalyzeQPointToPower, Errors) {
  CAnalyze analyze;
  const auto trace = TraceOf({90, 100, 200, 250});
  EXPECT_RAISES(analyze.QPointToPower(8, nullptr), 91, "CAnalyze:QPointToPower()",
                "Object variable or With block variable not set");
  // 4 / 8 rounds to sample 0; 28 / 8 rounds to sample 4, whose successor is missing.
  EXPECT_RAISES(analyze.QPointToPower(4, trace), 9, "CAnalyze:QPointToPower()", "Subscript out of range");
  EXPECT_RAISES(analyze.QPointToPower(28, trace), 9, "CAnalyze:QPointToPower()", "Subscript out of range");
  EXPECT_RAISES(analyze.QPointToPower(40, trace), 9, "CAnalyze:QPointToPower()", "Subscript out of range");
  EXPECT_RAISES(analyze.QPointToPower(262140, trace), 6, "CAnalyze:QPointToPower()", "Overflow");

  // The sample's own Q-point is a 16-bit product: sample 4095 is the last one reachable.
  std::vector<int32_t> levels(4097);
  for (std::size_t i = 0; i < levels.size(); ++i) levels[i] = static_cast<int32_t>(i + 1) * 2;
  const auto long_trace = TraceOf(levels);
  EXPECT_EQ(analyze.QPointToPower(32760, long_trace), 8190);
  EXPECT_EQ(analyze.QPointToPower(32763, long_trace), 8191);  // 8190 + 2 x 3 / 8 = 8190.75
  EXPECT_RAISES(analyze.QPointToPower(32764, long_trace), 6, "CAnalyze:QPointToPower()", "Overflow");
}

// Levels rising by 10 a sample, with a step of 500 between samples 10 and 11.
std::shared_ptr<CTrace> StepTrace() {
  std::vector<int32_t> levels;
  for (int32_t i = 1; i <= 20; ++i) levels.push_back((i <= 10 ? 1000 : 1500) + 10 * (i - 1));
  return TraceOf(levels);
}

TEST(AnalyzeComputeLoss, TwoPointUsesTheQPointLevels) {
  CAnalyze analyze;
  int32_t left = -1;
  EXPECT_EQ(analyze.ComputeLoss(TraceOf(std::vector<int32_t>(20, 5000)), 40, 120, 16, 150, LOSS_TwoPoint, left), 0);
  EXPECT_EQ(left, 5000);

  // Left at Q-point 68 (8.5 -> sample 8, half a sample on: 1070 + 5), right at sample 12.
  EXPECT_EQ(analyze.ComputeLoss(StepTrace(), 68, 96, 0, 0, LOSS_TwoPoint, left), 1610 - 1075);
  EXPECT_EQ(left, 1075);
  // Q-point 76 rounds up to sample 10, and the line through samples 10 and 11, which
  // crosses the step, is carried half a sample back: 1090 - 510 / 2 = 835.
  EXPECT_EQ(analyze.ComputeLoss(StepTrace(), 76, 96, 0, 0, LOSS_TwoPoint, left), 1610 - 835);
  EXPECT_EQ(left, 835);
}

TEST(AnalyzeComputeLoss, FittedMethodsKeepTheOneSampleOffset) {
  CAnalyze analyze;
  const auto trace = StepTrace();
  int32_t left = -1;
  // Left fit over samples 1..9: slope 10, intercept 1000, read at 72 / 8 = 9 -> 1090
  // (the sample there is 1080). Right fit over samples 12..20: slope 10, intercept 1500.
  // LOSS_Multiple reads it at the left cursor: 1590.
  EXPECT_EQ(analyze.ComputeLoss(trace, 72, 96, 8, 160, LOSS_Multiple, left), 500);
  EXPECT_EQ(left, 1090);
  // LOSS_Single reads it at the right cursor: 96 / 8 = 12 -> 1620.
  left = -1;
  EXPECT_EQ(analyze.ComputeLoss(trace, 72, 96, 8, 160, LOSS_Single, left), 530);
  EXPECT_EQ(left, 1090);

  // A right-hand fit over one sample fails and falls back to the sample at the LEFT
  // cursor (1080), which lies within 1 dB of the right one and so stands.
  EXPECT_EQ(analyze.ComputeLoss(trace, 72, 96, 8, 96, LOSS_Single, left), -10);
  EXPECT_EQ(analyze.ComputeLoss(trace, 72, 96, 8, 96, LOSS_Multiple, left), -10);
  // A failed left fit uses the sample at the left cursor.
  EXPECT_EQ(analyze.ComputeLoss(trace, 72, 96, 72, 160, LOSS_Single, left), 540);
  EXPECT_EQ(left, 1080);
}

TEST(AnalyzeComputeLoss, RightLevelMoreThanOneDbOffIsReplacedBySample) {
  CAnalyze analyze;
  // Two flat sections 3 dB apart: the LOSS_Multiple right line (3000) read at the left
  // cursor is within 1 dB of the sample, so it stands; a failed fit's fallback (0 at the
  // left cursor) is 3 dB off and is replaced by the sample at the right cursor.
  std::vector<int32_t> levels(20, 0);
  for (std::size_t i = 10; i < levels.size(); ++i) levels[i] = 3000;
  const auto trace = TraceOf(levels);
  int32_t left = -1;
  EXPECT_EQ(analyze.ComputeLoss(trace, 40, 120, 8, 160, LOSS_Multiple, left), 3000);
  EXPECT_EQ(analyze.ComputeLoss(trace, 40, 120, 8, 120, LOSS_Multiple, left), 3000);
  EXPECT_EQ(left, 0);

  // Methods without a level: the right level starts at 0 and the caller's left level is
  // kept, so the result is the sample at R less the caller's level when that sample is
  // more than 1 dB from 0, and 0 less the caller's level otherwise.
  left = 100;
  EXPECT_EQ(analyze.ComputeLoss(trace, 40, 120, 8, 160, LOSS_FiberAttenuation, left), 2900);
  EXPECT_EQ(left, 100);
  EXPECT_EQ(analyze.ComputeLoss(trace, 40, 40, 8, 160, LOSS_Other, left), -100);
  EXPECT_EQ(left, 100);

  // The 1 dB bounds are inclusive on both sides.
  const auto edges = TraceOf({-1000, -1001, 1000, 1001});
  left = 0;
  EXPECT_EQ(analyze.ComputeLoss(edges, 8, 8, 0, 0, LOSS_Other, left), 0);
  EXPECT_EQ(analyze.ComputeLoss(edges, 8, 16, 0, 0, LOSS_Other, left), -1001);
  EXPECT_EQ(analyze.ComputeLoss(edges, 8, 24, 0, 0, LOSS_Other, left), 0);
  EXPECT_EQ(analyze.ComputeLoss(edges, 8, 32, 0, 0, LOSS_Other, left), 1001);
}

TEST(AnalyzeComputeLoss, Errors) {
  CAnalyze analyze;
  const auto trace = StepTrace();
  int32_t left = 0;
  EXPECT_RAISES(analyze.ComputeLoss(nullptr, 72, 96, 8, 160, LOSS_TwoPoint, left), 91, "CAnalyze:ComputeLoss()",
                "Object variable or With block variable not set");
  EXPECT_RAISES(analyze.ComputeLoss(trace, 72, 400, 8, 160, LOSS_TwoPoint, left), 9, "CAnalyze:ComputeLoss()",
                "Subscript out of range");
  EXPECT_RAISES(analyze.ComputeLoss(trace, 72, 400, 8, 160, LOSS_End, left), 9, "CAnalyze:ComputeLoss()",
                "Subscript out of range");
  left = std::numeric_limits<int32_t>::min();
  EXPECT_RAISES(analyze.ComputeLoss(trace, 72, 96, 8, 160, LOSS_Start, left), 6, "CAnalyze:ComputeLoss()",
                "Overflow");
}

TEST(AnalyzeCalculateReflectance, PeakAgainstCursorLevel) {
  CAnalyze analyze;
  const auto trace = TraceOf({30000, 30000, 20000, 20000, 30000});
  trace->SetPulseWidth(1000);
  trace->SetBackScatterCoefficient(-80.0f);
  trace->SetCursorLevel(Acursor, 30000.0f);
  trace->SetCursorLevel(Bcursor, 20000.0f);

  // 10 dB above the cursor level: -80 + 10 log10((10^2 - 1) x 1000).
  EXPECT_NEAR(analyze.CalculateReflectance(trace, 1, 5, Acursor), -30.0436481f, 2e-5f);
  // A reversed range looks at the first point only.
  EXPECT_NEAR(analyze.CalculateReflectance(trace, 3, 1, Acursor), -30.0436481f, 2e-5f);
  // No peak above the cursor level gives exactly 1.0.
  EXPECT_EQ(analyze.CalculateReflectance(trace, 1, 5, Bcursor), 1.0f);
  EXPECT_EQ(analyze.CalculateReflectance(trace, 1, 2, Acursor), 1.0f);
  trace->SetCursorLevel(Bcursor, 10000.0f);
  EXPECT_EQ(analyze.CalculateReflectance(trace, 1, 5, Bcursor), 1.0f);
}

TEST(AnalyzeCalculateReflectance, Errors) {
  CAnalyze analyze;
  const auto trace = TraceOf({30000, 20000, 30000});
  trace->SetCursorLevel(Acursor, 30000.0f);
  EXPECT_RAISES(analyze.CalculateReflectance(nullptr, 1, 3, Acursor), 91, "CAnalyze:CalculateReflectance()",
                "Object variable or With block variable not set");
  EXPECT_RAISES(analyze.CalculateReflectance(trace, 0, 3, Acursor), 9, "CAnalyze:CalculateReflectance()",
                "Subscript out of range");
  EXPECT_RAISES(analyze.CalculateReflectance(trace, 1, 4, Acursor), 9, "CAnalyze:CalculateReflectance()",
                "Subscript out of range");
  EXPECT_RAISES(analyze.CalculateReflectance(trace, 1, 3, static_cast<EnumCursors>(3)), 9,
                "CAnalyze:CalculateReflectance()", "Subscript out of range");
  EXPECT_RAISES(analyze.CalculateReflectance(trace, 1, 40000, Acursor), 6, "CAnalyze:CalculateReflectance()",
                "Overflow");
  // PulseWidth 0: the logarithm of 0 is refused.
  EXPECT_RAISES(analyze.CalculateReflectance(trace, 1, 3, Acursor), 5, "CAnalyze:CalculateReflectance()",
                "Invalid procedure call or argument");
}

}  // namespace
}  // namespace tarnvik::testing
