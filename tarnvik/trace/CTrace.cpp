#include "tarnvik/trace/CTrace.h"

#include <cmath>

#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEventPipe.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik {

namespace {

// Metres light covers in 5 ns in vacuum.
constexpr double kMetresPerQRDInVacuum = 1.49896229;
constexpr double kFeetPerMetre = 3.280839;
constexpr double kMetresPerMile = 1609.35;

void CheckRange(int32_t value, int32_t low, int32_t high, const char* description) {
  if (value < low || value > high) Raise(err::InvalidCall, description);
}

// Float bounds are compared as floats, so that a bound itself (65.535 dB, the largest
// threshold a file can carry) is accepted although its float is a hair beyond it.
void CheckRange(float value, float low, float high, const char* description) {
  if (!(value >= low && value <= high)) Raise(err::InvalidCall, description);
}

// A float result the platform could not hold is an overflow, not an infinity.
float CheckedFloat(double value) {
  const auto f = static_cast<float>(value);
  if (!std::isfinite(f)) Raise(err::Overflow);
  return f;
}

}  // namespace

CTrace::CTrace() {
  GuardedSwallow(kModule, "Class_Initialize()", OnFailure::ShowMessage, [&] {
    timeStamp_ = Now();
    events_ = std::make_shared<CEvents>();
    deletedEvents_ = std::make_shared<CEvents>();
    WireEvents();
  });
}

CTrace::~CTrace() {
  // Collections and pipes may outlive the trace in a client's hands: they must never call
  // back into it once it is gone.
  if (events_) events_->OnDirty.Disconnect(eventsConnection_);
  if (eventsPipe_) eventsPipe_->OnDirty.Disconnect(pipeConnection_);
}

void CTrace::WireEvents() {
  const auto markDirty = [this](bool bIsDirty) {
    if (bIsDirty) isDirty_ = true;  // without raising OnIsDirty
  };
  eventsConnection_ = events_->OnDirty.Connect(markDirty);
  eventsPipe_ = events_->moEventPipe();
  if (eventsPipe_) pipeConnection_ = eventsPipe_->OnDirty.Connect(markDirty);
}

void CTrace::SetIsDirty(bool value) {
  isDirty_ = value;
  OnIsDirty.Raise(value);
}

// ---- Stored values ------------------------------------------------------------------

void CTrace::SetPointsPerMeter(int32_t value) { SetOnChange(pointsPerMeter_, value); }

void CTrace::SetXAxisScaleFactor(float value) {
  xAxisScaleFactor_ = value;
  SetIsDirty(true);
}

void CTrace::SetMajorVersion(int32_t value) { SetOnChange(majorVersion_, value); }
void CTrace::SetMinorVersion(int32_t value) { SetOnChange(minorVersion_, value); }
void CTrace::SetRevision(int32_t value) { SetOnChange(revision_, value); }

void CTrace::SetTimeStamp(Date value) {
  timeStamp_ = value;
  SetIsDirty(true);
}

void CTrace::SetFileName(const std::string& value) { SetOnChange(fileName_, value); }
void CTrace::SetFileFormat(int32_t value) { SetOnChange(fileFormat_, value); }
void CTrace::SetLastChangedBy(int16_t value) { SetOnChange(lastChangedBy_, value); }

void CTrace::SetCRC(int32_t value) {
  Guarded(kModule, "Let CRC()", [&] {
    CheckRange(value, 0, 65535, "CRC must be between 0 and 65535");
    SetOnChange(crc_, value);
  });
}

void CTrace::SetLimitedText(std::string& field, const std::string& value, std::size_t maxChars) {
  if (value != field) {
    field = LeftChars(value, maxChars);
    SetIsDirty(true);
  }
}

void CTrace::SetCableID(const std::string& value) { SetLimitedText(cableID_, value, 30); }
void CTrace::SetCableType(const std::string& value) { SetLimitedText(cableType_, value, 30); }
void CTrace::SetTestSite(const std::string& value) { SetLimitedText(testSite_, value, 30); }
void CTrace::SetFarSite(const std::string& value) { SetLimitedText(farSite_, value, 30); }
void CTrace::SetTestedBy(const std::string& value) { SetLimitedText(testedBy_, value, 30); }
void CTrace::SetTraceComment(const std::string& value) { SetLimitedText(traceComment_, value, 90); }

