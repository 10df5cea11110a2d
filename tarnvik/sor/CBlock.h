// One entry of a SOR file's map and, while saving, the body written for it.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CBlock {
 public:
  CBlock() = default;
  CBlock(const CBlock&) = delete;
  CBlock& operator=(const CBlock&) = delete;

  const std::string& BlockID() const { return blockID_; }
  void SetBlockID(const std::string& value) { blockID_ = value; }
  int32_t RevisionNum() const { return revisionNum_; }
  void SetRevisionNum(int32_t value) { revisionNum_ = value; }
  int32_t BlockSize() const { return blockSize_; }
  void SetBlockSize(int32_t value) { blockSize_ = value; }

  // Stores a copy of the bytes (or takes them over, from a temporary).
  void SetRawData(const ByteArray& aryRawData) { rawData_ = aryRawData; }
  void SetRawData(ByteArray&& aryRawData) { rawData_ = std::move(aryRawData); }
  // Hands a copy of the stored bytes back.
  void GetRawData(ByteArray& Buffer) const { Buffer = rawData_; }
  // Library-internal: the stored bytes without a copy.
  const ByteArray& RawData() const { return rawData_; }

 private:
  std::string blockID_;
  int32_t revisionNum_ = 0;
  int32_t blockSize_ = 0;
  ByteArray rawData_;
};

}  // namespace tarnvik
