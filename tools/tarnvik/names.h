// The words the tool shows for the library's enumerations, units and dates.
#pragma once

#include <cstdint>
#include <string>

#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik::tool {

// "km", "ft", "m", "mi", "kft"; "unit N" for a number outside the enumeration.
std::string UnitName(int32_t units);
// Words for a reader ("Reflective end") and the published member ("EVTYPE_ReflectiveEnd");
// a number outside the enumeration gives "?N" and "" respectively.
std::string EventTypeText(int32_t type);
std::string EventTypeMember(int32_t type);
std::string SourceText(int32_t source);
std::string SourceMember(int32_t source);
std::string LossMethodText(int32_t method);
std::string LossMethodMember(int32_t method);
std::string FiberTypeText(int32_t type);
std::string FiberTypeMember(int32_t type);

// A reflectance in dB, or the code it stands for: exactly 0 "over range", 1 "under
// range", 2 "n/a"; decimals as given.
std::string ReflectanceText(float reflectance, int decimals);
// True for the three code values.
bool IsReflectanceCode(float reflectance);

// value with a fixed number of decimals ("-45.200"); "-0.000" is written "0.000".
std::string Fixed(double value, int decimals);

// An OLE Automation date as "YYYY-MM-DD HH:MM:SS" (to the nearest second).
std::string DateText(Date date);

}  // namespace tarnvik::tool
