// One OTDR measurement as clients use it: the acquisition's header values, the samples
// (thousandths of a dB, indexed from 1; a larger value is less power), two cursors, the
// key events, and the conversions between sample indexes, QRD positions (5 ns of
// one-way travel time), display distances and levels.
//
// Dirty tracking: a Let that changes the trace goes through SetIsDirty(true), which
// raises OnIsDirty on every call, changed or not. Properties marked "dirty on change"
// do that only when the new value differs; "always" ones on every Let; the others never.
// A change reported by the Events collection sets the flag without raising OnIsDirty.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/IndexedArray.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik {

class CEvents;
class CEventPipe;

class CTrace {
 public:
  CTrace();
  ~CTrace();
  CTrace(const CTrace&) = delete;
  CTrace& operator=(const CTrace&) = delete;

  // ---- State flags --------------------------------------------------------------------
  bool ValidEventLevels() const { return validEventLevels_; }
  void SetValidEventLevels(bool value) { validEventLevels_ = value; }  // library-internal
  bool IsBaseLine() const { return isBaseLine_; }
  void SetIsBaseLine(bool value) { isBaseLine_ = value; }
  bool IsDirty() const { return isDirty_; }
  // Library-internal: stores the flag and raises OnIsDirty, every time.
  void SetIsDirty(bool value);
  bool MustDeleteAllEvents() const { return mustDeleteAllEvents_; }
  void SetMustDeleteAllEvents(bool value) { mustDeleteAllEvents_ = value; }
  bool LaunchCable() const { return launchCable_; }
  void SetLaunchCable(bool value) { launchCable_ = value; }
  bool ReceiveCable() const { return receiveCable_; }
  void SetReceiveCable(bool value) { receiveCable_ = value; }

  // ---- Events -------------------------------------------------------------------------
  std::shared_ptr<CEvents> Events() const { return events_; }
  std::shared_ptr<CEvents> DeletedEvents() const { return deletedEvents_; }

  // ---- File and version (dirty on change unless noted) --------------------------------
  int32_t PointsPerMeter() const { return pointsPerMeter_; }
  void SetPointsPerMeter(int32_t value);
  float XAxisScaleFactor() const { return xAxisScaleFactor_; }
  void SetXAxisScaleFactor(float value);  // always dirty
  int32_t MajorVersion() const { return majorVersion_; }
  void SetMajorVersion(int32_t value);
  int32_t MinorVersion() const { return minorVersion_; }
  void SetMinorVersion(int32_t value);
  int32_t Revision() const { return revision_; }
  void SetRevision(int32_t value);
  Date TimeStamp() const { return timeStamp_; }
  void SetTimeStamp(Date value);  // always dirty
  const std::string& FileName() const { return fileName_; }
  void SetFileName(const std::string& value);
  int32_t FileFormat() const { return fileFormat_; }
  void SetFileFormat(int32_t value);
  // True when FileFormat is 170 or more.
  bool LaunchReceiveCableSupport() const { return fileFormat_ >= 170; }
  int16_t LastChangedBy() const { return lastChangedBy_; }
  void SetLastChangedBy(int16_t value);
  // 0..65535 (error 5 otherwise).
  int32_t CRC() const { return crc_; }
  void SetCRC(int32_t value);

  // ---- Identification texts (dirty on change) -----------------------------------------
  // Kept to their first 30 characters; TraceComment to 90.
  const std::string& CableID() const { return cableID_; }
  void SetCableID(const std::string& value);
  const std::string& CableType() const { return cableType_; }
  void SetCableType(const std::string& value);
  const std::string& TestSite() const { return testSite_; }
  void SetTestSite(const std::string& value);
  const std::string& FarSite() const { return farSite_; }
  void SetFarSite(const std::string& value);
  const std::string& TestedBy() const { return testedBy_; }
  void SetTestedBy(const std::string& value);
  const std::string& TraceComment() const { return traceComment_; }
  void SetTraceComment(const std::string& value);
  // Exactly two characters (error 5 otherwise).
  const std::string& LanguageCode() const { return languageCode_; }
  void SetLanguageCode(const std::string& value);
  const std::string& CurrentDataFlag() const { return currentDataFlag_; }
  void SetCurrentDataFlag(const std::string& value);

