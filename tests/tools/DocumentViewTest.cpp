// A version-2 file as `info`, `plot` and `dump --tsv` show it: the document's fields,
// the library's refusal after them, the JSON document, curves with a legend, and
// distance and level per sample.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <sstream>

#include "document_view.h"
#include "info.h"
#include "names.h"
#include "plot_svg.h"
#include "support/SorBytes.h"
#include "support/XmlCheck.h"
#include "tarnvik/inspect/TracePoints.h"

namespace tarnvik::tool {
namespace {

using tarnvik::testing::ParseXml;
using tarnvik::testing::StandardSor;

std::shared_ptr<const inspect::SorDocument> Document(const StandardSor& sor) {
  return inspect::ReadSorDocument(tarnvik::testing::MakeStandardSor(sor));
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(DocumentView, InfoShowsTheDocumentThenTheRefusal) {
  FileReport report;
  report.path = "v2.sor";
  report.sorPath = true;
  report.sor = std::make_shared<CSORFile>();
  report.document = Document({});
  report.failure = Failure{ERR_WrongVersion, "Unrecognized file format version \"24909\"", "CFileOperations:ReadTrace()",
                           "CSORFile:LoadFromFile()", {"CSORFile:LoadFromFile()"}};
  report.hints = {"Only files whose map has revision 100 are read."};

  const std::string text = InfoText(report);
  const std::vector<std::string> expected = {
      "  SR-4731 version 2: map revision 200, ",
      "    \"FxdParams\"       200     ",                        // the map, with offsets
      "    Fibre type            652\n",                          // a version-2 field
      "    User offset           -1200 (100 ps), distance -250\n",
      "    Pulse widths          1: 100 ns\n",
      "    Trace type            \"ST\"\n",
      "    Window coordinates    0, 65535, 40000, -1000\n",
      "1001, 1002, 1003, 1004, 1005",                            // event 1's markers
      "    Group 1               1000 of 1000 samples, scale factor 1000, levels ",
      "  Checksum: ok\n",
      "  Not read as a trace: error 10513 from CSORFile:LoadFromFile() (reported by CFileOperations:ReadTrace())",
      "  Why: Only files whose map has revision 100 are read.\n",
  };
  std::size_t from = 0;
  for (const auto& part : expected) {
    const auto at = text.find(part, from);
    ASSERT_NE(at, std::string::npos) << "in order: " << part << "\n" << text;
    from = at;
  }
  EXPECT_EQ(text.find("  Map: revision"), std::string::npos) << "the object model's map is not shown again";

  const auto j = nlohmann::json::parse(InfoJson(report));
  for (const char* key : {"file", "format", "ok", "error", "notes", "hints", "map", "blocks", "trace"}) {
    EXPECT_TRUE(j.contains(key)) << key;
  }
  const auto& d = j["document"];
  EXPECT_EQ(d["version"], 2);
  EXPECT_EQ(d["map"][2]["name"], "FxdParams");
  EXPECT_EQ(d["map"][2]["offset"], report.document->map[2].offset);
  EXPECT_EQ(d["GenParams"]["fiberType"], 652);
  EXPECT_EQ(d["FxdParams"]["pulseWidths"][0]["sampleSpacing"], 100000);
  EXPECT_EQ(d["FxdParams"]["reflectanceThreshold"], 40000);
  EXPECT_EQ(d["KeyEvents"]["events"][2]["markers"][4], 3005);
  EXPECT_EQ(d["DataPts"]["groups"][0]["samplesHeld"], 1000);
  EXPECT_EQ(d["checksum"]["status"], "ok");
  EXPECT_TRUE(j["documentError"].is_null());
}

TEST(DocumentView, CurvesPlotAndTsvFollowGroupsAndPulseWidths) {
  const struct {
    const char* name;
    StandardSor sor;
    std::vector<std::string> curves;
    std::vector<std::size_t> counts;
  } cases[] = {
      {"one", {}, {"100 ns"}, {1000}},
      {"pulse widths", {.pulseWidths = {100, 1000}, .groupSamples = {900}}, {"100 ns", "1000 ns"}, {450, 450}},
      {"groups",
       {.scaleFactors = {1000, 1470}, .groupSamples = {600, 400}},
       {"group 1, scale factor 1000", "group 2, scale factor 1470"},
       {600, 400}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const auto doc = Document(c.sor);
    const auto curves = DocumentCurves(*doc);
    ASSERT_EQ(curves.size(), c.curves.size());
    std::size_t first = 0;
    for (std::size_t k = 0; k < curves.size(); ++k) {
      EXPECT_EQ(curves[k].name, c.curves[k]);
      EXPECT_EQ(curves[k].first, first);
      EXPECT_EQ(curves[k].count, c.counts[k]);
      first += curves[k].count;
    }

    const auto svg = ParseXml(RenderDocumentSvg(*doc, "v2.sor"));
    const auto paths = svg.FindAll("class", "curve");
    ASSERT_EQ(paths.size(), c.curves.size());
    for (std::size_t k = 0; k < paths.size(); ++k) EXPECT_EQ(paths[k]->Attribute("data-name"), c.curves[k]);
    EXPECT_EQ(svg.FindAll("class", "legend").size(), c.curves.size() > 1 ? 1u : 0u);
    // Event 1 lies at 1 us of travel, where the samples end; events 2 and 3 lie past them.
    const auto events = svg.FindAll("class", "event");
    ASSERT_EQ(events.size(), 1u);
    EXPECT_EQ(events[0]->Attribute("data-number"), "1");
    EXPECT_NE(svg.AllText().find("Distance (km)"), std::string::npos);

    const auto lines = Lines(DocumentTsv(*doc));
    ASSERT_EQ(lines.size(), first + 1);
    EXPECT_EQ(lines[0],
              "group\tdistance (km, one way from the first sample; no offset included: acquisition -3000, front panel "
              "-75, user -1200 x 100 ps)\tlevel (dB below the top of the scale)");
    // Sample 1 of the first group lies 1 ns of travel out: 0.000204 km at group index 1.468.
    const auto points = inspect::ComputeTracePoints(*doc);
    EXPECT_EQ(lines[2], "1\t" + Fixed(points.distances[1], 6) + "\t" + Fixed(points.levels[1], 3));
    EXPECT_EQ(lines[2].substr(0, 11), "1\t0.000204\t");
    EXPECT_EQ(lines.back().substr(0, 2), c.sor.scaleFactors.size() > 1 ? "2\t" : "1\t");
  }
}

}  // namespace
}  // namespace tarnvik::tool
