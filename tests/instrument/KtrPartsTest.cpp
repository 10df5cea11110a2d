// The KTR 915 session's parts that need no serial line: the command holder, the file
// table, the packet frame, the file-name and version parsers and the record decoder.
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "instrument/KtrTestRecord.h"
#include "support/Fixtures.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/instrument/CKTR915FAT.h"
#include "tarnvik/instrument/CKTRCommand.h"
#include "tarnvik/instrument/KTR915Record.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {
namespace {

using testing::Capture;
using testing::KtrFileTable;
using testing::KtrRecordBytes;

ByteArray FromOne(const std::vector<uint8_t>& bytes) { return ByteArray::FromBytes(bytes.data(), bytes.size(), 1); }

TEST(KtrCommandTest, ParametersFollowTheCount) {
  CKTRCommand command;
  command.SetCommandType("D");
  EXPECT_EQ(command.CommandType(), "D");
  EXPECT_EQ(command.ParamsCount(), 0);
  EXPECT_RAISES(command.Params(1), 9, "CKTRCommand:Get Params()", "Subscript out of range");

  command.SetParamsCount(3);
  command.SetParams(1, "32");
  command.SetParams(3, "51");
  EXPECT_EQ(command.Params(1), "32");
  EXPECT_EQ(command.Params(2), "");
  EXPECT_EQ(command.Params(3), "51");
  EXPECT_RAISES(command.SetParams(4, "x"), 9, "CKTRCommand:Let Params()", "Subscript out of range");
  EXPECT_RAISES(command.Params(0), 9, "CKTRCommand:Get Params()", "Subscript out of range");

  // Shrinking keeps what still fits; a negative count is refused and changes nothing.
  command.SetParamsCount(1);
  EXPECT_EQ(command.Params(1), "32");
  EXPECT_RAISES(command.Params(2), 9, "CKTRCommand:Get Params()", "Subscript out of range");
  EXPECT_RAISES(command.SetParamsCount(-1), 9, "CKTRCommand:Let ParamsCount()", "Subscript out of range");
  EXPECT_EQ(command.ParamsCount(), 1);
}

class KtrFileTableTest : public testing::TempDirTest {};

TEST_F(KtrFileTableTest, LoadsAndResizesItsLists) {
  CKTR915FAT fat;
  EXPECT_RAISES(fat.FileCount(), 9, "CKTR915FAT:Get FileCount()", "Subscript out of range");

  ByteArray table = FromOne(KtrFileTable(1290, {0x0100, 0x0140, 0xFFFF}, 0xBEEF));
  table.ReDimPreserve(table.UBound() + 4);  // bytes after the last pointer are ignored
  fat.LoadFromArray(table, 1290);
  EXPECT_EQ(fat.Guard(), 1290);
  EXPECT_EQ(fat.RefreshCount(), 0xBEEF);
  ASSERT_EQ(fat.FileCount(), 3);
  EXPECT_EQ(fat.FilePointers(1), 0x0100);
  EXPECT_EQ(fat.FilePointers(2), 0x0140);
  EXPECT_EQ(fat.FilePointers(3), 0xFFFF);
  EXPECT_EQ(fat.FileNames(3), "");
  EXPECT_RAISES(fat.FilePointers(4), 9, "CKTR915FAT:Get FilePointers()", "Subscript out of range");
  EXPECT_RAISES(fat.SetFileNames(0, "x"), 9, "CKTR915FAT:Let FileNames()", "Subscript out of range");

  // A second, shorter table keeps the names of the files that remain.
  fat.SetFileNames(1, "A_1_S15");
  fat.SetFileNames(2, "B_2_S15");
  ByteArray shorter = FromOne(KtrFileTable(1290, {0x0200}));
  fat.LoadFromArray(shorter, 1290);
  ASSERT_EQ(fat.FileCount(), 1);
  EXPECT_EQ(fat.FilePointers(1), 0x0200);
  EXPECT_EQ(fat.FileNames(1), "A_1_S15");
  fat.SetFileCount(2);
  EXPECT_EQ(fat.FileNames(1), "A_1_S15");
  EXPECT_EQ(fat.FileNames(2), "");

  // No files: one placeholder at index 0, so the count reads 0.
  ByteArray empty = FromOne(KtrFileTable(1290, {}));
  fat.LoadFromArray(empty, 1290);
  EXPECT_EQ(fat.FileCount(), 0);
  EXPECT_EQ(fat.FilePointers(0), 0);
  EXPECT_RAISES(fat.FileNames(1), 9, "CKTR915FAT:Get FileNames()", "Subscript out of range");
  // From there a new count starts afresh at 1.
  fat.SetFileCount(2);
  EXPECT_EQ(fat.FileCount(), 2);
  EXPECT_RAISES(fat.FileNames(0), 9, "CKTR915FAT:Get FileNames()", "Subscript out of range");
  EXPECT_RAISES(fat.SetFileCount(-1), 9, "CKTR915FAT:Let FileCount()", "Subscript out of range");
}

TEST_F(KtrFileTableTest, GuardAndShortTableErrors) {
  CKTR915FAT fat;
  // 1290 is 0x0A, 0x05 low byte first; swapped, the memory reads as unformatted. That
  // error reaches the caller without a log line of its own, before the count is read.
  ByteArray swapped = FromOne({0x05, 0x0A});
  EXPECT_RAISES(fat.LoadFromArray(swapped, 1290), 11004, "CKTR915FAT:LoadFromArray()", "KTR Memory is not formatted");
  EXPECT_EQ(fat.Guard(), 0x0A05);
  EXPECT_TRUE(LogLines().empty());
  ByteArray formatted = FromOne({0x0A, 0x05});
  EXPECT_RAISES(fat.LoadFromArray(formatted, 1291), 11004, "CKTR915FAT:LoadFromArray()", "KTR Memory is not formatted");

  // Fewer pointers than announced: the decoder's 9, logged under the table.
  std::vector<uint8_t> bytes = KtrFileTable(1290, {1, 2, 3});
  bytes.resize(bytes.size() - 1);
  ByteArray shortTable = FromOne(bytes);
  EXPECT_RAISES(fat.LoadFromArray(shortTable, 1290), 9, "CKTR915FAT:LoadFromArray()", "Subscript out of range");
  ASSERT_EQ(LogLines().size(), 1u);
  const auto fields = Fields(LogLines()[0]);
  ASSERT_GE(fields.size(), 4u);
  EXPECT_EQ(fields[0], "9");
  EXPECT_EQ(fields[2], "CKTR915FAT");
  EXPECT_EQ(fields[3], "LoadFromArray()");
}

TEST(KtrPacketTest, FramesAreByteExact) {
  using detail::BuildKtrPacket;
  // No parameters: an array never dimensioned, or one with no elements. (Whole requests are
  // checked byte for byte where the session sends them.)
  const std::vector<uint8_t> ack = {0x01, 0x03, 'Y', 0x03 ^ 'Y'};
  EXPECT_EQ(BuildKtrPacket("Y", ByteArray()), ack);
  EXPECT_EQ(BuildKtrPacket("Y", ByteArray(1, 0)), ack);
  // Only the first character of the command counts; a checksum may well be 0.
  EXPECT_EQ(BuildKtrPacket("Dx", FromOne({0x40, 0x00})), (std::vector<uint8_t>{0x01, 0x04, 'D', 0x40, 0x00, 0x00}));

  // Odd sizes are sized from half the upper bound, rounded half to even.
  struct OddCase {
    int32_t lower, upper;
    bool fits;
  };
  for (const OddCase c : {OddCase{1, 1, false}, OddCase{1, 5, false}, OddCase{0, 0, false}, OddCase{1, 3, true},
                          OddCase{1, 7, true}}) {
    SCOPED_TRACE(std::to_string(c.lower) + ".." + std::to_string(c.upper));
    ByteArray params(c.lower, c.upper);
    for (int32_t i = c.lower; i <= c.upper; ++i) params[i] = static_cast<uint8_t>(0x10 + i);
    const testing::Raised r = Capture([&] { (void)BuildKtrPacket("D", params); });
    EXPECT_EQ(r.raised, !c.fits);
    if (!c.fits) {
      EXPECT_EQ(r.number, 9);
    }
  }
  // 1..3: two words announced, three bytes and the checksum, then a zero.
  EXPECT_EQ(BuildKtrPacket("D", FromOne({0x11, 0x12, 0x13})),
            (std::vector<uint8_t>{0x01, 0x05, 'D', 0x11, 0x12, 0x13, 0x05 ^ 'D' ^ 0x11 ^ 0x12 ^ 0x13, 0x00}));

  EXPECT_EQ(Capture([] { (void)BuildKtrPacket("", ByteArray()); }).number, 5);
  EXPECT_EQ(Capture([] { (void)BuildKtrPacket("\xE2\x82\xAC", ByteArray()); }).number, 6);  // U+20AC
  EXPECT_EQ(Capture([] { (void)BuildKtrPacket("D", ByteArray(1, 506)); }).number, 6);       // 256 words
  EXPECT_EQ(BuildKtrPacket("D", ByteArray(1, 504)).size(), 508u);                             // 252 words
}

TEST(KtrFileNameTest, FieldsOfTheName) {
  const CKTR915 session;
  struct NameCase {
    const char* name;
    const char* cable;
    int16_t fiber;
    EnumFiberTypes type;
    int16_t wavelength;
  };
  const NameCase cases[] = {
      {"CABLE7_12_S15", "CABLE7", 12, FT_SingleMode, 1550},
      {"CABLE7_12_M13", "CABLE7", 12, FT_MultiMode, 1300},
      {"CABLE7_x_S13", "CABLE7", 0, FT_SingleMode, 1310},
      {"CABLE7_3_s15", "CABLE7", 3, FT_SingleMode, 1550},
      {"CABLE7_3_m85", "CABLE7", 3, FT_MultiMode, 850},
      {"C_4_X13", "C", 4, FT_Unknown, 0},
      {"C_4_S14", "C", 4, FT_SingleMode, 1480},
      {"C_4_S16extra_more", "C", 4, FT_SingleMode, 1625},
      {"C_2.5_S1", "C", 2, FT_SingleMode, 0},  // half to even; a one-character code is no code
      {"C_ 7 _S99", "C", 7, FT_SingleMode, 0},
      {"Kabel \xC3\xB8st_-0_\xC3\xB8" "15", "Kabel \xC3\xB8st", 0, FT_Unknown, 1550},
      {"__", "", 0, FT_Unknown, 0},
  };
  for (const NameCase& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(session.ParseCableID(c.name), c.cable);
    EXPECT_EQ(session.ParseFiberNumber(c.name), c.fiber);
    EXPECT_EQ(session.ParseFiberType(c.name), c.type);
    EXPECT_EQ(session.ParseWavelength(c.name), c.wavelength);
  }
  // Missing fields; a fiber number beyond 16 bits.
  EXPECT_RAISES(session.ParseFiberType("CABLE7_12"), 9, "CKTR915:ParseFiberType()", "Subscript out of range");
  EXPECT_RAISES(session.ParseWavelength("CABLE7_12"), 9, "CKTR915:ParseWavelength()", "Subscript out of range");
  EXPECT_RAISES(session.ParseFiberNumber("CABLE7"), 9, "CKTR915:ParseFiberNumber()", "Subscript out of range");
  EXPECT_RAISES(session.ParseCableID(""), 9, "CKTR915:ParseCableID()", "Subscript out of range");
  EXPECT_RAISES(session.ParseFiberNumber("C_40000_S15"), 6, "CKTR915:ParseFiberNumber()", "Overflow");
}

TEST(KtrVersionTest, VersionAndModuleTexts) {
  struct VersionCase {
    const char* text;
    int16_t major, minor, revision;
  };
  const VersionCase cases[] = {
      {"KTR915 V2.10.3", 2, 10, 3}, {"  v1.5 ", 1, 5, 0},      {"V7", 7, 0, 0},
      {"Ver 3.2.1.9", 3, 2, 1},     {"V2.x3.4b", 2, 0, 4},     {"SW V", 0, 0, 0},
      {"12345678", 5, 6, 7},        {"ABCD1x", 1, 0, 0},       {"KTR", 0, 0, 0},
  };
  for (const VersionCase& c : cases) {
    SCOPED_TRACE(c.text);
    int16_t major = -1;
    int16_t minor = -1;
    int16_t revision = -1;
    detail::ParseSoftwareVersion(c.text, major, minor, revision);
    EXPECT_EQ(major, c.major);
    EXPECT_EQ(minor, c.minor);
    EXPECT_EQ(revision, c.revision);
  }
  int16_t a = 0;
  int16_t b = 0;
  int16_t c = 0;
  EXPECT_EQ(Capture([&] { detail::ParseSoftwareVersion("V1.99999", a, b, c); }).number, 6);

  EXPECT_EQ(detail::ParseFirmwareModule("  OTM-13S rev B "), "OTM-13S");
  EXPECT_EQ(detail::ParseFirmwareModule("OTM"), "OTM");
  EXPECT_EQ(detail::ParseFirmwareModule("   "), "");
}

// A record with every field set to a value that tells it apart.
KtrRecordBytes SampleRecord() {
  namespace r = ktr_record;
  KtrRecordBytes record({0, 1, 65535, 300, 12});
  record.PutWord(r::kAveragesHigh, 1)
      .PutWord(r::kAveragesLow, 2)
      .PutWord(r::kDistanceUnit, 5)
      .PutWord(r::kPulseWidth, 100)
      .PutWord(r::kGroupIndex, 14682)
      .PutWord(r::kBackscatter, 805)
      .PutWord(r::kPointSpacing, 3)
      .PutWord(r::kWavelength, 1550)
      .PutWord(r::kLanguageCode, 45)
      .PutWord(r::kCurrentDataFlag, 12)
      .PutWord(r::kNoiseFloor, 25)
      .PutWord(r::kLossThreshold, 123)
      .PutWord(r::kReflectanceThreshold, 655)
      .PutWord(r::kEndOfFiberThreshold, 7)
      .PutText(r::kModuleId, r::kModuleIdBytes, u"OTM13")
      .PutText(r::kMainFrameId, r::kMainFrameIdBytes, u"  KTR915 ")
      .PutText(r::kSoftwareVersion, r::kSoftwareVersionBytes, std::u16string(u"V2.10.3") + u'\0' + u"9.9")
      .PutText(r::kSupplierName, r::kSupplierNameBytes, u"Str\u00F6m AB");
  // Bytes the decoder must not read.
  record.PutWord(0, 0xFFFF).PutWord(300, 0xFFFF).PutWord(400, 0xFFFF);
  return record;
}

TEST(KtrRecordTest, DecodesEveryField) {
  ByteArray bytes = SampleRecord().Array();
  const std::shared_ptr<CTrace> trace = detail::ConvertByteArrayToTrace(bytes);
  EXPECT_EQ(trace->NumberOfAverages(), 65538);
  EXPECT_EQ(trace->DistanceUnits(), DU_Kilometers);
  EXPECT_EQ(trace->PulseWidth(), 1000);
  EXPECT_EQ(trace->Samples(), 5);
  EXPECT_EQ(trace->GroupIndex(), 146820);
  EXPECT_EQ(trace->BackScatterCoefficient(), static_cast<float>(-80.5));
  EXPECT_EQ(trace->DataPointSpacing(), 1500000);
  EXPECT_EQ(trace->NominalWavelength(), 1550);
  EXPECT_EQ(trace->LanguageCode(), "45");
  EXPECT_EQ(trace->CurrentDataFlag(), "12");
  EXPECT_EQ(trace->NoiseFloorLevel(), 2);  // 2.5, half to even
  EXPECT_EQ(trace->LossThreshold(), static_cast<float>(12.3));
  EXPECT_EQ(trace->ReflectanceThreshold(), static_cast<float>(-65.5));
  EXPECT_EQ(trace->EndofFiberThreshold(), static_cast<float>(0.7));
  EXPECT_EQ(trace->ModuleID(), "OTM13");
  EXPECT_EQ(trace->MainFrameID(), "KTR915");
  EXPECT_EQ(trace->MajorVersion(), 2);
  EXPECT_EQ(trace->MinorVersion(), 10);
  EXPECT_EQ(trace->Revision(), 3);
  EXPECT_EQ(trace->SupplierName(), "Str\xC3\xB6m AB");
  EXPECT_EQ(trace->DataPointArray(), (std::vector<int32_t>{0, 1, 65535, 300, 12}));
  // 5 / 10000 x 1500000 / 50; 3 samples at spacing 3 come out as 8.999999999999998.
  EXPECT_EQ(trace->AquisitionRange(), 15);
  EXPECT_EQ(trace->NoiseFloorScaleFactor(), 1000);
  EXPECT_EQ(trace->DataPointsPerPW(), 5);

  KtrRecordBytes three({7, 8, 9});
  three.PutWord(ktr_record::kPointSpacing, 3).PutWord(ktr_record::kGroupIndex, 14682);
  ByteArray threeBytes = three.Array();
  EXPECT_EQ(detail::ConvertByteArrayToTrace(threeBytes)->AquisitionRange(), 9);
}

TEST(KtrRecordTest, CodesAndLimits) {
  namespace r = ktr_record;
  const EnumDistanceUnits units[] = {DU_Meters, DU_Meters, DU_Kilofeet, DU_Feet, DU_Miles, DU_Kilometers, DU_Meters};
  for (uint16_t code = 0; code <= 6; ++code) {
    KtrRecordBytes record = SampleRecord();
    record.PutWord(r::kDistanceUnit, code);
    ByteArray bytes = record.Array();
    EXPECT_EQ(detail::ConvertByteArrayToTrace(bytes)->DistanceUnits(), units[code]) << "code " << code;
  }
  // Two-character codes, else the defaults; noise floor halves go to even.
  struct CodeCase {
    uint16_t value;
    const char* language;
    const char* flag;
    int32_t noise;
  };
  for (const CodeCase c : {CodeCase{9, "EN", "BC", 1}, CodeCase{10, "10", "10", 1}, CodeCase{99, "99", "99", 10},
                           CodeCase{100, "EN", "BC", 10}, CodeCase{35, "35", "35", 4}}) {
    KtrRecordBytes record = SampleRecord();
    record.PutWord(r::kLanguageCode, c.value).PutWord(r::kCurrentDataFlag, c.value).PutWord(r::kNoiseFloor, c.value);
    ByteArray bytes = record.Array();
    const auto trace = detail::ConvertByteArrayToTrace(bytes);
    EXPECT_EQ(trace->LanguageCode(), c.language) << c.value;
    EXPECT_EQ(trace->CurrentDataFlag(), c.flag) << c.value;
    EXPECT_EQ(trace->NoiseFloorLevel(), c.noise) << c.value;
  }

  // A record cut anywhere fails with 9; out-of-range values with the trace's own numbers.
  for (std::size_t keep : {std::size_t{0}, std::size_t{265}, std::size_t{371}, std::size_t{537}}) {
    std::vector<uint8_t> bytes = SampleRecord().Bytes();
    bytes.resize(keep);
    ByteArray cut = ByteArray::FromBytes(bytes.data(), bytes.size(), 1);
    EXPECT_EQ(Capture([&] { (void)detail::ConvertByteArrayToTrace(cut); }).number, 9) << keep;
  }
  struct BadCase {
    int32_t offset;
    uint16_t value;
    int32_t number;
  };
  for (const BadCase c : {BadCase{r::kPulseWidth, 3277, 6}, BadCase{r::kPointSpacing, 4295, 6},
                          BadCase{r::kWavelength, 40000, 6}, BadCase{r::kAveragesHigh, 32768, 6},
                          BadCase{r::kLossThreshold, 656, 5}, BadCase{r::kReflectanceThreshold, 656, 5}}) {
    KtrRecordBytes record = SampleRecord();
    record.PutWord(c.offset, c.value);
    ByteArray bytes = record.Array();
    EXPECT_EQ(Capture([&] { (void)detail::ConvertByteArrayToTrace(bytes); }).number, c.number) << c.offset;
  }
}

}  // namespace
}  // namespace tarnvik
