// The general and supplier parameter blocks: defaults, property rules, parse and build.
#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CGeneralParameterBlock.h"
#include "tarnvik/sor/CSuppliersBlock.h"

namespace tarnvik::testing {
namespace {

TEST(GeneralParameterBlock, NewBlockBuildsTheDefaultBody) {
  CGeneralParameterBlock block;
  const ByteArray body = block.Build();
  EXPECT_EQ(body.LBound(), 1);
  EXPECT_EQ(body.Count(), 24);
  EXPECT_EQ(ToBytes(body), DefaultGenParamsBody());
}

TEST(GeneralParameterBlock, PropertyRules) {
  CGeneralParameterBlock block;
  block.SetComment("");
  EXPECT_EQ(block.Comment(), " ");
  block.SetCableID("");
  EXPECT_EQ(block.CableID(), " ");

  EXPECT_RAISES(block.SetLanguageCode("ENG"), 5, "CGeneralParameterBlock:Let LanguageCode()",
                "LanguageCode must be 2 characters. \"ENG\" is not allowed.");
  EXPECT_EQ(block.LanguageCode(), "EN");
  block.SetLanguageCode("\xC3\xA9t");  // two characters, three bytes
  EXPECT_EQ(block.LanguageCode(), "\xC3\xA9t");

  EXPECT_RAISES(block.SetCurrentDataFlag("bc"), 5, "CGeneralParameterBlock:Let CurrentDataFlag()",
                "CurrentDataFlag must be \"BC\", \"RC\" or \"OT\". \"bc\" is not allowed.");
  block.SetCurrentDataFlag("OT");
  EXPECT_EQ(block.CurrentDataFlag(), "OT");
}

TEST(GeneralParameterBlock, ParseReadsEveryFieldInOrder) {
  BodyBuilder b;
  b.Chars("SV").Text("cable").Text("").I16(-1550).Text("from").Text("to").Text("code").Chars("RC").I32(-70000)
      .Text("op").Text("note");
  ByteArray body = b.ToByteArray();
  CGeneralParameterBlock block;
  block.Parse(body);
  EXPECT_EQ(block.LanguageCode(), "SV");
  EXPECT_EQ(block.CableID(), "cable");
  EXPECT_EQ(block.FiberID(), " ");  // empty in the file, one space in the object
  EXPECT_EQ(block.NominalWavelength(), -1550);
  EXPECT_EQ(block.OriginatingLocation(), "from");
  EXPECT_EQ(block.TerminatingLocation(), "to");
  EXPECT_EQ(block.CableCode(), "code");
  EXPECT_EQ(block.CurrentDataFlag(), "RC");
  EXPECT_EQ(block.UserOffset(), -70000);
  EXPECT_EQ(block.Operator(), "op");
  EXPECT_EQ(block.Comment(), "note");

  // The empty field comes back as a space, so the rebuilt body is one byte longer.
  const Bytes rebuilt = ToBytes(block.Build());
  EXPECT_EQ(rebuilt.size(), b.bytes().size() + 1);
}

TEST(GeneralParameterBlock, ParseErrors) {
  {
    BodyBuilder b;  // "E" then a zero byte: the property refuses a one-character code
    b.U8('E').U8(0).Text(" ").Text(" ").I16(1310).Text(" ").Text(" ").Text(" ").Chars("BC").I32(0).Text(" ").Text(" ");
    ByteArray body = b.ToByteArray();
    CGeneralParameterBlock block;
    EXPECT_RAISES(block.Parse(body), 5, "CGeneralParameterBlock:Let LanguageCode()",
                  "LanguageCode must be 2 characters. \"E\" is not allowed.");
  }
  {
    BodyBuilder b;  // one spare byte at the end
    b.Raw(DefaultGenParamsBody()).U8(0);
    ByteArray body = b.ToByteArray();
    CGeneralParameterBlock block;
    EXPECT_RAISES(block.Parse(body), 10512, "",
                  "Not all data in the General Parameters Block was parsed.\r\nBlock Size: 25, Parsed: 24.");
  }
  {
    BodyBuilder b;  // cut inside UserOffset
    b.Chars("EN").Text(" ").Text(" ").I16(1310).Text(" ").Text(" ").Text(" ").Chars("BC").U8(0).U8(0);
    ByteArray body = b.ToByteArray();
    CGeneralParameterBlock block;
    EXPECT_RAISES(block.Parse(body), 10512, "",
                  "Attempted to parse General Parameters Block past block size.\r\nBlock Size: 18, Parsed: 16.");
  }
}

TEST(SuppliersBlock, DefaultsRoundTripAndErrorTexts) {
  CSuppliersBlock block;
  EXPECT_EQ(block.SupplierName(), "Orvik");
  EXPECT_EQ(ToBytes(block.Build()), DefaultSupParamsBody());
  block.SetOther("");
  EXPECT_EQ(block.Other(), " ");

  BodyBuilder b;
  b.Text("Acme").Text("M1").Text("SN1").Text("OM").Text("OSN").Text("2.0").Text("x");
  ByteArray body = b.ToByteArray();
  CSuppliersBlock parsed;
  parsed.Parse(body);
  EXPECT_EQ(parsed.OTDRMainframeSN(), "SN1");
  EXPECT_EQ(parsed.SoftwareRev(), "2.0");
  EXPECT_EQ(ToBytes(parsed.Build()), b.bytes());

  // A body one byte short: the last text runs to the end without its zero byte. The
  // parse messages of this block name the fixed parameters block.
  Bytes shortBody = b.bytes();
  shortBody.pop_back();
  ByteArray cut = ByteArray::FromBytes(shortBody.data(), shortBody.size());
  EXPECT_RAISES(CSuppliersBlock().Parse(cut), 10512, "",
                "Not all data in the Fixed Parameters Block was parsed.\r\nBlock Size: 24, Parsed: 25.");
}

TEST(SuppliersBlock, BuildRefusesCharactersBeyondOneByte) {
  CSuppliersBlock block;
  block.SetOther("\xE2\x82\xAC");  // the euro sign has no single-byte form
  const Raised r = Capture([&] { block.Build(); });
  EXPECT_TRUE(r.raised);
  EXPECT_EQ(r.number, 6);
}

}  // namespace
}  // namespace tarnvik::testing
