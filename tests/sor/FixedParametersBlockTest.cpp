// The fixed parameters block: defaults, the single pulse width, property rules, the
// unsigned fields, parse and build.
#include <cstdlib>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/CFixedParametersBlock.h"

namespace tarnvik::testing {
namespace {

ByteArray ToArray(const Bytes& b) { return ByteArray::FromBytes(b.data(), b.size()); }

// A body with no pulse-width group.
Bytes BodyWithoutGroup() {
  BodyBuilder b;
  b.I32(45000).Chars("mi").I16(15500).I32(-12).I16(0);
  b.I32(146800).I16(-790).I32(1024).I32(200000).I32(35).U16(1).I16(1000).U16(2).U16(3).U16(4).U16(5);
  return b.bytes();
}

TEST(FixedParametersBlock, NewBlockBuildsTheDefaultBody) {
  CFixedParametersBlock block;
  EXPECT_LE(std::abs(block.DateTime() - ToInt32(Now())), 1);  // today as a day number, not seconds

  const ByteArray body = block.Build();
  EXPECT_EQ(body.LBound(), 1);
  ASSERT_EQ(body.Count(), 54);
  EXPECT_EQ(ToBytes(body), DefaultFxdParamsBody(block.DateTime()));  // the stamp is written as it reads
}

TEST(FixedParametersBlock, EveryFieldRoundTripsInFileOrder) {
  BodyBuilder b;
  b.I32(-3).Chars("ft").I16(-1550).I32(-70000).I16(1);
  b.I16(-20).I32(123456).I32(16000);
  b.I32(-149000).I16(-1).I32(7).I32(8).I32(-9);
  b.U16(65535).I16(-1000).U16(65534).U16(32768).U16(40000).U16(1);
  ByteArray body = b.ToByteArray();
  CFixedParametersBlock block;
  block.Parse(body);
  EXPECT_EQ(block.DateTime(), -3);
  EXPECT_EQ(block.DistanceUnits(), "ft");
  EXPECT_EQ(block.ActualWavelength(), -1550);
  EXPECT_EQ(block.AcquisitionOffset(), -70000);
  EXPECT_EQ(block.PulseWidth(), -20);
  EXPECT_EQ(block.DataSpacing(), 123456);
  EXPECT_EQ(block.NumberDataPoints(), 16000);
  EXPECT_EQ(block.GroupIndex(), -149000);
  EXPECT_EQ(block.BackScatterCoefficient(), -1);
  EXPECT_EQ(block.NumberOfAverages(), 7);
  EXPECT_EQ(block.AcquisitionRange(), 8);
  EXPECT_EQ(block.FrontPanelOffset(), -9);
  EXPECT_EQ(block.NoiseFloorLevel(), 65535);
  EXPECT_EQ(block.NoiseFloorScaleFactor(), -1000);
  EXPECT_EQ(block.PowerOffsetFirstPoint(), 65534);
  EXPECT_EQ(block.LossThreshold(), 32768);
  EXPECT_EQ(block.ReflectanceThreshold(), 40000);  // unsigned: not -25536
  EXPECT_EQ(block.EndofFiberThreshold(), 1);
  EXPECT_EQ(ToBytes(block.Build()), b.bytes());
}

TEST(FixedParametersBlock, PulseWidthCount) {
  // No group: a 44-byte body that loads, rebuilds the same, and hides the group's values.
  ByteArray body = ToArray(BodyWithoutGroup());
  CFixedParametersBlock block;
  block.Parse(body);
  EXPECT_EQ(block.TotalNumberOfPulseWidths(), 0);
  EXPECT_EQ(block.DistanceUnits(), "mi");
  EXPECT_EQ(block.EndofFiberThreshold(), 5);
  EXPECT_EQ(ToBytes(block.Build()), BodyWithoutGroup());
  EXPECT_RAISES(block.PulseWidth(), 10516, "CFixedParametersBlock:Get PulseWidth()",
                "TotalNumberOfPulseWidths must be 1 to use the PulseWidth property");
  EXPECT_RAISES(block.SetDataSpacing(5), 10516, "CFixedParametersBlock:Let DataSpacing()",
                "TotalNumberOfPulseWidths must be 1 to use the DataSpacing property");
  EXPECT_RAISES(block.NumberDataPoints(), 10516, "CFixedParametersBlock:Get NumberDataPoints()",
                "TotalNumberOfPulseWidths must be 1 to use the NumberDataPoints property");

  EXPECT_RAISES(block.SetTotalNumberOfPulseWidths(-1), 10516, "CFixedParametersBlock:Let TotalNumberOfPulseWidths()",
                "TotalNumberOfPulseWidths can only be 0 or 1. -1 is not allowed.");

  // Two groups in a file: refused by the property before any group is read.
  BodyBuilder two;
  two.I32(1).Chars("km").I16(13100).I32(0).I16(2).I16(100).I32(0).I32(0).I16(200).I32(0).I32(0);
  ByteArray twoBody = two.ToByteArray();
  EXPECT_RAISES(CFixedParametersBlock().Parse(twoBody), 10516,
                "CFixedParametersBlock:Let TotalNumberOfPulseWidths()",
                "TotalNumberOfPulseWidths can only be 0 or 1. 2 is not allowed.");
}

TEST(FixedParametersBlock, PropertyRules) {
  CFixedParametersBlock block;
  block.SetNoiseFloorLevel(65535);
  EXPECT_EQ(block.NoiseFloorLevel(), 65535);
  EXPECT_RAISES(block.SetNoiseFloorLevel(65536), 10514, "CFixedParametersBlock:Let NoiseFloorLevel()",
                "NoiseFloorLevel must be bewteen 0 and 65535");
  EXPECT_RAISES(block.SetNoiseFloorLevel(-1), 10514, "CFixedParametersBlock:Let NoiseFloorLevel()",
                "NoiseFloorLevel must be bewteen 0 and 65535");
  EXPECT_EQ(block.NoiseFloorLevel(), 65535);

  EXPECT_RAISES(block.SetDistanceUnits("m"), 5, "CFixedParametersBlock:Let DistanceUnits()",
                "Distance Units must be 2 characters. \"m\" is not allowed.");
  EXPECT_EQ(block.DistanceUnits(), "km");

  // A file's units pass through the same rule: "m" and a zero byte read as "m".
  Bytes shortUnits = DefaultFxdParamsBody(1);
  shortUnits[5] = 0;
  ByteArray body = ToArray(shortUnits);
  EXPECT_RAISES(CFixedParametersBlock().Parse(body), 5, "CFixedParametersBlock:Let DistanceUnits()",
                "Distance Units must be 2 characters. \"k\" is not allowed.");
}

TEST(FixedParametersBlock, UnsignedFieldsRefuseWhatTheyCannotHold) {
  {
    CFixedParametersBlock block;
    block.SetLossThreshold(-1);  // a top byte of 0 fits: written in two's complement
    EXPECT_EQ(ToBytes(block.Build())[48], 0xFF);
    EXPECT_EQ(ToBytes(block.Build())[49], 0x00);
    block.SetLossThreshold(-256);  // a top byte of -1 does not
    EXPECT_RAISES(block.Build(), 6, "", "Overflow");
  }
  {
    CFixedParametersBlock block;
    block.SetReflectanceThreshold(65536);
    EXPECT_RAISES(block.Build(), 6, "", "Overflow");
  }
}

TEST(FixedParametersBlock, ParseSizeChecks) {
  Bytes longer = DefaultFxdParamsBody(1);
  longer.push_back(0);
  ByteArray longBody = ToArray(longer);
  EXPECT_RAISES(CFixedParametersBlock().Parse(longBody), 10512, "",
                "Not all data in the Fixed Parameters Block was parsed.\r\nBlock Size: 55, Parsed: 54.");

  Bytes shorter = DefaultFxdParamsBody(1);
  shorter.pop_back();  // EndofFiberThreshold cut in half
  ByteArray shortBody = ToArray(shorter);
  EXPECT_RAISES(CFixedParametersBlock().Parse(shortBody), 10512, "",
                "Attempted to parse Fixed Parameters Block past block size.\r\nBlock Size: 53, Parsed: 52.");

  // A group present although the count says none: the fields shift and ten bytes remain.
  Bytes stray = DefaultFxdParamsBody(1);
  stray[12] = 0;  // TotalNumberOfPulseWidths = 0
  ByteArray strayBody = ToArray(stray);
  EXPECT_RAISES(CFixedParametersBlock().Parse(strayBody), 10512, "",
                "Not all data in the Fixed Parameters Block was parsed.\r\nBlock Size: 54, Parsed: 44.");
}

}  // namespace
}  // namespace tarnvik::testing
