#include "tarnvik/sor/COrvik2Block.h"

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/SorText.h"

namespace tarnvik {

namespace {

constexpr const char* kBlockName = "Orvik2";
constexpr int32_t kCursorSize = 4;
constexpr int32_t kMarkerCount = 5;
// An event record without its comment: the standard head, five markers, EventType,
// EventLevel and EventGroupEndTime.
constexpr int32_t kEventFixedSize = CKeyEvent::kRecordHeadSize + 4 * kMarkerCount + 2 + 2 + 4;

}  // namespace

COrvik2Block::COrvik2Block(int32_t revision) : revision_(revision), events_(std::make_shared<CKeyEvents>()) {}

void COrvik2Block::SetCursorCount(int16_t value) {
  Guarded(kModule, "Let CursorCount()", [&] {
    cursorLocations_.Resize(value);
  });
}

int32_t COrvik2Block::CursorLocation(int32_t Index) const {
  return Guarded(kModule, "Get CursorLocation()", [&] {
    return cursorLocations_[Index];
  });
}

void COrvik2Block::SetCursorLocation(int32_t Index, int32_t value) {
  Guarded(kModule, "Let CursorLocation()", [&] {
    cursorLocations_[Index] = value;
  });
}

void COrvik2Block::CheckHandled(const std::string& name) {
  if (name != "LastChangedBy" && name != "FiberID") {
    Raise(ERR_NotHandled, "Property Name not handled: " + name);
  }
}

bool COrvik2Block::IsSupported(const std::string& sPropertyName) const {
  return Guarded(kModule, "IsSupported()", [&] {
    CheckHandled(sPropertyName);
    return sPropertyName == "LastChangedBy" ? HasLastChangedBy() : HasFiberID();
  });
}

void COrvik2Block::SetIsSupported(const std::string& sPropertyName, bool bIsSupported) {
  Guarded(kModule, "Let IsSupported()", [&] {
    CheckHandled(sPropertyName);
    const bool lastChangedBy = sPropertyName == "LastChangedBy";
    if (bIsSupported) {
      revision_ = lastChangedBy ? 201 : 202;
    } else if (lastChangedBy && HasLastChangedBy()) {
      revision_ = 200;
    } else if (!lastChangedBy && HasFiberID()) {
      revision_ = 201;
    }
    if (revision_ < 200) revision_ = 200;
  });
}

void COrvik2Block::Parse(ByteArray& body) {
  const int32_t size = body.Count();
  events_->Clear();
  ParseBody(kBlockName, body, size, 1, [&](BlockReader& r) {
    SetBlockID(r.Text());

    // The count is assigned before its cursors are read, so a body that holds fewer
    // keeps the count and the cursors read before the one missing. A negative count
    // cannot dimension the cursors: 9, reported as reading past the block.
    SetCursorCount(ToInt16(r.Signed(2)));
    for (int32_t i = 1; i <= CursorCount(); ++i) SetCursorLocation(i, ToInt32(r.Signed(kCursorSize)));

    // Events are created one record at a time: a count larger than the body holds ends
    // at the first record that does not fit.
    const int16_t events = ToInt16(r.Signed(2));
    for (int32_t i = 1; i <= events; ++i) {
      auto event = std::make_shared<CKeyEvent>();
      event->ReadRecordHead(r);
      for (int32_t m = 1; m <= kMarkerCount; ++m) event->SetMarkerLocations(m, ToInt32(r.Signed(4)));
      event->SetComment(r.Text());
      event->SetEventType(r.FixedText(2));
      event->SetEventLevel(ToInt32(r.Unsigned(2)));
      event->SetEventGroupEndTime(ToInt32(r.Signed(4)));
      events_->Add(event);
    }

    if (HasLastChangedBy()) SetLastChangedBy(ToInt16(r.Signed(2)));
    if (HasFiberID()) SetFiberID(ToInt16(r.Signed(2)));
  });
}

ByteArray COrvik2Block::Build() const {
  int64_t size = TextFieldSize(blockID_) + 4 + int64_t{kCursorSize} * CursorCount();
  for (const auto& event : *events_) size += kEventFixedSize + TextFieldSize(event->Comment());
  if (HasLastChangedBy()) size += 2;
  if (HasFiberID()) size += 2;
  return BuildBody(kBlockName, ToInt32(static_cast<double>(size)), [&](BlockWriter& w) {
    w.Text(blockID_);
    w.Signed(CursorCount(), 2);
    for (const int32_t location : cursorLocations_) w.Signed(location, kCursorSize);
    w.Signed(events_->Count(), 2);
    for (const auto& event : *events_) {
      event->WriteRecordHead(w);
      for (int32_t m = 1; m <= kMarkerCount; ++m) w.Signed(event->MarkerLocations(m), 4);
      w.Text(event->Comment());
      w.FixedText(event->EventType());
      w.Unsigned(event->EventLevel(), 2);
      w.Signed(event->EventGroupEndTime(), 4);
    }
    if (HasLastChangedBy()) w.Signed(lastChangedBy_, 2);
    if (HasFiberID()) w.Signed(fiberID_, 2);
  });
}

}  // namespace tarnvik