void CTrace::SetLanguageCode(const std::string& value) {
  Guarded(kModule, "Let LanguageCode()", [&] {
    if (CharCount(value) != 2) Raise(err::InvalidCall, "Language Code must be two characters");
    SetOnChange(languageCode_, value);
  });
}

void CTrace::SetCurrentDataFlag(const std::string& value) {
  Guarded(kModule, "Let CurrentDataFlag()", [&] {
    if (CharCount(value) != 2) Raise(err::InvalidCall, "Current Data Flag must be two characters");
    SetOnChange(currentDataFlag_, value);
  });
}

void CTrace::SetFiberNumber(int32_t value) {
  Guarded(kModule, "Let FiberNumber()", [&] {
    CheckRange(value, 0, 65535, "Fiber Number must be between 0 and 65535");
    SetOnChange(fiberNumber_, value);
  });
}

void CTrace::SetFiberType(EnumFiberTypes value) { SetOnChange(fiberType_, value); }
void CTrace::SetAutoMode(int16_t value) { SetOnChange(autoMode_, value); }

void CTrace::SetFileDistUnits(int16_t value) {
  if (value != fileDistUnits_) {
    fileDistUnits_ = value;
    distanceUnits_ = static_cast<EnumDistanceUnits>(value);
    SetIsDirty(true);
  }
}

void CTrace::SetAquisitionOffset(int32_t value) { SetOnChange(aquisitionOffset_, value); }
void CTrace::SetDataPointsPerPW(int32_t value) { SetOnChange(dataPointsPerPW_, value); }

void CTrace::SetGroupIndex(int32_t value) {
  Guarded(kModule, "Let GroupIndex()", [&] {
    if (value == groupIndex_) return;
    if (value == 0) Raise(err::DivisionByZero);
    groupIndex_ = value;
    adjustedIOR_ = static_cast<float>(kMetresPerQRDInVacuum / value * 100000);
    distancePoints_.Reset(0);
    SetIsDirty(true);
  });
}

void CTrace::SetNumberOfAverages(int32_t value) { SetOnChange(numberOfAverages_, value); }
void CTrace::SetAquisitionRange(int32_t value) { SetOnChange(aquisitionRange_, value); }
void CTrace::SetFrontPanelOffset(int32_t value) { SetOnChange(frontPanelOffset_, value); }
void CTrace::SetNominalWavelength(int16_t value) { SetOnChange(nominalWavelength_, value); }
void CTrace::SetTotalNumberOfPulseWidths(int16_t value) { SetOnChange(totalNumberOfPulseWidths_, value); }

void CTrace::SetPulseWidth(int16_t value) {
  if (value == pulseWidth_) return;
  pulseWidth_ = value;
  switch (value) {
    case 20: pulseWidthIndex_ = PWI_20; break;
    case 100: pulseWidthIndex_ = PWI_100; break;
    case 400: pulseWidthIndex_ = PWI_400; break;
    case 1000: pulseWidthIndex_ = PWI_1000; break;
    case 2000: pulseWidthIndex_ = PWI_2000; break;
    case 4000: pulseWidthIndex_ = PWI_4000; break;
    default: break;  // a width outside the table keeps the index it had
  }
  SetIsDirty(true);
}

void CTrace::SetBackScatterCoefficient(float value) {
  backScatterCoefficient_ = value;
  SetIsDirty(true);
}

void CTrace::SetNoiseFloorLevel(int32_t value) {
  Guarded(kModule, "Let NoiseFloorLevel()", [&] {
    CheckRange(value, 0, 65535, "Noise Floor Level must be between 0 and 65535");
    SetOnChange(noiseFloorLevel_, value);
  });
}

void CTrace::SetPowerOffsetFirstPoint(int32_t value) {
  Guarded(kModule, "Let PowerOffsetFirstPoint()", [&] {
    CheckRange(value, 0, 65535, "Power Offset First Point must be between 0 and 65535");
    SetOnChange(powerOffsetFirstPoint_, value);
  });
}

