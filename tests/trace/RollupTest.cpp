// Event editing on a trace: loss roll-up, reclassification by the reflectance threshold
// and the shift of reflectances to a new backscatter coefficient.
#include <gtest/gtest.h>

#include <memory>

#include "support/Fixtures.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

std::shared_ptr<CEvent> AddEvent(const std::shared_ptr<CTrace>& trace, float qrd, float level, float loss) {
  auto event = std::make_shared<CEvent>();
  event->SetLocationQRD(qrd);
  event->SetLevel(level);
  event->SetLoss(loss);
  trace->Events()->Add(event);
  return event;
}

std::shared_ptr<CEvent> AddTyped(const std::shared_ptr<CTrace>& trace, EnumEventTypes type, float reflectance) {
  auto event = std::make_shared<CEvent>();
  event->SetLocationQRD(static_cast<float>(trace->Events()->Count()) * 100.0f);
  event->SetEType(type);
  event->SetReflectance(reflectance);
  trace->Events()->Add(event);
  return event;
}

// A trace whose kilometre is about 979.34 QRD (group index 1.468).
std::shared_ptr<CTrace> KilometreTrace() {
  auto trace = std::make_shared<CTrace>();
  trace->SetGroupIndex(146800);
  return trace;
}

float Km(const std::shared_ptr<CTrace>& trace, float kilometres) {
  return trace->DisplayDistToQRD(kilometres, DU_Kilometers);
}

TEST(RollupLoss, NoEventsAndOneEvent) {
  auto trace = KilometreTrace();
  trace->RollupLoss(true);  // nothing to do, no error

  auto only = AddEvent(trace, 500.0f, 3.0f, 0.4f);
  only->SetCumulativeLoss(5.0f);
  only->SetLeadinLoss(7.0f);
  trace->RollupLoss(false);
  EXPECT_EQ(only->CumulativeLoss(), 0.0f);
  EXPECT_EQ(only->AttenDBperKM(), 9999.0f);  // untouched unless asked
  EXPECT_EQ(only->LeadinLoss(), 7.0f);
  EXPECT_EQ(only->Level(), 3.0f);
  trace->RollupLoss(true);
  EXPECT_EQ(only->AttenDBperKM(), 0.0f);
}

TEST(RollupLoss, FillsLevelsAttenuationsAndLosses) {
  auto trace = KilometreTrace();
  auto e1 = AddEvent(trace, 0.0f, 2.0f, 0.5f);
  auto e2 = AddEvent(trace, Km(trace, 1.0f), 0.0f, 0.1f);  // no level measured
  e2->SetAttenDBperKM(0.35f);
  auto e3 = AddEvent(trace, Km(trace, 2.0f), 3.5f, 0.2f);
  auto e4 = AddEvent(trace, Km(trace, 3.0f), 0.0f, 0.3f);
  e4->SetAttenDBperKM(-10.0f);
  trace->SetIsDirty(false);

  trace->RollupLoss(true);

  EXPECT_EQ(e1->CumulativeLoss(), 0.0f);
  EXPECT_EQ(e1->AttenDBperKM(), 0.0f);
  // Event 2: level extended from event 1 along its own attenuation; a filled level does
  // not recompute the attenuation.
  EXPECT_NEAR(e2->Level(), 2.85f, 1e-5f);
  EXPECT_EQ(e2->AttenDBperKM(), 0.35f);
  EXPECT_NEAR(e2->CumulativeLoss(), 2.85f + 0.1f - 2.0f, 1e-5f);
  EXPECT_NEAR(e2->LeadinLoss(), 2.0f + 0.5f - 2.85f, 1e-5f);
  // Event 3: measured level, attenuation recomputed with the level difference the other
  // way round: (2.85 + 0.1 - 3.5) / 1 km.
  EXPECT_NEAR(e3->AttenDBperKM(), -0.55f, 1e-5f);
  EXPECT_NEAR(e3->CumulativeLoss(), 3.5f + 0.2f - 2.0f, 1e-5f);
  EXPECT_NEAR(e3->LeadinLoss(), 2.85f + 0.1f - 3.5f, 1e-5f);
  // Event 4: the extended level would be 3.7 - 10 and is held at 0.
  EXPECT_EQ(e4->Level(), 0.0f);
  EXPECT_NEAR(e4->CumulativeLoss(), 0.3f - 2.0f, 1e-5f);
  EXPECT_NEAR(e4->LeadinLoss(), 3.5f + 0.2f, 1e-5f);
  // The event Lets report nothing, so the trace stays clean.
  EXPECT_FALSE(trace->IsDirty());
}

TEST(RollupLoss, AttenuationOnlyWhenAskedAndNotAcrossZeroLength) {
  auto trace = KilometreTrace();
  AddEvent(trace, 500.0f, 2.0f, 0.5f);
  auto same = AddEvent(trace, 500.0f, 3.0f, 0.0f);
  auto later = AddEvent(trace, 500.0f + Km(trace, 2.0f), 4.0f, 0.0f);

  trace->RollupLoss(false);
  EXPECT_EQ(same->AttenDBperKM(), 9999.0f);
  EXPECT_EQ(later->AttenDBperKM(), 9999.0f);

  trace->RollupLoss(true);
  EXPECT_EQ(same->AttenDBperKM(), 0.0f);  // same position: no division
  EXPECT_NEAR(later->AttenDBperKM(), (3.0f - 4.0f) / 2.0f, 1e-5f);
}

