// The trace object: defaults, range rules, dirty counting, conversions with their
// rounding edges, cursors and the sample arrays.
#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik::testing {
namespace {

struct DirtyCounter {
  explicit DirtyCounter(CTrace& trace) {
    trace.OnIsDirty.Connect([this](bool value) {
      ++raised;
      last = value;
    });
  }
  int raised = 0;
  bool last = false;
};

// A trace of n samples over range QRD, with sample i = value(i).
std::shared_ptr<CTrace> MakeTrace(int32_t n, int32_t range, int32_t (*value)(int32_t)) {
  auto trace = std::make_shared<CTrace>();
  trace->SetGroupIndex(146800);
  trace->SetAquisitionRange(range);
  trace->SetSamples(n);
  for (int32_t i = 1; i <= n; ++i) trace->SetDataPoints(i, value(i));
  trace->SetIsDirty(false);
  return trace;
}

TEST(Trace, NewTraceDefaults) {
  CTrace trace;
  EXPECT_EQ(trace.Samples(), 0);
  EXPECT_EQ(trace.DataPoints(0), 0);
  EXPECT_EQ(Capture([&] { trace.DataPoints(1); }).number, 9);
  EXPECT_EQ(trace.TotalNumberOfPulseWidths(), 1);
  EXPECT_TRUE(trace.ValidEventLevels());
  EXPECT_FALSE(trace.IsDirty());
  EXPECT_EQ(trace.PulseWidthIndex(), 0);
  EXPECT_EQ(trace.Events()->Count(), 0);
  EXPECT_NE(trace.Events(), trace.DeletedEvents());
  EXPECT_EQ(trace.LanguageCode(), "");
  EXPECT_GT(trace.TimeStamp(), 43831.0);  // now, not zero
}

TEST(Trace, RangeRulesKeepTheOldValue) {
  CTrace trace;
  trace.SetReflectanceThreshold(-40.5f);
  EXPECT_RAISES(trace.SetReflectanceThreshold(0.5f), 5, "CTrace:Let ReflectanceThreshold()",
                "Reflectance Threshold must be between 0 and -65.535. \"0.5\" is not allowed.");
  EXPECT_EQ(trace.ReflectanceThreshold(), -40.5f);
  trace.SetReflectanceThreshold(-65.535f);  // the bounds are inclusive
  trace.SetReflectanceThreshold(0.0f);
  trace.SetLossThreshold(65.535f);
  trace.SetEventORL(65.535f);

  EXPECT_RAISES(trace.SetFiberNumber(65536), 5, "CTrace:Let FiberNumber()", "Fiber Number must be between 0 and 65535");
  EXPECT_RAISES(trace.SetNoiseFloorLevel(-1), 5, "CTrace:Let NoiseFloorLevel()",
                "Noise Floor Level must be between 0 and 65535");
  EXPECT_RAISES(trace.SetPowerOffsetFirstPoint(70000), 5, "CTrace:Let PowerOffsetFirstPoint()",
                "Power Offset First Point must be between 0 and 65535");
  EXPECT_RAISES(trace.SetCRC(-1), 5, "CTrace:Let CRC()", "CRC must be between 0 and 65535");
  EXPECT_RAISES(trace.SetEndofFiberThreshold(65.54f), 5, "CTrace:Let EndofFiberThreshold()",
                "End of Fiber Threshold must be between 0 and 65.535");
  EXPECT_RAISES(trace.SetLossThreshold(-0.001f), 5, "CTrace:Let LossThreshold()",
                "Loss Threshold must be between 0 and 65.535");
  EXPECT_RAISES(trace.SetEventORL(66.0f), 5, "CTrace:Let EventORL()", "Event ORL must be between 0 and 65.535");
  EXPECT_RAISES(trace.SetLanguageCode("E"), 5, "CTrace:Let LanguageCode()", "Language Code must be two characters");
  EXPECT_RAISES(trace.SetCurrentDataFlag("BCX"), 5, "CTrace:Let CurrentDataFlag()",
                "Current Data Flag must be two characters");
  trace.SetFiberNumber(65535);
  EXPECT_EQ(trace.FiberNumber(), 65535);
  EXPECT_EQ(trace.CRC(), 0);
}

TEST(Trace, DirtyEventCounting) {
  CTrace trace;
  DirtyCounter counter(trace);
  trace.SetGroupIndex(146800);
  trace.SetGroupIndex(146800);  // on change: once
  EXPECT_EQ(counter.raised, 1);
  trace.SetXAxisScaleFactor(2.0f);
  trace.SetXAxisScaleFactor(2.0f);  // always: twice more
  EXPECT_EQ(counter.raised, 3);
  trace.SetPulseWidth(50);  // not in the table: index unchanged, still dirty
  EXPECT_EQ(trace.PulseWidthIndex(), 0);
  EXPECT_EQ(counter.raised, 4);
  trace.SetPulseWidth(1000);
  EXPECT_EQ(trace.PulseWidthIndex(), PWI_1000);
  trace.SetPulseWidth(50);
  EXPECT_EQ(trace.PulseWidthIndex(), PWI_1000);
  EXPECT_EQ(counter.raised, 6);

  trace.SetIsDirty(false);
  trace.SetIsDirty(false);  // the internal setter raises every time
  EXPECT_EQ(counter.raised, 8);
  EXPECT_FALSE(counter.last);

  // Never-dirty properties.
  trace.SetDistanceUnits(DU_Feet);
  trace.SetActualWavelength(1550.5f);
  trace.SetCursorQRD(Acursor, 0);
  trace.SetMaxLossVal(3);
  trace.SetIsBaseLine(true);
  EXPECT_EQ(counter.raised, 8);
  EXPECT_FALSE(trace.IsDirty());

  // A text compares the whole new text with what is stored (its first 30 characters),
  // so a long text set twice marks the trace both times.
  const std::string longText(40, 'x');
  trace.SetCableID(longText);
  trace.SetCableID(longText);
  EXPECT_EQ(trace.CableID(), std::string(30, 'x'));
  EXPECT_EQ(counter.raised, 10);
  trace.SetTraceComment(std::string(100, 'c'));
  EXPECT_EQ(trace.TraceComment().size(), 90u);

  trace.SetFileDistUnits(DU_Miles);
  EXPECT_EQ(trace.DistanceUnits(), DU_Miles);
  trace.SetSamples(5);
  trace.SetSamples(5);  // always
  EXPECT_EQ(counter.raised, 14);

  trace.SetEventLossMark(2, 7);
  EXPECT_EQ(trace.EventORLMark(2), 7);  // one store under two names
  trace.SetEventORLMark(2, 7);
  EXPECT_EQ(counter.raised, 15);
}

// The two marker names share one store, but each is its own procedure: an error and its
// one log line name the procedure the client called.
class TraceLog : public TempDirTest {};

TEST_F(TraceLog, EachMarkerNameReportsItself) {
  CTrace trace;
  const std::pair<std::function<void()>, std::string> calls[] = {
      {[&] { trace.EventLossMark(3); }, "Get EventLossMark()"},
      {[&] { trace.SetEventLossMark(0, 1); }, "Let EventLossMark()"},
      {[&] { trace.EventORLMark(3); }, "Get EventORLMark()"},
      {[&] { trace.SetEventORLMark(0, 1); }, "Let EventORLMark()"},
  };
  for (const auto& [call, procedure] : calls) {
    EXPECT_RAISES(call(), 9, "CTrace:" + procedure, "Subscript out of range");
  }
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 4u);
  for (std::size_t i = 0; i < 4; ++i) EXPECT_EQ(Fields(lines[i])[3], calls[i].second);
}

