// The trace's own JSON file: a full round trip, the documented layout, the numbered
// errors of bad files, and saves that fail without harming the old file.
#include <gtest/gtest.h>

#include <bit>
#include <cfloat>
#include <cmath>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include <nlohmann/json.hpp>

#include "support/Fixtures.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

using Json = nlohmann::json;

uint32_t Bits(float f) { return std::bit_cast<uint32_t>(f); }
uint64_t Bits(double d) { return std::bit_cast<uint64_t>(d); }

const float kNaNPayload = std::bit_cast<float>(0xFFC00123u);  // a negative NaN with a payload
const float kDenormal = 1e-40f;

std::shared_ptr<CEvent> MakeEvent(float location, float loss, const std::string& comment) {
  auto e = std::make_shared<CEvent>();
  e->SetLocationQRD(location);
  e->SetLocationEndQRD(location + 0.1f);
  e->SetLevel(-0.0f);
  e->SetLoss(loss);
  e->SetLeadinLoss(kDenormal);
  e->SetCumulativeLoss(FLT_MAX);
  e->SetReflectance(-std::numeric_limits<float>::infinity());
  e->SetAttenDBperKM(0.1f);
  e->SetFarLeftLSAQRD(std::numeric_limits<float>::denorm_min());
  e->SetNearLeftLSAQRD(kNaNPayload);
  e->SetNearRightLSAQRD(-FLT_MAX);
  e->SetFarRightLSAQRD(1.0f / 3.0f);
  e->SetSource(EVSRC_UserEdited);
  e->SetEType(static_cast<EnumEventTypes>(99));  // enumerations may carry any number
  e->SetLossMT(LOSS_FiberAttenuation);
  e->SetComment(comment);
  return e;
}

