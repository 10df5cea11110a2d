// The "KeyEvents" block: the events found on the trace and the end-to-end loss and
// return-loss figures.
#pragma once

#include <cstdint>
#include <memory>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/sor/CKeyEvents.h"

namespace tarnvik {

class CKeyEventsBlock {
 public:
  CKeyEventsBlock();
  CKeyEventsBlock(const CKeyEventsBlock&) = delete;
  CKeyEventsBlock& operator=(const CKeyEventsBlock&) = delete;

  // The block's events, created with the block.
  std::shared_ptr<CKeyEvents> KeyEvents() const { return keyEvents_; }

  int32_t EndtoEndLoss() const { return endtoEndLoss_; }
  void SetEndtoEndLoss(int32_t value) { endtoEndLoss_ = value; }
  int32_t EndtoEndMarkerPosStart() const { return endtoEndMarkerPosStart_; }
  void SetEndtoEndMarkerPosStart(int32_t value) { endtoEndMarkerPosStart_ = value; }
  int32_t EndtoEndMarkerPosEnd() const { return endtoEndMarkerPosEnd_; }
  void SetEndtoEndMarkerPosEnd(int32_t value) { endtoEndMarkerPosEnd_ = value; }
  // Carried in two unsigned bytes: -255..65535 can be saved (a negative value in two's
  // complement under a top byte of 0), anything else fails Build with 6.
  int32_t OpticalReturnLoss() const { return opticalReturnLoss_; }
  void SetOpticalReturnLoss(int32_t value) { opticalReturnLoss_ = value; }
  int32_t ORLMarkerPosStart() const { return orlMarkerPosStart_; }
  void SetORLMarkerPosStart(int32_t value) { orlMarkerPosStart_ = value; }
  int32_t ORLMarkerPosEnd() const { return orlMarkerPosEnd_; }
  void SetORLMarkerPosEnd(int32_t value) { orlMarkerPosEnd_ = value; }

  // Library-internal: the block body (indexed from 1) in and out. Parse replaces the
  // events and assigns every field through its property, so the event rules apply
  // while loading. A positive reflectance in a file is read as its negative, except
  // 1000 and 2000, which pass unchanged; Build writes reflectances as they are.
  void Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  std::shared_ptr<CKeyEvents> keyEvents_;
  int32_t endtoEndLoss_ = 0;
  int32_t endtoEndMarkerPosStart_ = 0;
  int32_t endtoEndMarkerPosEnd_ = 0;
  int32_t opticalReturnLoss_ = 0;
  int32_t orlMarkerPosStart_ = 0;
  int32_t orlMarkerPosEnd_ = 0;
};

}  // namespace tarnvik
