#include "tarnvik/sor/CKeyEventsBlock.h"

#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/SorText.h"

namespace tarnvik {

namespace {

constexpr const char* kBlockName = "Key Events";

// Reflectances are negative figures; files that store them positive are corrected on
// load. 0, 1000 and 2000 stand for the over-range, under-range and not-available codes
// (0, 1 and 2), not for measurements, and are kept.
int32_t ReflectanceFromFile(int32_t stored) {
  const float r = static_cast<float>(stored) / 1000.0f;
  if (r == 2.0f || r == 0.0f || r == 1.0f || r < 0.0f) return stored;
  return -stored;  // stored is positive here, so the negation cannot overflow
}

}  // namespace

CKeyEventsBlock::CKeyEventsBlock() : keyEvents_(std::make_shared<CKeyEvents>()) {}

void CKeyEventsBlock::Parse(ByteArray& body) {
  keyEvents_->Clear();
  ParseBody(kBlockName, body, body.Count(), 1, [&](BlockReader& r) {
    // A count larger than the body holds ends in the past-size error at the first
    // record that does not fit; events are created one at a time, never in advance.
    const int32_t count = ToInt16(r.Signed(2));
    for (int32_t i = 1; i <= count; ++i) {
      auto event = std::make_shared<CKeyEvent>();
      event->ReadRecordHead(r);
      event->SetEventReflectance(ReflectanceFromFile(event->EventReflectance()));
      event->SetComment(r.Text());
      keyEvents_->Add(event);
    }
    SetEndtoEndLoss(ToInt32(r.Signed(4)));
    SetEndtoEndMarkerPosStart(ToInt32(r.Signed(4)));
    SetEndtoEndMarkerPosEnd(ToInt32(r.Signed(4)));
    SetOpticalReturnLoss(ToInt32(r.Unsigned(2)));
    SetORLMarkerPosStart(ToInt32(r.Signed(4)));
    SetORLMarkerPosEnd(ToInt32(r.Signed(4)));
  });
}

ByteArray CKeyEventsBlock::Build() const {
  int64_t size = 24;
  for (const auto& event : *keyEvents_) size += CKeyEvent::kRecordHeadSize + TextFieldSize(event->Comment());
  return BuildBody(kBlockName, ToInt32(static_cast<double>(size)), [&](BlockWriter& w) {
    w.Signed(keyEvents_->Count(), 2);
    for (const auto& event : *keyEvents_) {
      event->WriteRecordHead(w);
      w.Text(event->Comment());
    }
    w.Signed(endtoEndLoss_, 4);
    w.Signed(endtoEndMarkerPosStart_, 4);
    w.Signed(endtoEndMarkerPosEnd_, 4);
    w.Unsigned(opticalReturnLoss_, 2);
    w.Signed(orlMarkerPosStart_, 4);
    w.Signed(orlMarkerPosEnd_, 4);
  });
}

}  // namespace tarnvik
