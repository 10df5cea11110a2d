#include "names.h"

#include <array>
#include <cmath>
#include <cstdio>

namespace tarnvik::tool {

namespace {

struct Name {
  const char* text;
  const char* member;
};

template <std::size_t N>
const Name* Lookup(const std::array<Name, N>& names, int32_t value) {
  if (value < 1 || static_cast<std::size_t>(value) > N) return nullptr;
  return &names[static_cast<std::size_t>(value - 1)];
}

constexpr std::array<Name, 12> kEventTypes = {{{"Undefined", "EVTYPE_Undefined"},
                                               {"Reflective", "EVTYPE_Reflective"},
                                               {"Non-reflective", "EVTYPE_NonReflective"},
                                               {"Reflective gainer", "EVTYPE_ReflectiveGainer"},
                                               {"Non-reflective gainer", "EVTYPE_NonReflectiveGainer"},
                                               {"Multiple", "EVTYPE_Multiple"},
                                               {"Reflective end", "EVTYPE_ReflectiveEnd"},
                                               {"Non-reflective end", "EVTYPE_NonReflectiveEnd"},
                                               {"Estimated end", "EVTYPE_EstimatedEnd"},
                                               {"Start", "EVTYPE_Start"},
                                               {"End", "EVTYPE_End"},
                                               {"Clipped", "EVTYPE_Clipped"}}};
constexpr std::array<Name, 3> kSources = {
    {{"Manual", "EVSRC_Manual"}, {"Auto", "EVSRC_Auto"}, {"User edited", "EVSRC_UserEdited"}}};
constexpr std::array<Name, 7> kLossMethods = {{{"Two-point", "LOSS_TwoPoint"},
                                               {"Multiple", "LOSS_Multiple"},
                                               {"Single", "LOSS_Single"},
                                               {"Fibre attenuation", "LOSS_FiberAttenuation"},
                                               {"Start", "LOSS_Start"},
                                               {"End", "LOSS_End"},
                                               {"Other", "LOSS_Other"}}};
constexpr std::array<Name, 3> kFiberTypes = {
    {{"multimode", "FT_MultiMode"}, {"single-mode", "FT_SingleMode"}, {"unknown", "FT_Unknown"}}};

template <std::size_t N>
std::string TextOf(const std::array<Name, N>& names, int32_t value) {
  const Name* n = Lookup(names, value);
  if (n) return n->text;
  std::string text = "?";
  return text.append(std::to_string(value));
}

template <std::size_t N>
std::string MemberOf(const std::array<Name, N>& names, int32_t value) {
  const Name* n = Lookup(names, value);
  return n ? n->member : "";
}

}  // namespace

std::string UnitName(int32_t units) {
  switch (units) {
    case DU_Kilometers: return "km";
    case DU_Feet: return "ft";
    case DU_Meters: return "m";
    case DU_Miles: return "mi";
    case DU_Kilofeet: return "kft";
    default: return "unit " + std::to_string(units);
  }
}

std::string EventTypeText(int32_t type) { return TextOf(kEventTypes, type); }
std::string EventTypeMember(int32_t type) { return MemberOf(kEventTypes, type); }
std::string SourceText(int32_t source) { return TextOf(kSources, source); }
std::string SourceMember(int32_t source) { return MemberOf(kSources, source); }
std::string LossMethodText(int32_t method) { return TextOf(kLossMethods, method); }
std::string LossMethodMember(int32_t method) { return MemberOf(kLossMethods, method); }
std::string FiberTypeText(int32_t type) { return TextOf(kFiberTypes, type); }
std::string FiberTypeMember(int32_t type) { return MemberOf(kFiberTypes, type); }

bool IsReflectanceCode(float reflectance) {
  return reflectance == 0.0f || reflectance == 1.0f || reflectance == 2.0f;
}

std::string ReflectanceText(float reflectance, int decimals) {
  if (reflectance == static_cast<float>(EVREFL_OverRange)) return "over range";
  if (reflectance == static_cast<float>(EVREFL_UnderRange)) return "under range";
  if (reflectance == static_cast<float>(EVREFL_NA)) return "n/a";
  return Fixed(reflectance, decimals);
}

std::string Fixed(double value, int decimals) {
  if (!std::isfinite(value)) return std::isnan(value) ? "nan" : (value > 0 ? "inf" : "-inf");
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, "%.*f", decimals, value);
  std::string text = buffer;
  if (text[0] == '-' && text.find_first_not_of("-0.") == std::string::npos) text.erase(0, 1);
  return text;
}

std::string DateText(Date date) {
  if (!std::isfinite(date) || std::fabs(date) > 3e6) return "invalid date";
  // The whole part counts days (towards zero); the fraction is the time of that day,
  // also for dates before 1899-12-30 (-1.25 is 29 December, 06:00).
  const double whole = std::trunc(date);
  int64_t days = static_cast<int64_t>(whole);
  int64_t rest = std::llround(std::fabs(date - whole) * 86400.0);
  if (rest >= 86400) {
    rest -= 86400;
    ++days;
  }
  // Civil date from a day count (days since 1970-01-01); 1899-12-30 is day -25569.
  const int64_t z = days - 25569 + 719468;
  const int64_t era = (z >= 0 ? z : z - 146096) / 146097;
  const int64_t doe = z - era * 146097;
  const int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
  const int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
  const int64_t mp = (5 * doy + 2) / 153;
  const int64_t d = doy - (153 * mp + 2) / 5 + 1;
  const int64_t m = mp < 10 ? mp + 3 : mp - 9;
  const int64_t y = yoe + era * 400 + (m <= 2 ? 1 : 0);
  char buffer[128];
  std::snprintf(buffer, sizeof buffer, "%04lld-%02lld-%02lld %02lld:%02lld:%02lld", static_cast<long long>(y),
                static_cast<long long>(m), static_cast<long long>(d), static_cast<long long>(rest / 3600),
                static_cast<long long>(rest / 60 % 60), static_cast<long long>(rest % 60));
  return buffer;
}

}  // namespace tarnvik::tool
