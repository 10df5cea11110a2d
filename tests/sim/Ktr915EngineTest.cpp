// The simulated instrument's conversation: request frames in, exact reply frames out,
// blocks paced by acknowledgements, and each fault's effect on the bytes.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "instrument/KtrTestRecord.h"
#include "ktr915sim/Ktr915Engine.h"
#include "support/Fixtures.h"

namespace tarnvik::sim {
namespace {

using namespace tarnvik::testing;  // NOLINT: the frame builders and fixtures

Bytes Slice(const Bytes& b, std::size_t from, std::size_t n) { return Bytes(&b.at(from), &b.at(from) + n); }

Bytes Record(std::size_t n) {
  Bytes r(n);
  for (std::size_t i = 0; i < n; ++i) r[i] = static_cast<uint8_t>(i * 7 + 1);  // start bytes among the data
  return r;
}

std::shared_ptr<InstrumentFiles> Memory() {
  auto m = std::make_shared<InstrumentFiles>();
  m->AddRecord("CABLE7_12_S15", Record(600));
  m->AddRecord("CABLE7_13_S15", Record(10));
  return m;
}
const Bytes kTable = {0x0A, 0x05, 2, 0, 1, 0, 0x00, 0x01, 0x40, 0x01};

TEST(Ktr915Engine, FlashReadsAreAnsweredExactlyAndPacedByAcknowledgements) {
  const auto memory = Memory();
  Ktr915Engine e(memory);

  EXPECT_EQ(e.Feed(Request(51, 0)), Cat({kReply, Frame('D', kTable)}));
  EXPECT_TRUE(e.Transferring());
  EXPECT_EQ(e.Feed(kAck), kEnd);
  EXPECT_EQ(e.Feed(kAck), Bytes{});
  EXPECT_FALSE(e.Transferring());

  EXPECT_EQ(e.Feed(Request(17, 0x0140)), Cat({kReply, Frame('D', FileNameImage("CABLE7_13_S15"))}));
  EXPECT_EQ(e.Feed(kAck), kEnd);
  EXPECT_EQ(e.Feed(kAck), Bytes{});

  // 600 bytes in blocks of 256: one more block per acknowledgement, then the end.
  const Bytes record = memory->Files()[0].record;
  EXPECT_EQ(e.Feed(Request(4488, 0x0100)), Cat({kReply, Frame('D', Slice(record, 0, 256))}));
  EXPECT_EQ(e.Feed(kAck), Frame('D', Slice(record, 256, 256)));
  EXPECT_EQ(e.Feed(kAck), Frame('D', Slice(record, 512, 88)));
  EXPECT_EQ(e.Feed(kAck), kEnd);
  EXPECT_EQ(e.Feed(kAck), Bytes{});

  const EngineStats& s = e.Stats();
  EXPECT_EQ(s.requests, 3);
  EXPECT_EQ(s.transfersCompleted, 3);
  EXPECT_EQ(s.acknowledgements, 8);
  EXPECT_EQ(s.framesReceived, 11);
  EXPECT_EQ(s.framesSent, 11);
  EXPECT_EQ(s.ignoredFrames + s.badChecksums + s.junkBytes, 0);
}

TEST(Ktr915Engine, SplitJoinedAndNoisyInput) {
  const Bytes request = Request(17, 0x0100);
  const Bytes answer = Cat({kReply, Frame('D', FileNameImage("CABLE7_12_S15"))});
  // Cut anywhere: nothing goes out before the frame is whole.
  for (std::size_t cut = 1; cut < request.size(); ++cut) {
    Ktr915Engine e(Memory());
    EXPECT_EQ(e.Feed(Slice(request, 0, cut)), Bytes{}) << cut;
    EXPECT_EQ(e.Feed(Slice(request, cut, request.size() - cut)), answer) << cut;
  }
  // Junk (with a start byte followed by an impossible length) skipped, one byte at a time.
  Ktr915Engine e(Memory());
  Bytes out;
  for (uint8_t b : Cat({{0x00, 0xFF, 0x01, 0x00, 0x55}, request})) {
    const Bytes got = e.Feed(&b, 1);
    out.insert(out.end(), got.begin(), got.end());
  }
  EXPECT_EQ(out, answer);
  EXPECT_EQ(e.Stats().junkBytes, 5);
  // The library's acknowledgements and a new request arriving together.
  EXPECT_EQ(e.Feed(Cat({kAck, kAck, Request(51, 0)})), Cat({kEnd, kReply, Frame('D', kTable)}));
  EXPECT_EQ(e.Stats().transfersCompleted, 1);
}

TEST(Ktr915Engine, WhatGetsNoAnswer) {
  Ktr915Engine e(Memory());
  Bytes badSum = Request(51, 0);
  badSum.back() ^= 0x01;
  const struct {
    Bytes in;
    const char* log;
  } cases[] = {
      {Request(17, 0x0101), "file name read of unknown pointer 0x0101: no answer"},
      {Request(4488, 1), "trace read of unknown pointer 0x0001: no answer"},
      {Request(99, 0), "flash read of unknown kind 99: no answer"},
      {Request(51, 0, 31), "request with downloader version 31: no answer"},
      {kAck, "acknowledgement with no transfer under way: no answer"},
      {Frame('Y', {32, 0}), "frame 'Y' with 2 parameter bytes: no answer"},
      {Frame('Q'), "frame 'Q' with 0 parameter bytes: no answer"},
      {badSum, "frame 'D' with checksum 81, computed 80: ignored"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(e.Feed(c.in), Bytes{}) << c.log;
    EXPECT_EQ(e.Stats().log.back(), c.log);
  }
  EXPECT_EQ(e.Stats().ignoredFrames, 7);
  EXPECT_EQ(e.Stats().badChecksums, 1);
  EXPECT_EQ(e.Stats().requests, 0);
  // Nothing above leaves the engine stuck.
  EXPECT_EQ(e.Feed(Request(51, 0)), Cat({kReply, Frame('D', kTable)}));
}

TEST(Ktr915Engine, ANewRequestAbandonsATransfer) {
  Ktr915Engine e(Memory());
  e.Feed(Request(4488, 0x0100));
  EXPECT_EQ(e.Feed(Request(51, 0)), Cat({kReply, Frame('D', kTable)}));
  EXPECT_EQ(e.Stats().log.back(), "a new request abandons the transfer under way");
  EXPECT_EQ(e.Feed(kAck), kEnd);
  EXPECT_EQ(e.Feed(kAck), Bytes{});
  EXPECT_EQ(e.Stats().transfersCompleted, 1);
}

// What a table read (request, acknowledgement, acknowledgement) puts on the line,
// piece by piece; a piece with noise > 0 stands for that many noise bytes.
struct Piece {
  std::size_t noise = 0;
  Bytes bytes;
};

void ExpectLine(const Bytes& out, const std::vector<Piece>& pieces) {
  std::size_t at = 0;
  for (const auto& p : pieces) {
    if (p.noise > 0) {
      ASSERT_LE(at + p.noise, out.size());
      for (std::size_t i = at; i < at + p.noise; ++i) EXPECT_NE(out[i], 1) << "noise byte " << i;
      at += p.noise;
    } else {
      ASSERT_LE(at + p.bytes.size(), out.size());
      EXPECT_EQ(Slice(out, at, p.bytes.size()), p.bytes) << "at " << at;
      at += p.bytes.size();
    }
  }
  EXPECT_EQ(at, out.size());
}

TEST(Ktr915Engine, EachFaultChangesExactlyItsBytes) {
  const Bytes data = Frame('D', kTable);
  Bytes badData = data;
  badData.back() = static_cast<uint8_t>(~badData.back());
  Bytes badEnd = kEnd;
  badEnd.back() = static_cast<uint8_t>(~badEnd.back());
  Bytes erased = kTable;
  erased[0] = erased[1] = 0xFF;
  const Bytes wrongReply = Frame('Y', {0, 32});
  struct Case {
    const char* name;
    Faults faults;
    std::vector<Piece> line;   // for the first table read
    std::vector<Piece> again;  // for a second one
  };
  const std::vector<Case> cases = {
      {"none", {}, {{0, kReply}, {0, data}, {0, kEnd}}, {{0, kReply}, {0, data}, {0, kEnd}}},
      {"noise first",
       {.noiseBytes = 7},
       {{7, {}}, {0, kReply}, {0, data}, {0, kEnd}},
       {{0, kReply}, {0, data}, {0, kEnd}}},
      {"noise every frame",
       {.noiseBytes = 3, .noiseBeforeEveryFrame = true},
       {{3, {}}, {0, kReply}, {3, {}}, {0, data}, {3, {}}, {0, kEnd}},
       {{3, {}}, {0, kReply}, {3, {}}, {0, data}, {3, {}}, {0, kEnd}}},
      {"bad checksum on frame 2",
       {.badChecksumFrame = 2},
       {{0, kReply}, {0, badData}, {0, kEnd}},
       {{0, kReply}, {0, data}, {0, kEnd}}},
      {"bad checksum on frame 6",
       {.badChecksumFrame = 6},
       {{0, kReply}, {0, data}, {0, kEnd}},
       {{0, kReply}, {0, data}, {0, badEnd}}},
      {"wrong version",
       {.wrongVersion = true},
       {{0, wrongReply}, {0, data}, {0, kEnd}},
       {{0, wrongReply}, {0, data}, {0, kEnd}}},
      {"never answer", {.silentAfterFrames = 0}, {}, {}},
      {"silent after 2", {.silentAfterFrames = 2}, {{0, kReply}, {0, data}}, {}},
      {"silent after 4", {.silentAfterFrames = 4}, {{0, kReply}, {0, data}, {0, kEnd}}, {{0, kReply}}},
      {"unexpected command in block 1",
       {.unexpectedCommandBlock = 1},
       {{0, kReply}, {0, Frame('E', kTable)}},
       {{0, kReply}, {0, data}, {0, kEnd}}},
      {"unexpected command in block 2",
       {.unexpectedCommandBlock = 2},
       {{0, kReply}, {0, data}, {0, kEnd}},
       {{0, kReply}, {0, Frame('E', kTable)}}},
      {"unformatted",
       {.unformatted = true},
       {{0, kReply}, {0, Frame('D', erased)}, {0, kEnd}},
       {{0, kReply}, {0, Frame('D', erased)}, {0, kEnd}}},
      {"hang up after 2", {.hangUpAfterFrames = 2}, {{0, kReply}, {0, data}}, {}},
      {"hang up after 4", {.hangUpAfterFrames = 4}, {{0, kReply}, {0, data}, {0, kEnd}}, {{0, kReply}}},
      {"together",
       {.noiseBytes = 2, .badChecksumFrame = 3, .wrongVersion = true, .silentAfterFrames = 5, .unformatted = true},
       {{2, {}}, {0, wrongReply}, {0, Frame('D', erased)}, {0, Bytes(badEnd)}},
       {{0, wrongReply}, {0, Frame('D', erased)}}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    Ktr915Engine e(Memory(), {.faults = c.faults});
    ExpectLine(Cat({e.Feed(Request(51, 0)), e.Feed(kAck), e.Feed(kAck)}), c.line);
    ExpectLine(Cat({e.Feed(Request(51, 0)), e.Feed(kAck), e.Feed(kAck)}), c.again);
    EXPECT_EQ(e.Stats().hungUp, c.faults.hangUpAfterFrames >= 0);
  }
}

class EngineSettingsTest : public TempDirTest {};

TEST_F(EngineSettingsTest, BlockSizeAndFaultCountsAreChecked) {
  for (int32_t bytes : {0, 1, 3, 255, 506, -2}) {
    EXPECT_RAISES(Ktr915Engine(Memory(), {.blockBytes = bytes, .faults = {}}), 5, "Ktr915Engine:Ktr915Engine()",
                  "The block size must be an even number of bytes from 2 to 504, not " + std::to_string(bytes));
  }
  const std::string negative = "Fault counts cannot be negative (-1 alone stands for never silent or never hanging up)";
  EXPECT_RAISES(Ktr915Engine(Memory(), {.faults = {.noiseBytes = -1}}), 5, "Ktr915Engine:Ktr915Engine()", negative);
  for (const Faults f : {Faults{.silentAfterFrames = -2}, Faults{.hangUpAfterFrames = -2}}) {
    EXPECT_RAISES(Ktr915Engine(Memory(), {.faults = f}), 5, "Ktr915Engine:Ktr915Engine()", negative);
  }
  EXPECT_RAISES(Ktr915Engine(nullptr), 91, "Ktr915Engine:Ktr915Engine()",
                "Object variable or With block variable not set");

  // The largest block fills the length byte: 252 words + 3 = 255.
  const auto memory = Memory();
  Ktr915Engine e(memory, {.blockBytes = 504, .faults = {}});
  const Bytes out = e.Feed(Request(4488, 0x0100));
  ASSERT_EQ(out.size(), kReply.size() + 508u);
  EXPECT_EQ(out[kReply.size() + 1], 255);
  EXPECT_EQ(e.Feed(kAck), Frame('D', Slice(memory->Files()[0].record, 504, 96)));
  // The smallest: one word a block.
  Ktr915Engine small(memory, {.blockBytes = 2, .faults = {}});
  EXPECT_EQ(small.Feed(Request(51, 0)), Cat({kReply, Frame('D', Slice(kTable, 0, 2))}));
  EXPECT_EQ(small.Feed(kAck), Frame('D', Slice(kTable, 2, 2)));
}

}  // namespace
}  // namespace tarnvik::sim
