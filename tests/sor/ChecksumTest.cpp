// The file checksum: CRC-16/CCITT-FALSE, fed in any number of pieces.
#include <random>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CCRC.h"

namespace tarnvik::testing {
namespace {

TEST(Checksum, CheckValueAndPiecewiseFeeding) {
  const Bytes digits = {'1', '2', '3', '4', '5', '6', '7', '8', '9'};
  CCRC whole;
  EXPECT_EQ(whole.Value(), 65535);
  EXPECT_EQ(whole.CRCUpdate(ByteArray::FromBytes(digits.data(), digits.size(), 0)), 0x29B1);

  CCRC pieces;
  pieces.CRCUpdate(ByteArray::FromBytes(digits.data(), 4, 1));
  EXPECT_EQ(pieces.CRCUpdate(ByteArray::FromBytes(digits.data() + 4, 5, 7)), 0x29B1);
  EXPECT_EQ(pieces.CRCUpdate(ByteArray()), 0x29B1);  // an empty array changes nothing
  EXPECT_EQ(pieces.CRCUpdate(ByteArray(1, 0)), 0x29B1);

  // Every byte value through the table agrees with the bitwise definition.
  Bytes all(256 * 3);
  for (std::size_t i = 0; i < all.size(); ++i) all[i] = static_cast<uint8_t>(i * 7 + 3);
  CCRC table;
  EXPECT_EQ(table.CRCUpdate(ByteArray::FromBytes(all.data(), all.size())), Crc16(all));

  table.SetValue(0);
  EXPECT_EQ(table.CRCUpdate(ByteArray::FromBytes(all.data(), all.size())), Crc16(all, 0));
  EXPECT_RAISES(table.SetValue(65536), 6, "CCRC:Let Value()", "Overflow");
}

// The register is fed 16 bytes at a time, then byte by byte: every length around and
// across that stride, every start value class, and large buffers must match the
// bitwise definition, whole or split at any point.
TEST(Checksum, SlicedUpdateMatchesTheBitwiseDefinition) {
  constexpr uint32_t kPrngStart = 20240611;
  std::mt19937 prng(kPrngStart);
  const auto randomBytes = [&](std::size_t n) {
    Bytes bytes(n);
    for (auto& b : bytes) b = static_cast<uint8_t>(prng());
    return bytes;
  };
  const uint16_t registers[] = {0xFFFF, 0x0000, 0x8000, 0x00FF, 0x1D0F};
  for (std::size_t length = 0; length <= 64; ++length) {
    for (const uint16_t start : registers) {
      const Bytes bytes = randomBytes(length);
      CCRC crc;
      crc.SetValue(start);
      EXPECT_EQ(crc.Update(bytes.data(), bytes.size()), Crc16(bytes, start)) << "length " << length << ", start " << start;
    }
  }
  for (const std::size_t length : {std::size_t{1} << 20, std::size_t{1000003}, std::size_t{65536 + 15}}) {
    const Bytes bytes = randomBytes(length);
    CCRC crc;
    EXPECT_EQ(crc.Update(bytes.data(), bytes.size()), Crc16(bytes)) << "length " << length;
  }
  const Bytes bytes = randomBytes(100);
  for (std::size_t split = 0; split <= bytes.size(); ++split) {
    CCRC crc;
    crc.Update(bytes.data(), split);
    EXPECT_EQ(crc.Update(bytes.data() + split, bytes.size() - split), Crc16(bytes)) << "split at " << split;
  }
}

}  // namespace
}  // namespace tarnvik::testing