TEST(Trace, EventsMarkTheTraceDirtyWithoutRaisingIsDirty) {
  auto trace = std::make_shared<CTrace>();
  DirtyCounter counter(*trace);
  auto event = std::make_shared<CEvent>();
  trace->Events()->Add(event);
  EXPECT_TRUE(trace->IsDirty());
  trace->SetIsDirty(false);
  event->SetLoss(1.5f);  // not reported
  EXPECT_FALSE(trace->IsDirty());
  event->SetComment("spliced");  // reported through the pipe
  EXPECT_TRUE(trace->IsDirty());
  EXPECT_EQ(counter.raised, 1);  // only the explicit SetIsDirty(false)

  // A collection the client keeps after the trace is gone must not call into it.
  auto events = trace->Events();
  trace.reset();
  events->Add(std::make_shared<CEvent>());
  event->SetComment("after");
}

TEST(Trace, Conversions) {
  CTrace trace;
  trace.SetGroupIndex(146800);
  EXPECT_EQ(trace.AdjustedIOR(), 1.0210915f);
  EXPECT_EQ(trace.QRDToDisplayDist(1000, DU_Kilometers), 1.0210915f);
  const float metres = 1000.0f * trace.AdjustedIOR();  // the product is formed as a float
  EXPECT_EQ(trace.QRDToDisplayDist(1000, DU_Meters), metres);
  EXPECT_EQ(trace.QRDToDisplayDist(1000, DU_Feet), static_cast<float>(metres * 3.280839));
  EXPECT_EQ(trace.QRDToDisplayDist(1000, DU_Miles), static_cast<float>(metres / 1609.35));
  EXPECT_EQ(trace.QRDToDisplayDist(1000, DU_Kilofeet), static_cast<float>(metres * 3.280839 / 1000));
  for (EnumDistanceUnits u : {DU_Kilometers, DU_Feet, DU_Meters, DU_Miles, DU_Kilofeet}) {
    EXPECT_NEAR(trace.DisplayDistToQRD(trace.QRDToDisplayDist(2500, u), u), 2500.0f, 0.01f) << u;
  }
  EXPECT_RAISES(trace.QRDToDisplayDist(1, static_cast<EnumDistanceUnits>(6)), 10001, "CTrace:QRDToDisplayDist()",
                "Unrecognized Distance Unit: 6");
  EXPECT_RAISES(trace.DisplayDistToQRD(1, static_cast<EnumDistanceUnits>(0)), 10001, "CTrace:DisplayDistToQRD()",
                "Unrecognized Distance Unit: 0");

  // No samples or no range: the divisions fail with 11.
  EXPECT_RAISES(trace.QRDToPoint(0), 11, "CTrace:QRDToPoint()", "Division by zero");
  EXPECT_RAISES(trace.PointToQRD(1), 11, "CTrace:PointToQRD()", "Division by zero");
  EXPECT_RAISES(trace.SetGroupIndex(0), 11, "CTrace:Let GroupIndex()", "Division by zero");
  EXPECT_EQ(trace.GroupIndex(), 146800);

  trace.SetAquisitionRange(1000);
  trace.SetSamples(100);  // 10 QRD per sample
  EXPECT_EQ(trace.QRDToPoint(0), 0);
  EXPECT_EQ(trace.QRDToFracPoint(0), 1.0f);
  EXPECT_EQ(trace.PointToQRD(1), 0.0f);
  EXPECT_EQ(trace.PointToQRD(11), 100.0f);
  EXPECT_EQ(trace.QRDToPoint(10), 2);   // 1 + 0.5 = 1.5 rounds to even: 2
  EXPECT_EQ(trace.QRDToPoint(20), 2);   // 2.5 rounds to even: 2
  EXPECT_EQ(trace.QRDToPoint(30), 4);   // 3.5 rounds to 4
  EXPECT_EQ(trace.QRDToFracPoint(25), 3.5f);
  EXPECT_EQ(Capture([&] { trace.PointToQRD(32768); }).number, 6);
  EXPECT_EQ(Capture([&] { trace.PointToDisplayDist(11); }).number, 10001);  // no display unit chosen yet
  trace.SetDistanceUnits(DU_Kilometers);
  EXPECT_EQ(trace.PointToDisplayDist(11), trace.QRDToDisplayDist(100, DU_Kilometers));
}