TEST(RollupLoss, LossMarkerStopsTheNextCarry) {
  auto trace = KilometreTrace();
  AddEvent(trace, 0.0f, 1.0f, 99999.0f);
  auto e2 = AddEvent(trace, 100.0f, 2.0f, 0.3f);
  auto e3 = AddEvent(trace, 200.0f, 4.0f, 0.25f);
  auto e4 = AddEvent(trace, 300.0f, 5.0f, 0.0f);
  trace->RollupLoss(false);
  // Event 2 still carries the marker loss of event 1; event 3 carries nothing instead of
  // event 2's 0.3; event 4 carries event 3's loss again.
  EXPECT_EQ(e2->LeadinLoss(), 1.0f + 99999.0f - 2.0f);
  EXPECT_EQ(e3->LeadinLoss(), 2.0f - 4.0f);
  EXPECT_EQ(e4->LeadinLoss(), 4.0f + 0.25f - 5.0f);
}

TEST(ReclassifyEvents, MovesBetweenReflectiveAndNonReflectiveByThreshold) {
  auto trace = std::make_shared<CTrace>();
  trace->SetReflectanceThreshold(-40.0f);
  trace->ReclassifyEvents();  // no events: nothing happens

  struct Case {
    EnumEventTypes before;
    float reflectance;
    EnumEventTypes after;
  };
  const Case cases[] = {
      {EVTYPE_Reflective, -45.0f, EVTYPE_NonReflective},
      {EVTYPE_NonReflective, -35.0f, EVTYPE_Reflective},
      {EVTYPE_Reflective, 2.0f, EVTYPE_NonReflective},      // 2.0: not measured
      {EVTYPE_NonReflective, 2.0f, EVTYPE_NonReflective},
      {EVTYPE_NonReflective, -40.0f, EVTYPE_Reflective},    // the threshold counts as reflective
      {EVTYPE_Reflective, -40.0f, EVTYPE_Reflective},
      {EVTYPE_Reflective, 3.0f, EVTYPE_Reflective},         // above 2.0 moves neither way
      {EVTYPE_NonReflective, 3.0f, EVTYPE_NonReflective},
      {EVTYPE_ReflectiveGainer, -45.0f, EVTYPE_NonReflectiveGainer},
      {EVTYPE_NonReflectiveGainer, -35.0f, EVTYPE_ReflectiveGainer},
      {EVTYPE_ReflectiveEnd, 2.0f, EVTYPE_NonReflectiveEnd},
      {EVTYPE_NonReflectiveEnd, -39.5f, EVTYPE_ReflectiveEnd},
      {EVTYPE_Multiple, -35.0f, EVTYPE_Multiple},
      {EVTYPE_End, -45.0f, EVTYPE_End},
      {EVTYPE_Start, 2.0f, EVTYPE_Start},
      {EVTYPE_Undefined, -35.0f, EVTYPE_Undefined},
      {EVTYPE_Clipped, -45.0f, EVTYPE_Clipped},
  };
  for (const Case& c : cases) AddTyped(trace, c.before, c.reflectance);
  trace->SetIsDirty(false);

  trace->ReclassifyEvents();
  for (int32_t i = 1; i <= trace->Events()->Count(); ++i) {
    const Case& c = cases[i - 1];
    EXPECT_EQ(trace->Events()->Item(i)->EType(), c.after)
        << "event " << i << " of type " << c.before << " with reflectance " << c.reflectance;
  }
  EXPECT_FALSE(trace->IsDirty());
}

TEST(RecalculateReflectance, ShiftsByOldLessNewCoefficientThenReclassifies) {
  auto trace = std::make_shared<CTrace>();
  trace->SetReflectanceThreshold(-40.0f);
  trace->SetBackScatterCoefficient(-80.0f);
  trace->RecalculateReflectance(-75.0f);  // no events: nothing happens

  auto moved = AddTyped(trace, EVTYPE_NonReflective, -45.0f);
  auto none = AddTyped(trace, EVTYPE_NonReflective, 0.0f);
  auto digit = AddTyped(trace, EVTYPE_Reflective, 5.0f);        // one character: kept
  auto two = AddTyped(trace, EVTYPE_Reflective, 2.0f);          // kept, then retyped
  auto negative = AddTyped(trace, EVTYPE_NonReflective, -5.0f); // two characters: shifted
  auto half = AddTyped(trace, EVTYPE_Reflective, 0.5f);

  trace->RecalculateReflectance(-75.0f);
  EXPECT_EQ(moved->Reflectance(), -40.0f);
  EXPECT_EQ(moved->EType(), EVTYPE_Reflective);
  EXPECT_EQ(none->Reflectance(), 0.0f);
  EXPECT_EQ(digit->Reflectance(), 5.0f);
  EXPECT_EQ(two->Reflectance(), 2.0f);
  EXPECT_EQ(two->EType(), EVTYPE_NonReflective);
  EXPECT_EQ(negative->Reflectance(), 0.0f);
  EXPECT_EQ(negative->EType(), EVTYPE_Reflective);
  EXPECT_EQ(half->Reflectance(), 5.5f);
  EXPECT_EQ(half->EType(), EVTYPE_Reflective);  // 5.5 is above 2.0: left as it is
}

}  // namespace
}  // namespace tarnvik::testing
