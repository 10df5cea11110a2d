#include "tarnvik/sor/CFixedParametersBlock.h"

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"

namespace tarnvik {

namespace {
// Body bytes without the pulse-width group, and the bytes of one group.
constexpr int32_t kFixedSize = 44;
constexpr int32_t kGroupSize = 10;
}  // namespace

CFixedParametersBlock::CFixedParametersBlock() {
  // The default time stamp is the day number of now, rounded to a whole day.
  dateTime_ = GuardedSwallow(kModule, "Class_Initialize()", OnFailure::ShowMessage, [] { return ToInt32(Now()); });
}

void CFixedParametersBlock::SetDistanceUnits(const std::string& value) {
  Guarded(kModule, "Let DistanceUnits()", [&] {
    if (CharCount(value) != 2) {
      Raise(err::InvalidCall, "Distance Units must be 2 characters. \"" + value + "\" is not allowed.");
    }
    distanceUnits_ = value;
  });
}

void CFixedParametersBlock::SetTotalNumberOfPulseWidths(int16_t value) {
  Guarded(kModule, "Let TotalNumberOfPulseWidths()", [&] {
    if (value != 0 && value != 1) {
      Raise(ERR_TotalPulseWidths,
            "TotalNumberOfPulseWidths can only be 0 or 1. " + std::to_string(value) + " is not allowed.");
    }
    totalNumberOfPulseWidths_ = value;
  });
}

void CFixedParametersBlock::RequireOnePulseWidth(const char* property) const {
  if (totalNumberOfPulseWidths_ != 1) {
    Raise(ERR_TotalPulseWidths,
          std::string("TotalNumberOfPulseWidths must be 1 to use the ") + property + " property");
  }
}

int16_t CFixedParametersBlock::PulseWidth() const {
  return Guarded(kModule, "Get PulseWidth()", [&] {
    RequireOnePulseWidth("PulseWidth");
    return pulseWidth_;
  });
}

void CFixedParametersBlock::SetPulseWidth(int16_t value) {
  Guarded(kModule, "Let PulseWidth()", [&] {
    RequireOnePulseWidth("PulseWidth");
    pulseWidth_ = value;
  });
}

int32_t CFixedParametersBlock::DataSpacing() const {
  return Guarded(kModule, "Get DataSpacing()", [&] {
    RequireOnePulseWidth("DataSpacing");
    return dataSpacing_;
  });
}

void CFixedParametersBlock::SetDataSpacing(int32_t value) {
  Guarded(kModule, "Let DataSpacing()", [&] {
    RequireOnePulseWidth("DataSpacing");
    dataSpacing_ = value;
  });
}

int32_t CFixedParametersBlock::NumberDataPoints() const {
  return Guarded(kModule, "Get NumberDataPoints()", [&] {
    RequireOnePulseWidth("NumberDataPoints");
    return numberDataPoints_;
  });
}

void CFixedParametersBlock::SetNumberDataPoints(int32_t value) {
  Guarded(kModule, "Let NumberDataPoints()", [&] {
    RequireOnePulseWidth("NumberDataPoints");
    numberDataPoints_ = value;
  });
}

void CFixedParametersBlock::SetNoiseFloorLevel(int32_t value) {
  Guarded(kModule, "Let NoiseFloorLevel()", [&] {
    if (value < 0 || value > 65535) Raise(ERR_NotSupported, "NoiseFloorLevel must be bewteen 0 and 65535");
    noiseFloorLevel_ = value;
  });
}

void CFixedParametersBlock::Parse(ByteArray& body) {
  ParseBody("Fixed Parameters", body, body.Count(), 1, [&](BlockReader& r) {
    SetDateTime(ToInt32(r.Signed(4)));
    SetDistanceUnits(r.FixedText(2));
    SetActualWavelength(ToInt16(r.Signed(2)));
    SetAcquisitionOffset(ToInt32(r.Signed(4)));
    SetTotalNumberOfPulseWidths(ToInt16(r.Signed(2)));
    // One group per pulse width; with at most one allowed, the loop runs 0 or 1 times.
    for (int16_t i = 0; i < totalNumberOfPulseWidths_; ++i) {
      SetPulseWidth(ToInt16(r.Signed(2)));
      SetDataSpacing(ToInt32(r.Signed(4)));
      SetNumberDataPoints(ToInt32(r.Signed(4)));
    }
    SetGroupIndex(ToInt32(r.Signed(4)));
    SetBackScatterCoefficient(ToInt16(r.Signed(2)));
    SetNumberOfAverages(ToInt32(r.Signed(4)));
    SetAcquisitionRange(ToInt32(r.Signed(4)));
    SetFrontPanelOffset(ToInt32(r.Signed(4)));
    SetNoiseFloorLevel(ToInt32(r.Unsigned(2)));
    SetNoiseFloorScaleFactor(ToInt16(r.Signed(2)));
    SetPowerOffsetFirstPoint(ToInt32(r.Unsigned(2)));
    SetLossThreshold(ToInt32(r.Unsigned(2)));
    SetReflectanceThreshold(ToInt32(r.Unsigned(2)));
    SetEndofFiberThreshold(ToInt32(r.Unsigned(2)));
  });
}

ByteArray CFixedParametersBlock::Build() const {
  const int32_t groups = totalNumberOfPulseWidths_ > 0 ? 1 : 0;
  const int32_t size = kFixedSize + kGroupSize * totalNumberOfPulseWidths_;
  return BuildBody("Fixed Parameters", size, [&](BlockWriter& w) {
    w.Signed(dateTime_, 4);
    w.FixedText(distanceUnits_);
    w.Signed(actualWavelength_, 2);
    w.Signed(acquisitionOffset_, 4);
    w.Signed(totalNumberOfPulseWidths_, 2);
    for (int32_t i = 0; i < groups; ++i) {
      w.Signed(pulseWidth_, 2);
      w.Signed(dataSpacing_, 4);
      w.Signed(numberDataPoints_, 4);
    }
    w.Signed(groupIndex_, 4);
    w.Signed(backScatterCoefficient_, 2);
    w.Signed(numberOfAverages_, 4);
    w.Signed(acquisitionRange_, 4);
    w.Signed(frontPanelOffset_, 4);
    w.Unsigned(noiseFloorLevel_, 2);
    w.Signed(noiseFloorScaleFactor_, 2);
    w.Unsigned(powerOffsetFirstPoint_, 2);
    w.Unsigned(lossThreshold_, 2);
    w.Unsigned(reflectanceThreshold_, 2);
    w.Unsigned(endofFiberThreshold_, 2);
  });
}

}  // namespace tarnvik