TEST(Trace, QRDToPowerInterpolates) {
  auto trace = MakeTrace(4, 40, [](int32_t i) { return i * 100; });  // 100 200 300 400, 10 QRD apart
  EXPECT_EQ(trace->QRDToPower(0), 100.0f);
  EXPECT_EQ(trace->QRDToPower(15), 250.0f);   // f = 2.5, p = 2
  EXPECT_EQ(trace->QRDToPower(10), 200.0f);   // at a sample: p may be one above, f - p is 0
  EXPECT_EQ(trace->QRDToPower(-10), 0.0f);    // f = 0 below the first sample, p clamped to 1
  EXPECT_EQ(trace->QRDToPower(30), 400.0f);   // f = 4 >= Samples: the last sample
  EXPECT_EQ(trace->QRDToPower(1000), 400.0f);

  // The rise between two samples is a 32-bit difference and the sample after p a 16-bit
  // index: beyond either width the result is an overflow, not a wrapped level.
  const auto extremes = MakeTrace(2, 10, [](int32_t i) { return i == 1 ? -2000000000 : 2000000000; });
  EXPECT_RAISES(extremes->QRDToPower(2), 6, "CTrace:QRDToPower()", "Overflow");
  const auto longTrace = MakeTrace(32768, 32768, [](int32_t i) { return i; });
  EXPECT_RAISES(longTrace->QRDToPower(32766.5f), 6, "CTrace:QRDToPower()", "Overflow");  // p = 32767
}

