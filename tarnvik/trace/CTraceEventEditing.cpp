// The trace's event editing: loss roll-up along the events, reclassification by the
// reflectance threshold, and the shift of stored reflectances to a new backscatter
// coefficient. All event arithmetic is in 32-bit floats, as the events store it.
#include <memory>

#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

// Event walks use a 16-bit index, so a collection of more than 32767 events overflows (6).
int16_t EventLoopEnd(CEvents& events) { return CheckInt16(events.Count()); }

// A reflectance of exactly 2.0 marks an event whose reflectance was not measured.
constexpr float kNoReflectance = 2.0f;

}  // namespace

void CTrace::RollupLoss(bool bRecalcAttenuation) {
  Guarded(kModule, "RollupLoss()", [&] {
    CEvents& events = *events_;
    const int16_t count = EventLoopEnd(events);
    if (count == 0) return;

    const std::shared_ptr<CEvent> first = events.Item(1);
    first->SetCumulativeLoss(0.0f);
    if (bRecalcAttenuation) first->SetAttenDBperKM(0.0f);

    // The loss carried into the next lead-in: the previous event's loss, except right
    // after a loss of 99999, which marks a loss that must not be carried.
    float carried = 0.0f;
    for (int32_t i = 2; i <= count; ++i) {
      const std::shared_ptr<CEvent> cur = events.Item(i);
      const std::shared_ptr<CEvent> prev = events.Item(i - 1);
      const float dCur = QRDToDisplayDist(cur->LocationQRD(), DU_Kilometers);
      const float dPrev = QRDToDisplayDist(prev->LocationQRD(), DU_Kilometers);
      const float span = dCur - dPrev;

      if (cur->Level() == 0.0f) {
        // No measured level: extend the previous one along the section's attenuation.
        const float level = prev->Level() + prev->Loss() + span * cur->AttenDBperKM();
        cur->SetLevel(level);
        if (cur->Level() < 0.0f) cur->SetLevel(0.0f);
      } else if (bRecalcAttenuation) {
        if (span == 0.0f) {
          cur->SetAttenDBperKM(0.0f);
        } else {
          // Deliberately not the inverse of the extension above: the level difference
          // enters with the opposite sign, as stored attenuations always have.
          cur->SetAttenDBperKM((prev->Level() + prev->Loss() - cur->Level()) / span);
        }
      }

      cur->SetCumulativeLoss(cur->Level() + cur->Loss() - first->Level());
      carried = carried == 99999.0f ? 0.0f : prev->Loss();
      cur->SetLeadinLoss(prev->Level() + carried - cur->Level());
    }
  });
}

void CTrace::ReclassifyEvents() {
  Guarded(kModule, "ReclassifyEvents()", [&] {
    CEvents& events = *events_;
    const int16_t count = EventLoopEnd(events);
    for (int32_t i = 1; i <= count; ++i) {
      const std::shared_ptr<CEvent> event = events.Item(i);
      const float r = event->Reflectance();
      const float threshold = ReflectanceThreshold();
      const bool reflective = r >= threshold && r < kNoReflectance;
      const bool nonReflective = r < threshold || r == kNoReflectance;
      switch (event->EType()) {
        case EVTYPE_NonReflective:
          if (reflective) event->SetEType(EVTYPE_Reflective);
          break;
        case EVTYPE_NonReflectiveGainer:
          if (reflective) event->SetEType(EVTYPE_ReflectiveGainer);
          break;
        case EVTYPE_NonReflectiveEnd:
          if (reflective) event->SetEType(EVTYPE_ReflectiveEnd);
          break;
        case EVTYPE_Reflective:
          if (nonReflective) event->SetEType(EVTYPE_NonReflective);
          break;
        case EVTYPE_ReflectiveGainer:
          if (nonReflective) event->SetEType(EVTYPE_NonReflectiveGainer);
          break;
        case EVTYPE_ReflectiveEnd:
          if (nonReflective) event->SetEType(EVTYPE_NonReflectiveEnd);
          break;
        default:
          break;  // the other kinds have no reflective counterpart
      }
    }
  });
}

void CTrace::RecalculateReflectance(float fOldBackScatterVal) {
  Guarded(kModule, "RecalculateReflectance()", [&] {
    CEvents& events = *events_;
    const int16_t count = EventLoopEnd(events);
    for (int32_t i = 1; i <= count; ++i) {
      const std::shared_ptr<CEvent> event = events.Item(i);
      const float r = event->Reflectance();
      // A reflectance written as a single character (0 above all, meaning none) is no
      // measurement and is left as it is.
      if (NumberText(r).size() < 2) continue;
      event->SetReflectance(r + fOldBackScatterVal - BackScatterCoefficient());
    }
    ReclassifyEvents();
  });
}

}  // namespace tarnvik
