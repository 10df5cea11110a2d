#include "support/FloorChecksum.h"

#include <array>
#include <cstdio>
#include <stdexcept>

namespace bench {

namespace {

// table[k][b]: the register after byte b followed by k zero bytes, from a register of 0.
struct Tables {
  std::array<std::array<uint16_t, 256>, 16> t{};
  Tables() {
    for (uint32_t b = 0; b < 256; ++b) {
      uint32_t crc = b << 8;
      for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000u) ? ((crc << 1) ^ 0x1021u) : (crc << 1);
      t[0][b] = static_cast<uint16_t>(crc);
    }
    for (std::size_t k = 1; k < 16; ++k) {
      for (std::size_t b = 0; b < 256; ++b) {
        const uint16_t prev = t[k - 1][b];
        t[k][b] = static_cast<uint16_t>((prev << 8) ^ t[0][prev >> 8]);
      }
    }
  }
};

// Built on first use, so that benchmarks registered before main() may use it.
const Tables& TheTables() {
  static const Tables tables;
  return tables;
}

}  // namespace

FileBuffer ReadWholeFileFloor(const std::string& path) {
  std::FILE* file = std::fopen(path.c_str(), "rb");
  if (!file) throw std::runtime_error("cannot open " + path);
  std::fseek(file, 0, SEEK_END);
  const long length = std::ftell(file);
  std::fseek(file, 0, SEEK_SET);
  FileBuffer buffer;
  buffer.size = length > 0 ? static_cast<std::size_t>(length) : 0;
  buffer.bytes.reset(new uint8_t[buffer.size]);
  const std::size_t got = std::fread(buffer.bytes.get(), 1, buffer.size, file);
  std::fclose(file);
  if (got != buffer.size) throw std::runtime_error("short read of " + path);
  return buffer;
}

uint16_t ChecksumFloor(const uint8_t* p, std::size_t n, uint16_t crc) {
  const auto& t = TheTables().t;
  uint32_t c = crc;
  for (; n >= 16; n -= 16, p += 16) {
    c = t[15][(c >> 8) ^ p[0]] ^ t[14][(c & 0xFFu) ^ p[1]] ^ t[13][p[2]] ^ t[12][p[3]] ^ t[11][p[4]] ^
        t[10][p[5]] ^ t[9][p[6]] ^ t[8][p[7]] ^ t[7][p[8]] ^ t[6][p[9]] ^ t[5][p[10]] ^ t[4][p[11]] ^
        t[3][p[12]] ^ t[2][p[13]] ^ t[1][p[14]] ^ t[0][p[15]];
  }
  for (; n > 0; --n, ++p) c = ((c << 8) ^ t[0][((c >> 8) ^ *p) & 0xFFu]) & 0xFFFFu;
  return static_cast<uint16_t>(c);
}

}  // namespace bench
