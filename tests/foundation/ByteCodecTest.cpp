// The byte codec: signedness, its side effect on signed decodes, rounding, 16-bit
// position rules, text in and out.
#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/foundation/modByteArrays.h"

namespace tarnvik::testing {
namespace {

ByteArray Of(std::initializer_list<uint8_t> bytes, int32_t lower = 1) {
  const std::vector<uint8_t> v(bytes);
  return ByteArray::FromBytes(v.data(), v.size(), lower);
}

TEST(ByteCodec, SignedDecodeClearsTheSignBitInTheCallersArray) {
  ByteArray a = Of({0xFF, 0xFF});
  EXPECT_EQ(ByteArrayToNumLSB(a, 1, 2, true), -1.0);
  EXPECT_EQ(a, Of({0xFF, 0x7F}));
  EXPECT_EQ(ByteArrayToNumLSB(a, 1, 2, true), 32767.0);  // second decode: non-negative

  ByteArray b = Of({0xFF, 0xFF});
  EXPECT_EQ(ByteArrayToNumLSB(b, 1, 2, false), 65535.0);
  EXPECT_EQ(b, Of({0xFF, 0xFF}));

  ByteArray c = Of({0x00, 0x00, 0x00, 0x80});
  EXPECT_EQ(ByteArrayToNumLSB(c, 1, 4, true), -2147483648.0);
  ByteArray d = Of({0x40, 0x9C, 0, 0});
  EXPECT_EQ(ByteArrayToNumLSB(d, 0, 0, false), 40000.0);  // length 0: the whole array
}

TEST(ByteCodec, EncodeSignednessAndByteOrder) {
  ByteArray a(1, 2);
  EXPECT_EQ(NumToByteArrayLSB2(-1, 2, a, 1, true), 3);
  EXPECT_EQ(a, Of({0xFF, 0xFF}));
  NumToByteArrayLSB2(32768, 2, a, 1, true);  // too large for signed, written with bit 7 set
  EXPECT_EQ(a, Of({0x00, 0x80}));
  EXPECT_EQ(ByteArrayToNumLSB(a, 1, 2, true), -32768.0);

  ByteArray w(1, 4);
  NumToByteArrayLSB2(-70000, 4, w, 1, true);
  EXPECT_EQ(w, Of({0x90, 0xEE, 0xFE, 0xFF}));
  NumToByteArray2(0x1234, 2, a, 1, false);  // high byte first
  EXPECT_EQ(a, Of({0x12, 0x34}));
  NumToByteArray2(-2, 2, a, 1, true);
  EXPECT_EQ(a, Of({0xFF, 0xFE}));
}

// The top byte is the value integer-divided by 256^(length - 1) in 32-bit integers, and
// only a quotient outside 0..255 overflows; the lower bytes are the value AND their mask.
// Each case runs through both byte orders.
TEST(ByteCodec, EncodeOverflowsOnlyOnTheTopQuotient) {
  const struct {
    double value;
    int32_t length;
    bool bSigned;
    Bytes lowFirst;  // empty when the case fails
    int32_t error;
  } cases[] = {
      {-1, 2, false, {0xFF, 0x00}, 0},  // quotient 0, low byte -1 AND 255
      {-255, 2, false, {0x01, 0x00}, 0},
      {-1, 4, false, {0xFF, 0xFF, 0xFF, 0x00}, 0},
      {-32769, 2, true, {0xFF, 0x80}, 0},  // -1 once the sign offset is added
      {-256, 2, false, {}, 6},             // quotient -1
      {-40000, 2, false, {}, 6},           // quotient -156
      {-1, 1, false, {}, 6},               // one byte: the quotient is the value
      {-33024, 2, true, {}, 6},
      {65536, 2, false, {}, 6},
      {3e9, 4, false, {}, 6},  // no 32-bit integer
      {1, 5, false, {}, 6},    // nor is 256^4
      {1, 0, false, {}, 11},   // 256^-1 rounds to 0
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(::testing::Message() << c.value << " in " << c.length << (c.bSigned ? " signed" : " unsigned"));
    ByteArray low(1, 6);
    ByteArray high(1, 6);
    const Raised r = Capture([&] { NumToByteArrayLSB2(c.value, c.length, low, 1, c.bSigned); });
    EXPECT_EQ(Capture([&] { NumToByteArray2(c.value, c.length, high, 1, c.bSigned); }).number, c.error);
    EXPECT_EQ(r.number, c.error);
    EXPECT_EQ(r.description, c.error == 0 ? "" : c.error == 6 ? "Overflow" : "Division by zero");
    const Bytes highFirst(high.data(), high.data() + c.lowFirst.size());
    EXPECT_EQ(Bytes(low.data(), low.data() + c.lowFirst.size()), c.lowFirst);
    EXPECT_EQ(Bytes(highFirst.rbegin(), highFirst.rend()), c.lowFirst);
  }
}

TEST(ByteCodec, EncodeRoundsHalfToEven) {
  ByteArray a(1, 2);
  NumToByteArrayLSB2(2.5, 2, a, 1, false);
  EXPECT_EQ(a[1], 2);
  NumToByteArrayLSB2(3.5, 2, a, 1, false);
  EXPECT_EQ(a[1], 4);
  NumToByteArrayLSB2(-2.5, 2, a, 1, true);
  EXPECT_EQ(ByteArrayToNumLSB(a, 1, 2, true), -2.0);
}

TEST(ByteCodec, PositionRules) {
  ByteArray a(1, 4);
  EXPECT_EQ(Capture([&] { NumToByteArrayLSB2(1, 2, a, 32767, false); }).number, 6);
  EXPECT_EQ(Capture([&] { ByteArrayToNumLSB(a, 32767, 2, false); }).number, 6);
  EXPECT_EQ(Capture([&] { NumToByteArrayLSB2(1, 2, a, 4, false); }).number, 9);  // runs past the end
  EXPECT_EQ(Capture([&] { ByteArrayToNumLSB(a, 0, 2, false); }).number, 9);      // before the start
  EXPECT_EQ(a, ByteArray(1, 4));  // nothing was written by the failed calls

  ByteArray never;
  EXPECT_EQ(Capture([&] { never.UBound(); }).number, 9);
  EXPECT_EQ(Capture([&] { ByteArrayToNumLSB(never, 0, 0, false); }).number, 9);
}

TEST(ByteCodec, TextWithAndWithoutTerminator) {
  ByteArray a(1, 8);
  a[8] = 'z';
  EXPECT_EQ(StringToByteArray("abc", a, 1, false), 4);
  EXPECT_EQ(ByteArrayToString(a, 1, 3), "abc");
  EXPECT_EQ(ByteArrayToString(a), "abc");  // stops at the first zero byte

  EXPECT_EQ(StringToByteArray("abcdefg", a), 8);  // no terminator: runs on to the array's end
  EXPECT_EQ(ByteArrayToString(a, 5), "efgz");
  EXPECT_EQ(StringToByteArray("hi", a, 2, true), 5);
  EXPECT_EQ(ByteArrayToString(a), "ahi");

  // One byte per character, U+0000..U+00FF; anything above fails.
  ByteArray l(1, 3);
  StringToByteArray("\xC3\xA9", l, 1, true);
  EXPECT_EQ(l[1], 0xE9);
  EXPECT_EQ(ByteArrayToString(l), "\xC3\xA9");
  EXPECT_EQ(Capture([&] { StringToByteArray("\xE2\x82\xAC", l); }).number, 6);
  EXPECT_EQ(Capture([&] { StringToByteArray("abcd", l); }).number, 9);  // the array is never resized
  // An empty text writes nothing, so any start is its own next position; its terminator
  // still needs a byte.
  EXPECT_EQ(StringToByteArray("", l, 10), 10);
  EXPECT_EQ(Capture([&] { StringToByteArray("", l, 10, true); }).number, 9);
}

// ASCII text is written without decoding; every ASCII character must give the bytes
// the decoding path gives (a trailing U+00E9 sends the same text down that path), and
// the terminator and next position must follow the text alike.
TEST(ByteCodec, AsciiTextWritesAsDecodedText) {
  std::string all;
  for (int c = 0; c < 128; ++c) all += static_cast<char>(c);
  for (const bool terminate : {false, true}) {
    ByteArray fast(1, 140);
    ByteArray decoded(1, 140);
    for (int32_t i = 1; i <= 140; ++i) fast[i] = decoded[i] = 0xAA;
    EXPECT_EQ(StringToByteArray(all, fast, 3, terminate), terminate ? 132 : 131);
    EXPECT_EQ(StringToByteArray(all + "\xC3\xA9", decoded, 3, terminate), terminate ? 133 : 132);
    EXPECT_EQ(Bytes(fast.data(), fast.data() + 130), Bytes(decoded.data(), decoded.data() + 130));
    EXPECT_EQ(decoded[131], 0xE9);
    EXPECT_EQ(fast[131], terminate ? 0x00 : 0xAA);
  }
  ByteArray small(1, 3);
  EXPECT_EQ(Capture([&] { StringToByteArray("abc", small, 2); }).number, 9);
  EXPECT_EQ(Capture([&] { StringToByteArray("ab", small, 32767); }).number, 6);
}

TEST(ByteCodec, UnicodeTextIsUtf16LittleEndian) {
  ByteArray a = Of({'O', 0, 'K', 0, 0, 0, 0xAC, 0x20}, 0);
  EXPECT_EQ(ByteArrayToStringUnicode(a, 0, 4), "OK");
  EXPECT_EQ(ByteArrayToStringUnicode(a), std::string("OK\0", 3) + "\xE2\x82\xAC");  // no terminator stops it
}

}  // namespace
}  // namespace tarnvik::testing
