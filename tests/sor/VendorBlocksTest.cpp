// The "Orvik" and "Orvik2" vendor blocks: parse against the key events, revisions,
// build, and the size checks.
#include <memory>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CKeyEventsBlock.h"
#include "tarnvik/sor/COrvik2Block.h"
#include "tarnvik/sor/COrvikBlock.h"

namespace tarnvik::testing {
namespace {

ByteArray OrvikBody(int64_t a, int64_t b, const std::vector<uint32_t>& levels) {
  BodyBuilder body;
  body.I32(a).I32(b);
  for (const uint32_t level : levels) body.U16(level);
  return body.ToByteArray();
}

std::unique_ptr<CKeyEventsBlock> KeyEventsWith(int32_t count) {
  auto block = std::make_unique<CKeyEventsBlock>();
  for (int32_t i = 0; i < count; ++i) block->KeyEvents()->Add(std::make_shared<CKeyEvent>());
  return block;
}

TEST(OrvikBlock, EventCountResizesTheLevels) {
  COrvikBlock block;
  EXPECT_EQ(block.EventCount(), 0);
  block.SetEventCount(3);
  EXPECT_EQ(block.EventLevels(3), 0);
  block.SetEventLevels(1, 11);
  block.SetEventLevels(3, 33);
  block.SetEventCount(2);
  EXPECT_EQ(block.EventLevels(1), 11);
  EXPECT_RAISES(block.EventLevels(3), 9, "COrvikBlock:Get EventLevels()", "Subscript out of range");
  EXPECT_RAISES(block.SetEventLevels(0, 1), 9, "COrvikBlock:Let EventLevels()", "Subscript out of range");
  EXPECT_RAISES(block.SetEventCount(-1), 9, "COrvikBlock:Let EventCount()", "Subscript out of range");
  EXPECT_EQ(block.EventCount(), 2);
}

TEST(OrvikBlock, ParseFollowsTheKeyEvents) {
  {  // two cursors only, no key events: no levels
    ByteArray body = OrvikBody(-5, 70000, {});
    const Bytes original = ToBytes(body);  // a signed read clears the sign bit in place
    COrvikBlock block;
    block.Parse(body, KeyEventsWith(0).get());
    EXPECT_EQ(block.ACursorLoc(), -5);
    EXPECT_EQ(block.BCursorLoc(), 70000);
    EXPECT_EQ(block.EventCount(), 0);
    EXPECT_EQ(ToBytes(block.Build(KeyEventsWith(0).get())), original);
    EXPECT_EQ(original.size(), 8u);
  }
  {  // counts agree: the levels are read, unsigned, and built back byte for byte
    ByteArray body = OrvikBody(1, 2, {65535, 7});
    const auto keyEvents = KeyEventsWith(2);
    COrvikBlock block;
    block.Parse(body, keyEvents.get());
    EXPECT_EQ(block.EventLevels(1), 65535);
    EXPECT_EQ(block.EventLevels(2), 7);
    EXPECT_EQ(ToBytes(block.Build(keyEvents.get())), ToBytes(body));
  }
  {  // three levels after two key events: the levels are not read, so the size check fails
    ByteArray body = OrvikBody(1, 2, {10, 20, 30});
    COrvikBlock block;
    EXPECT_RAISES(block.Parse(body, KeyEventsWith(2).get()), 10512, "",
                  "Not all data in the Orvik Block was parsed.\r\nBlock Size: 14, Parsed: 8.");
    EXPECT_EQ(block.EventCount(), 2);
    EXPECT_EQ(block.EventLevels(2), 0);
  }
  {  // cursors only, two key events: two zero levels
    ByteArray body = OrvikBody(1, 2, {});
    COrvikBlock block;
    block.Parse(body, KeyEventsWith(2).get());
    EXPECT_EQ(block.EventCount(), 2);
    EXPECT_EQ(block.EventLevels(1), 0);
  }
  {  // no key events block to compare with or fall back on
    ByteArray body = OrvikBody(1, 2, {});
    EXPECT_RAISES(COrvikBlock().Parse(body, nullptr), 91, "", "Object variable or With block variable not set");
    ByteArray withLevel = OrvikBody(1, 2, {5});
    EXPECT_RAISES(COrvikBlock().Parse(withLevel, nullptr), 91, "",
                  "Object variable or With block variable not set");
  }
}

TEST(OrvikBlock, ParseSizeChecksAndOddBodies) {
  BodyBuilder shortBody;
  shortBody.I32(1).U16(2);
  ByteArray cut = shortBody.ToByteArray();
  EXPECT_RAISES(COrvikBlock().Parse(cut, nullptr), 10512, "",
                "Attempted to parse Orvik Block past block size.\r\nBlock Size: 6, Parsed: 4.");

  // 9 bytes: half a level rounds to none.
  ByteArray nine = OrvikBody(1, 2, {});
  nine.ReDimPreserve(9);
  EXPECT_RAISES(COrvikBlock().Parse(nine, KeyEventsWith(0).get()), 10512, "",
                "Not all data in the Orvik Block was parsed.\r\nBlock Size: 9, Parsed: 8.");
  // 11 bytes: one and a half levels round to two, and the second runs past the body.
  ByteArray eleven = OrvikBody(1, 2, {3});
  eleven.ReDimPreserve(11);
  EXPECT_RAISES(COrvikBlock().Parse(eleven, KeyEventsWith(2).get()), 10512, "",
                "Attempted to parse Orvik Block past block size.\r\nBlock Size: 11, Parsed: 10.");
}

TEST(OrvikBlock, BuildErrors) {
  COrvikBlock block;
  EXPECT_RAISES(block.Build(nullptr), 91, "", "Object variable or With block variable not set");
  block.SetEventCount(3);
  EXPECT_RAISES(block.Build(KeyEventsWith(2).get()), 10512, "",
                "Not all data for Orvik Block was inserted. Block Size: 14, inserted: 12");
  block.SetEventCount(1);  // a level for each key event: the second is past the levels
  EXPECT_RAISES(block.Build(KeyEventsWith(2).get()), 9, "COrvikBlock:Get EventLevels()", "Subscript out of range");
  block.SetEventLevels(1, 65536);
  EXPECT_RAISES(block.Build(KeyEventsWith(1).get()), 6, "", "Overflow");
}

// One "Orvik2" event record (54 bytes).
BodyBuilder& Orvik2Event(BodyBuilder& b) {
  b.I16(3).I32(40000).I16(-210).I16(75).I32(45000).Chars("1F9999").Chars("OT");
  b.I32(1).I32(-2).I32(3).I32(-4).I32(5);
  return b.Text("end").Chars("MU").U16(65535).I32(-77);
}

// An "Orvik2" body with two cursors, one event and the trailer fields of `revision`.
Bytes Orvik2Body(int32_t revision) {
  BodyBuilder b;
  Orvik2Event(b.Text("Orvik2").I16(2).I32(-100).I32(2000000).I16(1));
  if (revision >= 201) b.I16(-9);
  if (revision >= 202) b.I16(4242);
  return b.bytes();
}

TEST(Orvik2Block, RevisionsDecideTheTrailer) {
  for (const int32_t revision : {200, 201, 202}) {
    SCOPED_TRACE(revision);
    const Bytes expected = Orvik2Body(revision);
    ByteArray body = ByteArray::FromBytes(expected.data(), expected.size());
    COrvik2Block block(revision);
    block.Parse(body);
    EXPECT_EQ(block.CursorCount(), 2);
    EXPECT_EQ(block.CursorLocation(2), 2000000);
    ASSERT_EQ(block.Events()->Count(), 1);
    const auto e = block.Events()->Item(1);
    EXPECT_EQ(e->EventReflectance(), 45000);  // as stored: no sign rule here
    EXPECT_EQ(e->MarkerLocations(4), -4);
    EXPECT_EQ(e->Comment(), "end");
    EXPECT_EQ(e->EventType(), "MU");
    EXPECT_EQ(e->EventLevel(), 65535);
    EXPECT_EQ(e->EventGroupEndTime(), -77);
    EXPECT_EQ(block.LastChangedBy(), revision >= 201 ? -9 : 0);
    EXPECT_EQ(block.FiberID(), revision >= 202 ? 4242 : 0);
    EXPECT_EQ(ToBytes(block.Build()), expected);
  }

  // A 202 body read as 201 leaves its fibre number unparsed.
  const Bytes newer = Orvik2Body(202);
  ByteArray body = ByteArray::FromBytes(newer.data(), newer.size());
  EXPECT_RAISES(COrvik2Block(201).Parse(body), 10512, "",
                "Not all data in the Orvik2 Block was parsed.\r\nBlock Size: 77, Parsed: 75.");

  // A new block: the identifier and the two counts, nothing else.
  BodyBuilder empty;
  empty.Text("Orvik2").I16(0).I16(0);
  EXPECT_EQ(ToBytes(COrvik2Block().Build()), empty.bytes());
}

TEST(Orvik2Block, IsSupported) {
  COrvik2Block block;
  EXPECT_EQ(block.Revision(), 200);
  EXPECT_FALSE(block.IsSupported("LastChangedBy"));
  EXPECT_FALSE(block.IsSupported("FiberID"));
  EXPECT_RAISES(block.IsSupported("Comment"), 10515, "COrvik2Block:IsSupported()",
                "Property Name not handled: Comment");
  EXPECT_RAISES(block.IsSupported("fiberid"), 10515, "COrvik2Block:IsSupported()",
                "Property Name not handled: fiberid");

  block.SetIsSupported("LastChangedBy", true);
  EXPECT_EQ(block.Revision(), 201);
  EXPECT_TRUE(block.IsSupported("LastChangedBy"));
  block.SetIsSupported("FiberID", true);
  EXPECT_EQ(block.Revision(), 202);
  block.SetIsSupported("FiberID", false);
  EXPECT_EQ(block.Revision(), 201);
  block.SetIsSupported("FiberID", false);
  EXPECT_EQ(block.Revision(), 201);
  block.SetIsSupported("LastChangedBy", false);
  EXPECT_EQ(block.Revision(), 200);
  block.SetRevision(150);
  block.SetIsSupported("FiberID", false);
  EXPECT_EQ(block.Revision(), 200);
  EXPECT_RAISES(block.SetIsSupported("Comment", true), 10515, "COrvik2Block:Let IsSupported()",
                "Property Name not handled: Comment");
  EXPECT_EQ(block.Revision(), 200);
}

TEST(Orvik2Block, CursorsEventRulesAndBuildErrors) {
  COrvik2Block block;
  block.SetCursorCount(1);
  block.SetCursorLocation(1, 8);
  block.SetCursorCount(3);
  EXPECT_EQ(block.CursorLocation(1), 8);
  EXPECT_RAISES(block.CursorLocation(4), 9, "COrvik2Block:Get CursorLocation()", "Subscript out of range");
  EXPECT_RAISES(block.SetCursorCount(-1), 9, "COrvik2Block:Let CursorCount()", "Subscript out of range");

  auto event = std::make_shared<CKeyEvent>();
  event->SetEventLevel(-256);  // EventLevel is carried unsigned: a top byte of -1
  block.Events()->Add(event);
  EXPECT_RAISES(block.Build(), 6, "", "Overflow");

  // The event type of a record goes through its property rule.
  Bytes bytes = Orvik2Body(200);
  const std::size_t typeAt = bytes.size() - 8;  // "MU", then the level and the group end
  bytes[typeAt] = 'X';
  ByteArray body = ByteArray::FromBytes(bytes.data(), bytes.size());
  EXPECT_RAISES(COrvik2Block().Parse(body), 5, "CKeyEvent:Let EventType()",
                "EventType must be \"2P\", \"ST\", \"EN\", \"SI\" or \"MU\". \"XU\" is not allowed.");
}

TEST(Orvik2Block, HostileCountsEndInAParseError) {
  {  // 32767 cursors claimed, two present: fails where the third would start
    BodyBuilder b;
    b.Text("Orvik2").I16(32767).I32(1).I32(2);
    ByteArray body = b.ToByteArray();
    COrvik2Block block;
    EXPECT_RAISES(block.Parse(body), 10512, "",
                  "Attempted to parse Orvik2 Block past block size.\r\nBlock Size: 17, Parsed: 17.");
    EXPECT_EQ(block.CursorCount(), 32767);  // the count as given, with the cursors read
    EXPECT_EQ(block.CursorLocation(2), 2);
  }
  {
    BodyBuilder b;
    b.Text("Orvik2").I16(-1).I16(0);
    ByteArray body = b.ToByteArray();
    EXPECT_RAISES(COrvik2Block().Parse(body), 10512, "",
                  "Attempted to parse Orvik2 Block past block size.\r\nBlock Size: 11, Parsed: 9.");
  }
  {  // 32767 events claimed, one present: fails where the second would start
    BodyBuilder b;
    Orvik2Event(b.Text("Orvik2").I16(0).I16(32767));
    ByteArray body = b.ToByteArray();
    COrvik2Block block;
    EXPECT_RAISES(block.Parse(body), 10512, "",
                  "Attempted to parse Orvik2 Block past block size.\r\nBlock Size: 65, Parsed: 65.");
    EXPECT_EQ(block.Events()->Count(), 1);
  }
}

}  // namespace
}  // namespace tarnvik::testing