// Every property away from its default, awkward floats included.
void FillTrace(CTrace& t) {
  t.SetValidEventLevels(false);
  t.SetIsBaseLine(true);
  t.SetMustDeleteAllEvents(true);
  t.SetLaunchCable(true);
  t.SetReceiveCable(true);
  t.SetPointsPerMeter(-7);
  t.SetXAxisScaleFactor(0.1f);
  t.SetMajorVersion(3);
  t.SetMinorVersion(INT32_MIN);
  t.SetRevision(INT32_MAX);
  t.SetTimeStamp(45000.123456789);
  t.SetFileName("C:\\traces\\\"odd\"\tname\n.trc");
  t.SetFileFormat(170);
  t.SetLastChangedBy(-32768);
  t.SetCRC(65535);
  t.SetCableID("G\xC3\xB6teborg \xE6\x9D\xB1\xE4\xBA\xAC cable 0123456789ABCD");  // 30 characters
  t.SetCableType("G.652");
  t.SetTestSite("Site \xE2\x80\x93 A");
  t.SetFarSite("B");
  t.SetTestedBy("op");
  t.SetTraceComment(std::string(89, 'c') + "\xE2\x82\xAC");  // 90 characters
  t.SetLanguageCode("\xC3\xA9t");
  t.SetCurrentDataFlag("RC");
  t.SetFiberNumber(65535);
  t.SetFiberType(FT_SingleMode);
  t.SetAutoMode(1);
  t.SetFileDistUnits(2);
  t.SetDistanceUnits(DU_Miles);  // independent of FileDistUnits after the Let above
  t.SetAquisitionOffset(-12);
  t.SetDataPointsPerPW(4);
  t.SetGroupIndex(146800);
  t.SetNumberOfAverages(1024);
  t.SetAquisitionRange(16000);
  t.SetFrontPanelOffset(33);
  t.SetNominalWavelength(1550);
  t.SetActualWavelength(kDenormal);
  t.SetTotalNumberOfPulseWidths(2);
  t.SetPulseWidth(400);
  t.SetPulseWidth(50);  // outside the table: the index stays PWI_400
  t.SetBackScatterCoefficient(-0.0f);
  t.SetMaxLossVal(30000);
  t.SetDataPointSpacing(5);
  t.SetUserOffset(-1);
  t.SetNoiseFloorLevel(65000);
  t.SetNoiseFloorScaleFactor(-2);
  t.SetPowerOffsetFirstPoint(1);
  t.SetReflectanceThreshold(-65.535f);
  t.SetEndofFiberThreshold(65.535f);
  t.SetLossThreshold(0.1f);
  t.SetEventEndLoss(FLT_MAX);
  t.SetEventORL(std::numeric_limits<float>::denorm_min());
  t.SetEventORLMark(1, -5);
  t.SetEventORLMark(2, 77);
  t.SetMainFrameID("MF");
  t.SetModuleID("MOD");
  t.SetSupplierName("Supplier \xF0\x9F\x94\xA6");
  t.SetSupParamsOther("other");
  t.SetFiberID(12);
  t.SetSamples(5);
  const int32_t samples[] = {INT32_MIN, -1, 0, 1000, INT32_MAX};
  for (int32_t i = 1; i <= 5; ++i) t.SetDataPoints(i, samples[i - 1]);
  t.SetCursorQRD(Acursor, 0.1f);
  t.SetCursorQRD(Bcursor, kNaNPayload);  // a NaN passes the clamp to AquisitionRange
  t.SetCursorLevel(Acursor, -0.0f);
  t.SetCursorLevel(Bcursor, std::numeric_limits<float>::infinity());

  t.Events()->Add(MakeEvent(300, 0.5f, "third"));
  t.Events()->Add(MakeEvent(100, 0.25f, "first \xE2\x9C\x93"));
  t.Events()->Add(MakeEvent(200, -0.0f, std::string(94, 'x')));
  // An edit after adding leaves the collection out of position order with a stray number;
  // the file keeps it that way.
  t.Events()->Item(1)->SetLocationQRD(900);
  t.Events()->Item(3)->SetNumber(-4);
  t.DeletedEvents()->Add(MakeEvent(50, 1.5f, ""));
  t.DeletedEvents()->Add(MakeEvent(40, FLT_MAX, "gone"));
}

void ExpectSameEvents(const CEvents& a, const CEvents& b, const char* which) {
  ASSERT_EQ(a.Count(), b.Count()) << which;
  for (int32_t i = 1; i <= a.Count(); ++i) {
    SCOPED_TRACE(std::string(which) + " event " + std::to_string(i));
    const auto x = a.Item(i);
    const auto y = b.Item(i);
    EXPECT_EQ(x->Number(), y->Number());
#define SAME_FLOAT(Name) EXPECT_EQ(Bits(x->Name()), Bits(y->Name())) << #Name;
    SAME_FLOAT(LocationQRD) SAME_FLOAT(LocationEndQRD) SAME_FLOAT(Level) SAME_FLOAT(Loss)
    SAME_FLOAT(LeadinLoss) SAME_FLOAT(CumulativeLoss) SAME_FLOAT(Reflectance) SAME_FLOAT(AttenDBperKM)
    SAME_FLOAT(FarLeftLSAQRD) SAME_FLOAT(NearLeftLSAQRD) SAME_FLOAT(NearRightLSAQRD) SAME_FLOAT(FarRightLSAQRD)
#undef SAME_FLOAT
    EXPECT_EQ(x->Source(), y->Source());
    EXPECT_EQ(x->EType(), y->EType());
    EXPECT_EQ(x->LossMT(), y->LossMT());
    EXPECT_EQ(x->Comment(), y->Comment());
  }
}

