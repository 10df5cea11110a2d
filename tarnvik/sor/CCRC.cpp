#include "tarnvik/sor/CCRC.h"

#include <array>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace {

// One entry per value of the register's top byte: the same result as eight shift-and-XOR
// steps, a byte at a time.
constexpr std::array<uint16_t, 256> MakeTable() {
  std::array<uint16_t, 256> table{};
  for (uint32_t top = 0; top < 256; ++top) {
    uint32_t crc = top << 8;
    for (int bit = 0; bit < 8; ++bit) crc = (crc & 0x8000u) ? ((crc << 1) ^ 0x1021u) : (crc << 1);
    table[top] = static_cast<uint16_t>(crc & 0xFFFFu);
  }
  return table;
}

constexpr std::array<uint16_t, 256> kTable = MakeTable();

}  // namespace

int32_t CCRC::Update(const uint8_t* bytes, std::size_t n) {
  auto crc = static_cast<uint32_t>(value_);
  for (std::size_t i = 0; i < n; ++i) {
    crc = ((crc << 8) ^ kTable[((crc >> 8) ^ bytes[i]) & 0xFFu]) & 0xFFFFu;
  }
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
