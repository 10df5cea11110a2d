// The record the simulator stores for a trace, checked word by word at the offsets the
// library decodes, and what it does with values the record cannot hold.
#include <gtest/gtest.h>

#include <functional>
#include <iterator>
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

// The words the library's decoder reads back as KnownTrace's values (its own tests pin the
// decoding: averages high * 65536 + low, pulse / 10, spacing / 500000, noise floor * 10...).
TEST(TraceRecord, WordsAtTheirOffsets) {
  const std::vector<uint8_t> r = EncodeTraceRecord(*KnownTrace());
  ASSERT_EQ(r.size(), 528u + 6u);
  const struct {
    int32_t offset;
    uint32_t word;
  } words[] = {
      {rec::kAveragesHigh, 1},    {rec::kAveragesLow, 4464},       {rec::kPulseWidth, 100},
      {rec::kSampleCount, 3},     {rec::kGroupIndex, 14685},       {rec::kBackscatter, 795},
      {rec::kPointSpacing, 5},    {rec::kWavelength, 1550},        {rec::kNoiseFloor, 25000},
      {rec::kLossThreshold, 5},   {rec::kReflectanceThreshold, 400}, {rec::kEndOfFiberThreshold, 35},
      {rec::kDistanceUnit, 2},    {rec::kLanguageCode, 42},        {rec::kCurrentDataFlag, 0},
      {rec::kSamples, 0},         {rec::kSamples + 2, 12345},      {rec::kSamples + 4, 65535},
  };
  for (const auto& w : words) EXPECT_EQ(Word(r, w.offset), w.word) << "offset " << w.offset;

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

class TraceRecordCases : public TempDirTest {};

// One property changed from KnownTrace: the word it is stored as, or (with an error) the
// 6 it raises and the word it is clamped to when clamping is asked for.
TEST_F(TraceRecordCases, CodesRoundingAndUnrepresentableValues) {
  struct Case {
    std::function<void(CTrace&)> set;
    int32_t offset;
    uint32_t word;
    const char* error = nullptr;
  };
  const Case cases[] = {
      {[](CTrace& t) { t.SetDistanceUnits(DU_Meters); }, rec::kDistanceUnit, 1},
      {[](CTrace& t) { t.SetDistanceUnits(DU_Feet); }, rec::kDistanceUnit, 3},
      {[](CTrace& t) { t.SetDistanceUnits(DU_Miles); }, rec::kDistanceUnit, 4},
      {[](CTrace& t) { t.SetDistanceUnits(DU_Kilometers); }, rec::kDistanceUnit, 5},
      {[](CTrace& t) { t.SetPulseWidth(25); }, rec::kPulseWidth, 2},  // halves to even
      {[](CTrace& t) { t.SetPulseWidth(35); }, rec::kPulseWidth, 4},
      {[](CTrace& t) { t.SetDataPointSpacing(1250000); }, rec::kPointSpacing, 2},
      {[](CTrace& t) { t.SetBackScatterCoefficient(81.2f); }, rec::kBackscatter, 812},  // its magnitude
      {[](CTrace& t) { t.SetLanguageCode("EN"); }, rec::kLanguageCode, 0},  // the library's default
      {[](CTrace& t) { t.SetCurrentDataFlag("10"); }, rec::kCurrentDataFlag, 10},
      {[](CTrace& t) { t.SetNoiseFloorLevel(20000); }, rec::kNoiseFloor, 65535,
       "NoiseFloorLevel 20000 is stored as 200000, outside the record's 16-bit word (0 to 65535)"},
      {[](CTrace& t) { t.SetNumberOfAverages(-1); }, rec::kAveragesHigh, 0,
       "NumberOfAverages -1 is stored as -1, outside the record's 16-bit word (0 to 65535)"},
      {[](CTrace& t) { t.SetNominalWavelength(-5); }, rec::kWavelength, 0,
       "NominalWavelength -5 is stored as -5, outside the record's 16-bit word (0 to 65535)"},
      {[](CTrace& t) { t.SetDataPoints(2, 70000); }, rec::kSamples + 2, 65535,
       "sample 2 70000 is stored as 70000, outside the record's 16-bit word (0 to 65535)"},
      {[](CTrace& t) { t.SetDataPoints(3, -3); }, rec::kSamples + 4, 0,
       "sample 3 -3 is stored as -3, outside the record's 16-bit word (0 to 65535)"},
      {[](CTrace& t) { t.SetDistanceUnits(static_cast<EnumDistanceUnits>(9)); }, rec::kDistanceUnit, 1,
       "DistanceUnits 9 has no instrument code"},
      {[](CTrace& t) { t.SetLanguageCode("FR"); }, rec::kLanguageCode, 0,
       "LanguageCode \"FR\" cannot be stored: the record keeps a number, which the library reads as its two digits "
       "or as \"EN\""},
      {[](CTrace& t) { t.SetCurrentDataFlag("07"); }, rec::kCurrentDataFlag, 0,
       "CurrentDataFlag \"07\" cannot be stored: the record keeps a number, which the library reads as its two "
       "digits or as \"BC\""},
      {[](CTrace& t) { t.SetModuleID("MODULE"); }, rec::kModuleId + 8, 'L',
       "ModuleID \"MODULE\" is longer than the record's 5 characters"},
      {[](CTrace& t) { t.SetMajorVersion(1000); }, rec::kSoftwareVersion + 14, '.',
       "software version \"V1000.1.7\" is longer than the record's 8 characters"},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    const Case& c = cases[i];
    SCOPED_TRACE("case " + std::to_string(i));
    auto t = KnownTrace();
    c.set(*t);
    if (c.error != nullptr) {
      EXPECT_RAISES(EncodeTraceRecord(*t), 6, "TraceRecord:EncodeTraceRecord()", c.error);
      EXPECT_EQ(Word(EncodeTraceRecord(*t, OutOfRange::Clamp), c.offset), c.word);
    } else {
      EXPECT_EQ(Word(EncodeTraceRecord(*t), c.offset), c.word);
    }
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
