// Reading SR-4731 files into traces: every property from an assembled file, the unit
// and text conversions, the event decoding, the vendor blocks, and the error paths.
#include <cmath>
#include <functional>

#include <gtest/gtest.h>

#include "SorFixture.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/fileops/EventLevels.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

class ReadTrace : public TempDirTest {
 protected:
  std::shared_ptr<CTrace> Read(const SorFixture& f, const std::string& name = "t.sor") {
    WriteFileBytes(Path(name), f.Build());
    return ops_.ReadTrace(Path(name));
  }
  CFileOperations ops_;
};

TEST_F(ReadTrace, EveryPropertyOfAnAssembledFile) {
  SorFixture f;
  f.language = "DE", f.dataFlag = "RC", f.userOffset = 1234, f.nominal = 1550;
  f.origin = "  Site A ", f.terminus = "Far B", f.op = " Ann ", f.cableID = "C-1 ", f.cableCode = "SMF";
  f.comment = " note ", f.fiberID = "12";
  f.supplier = " Acme ", f.mainframe = "MX1", f.module = "M7", f.softwareRev = "V2.03.0018", f.other = "7";
  f.units = "ft", f.actual = 13105, f.acqOffset = 100, f.points = 5, f.spacing = 40000, f.averages = 300;
  f.noiseScale = 999, f.acqRange = 250000, f.pulseWidth = 1000, f.frontPanel = -30, f.backScatter = -812;
  f.noiseFloor = 45000, f.powerOffset = 1234, f.lossThreshold = 250, f.eofThreshold = 3000;
  f.scaleFactor = 1500, f.samples = {1234, 0, 65535};
  f.withKeyEvents = true, f.orvik2Revision = 202, f.cursors = {500, 1000}, f.orvik2FiberID = 33;
  KeyEventFields e1;
  e1.time = 1000, e1.atten = 350, e1.loss = 150, e1.reflectance = 40000, e1.code = "1F9999", e1.comment = " conn ";
  e1.level = 2000, e1.groupEnd = 1100, e1.markers[0] = 900, e1.markers[1] = 950, e1.markers[2] = 1050;
  e1.markers[3] = 1100;
  KeyEventFields e2;
  e2.number = 2, e2.time = 5000, e2.code = "1E9999", e2.type = "EN", e2.level = 3000;
  f.events = {e1, e2};
  f.endLoss = 3500, f.endStart = 100, f.endEnd = 150, f.orl = 32000, f.orlStart = 200, f.orlEnd = 5000;

  const auto t = Read(f, "full.sor");
  EXPECT_EQ(t->FileName(), "full.sor");
  EXPECT_EQ(t->LanguageCode(), "DE");
  EXPECT_EQ(t->CurrentDataFlag(), "RC");
  EXPECT_EQ(t->UserOffset(), 1234);
  EXPECT_EQ(t->NominalWavelength(), 1550);
  EXPECT_EQ(t->TestSite(), "Site A");
  EXPECT_EQ(t->FarSite(), "Far B");
  EXPECT_EQ(t->TestedBy(), "Ann");
  EXPECT_EQ(t->FiberType(), FT_SingleMode);
  EXPECT_EQ(t->CableID(), "C-1");
  EXPECT_EQ(t->CableType(), "SMF");
  EXPECT_EQ(t->TraceComment(), "note");
  EXPECT_DOUBLE_EQ(t->TimeStamp(), 25569.0 + 1700000000 / 86400.0);
  EXPECT_EQ(t->DistanceUnits(), DU_Feet);
  EXPECT_FLOAT_EQ(t->ActualWavelength(), 1310.5f);
  EXPECT_EQ(t->AquisitionOffset(), 2000);
  EXPECT_EQ(t->DataPointsPerPW(), 5);
  EXPECT_EQ(t->DataPointSpacing(), 40000);
  EXPECT_EQ(t->GroupIndex(), 146800);
  EXPECT_EQ(t->NumberOfAverages(), 300);
  EXPECT_EQ(t->NoiseFloorScaleFactor(), 999);
  EXPECT_EQ(t->MajorVersion(), 2);
  EXPECT_EQ(t->MinorVersion(), 3);
  EXPECT_EQ(t->Revision(), 18);
  EXPECT_EQ(t->AutoMode(), 7);
  EXPECT_EQ(t->MainFrameID(), "MX1");
  EXPECT_EQ(t->ModuleID(), "M7");
  EXPECT_EQ(t->SupplierName(), "Acme");
  EXPECT_EQ(t->AquisitionRange(), 5000);
  EXPECT_EQ(t->PulseWidth(), 1000);
  EXPECT_EQ(t->PulseWidthIndex(), PWI_1000);
  EXPECT_EQ(t->FrontPanelOffset(), -600);
  EXPECT_EQ(t->TotalNumberOfPulseWidths(), 1);
  EXPECT_FLOAT_EQ(t->BackScatterCoefficient(), -81.2f);
  EXPECT_EQ(t->NoiseFloorLevel(), 45000);
  EXPECT_EQ(t->PowerOffsetFirstPoint(), 1234);
  EXPECT_FLOAT_EQ(t->LossThreshold(), 0.25f);
  EXPECT_FLOAT_EQ(t->ReflectanceThreshold(), 0.0f);
  EXPECT_FLOAT_EQ(t->EndofFiberThreshold(), 3.0f);
  EXPECT_EQ(t->FiberNumber(), 12);
  EXPECT_EQ(t->DataPointArray(), (std::vector<int32_t>{1851, 0, 98302}));  // x1.5, half to even
  EXPECT_EQ(t->ACursorRawData(), 10000);
  EXPECT_EQ(t->BCursorRawData(), 20000);
  EXPECT_EQ(t->FiberID(), 33);
  EXPECT_EQ(t->FileFormat(), 169);
  EXPECT_EQ(t->MaxLossVal(), 65535);
  EXPECT_FALSE(t->IsDirty());
  EXPECT_TRUE(t->ValidEventLevels());
  // The key events block's fields; its loss and return-loss marks share one store, so
  // the return-loss marks written last are what both names read.
  EXPECT_FLOAT_EQ(t->EventEndLoss(), 3.5f);
  EXPECT_FLOAT_EQ(t->EventORL(), 32.0f);
  EXPECT_EQ(t->EventLossMark(1), 4000);
  EXPECT_EQ(t->EventORLMark(2), 100000);

  ASSERT_EQ(t->Events()->Count(), 2);
  const auto a = t->Events()->Item(1);
  EXPECT_EQ(a->Number(), 1);
  EXPECT_FLOAT_EQ(a->LocationQRD(), 20.0f);
  EXPECT_FLOAT_EQ(a->AttenDBperKM(), 0.35f);
  EXPECT_FLOAT_EQ(a->Loss(), 0.15f);
  EXPECT_FLOAT_EQ(a->Reflectance(), -40.0f);
  EXPECT_EQ(a->Comment(), "conn");
  EXPECT_EQ(a->EType(), EVTYPE_NonReflective);  // -40 dB is below the threshold of 0
  EXPECT_EQ(a->Source(), EVSRC_Auto);
  EXPECT_EQ(a->LossMT(), LOSS_Single);
  EXPECT_FLOAT_EQ(a->Level(), 2.0f);
  EXPECT_FLOAT_EQ(a->LocationEndQRD(), 22.0f);
  EXPECT_FLOAT_EQ(a->FarLeftLSAQRD(), 18.0f);
  EXPECT_FLOAT_EQ(a->NearLeftLSAQRD(), 19.0f);
  EXPECT_FLOAT_EQ(a->NearRightLSAQRD(), 21.0f);
  EXPECT_FLOAT_EQ(a->FarRightLSAQRD(), 22.0f);
  EXPECT_FLOAT_EQ(a->CumulativeLoss(), 0.0f);
  const auto b = t->Events()->Item(2);
  EXPECT_EQ(b->EType(), EVTYPE_ReflectiveEnd);  // reflectance 0 with "1": under range, 1
  EXPECT_EQ(b->LossMT(), LOSS_End);
  EXPECT_FLOAT_EQ(b->Reflectance(), 1.0f);
  EXPECT_FLOAT_EQ(b->Level(), 3.0f);
  // The roll-up ran with the file's attenuations kept.
  EXPECT_FLOAT_EQ(b->AttenDBperKM(), 0.0f);
  EXPECT_FLOAT_EQ(b->CumulativeLoss(), 1.0f);
  EXPECT_FLOAT_EQ(b->LeadinLoss(), 2.0f + 0.15f - 3.0f);
}

