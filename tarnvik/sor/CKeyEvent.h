// One event of the "KeyEvents" block (and of the "Orvik2" block's full event copy).
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>

namespace tarnvik {

class BlockReader;
class BlockWriter;

class CKeyEvent {
 public:
  CKeyEvent() = default;
  CKeyEvent(const CKeyEvent&) = delete;
  CKeyEvent& operator=(const CKeyEvent&) = delete;

  int16_t EventNumber() const { return eventNumber_; }
  void SetEventNumber(int16_t value) { eventNumber_ = value; }
  int32_t EventPropagationTime() const { return eventPropagationTime_; }
  void SetEventPropagationTime(int32_t value) { eventPropagationTime_ = value; }
  int16_t AttenCoefLeadinFiber() const { return attenCoefLeadinFiber_; }
  void SetAttenCoefLeadinFiber(int16_t value) { attenCoefLeadinFiber_ = value; }
  int16_t EventLoss() const { return eventLoss_; }
  void SetEventLoss(int16_t value) { eventLoss_ = value; }
  int32_t EventLevel() const { return eventLevel_; }
  void SetEventLevel(int32_t value) { eventLevel_ = value; }
  int32_t EventReflectance() const { return eventReflectance_; }
  void SetEventReflectance(int32_t value) { eventReflectance_ = value; }
  int32_t EventGroupEndTime() const { return eventGroupEndTime_; }
  void SetEventGroupEndTime(int32_t value) { eventGroupEndTime_ = value; }

  // Exactly six characters; anything else raises 5.
  const std::string& EventCode() const { return eventCode_; }
  void SetEventCode(const std::string& value);
  // "2P", "LS" or "OT"; a blank technique ("", " " or "  ") is stored as "LS";
  // anything else raises 5.
  const std::string& LossMT() const { return lossMT_; }
  void SetLossMT(const std::string& value);
  // "2P", "ST", "EN", "SI" or "MU"; anything else raises 5.
  const std::string& EventType() const { return eventType_; }
  void SetEventType(const std::string& value);
  // Stored as given (an empty comment is allowed).
  const std::string& Comment() const { return comment_; }
  void SetComment(const std::string& value) { comment_ = value; }

  // Index 1..5; any other index raises 9.
  int32_t MarkerLocations(int32_t Index) const;
  void SetMarkerLocations(int32_t Index, int32_t value);

  // True when the fields a file's standard event record carries are equal:
  // AttenCoefLeadinFiber, Comment, EventCode, EventLoss, EventNumber,
  // EventPropagationTime, EventReflectance and LossMT (texts case-sensitively).
  // A null argument raises 91.
  bool IsEqualTo(const std::shared_ptr<CKeyEvent>& oKeyEvent) const;

  // Library-internal: the fields both event records begin with, from EventNumber to
  // LossMT, in file order. The reflectance is read and written as stored; the
  // "KeyEvents" block applies its own sign rule on top.
  void ReadRecordHead(BlockReader& r);
  void WriteRecordHead(BlockWriter& w) const;
  static constexpr int32_t kRecordHeadSize = 22;

 private:
  static constexpr const char* kModule = "CKeyEvent";
  static constexpr int32_t kMarkerCount = 5;

  int16_t eventNumber_ = 1;
  int32_t eventPropagationTime_ = 0;
  int16_t attenCoefLeadinFiber_ = 0;
  int16_t eventLoss_ = 0;
  int32_t eventLevel_ = 0;
  int32_t eventReflectance_ = 0;
  std::string eventCode_ = "0A9999";
  std::string lossMT_ = "2P";
  std::string comment_ = " ";
  std::array<int32_t, kMarkerCount> markerLocations_{};
  std::string eventType_ = "2P";
  int32_t eventGroupEndTime_ = 0;
};

}  // namespace tarnvik
