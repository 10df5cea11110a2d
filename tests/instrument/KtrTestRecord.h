// Test fixtures for the KTR 915 session: an instrument trace record and a file table
// assembled byte by byte at the record's published offsets.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/instrument/KtrRecord.h"

namespace tarnvik::testing {

class KtrRecordBytes {
 public:
  explicit KtrRecordBytes(const std::vector<uint16_t>& samples)
      : bytes_(static_cast<std::size_t>(ktr_record::kSamples) + 2 * samples.size(), 0) {
    PutWord(ktr_record::kSampleCount, static_cast<uint16_t>(samples.size()));
    for (std::size_t i = 0; i < samples.size(); ++i) {
      PutWord(ktr_record::kSamples + static_cast<int32_t>(2 * i), samples[i]);
    }
  }

  KtrRecordBytes& PutWord(int32_t offset, uint16_t value) {
    bytes_.at(static_cast<std::size_t>(offset)) = static_cast<uint8_t>(value & 0xFF);
    bytes_.at(static_cast<std::size_t>(offset) + 1) = static_cast<uint8_t>(value >> 8);
    return *this;
  }
  // UTF-16 little-endian, at most widthBytes bytes; the rest of the field stays as it was.
  KtrRecordBytes& PutText(int32_t offset, int32_t widthBytes, const std::u16string& text) {
    for (std::size_t i = 0; i < text.size() && 2 * i + 1 < static_cast<std::size_t>(widthBytes); ++i) {
      PutWord(offset + static_cast<int32_t>(2 * i), static_cast<uint16_t>(text[i]));
    }
    return *this;
  }

  const std::vector<uint8_t>& Bytes() const { return bytes_; }
  // As the session hands it to the decoder: indexed from 1.
  ByteArray Array() const { return ByteArray::FromBytes(bytes_.data(), bytes_.size(), 1); }

 private:
  std::vector<uint8_t> bytes_;
};

// A file table: guard, count, refresh count, pointers; every word low byte first.
inline std::vector<uint8_t> KtrFileTable(uint16_t guard, const std::vector<uint16_t>& pointers,
                                         uint16_t refresh = 7) {
  std::vector<uint8_t> out;
  const auto put = [&](uint16_t w) {
    out.push_back(static_cast<uint8_t>(w & 0xFF));
    out.push_back(static_cast<uint8_t>(w >> 8));
  };
  put(guard);
  put(static_cast<uint16_t>(pointers.size()));
  put(refresh);
  for (uint16_t p : pointers) put(p);
  return out;
}

}  // namespace tarnvik::testing
