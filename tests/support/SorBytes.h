// Test fixtures: SOR files and block bodies assembled byte by byte, independently of the
// library's own codec, so that the library's output can be checked against them.
#pragma once

#include <cstddef>
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

// Version 2: the map starts with "Map" 0x00 (counted in the map size), and every body
// that is not empty starts with its block's name text, counted in its size (the bodies
// given here are without it). With a checksum, a "Cksum" entry is appended whose body is
// "Cksum" 0x00 and the CRC of everything before the CRC's two bytes.
Bytes AssembleSorV2(const std::vector<SorBlock>& blocks, bool withChecksum = true, int32_t mapRevision = 200);

// A file of the standard blocks in the usual order, in either version: GenParams,
// SupParams, FxdParams, KeyEvents, DataPts (and the checksum, by the assemblers above).
// The field values are fixed (see SorBytes.cpp); version 2 adds its own fields. Sample k
// (from 0) of group g (from 0) is StandardSample(g, k). The pulse widths share the
// samples: each counts an equal part, the last one the rest.
struct StandardSor {
  int32_t version = 2;
  std::vector<uint16_t> pulseWidths = {100};           // spacing of width k: 100000 x (k + 1)
  std::vector<uint16_t> scaleFactors = {1000};         // one group each...
  std::vector<uint32_t> groupSamples = {1000};         // ...of this many samples
  int32_t events = 3;
};
uint16_t StandardSample(std::size_t group, std::size_t k);
std::vector<SorBlock> StandardSorBlocks(const StandardSor& sor);  // bodies without version-2 names
Bytes MakeStandardSor(const StandardSor& sor);

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
