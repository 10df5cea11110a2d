// The SVG picture and its parts: ticks, decimation, escaping, and the picture of the
// sample trace read back as XML.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>

#include "plot_svg.h"
#include "sample_trace.h"
#include "support/XmlCheck.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {
namespace {

using tarnvik::testing::ParseXml;
using tarnvik::testing::XmlElement;

TEST(PlotSvg, NiceTicksCoverTheRangeWithRoundSteps) {
  const struct {
    double lo, hi;
    int maxTicks;
    double first, last, step;
  } cases[] = {
      {0, 32.6715, 10, 0, 35, 5},       // the sample's distance axis
      {-40.3, -3.9, 8, -45, 0, 5},      // a level axis in dB
      {0, 1, 10, 0, 1, 0.1},
      {0, 0.9, 4, 0, 1, 0.25},          // the 2.5 step
      {-65.535, 0, 8, -70, 0, 10},
      {12000, 12000, 5, 10500, 13500, 500},  // a single value: padded by a tenth, then rounded
  };
  for (const auto& c : cases) {
    const auto t = NiceTicks(c.lo, c.hi, c.maxTicks);
    SCOPED_TRACE(std::to_string(c.lo) + ".." + std::to_string(c.hi));
    ASSERT_GE(t.size(), 2u);
    EXPECT_NEAR(t.front(), c.first, 1e-9);
    EXPECT_NEAR(t.back(), c.last, 1e-9);
    EXPECT_NEAR(t[1] - t[0], c.step, 1e-9);
    EXPECT_LE(static_cast<int>(t.size()), 2 * c.maxTicks + 1);
  }
}

TEST(PlotSvg, DecimationKeepsEveryExtremeInOrder) {
  // 16,377 samples of a falling line with one-sample spikes either way: each spike
  // must survive the reduction to 2 points per column.
  std::vector<int32_t> samples(16377);
  for (std::size_t i = 0; i < samples.size(); ++i) samples[i] = 4000 + static_cast<int32_t>(i);
  samples[5000] = 100;     // a reflection (less loss)
  samples[12000] = 65535;  // a noise spike
  const auto points = DecimateMinMax(samples, 900);
  EXPECT_LE(points.size(), 1800u);
  EXPECT_TRUE(std::is_sorted(points.begin(), points.end(),
                             [](const PathPoint& a, const PathPoint& b) { return a.index < b.index; }));
  auto has = [&](double index, int32_t value) {
    return std::any_of(points.begin(), points.end(),
                       [&](const PathPoint& p) { return p.index == index && p.value == value; });
  };
  EXPECT_TRUE(has(5000, 100));
  EXPECT_TRUE(has(12000, 65535));
  EXPECT_TRUE(has(0, 4000));
  EXPECT_TRUE(has(16376, 4000 + 16376));

  // Few samples are all kept.
  const std::vector<int32_t> few = {5, 9, 7};
  const auto kept = DecimateMinMax(few, 900);
  ASSERT_EQ(kept.size(), 3u);
  EXPECT_EQ(kept[1].value, 9);
}

TEST(PlotSvg, EscapedTextIsWellFormedXml) {
  const std::string nasty = "A&B <cable> \"x\" 'y' \x01\x1f tab\tend \xc3\xa9";
  const std::string escaped = XmlEscape(nasty);
  EXPECT_EQ(escaped, "A&amp;B &lt;cable&gt; &quot;x&quot; &apos;y&apos; ?? tab\tend \xc3\xa9");
  const XmlElement e = ParseXml("<t a=\"" + escaped + "\">" + escaped + "</t>");
  EXPECT_EQ(e.Attribute("a"), "A&B <cable> \"x\" 'y' ?? tab\tend \xc3\xa9");
}

// The numbers of a path's "d" attribute as (x, y) pairs.
std::vector<std::pair<double, double>> PathPoints(const std::string& d) {
  std::vector<std::pair<double, double>> points;
  std::string cleaned = d;
  std::replace(cleaned.begin(), cleaned.end(), 'M', ' ');
  std::replace(cleaned.begin(), cleaned.end(), 'L', ' ');
  std::istringstream in(cleaned);
  double x, y;
  while (in >> x >> y) points.emplace_back(x, y);
  return points;
}

TEST(PlotSvg, SamplePictureHasTracePathEventsAndCursors) {
  const auto trace = MakeSampleTrace(16377);
  // Texts that need escaping must not break the document.
  trace->SetCableID("A&B <1>");
  const XmlElement svg = ParseXml(RenderTraceSvg(*trace, "sample & <test>.sor"));
  EXPECT_EQ(svg.name, "svg");
  const double width = std::stod(svg.Attribute("width"));

  const auto paths = svg.FindAll("class", "trace");
  ASSERT_EQ(paths.size(), 1u);
  const auto points = PathPoints(paths[0]->Attribute("d"));
  ASSERT_GT(points.size(), 500u);
  EXPECT_LE(points.size(), 2 * static_cast<std::size_t>(width)) << "16,377 samples must be decimated";
  for (const auto& [px, py] : points) {
    ASSERT_GE(px, 0);
    ASSERT_LE(px, width);
  }
  // The level falls with distance: before the end, the trace is lower on the picture
  // (larger y) at 20 km than at 1 km.
  auto yNear = [&](double fraction) {
    const double target = points.front().first + fraction * (points.back().first - points.front().first);
    return std::min_element(points.begin(), points.end(), [&](const auto& a, const auto& b) {
             return std::fabs(a.first - target) < std::fabs(b.first - target);
           })->second;
  };
  EXPECT_GT(yNear(20.0 / 66.9), yNear(1.0 / 66.9));

  const auto events = svg.FindAll("class", "event");
  ASSERT_EQ(events.size(), 3u);
  for (int n = 1; n <= 3; ++n) {
    EXPECT_EQ(events[static_cast<std::size_t>(n - 1)]->Attribute("data-number"), std::to_string(n));
    EXPECT_NE(events[static_cast<std::size_t>(n - 1)]->AllText().find(std::to_string(n)), std::string::npos);
  }
  // Events lie left to right in the order of their distances.
  auto lineX = [](const XmlElement* g) { return std::stod(g->children.at(0).Attribute("x1")); };
  EXPECT_LT(lineX(events[0]), lineX(events[1]));
  EXPECT_LT(lineX(events[1]), lineX(events[2]));

  const auto a = svg.FindAll("data-cursor", "A");
  const auto b = svg.FindAll("data-cursor", "B");
  ASSERT_EQ(a.size(), 1u);
  ASSERT_EQ(b.size(), 1u);
  EXPECT_LT(lineX(a[0]), lineX(events[0])) << "cursor A at 2 km lies before the connector at 6.5 km";
  EXPECT_GT(lineX(b[0]), lineX(events[1])) << "cursor B at 20 km lies after the splice at 14.2 km";

  const std::string all = svg.AllText();
  EXPECT_NE(all.find("Distance (km)"), std::string::npos);
  EXPECT_NE(all.find("Level (dB)"), std::string::npos);
  EXPECT_NE(all.find("A&B <1>"), std::string::npos);
}

TEST(PlotSvg, TraceWithoutSamplesOrEventsStillDraws) {
  CTrace trace;
  trace.SetGroupIndex(146800);
  trace.SetFileDistUnits(DU_Meters);
  const XmlElement svg = ParseXml(RenderTraceSvg(trace, "empty"));
  EXPECT_TRUE(svg.FindAll("class", "trace").empty());
  EXPECT_NE(svg.AllText().find("No samples"), std::string::npos);
  EXPECT_NE(svg.AllText().find("Distance (m)"), std::string::npos);
}

}  // namespace
}  // namespace tarnvik::tool
