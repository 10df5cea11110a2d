#include "tarnvik/sor/CCRC.h"

#include <array>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace {

// The register is fed 16 bytes at a time ("slicing by 16"): kTables[k][b] is the
// register after byte b followed by k zero bytes, from a register of 0. Since the CRC is
// linear, a run of 16 bytes, the register's two bytes XORed into its first two, gives the
// new register as the XOR of one entry per byte. kTables[0] alone is the usual one-byte
// step, eight shift-and-XOR steps at once.
constexpr std::size_t kSlice = 16;
using Tables = std::array<std::array<uint16_t, 256>, kSlice>;

constexpr Tables MakeTables() {
  Tables tables{};
  for (uint32_t b = 0; b < 256; ++b) {
    uint32_t crc = b << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000u) ? ((crc << 1) ^ 0x1021u) : (crc << 1);
    tables[0][b] = static_cast<uint16_t>(crc & 0xFFFFu);
  }
  for (std::size_t k = 1; k < kSlice; ++k) {
    for (std::size_t b = 0; b < 256; ++b) {
      const uint32_t previous = tables[k - 1][b];
      tables[k][b] = static_cast<uint16_t>(((previous << 8) ^ tables[0][previous >> 8]) & 0xFFFFu);
    }
  }
  return tables;
}

constexpr Tables kTables = MakeTables();

}  // namespace

int32_t CCRC::Update(const uint8_t* bytes, std::size_t n) {
  auto crc = static_cast<uint32_t>(value_);
  const auto& t = kTables;
  for (; n >= kSlice; n -= kSlice, bytes += kSlice) {
    const uint8_t* b = bytes;
    crc = t[15][(crc >> 8) ^ b[0]] ^ t[14][(crc & 0xFFu) ^ b[1]] ^ t[13][b[2]] ^ t[12][b[3]] ^ t[11][b[4]] ^
          t[10][b[5]] ^ t[9][b[6]] ^ t[8][b[7]] ^ t[7][b[8]] ^ t[6][b[9]] ^ t[5][b[10]] ^ t[4][b[11]] ^
          t[3][b[12]] ^ t[2][b[13]] ^ t[1][b[14]] ^ t[0][b[15]];
  }
  for (; n > 0; --n, ++bytes) crc = ((crc << 8) ^ kTables[0][((crc >> 8) ^ *bytes) & 0xFFu]) & 0xFFFFu;
  value_ = static_cast<int32_t>(crc);
  return value_;
}

int32_t CCRC::CRCUpdate(const ByteArray& bytes) {
  return Guarded(kModule, "CRCUpdate()", [&] { return Update(bytes.data(), bytes.size()); });
}

void CCRC::SetValue(int32_t value) {
  Guarded(kModule, "Let Value()", [&] {
    if (value < 0 || value > 0xFFFF) Raise(err::Overflow);
    value_ = value;
  });
}

}  // namespace tarnvik
