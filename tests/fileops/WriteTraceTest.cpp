// Writing traces: the fields each block receives, what the writing changes in the
// trace, what a round trip keeps and loses, the reuse of a kept file, and the errors.
#include <cmath>
#include <functional>

#include <gtest/gtest.h>

#include "SorFixture.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

constexpr double kDate1700000000 = 25569.0 + 1700000000 / 86400.0;

std::shared_ptr<CEvent> MakeEvent(float qrd, EnumEventTypes type, EnumEventSources source, float reflectance) {
  auto ev = std::make_shared<CEvent>();
  ev->SetLocationQRD(qrd);
  ev->SetEType(type);
  ev->SetSource(source);
  ev->SetLossMT(LOSS_Single);
  ev->SetReflectance(reflectance);
  ev->SetAttenDBperKM(0.35f);
  return ev;
}

// A trace with a value in every field the writer reads.
std::shared_ptr<CTrace> FullTrace() {
  auto t = std::make_shared<CTrace>();
  t->SetNominalWavelength(1550);
  t->SetTestSite("Site A");
  t->SetFarSite("Far B");
  t->SetTestedBy("Ann");
  t->SetFiberNumber(7);
  t->SetCableID("C-1");
  t->SetCableType("SMF");
  t->SetTraceComment("note");
  t->SetTimeStamp(kDate1700000000);
  t->SetDistanceUnits(DU_Miles);
  t->SetActualWavelength(1310.5f);
  t->SetAquisitionOffset(2000);
  t->SetGroupIndex(146800);
  t->SetNumberOfAverages(300);
  t->SetNoiseFloorScaleFactor(999);
  t->SetAquisitionRange(5000);
  t->SetPulseWidth(1000);
  t->SetFrontPanelOffset(-600);
  t->SetDataPointSpacing(40000);
  t->SetBackScatterCoefficient(-81.2f);
  t->SetNoiseFloorLevel(45000);
  t->SetPowerOffsetFirstPoint(1234);
  t->SetLossThreshold(0.25f);
  t->SetEndofFiberThreshold(3.0f);
  t->SetSupParamsOther("x");
  t->SetMainFrameID("MX1");
  t->SetModuleID("M7");
  t->SetSupplierName("Acme");
  t->SetLanguageCode("DE");
  t->SetUserOffset(77);
  t->SetSamples(4);
  for (int32_t i = 1; i <= 4; ++i) t->SetDataPoints(i, 1000 * i);
  t->SetACursorRawData(10000);
  t->SetBCursorRawData(20000);
  t->SetEventEndLoss(3.5f);
  t->SetEventORL(32.0f);
  t->SetEventORLMark(1, 4000);
  t->SetEventORLMark(2, 100000);
  auto a = MakeEvent(20, EVTYPE_Reflective, EVSRC_Auto, -40.0f);
  a->SetLoss(0.15f);
  a->SetLevel(2.0f);
  a->SetComment("conn");
  a->SetFarLeftLSAQRD(18);
  a->SetNearLeftLSAQRD(19);
  a->SetNearRightLSAQRD(21);
  a->SetFarRightLSAQRD(22);
  t->Events()->Add(a);
  auto b = MakeEvent(100, EVTYPE_NonReflectiveEnd, EVSRC_Auto, 2.0f);
  b->SetLossMT(LOSS_End);
  b->SetLevel(3.0f);
  t->Events()->Add(b);
  return t;
}

class WriteTrace : public TempDirTest {
 protected:
  std::shared_ptr<CSORFile> WriteAndLoad(const std::shared_ptr<CTrace>& t, const std::string& name = "w.sor") {
    ops_.WriteTrace(t, Path(name), 5, 2, 3, 18);
    auto sor = std::make_shared<CSORFile>();
    sor->LoadFromFile(Path(name));
    return sor;
  }
  CFileOperations ops_;
};

