// SR-4731 key events to trace events: the six-character event code and the loss
// technique decide type, source and loss method; the vendor blocks add levels, event
// ends and least-squares markers where they can be trusted.
#include <cstdint>
#include <string>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/fileops/EventLevels.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

// The vendor copy of the events is used only while it matches the standard block event
// by event; otherwise it is cleared.
void DropVendorCopyUnlessEqual(CKeyEvents& vendor, const CKeyEvents& standard) {
  if (vendor.Count() != standard.Count()) {
    vendor.Clear();
    return;
  }
  for (int32_t i = 1; i <= vendor.Count(); ++i) {
    if (!vendor.Item(i)->IsEqualTo(standard.Item(i))) {
      vendor.Clear();
      return;
    }
  }
}

EnumEventTypes TypeFromVendorCode(const std::string& code) {
  if (code == "2P") return EVTYPE_NonReflective;
  if (code == "SI") return EVTYPE_NonReflective;
  if (code == "MU") return EVTYPE_Multiple;
  if (code == "ST") return EVTYPE_Start;
  if (code == "EN") return EVTYPE_End;
  return EVTYPE_Undefined;
}

float MillisToUnits(int32_t value) { return static_cast<float>(value / 1000.0); }
float QRDFromSORTime(int32_t value) { return MillisToUnits(SORTimeToQRD(value)); }

// Decodes the loss technique and the event code into the event's enumerations.
class EventCodeDecoder {
 public:
  EventCodeDecoder(CEvent& ev, const CKeyEvent& key, float threshold)
      : ev_(ev), technique_(key.LossMT()), c1_(CharAt(key.EventCode(), 0)), c2_(CharAt(key.EventCode(), 1)),
        threshold_(threshold) {}

  void Apply() {
    if (technique_ == "2P") {
      TwoPoint();
    } else if (technique_ == "LS" || technique_ == "  ") {
      LeastSquares();
    } else {
      ApplyRangeCode();
      ev_.SetSource(c2_ == 'F' ? EVSRC_Auto : c2_ == 'M' ? EVSRC_UserEdited : EVSRC_Manual);
    }
  }

 private:
  static char CharAt(const std::string& text, std::size_t i) { return i < text.size() ? text[i] : '\0'; }

  // A reflectance of exactly 0 stands for "not measured": the first character says why.
  void ApplyRangeCode() {
    if (ev_.Reflectance() != 0.0f) return;
    const EnumEventReflectances code = c1_ == '1' ? EVREFL_UnderRange : c1_ == '2' ? EVREFL_OverRange : EVREFL_NA;
    ev_.SetReflectance(static_cast<float>(code));
  }

  bool IsReflective() const { return ev_.Reflectance() >= threshold_ && ev_.Reflectance() != 2.0f; }

  void LeastSquares() {
    const bool end = c2_ == 'E' || c2_ == 'D';
    if (!end && c2_ != 'F' && c2_ != 'M' && c2_ != 'A') {
      ev_.SetLossMT(LOSS_Other);
      ev_.SetSource(EVSRC_Manual);
      ev_.SetEType(EVTYPE_Undefined);
      return;
    }
    ev_.SetLossMT(end ? LOSS_End : LOSS_Single);
    ev_.SetSource(c2_ == 'F' || c2_ == 'E' ? EVSRC_Auto : c2_ == 'A' ? EVSRC_Manual : EVSRC_UserEdited);
    ApplyRangeCode();
    const bool reflective = IsReflective();
    if (end) {
      ev_.SetEType(reflective ? EVTYPE_ReflectiveEnd : EVTYPE_NonReflectiveEnd);
    } else if (ev_.EType() != EVTYPE_Multiple) {
      ev_.SetEType(reflective ? EVTYPE_Reflective : EVTYPE_NonReflective);
    }
    if (!reflective && ev_.Reflectance() == 0.0f) ev_.SetReflectance(static_cast<float>(EVREFL_NA));
  }