  // ---- Fibre and acquisition (dirty on change unless noted) ---------------------------
  // 0..65535 (error 5 otherwise).
  int32_t FiberNumber() const { return fiberNumber_; }
  void SetFiberNumber(int32_t value);
  EnumFiberTypes FiberType() const { return fiberType_; }
  void SetFiberType(EnumFiberTypes value);
  int16_t AutoMode() const { return autoMode_; }
  void SetAutoMode(int16_t value);
  // Setting it also sets DistanceUnits to the same number.
  int16_t FileDistUnits() const { return fileDistUnits_; }
  void SetFileDistUnits(int16_t value);
  EnumDistanceUnits DistanceUnits() const { return distanceUnits_; }
  void SetDistanceUnits(EnumDistanceUnits value) { distanceUnits_ = value; }  // never dirty
  int32_t AquisitionOffset() const { return aquisitionOffset_; }
  void SetAquisitionOffset(int32_t value);
  int32_t DataPointsPerPW() const { return dataPointsPerPW_; }
  void SetDataPointsPerPW(int32_t value);
  // Group index times 100000. A change recomputes AdjustedIOR and empties the
  // DistancePoints cache; 0 raises 11.
  int32_t GroupIndex() const { return groupIndex_; }
  void SetGroupIndex(int32_t value);
  // Metres per QRD: 1.49896229 / GroupIndex x 100000, as a 32-bit float.
  float AdjustedIOR() const { return adjustedIOR_; }
  int32_t NumberOfAverages() const { return numberOfAverages_; }
  void SetNumberOfAverages(int32_t value);
  // The span, in QRD, that the samples cover.
  int32_t AquisitionRange() const { return aquisitionRange_; }
  void SetAquisitionRange(int32_t value);
  int32_t FrontPanelOffset() const { return frontPanelOffset_; }
  void SetFrontPanelOffset(int32_t value);
  int16_t NominalWavelength() const { return nominalWavelength_; }
  void SetNominalWavelength(int16_t value);
  float ActualWavelength() const { return actualWavelength_; }
  void SetActualWavelength(float value) { actualWavelength_ = value; }  // never dirty
  int16_t TotalNumberOfPulseWidths() const { return totalNumberOfPulseWidths_; }
  void SetTotalNumberOfPulseWidths(int16_t value);
  // A change also sets PulseWidthIndex for 20, 100, 400, 1000, 2000 and 4000 ns; other
  // widths leave the index as it was.
  int16_t PulseWidth() const { return pulseWidth_; }
  void SetPulseWidth(int16_t value);
  EnumPulseWidthIndexes PulseWidthIndex() const { return pulseWidthIndex_; }
  float BackScatterCoefficient() const { return backScatterCoefficient_; }
  void SetBackScatterCoefficient(float value);  // always dirty
  int32_t MaxLossVal() const { return maxLossVal_; }
  void SetMaxLossVal(int32_t value) { maxLossVal_ = value; }
  int32_t DataPointSpacing() const { return dataPointSpacing_; }
  void SetDataPointSpacing(int32_t value) { dataPointSpacing_ = value; }
  int32_t UserOffset() const { return userOffset_; }
  void SetUserOffset(int32_t value) { userOffset_ = value; }

  // ---- Thresholds (dirty on change; range errors 5) -----------------------------------
  int32_t NoiseFloorLevel() const { return noiseFloorLevel_; }
  void SetNoiseFloorLevel(int32_t value);  // 0..65535
  int16_t NoiseFloorScaleFactor() const { return noiseFloorScaleFactor_; }
  void SetNoiseFloorScaleFactor(int16_t value) { noiseFloorScaleFactor_ = value; }
  int32_t PowerOffsetFirstPoint() const { return powerOffsetFirstPoint_; }
  void SetPowerOffsetFirstPoint(int32_t value);  // 0..65535
  float ReflectanceThreshold() const { return reflectanceThreshold_; }
  void SetReflectanceThreshold(float value);  // -65.535..0 dB
  float EndofFiberThreshold() const { return endofFiberThreshold_; }
  void SetEndofFiberThreshold(float value);  // 0..65.535 dB
  float LossThreshold() const { return lossThreshold_; }
  void SetLossThreshold(float value);  // 0..65.535 dB
  float EventEndLoss() const { return eventEndLoss_; }
  void SetEventEndLoss(float value);  // always dirty
  float EventORL() const { return eventORL_; }
  void SetEventORL(float value);  // 0..65.535 dB
  // One two-element store read and written under both names; lIndex 1 or 2 (else 9).
  // Each name is its own procedure: a failure names the one the client called.
  int32_t EventORLMark(int32_t lIndex) const;
  void SetEventORLMark(int32_t lIndex, int32_t value);
  int32_t EventLossMark(int32_t lIndex) const;
  void SetEventLossMark(int32_t lIndex, int32_t value);

