// The "Orvik2" block: any number of cursors, a full copy of the events with the fields
// the standard event record lacks, and, from later revisions on, who last changed the
// trace (201) and a fibre number (202).
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/IndexedArray.h"
#include "tarnvik/sor/CKeyEvents.h"

namespace tarnvik {

class COrvik2Block {
 public:
  explicit COrvik2Block(int32_t revision = 200);
  COrvik2Block(const COrvik2Block&) = delete;
  COrvik2Block& operator=(const COrvik2Block&) = delete;

  // Written as the block's revision; decides which trailer fields the body carries.
  int32_t Revision() const { return revision_; }
  void SetRevision(int32_t value) { revision_ = value; }
  const std::string& BlockID() const { return blockID_; }
  void SetBlockID(const std::string& value) { blockID_ = value; }

  // Writing resizes the cursors to 1..value, keeping those that still fit (new ones
  // are 0). A negative count cannot dimension the cursors and raises 9.
  int16_t CursorCount() const { return static_cast<int16_t>(cursorLocations_.Count()); }
  void SetCursorCount(int16_t value);
  // Index 1..CursorCount; any other index raises 9.
  int32_t CursorLocation(int32_t Index) const;
  void SetCursorLocation(int32_t Index, int32_t value);

  // The event copy, created with the block.
  std::shared_ptr<CKeyEvents> Events() const { return events_; }

  int16_t LastChangedBy() const { return lastChangedBy_; }
  void SetLastChangedBy(int16_t value) { lastChangedBy_ = value; }
  int16_t FiberID() const { return fiberID_; }
  void SetFiberID(int16_t value) { fiberID_ = value; }

  // "LastChangedBy" from revision 201, "FiberID" from 202; any other name raises 10515.
  bool IsSupported(const std::string& sPropertyName) const;
  // true sets the revision to exactly 201 ("LastChangedBy") or 202 ("FiberID").
  // false lowers it just enough: "LastChangedBy" to 200 (it comes with every later
  // field), "FiberID" to 201 (LastChangedBy stays); a revision that already lacks the
  // field is left alone. Either way a revision below 200 then becomes 200. Any other
  // name raises 10515.
  void SetIsSupported(const std::string& sPropertyName, bool bIsSupported);

  // Library-internal: the block body (indexed from 1) in and out. The block is created
  // with the revision of the file's entry before Parse, which replaces the events and
  // cursors. Reflectances are taken and written as stored.
  void Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  static constexpr const char* kModule = "COrvik2Block";

  bool HasLastChangedBy() const { return revision_ >= 201; }
  bool HasFiberID() const { return revision_ >= 202; }
  // Raises 10515 unless name is one of the two revision-dependent fields.
  static void CheckHandled(const std::string& name);

  int32_t revision_;
  std::string blockID_ = "Orvik2";
  IndexedArray<int32_t> cursorLocations_;
  std::shared_ptr<CKeyEvents> events_;
  int16_t lastChangedBy_ = 0;
  int16_t fiberID_ = 0;
};

}  // namespace tarnvik