  // The first character refines undefined and end events, and also non-reflective ones
  // into reflective ("1") or clipped ("2"): the vendor copy stores every single event as
  // "SI", read as non-reflective, so without it no reflective or clipped event written
  // with the two-point method would come back as such.
  void TwoPoint() {
    ev_.SetLossMT(LOSS_TwoPoint);
    switch (c2_) {
      case 'F': ev_.SetSource(EVSRC_Auto); break;
      case 'M': ev_.SetSource(EVSRC_UserEdited); break;
      case 'E': ev_.SetEType(EVTYPE_End); ev_.SetSource(EVSRC_Auto); break;
      case 'D': ev_.SetEType(EVTYPE_End); ev_.SetSource(EVSRC_Manual); break;
      default: ev_.SetSource(EVSRC_Manual); break;
    }
    const EnumEventTypes type = ev_.EType();
    if (c1_ == '1') {
      if (type == EVTYPE_End) ev_.SetEType(EVTYPE_ReflectiveEnd);
      if (type == EVTYPE_Undefined || type == EVTYPE_NonReflective) ev_.SetEType(EVTYPE_Reflective);
    } else if (c1_ == '2') {
      if (type == EVTYPE_Undefined || type == EVTYPE_NonReflective) ev_.SetEType(EVTYPE_Clipped);
    } else {
      if (type == EVTYPE_End) ev_.SetEType(EVTYPE_NonReflectiveEnd);
      if (type == EVTYPE_Undefined) ev_.SetEType(EVTYPE_NonReflective);
    }
    ApplyRangeCode();
  }

  CEvent& ev_;
  const std::string technique_;
  const char c1_;
  const char c2_;
  const float threshold_;
};

}  // namespace

void CFileOperations::ConvertSOREventsToTrace(const CSORFile& oSORFile, CTrace& oTrace) {
  Guarded(kModule, "ConvertSOREventsToTrace()", [&] {
    const auto block = oSORFile.KeyEventsBlock();
    if (!block) return;
    const CKeyEvents& keys = *block->KeyEvents();
    const auto orvik2 = oSORFile.Orvik2Block();
    const auto orvik = oSORFile.OrvikBlock();
    if (orvik2) DropVendorCopyUnlessEqual(*orvik2->Events(), keys);

    bool negativeLevel = false;
    const int16_t count = CheckInt16(keys.Count());
    for (int32_t i = 1; i <= count; ++i) {
      const CKeyEvent& key = *keys.Item(i);
      auto ev = std::make_shared<CEvent>();
      ev->SetNumber(key.EventNumber());
      ev->SetLocationQRD(static_cast<float>(SORTimeToQRD(key.EventPropagationTime())) / 1000.0f);
      ev->SetAttenDBperKM(MillisToUnits(key.AttenCoefLeadinFiber()));
      ev->SetLoss(static_cast<float>(key.EventLoss()) / 1000.0f);
      ev->SetReflectance(static_cast<float>(key.EventReflectance()) / 1000.0f);
      ev->SetComment(TrimBlanks(key.Comment()));
      ev->SetEType(EVTYPE_Undefined);
      if (orvik2 && orvik2->Events()->Count() > 0) {
        const CKeyEvent& vendor = *orvik2->Events()->Item(i);
        ev->SetEType(TypeFromVendorCode(vendor.EventType()));
        ev->SetLevel(MillisToUnits(vendor.EventLevel()));
        ev->SetLocationEndQRD(QRDFromSORTime(vendor.EventGroupEndTime()));
        ev->SetFarLeftLSAQRD(QRDFromSORTime(vendor.MarkerLocations(1)));
        ev->SetNearLeftLSAQRD(QRDFromSORTime(vendor.MarkerLocations(2)));
        ev->SetNearRightLSAQRD(QRDFromSORTime(vendor.MarkerLocations(3)));
        ev->SetFarRightLSAQRD(QRDFromSORTime(vendor.MarkerLocations(4)));
      } else if (orvik) {
        ev->SetLevel(MillisToUnits(orvik->EventLevels(i)));
      } else {
        ev->SetLevel(0.0f);
      }
      if (ev->Level() < 0.0f) negativeLevel = true;
      EventCodeDecoder(*ev, key, oTrace.ReflectanceThreshold()).Apply();
      oTrace.Events()->Add(ev);
    }
    oTrace.SetValidEventLevels(true);
    if (negativeLevel) RecomputeEventLevels(oTrace);

    oTrace.SetEventEndLoss(MillisToUnits(block->EndtoEndLoss()));
    oTrace.SetEventLossMark(1, SORTimeToQRD(block->EndtoEndMarkerPosStart()));
    oTrace.SetEventLossMark(2, SORTimeToQRD(block->EndtoEndMarkerPosEnd()));
    oTrace.SetEventORL(MillisToUnits(block->OpticalReturnLoss()));
    oTrace.SetEventORLMark(1, SORTimeToQRD(block->ORLMarkerPosStart()));
    oTrace.SetEventORLMark(2, SORTimeToQRD(block->ORLMarkerPosEnd()));
    // The attenuations read from the file are kept.
    oTrace.RollupLoss(false);
  });
}

}  // namespace tarnvik
