#include "tarnvik/foundation/modByteArrays.h"

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"

namespace tarnvik {

namespace {

// 256^n as the codec computes it, in 64-bit floating point; the widths the formats use
// come from a table.
double PowerOf256(int32_t n) {
  static constexpr double kPowers[] = {1.0, 256.0, 65536.0, 16777216.0, 4294967296.0};
  return n >= 0 && n <= 4 ? kPowers[n] : std::ldexp(1.0, 8 * n);
}

// Checks the 16-bit rules for a field start..start+length-1 and returns the position
// after it.
int16_t FieldEnd(int32_t start, int32_t length) {
  CheckInt16(start);
  CheckInt16(length);
  CheckInt16(static_cast<int64_t>(start) + length - 1);
  return CheckInt16(static_cast<int64_t>(start) + length);
}

// Computes the bytes of value low byte first into out[0..length-1]; the caller places
// them in the array in the order it needs. Everything is 32-bit integer arithmetic on
// the rounded value: the top byte is the value integer-divided by 256^(length - 1),
// and only a quotient outside 0..255 overflows, so a small negative value has a top
// byte of 0 and its low bytes in two's complement (-1 in 2 unsigned bytes is FF 00).
// The divisor itself must be a 32-bit integer: 256^4 is not (6, a width of 5 or more),
// and 256^-1 rounds to 0 (11, a width of 0 or less). Widths 1 to 4 remain.
void EncodeBytes(double value, int32_t length, bool bSigned, uint8_t* out) {
  bool negative = false;
  if (bSigned && value < 0) {
    negative = true;
    value += PowerOf256(length) / 2;
  }
  const int32_t whole = ToInt32(value);
  // 256^0..256^3 are 32-bit integers, taken from a table; any other power is converted
  // (and fails) as above.
  static constexpr int32_t kIntPowers[] = {1, 256, 65536, 16777216};
  const int32_t topDivisor = length >= 1 && length <= 4 ? kIntPowers[length - 1] : ToInt32(PowerOf256(length - 1));
  if (topDivisor == 0) Raise(err::DivisionByZero);
  // The quotient truncated toward zero, as integer division gives it; the divisor is
  // 256^(length - 1) with length 1..4 here (any other length has raised above).
  int32_t top = whole >> (8 * (length - 1));
  if (whole < 0 && (whole & (topDivisor - 1)) != 0) ++top;
  if (top < 0 || top > 255) Raise(err::Overflow);
  out[length - 1] = static_cast<uint8_t>(negative ? (top | 0x80) : top);
  // The lower bytes: (value AND 256^(k+1) - 1) / 256^k, a non-negative number divided
  // by a power of two, is that byte of the value.
  for (int32_t k = length - 2; k >= 0; --k) out[k] = static_cast<uint8_t>((whole >> (8 * k)) & 0xFF);
}

// How many 2-byte fields from start, at most count, lie inside the array with both
// their start and their end (start + 2) inside the 16-bit positions.
int32_t FieldsInside(const ByteArray& bytes, int32_t start, int32_t count) {
  if (count <= 0 || !bytes.IsDimensioned()) return 0;
  const int64_t first = std::max<int64_t>(INT16_MIN, bytes.LBound());
  const int64_t last = std::min<int64_t>(INT16_MAX - 2, static_cast<int64_t>(bytes.UBound()) - 1);
  if (start < first || start > last) return 0;
  return static_cast<int32_t>(std::min<int64_t>(count, (last - start) / 2 + 1));
}

// Resolves the optional start and length of the text readers.
void TextRange(const ByteArray& bytes, int32_t& start, int32_t& length) {
  if (start < 0) start = bytes.LBound();
  if (length == 0) length = bytes.UBound() - start + 1;
}

}  // namespace

double ByteArrayToNumLSB(ByteArray& bytes, int32_t start, int32_t length, bool bSigned) {
  if (length == 0) {
    start = bytes.LBound();
    length = bytes.Count();
  }
  FieldEnd(start, length);
  if (length < 1) Raise(err::SubscriptOutOfRange);
  uint8_t* field = bytes.Span(start, length);
  bool negative = false;
  if (bSigned) {
    negative = (field[length - 1] & 0x80) != 0;
    field[length - 1] = static_cast<uint8_t>(field[length - 1] & 0x7F);
  }
  double value = 0;
  for (int32_t k = 0; k < length; ++k) value += field[k] * PowerOf256(k);
  if (negative) value -= PowerOf256(length) / 2;
  return value;
}

int16_t NumToByteArrayLSB2(double value, int32_t length, ByteArray& bytes, int32_t start, bool bSigned) {
  const int16_t next = FieldEnd(start, length);
  uint8_t encoded[4];
  EncodeBytes(value, length, bSigned, encoded);
  uint8_t* field = bytes.Span(start, length);
  for (int32_t k = 0; k < length; ++k) field[k] = encoded[k];
  return next;
}

void NumToByteArray2(double value, int32_t length, ByteArray& bytes, int32_t start, bool bSigned) {
  FieldEnd(start, length);
  uint8_t encoded[4];
  EncodeBytes(value, length, bSigned, encoded);
  uint8_t* field = bytes.Span(start, length);
  for (int32_t k = 0; k < length; ++k) field[k] = encoded[length - 1 - k];
}

int32_t ByteArrayToUnsigned16Run(const ByteArray& bytes, int32_t start, int32_t count, int32_t* values) {
  const int32_t n = FieldsInside(bytes, start, count);
  if (n == 0) return 0;
  const uint8_t* field = bytes.Span(start, 2 * n);
  for (int32_t k = 0; k < n; ++k, field += 2) values[k] = field[0] | (field[1] << 8);
  return n;
}

int32_t Unsigned16RunToByteArray(const int32_t* values, int32_t count, ByteArray& bytes, int32_t start) {
  int32_t n = FieldsInside(bytes, start, count);
  if (n == 0) return 0;
  // A value in 0..65535 needs no rounding and is its own two bytes. The rarer ones the
  // single-field encoder still takes (-255..-1, written as their low byte) are left to
  // it. One pass converts and ORs the values without an early exit, so that it
  // vectorizes; fields past a value out of range are overwritten here and rewritten by
  // the caller.
  uint8_t* field = bytes.Span(start, 2 * n);
  uint32_t seen = 0;
  for (int32_t k = 0; k < n; ++k) {
    const auto value = static_cast<uint32_t>(values[k]);
    seen |= value;
    const auto field16 = static_cast<uint16_t>(value);
    if constexpr (std::endian::native == std::endian::little) {
      std::memcpy(field + 2 * k, &field16, 2);  // the same two bytes, low first, in one store
    } else {
      field[2 * k] = static_cast<uint8_t>(field16 & 0xFF);
      field[2 * k + 1] = static_cast<uint8_t>(field16 >> 8);
    }
  }
  if (seen > 0xFFFFu) {
    n = static_cast<int32_t>(
        std::find_if(values, values + n, [](int32_t value) { return static_cast<uint32_t>(value) > 0xFFFFu; }) -
        values);
  }
  return n;
}

std::string ByteArrayToString(const ByteArray& bytes, int32_t start, int32_t length) {
  TextRange(bytes, start, length);
  if (length > 0) FieldEnd(start, length);
  std::string text;
  for (int32_t i = 0; i < length; ++i) {
    const uint8_t b = bytes[start + i];
    if (b == 0) break;
    AppendUtf8(text, b);
  }
  return text;
}

int16_t StringToByteArray(const std::string& text, ByteArray& bytes, int32_t start, bool zeroTerminate) {
  if (start < 0) start = bytes.LBound();
  // ASCII text (every byte below 0x80, as the SOR format's texts are) is its own
  // characters and needs no decoding; anything else is decoded from UTF-8.
  const bool ascii = std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  const std::vector<char32_t> chars = ascii ? std::vector<char32_t>() : DecodeUtf8(text);
  const std::size_t length = ascii ? text.size() : chars.size();
  const int64_t count = static_cast<int64_t>(length) + (zeroTerminate ? 1 : 0);
  CheckInt16(start);
  const int16_t next = CheckInt16(start + count);
  for (const char32_t c : chars) {
    if (c > 0xFF) Raise(err::Overflow);
  }
  if (count == 0) return next;  // nothing to write, wherever start lies
  uint8_t* field = bytes.Span(start, static_cast<int32_t>(count));
  if (ascii) {
    std::copy(text.begin(), text.end(), field);
  } else {
    for (std::size_t i = 0; i < length; ++i) field[i] = static_cast<uint8_t>(chars[i]);
  }
  if (zeroTerminate) field[length] = 0;
  return next;
}

std::string ByteArrayToStringUnicode(const ByteArray& bytes, int32_t start, int32_t length) {
  TextRange(bytes, start, length);
  if (length <= 0) return {};
  FieldEnd(start, length);
  return Utf16LEToUtf8(bytes.Span(start, length), static_cast<std::size_t>(length));
}

}  // namespace tarnvik