void CTrace::SetReflectanceThreshold(float value) {
  Guarded(kModule, "Let ReflectanceThreshold()", [&] {
    if (!(value >= -65.535f && value <= 0.0f)) {
      Raise(err::InvalidCall, "Reflectance Threshold must be between 0 and -65.535. \"" + NumberText(value) +
                                  "\" is not allowed.");
    }
    SetOnChange(reflectanceThreshold_, value);
  });
}

void CTrace::SetEndofFiberThreshold(float value) {
  Guarded(kModule, "Let EndofFiberThreshold()", [&] {
    CheckRange(value, 0.0f, 65.535f, "End of Fiber Threshold must be between 0 and 65.535");
    SetOnChange(endofFiberThreshold_, value);
  });
}

void CTrace::SetLossThreshold(float value) {
  Guarded(kModule, "Let LossThreshold()", [&] {
    CheckRange(value, 0.0f, 65.535f, "Loss Threshold must be between 0 and 65.535");
    SetOnChange(lossThreshold_, value);
  });
}

void CTrace::SetEventEndLoss(float value) {
  eventEndLoss_ = value;
  SetIsDirty(true);
}

void CTrace::SetEventORL(float value) {
  Guarded(kModule, "Let EventORL()", [&] {
    CheckRange(value, 0.0f, 65.535f, "Event ORL must be between 0 and 65.535");
    SetOnChange(eventORL_, value);
  });
}

std::size_t CTrace::EventMarkSlot(int32_t lIndex) {
  if (lIndex < 1 || lIndex > 2) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(lIndex - 1);
}

int32_t CTrace::EventORLMark(int32_t lIndex) const {
  return Guarded(kModule, "Get EventORLMark()", [&] { return eventMarks_[EventMarkSlot(lIndex)]; });
}

void CTrace::SetEventORLMark(int32_t lIndex, int32_t value) {
  Guarded(kModule, "Let EventORLMark()", [&] { SetOnChange(eventMarks_[EventMarkSlot(lIndex)], value); });
}

int32_t CTrace::EventLossMark(int32_t lIndex) const {
  return Guarded(kModule, "Get EventLossMark()", [&] { return eventMarks_[EventMarkSlot(lIndex)]; });
}

void CTrace::SetEventLossMark(int32_t lIndex, int32_t value) {
  Guarded(kModule, "Let EventLossMark()", [&] { SetOnChange(eventMarks_[EventMarkSlot(lIndex)], value); });
}

// ---- Cursors ------------------------------------------------------------------------

std::size_t CTrace::CursorSlot(EnumCursors eCursor) const {
  if (eCursor != Acursor && eCursor != Bcursor) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(eCursor - 1);
}

float CTrace::CursorQRD(EnumCursors eCursor) const {
  return Guarded(kModule, "Get CursorQRD()", [&] { return cursorQRD_[CursorSlot(eCursor)]; });
}

void CTrace::SetCursorQRD(EnumCursors eCursor, float value) {
  Guarded(kModule, "Let CursorQRD()", [&] {
    const std::size_t slot = CursorSlot(eCursor);
    // Clamped at the end of the acquisition only; there is no lower clamp.
    if (value > static_cast<float>(aquisitionRange_)) value = static_cast<float>(aquisitionRange_);
    cursorQRD_[slot] = value;
  });
}

float CTrace::CursorDistance(EnumCursors eCursor) const {
  return Guarded(kModule, "Get CursorDistance()",
                 [&] { return QRDToDisplayDist(CursorQRD(eCursor), distanceUnits_); });
}

void CTrace::SetCursorDistance(EnumCursors eCursor, float value) {
  Guarded(kModule, "Let CursorDistance()",
          [&] { SetCursorQRD(eCursor, DisplayDistToQRD(value, distanceUnits_)); });
}

float CTrace::CursorLevel(EnumCursors eCursor) const {
  return Guarded(kModule, "Get CursorLevel()", [&] { return cursorLevel_[CursorSlot(eCursor)]; });
}

void CTrace::SetCursorLevel(EnumCursors eCursor, float value) {
  Guarded(kModule, "Let CursorLevel()", [&] { cursorLevel_[CursorSlot(eCursor)] = value; });
}

