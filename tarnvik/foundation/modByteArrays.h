// The byte codec: integers and text in and out of byte arrays at a given position.
// Positions are indexes into the array (which keeps its own lower bound), and positions
// and lengths are 16-bit: a position, length or end outside -32768..32767 raises error 6.
// An index outside the array raises error 9. These functions do not log; their callers do.
#pragma once

#include <cstdint>
#include <string>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

// Low byte first. A length of 0 decodes the whole array. A signed decode clears the sign
// bit of the top byte in the caller's array: decoding the same bytes signed a second
// time gives a non-negative value.
double ByteArrayToNumLSB(ByteArray& bytes, int32_t start, int32_t length, bool bSigned);

// Low byte first; returns start + length. The value is rounded half to even to a 32-bit
// integer; its top byte is the value integer-divided by 256^(length - 1), and a quotient
// outside 0..255 raises error 6. So a positive value too large for a signed field is
// written with the sign bit set, and a small negative one into an unsigned field in two's
// complement below a top byte of 0 (-1 in 2 bytes: FF 00), as long as the top byte fits.
// A length of 5 or more raises 6 (256^4 is no 32-bit integer), one of 0 or less 11.
int16_t NumToByteArrayLSB2(double value, int32_t length, ByteArray& bytes, int32_t start, bool bSigned);

// The same encoder, high byte first.
void NumToByteArray2(double value, int32_t length, ByteArray& bytes, int32_t start, bool bSigned);

// Runs of unsigned 2-byte fields, low byte first, back to back from start (a block's
// samples). Each handles the leading fields it can take faster than the single-field
// routine above, without its rounding and range arithmetic, and returns how many it
// handled; the caller hands the next field to the single-field routine, which writes or
// raises exactly as it always does, and may then resume the run. A run stops at a
// position outside the array or past the 16-bit limit, and, encoding, at a value
// outside 0..65535.
//   Decoding: values[k] = the field at start + 2k, as ByteArrayToNumLSB(bytes, start + 2k,
//   2, false) gives it.
//   Encoding: the field at start + 2k = values[k], as NumToByteArrayLSB2(values[k], 2,
//   bytes, start + 2k, false) writes it. Fields from the value it stopped at, up to
//   count, may have been overwritten: the caller writes them again.
int32_t ByteArrayToUnsigned16Run(const ByteArray& bytes, int32_t start, int32_t count, int32_t* values);
int32_t Unsigned16RunToByteArray(const int32_t* values, int32_t count, ByteArray& bytes, int32_t start);

// One character per byte from start (the lower bound when negative) for length bytes
// (to the upper bound when 0), stopping before the first zero byte.
std::string ByteArrayToString(const ByteArray& bytes, int32_t start = -1, int32_t length = 0);

// Writes one byte per character from start (the lower bound when negative); a character
// above U+00FF raises error 6. With zeroTerminate a zero byte follows. Returns the next
// position. The array is never resized.
int16_t StringToByteArray(const std::string& text, ByteArray& bytes, int32_t start = -1,
                          bool zeroTerminate = false);

// The bytes start..start+length-1 (same defaults as ByteArrayToString) taken as UTF-16
// little-endian text; no zero byte ends it.
std::string ByteArrayToStringUnicode(const ByteArray& bytes, int32_t start = -1, int32_t length = 0);

}  // namespace tarnvik
