// What `tarnvik info` prints for one file: a readable report, or one line of JSON whose
// fields docs/tarnvik-info.md describes.
#pragma once

#include <string>

#include "file_report.h"

namespace tarnvik::tool {

// Decimals worth showing for a distance in the given unit (4 for km, 1 for m, ...).
int DistanceDecimals(int32_t units);

std::string InfoText(const FileReport& report);
std::string InfoJson(const FileReport& report);

}  // namespace tarnvik::tool
