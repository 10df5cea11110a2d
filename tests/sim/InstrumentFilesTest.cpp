// The simulated instrument's memory: its file table and name images, the pointers it
// hands out, and the files it stores from traces, SOR files and the synthetic maker.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "ktr915sim/InstrumentFiles.h"
#include "support/Fixtures.h"
#include "tarnvik/fileops/CFileOperations.h"

namespace tarnvik::sim {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::TempDirTest;

class InstrumentFilesTest : public TempDirTest {};

TEST_F(InstrumentFilesTest, FileTableAndNameImages) {
  InstrumentFiles m;
  EXPECT_EQ(m.FileTableImage(), (Bytes{0x0A, 0x05, 0, 0, 1, 0}));  // formatted, no files
  EXPECT_EQ(m.AddRecord("CABLE7_12_S15", Bytes(4, 7)), 0x0100);
  EXPECT_EQ(m.AddRecord("CABLE7_13_S15", Bytes(2, 8)), 0x0140);
  EXPECT_EQ(m.AddRecord("B_1_M85", {}), 0x0180);
  m.SetRefreshCount(0x1234);
  EXPECT_EQ(m.FileTableImage(), (Bytes{0x0A, 0x05, 3, 0, 0x34, 0x12, 0x00, 0x01, 0x40, 0x01, 0x80, 0x01}));
  m.SetGuard(InstrumentFiles::kErasedGuard);
  EXPECT_EQ(m.FileTableImage()[0], 0xFF);
  EXPECT_EQ(m.FileTableImage()[1], 0xFF);

  ASSERT_NE(m.FindByPointer(0x0140), nullptr);
  EXPECT_EQ(m.FindByPointer(0x0140)->name, "CABLE7_13_S15");
  EXPECT_EQ(m.FindByPointer(0x0140)->record, Bytes(2, 8));
  for (int32_t wrong : {0, 1, 2, 0x0101, 0x01C0}) EXPECT_EQ(m.FindByPointer(wrong), nullptr) << wrong;

  EXPECT_EQ(FileNameImage("C_1_S13"), (Bytes{'C', 0, '_', 0, '1', 0, '_', 0, 'S', 0, '1', 0, '3', 0, 0, 0}));
  // Outside ASCII: one unit for U+00E5, a surrogate pair for U+1F600.
  EXPECT_EQ(FileNameImage("\xC3\xA5\xF0\x9F\x98\x80"), (Bytes{0xE5, 0, 0x3D, 0xD8, 0x00, 0xDE, 0, 0}));
}

TEST_F(InstrumentFilesTest, RefusedFiles) {
  InstrumentFiles m;
  m.AddRecord("A_1_S13", {});
  EXPECT_RAISES(m.AddRecord("A_1_S13", {}), 457, "InstrumentFiles:AddRecord()",
                "A file named \"A_1_S13\" is already stored");
  EXPECT_RAISES(m.AddRecord("", {}), 5, "InstrumentFiles:AddRecord()", "A stored file needs a name");
  EXPECT_RAISES(m.AddRecord("A_2_S13", Bytes(3)), 5, "InstrumentFiles:AddRecord()",
                "A record is sent in 16-bit words: its size must be even");
  EXPECT_RAISES(m.AddSynthetic(0), 5, "InstrumentFiles:AddSynthetic()",
                "A synthetic trace has 1 to 65535 samples, not 0");
  EXPECT_RAISES(m.AddSorFile(Path("missing.sor")), 53, "InstrumentFiles:AddSorFile()", "File not found");
  EXPECT_EQ(m.Files().size(), 1u);  // nothing half-stored

  // The last pointer that fits is 0x0100 + 0x40 x 1019 = 0xFFC0.
  for (int i = 1; i < 1020; ++i) m.AddRecord(std::to_string(i) + "_F", {});
  EXPECT_EQ(m.Files().back().pointer, 0xFFC0);
  EXPECT_RAISES(m.AddRecord("one_too_many", {}), 6, "InstrumentFiles:AddRecord()",
                "The memory holds no more than 1020 files");
}

TEST_F(InstrumentFilesTest, TracesSorFilesAndSyntheticOnes) {
  InstrumentFiles m;
  const auto synthetic = MakeSyntheticTrace(300);
  EXPECT_EQ(m.AddSynthetic(300), 0x0100);
  EXPECT_EQ(m.AddSynthetic(20), 0x0140);
  EXPECT_EQ(m.Files()[0].name, "SYNTH_1_S13");
  EXPECT_EQ(m.Files()[1].name, "SYNTH_2_S13");
  EXPECT_EQ(m.Files()[0].record, EncodeTraceRecord(*synthetic));
  EXPECT_EQ(m.Files()[1].record.size(), 528u + 40u);

  // A trace under its own name, or the one the instrument would give it.
  synthetic->SetCableID("CABLE7");
  synthetic->SetFiberNumber(12);
  m.AddTrace(*synthetic);
  m.AddTrace(*synthetic, "MINE_1_S13");
  EXPECT_EQ(m.Files()[2].name, "CABLE7_12_S13");
  EXPECT_EQ(m.Files()[3].name, "MINE_1_S13");

  // A SOR file: stored under its name without folder and extension when that is an
  // instrument's name, its record the trace's the library reads from it; otherwise under
  // the name the instrument would give the trace.
  CFileOperations ops;
  ops.WriteTrace(synthetic, Path("LINK4_2_S13.sor"), 0, 1, 2, 3);
  EXPECT_EQ(m.AddSorFile(Path("LINK4_2_S13.sor")), 0x0200);
  EXPECT_EQ(m.Files()[4].name, "LINK4_2_S13");
  EXPECT_EQ(m.Files()[4].record, EncodeTraceRecord(*ops.ReadTrace(Path("LINK4_2_S13.sor"))));
  synthetic->SetFiberNumber(13);
  ops.WriteTrace(synthetic, Path("site_b.sor"), 0, 1, 2, 3);
  m.AddSorFile(Path("site_b.sor"));
  EXPECT_EQ(m.Files()[5].name, "CABLE7_13_S13");

  // A record value out of range fails the file unless clamping is asked for.
  synthetic->SetNoiseFloorLevel(30000);
  ops.WriteTrace(synthetic, Path("LOUD_1_S13.sor"), 0, 1, 2, 3);
  EXPECT_RAISES(m.AddSorFile(Path("LOUD_1_S13.sor")), 6, "InstrumentFiles:AddSorFile()",
                "NoiseFloorLevel 30000 is stored as 300000, outside the record's 16-bit word (0 to 65535)");
  EXPECT_EQ(m.AddSorFile(Path("LOUD_1_S13.sor"), OutOfRange::Clamp), 0x0280);
}

}  // namespace
}  // namespace tarnvik::sim
