// The file checksum: CRC-16/CCITT-FALSE, fed in any number of pieces.
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

}  // namespace
}  // namespace tarnvik::testing
