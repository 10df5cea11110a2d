// Numeric helpers shared across the library: rounding, checked narrowing, Log10, the
// SOR time unit, and the date type.
#pragma once

#include <cstdint>
#include <ctime>
#include <vector>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

// An OLE Automation date: days since 30 December 1899, the fraction the time of day.
using Date = double;

// Rounds to the nearest integer, halves to the even neighbour (2.5 -> 2, 3.5 -> 4).
double RoundHalfEven(double value);

// Checked conversions: round half to even, then raise error 6 ("Overflow") when the
// result does not fit (NaN and infinities never fit).
inline int32_t ToInt32(double value);
int16_t ToInt16(double value);
uint8_t ToByte(double value);

// Whole arrays of samples through a scale factor: each value becomes ToInt32(value *
// factor), or ToInt32(value / factor), in order, the first that does not fit raising 6.
// A factor of exactly 1 changes no integer and can raise nothing, so the values are then
// left as they are.
void MultiplyToInt32(std::vector<int32_t>& values, double factor);
void DivideToInt32(std::vector<int32_t>& values, double factor);

// Raises error 6 unless value fits in 16 bits; for positions and lengths that are
// carried in int32_t so that callers outside the range get an error, not a wrap.
inline int16_t CheckInt16(int64_t value) {
  if (value < INT16_MIN || value > INT16_MAX) Raise(err::Overflow);
  return static_cast<int16_t>(value);
}
// The same for 32 bits: a sum, difference or product of 32-bit values, formed in 64
// bits, raises 6 instead of wrapping.
inline int32_t CheckInt32(int64_t value) {
  if (value < INT32_MIN || value > INT32_MAX) Raise(err::Overflow);
  return static_cast<int32_t>(value);
}

// Natural logarithm of value divided by that of 10.
double Log10(double value);

// The SOR file's time unit (100 ps) and the library's QRD (5 ns one way) differ by 20:
// exact one way, rounded half to even the other.
int32_t SORTimeToQRD(int32_t value);
int32_t QRDToSORTime(int32_t value);

// The current local date and time.
Date Now();
// A count of seconds from 1 January 1970 00:00:00 as a Date and back, with no time-zone
// adjustment (SR-4731 files stamp their traces so).
Date DateFromUnixSeconds(double seconds);
double UnixSecondsFromDate(Date date);
// The same, broken down (for texts such as the log's time stamp).
std::tm LocalNow();
// A moment in the local time zone, broken down: the one place that calls the platform's
// thread-safe conversion (localtime_r, or localtime_s on Windows).
std::tm LocalTime(std::time_t when);

namespace detail {
int32_t ToInt32Rounded(double value);
}  // namespace detail

// An integral value in range is its own rounding: it is converted at once, anything
// else goes through RoundHalfEven.
inline int32_t ToInt32(double value) {
  if (value >= -2147483648.0 && value <= 2147483647.0) {
    const auto whole = static_cast<int32_t>(value);
    if (static_cast<double>(whole) == value) return whole;
  }
  return detail::ToInt32Rounded(value);
}

}  // namespace tarnvik