int32_t CTrace::ACursorRawData() const {
  return Guarded(kModule, "Get ACursorRawData()", [&] { return ToInt32(CursorQRD(Acursor) * 1000.0f); });
}

void CTrace::SetACursorRawData(int32_t value) {
  Guarded(kModule, "Let ACursorRawData()",
          [&] { SetCursorQRD(Acursor, static_cast<float>(static_cast<double>(value) / 1000)); });
}

int32_t CTrace::BCursorRawData() const {
  return Guarded(kModule, "Get BCursorRawData()", [&] { return ToInt32(CursorQRD(Bcursor) * 1000.0f); });
}

void CTrace::SetBCursorRawData(int32_t value) {
  Guarded(kModule, "Let BCursorRawData()",
          [&] { SetCursorQRD(Bcursor, static_cast<float>(static_cast<double>(value) / 1000)); });
}

// ---- Samples ------------------------------------------------------------------------
// With no samples each array holds one element at index 0, which reads 0.

void CTrace::SetSamples(int32_t value) {
  Guarded(kModule, "Let Samples()", [&] {
    dataPoints_.Reset(value);
    if (value == 0) distancePoints_.Reset(0);
    SetIsDirty(true);
  });
}

int32_t CTrace::DataPoints(int32_t lIndex) const {
  return Guarded(kModule, "Get DataPoints()", [&] {
    if (dataPoints_.Count() == 0 && lIndex == 0) return 0;
    return dataPoints_[lIndex];
  });
}

void CTrace::SetDataPoints(int32_t lIndex, int32_t value) {
  Guarded(kModule, "Let DataPoints()", [&] {
    if (dataPoints_.Count() == 0 && lIndex == 0) return;  // the placeholder element
    dataPoints_[lIndex] = value;
  });
}

std::vector<int32_t> CTrace::DataPointArray() const { return std::vector<int32_t>(dataPoints_.begin(), dataPoints_.end()); }

void CTrace::SetDataPointArray(const std::vector<int32_t>& values) {
  Guarded(kModule, "Let DataPointArray()", [&] {
    if (values.size() > static_cast<std::size_t>(dataPoints_.Count())) Raise(err::SubscriptOutOfRange);
    std::copy(values.begin(), values.end(), dataPoints_.begin());
  });
}

float CTrace::DistancePoints(int32_t lIndex) const {
  return Guarded(kModule, "Get DistancePoints()", [&] {
    if (distancePoints_.Count() == 0 && lIndex == 0) return 0.0f;
    return distancePoints_[lIndex];
  });
}

// ---- Conversions --------------------------------------------------------------------

float CTrace::QRDToDisplayDist(float fQRD, EnumDistanceUnits eDistanceUnits) const {
  return Guarded(kModule, "QRDToDisplayDist()", [&] {
    const float metres = fQRD * adjustedIOR_;
    switch (eDistanceUnits) {
      case DU_Kilometers: return CheckedFloat(metres * 0.001);
      case DU_Feet: return CheckedFloat(metres * kFeetPerMetre);
      case DU_Meters: return CheckedFloat(metres);
      case DU_Miles: return CheckedFloat(metres / kMetresPerMile);
      case DU_Kilofeet: return CheckedFloat(metres * kFeetPerMetre / 1000);
    }
    Raise(ERR_NotRecognized, "Unrecognized Distance Unit: " + std::to_string(static_cast<int32_t>(eDistanceUnits)));
  });
}

float CTrace::DisplayDistToQRD(float fDisplayDist, EnumDistanceUnits eDistanceUnits) const {
  return Guarded(kModule, "DisplayDistToQRD()", [&] {
    const auto qrd = [&]() -> double {
      if (adjustedIOR_ == 0) Raise(err::DivisionByZero);
      return static_cast<double>(fDisplayDist) / adjustedIOR_;
    };
    switch (eDistanceUnits) {
      case DU_Kilometers: return CheckedFloat(qrd() / 0.001);
      case DU_Feet: return CheckedFloat(qrd() / kFeetPerMetre);
      case DU_Meters: return CheckedFloat(qrd());
      case DU_Miles: return CheckedFloat(qrd() * kMetresPerMile);
      case DU_Kilofeet: return CheckedFloat(qrd() / kFeetPerMetre * 1000);
    }
    Raise(ERR_NotRecognized, "Unrecognized Distance Unit: " + std::to_string(static_cast<int32_t>(eDistanceUnits)));
  });
}

