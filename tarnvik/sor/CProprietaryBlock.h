// A block whose identifier the library does not know, kept raw so that it survives a
// load and save unchanged.
#pragma once

#include <cstdint>
#include <string>
#include <utility>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CProprietaryBlock {
 public:
  CProprietaryBlock() = default;
  CProprietaryBlock(const CProprietaryBlock&) = delete;
  CProprietaryBlock& operator=(const CProprietaryBlock&) = delete;

  const std::string& BlockID() const { return blockID_; }
  void SetBlockID(const std::string& value) { blockID_ = value; }
  int32_t Revision() const { return revision_; }
  void SetRevision(int32_t value) { revision_ = value; }
  int32_t BlockSize() const { return blockSize_; }
  void SetBlockSize(int32_t value) { blockSize_ = value; }

  void SetRawData(const ByteArray& aMaster) { rawData_ = aMaster; }
  void SetRawData(ByteArray&& aMaster) { rawData_ = std::move(aMaster); }  // takes a temporary over
  void GetRawData(ByteArray& Buffer) const { Buffer = rawData_; }
  const ByteArray& RawData() const { return rawData_; }

 private:
  std::string blockID_;
  int32_t revision_ = 0;
  int32_t blockSize_ = 0;
  ByteArray rawData_;
};

}  // namespace tarnvik
