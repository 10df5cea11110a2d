// Levels, distances and offsets of a document, worked out by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <string>
#include <vector>

#include "support/SorBytes.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TracePoints.h"

namespace tarnvik::testing {
namespace {

using namespace tarnvik::inspect;

// The standard file's group index is 1.468: c / 1.468 = 204,218,295.6403 m/s, so its
// first spacing, 100,000 x 1e-14 s = 1 ns, covers 0.2042182956403 m.
constexpr double kMetresPerNanosecond = 0.2042182956403270;

TEST(TracePointsTest, LevelsAreTheSamplesOverTheirScaleFactorBelowTheTop) {
  // Groups (scale factor: samples) 1000: 0, 12345, 65535; 1470: 14700, 1470, 2205; 0: 7.
  BodyBuilder data;
  data.I32(7).U16(3).I32(3).U16(1000).I32(3).U16(1470).I32(1).U16(0);
  data.U16(0).U16(12345).U16(65535).U16(14700).U16(1470).U16(2205).U16(7);
  auto blocks = StandardSorBlocks({});
  blocks[4].body = data.bytes();
  const auto doc = ReadSorDocument(AssembleSorV2(blocks));
  const TracePoints points = ComputeTracePoints(*doc);
  // -v / s: -12345 / 1000 = -12.345 dB; -14700 / 1470 = -10; -2205 / 1470 = -1.5.
  const std::vector<double> expected = {0.0, -12.345, -65.535, -10.0, -1.0, -1.5};
  ASSERT_EQ(points.levels.size(), 7u);
  for (std::size_t i = 0; i < expected.size(); ++i) EXPECT_DOUBLE_EQ(points.levels[i], expected[i]) << i;
  EXPECT_TRUE(std::isnan(points.levels[6]));
  EXPECT_TRUE(doc->HasWarning(warning::kZeroScaleFactor));
}

TEST(TracePointsTest, DistancesFromTheFirstSampleInTheFilesUnit) {
  struct Case {
    const char* name;
    std::vector<uint16_t> widths;
    std::string unit;  // replaces "km"
    int32_t groupIndex;
    std::vector<std::pair<std::size_t, double>> distances;  // sample, distance in the unit
    std::string note;
  };
  const double m = kMetresPerNanosecond;
  const std::vector<Case> cases = {
      // Sample i at i x 1 ns x c / 1.468: sample 999 at 999 x 0.2042183 m = 204.014077 m.
      {"one width, km", {100}, "km", 146800, {{0, 0.0}, {1, m / 1000}, {999, 999 * m / 1000}}, ""},
      {"metres", {100}, "mt", 146800, {{999, 999 * m}}, ""},
      {"feet", {100}, "ft", 146800, {{500, 500 * m / 0.3048}}, ""},
      {"kilofeet", {100}, "kf", 146800, {{500, 500 * m / 304.8}}, ""},
      {"miles", {100}, "mi", 146800, {{500, 500 * m / 1609.344}}, ""},
      {"unknown unit", {100}, "xx", 146800, {{2, 2 * m}}, "unknown distance unit \"xx\": distances in metres"},
      // Widths of 1, 2 and 3 ns spacing over 333, 333 and 334 samples: sample 333 is one
      // 1 ns step past sample 332; sample 700 is 333 x 1 + 333 x 2 + 34 x 3 ns out.
      {"three widths", {10, 30, 100}, "mt", 146800, {{332, 332 * m}, {333, 333 * m}, {334, 335 * m},
                                                     {666, 999 * m}, {700, (333 + 666 + 102) * m}}, ""},
      {"group index 0", {100}, "km", 0, {}, "no group index above 0: no distances"},
      {"no pulse width", {}, "km", 146800, {}, "no sample spacing: no distances"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    StandardSor sor;
    sor.pulseWidths = c.widths;
    auto blocks = StandardSorBlocks(sor);
    Bytes& fxd = blocks[2].body;
    fxd[4] = static_cast<uint8_t>(c.unit[0]), fxd[5] = static_cast<uint8_t>(c.unit[1]);
    const std::size_t gi = 18 + 10 * c.widths.size();
    for (std::size_t k = 0; k < 4; ++k) fxd[gi + k] = static_cast<uint8_t>(c.groupIndex >> (8 * k));
    const TracePoints points = ComputeTracePoints(*ReadSorDocument(AssembleSorV2(blocks)));
    EXPECT_EQ(points.levels.size(), 1000u);
    EXPECT_EQ(points.note, c.note);
    EXPECT_EQ(points.distances.size(), c.distances.empty() ? 0u : 1000u);
    EXPECT_EQ(points.unit, c.unit == "xx" ? "mt" : c.unit);
    for (const auto& [i, d] : c.distances) EXPECT_NEAR(points.distances[i], d, 1e-9 * std::abs(d)) << i;
  }
}

TEST(TracePointsTest, KeyEventsSitAtTheDistanceOfTheirTravelTime) {
  const TracePoints points = ComputeTracePoints(*ReadSorDocument(MakeStandardSor(StandardSor{})));
  ASSERT_EQ(points.eventDistances.size(), 3u);
  // Event e travels 10,000 x e x 100 ps = e microseconds one way.
  for (std::size_t k = 0; k < 3; ++k) {
    EXPECT_NEAR(points.eventDistances[k], static_cast<double>(k + 1) * kMetresPerNanosecond, 1e-12) << k;
  }
}

TEST(TracePointsTest, OffsetsAreGivenApart) {
  for (const int32_t version : {1, 2}) {
    SCOPED_TRACE(version);
    const auto offsets = ComputeDistanceOffsets(*ReadSorDocument(MakeStandardSor(StandardSor{version})));
    EXPECT_EQ(offsets.acquisitionOffset, -3000);
    EXPECT_EQ(offsets.frontPanelOffset, -75);
    EXPECT_EQ(offsets.userOffset, -1200);
    // 100 ps is a tenth of a nanosecond: -3000 x 0.1 x 0.2042183 m = -61.2654887 m = -0.0612654887 km.
    EXPECT_NEAR(offsets.acquisitionOffsetInUnit, -300 * kMetresPerNanosecond / 1000, 1e-15);
    EXPECT_NEAR(offsets.frontPanelOffsetInUnit, -7.5 * kMetresPerNanosecond / 1000, 1e-15);
    EXPECT_NEAR(offsets.userOffsetInUnit, -120 * kMetresPerNanosecond / 1000, 1e-15);
    EXPECT_EQ(offsets.acquisitionOffsetDistance, version == 2 ? std::optional<int32_t>(-600) : std::nullopt);
    EXPECT_EQ(offsets.userOffsetDistance, version == 2 ? std::optional<int32_t>(-250) : std::nullopt);
  }
}

}  // namespace
}  // namespace tarnvik::testing