// One field of the file changed at a time, and what the trace reads from it.
TEST_F(ReadTrace, ConversionsOfSingleFields) {
  struct Case {
    const char* what;
    std::function<void(SorFixture&)> tweak;
    std::function<double(const CTrace&)> read;
    double expected;
  };
  auto units = [](const char* u) { return [u](SorFixture& f) { f.units = u; }; };
  auto distanceUnits = [](const CTrace& t) { return static_cast<double>(t.DistanceUnits()); };
  auto actual = [](int32_t w) { return [w](SorFixture& f) { f.actual = w; }; };
  auto actualRead = [](const CTrace& t) { return static_cast<double>(t.ActualWavelength()); };
  auto rev = [](const char* r) { return [r](SorFixture& f) { f.softwareRev = r; }; };
  auto versions = [](const CTrace& t) { return t.MajorVersion() * 10000.0 + t.MinorVersion() * 100 + t.Revision(); };
  auto scaled = [](int32_t factor, uint32_t point) {
    return [=](SorFixture& f) { f.scaleFactor = factor, f.samples = {point}; };
  };
  auto firstSample = [](const CTrace& t) { return static_cast<double>(t.DataPoints(1)); };
  auto samples = [](const CTrace& t) { return static_cast<double>(t.Samples()); };
  auto other = [](const char* o) { return [o](SorFixture& f) { f.other = o; }; };
  auto autoMode = [](const CTrace& t) { return static_cast<double>(t.AutoMode()); };
  const Case cases[] = {
      {"units ft", units("ft"), distanceUnits, DU_Feet},
      {"units km", units("km"), distanceUnits, DU_Kilometers},
      {"units mt", units("mt"), distanceUnits, DU_Meters},
      {"units mi", units("mi"), distanceUnits, DU_Miles},
      {"units kf", units("kf"), distanceUnits, DU_Kilofeet},
      {"units KM", units("KM"), distanceUnits, DU_Meters},
      {"units blank", units("  "), distanceUnits, DU_Meters},
      {"wavelength 0", actual(0), actualRead, 1310},
      {"wavelength 499", actual(499), actualRead, 1310},
      {"wavelength 500", actual(500), actualRead, 500},
      {"wavelength 4999", actual(4999), actualRead, 4999},
      {"wavelength 5000", actual(5000), actualRead, 500},
      {"wavelength 13100", actual(13100), actualRead, 1310},
      {"nominal 1300", [](SorFixture& f) { f.nominal = 1300; }, [](const CTrace& t) { return static_cast<double>(t.FiberType()); },
       FT_MultiMode},
      {"nominal 1305", [](SorFixture& f) { f.nominal = 1305; }, [](const CTrace& t) { return static_cast<double>(t.FiberType()); },
       FT_SingleMode},
      {"revision empty", rev(""), versions, 0},
      {"revision blank", rev(" "), versions, 0},
      {"revision V2.03.0018", rev("V2.03.0018"), versions, 20318},
      {"revision 2.3.18", rev("2.3.18"), versions, 20318},
      {"revision one dot", rev("7.1"), versions, 70000},
      {"revision no dot", rev("5"), versions, 5},
      {"revision non-digits", rev("a.b.c"), versions, 0},
      {"revision 16-bit overflow", rev("40000.1.2"), versions, 102},
      {"revision, fractional last part", rev("1.2.3.4"), versions, 10200},
      {"revision, exponent part", rev("1e2.3.4"), versions, 304},
      {"revision, two dots together", rev("6..9"), versions, 60009},
      {"other 7", other("7"), autoMode, 7},
      {"other text", other("auto"), autoMode, 0},
      {"other overflow", other("70000"), autoMode, 0},
      {"scale 1000", scaled(1000, 1234), firstSample, 1234},
      {"scale 1500", scaled(1500, 1234), firstSample, 1851},
      {"scale 999", scaled(999, 1), firstSample, 1},
      {"no data block", [](SorFixture& f) { f.withData = false; }, samples, 0},
      {"no scale factor group",
       [](SorFixture& f) { f.samples = {}; }, samples, 0},
      {"back scatter", [](SorFixture& f) { f.backScatter = 812; },
       [](const CTrace& t) { return static_cast<double>(t.BackScatterCoefficient()); }, double{81.2f}},
  };
  for (const Case& c : cases) {
    SorFixture f;
    c.tweak(f);
    const auto t = Read(f);
    EXPECT_EQ(c.read(*t), c.expected) << c.what;
  }
}

