#include "tarnvik/foundation/modMain.h"

#include <chrono>
#include <cmath>
#include <ctime>
#include <limits>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace {
constexpr const char* kModule = "modMain";

template <class Int>
Int CheckedRound(double value) {
  const double r = RoundHalfEven(value);
  if (!(r >= static_cast<double>(std::numeric_limits<Int>::min()) &&
        r <= static_cast<double>(std::numeric_limits<Int>::max()))) {
    Raise(err::Overflow);
  }
  return static_cast<Int>(r);
}

// Days from 1970-01-01 to the given civil date (proleptic Gregorian).
int64_t DaysFromCivil(int64_t y, int64_t m, int64_t d) {
  y -= m <= 2;
  const int64_t era = (y >= 0 ? y : y - 399) / 400;
  const int64_t yoe = y - era * 400;
  const int64_t doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
  const int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
  return era * 146097 + doe - 719468;
}
}  // namespace

double RoundHalfEven(double value) {
  if (!std::isfinite(value)) return value;
  const double lower = std::floor(value);
  const double diff = value - lower;
  if (diff < 0.5) return lower;
  if (diff > 0.5) return lower + 1.0;
  return std::fmod(lower, 2.0) == 0.0 ? lower : lower + 1.0;
}

namespace detail {
int32_t ToInt32Rounded(double value) { return CheckedRound<int32_t>(value); }
}  // namespace detail
int16_t ToInt16(double value) { return CheckedRound<int16_t>(value); }
uint8_t ToByte(double value) { return CheckedRound<uint8_t>(value); }

void MultiplyToInt32(std::vector<int32_t>& values, double factor) {
  if (factor == 1.0) return;
  for (int32_t& value : values) value = ToInt32(static_cast<double>(value) * factor);
}

void DivideToInt32(std::vector<int32_t>& values, double factor) {
  if (factor == 1.0) return;
  for (int32_t& value : values) value = ToInt32(static_cast<double>(value) / factor);
}

double Log10(double value) {
  return Guarded(kModule, "Log10()", [&] {
    if (!(value > 0.0)) Raise(err::InvalidCall);
    return std::log(value) / std::log(10.0);
  });
}

int32_t SORTimeToQRD(int32_t value) {
  return Guarded(kModule, "SORTimeToQRD()", [&] {
    return CheckInt32(int64_t{value} * 20);
  });
}

int32_t QRDToSORTime(int32_t value) {
  return Guarded(kModule, "QRDToSORTime()", [&] { return ToInt32(static_cast<double>(value) / 20.0); });
}

std::tm LocalTime(std::time_t when) {
  std::tm local{};
#if defined(_WIN32)
  localtime_s(&local, &when);
#else
  localtime_r(&when, &local);
#endif
  return local;
}

std::tm LocalNow() { return LocalTime(std::time(nullptr)); }

namespace {
// Days between the OLE origin (1899-12-30) and 1970-01-01.
constexpr double kUnixEpochDate = 25569.0;
constexpr double kSecondsPerDay = 86400.0;
}  // namespace

Date Now() {
  const std::tm local = LocalNow();
  const int64_t days = DaysFromCivil(local.tm_year + 1900, local.tm_mon + 1, local.tm_mday);
  const double seconds = local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec;
  return static_cast<double>(days) + kUnixEpochDate + seconds / kSecondsPerDay;
}

Date DateFromUnixSeconds(double seconds) { return kUnixEpochDate + seconds / kSecondsPerDay; }

double UnixSecondsFromDate(Date date) { return (date - kUnixEpochDate) * kSecondsPerDay; }

}  // namespace tarnvik