  // ---- Supplier texts carried through (never dirty) -----------------------------------
  const std::string& MainFrameID() const { return mainFrameID_; }
  void SetMainFrameID(const std::string& value) { mainFrameID_ = value; }
  const std::string& ModuleID() const { return moduleID_; }
  void SetModuleID(const std::string& value) { moduleID_ = value; }
  const std::string& SupplierName() const { return supplierName_; }
  void SetSupplierName(const std::string& value) { supplierName_ = value; }
  const std::string& SupParamsOther() const { return supParamsOther_; }
  void SetSupParamsOther(const std::string& value) { supParamsOther_ = value; }
  int16_t FiberID() const { return fiberID_; }
  void SetFiberID(int16_t value) { fiberID_ = value; }

  // ---- Cursors (never dirty); eCursor 1 or 2, else 9 -----------------------------------
  // A position beyond AquisitionRange is stored as AquisitionRange.
  float CursorQRD(EnumCursors eCursor) const;
  void SetCursorQRD(EnumCursors eCursor, float value);
  float CursorDistance(EnumCursors eCursor) const;
  void SetCursorDistance(EnumCursors eCursor, float value);
  float CursorLevel(EnumCursors eCursor) const;
  void SetCursorLevel(EnumCursors eCursor, float value);
  // Thousandths of a QRD.
  int32_t ACursorRawData() const;
  void SetACursorRawData(int32_t value);
  int32_t BCursorRawData() const;
  void SetBCursorRawData(int32_t value);

  // ---- Samples ------------------------------------------------------------------------
  // Setting it reallocates DataPoints to 1..value, all zero (0 empties both arrays) and
  // always marks the trace dirty.
  int32_t Samples() const { return dataPoints_.Count(); }
  void SetSamples(int32_t value);
  // Index 1..Samples (0 when there are none), else 9.
  int32_t DataPoints(int32_t lIndex) const;
  void SetDataPoints(int32_t lIndex, int32_t value);  // library-internal; never dirty
  // A copy of the samples; element 0 is sample 1.
  std::vector<int32_t> DataPointArray() const;
  // Library-internal: samples 1..values.size() at once, as SetDataPoints would set them
  // one by one; more values than Samples raise 9 and change nothing. Never dirty.
  void SetDataPointArray(const std::vector<int32_t>& values);
  // The display-distance cache, filled only by CalculateDistancePoints.
  float DistancePoints(int32_t lIndex) const;

  // ---- Conversions --------------------------------------------------------------------
  float QRDToDisplayDist(float fQRD, EnumDistanceUnits eDistanceUnits) const;
  float DisplayDistToQRD(float fDisplayDist, EnumDistanceUnits eDistanceUnits) const;
  int32_t QRDToPoint(float fQRD) const;
  float QRDToFracPoint(float fQRD) const;
  float PointToQRD(int32_t nPoint) const;  // a 16-bit sample index
  float PointToDisplayDist(int32_t nPoint) const;
  float QRDToPower(float fQRD) const;
  void CalculateDistancePoints();

  // ---- Event editing and analysis helpers ---------------------------------------------
  void RollupLoss(bool bRecalcAttenuation);
  void ReclassifyEvents();
  void RecalculateReflectance(float fOldBackScatterVal);
  // Adds an event through Events()->Add and returns its Number. Positions are in QRD,
  // nLoss, lReflectance and lStartLevel in thousandths of a dB, as the SOR fields carry
  // them. A failure is shown in a message box and 0 is returned.
  int16_t AddEvent(int32_t lStartQRD, int32_t lEndQRD, int32_t nLoss, EnumLossMethods eLossMethod,
                   EnumEventSources eSource, EnumEventTypes eEventType, int32_t lReflectance, int32_t lStartLevel,
                   const std::string& sComment);