TEST_F(ReadTrace, FiberNumberFromTheFiberIdOrTheFileName) {
  struct Case {
    const char* fiberID;
    const char* supplier;
    const char* mainframe;
    const char* file;
    int32_t number;
    bool defaulted;  // the log line that says it became 1
  };
  const Case cases[] = {
      {"12", "Tarnvik", " ", "t.sor", 12, false},
      {" 7 ", "Tarnvik", " ", "t.sor", 7, false},
      {"abc", "Tarnvik", " ", "t.sor", 1, true},
      {" ", "Tarnvik", " ", "t.sor", 1, true},
      {"0", "Tarnvik", " ", "t.sor", 1, true},
      {"3", "1", "VLT5280", "ABCDEF0120345.sor", 12, false},
      {"3", "1", "VLT5280", "ABCDEFGH12345.sor", 1, true},  // "H12" is not a number
      {"3", "1", "VLT5280", "BCDEF0120345.sor", 1, true},   // 12 characters
      {"3", "1", "VLT5281", "ABCDEF0120345.sor", 3, false},
  };
  for (const Case& c : cases) {
    SorFixture f;
    f.fiberID = c.fiberID, f.supplier = c.supplier, f.mainframe = c.mainframe;
    const std::size_t before = LogLines().size();
    const auto t = Read(f, c.file);
    EXPECT_EQ(t->FiberNumber(), c.number) << c.fiberID << " " << c.file;
    const auto lines = LogLines();
    ASSERT_EQ(lines.size(), before + (c.defaulted ? 1 : 0)) << c.fiberID << " " << c.file;
    if (c.defaulted) {
      const auto fields = Fields(lines.back());
      ASSERT_GE(fields.size(), 3u);
      EXPECT_EQ(fields[0], "Invalid Fiber Number: Defaulting to 1");
      EXPECT_EQ(fields[1], "CFileOperations");
      EXPECT_EQ(fields[2], "ConvertSORtoTrace()");
    }
  }
  SorFixture fixed;
  fixed.fiberID = "3", fixed.supplier = "1", fixed.mainframe = "VLT5280";
  const auto t = Read(fixed, "ABCDEF0120345.sor");
  EXPECT_EQ(t->MainFrameID(), "T260");
  EXPECT_EQ(t->SupplierName(), "Orvik");
}

