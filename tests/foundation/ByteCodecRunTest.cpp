// The run codecs for unsigned 2-byte fields against the single-field routines they stand
// in for: every value a field can hold or be given, and every way a run can stop short.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/foundation/modByteArrays.h"

namespace tarnvik::testing {
namespace {

TEST(ByteCodecRun, DecodesEveryValueAsTheSingleFieldDecoder) {
  ByteArray bytes(1, 512);
  std::vector<int32_t> values(256);
  int32_t mismatches = 0;
  for (int32_t high = 0; high < 256; ++high) {
    for (int32_t low = 0; low < 256; ++low) {
      bytes[1 + 2 * low] = static_cast<uint8_t>(low);
      bytes[2 + 2 * low] = static_cast<uint8_t>(high);
    }
    ASSERT_EQ(ByteArrayToUnsigned16Run(bytes, 1, 256, values.data()), 256);
    for (int32_t k = 0; k < 256; ++k) mismatches += values.data()[k] != ByteArrayToNumLSB(bytes, 1 + 2 * k, 2, false);
  }
  EXPECT_EQ(mismatches, 0);
}

// Integers need no rounding: across and beyond 0..65535, the run writes what the
// single-field encoder writes, and leaves every other value to that encoder.
TEST(ByteCodecRun, EncodesEveryValueAsTheSingleFieldEncoder) {
  int32_t mismatches = 0;
  const auto check = [&](int32_t value) {
    ByteArray single(1, 2);
    ByteArray run(1, 2);
    NumToByteArrayLSB2(value, 2, single, 1, false);
    const int32_t handled = Unsigned16RunToByteArray(&value, 1, run, 1);
    mismatches += handled != 1 || !(run == single);
  };
  for (int32_t value = 0; value <= 65535; ++value) check(value);
  EXPECT_EQ(mismatches, 0);
  for (const int32_t value : {INT32_MIN, -65536, -256, -255, -1, 65536, 131071, INT32_MAX}) {
    ByteArray run(1, 2);
    EXPECT_EQ(Unsigned16RunToByteArray(&value, 1, run, 1), 0) << value;
  }
}

// Where a run stops: it handles the fields the single-field routine takes and stops at
// the first one that routine refuses, which then raises as it always does.
TEST(ByteCodecRun, StopsWhereTheSingleFieldRoutineRaises) {
  const struct {
    const char* what;
    int32_t lower, size, start, count;
    int32_t handled, error;  // error: what the first field left raises (0 when none is left)
  } cases[] = {
      {"all inside", 1, 10, 1, 5, 5, 0},
      {"one past the end", 1, 10, 1, 6, 5, 9},
      {"odd start, last byte used", 1, 11, 2, 5, 5, 0},
      {"odd size, a lone byte left", 1, 11, 1, 6, 5, 9},
      {"starts before the array", 1, 10, 0, 3, 0, 9},
      {"starts past the array", 1, 10, 11, 1, 0, 9},
      {"no fields asked", 1, 10, 1, 0, 0, 0},
      {"a negative count", 1, 10, 1, -3, 0, 0},
      {"ends at position 32767", 32760, 8, 32760, 3, 3, 0},
      {"would end at 32768", 32760, 8, 32760, 4, 3, 6},
      {"array larger than 16-bit positions", 1, 40000, 1, 20000, 16383, 6},
      {"negative bounds", -32768, 4, -32768, 2, 2, 0},
      {"starts below -32768", -32770, 10, -32770, 5, 0, 6},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    ByteArray decoded(c.lower, c.lower + c.size - 1);
    for (int32_t i = 0; i < c.size; ++i) decoded[c.lower + i] = static_cast<uint8_t>(i * 37 + 5);
    std::vector<int32_t> values(c.count > 0 ? static_cast<std::size_t>(c.count) : 0);
    EXPECT_EQ(ByteArrayToUnsigned16Run(decoded, c.start, c.count, values.data()), c.handled);
    for (int32_t k = 0; k < c.handled; ++k) {
      ASSERT_EQ(values.data()[k], ByteArrayToNumLSB(decoded, c.start + 2 * k, 2, false)) << "field " << k;
    }
    const int32_t next = c.start + 2 * c.handled;
    if (c.error != 0) {
      EXPECT_EQ(Capture([&] { ByteArrayToNumLSB(decoded, next, 2, false); }).number, c.error);
    }

    ByteArray encoded(c.lower, c.lower + c.size - 1);
    ByteArray expected(c.lower, c.lower + c.size - 1);
    for (int32_t k = 0; k < c.handled; ++k) NumToByteArrayLSB2(values.data()[k], 2, expected, c.start + 2 * k, false);
    EXPECT_EQ(Unsigned16RunToByteArray(values.data(), c.count, encoded, c.start), c.handled);
    EXPECT_EQ(encoded, expected);
    if (c.error != 0) {
      EXPECT_EQ(Capture([&] { NumToByteArrayLSB2(1, 2, encoded, next, false); }).number, c.error);
    }
  }

  // A never-dimensioned array: nothing handled, and the single field raises 9.
  ByteArray never;
  int32_t value = 1;
  EXPECT_EQ(ByteArrayToUnsigned16Run(never, 1, 1, &value), 0);
  EXPECT_EQ(Unsigned16RunToByteArray(&value, 1, never, 1), 0);
  EXPECT_EQ(Capture([&] { ByteArrayToNumLSB(never, 1, 2, false); }).number, 9);

  // The encoder stops at the first value outside 0..65535, having written the ones before it.
  const int32_t values[] = {1, 65535, -255, 2};
  ByteArray bytes(1, 8);
  EXPECT_EQ(Unsigned16RunToByteArray(values, 4, bytes, 1), 2);
  const Bytes written = ToBytes(bytes);
  EXPECT_EQ(Bytes(written.begin(), written.begin() + 4), (Bytes{0x01, 0x00, 0xFF, 0xFF}));
}

}  // namespace
}  // namespace tarnvik::testing
