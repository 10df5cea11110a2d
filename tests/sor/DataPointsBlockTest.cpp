// The data points block: scale-factor records, parse (with the largest sample), build,
// the 16-bit size limit and hostile counts.
#include <cstdint>
#include <vector>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CDataPointsBlock.h"

namespace tarnvik::testing {
namespace {

TEST(DataPointsBlock, OneScaleFactor) {
  BodyBuilder b;
  b.I32(3).I16(1).I32(3).I16(1000).U16(10).U16(65535).U16(7);
  ByteArray body = b.ToByteArray();
  CDataPointsBlock block;
  EXPECT_EQ(block.Parse(body), 65535);
  EXPECT_EQ(block.TotalNumberofDataPoints(), 3);
  EXPECT_EQ(block.NumberScaleFactorsUsed(), 1);
  EXPECT_EQ(block.ScaleFactor(1), 1000);
  EXPECT_EQ(block.DataPoints(1, 1), 10);
  EXPECT_EQ(block.DataPoints(1, 2), 65535);
  EXPECT_EQ(block.DataPoints(1, 3), 7);
  EXPECT_EQ(ToBytes(block.Build()), b.bytes());
}

// Parse returns the largest sample wherever it lies, in either of two records.
TEST(DataPointsBlock, ParseFindsTheLargestSampleAnywhere) {
  for (int32_t at = 0; at < 2 * 37; ++at) {
    BodyBuilder b;
    b.I32(2 * 37).I16(2);
    for (int32_t record = 0; record < 2; ++record) {
      b.I32(37).I16(1);
      for (int32_t k = 0; k < 37; ++k) b.U16(record * 37 + k == at ? 60000u : static_cast<uint32_t>(k));
    }
    ByteArray body = b.ToByteArray();
    CDataPointsBlock block;
    EXPECT_EQ(block.Parse(body), 60000) << "largest at " << at;
  }
}

TEST(DataPointsBlock, NoScaleFactorsAndTheStoredTotal) {
  CDataPointsBlock fresh;
  EXPECT_EQ(fresh.NumberScaleFactorsUsed(), 0);
  EXPECT_EQ(ToBytes(fresh.Build()), EmptyDataPtsBody());

  // Parsing replaces what was there, even when the file holds no records.
  CDataPointsBlock block;
  block.SetNumberScaleFactorsUsed(2);
  ByteArray empty = ByteArray::FromBytes(EmptyDataPtsBody().data(), EmptyDataPtsBody().size());
  EXPECT_EQ(block.Parse(empty), 0);
  EXPECT_EQ(block.NumberScaleFactorsUsed(), 0);
  EXPECT_EQ(block.TotalNumberofDataPoints(), 0);

  // The stored total is not checked on load and is written correctly on save.
  BodyBuilder wrong;
  wrong.I32(99).I16(1).I32(2).I16(1).U16(5).U16(6);
  ByteArray wrongBody = wrong.ToByteArray();
  EXPECT_EQ(block.Parse(wrongBody), 6);
  BodyBuilder right;
  right.I32(2).I16(1).I32(2).I16(1).U16(5).U16(6);
  EXPECT_EQ(ToBytes(block.Build()), right.bytes());
}

TEST(DataPointsBlock, InterleavedGroupsRoundTrip) {
  BodyBuilder b;
  b.I32(5).I16(2);
  b.I32(2).I16(1000).U16(1).U16(2);
  b.I32(3).I16(-5).U16(40000).U16(3).U16(0);
  ByteArray body = b.ToByteArray();
  CDataPointsBlock block;
  EXPECT_EQ(block.Parse(body), 40000);
  EXPECT_EQ(block.NumDataPointsForScaleFactor(1), 2);
  EXPECT_EQ(block.NumDataPointsForScaleFactor(2), 3);
  EXPECT_EQ(block.ScaleFactor(2), -5);
  EXPECT_EQ(block.DataPoints(2, 1), 40000);
  EXPECT_EQ(ToBytes(block.Build()), b.bytes());
}

TEST(DataPointsBlock, PropertyRules) {
  CDataPointsBlock block;
  block.SetNumberScaleFactorsUsed(2);
  block.SetScaleFactor(2, 7);
  block.SetNumDataPointsForScaleFactor(2, 3);
  block.SetDataPoints(2, 3, 99);

  // Zero keeps the records; a new count discards the old samples.
  block.SetNumberScaleFactorsUsed(0);
  EXPECT_EQ(block.NumberScaleFactorsUsed(), 2);
  EXPECT_EQ(block.DataPoints(2, 3), 99);
  block.SetNumDataPointsForScaleFactor(2, 4);
  EXPECT_EQ(block.DataPoints(2, 3), 0);
  block.SetNumDataPointsForScaleFactor(2, 0);
  EXPECT_EQ(block.TotalNumberofDataPoints(), 0);
  EXPECT_EQ(block.ScaleFactor(2), 7);

  // A non-zero count recreates the records with factor 1 and no samples.
  block.SetNumDataPointsForScaleFactor(1, 2);
  block.SetNumberScaleFactorsUsed(1);
  EXPECT_EQ(block.ScaleFactor(1), 1);
  EXPECT_EQ(block.NumDataPointsForScaleFactor(1), 0);

  EXPECT_RAISES(block.ScaleFactor(2), 9, "CDataPointsBlock:Get ScaleFactor()", "Subscript out of range");
  EXPECT_RAISES(block.DataPoints(1, 1), 9, "CDataPointsBlock:Get DataPoints()", "Subscript out of range");
  block.SetNumDataPointsForScaleFactor(1, 1);
  EXPECT_RAISES(block.SetDataPoints(1, 2, 0), 9, "CDataPointsBlock:Let DataPoints()", "Subscript out of range");
  // A negative count cannot dimension an array.
  EXPECT_RAISES(block.SetNumDataPointsForScaleFactor(1, -1), 9, "CDataPointsBlock:Let NumDataPointsForScaleFactor()",
                "Subscript out of range");
  EXPECT_RAISES(block.SetNumberScaleFactorsUsed(-2), 9, "CDataPointsBlock:Let NumberScaleFactorsUsed()",
                "Subscript out of range");
  EXPECT_EQ(block.NumDataPointsForScaleFactor(1), 1);  // nothing changed by the refusals

  // Samples that do not fit an unsigned 16-bit field are kept but cannot be saved.
  block.SetDataPoints(1, 1, 65536);
  EXPECT_EQ(block.DataPoints(1, 1), 65536);
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");
  block.SetDataPoints(1, 1, -256);  // a top byte of -1
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");
}

// -255..-1 are written as their low byte under a top byte of 0, wherever they fall in the
// samples, and the samples after them are written as usual.
TEST(DataPointsBlock, SmallNegativeSamplesAmongOthers) {
  const std::vector<int32_t> samples = {-255, 0, 65535, -1, 300, -128, 1, 2, 3, 4, 5, 6, 7, 8, 9, -2};
  BodyBuilder b;
  b.I32(static_cast<int32_t>(samples.size())).I16(1).I32(static_cast<int32_t>(samples.size())).I16(1000);
  for (const int32_t sample : samples) b.U16(static_cast<uint32_t>(sample < 0 ? sample & 0xFF : sample));
  CDataPointsBlock block;
  block.SetNumberScaleFactorsUsed(1);
  block.SetNumDataPointsForScaleFactor(1, static_cast<int32_t>(samples.size()));
  block.SetScaleFactor(1, 1000);
  block.SetDataPointArray(1, samples);
  EXPECT_EQ(ToBytes(block.Build()), b.bytes());
}

TEST(DataPointsBlock, SixteenBitSizeLimit) {
  CDataPointsBlock block;
  block.SetNumberScaleFactorsUsed(1);
  block.SetNumDataPointsForScaleFactor(1, 16377);
  block.SetDataPoints(1, 16377, 65535);
  ByteArray body = block.Build();
  EXPECT_EQ(body.Count(), 32766);
  CDataPointsBlock reread;
  EXPECT_EQ(reread.Parse(body), 65535);
  EXPECT_EQ(reread.TotalNumberofDataPoints(), 16377);

  block.SetNumDataPointsForScaleFactor(1, 16378);
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");

  BodyBuilder big;
  big.I32(16378).I16(1).I32(16378).I16(1);
  for (int i = 0; i < 16378; ++i) big.U16(1);
  ByteArray bigBody = big.ToByteArray();
  EXPECT_RAISES(CDataPointsBlock().Parse(bigBody), 6, "", "Overflow");
}

TEST(DataPointsBlock, ParseSizeChecksAndHostileCounts) {
  const auto parse = [](const BodyBuilder& b) {
    ByteArray body = b.ToByteArray();
    CDataPointsBlock().Parse(body);
  };
  const std::string past = "Attempted to parse Data Points Block past block size.\r\nBlock Size: ";

  BodyBuilder extra;
  extra.I32(1).I16(1).I32(1).I16(1).U16(4).U8(0);
  EXPECT_RAISES(parse(extra), 10512, "",
                "Not all data in the Data Points Block was parsed.\r\nBlock Size: 15, Parsed: 14.");

  // A count one larger than the samples present, and the largest count there is, fail
  // alike, at the first sample past the end.
  for (const int64_t count : {int64_t{2}, int64_t{INT32_MAX}}) {
    BodyBuilder b;
    b.I32(0).I16(1).I32(count).I16(1).U16(4);
    EXPECT_RAISES(parse(b), 10512, "", past + "14, Parsed: 14.");
    b.U8(0);  // an odd byte left over
    EXPECT_RAISES(parse(b), 10512, "", past + "15, Parsed: 14.");
  }
  {
    // The count is kept as the file gave it, with the sample read before the failure;
    // only that sample takes memory.
    BodyBuilder b;
    b.I32(0).I16(1).I32(INT32_MAX).I16(1).U16(4);
    ByteArray body = b.ToByteArray();
    CDataPointsBlock block;
    EXPECT_EQ(Capture([&] { block.Parse(body); }).number, 10512);
    EXPECT_EQ(block.NumDataPointsForScaleFactor(1), INT32_MAX);
    EXPECT_EQ(block.DataPoints(1, 1), 4);
    EXPECT_EQ(block.DataPoints(1, INT32_MAX), 0);
  }
  BodyBuilder noFactor;  // the count, then nothing
  noFactor.I32(0).I16(1).I32(INT32_MAX);
  EXPECT_RAISES(parse(noFactor), 10512, "", past + "10, Parsed: 10.");
  BodyBuilder manyRecords;  // the most records there can be, in a 6-byte body
  manyRecords.I32(0).I16(32767);
  EXPECT_RAISES(parse(manyRecords), 10512, "", past + "6, Parsed: 6.");

  // Negative counts fail as their arrays do (9), which the parser reports as past size.
  BodyBuilder negative;
  negative.I32(0).I16(1).I32(-1).I16(1);
  EXPECT_RAISES(parse(negative), 10512, "", past + "12, Parsed: 10.");
  BodyBuilder negativeRecords;
  negativeRecords.I32(0).I16(-1);
  EXPECT_RAISES(parse(negativeRecords), 10512, "", past + "6, Parsed: 6.");
}

}  // namespace
}  // namespace tarnvik::testing
