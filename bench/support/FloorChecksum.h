// The floor the library's SOR load and save are measured against: reading a whole file
// into a buffer, and the file's CRC-16 (polynomial 0x1021, register starting at 0xFFFF,
// no reflection, no final XOR) with slicing-by-16 tables, on this machine twice as fast
// as slicing-by-8 and as fast as slicing-by-32. This is the benchmark's own reference
// code, written apart from the library's so that the floor does not move when the
// library does.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

namespace bench {

// The whole file as one buffer, read the way a small C program reads it (fopen, fread).
struct FileBuffer {
  std::unique_ptr<uint8_t[]> bytes;
  std::size_t size = 0;
};
FileBuffer ReadWholeFileFloor(const std::string& path);

// The register after feeding n bytes, starting from crc.
uint16_t ChecksumFloor(const uint8_t* bytes, std::size_t n, uint16_t crc = 0xFFFF);

}  // namespace bench
