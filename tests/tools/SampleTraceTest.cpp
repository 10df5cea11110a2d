// The synthetic sample must look like a measured 1310 nm trace: the slope, the event
// losses and peaks, the noise floor, and the same samples on every run.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "sample_trace.h"
#include "tarnvik/trace/CAnalyze.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {
namespace {

class SampleTrace : public ::testing::Test {
 protected:
  void SetUp() override { trace_ = MakeSampleTrace(); }
  // The 1-based sample index at a distance in km.
  int32_t At(double km) const {
    return trace_->QRDToPoint(trace_->DisplayDistToQRD(static_cast<float>(km), DU_Kilometers)) + 1;
  }
  // The least-squares line through the samples between two distances, as CAnalyze fits
  // it: thousandths of a dB against (index - 1).
  struct Line {
    double slope, intercept, kmPerSample;
    double DBperKm() const { return slope / 1000.0 / kmPerSample; }
    double LevelAt(double km) const { return (intercept + slope * km / kmPerSample) / 1000.0; }
    double Fitted(int32_t index) const { return intercept + slope * (index - 1); }
  };
  Line Fit(double fromKm, double toKm) const {
    double slope = 0, intercept = 0;
    EXPECT_EQ(CAnalyze().LeastSquares(trace_, At(fromKm), At(toKm), slope, intercept), 0);
    return {slope, intercept, trace_->PointToDisplayDist(2)};
  }
  double Mean(double fromKm, double toKm) const {
    double sum = 0;
    for (int32_t i = At(fromKm); i <= At(toKm); ++i) sum += trace_->DataPoints(i);
    return sum / (At(toKm) - At(fromKm) + 1) / 1000.0;
  }
  double Smallest(double fromKm, double toKm) const {
    int32_t lo = trace_->DataPoints(At(fromKm));
    for (int32_t i = At(fromKm); i <= At(toKm); ++i) lo = std::min(lo, trace_->DataPoints(i));
    return lo / 1000.0;
  }
  std::shared_ptr<CTrace> trace_;
};

TEST_F(SampleTrace, BackscatterEventsAndNoiseFloorAreRealistic) {
  ASSERT_EQ(trace_->Samples(), 8000);
  const Line before = Fit(1.0, 6.3);
  const Line between = Fit(6.7, 14.0);
  EXPECT_NEAR(before.DBperKm(), 0.35, 0.01) << "backscatter slope at 1310 nm";
  EXPECT_NEAR(between.DBperKm(), 0.35, 0.01);
  // The connector's loss: the two fits differ by 0.5 dB at the connector.
  EXPECT_NEAR(between.LevelAt(6.5) - before.LevelAt(6.5), 0.50, 0.03);
  // The splice's 0.12 dB, seen in the means either side with the slope taken out.
  const double spliceStep = Mean(14.3, 14.7) - Mean(13.7, 14.1) - 0.35 * 0.6;
  EXPECT_NEAR(spliceStep, 0.12, 0.03);
  // Reflections rise above the backscatter (smaller values); the splice does not.
  EXPECT_LT(Smallest(6.49, 6.53), before.LevelAt(6.5) - 5.0);
  EXPECT_LT(Smallest(24.59, 24.63), Mean(24.0, 24.5) - 12.0);
  EXPECT_GT(Smallest(14.19, 14.23), Mean(13.7, 14.1) - 0.2);
  // The front connector saturates the receiver, then the dead zone ends within 300 m.
  EXPECT_EQ(trace_->DataPoints(1), 0);
  EXPECT_NEAR(Mean(0.3, 0.5), 4.0 + 0.35 * 0.4, 0.1);
  // Beyond the end only noise remains, well below the last of the signal.
  EXPECT_GT(Mean(25.0, 32.0), Mean(24.0, 24.5) + 5.0);
  const auto samples = trace_->DataPointArray();
  EXPECT_TRUE(std::all_of(samples.begin(), samples.end(), [](int32_t s) { return s >= 0 && s <= 65535; }));
}

TEST_F(SampleTrace, NoiseGrowsWithDistanceAndRepeatsExactly) {
  auto spread = [&](double fromKm, double toKm) {
    const Line l = Fit(fromKm, toKm);
    double sum = 0;
    int n = 0;
    for (int32_t i = At(fromKm); i <= At(toKm); ++i, ++n) {
      sum += std::pow(trace_->DataPoints(i) - l.Fitted(i), 2);
    }
    return std::sqrt(sum / n) / 1000.0;
  };
  const double nearEnd = spread(1.0, 6.0), farEnd = spread(18.0, 24.0);
  EXPECT_GT(nearEnd, 0.0005) << "the near end has some noise";
  EXPECT_LT(nearEnd, 0.05);
  EXPECT_GT(farEnd, 2 * nearEnd) << "noise grows as the signal nears the floor";
  EXPECT_EQ(MakeSampleTrace()->DataPointArray(), trace_->DataPointArray());
}

TEST_F(SampleTrace, EventsCursorsAndParameters) {
  const auto events = trace_->Events();
  ASSERT_EQ(events->Count(), 3);
  const struct {
    double km;
    EnumEventTypes type;
    float loss, reflectance;
  } expected[] = {{kSampleConnectorKm, EVTYPE_Reflective, 0.5f, -45.0f},
                  {kSampleSpliceKm, EVTYPE_NonReflective, 0.12f, 2.0f},
                  {kSampleEndKm, EVTYPE_ReflectiveEnd, 0.0f, -14.0f}};
  for (int32_t n = 1; n <= 3; ++n) {
    const auto e = events->Item(n);
    const auto& x = expected[n - 1];
    SCOPED_TRACE(n);
    EXPECT_NEAR(trace_->QRDToDisplayDist(e->LocationQRD(), DU_Kilometers), x.km, 0.001);
    EXPECT_EQ(e->EType(), x.type);
    EXPECT_FLOAT_EQ(e->Loss(), x.loss);
    EXPECT_FLOAT_EQ(e->Reflectance(), x.reflectance);
    EXPECT_EQ(e->Source(), EVSRC_Auto);
    // The event's level sits on the backscatter just before it.
    EXPECT_NEAR(e->Level(), Mean(x.km - 0.3, x.km - 0.05), 0.1);
  }
  EXPECT_NEAR(events->Item(3)->CumulativeLoss(), 0.35 * (kSampleEndKm - kSampleConnectorKm) + 0.62, 0.01);
  EXPECT_NEAR(trace_->CursorDistance(Acursor), 2.0, 1e-4);
  EXPECT_NEAR(trace_->CursorDistance(Bcursor), 20.0, 1e-4);
  EXPECT_EQ(trace_->GroupIndex(), 146800);
  EXPECT_EQ(trace_->ReflectanceThreshold(), 0.0f);
  EXPECT_EQ(trace_->PulseWidthIndex(), PWI_100);

  // A shorter trace leaves out the events beyond its last sample; the longest one keeps
  // them all.
  EXPECT_EQ(MakeSampleTrace(4000)->Events()->Count(), 2);
  EXPECT_EQ(MakeSampleTrace(16377)->Events()->Count(), 3);
}

}  // namespace
}  // namespace tarnvik::tool