  // ---- Files --------------------------------------------------------------------------
  // Style 0: one sample a line; 1: index and sample with a header; 2: the conversions too.
  void DumpSamples(const std::string& sFilename, int32_t nStyle);
  // The trace's own file format (a JSON document, see docs/trace-format.md).
  void LoadFromFile(const std::string& sFilename);
  void SaveToFile(const std::string& sFilename);

  // Raised by SetIsDirty with the new value.
  Event<bool> OnIsDirty;

 private:
  static constexpr const char* kModule = "CTrace";

  // Stores value into field and marks the trace dirty when it differs.
  template <class T>
  void SetOnChange(T& field, const T& value) {
    if (field != value) {
      field = value;
      SetIsDirty(true);
    }
  }
  void SetLimitedText(std::string& field, const std::string& value, std::size_t maxChars);
  std::size_t CursorSlot(EnumCursors eCursor) const;
  void WireEvents();

  bool validEventLevels_ = true;
  bool isBaseLine_ = false;
  bool isDirty_ = false;
  bool mustDeleteAllEvents_ = false;
  bool launchCable_ = false;
  bool receiveCable_ = false;

  std::shared_ptr<CEvents> events_;
  std::shared_ptr<CEvents> deletedEvents_;
  std::shared_ptr<CEventPipe> eventsPipe_;  // the pipe the trace listens to
  uint64_t eventsConnection_ = 0;
  uint64_t pipeConnection_ = 0;

  int32_t pointsPerMeter_ = 0;
  float xAxisScaleFactor_ = 0;
  int32_t majorVersion_ = 0;
  int32_t minorVersion_ = 0;
  int32_t revision_ = 0;
  Date timeStamp_ = 0;
  std::string fileName_;
  int32_t fileFormat_ = 0;
  int16_t lastChangedBy_ = 0;
  int32_t crc_ = 0;

  std::string cableID_;
  std::string cableType_;
  std::string testSite_;
  std::string farSite_;
  std::string testedBy_;
  std::string traceComment_;
  std::string languageCode_;
  std::string currentDataFlag_;

  int32_t fiberNumber_ = 0;
  EnumFiberTypes fiberType_ = static_cast<EnumFiberTypes>(0);
  int16_t autoMode_ = 0;
  int16_t fileDistUnits_ = 0;
  EnumDistanceUnits distanceUnits_ = static_cast<EnumDistanceUnits>(0);
  int32_t aquisitionOffset_ = 0;
  int32_t dataPointsPerPW_ = 0;
  int32_t groupIndex_ = 0;
  float adjustedIOR_ = 0;
  int32_t numberOfAverages_ = 0;
  int32_t aquisitionRange_ = 0;
  int32_t frontPanelOffset_ = 0;
  int16_t nominalWavelength_ = 0;
  float actualWavelength_ = 0;
  int16_t totalNumberOfPulseWidths_ = 1;
  int16_t pulseWidth_ = 0;
  EnumPulseWidthIndexes pulseWidthIndex_ = static_cast<EnumPulseWidthIndexes>(0);
  float backScatterCoefficient_ = 0;
  int32_t maxLossVal_ = 0;
  int32_t dataPointSpacing_ = 0;
  int32_t userOffset_ = 0;

  int32_t noiseFloorLevel_ = 0;
  int16_t noiseFloorScaleFactor_ = 0;
  int32_t powerOffsetFirstPoint_ = 0;
  float reflectanceThreshold_ = 0;
  float endofFiberThreshold_ = 0;
  float lossThreshold_ = 0;
  float eventEndLoss_ = 0;
  float eventORL_ = 0;
  int32_t eventMarks_[2] = {0, 0};
  // The element of the marker store for lIndex; 9 unless lIndex is 1 or 2.
  static std::size_t EventMarkSlot(int32_t lIndex);

  std::string mainFrameID_;
  std::string moduleID_;
  std::string supplierName_;
  std::string supParamsOther_;
  int16_t fiberID_ = 0;

  float cursorQRD_[2] = {0, 0};
  float cursorLevel_[2] = {0, 0};

  IndexedArray<int32_t> dataPoints_;
  IndexedArray<float> distancePoints_;
};

}  // namespace tarnvik
