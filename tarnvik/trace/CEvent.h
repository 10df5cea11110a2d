// One key event of a trace: where it lies, what it is and what it costs. Events report
// edits through their pipe; only a Comment edit is reported, every other property is a
// plain store.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnvik/trace/CEventPipe.h"
#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik {

class CEvent {
 public:
  // The event starts with a pipe of its own; adding it to a collection replaces it.
  CEvent();
  CEvent(const CEvent&) = delete;
  CEvent& operator=(const CEvent&) = delete;

  // 1-based place in the collection that holds the event; the collection rewrites it.
  int16_t Number() const { return number_; }
  void SetNumber(int16_t value) { number_ = value; }

  // Positions in QRD.
  float LocationQRD() const { return locationQRD_; }
  void SetLocationQRD(float value) { locationQRD_ = value; }
  float LocationEndQRD() const { return locationEndQRD_; }
  void SetLocationEndQRD(float value) { locationEndQRD_ = value; }

  float Level() const { return level_; }
  void SetLevel(float value) { level_ = value; }
  float Loss() const { return loss_; }
  void SetLoss(float value) { loss_ = value; }
  float LeadinLoss() const { return leadinLoss_; }
  void SetLeadinLoss(float value) { leadinLoss_ = value; }
  float CumulativeLoss() const { return cumulativeLoss_; }
  void SetCumulativeLoss(float value) { cumulativeLoss_ = value; }
  float Reflectance() const { return reflectance_; }
  void SetReflectance(float value) { reflectance_ = value; }

  // The enumerations start at 0, outside their published members, until set.
  EnumEventSources Source() const { return source_; }
  void SetSource(EnumEventSources value) { source_ = value; }
  EnumEventTypes EType() const { return eType_; }
  void SetEType(EnumEventTypes value) { eType_ = value; }
  EnumLossMethods LossMT() const { return lossMT_; }
  void SetLossMT(EnumLossMethods value) { lossMT_ = value; }

  // Keeps the first 94 characters and reports Dirty(true) through EventPipe(), also when
  // the text is unchanged.
  const std::string& Comment() const { return comment_; }
  void SetComment(const std::string& value);

  // Never null: setting nullptr raises 91 and keeps the current pipe.
  std::shared_ptr<CEventPipe> EventPipe() const { return eventPipe_; }
  void SetEventPipe(std::shared_ptr<CEventPipe> value);

  // dB/km of the section before the event; 9999 means not set.
  float AttenDBperKM() const { return attenDBperKM_; }
  void SetAttenDBperKM(float value) { attenDBperKM_ = value; }

  // Bounds of the least-squares sections either side of the event, in QRD.
  float FarLeftLSAQRD() const { return farLeftLSAQRD_; }
  void SetFarLeftLSAQRD(float value) { farLeftLSAQRD_ = value; }
  float NearLeftLSAQRD() const { return nearLeftLSAQRD_; }
  void SetNearLeftLSAQRD(float value) { nearLeftLSAQRD_ = value; }
  float NearRightLSAQRD() const { return nearRightLSAQRD_; }
  void SetNearRightLSAQRD(float value) { nearRightLSAQRD_ = value; }
  float FarRightLSAQRD() const { return farRightLSAQRD_; }
  void SetFarRightLSAQRD(float value) { farRightLSAQRD_ = value; }

 private:
  static constexpr const char* kModule = "CEvent";
  static constexpr std::size_t kCommentChars = 94;

  int16_t number_ = 0;
  float locationQRD_ = 0;
  float locationEndQRD_ = 0;
  float level_ = 0;
  float loss_ = 0;
  float leadinLoss_ = 0;
  float cumulativeLoss_ = 0;
  float reflectance_ = 0;
  EnumEventSources source_{};
  EnumEventTypes eType_{};
  EnumLossMethods lossMT_{};
  std::string comment_;
  std::shared_ptr<CEventPipe> eventPipe_;
  float attenDBperKM_ = 9999;
  float farLeftLSAQRD_ = 0;
  float nearLeftLSAQRD_ = 0;
  float nearRightLSAQRD_ = 0;
  float farRightLSAQRD_ = 0;
};

}  // namespace tarnvik
