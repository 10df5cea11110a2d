#include "tarnvik/sor/COrvikBlock.h"

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/CKeyEventsBlock.h"

namespace tarnvik {

namespace {
constexpr const char* kBlockName = "Orvik";
}  // namespace

void COrvikBlock::SetEventCount(int16_t value) {
  Guarded(kModule, "Let EventCount()", [&] {
    eventLevels_.Resize(value);
  });
}

int32_t COrvikBlock::EventLevels(int32_t Index) const {
  return Guarded(kModule, "Get EventLevels()", [&] {
    return eventLevels_[Index];
  });
}

void COrvikBlock::SetEventLevels(int32_t Index, int32_t value) {
  Guarded(kModule, "Let EventLevels()", [&] {
    eventLevels_[Index] = value;
  });
}

void COrvikBlock::Parse(ByteArray& body, const CKeyEventsBlock* keyEvents) {
  const int32_t size = body.Count();
  ParseBody(kBlockName, body, size, 1, [&](BlockReader& r) {
    SetACursorLoc(ToInt32(r.Signed(4)));
    SetBCursorLoc(ToInt32(r.Signed(4)));
    // Both cursors were read, so the body has at least 8 bytes and the count is not
    // negative; an odd byte rounds half to even.
    SetEventCount(ToInt16((static_cast<double>(size) - 8) / 2));
    if (keyEvents != nullptr && keyEvents->KeyEvents()->Count() == EventCount()) {
      for (int32_t i = 1; i <= EventCount(); ++i) SetEventLevels(i, ToInt32(r.Unsigned(2)));
      return;
    }
    if (keyEvents == nullptr) Raise(err::ObjectNotSet);
    SetEventCount(ToInt16(keyEvents->KeyEvents()->Count()));
    for (int32_t i = 1; i <= EventCount(); ++i) SetEventLevels(i, 0);
  });
}

ByteArray COrvikBlock::Build(const CKeyEventsBlock* keyEvents) const {
  if (keyEvents == nullptr) Raise(err::ObjectNotSet);
  const int32_t size = 8 + 2 * static_cast<int32_t>(EventCount());
  const int32_t levels = keyEvents->KeyEvents()->Count();
  return BuildBody(kBlockName, size, [&](BlockWriter& w) {
    w.Signed(aCursorLoc_, 4);
    w.Signed(bCursorLoc_, 4);
    // One level per key event: with more key events than levels, reading the level
    // after the last fails (9) before anything is written past the body.
    for (int32_t i = 1; i <= levels; ++i) w.Unsigned(EventLevels(i), 2);
  });
}

}  // namespace tarnvik
