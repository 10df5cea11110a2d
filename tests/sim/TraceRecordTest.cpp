// The record the simulator stores for a trace, checked byte by byte at the offsets the
// library decodes, and read back with the library's decoding rules written out here.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "ktr915sim/TraceRecord.h"
#include "support/Fixtures.h"
#include "tarnvik/instrument/KtrRecord.h"

namespace tarnvik::sim {
namespace {

namespace rec = ktr_record;
using testing::TempDirTest;

uint32_t Word(const std::vector<uint8_t>& r, int32_t offset) {
  return r.at(static_cast<std::size_t>(offset)) | uint32_t{r.at(static_cast<std::size_t>(offset) + 1)} << 8;
}

std::shared_ptr<CTrace> KnownTrace() {
  auto t = std::make_shared<CTrace>();
  t->SetNumberOfAverages(70000);
  t->SetDistanceUnits(DU_Kilofeet);
  t->SetPulseWidth(1000);
  t->SetGroupIndex(146850);
  t->SetBackScatterCoefficient(-79.5f);
  t->SetDataPointSpacing(2500000);
  t->SetNominalWavelength(1550);
  t->SetLanguageCode("42");
  t->SetCurrentDataFlag("BC");
  t->SetNoiseFloorLevel(2500);
  t->SetLossThreshold(0.5f);
  t->SetReflectanceThreshold(-40.0f);
  t->SetEndofFiberThreshold(3.5f);
  t->SetModuleID("MOD1");
  t->SetMainFrameID("KTR915");
  t->SetMajorVersion(2);
  t->SetMinorVersion(1);
  t->SetRevision(7);
  t->SetSupplierName("Tärnvik");
  t->SetSamples(3);
  t->SetDataPointArray({0, 12345, 65535});
  return t;
}

TEST(TraceRecord, WordsAtTheirOffsetsAndReadBackByTheDecodingRules) {
  const auto t = KnownTrace();
  const std::vector<uint8_t> r = EncodeTraceRecord(*t);
  ASSERT_EQ(r.size(), 528u + 6u);

  // The library's decoding, field by field: the word it reads and what it makes of it.
  struct Field {
    int32_t offset;
    uint32_t word;
    double decoded;   // the library's value from that word
    double property;  // the trace's own value
  };
  const uint32_t high = Word(r, rec::kAveragesHigh), low = Word(r, rec::kAveragesLow);
  auto F = [](int32_t offset, uint32_t word, double decoded, double property) {
    return Field{offset, word, decoded, property};
  };
  const Field fields[] = {
      F(rec::kAveragesHigh, 1, high * 65536.0 + low, 70000),
      F(rec::kAveragesLow, 4464, high * 65536.0 + low, 70000),
      F(rec::kPulseWidth, 100, Word(r, rec::kPulseWidth) * 10.0, t->PulseWidth()),
      F(rec::kSampleCount, 3, Word(r, rec::kSampleCount), t->Samples()),
      F(rec::kGroupIndex, 14685, Word(r, rec::kGroupIndex) * 10.0, t->GroupIndex()),
      F(rec::kBackscatter, 795, -(Word(r, rec::kBackscatter) / 10.0), t->BackScatterCoefficient()),
      F(rec::kPointSpacing, 5, Word(r, rec::kPointSpacing) * 500000.0, t->DataPointSpacing()),
      F(rec::kWavelength, 1550, Word(r, rec::kWavelength), t->NominalWavelength()),
      F(rec::kNoiseFloor, 25000, std::nearbyint(Word(r, rec::kNoiseFloor) / 10.0), t->NoiseFloorLevel()),
      F(rec::kLossThreshold, 5, Word(r, rec::kLossThreshold) / 10.0, t->LossThreshold()),
      F(rec::kReflectanceThreshold, 400, -(Word(r, rec::kReflectanceThreshold) / 10.0), t->ReflectanceThreshold()),
      F(rec::kEndOfFiberThreshold, 35, Word(r, rec::kEndOfFiberThreshold) / 10.0, t->EndofFiberThreshold()),
      F(rec::kSamples, 0, Word(r, rec::kSamples), t->DataPoints(1)),
      F(rec::kSamples + 2, 12345, Word(r, rec::kSamples + 2), t->DataPoints(2)),
      F(rec::kSamples + 4, 65535, Word(r, rec::kSamples + 4), t->DataPoints(3)),
  };
  for (const auto& f : fields) {
    SCOPED_TRACE("offset " + std::to_string(f.offset));
    EXPECT_EQ(Word(r, f.offset), f.word);
    EXPECT_FLOAT_EQ(static_cast<float>(f.decoded), static_cast<float>(f.property));
  }

  // Codes: the unit's number, and the two-character texts the library makes of a word.
  EXPECT_EQ(Word(r, rec::kDistanceUnit), 2u);
  EXPECT_EQ(Word(r, rec::kLanguageCode), 42u);
  EXPECT_EQ(Word(r, rec::kCurrentDataFlag), 0u);
  const EnumDistanceUnits units[] = {DU_Meters, DU_Meters, DU_Kilofeet, DU_Feet, DU_Miles, DU_Kilometers};
  EXPECT_EQ(units[std::min(Word(r, rec::kDistanceUnit), 5u)], t->DistanceUnits());
  auto code = [&](int32_t offset, const char* otherwise) {
    const std::string text = std::to_string(Word(r, offset));
    return text.size() == 2 ? text : otherwise;
  };
  EXPECT_EQ(code(rec::kLanguageCode, "EN"), t->LanguageCode());
  EXPECT_EQ(code(rec::kCurrentDataFlag, "BC"), t->CurrentDataFlag());

  // Texts: UTF-16LE, padded with zero characters to their width.
  auto text = [&](int32_t offset, int32_t width) {
    return std::vector<uint8_t>(r.begin() + offset, r.begin() + offset + width);
  };
  EXPECT_EQ(text(rec::kModuleId, rec::kModuleIdBytes), (std::vector<uint8_t>{'M', 0, 'O', 0, 'D', 0, '1', 0, 0, 0}));
  EXPECT_EQ(text(rec::kMainFrameId, 16),
            (std::vector<uint8_t>{'K', 0, 'T', 0, 'R', 0, '9', 0, '1', 0, '5', 0, 0, 0, 0, 0}));
  EXPECT_EQ(text(rec::kSoftwareVersion, 16),
            (std::vector<uint8_t>{'V', 0, '2', 0, '.', 0, '1', 0, '.', 0, '7', 0, 0, 0, 0, 0}));
  EXPECT_EQ(text(rec::kSupplierName, 16),
            (std::vector<uint8_t>{'T', 0, 0xE4, 0, 'r', 0, 'n', 0, 'v', 0, 'i', 0, 'k', 0, 0, 0}));
  // Everything the library does not read stays zero.
  for (int32_t i : {0, 263, 294, 313, 372, 527}) EXPECT_EQ(r[static_cast<std::size_t>(i)], 0) << i;
}

TEST(TraceRecord, CodesRoundingAndUnits) {
  struct Case {
    const char* what;
    std::function<void(CTrace&)> set;
    int32_t offset;
    uint32_t word;
  };
  const Case cases[] = {
      {"metres", [](CTrace& t) { t.SetDistanceUnits(DU_Meters); }, rec::kDistanceUnit, 1},
      {"feet", [](CTrace& t) { t.SetDistanceUnits(DU_Feet); }, rec::kDistanceUnit, 3},
      {"miles", [](CTrace& t) { t.SetDistanceUnits(DU_Miles); }, rec::kDistanceUnit, 4},
      {"kilometres", [](CTrace& t) { t.SetDistanceUnits(DU_Kilometers); }, rec::kDistanceUnit, 5},
      {"pulse 25 ns: half to even", [](CTrace& t) { t.SetPulseWidth(25); }, rec::kPulseWidth, 2},
      {"pulse 35 ns: half to even", [](CTrace& t) { t.SetPulseWidth(35); }, rec::kPulseWidth, 4},
      {"spacing 1250000: half to even", [](CTrace& t) { t.SetDataPointSpacing(1250000); }, rec::kPointSpacing, 2},
      {"positive backscatter: its magnitude", [](CTrace& t) { t.SetBackScatterCoefficient(81.2f); }, rec::kBackscatter,
       812},
      {"language code EN: the library's default", [](CTrace& t) { t.SetLanguageCode("EN"); }, rec::kLanguageCode, 0},
      {"data flag 10", [](CTrace& t) { t.SetCurrentDataFlag("10"); }, rec::kCurrentDataFlag, 10},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    auto t = KnownTrace();
    c.set(*t);
    EXPECT_EQ(Word(EncodeTraceRecord(*t), c.offset), c.word);
  }
}

class TraceRecordLimits : public TempDirTest {};

TEST_F(TraceRecordLimits, UnrepresentableValuesRaiseSixOrClamp) {
  struct Case {
    std::function<void(CTrace&)> set;
    std::string description;
    int32_t offset;
    uint32_t clamped;
  };
  const Case cases[] = {
      {[](CTrace& t) { t.SetNoiseFloorLevel(20000); },
       "NoiseFloorLevel 20000 is stored as 200000, outside the record's 16-bit word (0 to 65535)", rec::kNoiseFloor,
       65535},
      {[](CTrace& t) { t.SetNumberOfAverages(-1); },
       "NumberOfAverages -1 is stored as -1, outside the record's 16-bit word (0 to 65535)", rec::kAveragesHigh, 0},
      {[](CTrace& t) { t.SetNominalWavelength(-5); },
       "NominalWavelength -5 is stored as -5, outside the record's 16-bit word (0 to 65535)", rec::kWavelength, 0},
      {[](CTrace& t) { t.SetDataPoints(2, 70000); },
       "sample 2 70000 is stored as 70000, outside the record's 16-bit word (0 to 65535)", rec::kSamples + 2, 65535},
      {[](CTrace& t) { t.SetDataPoints(3, -3); },
       "sample 3 -3 is stored as -3, outside the record's 16-bit word (0 to 65535)", rec::kSamples + 4, 0},
      {[](CTrace& t) { t.SetDistanceUnits(static_cast<EnumDistanceUnits>(9)); },
       "DistanceUnits 9 has no instrument code", rec::kDistanceUnit, 1},
      {[](CTrace& t) { t.SetLanguageCode("FR"); },
       "LanguageCode \"FR\" cannot be stored: the record keeps a number, which the library reads as its two digits "
       "or as \"EN\"",
       rec::kLanguageCode, 0},
      {[](CTrace& t) { t.SetCurrentDataFlag("07"); },
       "CurrentDataFlag \"07\" cannot be stored: the record keeps a number, which the library reads as its two "
       "digits or as \"BC\"",
       rec::kCurrentDataFlag, 0},
      {[](CTrace& t) { t.SetModuleID("MODULE"); }, "ModuleID \"MODULE\" is longer than the record's 5 characters",
       rec::kModuleId + 8, 'L'},
      {[](CTrace& t) { t.SetMajorVersion(1000); },
       "software version \"V1000.1.7\" is longer than the record's 8 characters", rec::kSoftwareVersion + 14, '.'},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.description);
    auto t = KnownTrace();
    c.set(*t);
    EXPECT_RAISES(EncodeTraceRecord(*t), 6, "TraceRecord:EncodeTraceRecord()", c.description);
    EXPECT_EQ(Word(EncodeTraceRecord(*t, OutOfRange::Clamp), c.offset), c.clamped);
  }
}

TEST(TraceRecord, InstrumentFileNames) {
  struct Case {
    const char* cable;
    int32_t fiber;
    EnumFiberTypes type;
    int32_t wavelength;
    const char* name;
  };
  const Case cases[] = {
      {"CABLE7", 12, FT_SingleMode, 1550, "CABLE7_12_S15"},
      {"CABLE7", 12, FT_MultiMode, 1300, "CABLE7_12_M13"},
      {"C", 1, FT_SingleMode, 1310, "C_1_S13"},
      {"C", 2, FT_MultiMode, 850, "C_2_M85"},
      {"C", 3, FT_SingleMode, 1625, "C_3_S16"},
      {"C", 4, FT_SingleMode, 1480, "C_4_S14"},
      {"C", 5, FT_Unknown, 1390, "C_5_U00"},
  };
  for (const auto& c : cases) EXPECT_EQ(InstrumentFileName(c.cable, c.fiber, c.type, c.wavelength), c.name);
  CTrace t;  // no cable: a placeholder keeps the name's three fields
  t.SetFiberNumber(9);
  t.SetFiberType(FT_SingleMode);
  t.SetNominalWavelength(1550);
  EXPECT_EQ(InstrumentFileName(t), "CABLE_9_S15");
}

}  // namespace
}  // namespace tarnvik::sim
