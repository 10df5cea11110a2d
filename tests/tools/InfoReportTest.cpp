// What `tarnvik info` makes of a file: the failure named where it began, the map
// entries that were read, the hints, and the report as text and JSON.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "file_report.h"
#include "info.h"
#include "names.h"
#include "sample_trace.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {
namespace {

std::string Log(const std::string& number, const std::string& description, const std::string& module,
                const std::string& procedure) {
  return number + "\t" + description + "\t" + module + "\t" + procedure + "\t2024-05-14 10:30:00\r";
}

TEST(InfoReport, FailureIsNamedWhereItBegan) {
  const std::string flag = "CurrentDataFlag must be \"BC\", \"RC\" or \"OT\". \"CC\" is not allowed.";
  const std::vector<std::string> log = {
      Log("6", "Overflow", "CSORFile", "ParseDataPointsBlock()"),  // an earlier, different failure
      Log("5", flag, "CGeneralParameterBlock", "Let CurrentDataFlag()"),
      Log("5", flag, "CSORFile", "ParseGeneralParameters()"),
      "Invalid Fiber Number: Defaulting to 1\tCFileOperations\tConvertSORtoTrace()\t2024-05-14 10:30:00\r",
      Log("5", flag, "CSORFile", "LoadFromFile()"),
  };
  const Failure f = DescribeFailure(Error(5, flag, "CSORFile:LoadFromFile()"), log);
  EXPECT_EQ(f.origin, "CGeneralParameterBlock:Let CurrentDataFlag()");
  EXPECT_EQ(f.trail, (std::vector<std::string>{"CGeneralParameterBlock:Let CurrentDataFlag()",
                                               "CSORFile:ParseGeneralParameters()", "CSORFile:LoadFromFile()"}));
  EXPECT_EQ(FailureText(f), "error 5 from CGeneralParameterBlock:Let CurrentDataFlag() (reported by "
                            "CSORFile:LoadFromFile()): " + flag);
  EXPECT_EQ(LogNotes(log),
            (std::vector<std::string>{"Invalid Fiber Number: Defaulting to 1 (CFileOperations:ConvertSORtoTrace())"}));

  // Without a log the exception's own source is all there is.
  const Failure bare = DescribeFailure(Error(53, "File not found", "CSORFile:LoadFromFile()"), {});
  EXPECT_EQ(FailureText(bare), "error 53 from CSORFile:LoadFromFile(): File not found");
  EXPECT_EQ(FailureText(DescribeFailure(Error(76, "Path not found"), {})), "error 76: Path not found");
}

// A SOR file object whose map lists the given blocks (id, size).
std::shared_ptr<CSORFile> Mapped(const std::vector<std::pair<std::string, int32_t>>& blocks) {
  auto sor = std::make_shared<CSORFile>();
  for (const auto& [id, size] : blocks) {
    auto entry = std::make_shared<CBlock>();
    entry->SetBlockID(id);
    entry->SetRevisionNum(100);
    entry->SetBlockSize(size);
    sor->MapBlock()->MapBlocks()->Add(entry);
  }
  return sor;
}

TEST(InfoReport, BlockStatesFollowTheFailure) {
  const auto sor = Mapped({{"GenParams", 60},
                           {"SupParams", 40},
                           {"FxdParams", 54},
                           {"KeyEvents", 70},
                           {"SpclProprietary", 300},
                           {"DataPts", 32780},
                           {"Cksum", 2}});
  using S = BlockState;
  const S P = S::Parsed, K = S::KeptRaw, F = S::Failed, N = S::NotReached;
  auto failure = [](int32_t number, const std::string& description, std::vector<std::string> trail) {
    Failure f;
    f.number = number;
    f.description = description;
    f.trail = std::move(trail);
    return std::optional<Failure>(f);
  };
  const struct {
    const char* name;
    std::optional<Failure> failure;
    std::vector<S> expected;
  } cases[] = {
      {"loaded", std::nullopt, {P, P, P, P, K, P, P}},
      {"checksum", failure(ERR_CRC, "CRC values do not match.", {"CSORFile:LoadFromFile()"}), {P, P, P, P, K, P, P}},
      {"data flag",
       failure(5, "CC", {"CGeneralParameterBlock:Let CurrentDataFlag()", "CSORFile:ParseGeneralParameters()"}),
       {F, N, N, N, N, N, N}},
      {"overflow", failure(6, "Overflow", {"CSORFile:ParseDataPointsBlock()", "CSORFile:LoadFromFile()"}),
       {P, P, P, P, K, F, N}},
      {"ends early",
       failure(62, "Input past end of file while reading block \"DataPts\": 32780 bytes expected, 12 found.",
               {"CSORFile:LoadFromFile()"}),
       {P, P, P, P, K, F, N}},
      {"not located", failure(10512, "The Map Block is damaged.", {"CSORFile:LoadFromFile()"}),
       {N, N, N, N, N, N, N}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(BlockStatesAfterLoad(*sor, c.failure), c.expected);
  }

  // The overflow in a data block beyond the 16-bit limit is explained.
  FileReport report;
  report.sor = sor;
  report.failure = cases[3].failure;
  report.blockStates = cases[3].expected;
  const auto hints = ExplainFailure(report);
  ASSERT_EQ(hints.size(), 1u);
  EXPECT_NE(hints[0].find("32780 bytes"), std::string::npos);
  EXPECT_NE(hints[0].find("16,377 samples"), std::string::npos);
}

TEST(InfoReport, HintsForMapRevisionAndReflectanceThreshold) {
  FileReport version2;
  version2.sor = std::make_shared<CSORFile>();
  version2.sor->MapBlock()->SetMapRevision(24909);
  version2.failure = Failure{ERR_WrongVersion, "Unrecognized file format version \"24909\"", "CSORFile:LoadFromFile()",
                             "CSORFile:LoadFromFile()", {}};
  const auto v2 = ExplainFailure(version2);
  ASSERT_EQ(v2.size(), 1u);
  EXPECT_NE(v2[0].find("revision 100"), std::string::npos);

  FileReport threshold;
  threshold.sor = std::make_shared<CSORFile>();
  threshold.sor->FixedParamsBlock()->SetReflectanceThreshold(40000);
  threshold.failure = Failure{5, "Reflectance Threshold must be between 0 and -65.535. \"40\" is not allowed.",
                              "CFileOperations:ReadTrace()", "CTrace:Let ReflectanceThreshold()", {}};
  const auto th = ExplainFailure(threshold);
  ASSERT_EQ(th.size(), 1u);
  EXPECT_NE(th[0].find("40000 thousandths"), std::string::npos);

  FileReport upper;
  upper.path = "TRACE.SOR";
  upper.failure = Failure{10512, "Trace file is not valid JSON", "CFileOperations:ReadTrace()",
                          "CTrace:LoadFromFile()", {}};
  const auto up = ExplainFailure(upper);
  ASSERT_EQ(up.size(), 1u);
  EXPECT_NE(up[0].find("\"SOR\" is read in the trace's own format"), std::string::npos) << up[0];
  upper.path = "trace.trc";
  EXPECT_TRUE(ExplainFailure(upper).empty());
  EXPECT_TRUE(ExplainFailure(FileReport{}).empty());
}

TEST(InfoReport, JsonOfATraceReadsBack) {
  FileReport report;
  report.path = "examples/sample.sor";
  report.sorPath = true;
  report.trace = MakeSampleTrace();
  report.sor = std::make_shared<CSORFile>();
  const auto j = nlohmann::json::parse(InfoJson(report));
  EXPECT_EQ(j["file"], "examples/sample.sor");
  EXPECT_EQ(j["format"], "sor");
  EXPECT_TRUE(j["ok"].get<bool>());
  EXPECT_TRUE(j["error"].is_null());
  EXPECT_TRUE(j["blocks"].is_null()) << "blocks are given only for files that did not become traces";
  const auto& t = j["trace"];
  EXPECT_EQ(t["Samples"], 8000);
  EXPECT_EQ(t["GroupIndex"], 146800);
  EXPECT_EQ(t["DistanceUnits"]["name"], "km");
  EXPECT_EQ(t["FiberType"]["name"], "FT_SingleMode");
  EXPECT_EQ(t["ReflectanceThreshold"], 0);
  EXPECT_EQ(t["LossThreshold"], 0.05) << "floats are written in their shortest form";
  EXPECT_NEAR(t["Length"].get<double>(), 7999 * 4 * 1.0210915 / 1000, 1e-3);
  ASSERT_EQ(t["cursors"].size(), 2u);
  EXPECT_NEAR(t["cursors"][0]["CursorDistance"].get<double>(), 2.0, 1e-4);
  EXPECT_NEAR(t["cursors"][1]["CursorDistance"].get<double>(), 20.0, 1e-4);
  EXPECT_GT(t["cursors"][1]["level"].get<double>(), t["cursors"][0]["level"].get<double>());
  ASSERT_EQ(t["events"].size(), 3u);
  EXPECT_EQ(t["events"][0]["EType"]["name"], "EVTYPE_Reflective");
  EXPECT_EQ(t["events"][0]["Reflectance"], -45);
  EXPECT_NEAR(t["events"][1]["distance"].get<double>(), kSampleSpliceKm, 1e-3);
  EXPECT_EQ(t["events"][2]["EType"]["value"], EVTYPE_ReflectiveEnd);
}

TEST(InfoReport, FailedFileShowsMapBlocksAndError) {
  FileReport report;
  report.path = "other.sor";
  report.sorPath = true;
  report.sor = Mapped({{"GenParams", 60}, {"SupParams", 40}, {"Vendor", 12}, {"Cksum", 2}});
  report.sor->SupParamsBlock()->SetSupplierName("Acme");
  report.failure = Failure{ERR_CRC, "CRC values do not match. File: 1, Calculated: 2", "CSORFile:LoadFromFile()",
                           "CSORFile:LoadFromFile()", {"CSORFile:LoadFromFile()"}};
  report.blockStates = BlockStatesAfterLoad(*report.sor, report.failure);

  const auto j = nlohmann::json::parse(InfoJson(report));
  EXPECT_FALSE(j["ok"].get<bool>());
  EXPECT_TRUE(j["trace"].is_null());
  EXPECT_EQ(j["error"]["number"], ERR_CRC);
  EXPECT_EQ(j["map"]["blocks"][2]["BlockID"], "Vendor");
  EXPECT_EQ(j["map"]["blocks"][2]["read"], "kept raw");
  EXPECT_EQ(j["blocks"]["SupParams"]["SupplierName"], "Acme");
  EXPECT_FALSE(j["blocks"].contains("FxdParams")) << "a block the map does not list was not read";

  const std::string text = InfoText(report);
  EXPECT_NE(text.find("    Vendor          100     12  kept raw\n"), std::string::npos) << text;
  EXPECT_NE(text.find("Supplier        \"Acme\""), std::string::npos) << text;
  EXPECT_NE(text.find("Not read as a trace: error 10020 from CSORFile:LoadFromFile(): CRC values do not match."),
            std::string::npos)
      << text;
}

TEST(InfoReport, NamesAndNumbers) {
  const struct {
    Date date;
    const char* text;
  } dates[] = {{0, "1899-12-30 00:00:00"},   {2.5, "1900-01-01 12:00:00"}, {60, "1900-02-28 00:00:00"},
               {61, "1900-03-01 00:00:00"},  {45426.4375, "2024-05-14 10:30:00"},
               {45351.99999, "2024-02-29 23:59:59"}, {-1.25, "1899-12-29 06:00:00"}};
  for (const auto& d : dates) EXPECT_EQ(DateText(d.date), d.text) << d.date;

  EXPECT_EQ(ReflectanceText(0.0f, 1), "over range");
  EXPECT_EQ(ReflectanceText(1.0f, 1), "under range");
  EXPECT_EQ(ReflectanceText(2.0f, 1), "n/a");
  EXPECT_EQ(ReflectanceText(-45.04f, 1), "-45.0");
  EXPECT_EQ(Fixed(-0.0004, 3), "0.000");
  EXPECT_EQ(EventTypeText(13), "?13");
  EXPECT_EQ(EventTypeMember(EVTYPE_Clipped), "EVTYPE_Clipped");
  EXPECT_EQ(UnitName(6), "unit 6");
}

}  // namespace
}  // namespace tarnvik::tool