// The event code's first character says reflective ("1"), clipped ("2") or not; the
// second the source; the loss technique the method. The threshold read is 0 dB.
TEST_F(ReadTrace, EventCodesDecodeIntoTypeSourceAndMethod) {
  struct Case {
    const char* code;
    const char* technique;
    int32_t storedReflectance;
    const char* vendorType;  // nullptr: no vendor block
    EnumEventTypes type;
    EnumEventSources source;
    int32_t method;
    float reflectance;
  };
  const Case cases[] = {
      {"1F9999", "LS", 40000, nullptr, EVTYPE_NonReflective, EVSRC_Auto, LOSS_Single, -40.0f},
      {"1F9999", "LS", 0, nullptr, EVTYPE_Reflective, EVSRC_Auto, LOSS_Single, 1.0f},
      {"2M9999", "LS", 0, nullptr, EVTYPE_Reflective, EVSRC_UserEdited, LOSS_Single, 0.0f},
      {"0A9999", "LS", 0, nullptr, EVTYPE_NonReflective, EVSRC_Manual, LOSS_Single, 2.0f},
      {"0E9999", "LS", 0, nullptr, EVTYPE_NonReflectiveEnd, EVSRC_Auto, LOSS_End, 2.0f},
      {"1D9999", "LS", 0, nullptr, EVTYPE_ReflectiveEnd, EVSRC_UserEdited, LOSS_End, 1.0f},
      {"1X9999", "LS", 0, nullptr, EVTYPE_Undefined, EVSRC_Manual, LOSS_Other, 0.0f},
      {"1F9999", "LS", 0, "MU", EVTYPE_Multiple, EVSRC_Auto, LOSS_Single, 1.0f},
      {"0F9999", "LS", 0, "ST", EVTYPE_NonReflective, EVSRC_Auto, LOSS_Single, 2.0f},
      {"2M9999", "OT", 0, nullptr, EVTYPE_Undefined, EVSRC_UserEdited, 0, 0.0f},
      {"0Q9999", "OT", 0, nullptr, EVTYPE_Undefined, EVSRC_Manual, 0, 2.0f},
      {"1F9999", "OT", 0, nullptr, EVTYPE_Undefined, EVSRC_Auto, 0, 1.0f},
      {"1F9999", "OT", 0, "ST", EVTYPE_Start, EVSRC_Auto, 0, 1.0f},
      {"1F9999", "2P", 0, nullptr, EVTYPE_Reflective, EVSRC_Auto, LOSS_TwoPoint, 1.0f},
      {"1E9999", "2P", 0, nullptr, EVTYPE_ReflectiveEnd, EVSRC_Auto, LOSS_TwoPoint, 1.0f},
      {"0D9999", "2P", 0, nullptr, EVTYPE_NonReflectiveEnd, EVSRC_Manual, LOSS_TwoPoint, 2.0f},
      {"2F9999", "2P", 40000, nullptr, EVTYPE_Clipped, EVSRC_Auto, LOSS_TwoPoint, -40.0f},
      {"0X9999", "2P", 0, nullptr, EVTYPE_NonReflective, EVSRC_Manual, LOSS_TwoPoint, 2.0f},
      {"1M9999", "2P", 0, "SI", EVTYPE_Reflective, EVSRC_UserEdited, LOSS_TwoPoint, 1.0f},
      {"2M9999", "2P", 0, "SI", EVTYPE_Clipped, EVSRC_UserEdited, LOSS_TwoPoint, 0.0f},
      {"0M9999", "2P", 0, "SI", EVTYPE_NonReflective, EVSRC_UserEdited, LOSS_TwoPoint, 2.0f},
      {"1F9999", "2P", 0, "MU", EVTYPE_Multiple, EVSRC_Auto, LOSS_TwoPoint, 1.0f},
      {"1A9999", "2P", 0, "EN", EVTYPE_ReflectiveEnd, EVSRC_Manual, LOSS_TwoPoint, 1.0f},
  };
  for (const Case& c : cases) {
    SorFixture f;
    f.withKeyEvents = true;
    KeyEventFields e;
    e.code = c.code, e.lossMT = c.technique, e.reflectance = c.storedReflectance;
    if (c.vendorType) e.type = c.vendorType, f.orvik2Revision = 200;
    f.events = {e};
    const auto t = Read(f);
    ASSERT_EQ(t->Events()->Count(), 1);
    const auto ev = t->Events()->Item(1);
    const std::string what = std::string(c.code) + " " + c.technique + (c.vendorType ? c.vendorType : "");
    EXPECT_EQ(ev->EType(), c.type) << what;
    EXPECT_EQ(ev->Source(), c.source) << what;
    EXPECT_EQ(int32_t{ev->LossMT()}, c.method) << what;
    EXPECT_EQ(ev->Reflectance(), c.reflectance) << what;
  }
}