void ExpectSameTrace(const CTrace& a, const CTrace& b) {
#define SAME(Name) EXPECT_EQ(a.Name(), b.Name()) << #Name;
#define SAME_BITS(Name) EXPECT_EQ(Bits(a.Name()), Bits(b.Name())) << #Name;
  SAME(ValidEventLevels) SAME(IsBaseLine) SAME(MustDeleteAllEvents) SAME(LaunchCable) SAME(ReceiveCable)
  SAME(PointsPerMeter) SAME_BITS(XAxisScaleFactor) SAME(MajorVersion) SAME(MinorVersion) SAME(Revision)
  SAME_BITS(TimeStamp) SAME(FileName) SAME(FileFormat) SAME(LaunchReceiveCableSupport) SAME(LastChangedBy)
  SAME(CRC) SAME(CableID) SAME(CableType) SAME(TestSite) SAME(FarSite) SAME(TestedBy) SAME(TraceComment)
  SAME(LanguageCode) SAME(CurrentDataFlag) SAME(FiberNumber) SAME(FiberType) SAME(AutoMode)
  SAME(FileDistUnits) SAME(DistanceUnits) SAME(AquisitionOffset) SAME(DataPointsPerPW) SAME(GroupIndex)
  SAME_BITS(AdjustedIOR) SAME(NumberOfAverages) SAME(AquisitionRange) SAME(FrontPanelOffset)
  SAME(NominalWavelength) SAME_BITS(ActualWavelength) SAME(TotalNumberOfPulseWidths) SAME(PulseWidth)
  SAME(PulseWidthIndex) SAME_BITS(BackScatterCoefficient) SAME(MaxLossVal) SAME(DataPointSpacing)
  SAME(UserOffset) SAME(NoiseFloorLevel) SAME(NoiseFloorScaleFactor) SAME(PowerOffsetFirstPoint)
  SAME_BITS(ReflectanceThreshold) SAME_BITS(EndofFiberThreshold) SAME_BITS(LossThreshold)
  SAME_BITS(EventEndLoss) SAME_BITS(EventORL) SAME(MainFrameID) SAME(ModuleID) SAME(SupplierName)
  SAME(SupParamsOther) SAME(FiberID) SAME(Samples) SAME(DataPointArray)
#undef SAME
#undef SAME_BITS
  for (int32_t i = 1; i <= 2; ++i) EXPECT_EQ(a.EventORLMark(i), b.EventORLMark(i)) << "EventORLMark " << i;
  for (EnumCursors c : {Acursor, Bcursor}) {
    EXPECT_EQ(Bits(a.CursorQRD(c)), Bits(b.CursorQRD(c))) << "CursorQRD " << c;
    EXPECT_EQ(Bits(a.CursorLevel(c)), Bits(b.CursorLevel(c))) << "CursorLevel " << c;
  }
  ExpectSameEvents(*a.Events(), *b.Events(), "Events");
  ExpectSameEvents(*a.DeletedEvents(), *b.DeletedEvents(), "DeletedEvents");
}

class TraceFile : public TempDirTest {
 protected:
  std::string Write(const std::string& name, const std::string& text) {
    std::ofstream(Path(name), std::ios::binary) << text;
    return Path(name);
  }
  std::string ReadText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
  }
};

