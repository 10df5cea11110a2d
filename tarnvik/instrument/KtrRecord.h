// Where the handheld instrument's trace record keeps each field: 0-based byte offsets
// into the downloaded file. Numbers are 16-bit unsigned words, least significant byte
// first; texts are UTF-16 little-endian, their width counted in bytes. Shared by the
// library's decoder and the instrument simulator's encoder.
#pragma once

#include <cstdint>

namespace tarnvik::ktr_record {

inline constexpr int32_t kAveragesHigh = 264;
inline constexpr int32_t kAveragesLow = 266;
inline constexpr int32_t kDistanceUnit = 268;  // 1 m, 2 kft, 3 ft, 4 mi, 5 km
inline constexpr int32_t kPulseWidth = 270;    // x 10
inline constexpr int32_t kSampleCount = 272;
inline constexpr int32_t kGroupIndex = 274;           // x 10
inline constexpr int32_t kBackscatter = 276;          // -(value / 10)
inline constexpr int32_t kPointSpacing = 278;         // x 500000
inline constexpr int32_t kWavelength = 280;
inline constexpr int32_t kLanguageCode = 282;         // its decimal text when 2 characters
inline constexpr int32_t kCurrentDataFlag = 284;      // likewise
inline constexpr int32_t kNoiseFloor = 286;           // value / 10, rounded half to even
inline constexpr int32_t kLossThreshold = 288;        // value / 10
inline constexpr int32_t kReflectanceThreshold = 290; // -(value / 10)
inline constexpr int32_t kEndOfFiberThreshold = 292;  // value / 10
inline constexpr int32_t kModuleId = 314;
inline constexpr int32_t kModuleIdBytes = 10;
inline constexpr int32_t kMainFrameId = 324;
inline constexpr int32_t kMainFrameIdBytes = 16;
inline constexpr int32_t kSoftwareVersion = 340;
inline constexpr int32_t kSoftwareVersionBytes = 16;
inline constexpr int32_t kSupplierName = 356;
inline constexpr int32_t kSupplierNameBytes = 16;
// The first sample: the end of the supplier name (372) + 2 x (264 - 264 / 2 - 54).
inline constexpr int32_t kSamples = 528;

}  // namespace tarnvik::ktr_record