TEST(Trace, CursorsAndDistanceCache) {
  auto trace = MakeTrace(3, 3000, [](int32_t i) { return i; });
  trace->SetCursorQRD(Acursor, 5000);
  EXPECT_EQ(trace->CursorQRD(Acursor), 3000.0f);  // clamped to the range
  trace->SetCursorQRD(Bcursor, -20);
  EXPECT_EQ(trace->CursorQRD(Bcursor), -20.0f);  // no lower clamp
  EXPECT_RAISES(trace->SetCursorQRD(static_cast<EnumCursors>(3), 1), 9, "CTrace:Let CursorQRD()",
                "Subscript out of range");
  EXPECT_EQ(Capture([&] { trace->CursorQRD(static_cast<EnumCursors>(0)); }).number, 9);

  trace->SetACursorRawData(1234567);
  EXPECT_EQ(trace->CursorQRD(Acursor), 1234.567f);
  EXPECT_EQ(trace->ACursorRawData(), 1234567);
  trace->SetBCursorRawData(2500);
  EXPECT_EQ(trace->BCursorRawData(), 2500);
  trace->SetCursorLevel(Bcursor, 12.5f);
  EXPECT_EQ(trace->CursorLevel(Bcursor), 12.5f);
  EXPECT_EQ(trace->CursorLevel(Acursor), 0.0f);

  trace->SetDistanceUnits(DU_Meters);
  trace->SetCursorDistance(Acursor, 1021.0915f);
  EXPECT_NEAR(trace->CursorQRD(Acursor), 1000.0f, 0.001f);
  EXPECT_NEAR(trace->CursorDistance(Acursor), 1021.0915f, 0.001f);

  EXPECT_EQ(Capture([&] { trace->DistancePoints(1); }).number, 9);  // filled only on request
  trace->CalculateDistancePoints();
  EXPECT_EQ(trace->DistancePoints(1), 0.0f);
  EXPECT_EQ(trace->DistancePoints(2), trace->PointToDisplayDist(2));
  trace->SetGroupIndex(146000);  // a new index empties the cache
  EXPECT_RAISES(trace->DistancePoints(1), 9, "CTrace:Get DistancePoints()", "Subscript out of range");
  EXPECT_EQ(trace->DistancePoints(0), 0.0f);

  trace->CalculateDistancePoints();
  trace->SetSamples(2);  // reallocates the samples, leaves the cache
  EXPECT_EQ(trace->DataPoints(1), 0);
  EXPECT_EQ(trace->DistancePoints(3), trace->QRDToDisplayDist(2000, DU_Meters));
  trace->SetSamples(0);
  EXPECT_EQ(trace->DataPointArray().size(), 0u);
  EXPECT_EQ(Capture([&] { trace->DistancePoints(1); }).number, 9);
}

TEST(Trace, AddEventInsertsByPositionInThousandths) {
  auto trace = std::make_shared<CTrace>();
  EXPECT_EQ(trace->AddEvent(500, 520, 150, LOSS_TwoPoint, EVSRC_Manual, EVTYPE_NonReflective, -45000, 12000, "b"), 1);
  EXPECT_EQ(trace->AddEvent(100, 110, -20, LOSS_Single, EVSRC_Auto, EVTYPE_Reflective, 0, 0, "a"), 1);
  auto second = trace->Events()->Item(2);
  EXPECT_EQ(second->LocationQRD(), 500.0f);
  EXPECT_EQ(second->LocationEndQRD(), 520.0f);
  EXPECT_EQ(second->Loss(), 0.15f);
  EXPECT_EQ(second->Reflectance(), -45.0f);
  EXPECT_EQ(second->Level(), 12.0f);
  EXPECT_EQ(second->Comment(), "b");
  EXPECT_EQ(second->LossMT(), LOSS_TwoPoint);
  EXPECT_EQ(second->Number(), 2);

  // A loss beyond 16 bits is shown, not raised, and nothing is added.
  std::vector<std::string> shown;
  SetMessageBoxHandler([&](const std::string& text) { shown.push_back(text); });
  EXPECT_EQ(trace->AddEvent(1, 1, 40000, LOSS_TwoPoint, EVSRC_Manual, EVTYPE_End, 0, 0, ""), 0);
  SetMessageBoxHandler(FailOnMessageBox);
  EXPECT_EQ(shown.size(), 1u);
  EXPECT_EQ(trace->Events()->Count(), 2);

  CTraces traces;
  traces.Add(trace, "t1");
  EXPECT_EQ(traces.Item("T1"), trace);
}

}  // namespace
}  // namespace tarnvik::testing
