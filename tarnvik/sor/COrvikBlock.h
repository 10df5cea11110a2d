// The "Orvik" block: the two cursor positions and one level per key event.
#pragma once

#include <cstdint>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/IndexedArray.h"

namespace tarnvik {

class CKeyEventsBlock;

class COrvikBlock {
 public:
  COrvikBlock() = default;
  COrvikBlock(const COrvikBlock&) = delete;
  COrvikBlock& operator=(const COrvikBlock&) = delete;

  int32_t ACursorLoc() const { return aCursorLoc_; }
  void SetACursorLoc(int32_t value) { aCursorLoc_ = value; }
  int32_t BCursorLoc() const { return bCursorLoc_; }
  void SetBCursorLoc(int32_t value) { bCursorLoc_ = value; }

  // Writing resizes the levels to 1..value, keeping those that still fit (new ones are
  // 0). A negative count cannot dimension the levels and raises 9.
  int16_t EventCount() const { return static_cast<int16_t>(eventLevels_.Count()); }
  void SetEventCount(int16_t value);
  // Index 1..EventCount; any other index raises 9.
  int32_t EventLevels(int32_t Index) const;
  void SetEventLevels(int32_t Index, int32_t value);

  // Library-internal: the block body (indexed from 1) in and out. keyEvents is the
  // file's key events block, nullptr when the file has none (yet).
  //
  // Parse takes EventCount from the body size and reads the levels only when the key
  // events block holds that many events; otherwise EventCount becomes the key events
  // count with every level 0, and the unread levels fail the size check unless the body
  // is just the two cursors. Without a key events block there is nothing to fall back
  // on: 91.
  void Parse(ByteArray& body, const CKeyEventsBlock* keyEvents);
  // Writes one level per key event, in order; the two counts must agree. More key
  // events than levels fail on reading the missing level (9), fewer leave the body
  // short (10512). A null keyEvents raises 91; a level outside -255..65535 raises 6.
  ByteArray Build(const CKeyEventsBlock* keyEvents) const;

 private:
  static constexpr const char* kModule = "COrvikBlock";

  int32_t aCursorLoc_ = 0;
  int32_t bCursorLoc_ = 0;
  IndexedArray<int32_t> eventLevels_;
};

}  // namespace tarnvik