TEST_F(ReadTrace, VendorBlocksGiveLevelsAndCursorsOnlyWhenTheyAgree) {
  SorFixture f;
  f.withKeyEvents = true;
  KeyEventFields e1, e2;
  e1.time = 1000, e1.level = 2000, e1.type = "ST";
  e2.number = 2, e2.time = 2000, e2.level = 2500;
  f.events = {e1, e2};
  f.orvik2Revision = 201, f.cursors = {500};
  f.withOrvik = true, f.orvikA = 7, f.orvikB = 9, f.orvikLevels = {1500, 1700};

  // The vendor copy matches: its levels and types; one cursor sets only A.
  auto t = Read(f);
  EXPECT_FLOAT_EQ(t->Events()->Item(1)->Level(), 2.0f);
  EXPECT_EQ(t->Events()->Item(1)->EType(), EVTYPE_NonReflective);  // "LS" "F" decides
  EXPECT_EQ(t->ACursorRawData(), 10000);
  EXPECT_EQ(t->BCursorRawData(), 0);
  EXPECT_EQ(t->FiberID(), 0);  // revision 201 carries no fibre identifier

  // One vendor event fewer: the copy is dropped, levels come from "Orvik".
  f.vendorEventsDropped = 1;
  t = Read(f);
  EXPECT_FLOAT_EQ(t->Events()->Item(1)->Level(), 1.5f);
  EXPECT_FLOAT_EQ(t->Events()->Item(2)->Level(), 1.7f);
  EXPECT_FLOAT_EQ(t->Events()->Item(1)->LocationEndQRD(), 0.0f);

  // "Orvik" alone: its cursors.
  f.vendorEventsDropped = 0;
  f.orvik2Revision = 0;
  t = Read(f);
  EXPECT_EQ(t->ACursorRawData(), 140);
  EXPECT_EQ(t->BCursorRawData(), 180);

  // Neither vendor block: cursors 0 and, from the roll-up, levels extended along the
  // section's attenuation (event 2's level 0 is "not measured").
  f.withOrvik = false;
  f.events[1].atten = 350;
  t = Read(f);
  EXPECT_EQ(t->ACursorRawData(), 0);
  EXPECT_EQ(t->BCursorRawData(), 0);
  EXPECT_FLOAT_EQ(t->Events()->Item(1)->Level(), 0.0f);
  EXPECT_NEAR(t->Events()->Item(2)->Level(), 0.35 * 20 * 1.0210915 / 1000, 1e-6);
}