TEST_F(WriteTrace, EveryBlockFieldFromATraceBuiltInCode) {
  const auto t = FullTrace();
  const auto sor = WriteAndLoad(t);
  const auto& gen = *sor->GenParamsBlock();
  EXPECT_EQ(gen.NominalWavelength(), 1550);
  EXPECT_EQ(gen.OriginatingLocation(), "Site A");
  EXPECT_EQ(gen.TerminatingLocation(), "Far B");
  EXPECT_EQ(gen.Operator(), "Ann");
  EXPECT_EQ(gen.FiberID(), "7");
  EXPECT_EQ(gen.CableID(), "C-1");
  EXPECT_EQ(gen.CableCode(), "SMF");
  EXPECT_EQ(gen.Comment(), "note");
  EXPECT_EQ(gen.LanguageCode(), "EN");  // not written: a new file's default
  const auto& fxd = *sor->FixedParamsBlock();
  EXPECT_EQ(fxd.DateTime(), 1700000000);
  EXPECT_EQ(fxd.DistanceUnits(), "mi");
  EXPECT_EQ(fxd.ActualWavelength(), 13105);
  EXPECT_EQ(fxd.AcquisitionOffset(), 100);
  EXPECT_EQ(fxd.GroupIndex(), 146800);
  EXPECT_EQ(fxd.NumberOfAverages(), 300);
  EXPECT_EQ(fxd.NoiseFloorScaleFactor(), 999);
  EXPECT_EQ(fxd.AcquisitionRange(), 250000);
  EXPECT_EQ(fxd.PulseWidth(), 1000);
  EXPECT_EQ(fxd.FrontPanelOffset(), -30);
  EXPECT_EQ(fxd.TotalNumberOfPulseWidths(), 1);
  EXPECT_EQ(fxd.NumberDataPoints(), 4);  // points per pulse width 0 takes the samples
  EXPECT_EQ(fxd.DataSpacing(), 40000);
  EXPECT_EQ(fxd.BackScatterCoefficient(), 812);  // written positive
  EXPECT_EQ(fxd.NoiseFloorLevel(), 45000);
  EXPECT_EQ(fxd.PowerOffsetFirstPoint(), 1234);
  EXPECT_EQ(fxd.LossThreshold(), 250);
  EXPECT_EQ(fxd.ReflectanceThreshold(), 0);
  EXPECT_EQ(fxd.EndofFiberThreshold(), 3000);
  const auto& sup = *sor->SupParamsBlock();
  EXPECT_EQ(sup.SoftwareRev(), "2.3.18");
  EXPECT_EQ(sup.Other(), "x");
  EXPECT_EQ(sup.OTDRMainframeID(), "MX1");
  EXPECT_EQ(sup.OpticalModuleID(), "M7");
  EXPECT_EQ(sup.SupplierName(), "Acme");

  EXPECT_EQ(sor->OrvikBlock(), nullptr);
  const auto orvik2 = sor->Orvik2Block();
  ASSERT_NE(orvik2, nullptr);
  EXPECT_EQ(orvik2->Revision(), 201);
  ASSERT_EQ(orvik2->CursorCount(), 2);
  EXPECT_EQ(orvik2->CursorLocation(1), 500);
  EXPECT_EQ(orvik2->CursorLocation(2), 1000);
  const auto data = sor->DataPointsBlock();
  EXPECT_EQ(data->NumberScaleFactorsUsed(), 1);
  EXPECT_EQ(data->ScaleFactor(1), 1000);
  EXPECT_EQ(data->DataPoints(1, 4), 4000);

  const auto& key = *sor->KeyEventsBlock();
  EXPECT_EQ(key.EndtoEndLoss(), 3500);
  EXPECT_EQ(key.EndtoEndMarkerPosStart(), 200);  // one store with the return-loss marks
  EXPECT_EQ(key.OpticalReturnLoss(), 32000);
  EXPECT_EQ(key.ORLMarkerPosEnd(), 5000);
  ASSERT_EQ(key.KeyEvents()->Count(), 2);
  const auto& k1 = *key.KeyEvents()->Item(1);
  EXPECT_EQ(k1.EventNumber(), 1);
  EXPECT_EQ(k1.EventPropagationTime(), 1000);
  EXPECT_EQ(k1.AttenCoefLeadinFiber(), 350);
  EXPECT_EQ(k1.EventLoss(), 150);
  EXPECT_EQ(k1.EventReflectance(), -40000);
  EXPECT_EQ(k1.EventCode(), "1F9999");
  EXPECT_EQ(k1.LossMT(), "LS");
  EXPECT_EQ(k1.Comment(), "conn");
  const auto& v1 = *orvik2->Events()->Item(1);
  EXPECT_EQ(v1.EventType(), "SI");
  EXPECT_EQ(v1.EventLevel(), 2000);
  EXPECT_EQ(v1.MarkerLocations(1), 900);
  EXPECT_EQ(v1.MarkerLocations(4), 1100);
  const auto& k2 = *key.KeyEvents()->Item(2);
  EXPECT_EQ(k2.EventCode(), "0E9999");
  EXPECT_EQ(k2.EventReflectance(), 0);  // the "not available" code
  EXPECT_EQ(orvik2->Events()->Item(2)->EventType(), "EN");

  // What writing changed in the trace.
  EXPECT_EQ(t->LastChangedBy(), 5);
  EXPECT_EQ(t->MajorVersion(), 2);
  EXPECT_EQ(t->Revision(), 18);
  EXPECT_EQ(t->DataPointsPerPW(), 4);
  EXPECT_FALSE(t->IsDirty());
}

