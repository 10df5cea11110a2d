// The "FxdParams" block: the acquisition settings of the trace (time stamp, units,
// wavelength, pulse width and sampling, group index, averaging, range, thresholds).
#pragma once

#include <cstdint>
#include <string>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CFixedParametersBlock {
 public:
  // DateTime starts as today's date as a whole day number.
  CFixedParametersBlock();
  CFixedParametersBlock(const CFixedParametersBlock&) = delete;
  CFixedParametersBlock& operator=(const CFixedParametersBlock&) = delete;

  // A whole day number counted from 30 December 1899, not seconds.
  int32_t DateTime() const { return dateTime_; }
  void SetDateTime(int32_t value) { dateTime_ = value; }
  // Exactly two characters; anything else raises 5.
  const std::string& DistanceUnits() const { return distanceUnits_; }
  void SetDistanceUnits(const std::string& value);
  int16_t ActualWavelength() const { return actualWavelength_; }
  void SetActualWavelength(int16_t value) { actualWavelength_ = value; }
  int32_t AcquisitionOffset() const { return acquisitionOffset_; }
  void SetAcquisitionOffset(int32_t value) { acquisitionOffset_ = value; }

  // The library keeps at most one pulse width: 0 or 1, anything else raises 10516.
  int16_t TotalNumberOfPulseWidths() const { return totalNumberOfPulseWidths_; }
  void SetTotalNumberOfPulseWidths(int16_t value);
  // The single pulse width's settings; reading or writing them while
  // TotalNumberOfPulseWidths is not 1 raises 10516.
  int16_t PulseWidth() const;
  void SetPulseWidth(int16_t value);
  int32_t DataSpacing() const;
  void SetDataSpacing(int32_t value);
  int32_t NumberDataPoints() const;
  void SetNumberDataPoints(int32_t value);

  int32_t GroupIndex() const { return groupIndex_; }
  void SetGroupIndex(int32_t value) { groupIndex_ = value; }
  int16_t BackScatterCoefficient() const { return backScatterCoefficient_; }
  void SetBackScatterCoefficient(int16_t value) { backScatterCoefficient_ = value; }
  int32_t NumberOfAverages() const { return numberOfAverages_; }
  void SetNumberOfAverages(int32_t value) { numberOfAverages_ = value; }
  int32_t AcquisitionRange() const { return acquisitionRange_; }
  void SetAcquisitionRange(int32_t value) { acquisitionRange_ = value; }
  int32_t FrontPanelOffset() const { return frontPanelOffset_; }
  void SetFrontPanelOffset(int32_t value) { frontPanelOffset_ = value; }
  // 0..65535; anything else raises 10514.
  int32_t NoiseFloorLevel() const { return noiseFloorLevel_; }
  void SetNoiseFloorLevel(int32_t value);
  int16_t NoiseFloorScaleFactor() const { return noiseFloorScaleFactor_; }
  void SetNoiseFloorScaleFactor(int16_t value) { noiseFloorScaleFactor_ = value; }

  // Unsigned 16-bit in the file, hence 32-bit here. Any value is accepted; one that does
  // not fit the file field makes Build() raise 6.
  int32_t PowerOffsetFirstPoint() const { return powerOffsetFirstPoint_; }
  void SetPowerOffsetFirstPoint(int32_t value) { powerOffsetFirstPoint_ = value; }
  int32_t LossThreshold() const { return lossThreshold_; }
  void SetLossThreshold(int32_t value) { lossThreshold_ = value; }
  int32_t ReflectanceThreshold() const { return reflectanceThreshold_; }
  void SetReflectanceThreshold(int32_t value) { reflectanceThreshold_ = value; }
  int32_t EndofFiberThreshold() const { return endofFiberThreshold_; }
  void SetEndofFiberThreshold(int32_t value) { endofFiberThreshold_ = value; }

  // Library-internal: the block body (indexed from 1) in and out. Parse assigns every
  // field through its property, so the property rules apply to a file's values too.
  void Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  static constexpr const char* kModule = "CFixedParametersBlock";

  // Raises 10516 naming the property unless there is exactly one pulse width.
  void RequireOnePulseWidth(const char* property) const;

  int32_t dateTime_ = 0;
  std::string distanceUnits_ = "km";
  int16_t actualWavelength_ = 13100;
  int32_t acquisitionOffset_ = 0;
  int16_t totalNumberOfPulseWidths_ = 1;
  int16_t pulseWidth_ = 100;
  int32_t dataSpacing_ = 0;
  int32_t numberDataPoints_ = 0;
  int32_t groupIndex_ = 149896;
  int16_t backScatterCoefficient_ = 800;
  int32_t numberOfAverages_ = 0;
  int32_t acquisitionRange_ = 0;
  int32_t frontPanelOffset_ = 0;
  int32_t noiseFloorLevel_ = 0;
  int16_t noiseFloorScaleFactor_ = 1000;
  int32_t powerOffsetFirstPoint_ = 0;
  int32_t lossThreshold_ = 200;
  int32_t reflectanceThreshold_ = 40000;
  int32_t endofFiberThreshold_ = 3000;
};

}  // namespace tarnvik