TEST_F(ReadTrace, NegativeLevelsAreRecomputedFromThePredecessor) {
  CTrace trace;
  trace.SetGroupIndex(146800);  // 1000 QRD = 1.0210915 km
  const float positions[] = {0, 1000, 3000};
  const float levels[] = {-0.5f, 7.0f, -1.0f};
  const float losses[] = {0.5f, 0.25f, 0};
  const float attens[] = {9999, 9999, 0.35f};
  for (int i = 0; i < 3; ++i) {
    auto ev = std::make_shared<CEvent>();
    ev->SetLocationQRD(positions[i]);
    ev->SetLevel(levels[i]);
    ev->SetLoss(losses[i]);
    ev->SetAttenDBperKM(attens[i]);
    trace.Events()->Add(ev);
  }
  RecomputeEventLevels(trace);
  EXPECT_FLOAT_EQ(trace.Events()->Item(1)->Level(), -0.5f);  // the first keeps its own
  EXPECT_FLOAT_EQ(trace.Events()->Item(2)->Level(), 0.0f);   // -0.5 + 0.5, unset attenuation as 0
  EXPECT_FLOAT_EQ(trace.Events()->Item(3)->Level(), 0.25f + 0.35f * 2 * 1.0210915f);
  trace.Events()->Item(1)->SetLevel(-3.0f);
  RecomputeEventLevels(trace);
  EXPECT_FLOAT_EQ(trace.Events()->Item(2)->Level(), 0.0f);  // below 0 is taken as 0
}

TEST_F(ReadTrace, ExtensionDecidesTheFormatAndTheMaximumLoss) {
  SorFixture f;
  f.samples = {10, 60000, 20};
  WriteFileBytes(Path("a.sor"), f.Build());
  const auto sor = ops_.ReadTrace(Path("a.sor"));
  EXPECT_EQ(sor->MaxLossVal(), 60000);
  sor->SaveToFile(Path("own.json"));
  for (const char* name : {"own.json", "TRACE.SOR", "trace.Sor", "noextension"}) {
    if (std::string(name) != "own.json") sor->SaveToFile(Path(name));
    const auto own = ops_.ReadTrace(Path(name));
    EXPECT_EQ(own->MaxLossVal(), 30000) << name;
    EXPECT_EQ(own->DataPointArray(), sor->DataPointArray()) << name;
    EXPECT_FALSE(own->IsDirty()) << name;
  }
  // An SR-4731 file under an upper-case extension goes to the trace's own reader.
  WriteFileBytes(Path("b.SOR"), f.Build());
  EXPECT_NE(Capture([&] { ops_.ReadTrace(Path("b.SOR")); }).number, 0);
}