// Written and read again: what comes back as it was, and what does not and why.
TEST_F(WriteTrace, RoundTripKeepsWhatTheFileCarries) {
  const auto t = FullTrace();
  ops_.WriteTrace(t, Path("r.sor"), 5, 2, 3, 18);
  const auto r = ops_.ReadTrace(Path("r.sor"));
  EXPECT_EQ(r->TestSite(), t->TestSite());
  EXPECT_EQ(r->FiberNumber(), 7);
  EXPECT_DOUBLE_EQ(r->TimeStamp(), kDate1700000000);
  EXPECT_EQ(r->DistanceUnits(), DU_Miles);
  EXPECT_FLOAT_EQ(r->ActualWavelength(), 1310.5f);
  EXPECT_EQ(r->AquisitionRange(), 5000);
  EXPECT_EQ(r->FrontPanelOffset(), -600);
  EXPECT_EQ(r->DataPointArray(), t->DataPointArray());
  EXPECT_EQ(r->ACursorRawData(), 10000);
  EXPECT_EQ(r->MajorVersion() * 10000 + r->MinorVersion() * 100 + r->Revision(), 20318);
  ASSERT_EQ(r->Events()->Count(), 2);
  EXPECT_EQ(r->Events()->Item(1)->EType(), EVTYPE_NonReflective);  // the vendor copy says "SI"
  EXPECT_EQ(r->Events()->Item(2)->EType(), EVTYPE_NonReflectiveEnd);
  EXPECT_FLOAT_EQ(r->Events()->Item(1)->Reflectance(), -40.0f);
  EXPECT_FLOAT_EQ(r->Events()->Item(1)->FarRightLSAQRD(), 22.0f);
  // Lost by design: the sign of the backscatter coefficient, the fields no block
  // receives (language, user offset, the author), and SupParamsOther, which reading
  // puts into AutoMode instead.
  EXPECT_FLOAT_EQ(r->BackScatterCoefficient(), 81.2f);
  EXPECT_EQ(r->LanguageCode(), "EN");
  EXPECT_EQ(r->UserOffset(), 0);
  EXPECT_EQ(r->LastChangedBy(), 0);
  EXPECT_EQ(r->SupParamsOther(), "");
  EXPECT_EQ(r->AutoMode(), 0);
}

