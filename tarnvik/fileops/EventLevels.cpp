#include "tarnvik/fileops/EventLevels.h"

#include <cstdint>

#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

void RecomputeEventLevels(CTrace& trace) {
  constexpr float kUnsetAttenuation = 9999.0f;
  CEvents& events = *trace.Events();
  const int16_t count = CheckInt16(events.Count());
  for (int32_t i = 2; i <= count; ++i) {
    const auto cur = events.Item(i);
    const auto prev = events.Item(i - 1);
    const float span = trace.QRDToDisplayDist(cur->LocationQRD(), DU_Kilometers) -
                       trace.QRDToDisplayDist(prev->LocationQRD(), DU_Kilometers);
    const float atten = cur->AttenDBperKM() == kUnsetAttenuation ? 0.0f : cur->AttenDBperKM();
    const float level = prev->Level() + prev->Loss() + span * atten;
    cur->SetLevel(level < 0.0f ? 0.0f : level);
  }
}

}  // namespace tarnvik
