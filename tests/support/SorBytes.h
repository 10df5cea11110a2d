// Test fixtures: SOR files and block bodies assembled byte by byte, independently of the
// library's own codec, so that the library's output can be checked against them.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik::testing {

using Bytes = std::vector<uint8_t>;

// Little-endian builder for block bodies.
class BodyBuilder {
 public:
  BodyBuilder& U8(uint32_t v);
  BodyBuilder& I16(int32_t v);  // two bytes, two's complement
  BodyBuilder& U16(uint32_t v);
  BodyBuilder& I32(int64_t v);  // four bytes, two's complement
  BodyBuilder& Chars(const std::string& s);  // no terminator
  BodyBuilder& Text(const std::string& s);   // zero-terminated
  BodyBuilder& Raw(const Bytes& b);

  const Bytes& bytes() const { return bytes_; }
  int32_t size() const { return static_cast<int32_t>(bytes_.size()); }
  // The body as the block parsers take it: indexed from 1.
  ByteArray ToByteArray() const;

 private:
  Bytes bytes_;
};

// The bytes of a block body the library built, for comparing with a builder's.
Bytes ToBytes(const ByteArray& a);

struct SorBlock {
  std::string id;
  int32_t revision;
  Bytes body;
};

// CRC-16/CCITT-FALSE, written here independently of the library's.
uint16_t Crc16(const Bytes& bytes, uint16_t start = 0xFFFF);

// A whole file: map revision, map, the bodies in the order given. With a checksum, a
// "Cksum" entry is appended and its body holds the CRC of everything before it.
Bytes AssembleSor(const std::vector<SorBlock>& blocks, bool withChecksum = true, int32_t mapRevision = 100);

// The map entries of a file image, for checking what a save wrote.
struct MapEntry {
  std::string id;
  int32_t revision;
  int32_t size;
};
struct MapImage {
  int32_t revision = 0;
  int32_t mapSize = 0;
  int32_t blockCount = 0;
  std::vector<MapEntry> entries;
};
MapImage ReadMap(const Bytes& file);
// The body of the named block in a file image (the first with that identifier).
Bytes BlockBody(const Bytes& file, const std::string& id);

// The bodies of a new file's always-present blocks, with their defaults.
Bytes DefaultGenParamsBody();
Bytes DefaultSupParamsBody();
Bytes DefaultFxdParamsBody(int32_t dateTime);
Bytes EmptyDataPtsBody();

Bytes ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, const Bytes& bytes);

}  // namespace tarnvik::testing
