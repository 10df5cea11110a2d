// The 16-bit checksum of a SOR file: CRC-16/CCITT-FALSE (polynomial 0x1021, start 0xFFFF,
// no reflection, no final XOR). The register can be fed in as many pieces as convenient.
#pragma once

#include <cstddef>
#include <cstdint>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CCRC {
 public:
  CCRC() = default;
  CCRC(const CCRC&) = delete;
  CCRC& operator=(const CCRC&) = delete;

  // Feeds every element, lower bound to upper bound, and returns the new register.
  int32_t CRCUpdate(const ByteArray& bytes);
  // The same for raw bytes, for the file reader and writer.
  int32_t Update(const uint8_t* bytes, std::size_t n);

  int32_t Value() const { return value_; }
  // Restarts or resumes an accumulation; 0..65535, anything else raises 6.
  void SetValue(int32_t value);

 private:
  static constexpr const char* kModule = "CCRC";
  int32_t value_ = 0xFFFF;
};

}  // namespace tarnvik
