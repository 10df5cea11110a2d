#include "tarnvik/sor/CKeyEvent.h"

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"

namespace tarnvik {

void CKeyEvent::SetEventCode(const std::string& value) {
  Guarded(kModule, "Let EventCode()", [&] {
    if (CharCount(value) != 6) Raise(err::InvalidCall, "EventCode must be 6 characters");
    eventCode_ = value;
  });
}

void CKeyEvent::SetLossMT(const std::string& value) {
  Guarded(kModule, "Let LossMT()", [&] {
    // A blank technique is taken as least squares without complaint.
    if (value.empty() || value == " " || value == "  ") {
      lossMT_ = "LS";
      return;
    }
    if (value != "2P" && value != "LS" && value != "OT") {
      Raise(err::InvalidCall, "LossMT must be \"2P\", \"LS\" or \"OT\". \"" + value + "\" is not allowed.");
    }
    lossMT_ = value;
  });
}

void CKeyEvent::SetEventType(const std::string& value) {
  Guarded(kModule, "Let EventType()", [&] {
    if (value != "2P" && value != "ST" && value != "EN" && value != "SI" && value != "MU") {
      Raise(err::InvalidCall, "EventType must be \"2P\", \"ST\", \"EN\", \"SI\" or \"MU\". \"" + value +
                                  "\" is not allowed.");
    }
    eventType_ = value;
  });
}

int32_t CKeyEvent::MarkerLocations(int32_t Index) const {
  return Guarded(kModule, "Get MarkerLocations()", [&] {
    if (Index < 1 || Index > kMarkerCount) Raise(err::SubscriptOutOfRange);
    return markerLocations_[static_cast<std::size_t>(Index - 1)];
  });
}

void CKeyEvent::SetMarkerLocations(int32_t Index, int32_t value) {
  Guarded(kModule, "Let MarkerLocations()", [&] {
    if (Index < 1 || Index > kMarkerCount) Raise(err::SubscriptOutOfRange);
    markerLocations_[static_cast<std::size_t>(Index - 1)] = value;
  });
}

bool CKeyEvent::IsEqualTo(const std::shared_ptr<CKeyEvent>& oKeyEvent) const {
  return Guarded(kModule, "IsEqualTo()", [&] {
    if (!oKeyEvent) Raise(err::ObjectNotSet);
    const CKeyEvent& o = *oKeyEvent;
    return attenCoefLeadinFiber_ == o.attenCoefLeadinFiber_ && comment_ == o.comment_ &&
           eventCode_ == o.eventCode_ && eventLoss_ == o.eventLoss_ && eventNumber_ == o.eventNumber_ &&
           eventPropagationTime_ == o.eventPropagationTime_ && eventReflectance_ == o.eventReflectance_ &&
           lossMT_ == o.lossMT_;
  });
}

void CKeyEvent::ReadRecordHead(BlockReader& r) {
  SetEventNumber(ToInt16(r.Signed(2)));
  SetEventPropagationTime(ToInt32(r.Signed(4)));
  SetAttenCoefLeadinFiber(ToInt16(r.Signed(2)));
  SetEventLoss(ToInt16(r.Signed(2)));
  SetEventReflectance(ToInt32(r.Signed(4)));
  SetEventCode(r.FixedText(6));
  SetLossMT(r.FixedText(2));
}

void CKeyEvent::WriteRecordHead(BlockWriter& w) const {
  w.Signed(eventNumber_, 2);
  w.Signed(eventPropagationTime_, 4);
  w.Signed(attenCoefLeadinFiber_, 2);
  w.Signed(eventLoss_, 2);
  w.Signed(eventReflectance_, 4);
  w.FixedText(eventCode_);
  w.FixedText(lossMT_);
}

}  // namespace tarnvik
