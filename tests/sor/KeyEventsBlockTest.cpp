// The key events block and its events: property rules, comparison, parse and build.
#include <climits>
#include <functional>
#include <memory>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CKeyEvent.h"
#include "tarnvik/sor/CKeyEventsBlock.h"

namespace tarnvik::testing {
namespace {

// One standard event record.
BodyBuilder& Record(BodyBuilder& b, int32_t number, int64_t time, int32_t atten, int32_t loss, int64_t refl,
                    const std::string& code, const std::string& lossMT, const std::string& comment) {
  return b.I16(number).I32(time).I16(atten).I16(loss).I32(refl).Chars(code).Chars(lossMT).Text(comment);
}

BodyBuilder& Trailer(BodyBuilder& b, int64_t e2e, int64_t e2eStart, int64_t e2eEnd, uint32_t orl, int64_t orlStart,
                     int64_t orlEnd) {
  return b.I32(e2e).I32(e2eStart).I32(e2eEnd).U16(orl).I32(orlStart).I32(orlEnd);
}

// The reflectance a one-event body with stored value `stored` loads as.
int32_t LoadedReflectance(int64_t stored) {
  BodyBuilder b;
  Record(b.I16(1), 1, 0, 0, 0, stored, "0A9999", "2P", "");
  Trailer(b, 0, 0, 0, 0, 0, 0);
  ByteArray body = b.ToByteArray();
  CKeyEventsBlock block;
  block.Parse(body);
  return block.KeyEvents()->Item(1)->EventReflectance();
}

TEST(KeyEvent, DefaultsAndPropertyRules) {
  CKeyEvent e;
  EXPECT_EQ(e.EventNumber(), 1);
  EXPECT_EQ(e.EventCode(), "0A9999");
  EXPECT_EQ(e.LossMT(), "2P");
  EXPECT_EQ(e.EventType(), "2P");
  EXPECT_EQ(e.Comment(), " ");

  for (const char* blank : {"", " ", "  "}) {
    e.SetLossMT("OT");
    e.SetLossMT(blank);
    EXPECT_EQ(e.LossMT(), "LS") << "\"" << blank << "\"";
  }
  EXPECT_RAISES(e.SetLossMT("ls"), 5, "CKeyEvent:Let LossMT()",
                "LossMT must be \"2P\", \"LS\" or \"OT\". \"ls\" is not allowed.");
  EXPECT_RAISES(e.SetLossMT("   "), 5, "CKeyEvent:Let LossMT()",
                "LossMT must be \"2P\", \"LS\" or \"OT\". \"   \" is not allowed.");
  EXPECT_EQ(e.LossMT(), "LS");

  EXPECT_RAISES(e.SetEventCode("0A999"), 5, "CKeyEvent:Let EventCode()", "EventCode must be 6 characters");
  EXPECT_EQ(e.EventCode(), "0A9999");
  e.SetEventCode("\xC3\xA9" "A9999");  // six characters, seven bytes
  EXPECT_EQ(e.EventCode(), "\xC3\xA9" "A9999");

  EXPECT_RAISES(e.SetEventType("mu"), 5, "CKeyEvent:Let EventType()",
                "EventType must be \"2P\", \"ST\", \"EN\", \"SI\" or \"MU\". \"mu\" is not allowed.");
  e.SetEventType("MU");
  EXPECT_EQ(e.EventType(), "MU");

  e.SetMarkerLocations(5, -7);
  EXPECT_EQ(e.MarkerLocations(5), -7);
  EXPECT_RAISES(e.MarkerLocations(6), 9, "CKeyEvent:Get MarkerLocations()", "Subscript out of range");
  EXPECT_RAISES(e.SetMarkerLocations(0, 1), 9, "CKeyEvent:Let MarkerLocations()", "Subscript out of range");
}

TEST(KeyEvent, IsEqualToComparesTheStoredFieldsOnly) {
  auto a = std::make_shared<CKeyEvent>();
  auto b = std::make_shared<CKeyEvent>();
  b->SetEventType("EN");
  b->SetMarkerLocations(1, 99);
  b->SetEventLevel(5);
  b->SetEventGroupEndTime(6);
  EXPECT_TRUE(a->IsEqualTo(b));

  const std::vector<std::function<void(CKeyEvent&)>> changes = {
      [](CKeyEvent& e) { e.SetAttenCoefLeadinFiber(1); },  [](CKeyEvent& e) { e.SetComment(" x"); },
      [](CKeyEvent& e) { e.SetEventCode("0A9998"); },      [](CKeyEvent& e) { e.SetEventLoss(-1); },
      [](CKeyEvent& e) { e.SetEventNumber(2); },           [](CKeyEvent& e) { e.SetEventPropagationTime(1); },
      [](CKeyEvent& e) { e.SetEventReflectance(-1); },     [](CKeyEvent& e) { e.SetLossMT("OT"); },
  };
  for (std::size_t i = 0; i < changes.size(); ++i) {
    auto c = std::make_shared<CKeyEvent>();
    changes[i](*c);
    EXPECT_FALSE(a->IsEqualTo(c)) << "field " << i;
    EXPECT_FALSE(c->IsEqualTo(a)) << "field " << i;
  }
  a->SetComment("Splice");
  b->SetComment("splice");
  EXPECT_FALSE(a->IsEqualTo(b));

  EXPECT_RAISES(a->IsEqualTo(nullptr), 91, "CKeyEvent:IsEqualTo()",
                "Object variable or With block variable not set");
}

TEST(KeyEventsBlock, ZeroEventBody) {
  CKeyEventsBlock block;
  block.SetEndtoEndLoss(-12345);
  block.SetEndtoEndMarkerPosStart(1);
  block.SetEndtoEndMarkerPosEnd(INT32_MAX);
  block.SetOpticalReturnLoss(65535);
  block.SetORLMarkerPosStart(INT32_MIN);
  block.SetORLMarkerPosEnd(-1);
  BodyBuilder expected;
  Trailer(expected.I16(0), -12345, 1, INT32_MAX, 65535, INT32_MIN, -1);
  const ByteArray built = block.Build();
  EXPECT_EQ(built.LBound(), 1);
  EXPECT_EQ(built.Count(), 24);
  EXPECT_EQ(ToBytes(built), expected.bytes());

  ByteArray body = expected.ToByteArray();
  CKeyEventsBlock parsed;
  parsed.Parse(body);
  EXPECT_EQ(parsed.KeyEvents()->Count(), 0);
  EXPECT_EQ(parsed.OpticalReturnLoss(), 65535);
  EXPECT_EQ(parsed.ORLMarkerPosStart(), INT32_MIN);
  EXPECT_EQ(parsed.EndtoEndMarkerPosEnd(), INT32_MAX);
}

TEST(KeyEventsBlock, TwoEventsRoundTripByteExact) {
  BodyBuilder b;
  b.I16(2);
  Record(b, 1, 123456, -300, 250, -45000, "1F9999", "LS", "connector at patch panel");
  Record(b, -2, -1, 32767, -32768, 2000, "2E9999", "OT", "");
  Trailer(b, 5000, 10, 20, 40000, 30, 40);
  ByteArray body = b.ToByteArray();
  CKeyEventsBlock block;
  block.Parse(body);
  ASSERT_EQ(block.KeyEvents()->Count(), 2);
  const auto first = block.KeyEvents()->Item(1);
  EXPECT_EQ(first->EventPropagationTime(), 123456);
  EXPECT_EQ(first->AttenCoefLeadinFiber(), -300);
  EXPECT_EQ(first->EventLoss(), 250);
  EXPECT_EQ(first->EventReflectance(), -45000);
  EXPECT_EQ(first->EventCode(), "1F9999");
  EXPECT_EQ(first->LossMT(), "LS");
  EXPECT_EQ(first->Comment(), "connector at patch panel");
  const auto second = block.KeyEvents()->Item(2);
  EXPECT_EQ(second->EventNumber(), -2);
  EXPECT_EQ(second->EventLoss(), -32768);
  EXPECT_EQ(second->EventReflectance(), 2000);
  EXPECT_EQ(second->Comment(), "");
  EXPECT_EQ(block.OpticalReturnLoss(), 40000);
  EXPECT_EQ(block.ORLMarkerPosEnd(), 40);

  const ByteArray rebuilt = block.Build();
  EXPECT_EQ(rebuilt.Count(), 24 + (22 + 24 + 1) + (22 + 0 + 1));
  EXPECT_EQ(ToBytes(rebuilt), b.bytes());

  // A second parse replaces the events rather than adding to them.
  block.Parse(body);
  EXPECT_EQ(block.KeyEvents()->Count(), 2);
}

TEST(KeyEventsBlock, ReflectanceSignRule) {
  EXPECT_EQ(LoadedReflectance(45000), -45000);
  EXPECT_EQ(LoadedReflectance(-45000), -45000);
  EXPECT_EQ(LoadedReflectance(1000), 1000);
  EXPECT_EQ(LoadedReflectance(2000), 2000);
  EXPECT_EQ(LoadedReflectance(0), 0);
  EXPECT_EQ(LoadedReflectance(1), -1);
  EXPECT_EQ(LoadedReflectance(1001), -1001);
  EXPECT_EQ(LoadedReflectance(3000), -3000);
  EXPECT_EQ(LoadedReflectance(INT32_MAX), -INT32_MAX);
  EXPECT_EQ(LoadedReflectance(INT32_MIN), INT32_MIN);

  // Build writes the value as it is, so a positive value in a file comes back negative
  // and stays so.
  BodyBuilder b;
  Record(b.I16(1), 1, 0, 0, 0, 45000, "0A9999", "2P", "x");
  Trailer(b, 0, 0, 0, 0, 0, 0);
  ByteArray body = b.ToByteArray();
  CKeyEventsBlock block;
  block.Parse(body);
  ByteArray saved = block.Build();
  BodyBuilder expected;
  Record(expected.I16(1), 1, 0, 0, 0, -45000, "0A9999", "2P", "x");
  Trailer(expected, 0, 0, 0, 0, 0, 0);
  EXPECT_EQ(ToBytes(saved), expected.bytes());
  CKeyEventsBlock reloaded;
  reloaded.Parse(saved);
  EXPECT_EQ(reloaded.KeyEvents()->Item(1)->EventReflectance(), -45000);
}

TEST(KeyEventsBlock, ParseAppliesTheEventRules) {
  {
    BodyBuilder b;  // a blank technique loads as "LS"
    Record(b.I16(1), 1, 0, 0, 0, 0, "0A9999", "  ", "");
    Trailer(b, 0, 0, 0, 0, 0, 0);
    ByteArray body = b.ToByteArray();
    CKeyEventsBlock block;
    block.Parse(body);
    EXPECT_EQ(block.KeyEvents()->Item(1)->LossMT(), "LS");
  }
  {
    BodyBuilder b;
    Record(b.I16(1), 1, 0, 0, 0, 0, "0A9999", "ls", "");
    Trailer(b, 0, 0, 0, 0, 0, 0);
    ByteArray body = b.ToByteArray();
    EXPECT_RAISES(CKeyEventsBlock().Parse(body), 5, "CKeyEvent:Let LossMT()",
                  "LossMT must be \"2P\", \"LS\" or \"OT\". \"ls\" is not allowed.");
  }
  {
    BodyBuilder b;  // a zero byte inside the code shortens it
    Record(b.I16(1), 1, 0, 0, 0, 0, std::string("0A9\0" "99", 6), "2P", "");
    Trailer(b, 0, 0, 0, 0, 0, 0);
    ByteArray body = b.ToByteArray();
    EXPECT_RAISES(CKeyEventsBlock().Parse(body), 5, "CKeyEvent:Let EventCode()", "EventCode must be 6 characters");
  }
}

TEST(KeyEventsBlock, ParseSizeChecks) {
  {
    BodyBuilder b;
    Trailer(b.I16(0), 0, 0, 0, 0, 0, 0).U8(0);
    ByteArray body = b.ToByteArray();
    EXPECT_RAISES(CKeyEventsBlock().Parse(body), 10512, "",
                  "Not all data in the Key Events Block was parsed.\r\nBlock Size: 25, Parsed: 24.");
  }
  {
    BodyBuilder b;  // cut inside ORLMarkerPosEnd
    Trailer(b.I16(0), 0, 0, 0, 0, 0, 0);
    Bytes cut = b.bytes();
    cut.resize(22);
    ByteArray body = ByteArray::FromBytes(cut.data(), cut.size());
    EXPECT_RAISES(CKeyEventsBlock().Parse(body), 10512, "",
                  "Attempted to parse Key Events Block past block size.\r\nBlock Size: 22, Parsed: 20.");
  }
  {
    BodyBuilder b;  // claims 32767 events, holds one and nothing after it
    Record(b.I16(32767), 1, 0, 0, 0, 0, "0A9999", "2P", "x");
    ByteArray body = b.ToByteArray();
    CKeyEventsBlock block;
    EXPECT_RAISES(block.Parse(body), 10512, "",
                  "Attempted to parse Key Events Block past block size.\r\nBlock Size: 26, Parsed: 26.");
    EXPECT_EQ(block.KeyEvents()->Count(), 1);
  }
  {
    BodyBuilder b;  // a negative count is no events
    Trailer(b.I16(-5), 0, 0, 0, 0, 0, 0);
    ByteArray body = b.ToByteArray();
    CKeyEventsBlock block;
    block.Parse(body);
    EXPECT_EQ(block.KeyEvents()->Count(), 0);
  }
}

TEST(KeyEventsBlock, BuildRefusesWhatTheFieldsCannotHold) {
  CKeyEventsBlock block;
  block.SetOpticalReturnLoss(65536);
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");
  block.SetOpticalReturnLoss(-256);  // top byte -1; down to -255 the top byte is 0
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");
  block.SetOpticalReturnLoss(0);
  auto event = std::make_shared<CKeyEvent>();
  event->SetComment("\xE2\x82\xAC");  // no single-byte form
  block.KeyEvents()->Add(event);
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");
}

}  // namespace
}  // namespace tarnvik::testing