// One trace field at a time, and the file field or trace field it ends up in.
TEST_F(WriteTrace, ConversionsOfSingleFields) {
  struct Case {
    const char* what;
    std::function<void(CTrace&)> tweak;
    std::function<std::string(const CSORFile&, const CTrace&)> read;
    std::string expected;
  };
  auto fxd = [](std::function<int32_t(const CFixedParametersBlock&)> f) {
    return [f](const CSORFile& s, const CTrace&) { return std::to_string(f(*s.FixedParamsBlock())); };
  };
  auto wavelength = fxd([](const CFixedParametersBlock& b) { return b.ActualWavelength(); });
  auto backScatter = fxd([](const CFixedParametersBlock& b) { return b.BackScatterCoefficient(); });
  auto fiberID = [](const CSORFile& s, const CTrace&) { return s.GenParamsBlock()->FiberID(); };
  auto key1 = [](std::function<std::string(const CKeyEvent&)> f) {
    return [f](const CSORFile& s, const CTrace&) { return f(*s.KeyEventsBlock()->KeyEvents()->Item(1)); };
  };
  auto code = key1([](const CKeyEvent& k) { return k.EventCode(); });
  auto reflectance = key1([](const CKeyEvent& k) { return std::to_string(k.EventReflectance()); });
  auto vendorType = [](const CSORFile& s, const CTrace&) { return s.Orvik2Block()->Events()->Item(1)->EventType(); };
  auto lossMT = key1([](const CKeyEvent& k) { return k.LossMT(); });
  auto first = [](const CTrace& t) { return t.Events()->Item(1); };
  auto event = [&](EnumEventTypes type, EnumEventSources source, float refl, EnumLossMethods method = LOSS_Single) {
    return [=](CTrace& t) {
      first(t)->SetEType(type), first(t)->SetSource(source), first(t)->SetReflectance(refl);
      first(t)->SetLossMT(method);
    };
  };
  const Case cases[] = {
      {"fiber 0", [](CTrace& t) { t.SetFiberNumber(0); }, fiberID, " "},
      {"fiber 7", [](CTrace& t) { t.SetFiberNumber(7); }, fiberID, "7"},
      {"wavelength 1310.5", [](CTrace& t) { t.SetActualWavelength(1310.5f); }, wavelength, "13105"},
      {"wavelength 0, nominal 1550",
       [](CTrace& t) { t.SetActualWavelength(0), t.SetNominalWavelength(1550); }, wavelength, "15500"},
      {"back scatter -81.2", [](CTrace& t) { t.SetBackScatterCoefficient(-81.2f); }, backScatter, "812"},
      {"back scatter 81.25", [](CTrace& t) { t.SetBackScatterCoefficient(81.25f); }, backScatter, "812"},
      {"pulse count 0 with a pulse width", [](CTrace& t) { t.SetTotalNumberOfPulseWidths(0); },
       [](const CSORFile& s, const CTrace& t) {
         return std::to_string(t.TotalNumberOfPulseWidths()) + std::to_string(s.FixedParamsBlock()->TotalNumberOfPulseWidths());
       },
       "11"},
      {"level -0.5", [&](CTrace& t) { first(t)->SetLevel(-0.5f); },
       [](const CSORFile& s, const CTrace& t) {
         return std::to_string(s.Orvik2Block()->Events()->Item(1)->EventLevel()) + " " +
                std::to_string(t.Events()->Item(1)->Level());
       },
       "0 0.000000"},
      {"reflectance 1", event(EVTYPE_Reflective, EVSRC_Auto, 1.0f), reflectance, "0"},
      {"reflectance 0", event(EVTYPE_Reflective, EVSRC_Auto, 0.0f), reflectance, "0"},
      {"reflectance -40.5", event(EVTYPE_Reflective, EVSRC_Auto, -40.5f), reflectance, "-40500"},
      {"start manual", event(EVTYPE_Start, EVSRC_Manual, -40.0f), code, "0A9999"},
      {"start auto", event(EVTYPE_Start, EVSRC_Auto, -40.0f), code, "0F9999"},
      {"start at threshold", event(EVTYPE_Start, EVSRC_Auto, 0.5f), code, "1F9999"},
      {"undefined, reflectance code 2", event(EVTYPE_Undefined, EVSRC_Auto, 2.0f), code, "0F9999"},
      {"reflective user-edited", event(EVTYPE_Reflective, EVSRC_UserEdited, -40.0f), code, "1M9999"},
      {"non-reflective user-edited", event(EVTYPE_NonReflective, EVSRC_UserEdited, -40.0f), code, "0M9999"},
      {"clipped", event(EVTYPE_Clipped, EVSRC_Manual, -40.0f), code, "2A9999"},
      {"reflective end auto", event(EVTYPE_ReflectiveEnd, EVSRC_Auto, -40.0f), code, "1E9999"},
      {"estimated end manual", event(EVTYPE_EstimatedEnd, EVSRC_Manual, -40.0f), code, "0D9999"},
      {"type out of range", event(static_cast<EnumEventTypes>(13), EVSRC_Auto, -40.0f), code, "0F9999"},
      {"undefined type code", event(EVTYPE_Undefined, EVSRC_Auto, 2.0f), vendorType, "2P"},
      {"gainer type code", event(EVTYPE_ReflectiveGainer, EVSRC_Auto, 2.0f), vendorType, "SI"},
      {"multiple type code", event(EVTYPE_Multiple, EVSRC_Auto, 2.0f), vendorType, "MU"},
      {"start type code", event(EVTYPE_Start, EVSRC_Auto, 2.0f), vendorType, "ST"},
      {"estimated end type code", event(EVTYPE_EstimatedEnd, EVSRC_Auto, 2.0f), vendorType, "EN"},
      {"unknown type keeps the default", event(static_cast<EnumEventTypes>(0), EVSRC_Auto, 2.0f), vendorType, "2P"},
      {"two-point", event(EVTYPE_Reflective, EVSRC_Auto, 2.0f, LOSS_TwoPoint), lossMT, "2P"},
      {"multiple method", event(EVTYPE_Reflective, EVSRC_Auto, 2.0f, LOSS_Multiple), lossMT, "LS"},
      {"start method", event(EVTYPE_Reflective, EVSRC_Auto, 2.0f, LOSS_Start), lossMT, "LS"},
      {"attenuation method", event(EVTYPE_Reflective, EVSRC_Auto, 2.0f, LOSS_FiberAttenuation), lossMT, "OT"},
      {"unknown method", event(EVTYPE_Reflective, EVSRC_Auto, 2.0f, static_cast<EnumLossMethods>(9)), lossMT, "OT"},
  };
  for (const Case& c : cases) {
    const auto t = FullTrace();
    c.tweak(*t);
    const auto sor = WriteAndLoad(t);
    EXPECT_EQ(c.read(*sor, *t), c.expected) << c.what;
  }
}