TEST_F(ReadTrace, FailuresRaiseFromReadTraceWithOneLogLinePerProcedure) {
  struct Case {
    const char* what;
    std::function<Bytes()> file;  // nullptr: no file at all
    int32_t number;
    std::string description;
    std::vector<std::string> procedures;  // "Module Procedure" of each log line
  };
  auto tweaked = [](std::function<void(SorFixture&)> tweak) {
    return [tweak] {
      SorFixture f;
      tweak(f);
      return f.Build();
    };
  };
  const Case cases[] = {
      {"missing", nullptr, 53, "File not found", {"CSORFile LoadFromFile()", "CFileOperations ReadTrace()"}},
      {"checksum",
       [] {
         Bytes b = SorFixture().Build();
         b.back() ^= 1;
         return b;
       },
       10020, "", {"CSORFile LoadFromFile()", "CFileOperations ReadTrace()"}},
      {"offset overflow", tweaked([](SorFixture& f) { f.acqOffset = 200000000; }), 6, "Overflow",
       {"modMain SORTimeToQRD()", "CFileOperations ConvertSORtoTrace()", "CFileOperations ReadTrace()"}},
      {"fiber 40000", tweaked([](SorFixture& f) { f.fiberID = "40000"; }), 6, "Overflow",
       {"CFileOperations ConvertSORtoTrace()", "CFileOperations ReadTrace()"}},
      {"fiber -5", tweaked([](SorFixture& f) { f.fiberID = "-5"; }), 5, "Fiber Number must be between 0 and 65535",
       {"CTrace Let FiberNumber()", "CFileOperations ConvertSORtoTrace()", "CFileOperations ReadTrace()"}},
      {"stored threshold", tweaked([](SorFixture& f) { f.reflThreshold = 40000; }), 5,
       "Reflectance Threshold must be between 0 and -65.535. \"40\" is not allowed.",
       {"CTrace Let ReflectanceThreshold()", "CFileOperations ConvertSORtoTrace()", "CFileOperations ReadTrace()"}},
      {"no pulse width", tweaked([](SorFixture& f) { f.pulseCount = 0; }), 10516,
       "TotalNumberOfPulseWidths must be 1 to use the NumberDataPoints property",
       {"CFixedParametersBlock Get NumberDataPoints()", "CFileOperations ConvertSORtoTrace()",
        "CFileOperations ReadTrace()"}},
  };
  for (const Case& c : cases) {
    ClearLogFile();
    if (c.file) WriteFileBytes(Path("e.sor"), c.file());
    const Raised r = Capture([&] { ops_.ReadTrace(Path(c.file ? "e.sor" : "absent.sor"), true); });
    EXPECT_EQ(r.number, c.number) << c.what;
    EXPECT_EQ(r.source, "CFileOperations:ReadTrace()") << c.what;
    if (!c.description.empty()) {
      EXPECT_EQ(r.description, c.description) << c.what;
    }
    std::vector<std::string> logged;
    for (const auto& line : LogLines()) {
      const auto fields = Fields(line);
      if (fields.size() >= 4) logged.push_back(fields[2] + " " + fields[3]);
    }
    EXPECT_EQ(logged, c.procedures) << c.what;
    std::remove(Path("e.sor").c_str());
  }
  // A file that failed to load is not kept; one that loaded is, even when its
  // conversion failed afterwards.
  EXPECT_EQ(ops_.SORFiles()->Count(), 5);
}

TEST_F(ReadTrace, KeptFilesAccumulateOnePerCall) {
  WriteFileBytes(Path("k.sor"), SorFixture().Build());
  ops_.ReadTrace(Path("k.sor"));
  EXPECT_EQ(ops_.SORFiles()->Count(), 0);
  ops_.ReadTrace(Path("k.sor"), true);
  ops_.ReadTrace(Path("k.sor"), true);
  ASSERT_EQ(ops_.SORFiles()->Count(), 2);
  EXPECT_NE(ops_.SORFiles()->Item(1), ops_.SORFiles()->Item(2));
  EXPECT_EQ(ops_.SORFiles()->Item(2)->FileName(), "k.sor");
}

}  // namespace
}  // namespace tarnvik::testing
