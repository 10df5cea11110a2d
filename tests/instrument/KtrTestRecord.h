// Test fixtures for the KTR 915 session and its simulator: frames, a trace record and a
// file table, assembled byte by byte here, independently of the library's encoders.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/instrument/KtrRecord.h"

namespace tarnvik::testing {

using Bytes = std::vector<uint8_t>;

inline Bytes Cat(std::initializer_list<Bytes> parts) {
  Bytes all;
  for (const Bytes& p : parts) all.insert(all.end(), p.begin(), p.end());
  return all;
}

// Start byte, parameter words + 3, command, parameters, then the XOR of all but the start.
inline Bytes Frame(char command, const Bytes& params = {}) {
  Bytes f = Cat({{1, static_cast<uint8_t>(params.size() / 2 + 3), static_cast<uint8_t>(command)}, params});
  uint8_t checksum = 0;
  for (std::size_t i = 1; i < f.size(); ++i) checksum = static_cast<uint8_t>(checksum ^ f[i]);
  f.push_back(checksum);
  return f;
}

// A flash read request: downloader version, what, pointer, 0; each word high byte first.
inline Bytes Request(uint16_t what, uint16_t pointer, uint16_t version = 32) {
  return Frame('D', {static_cast<uint8_t>(version >> 8), static_cast<uint8_t>(version & 0xFF),
                     static_cast<uint8_t>(what >> 8), static_cast<uint8_t>(what & 0xFF),
                     static_cast<uint8_t>(pointer >> 8), static_cast<uint8_t>(pointer & 0xFF), 0, 0});
}

inline const Bytes kAck = {0x01, 0x03, 'Y', 0x5A};
inline const Bytes kEnd = {0x01, 0x03, 'B', 0x41};
inline const Bytes kReply = {0x01, 0x04, 'Y', 32, 0, 0x7D};  // a request's answer: version 32, low byte first

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
inline Bytes KtrFileTable(uint16_t guard, const std::vector<uint16_t>& pointers, uint16_t refresh = 7) {
  Bytes out;
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