TEST_F(WriteTrace, TimeStampZeroTakesTheCurrentTime) {
  const auto t = FullTrace();
  t->SetTimeStamp(0);
  const double before = Now();
  const auto sor = WriteAndLoad(t);
  EXPECT_NEAR(t->TimeStamp(), before, 5.0 / 86400);
  EXPECT_NEAR(sor->FixedParamsBlock()->DateTime(), (t->TimeStamp() - 25569.0) * 86400, 1.0);
}

TEST_F(WriteTrace, NoSamplesWriteAnEmptyDataBlockAndOtherNamesTheOwnFormat) {
  const auto t = FullTrace();
  t->SetSamples(0);
  t->SetDataPointsPerPW(9);
  ops_.WriteTrace(t, Path("n.sor"), 0, 1, 0, 0);
  EXPECT_EQ(BlockBody(ReadFileBytes(Path("n.sor")), "DataPts"), EmptyDataPtsBody());

  // "x.SOR" is the trace's own format; the two flags change nothing.
  ops_.WriteTrace(t, Path("x.SOR"), 0, 1, 0, 0, true, true);
  ops_.WriteTrace(t, Path("y.SOR"), 0, 1, 0, 0, false, false);
  const Bytes x = ReadFileBytes(Path("x.SOR"));
  ASSERT_FALSE(x.empty());
  EXPECT_EQ(x.front(), '{');
  EXPECT_EQ(x, ReadFileBytes(Path("y.SOR")));
  EXPECT_EQ(ops_.ReadTrace(Path("x.SOR"))->DataPointsPerPW(), 9);
}