TEST_F(TraceFile, EveryPropertySamplesCursorsAndEventsRoundTrip) {
  CTrace original;
  FillTrace(original);
  ASSERT_EQ(original.PulseWidthIndex(), PWI_400);
  ASSERT_EQ(original.Events()->Item(1)->LocationQRD(), 900.0f);
  original.SaveToFile(Path("full.trc"));
  EXPECT_TRUE(original.IsDirty()) << "saving leaves the flag to the caller";

  // Load into a trace that already holds other samples and events, and is dirty.
  CTrace loaded;
  loaded.SetSamples(400);
  loaded.Events()->Add(MakeEvent(1, 1, "old"));
  loaded.DeletedEvents()->Add(MakeEvent(2, 2, "old"));
  loaded.SetGroupIndex(100000);
  loaded.SetDistanceUnits(DU_Meters);
  loaded.CalculateDistancePoints();
  std::vector<bool> dirtyEvents;
  loaded.OnIsDirty.Connect([&](bool value) { dirtyEvents.push_back(value); });
  loaded.LoadFromFile(Path("full.trc"));
  ExpectSameTrace(original, loaded);
  EXPECT_FALSE(loaded.IsDirty());
  ASSERT_FALSE(dirtyEvents.empty());
  EXPECT_FALSE(dirtyEvents.back());
  EXPECT_EQ(Capture([&] { loaded.DistancePoints(1); }).number, 9) << "the distance cache starts empty";

  // Saving the loaded trace gives the same text again.
  loaded.SaveToFile(Path("again.trc"));
  EXPECT_EQ(ReadText(Path("full.trc")), ReadText(Path("again.trc")));

  // A new trace (no samples, GroupIndex 0, empty codes) round-trips too.
  CTrace fresh;
  fresh.SaveToFile(Path("fresh.trc"));
  loaded.LoadFromFile(Path("fresh.trc"));
  ExpectSameTrace(fresh, loaded);
  EXPECT_EQ(loaded.Samples(), 0);
  EXPECT_EQ(loaded.AdjustedIOR(), 0.0f);
}

TEST_F(TraceFile, SavedFileIsTheDocumentedJson) {
  CTrace trace;
  FillTrace(trace);
  trace.SaveToFile(Path("t.trc"));
  const std::string text = ReadText(Path("t.trc"));
  const Json doc = Json::parse(text);

  EXPECT_EQ(doc.at("format"), "tarnvik-trace");
  EXPECT_EQ(doc.at("version"), 1);
  const std::vector<std::string> keys = {"cursors", "deletedEvents", "events", "format", "properties", "samples", "version"};
  std::vector<std::string> found;
  for (const auto& [key, value] : doc.items()) found.push_back(key);
  EXPECT_EQ(found, keys);
  EXPECT_EQ(doc.at("properties").size(), 57u);
  EXPECT_EQ(doc.at("properties").at("PulseWidthIndex"), 3);
  EXPECT_EQ(doc.at("properties").at("EventORLMark"), Json::array({-5, 77}));
  EXPECT_FALSE(doc.at("properties").contains("AdjustedIOR"));
  EXPECT_FALSE(doc.at("properties").contains("IsDirty"));
  EXPECT_EQ(doc.at("samples"), Json::array({INT32_MIN, -1, 0, 1000, INT32_MAX}));
  ASSERT_EQ(doc.at("events").size(), 3u);
  EXPECT_EQ(doc.at("events")[0].size(), 17u);
  EXPECT_EQ(doc.at("events")[2].at("Number"), -4);
  EXPECT_EQ(doc.at("deletedEvents")[0].at("Comment"), "gone");
  EXPECT_EQ(doc.at("cursors").size(), 2u);

  // Floats as the shortest decimal of the float itself; what JSON cannot hold as a string.
  for (const char* expected :
       {"\"XAxisScaleFactor\": 0.1,", "\"ActualWavelength\": 1e-40,", "\"BackScatterCoefficient\": -0.0,",
        "\"EventEndLoss\": 3.4028235e+38,", "\"ReflectanceThreshold\": -65.535,", "\"EventORL\": 1e-45,",
        "\"TimeStamp\": 45000.123456789,", "{\"QRD\":\"NaN:0xFFC00123\",\"Level\":\"Infinity\"}",
        "\"Reflectance\":\"-Infinity\"", "\"FarRightLSAQRD\":0.33333334,",
        "\"CableID\": \"G\xC3\xB6teborg \xE6\x9D\xB1\xE4\xBA\xAC", "\"FileName\": \"C:\\\\traces\\\\\\\"odd\\\"\\tname\\n.trc\""}) {
    EXPECT_NE(text.find(expected), std::string::npos) << expected;
  }
}