int32_t CTrace::QRDToPoint(float fQRD) const {
  return Guarded(kModule, "QRDToPoint()", [&] {
    if (aquisitionRange_ == 0) Raise(err::DivisionByZero);
    return ToInt32(static_cast<double>(fQRD) * Samples() / aquisitionRange_ + 0.5);
  });
}

float CTrace::QRDToFracPoint(float fQRD) const {
  return Guarded(kModule, "QRDToFracPoint()", [&] {
    if (aquisitionRange_ == 0) Raise(err::DivisionByZero);
    return CheckedFloat(static_cast<double>(fQRD) * Samples() / aquisitionRange_ + 1.0);
  });
}

float CTrace::PointToQRD(int32_t nPoint) const {
  return Guarded(kModule, "PointToQRD()", [&] {
    const int16_t point = CheckInt16(nPoint);
    if (Samples() == 0) Raise(err::DivisionByZero);
    const float product = static_cast<float>(aquisitionRange_) * static_cast<float>(point - 1);
    return CheckedFloat(static_cast<double>(product) / Samples());
  });
}

float CTrace::PointToDisplayDist(int32_t nPoint) const {
  return Guarded(kModule, "PointToDisplayDist()", [&] { return QRDToDisplayDist(PointToQRD(nPoint), distanceUnits_); });
}

float CTrace::QRDToPower(float fQRD) const {
  return Guarded(kModule, "QRDToPower()", [&] {
    const float f = QRDToFracPoint(fQRD);
    int32_t p = ToInt16(QRDToPoint(fQRD));
    const int32_t lower = Samples() == 0 ? 0 : 1;
    const int32_t upper = Samples();
    if (p < lower) p = lower;
    if (p > upper) p = upper;
    if (f >= static_cast<float>(Samples())) return static_cast<float>(DataPoints(Samples()));
    // p is a 16-bit index, so the one after it is too; the rise between the two samples
    // is a 32-bit difference. Either overflows (6) rather than wrapping.
    const int32_t here = DataPoints(p);
    const int32_t rise = CheckInt32(int64_t{DataPoints(CheckInt16(int64_t{p} + 1))} - here);
    return CheckedFloat(here + static_cast<double>(rise) * static_cast<double>(f - static_cast<float>(p)));
  });
}

void CTrace::CalculateDistancePoints() {
  Guarded(kModule, "CalculateDistancePoints()", [&] {
    const int32_t samples = Samples();
    distancePoints_.Reset(samples);
    for (int32_t i = 1; i <= samples; ++i) distancePoints_[i] = PointToDisplayDist(CheckInt16(i));
  });
}

// ---- Adding an event ----------------------------------------------------------------

int16_t CTrace::AddEvent(int32_t lStartQRD, int32_t lEndQRD, int32_t nLoss, EnumLossMethods eLossMethod,
                         EnumEventSources eSource, EnumEventTypes eEventType, int32_t lReflectance,
                         int32_t lStartLevel, const std::string& sComment) {
  return GuardedSwallow(kModule, "AddEvent()", OnFailure::ShowMessage, [&] {
    auto event = std::make_shared<CEvent>();
    event->SetLocationQRD(static_cast<float>(lStartQRD));
    event->SetLocationEndQRD(static_cast<float>(lEndQRD));
    event->SetLoss(static_cast<float>(CheckInt16(nLoss)) / 1000.0f);
    event->SetLossMT(eLossMethod);
    event->SetSource(eSource);
    event->SetEType(eEventType);
    event->SetReflectance(static_cast<float>(static_cast<double>(lReflectance) / 1000));
    event->SetLevel(static_cast<float>(static_cast<double>(lStartLevel) / 1000));
    event->SetComment(sComment);
    events_->Add(event);
    return event->Number();
  });
}

}  // namespace tarnvik