// A file kept by ReadTrace is found again by the trace's file title and written with
// what the trace does not carry; without it those fields take a new file's defaults.
TEST_F(WriteTrace, KeptFileKeepsItsUnwrittenFields) {
  SorFixture f;
  f.language = "DE", f.dataFlag = "RC", f.userOffset = 1234, f.mainframeSN = "SN-1", f.moduleSN = "SN-2";
  WriteFileBytes(Path("orig.sor"), f.Build());

  const auto plain = ops_.ReadTrace(Path("orig.sor"));
  ops_.WriteTrace(plain, Path("plain.sor"), 0, 1, 0, 0);
  auto sor = std::make_shared<CSORFile>();
  sor->LoadFromFile(Path("plain.sor"));
  EXPECT_EQ(sor->GenParamsBlock()->LanguageCode(), "EN");
  EXPECT_EQ(sor->SupParamsBlock()->OTDRMainframeSN(), " ");

  const auto kept = ops_.ReadTrace(Path("orig.sor"), true);
  kept->SetTraceComment("edited");
  ops_.WriteTrace(kept, Path("copy.sor"), 0, 1, 0, 0);
  ASSERT_EQ(ops_.SORFiles()->Count(), 1);
  EXPECT_EQ(ops_.SORFiles()->Item(1)->GenParamsBlock()->Comment(), "edited");  // changed in place
  sor = std::make_shared<CSORFile>();
  sor->LoadFromFile(Path("copy.sor"));
  EXPECT_EQ(sor->GenParamsBlock()->LanguageCode(), "DE");
  EXPECT_EQ(sor->GenParamsBlock()->CurrentDataFlag(), "RC");
  EXPECT_EQ(sor->GenParamsBlock()->UserOffset(), 1234);
  EXPECT_EQ(sor->SupParamsBlock()->OTDRMainframeSN(), "SN-1");
  EXPECT_EQ(sor->SupParamsBlock()->OpticalModuleSN(), "SN-2");
  EXPECT_EQ(sor->GenParamsBlock()->Comment(), "edited");
}

TEST_F(WriteTrace, OverflowsFailBeforeTheFileIsTouched) {
  struct Case {
    const char* what;
    std::function<void(CTrace&)> tweak;
    int32_t number;
  };
  const Case cases[] = {
      {"nominal 3300 x 10", [](CTrace& t) { t.SetActualWavelength(0), t.SetNominalWavelength(3300); }, 6},
      {"actual wavelength", [](CTrace& t) { t.SetActualWavelength(3300.0f); }, 6},
      {"range x 1000", [](CTrace& t) { t.SetAquisitionRange(2147484); }, 6},
      {"end-to-end loss 32.768 dB", [](CTrace& t) { t.SetEventEndLoss(32.768f); }, 6},
      {"unset attenuation", [](CTrace& t) { t.Events()->Item(1)->SetAttenDBperKM(9999.0f); }, 6},
      {"event loss", [](CTrace& t) { t.Events()->Item(1)->SetLoss(40.0f); }, 6},
      {"back scatter", [](CTrace& t) { t.SetBackScatterCoefficient(-3276.8f); }, 6},
      {"more than 32767 samples", [](CTrace& t) { t.SetSamples(32768); }, 6},
  };
  WriteFileBytes(Path("keep.sor"), {1, 2, 3});
  for (const Case& c : cases) {
    const auto t = FullTrace();
    c.tweak(*t);
    ClearLogFile();
    const Raised r = Capture([&] { ops_.WriteTrace(t, Path("keep.sor"), 0, 1, 0, 0); });
    EXPECT_EQ(r.number, c.number) << c.what;
    EXPECT_EQ(r.source, "CFileOperations:WriteTrace()") << c.what;
    const auto lines = LogLines();
    ASSERT_GE(lines.size(), 2u) << c.what;
    EXPECT_EQ(Fields(lines[lines.size() - 2])[3], "ConvertTracetoSOR()") << c.what;
    EXPECT_EQ(Fields(lines.back())[3], "WriteTrace()") << c.what;
    EXPECT_EQ(ReadFileBytes(Path("keep.sor")), (Bytes{1, 2, 3})) << c.what;
  }
  EXPECT_EQ(Capture([&] { ops_.WriteTrace(nullptr, Path("n.sor"), 0, 1, 0, 0); }).number, 91);
}

}  // namespace
}  // namespace tarnvik::testing