TEST_F(TraceFile, BadFilesGiveNumberedErrorsNamingTheProblem) {
  CTrace good;
  FillTrace(good);
  good.SaveToFile(Path("good.trc"));
  const Json base = Json::parse(ReadText(Path("good.trc")));

  CTrace target;
  target.SetFiberNumber(42);
  target.SetSamples(3);
  target.Events()->Add(MakeEvent(1, 1, "kept"));
  const auto expectFailure = [&](const std::string& text, int32_t number, const std::string& description) {
    SCOPED_TRACE(description);
    EXPECT_RAISES(target.LoadFromFile(Write("bad.trc", text)), number, "CTrace:LoadFromFile()", description);
    // A failed load leaves the trace as it was.
    EXPECT_EQ(target.FiberNumber(), 42);
    EXPECT_EQ(target.Samples(), 3);
    ASSERT_EQ(target.Events()->Count(), 1);
    EXPECT_EQ(target.Events()->Item(1)->Comment(), "kept");
    EXPECT_TRUE(target.IsDirty());
  };
  const auto edited = [&](const std::function<void(Json&)>& edit) {
    Json doc = base;
    edit(doc);
    return doc.dump();
  };

  const std::string field = "Trace file field ";
  expectFailure("[1, 2", 10512,
                "Trace file is not valid JSON: parse error at line 1, column 6: syntax error while parsing array - "
                "unexpected end of input; expected ']'");
  expectFailure("", 10512,
                "Trace file is not valid JSON: parse error at line 1, column 1: syntax error while parsing value - "
                "unexpected end of input; expected '[', '{', or a literal");
  EXPECT_EQ(Capture([&] { target.LoadFromFile(Write("utf.trc", "{\"format\": \"\xFF\"}")); }).number, 10512);
  expectFailure(edited([](Json& d) { d["properties"].erase("TimeStamp"); }).insert(1, "\"TimeStamp\": 1e400, "), 10512,
                "Trace file holds a number out of range: number overflow parsing '1e400'");
  // Nesting far deeper than any stack could recurse.
  EXPECT_EQ(Capture([&] { target.LoadFromFile(Write("deep.trc", std::string(200000, '['))); }).number, 10512);
  expectFailure("{\"format\":\"tarnvik-trace\",\"version\":1,\"properties\":" + std::string(100000, '[') +
                    std::string(100000, ']') + "}",
                10512, field + "\"properties\" must be an object, not an array");
  {
    std::string deepSamples = edited([](Json&) {});
    deepSamples.insert(deepSamples.find("\"samples\":[") + 11, std::string(100000, '[') + std::string(100000, ']') + ",");
    expectFailure(deepSamples, 10512, field + "\"samples[0]\" must be an integer, not an array");
  }

  const std::string notOurs = "Not a Tarnvik trace file: its \"format\" must be \"tarnvik-trace\"";
  expectFailure("[]", 10513, notOurs);
  expectFailure(edited([](Json& d) { d["format"] = "tarnvik-trace2"; }), 10513, notOurs);
  expectFailure(edited([](Json& d) { d.erase("format"); }), 10513, notOurs);
  expectFailure(edited([](Json& d) { d["version"] = 2; }), 10513,
                "Unsupported trace file version 2 (this library reads version 1)");
  expectFailure(edited([](Json& d) { d["version"] = "1"; }), 10513,
                "Unsupported trace file version \"1\" (this library reads version 1)");
  expectFailure(edited([](Json& d) { d.erase("version"); }), 10513, "Trace file has no \"version\"");

  expectFailure(edited([](Json& d) { d["properties"].erase("FiberNumber"); }), 10512,
                field + "\"properties.FiberNumber\" is missing");
  expectFailure(edited([](Json& d) { d["properties"]["FiberNumber"] = 70000; }), 10512,
                field + "\"properties.FiberNumber\" is out of range: 70000 (allowed 0 to 65535)");
  expectFailure(edited([](Json& d) { d["properties"]["FiberNumber"] = "7"; }), 10512,
                field + "\"properties.FiberNumber\" must be an integer, not a string");
  expectFailure(edited([](Json& d) { d["properties"]["AutoMode"] = 1.0; }), 10512,
                field + "\"properties.AutoMode\" must be an integer, not a number with a fraction or exponent");
  expectFailure(edited([](Json& d) { d["properties"]["AutoMode"] = 32768; }), 10512,
                field + "\"properties.AutoMode\" is out of range: 32768 (allowed -32768 to 32767)");
  expectFailure(edited([](Json& d) { d["properties"]["IsBaseLine"] = 1; }), 10512,
                field + "\"properties.IsBaseLine\" must be a boolean, not an integer");
  expectFailure(edited([](Json& d) { d["properties"]["CableID"] = std::string(31, 'c'); }), 10512,
                field + "\"properties.CableID\" is longer than 30 characters");
  expectFailure(edited([](Json& d) { d["properties"]["LanguageCode"] = "E"; }), 10512,
                field + "\"properties.LanguageCode\" must be two characters (or empty)");
  expectFailure(edited([](Json& d) { d["properties"]["ReflectanceThreshold"] = 0.5; }), 10512,
                field + "\"properties.ReflectanceThreshold\" is out of range: 0.5 (allowed -65.535 to 0)");
  expectFailure(edited([](Json& d) { d["properties"]["EventORL"] = 65.536; }), 10512,
                field + "\"properties.EventORL\" is out of range: 65.536 (allowed 0 to 65.535)");
  expectFailure(edited([](Json& d) { d["properties"]["LossThreshold"] = "NaN"; }), 10512,
                field + "\"properties.LossThreshold\" is out of range: NaN (allowed 0 to 65.535)");
  expectFailure(edited([](Json& d) { d["properties"]["XAxisScaleFactor"] = 3.4028235677973366e38; }), 10512,
                field + "\"properties.XAxisScaleFactor\" is out of range for a 32-bit float");
  expectFailure(edited([](Json& d) { d["properties"]["XAxisScaleFactor"] = "NaN:0x7F800000"; }), 10512,
                field + "\"properties.XAxisScaleFactor\" must be a number, \"Infinity\", \"-Infinity\", \"NaN\" or "
                        "\"NaN:0x\" and the NaN's 8 hex digits, not \"NaN:0x7F800000\"");
  expectFailure(edited([](Json& d) { d["properties"]["EventORLMark"] = Json::array({1, 2, 3}); }), 10512,
                field + "\"properties.EventORLMark\" must hold 2 values, not 3");
  expectFailure(edited([](Json& d) { d["cursors"].erase(1); }), 10512,
                field + "\"cursors\" must hold 2 cursors (A and B), not 1");
  expectFailure(edited([](Json& d) { d["cursors"][1].erase("Level"); }), 10512,
                field + "\"cursors[1].Level\" is missing");
  expectFailure(edited([](Json& d) { d["samples"][2] = 4294967296; }), 10512,
                field + "\"samples[2]\" is out of range: 4294967296 (allowed -2147483648 to 2147483647)");
  expectFailure(edited([](Json& d) { d["samples"][4] = -2147483649LL; }), 10512,
                field + "\"samples[4]\" is out of range: -2147483649 (allowed -2147483648 to 2147483647)");
  expectFailure(edited([](Json& d) { d["samples"] = Json::parse("[1, 2, \"3\", 4.5]"); }), 10512,
                field + "\"samples[2]\" must be an integer, not a string");
  expectFailure(edited([](Json& d) { d["samples"] = Json::parse("[1, 2.0]"); }), 10512,
                field + "\"samples[1]\" must be an integer, not a number with a fraction or exponent");
  expectFailure(edited([](Json& d) { d["samples"] = Json::parse("[1, [2, {\"a\": [3]}], 4294967296]"); }), 10512,
                field + "\"samples[1]\" must be an integer, not an array");
  expectFailure(edited([](Json& d) { d["samples"] = Json::parse("[{}, 1]"); }), 10512,
                field + "\"samples[0]\" must be an integer, not an object");
  expectFailure(edited([](Json& d) { d.erase("samples"); }), 10512, field + "\"samples\" is missing");
  expectFailure(edited([](Json& d) { d["samples"] = Json::object(); }), 10512,
                field + "\"samples\" must be an array, not an object");
  expectFailure(edited([](Json& d) { d["events"][1].erase("Comment"); }), 10512,
                field + "\"events[1].Comment\" is missing");
  expectFailure(edited([](Json& d) { d["events"][0]["Comment"] = std::string(95, 'x'); }), 10512,
                field + "\"events[0].Comment\" is longer than 94 characters");
  expectFailure(edited([](Json& d) { d["events"] = Json(std::vector<Json>(32768, Json::object())); }), 10512,
                field + "\"events\" holds 32768 events, more than 32767");
  expectFailure(edited([](Json& d) { d["deletedEvents"][0] = 5; }), 10512,
                field + "\"deletedEvents[0]\" must be an object, not an integer");
  expectFailure(edited([](Json& d) { d["deletedEvents"][1]["Number"] = 40000; }), 10512,
                field + "\"deletedEvents[1].Number\" is out of range: 40000 (allowed -32768 to 32767)");

  EXPECT_RAISES(target.LoadFromFile(Path("missing.trc")), 53, "CTrace:LoadFromFile()", "File not found");

  // Numbers written by hand rather than by the library: integers and long decimals are
  // rounded to the float; a value just under the overflow point becomes FLT_MAX.
  CTrace handWritten;
  handWritten.LoadFromFile(Write("hand.trc", edited([](Json& d) {
    d["properties"]["XAxisScaleFactor"] = 2;
    d["properties"]["EventEndLoss"] = 3.4028235677973362e38;
    d["properties"]["LossThreshold"] = 0.1000000000000000055511151231257827;
    d["properties"]["samples"] = Json::parse("[[\"not the trace's\"]]");  // unknown members are ignored
    d["events"][0]["samples"] = "neither";
  })));
  EXPECT_EQ(handWritten.DataPointArray(), good.DataPointArray());
  EXPECT_EQ(handWritten.XAxisScaleFactor(), 2.0f);
  EXPECT_EQ(handWritten.EventEndLoss(), FLT_MAX);
  EXPECT_EQ(Bits(handWritten.LossThreshold()), Bits(0.1f));
}

TEST_F(TraceFile, FailedSaveLeavesTheOldFile) {
  CTrace trace;
  trace.SetSamples(2);
  // A name of the longest length a folder entry allows: the new file written beside it
  // first cannot be named, so the save fails after the old file was already there.
  const std::string longName = Path(std::string(255 - 4, 'n') + ".trc");
  Write(std::filesystem::path(longName).filename().string(), "old contents");
  const Raised r = Capture([&] { trace.SaveToFile(longName); });
  EXPECT_TRUE(r.raised);
  EXPECT_EQ(r.number, 75);
  EXPECT_EQ(r.source, "CTrace:SaveToFile()");
  EXPECT_EQ(ReadText(longName), "old contents");
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::directory_iterator(Path(""))) ++entries;
  EXPECT_EQ(entries, 2u) << "the old file and the log, nothing left behind";

  EXPECT_RAISES(trace.SaveToFile(Path("no/such/folder.trc")), 76, "CTrace:SaveToFile()", "Path not found");
  std::filesystem::create_directory(Path("folder.trc"));
  EXPECT_RAISES(trace.SaveToFile(Path("folder.trc")), 75, "CTrace:SaveToFile()", "Path/File access error");
}

}  // namespace
}  // namespace tarnvik::testing
