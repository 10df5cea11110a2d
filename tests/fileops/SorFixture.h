// A SOR file whose every field a test can set, assembled byte by byte, with defaults
// that read into a trace without error (a reflectance threshold of 0, one pulse width).
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "support/Fixtures.h"
#include "support/SorBytes.h"

namespace tarnvik::testing {

struct KeyEventFields {
  int32_t number = 1;
  int32_t time = 0;        // SOR time units
  int32_t atten = 0;       // thousandths of a dB/km
  int32_t loss = 0;        // thousandths of a dB
  int32_t reflectance = 0; // as stored: a positive value reads as its negative
  std::string code = "0F9999";
  std::string lossMT = "LS";
  std::string comment = " ";
  // The vendor copy's own fields.
  std::string type = "SI";
  uint32_t level = 0;
  int32_t groupEnd = 0;
  int32_t markers[5] = {0, 0, 0, 0, 0};
};

struct SorFixture {
  // GenParams
  std::string language = "EN", cableID = " ", fiberID = "4", origin = " ", terminus = " ", cableCode = " ";
  std::string dataFlag = "BC", op = " ", comment = " ";
  int32_t nominal = 1310, userOffset = 0;
  // SupParams
  std::string supplier = "Tarnvik", mainframe = " ", mainframeSN = " ", module = " ", moduleSN = " ";
  std::string softwareRev = "1.2.3", other = " ";
  // FxdParams
  int32_t dateTime = 1700000000;
  std::string units = "km";
  int32_t actual = 13100, acqOffset = 0, pulseCount = 1, pulseWidth = 100, spacing = 0, points = 0;
  int32_t groupIndex = 146800, backScatter = 800, averages = 0, acqRange = 250000, frontPanel = 0;
  uint32_t noiseFloor = 0, powerOffset = 0, lossThreshold = 200, reflThreshold = 0, eofThreshold = 3000;
  int32_t noiseScale = 1000;
  // DataPts: one group when withData
  bool withData = true;
  int32_t scaleFactor = 1000;
  std::vector<uint32_t> samples = {1000, 2000, 3000};
  // KeyEvents, and the vendor blocks
  bool withKeyEvents = false;
  std::vector<KeyEventFields> events;
  int32_t endLoss = 0, endStart = 0, endEnd = 0, orlStart = 0, orlEnd = 0;
  uint32_t orl = 0;
  bool withOrvik = false;
  int32_t orvikA = 0, orvikB = 0;
  std::vector<uint32_t> orvikLevels;
  int32_t orvik2Revision = 0;  // 0: no "Orvik2" block
  std::vector<int32_t> cursors;
  int32_t vendorEventsDropped = 0;  // leave this many events out of the vendor copy
  int32_t orvik2FiberID = 0;

  Bytes Build() const;
};

}  // namespace tarnvik::testing
