#include <iostream>

#include "tarnvik/tarnvik.h"

int main() {
  tarnvik::CCRC crc;
  const tarnvik::ByteArray digits = [] {
    tarnvik::ByteArray a(1, 9);
    for (int32_t i = 1; i <= 9; ++i) a[i] = static_cast<uint8_t>('0' + i);
    return a;
  }();
  const bool ok = crc.CRCUpdate(digits) == 0x29B1;
  std::cout << (ok ? "installed package works" : "wrong checksum") << "\n";
  return ok ? 0 : 1;
}
