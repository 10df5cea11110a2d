// CKTR915 over a pseudo-terminal: the test plays a scripted instrument on the master side
// from the host's yield hook, answering whole frames or sending byte by byte with a
// replaced timer, for deadlines and cancellation.
#include <chrono>
#include <cmath>
#include <cstdint>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "instrument/KtrTestRecord.h"
#include "instrument/Pty.h"
#include "support/Fixtures.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik {
namespace {

using namespace testing;  // NOLINT: the frame builders and fixtures

constexpr int16_t kPort = 11;
constexpr int16_t kUnmappedPort = 12;
constexpr float kTimeout = 5.0f;  // receive stages on the real clock; never reached when all goes well

// The instrument's side of one flash read: element 0 answers the request (the version
// reply and the first block), each further one answers an acknowledgement.
std::vector<Bytes> FlashRead(const Bytes& data, std::size_t blockBytes = 64, const Bytes& before = {}) {
  std::vector<Bytes> blocks;
  for (std::size_t i = 0; i < data.size(); i += blockBytes) {
    blocks.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(i),
                        data.begin() + static_cast<std::ptrdiff_t>(std::min(data.size(), i + blockBytes)));
  }
  std::vector<Bytes> replies = {Cat({before, kReply, blocks.empty() ? kEnd : Frame('D', blocks[0])})};
  for (std::size_t i = 1; i <= blocks.size(); ++i) replies.push_back(i < blocks.size() ? Frame('D', blocks[i]) : kEnd);
  replies.emplace_back();  // the acknowledgement of the end needs no answer
  return replies;
}

// A file name as the instrument stores it: UTF-16 little-endian with a terminator.
Bytes NameBytes(const std::u16string& name) {
  Bytes out;
  for (char16_t c : name + u'\0') out.insert(out.end(), {static_cast<uint8_t>(c & 0xFF), static_cast<uint8_t>(c >> 8)});
  return out;
}

std::vector<Bytes> Concat(std::vector<std::vector<Bytes>> parts) {
  std::vector<Bytes> all;
  for (auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Answers each whole frame the library wrote with the next reply, from the yield hook: the
// session yields whenever it waits for an answer.
class ScriptedInstrument {
 public:
  ScriptedInstrument(const Pty& pty, std::vector<Bytes> replies) : pty_(pty), replies_(std::move(replies)) {
    SetYieldHandler([this] { Take(pty_.Receive(0, 1), true); });
  }
  ~ScriptedInstrument() { SetYieldHandler(nullptr); }
  ScriptedInstrument(const ScriptedInstrument&) = delete;
  ScriptedInstrument& operator=(const ScriptedInstrument&) = delete;

  // Every frame the library wrote, those after its last wait included.
  const std::vector<Bytes>& Received() {
    Take(pty_.Receive(0), false);
    EXPECT_TRUE(pending_.empty()) << "a partial frame";
    return received_;
  }

 private:
  void Take(const Bytes& more, bool answer) {
    pending_.insert(pending_.end(), more.begin(), more.end());
    while (pending_.size() >= 2) {
      const std::size_t size = 4 + 2 * static_cast<std::size_t>(pending_[1] > 3 ? pending_[1] - 3 : 0);
      if (pending_.size() < size) return;
      received_.emplace_back(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(size));
      pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(size));
      if (answer && next_ < replies_.size()) pty_.Send(replies_[next_++]);
    }
  }

  const Pty& pty_;
  std::vector<Bytes> replies_;
  std::size_t next_ = 0;
  Bytes pending_;
  std::vector<Bytes> received_;
};

class KtrSessionTest : public TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    ASSERT_TRUE(pty_.Ok());
    SetSerialPortDevice(kPort, pty_.Slave());
    session_ = std::make_unique<CKTR915>();
    session_->OnKTREvent.Connect([this](KTREvents e, const Variant& v) { events_.emplace_back(e, v); });
    session_->Connect(kPort);
  }
  void TearDown() override {
    SetYieldHandler(nullptr);
    SetTimerSource(nullptr);
    session_.reset();
    SetSerialPortDevice(kPort, "");
    TempDirTest::TearDown();
  }

  // A timer the test moves: seconds since midnight, advanced by the yield hook.
  void UseTestClock(float start) {
    now_ = start;
    SetTimerSource([this] { return now_; });
  }
  // Log lines whose error number is this one.
  std::size_t LoggedWithNumber(const std::string& number) const {
    std::size_t n = 0;
    for (const std::string& line : LogLines()) n += Fields(line).at(0) == number ? 1u : 0u;
    return n;
  }

  Pty pty_;
  std::unique_ptr<CKTR915> session_;
  std::vector<std::pair<KTREvents, Variant>> events_;
  float now_ = 0;
};

const std::u16string kName1 = u"CABLE7_12_S15";
const std::u16string kName2 = u"B_2_M13";
constexpr uint16_t kPointer1 = 0x0100;
constexpr uint16_t kPointer2 = 0x0140;

std::vector<Bytes> TwoFileListing(const Bytes& noiseBeforeSecondName = {}) {
  return Concat({FlashRead(KtrFileTable(1290, {kPointer1, kPointer2}), 4), FlashRead(NameBytes(kName1)),
                 FlashRead(NameBytes(kName2), 64, noiseBeforeSecondName)});
}

TEST_F(KtrSessionTest, ListsFilesWithByteExactRequests) {
  ScriptedInstrument instrument(pty_, TwoFileListing({0xFF, 0x00, 0x55, 0x02, 0x59}));
  EXPECT_EQ(session_->GetFilenames(kTimeout), (std::vector<std::string>{"CABLE7_12_S15", "B_2_M13"}));
  const std::vector<Bytes> expected = {
      // The file table: version 32, what 51, pointer 0, 0, each word high byte first.
      {0x01, 0x07, 'D', 0x00, 0x20, 0x00, 0x33, 0x00, 0x00, 0x00, 0x00, 0x50},
      kAck, kAck, kAck, kAck,  // three blocks (4 + 4 + 2 bytes) and the end
      Request(17, kPointer1), kAck, kAck,
      Request(17, kPointer2), kAck, kAck};
  EXPECT_EQ(instrument.Received(), expected);
  EXPECT_EQ(Request(17, kPointer1), (Bytes{0x01, 0x07, 'D', 0x00, 0x20, 0x00, 0x11, 0x01, 0x00, 0x00, 0x00, 0x73}));
  EXPECT_TRUE(events_.empty());
  EXPECT_TRUE(LogLines().empty());
}

TEST_F(KtrSessionTest, EmptyFileTableAndEmptyRequests) {
  {
    ScriptedInstrument instrument(pty_, FlashRead(KtrFileTable(1290, {})));
    EXPECT_EQ(session_->GetFiles({}, kTimeout)->Count(), 0);
    EXPECT_EQ(instrument.Received(), (std::vector<Bytes>{Request(51, 0), kAck, kAck}));
  }
  // The table read stays: a second empty request sends nothing, a listing reads it again.
  EXPECT_EQ(session_->GetFiles({}, kTimeout)->Count(), 0);
  EXPECT_TRUE(pty_.Receive().empty());
  ScriptedInstrument instrument(pty_, FlashRead(KtrFileTable(1290, {})));
  EXPECT_TRUE(session_->GetFilenames(kTimeout).empty());
  EXPECT_EQ(instrument.Received().size(), 3u);
}

TEST_F(KtrSessionTest, BadRepliesGiveNumberedErrors) {
  const Bytes badSum = {0x01, 0x04, 'Y', 0x20, 0x00, 0x7D ^ 0xFF};
  const Bytes sumWithStart = {0x01, 0x04, 'Y', 0x20, 0x00, 0x7D ^ 0x01};
  struct BadCase {
    const char* what;
    std::vector<Bytes> script;
    int32_t number;
    const char* source;
    const char* description;
  };
  const BadCase cases[] = {
      {"version high byte first", {Frame('Y', {0, 32})}, 11003, "CKTR915:SendFlashReadCommand()",
       "File Downloader Versions don't match"},
      {"other reply", {Frame('N', {32, 0})}, 11002, "CKTR915:SendFlashReadCommand()",
       "KTR 915 did not respond to Flash Read request"},
      {"other command in the data", {Cat({kReply, Frame('Q', {1, 2})})}, 11002, "CKTR915:ReceiveFlashData()",
       "Communication Error"},
      {"bad checksum", {badSum}, 11001, "CKTR915:ReceivePacket()", "Checksum error - Rcvd: 130 Calculated: 125"},
      {"checksum over the start byte", {sumWithStart}, 11001, "CKTR915:ReceivePacket()",
       "Checksum error - Rcvd: 124 Calculated: 125"},
      {"reply without a version", {Frame('Y')}, 9, "CKTR915:GetFilenames()", "Subscript out of range"},
      {"unformatted memory", FlashRead({0x05, 0x0A, 0x01, 0x00, 0x00, 0x00, 0x00, 0x01}), 11004,
       "CKTR915FAT:LoadFromArray()", "KTR Memory is not formatted"},
  };
  for (const BadCase& c : cases) {
    SCOPED_TRACE(c.what);
    ScriptedInstrument instrument(pty_, c.script);
    EXPECT_RAISES(session_->GetFilenames(kTimeout), c.number, c.source, c.description);
    // Nothing more is asked once a reply fails; an unformatted table is acknowledged to its end.
    const std::vector<Bytes>& received = instrument.Received();
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received[0], Request(51, 0));
    for (std::size_t i = 1; i < received.size(); ++i) EXPECT_EQ(received[i], kAck);
    EXPECT_EQ(received.size(), c.number == 11004 ? 3u : 1u);
  }
  // Only the receive failures and the unnumbered 9 were logged, each once.
  EXPECT_EQ(LoggedWithNumber("11001"), 2u);
  EXPECT_EQ(LoggedWithNumber("9"), 1u);
  EXPECT_EQ(LoggedWithNumber("11002") + LoggedWithNumber("11003") + LoggedWithNumber("11004"), 0u);
}

TEST_F(KtrSessionTest, TimeoutsFollowTheTimerHook) {
  UseTestClock(100.0f);
  int yields = 0;
  SetYieldHandler([&] {
    ++yields;
    now_ += 1.0f;
  });
  // Silence: the first stage's deadline is 105; the wait ends at 106.
  EXPECT_RAISES(session_->GetFilenames(kTimeout), 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames");
  EXPECT_EQ(yields, 6);
  ASSERT_EQ(LogLines().size(), 1u);
  const auto fields = Fields(LogLines()[0]);
  EXPECT_EQ((std::vector<std::string>(fields.begin(), fields.begin() + 4)),
            (std::vector<std::string>{"11000", "Timeout", "CKTR915", "ReceivePacket()"}));
  EXPECT_EQ(pty_.Receive(), Request(51, 0));

  // Noise counts against the start stage: its deadline is not renewed per byte dropped.
  yields = 0;
  SetYieldHandler([&] {
    ++yields;
    now_ += 1.0f;
    pty_.Send({0x55});
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
    if (yields > 100) session_->CancelOperation(true);  // a renewing deadline would never end
  });
  EXPECT_RAISES(session_->GetFilenames(kTimeout), 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames");
  EXPECT_EQ(yields, 6);
}

TEST_F(KtrSessionTest, EachStageHasItsOwnDeadline) {
  // One byte arrives per yield and each yield takes a second: no 5-second stage waits
  // longer than two yields, though whole frames take up to ten.
  UseTestClock(1000.0f);
  const Bytes script = Cat({kReply, Frame('D', KtrFileTable(1290, {})), kEnd});
  std::size_t sent = 0;
  SetYieldHandler([&] {
    now_ += 1.0f;
    if (sent < script.size()) pty_.SendAndWait({script[sent++]});
  });
  EXPECT_TRUE(session_->GetFilenames(kTimeout).empty());
  EXPECT_EQ(sent, script.size());
  EXPECT_EQ(pty_.Receive(), Cat({Request(51, 0), kAck, kAck}));
}

TEST_F(KtrSessionTest, ADeadlineAfterMidnightIsNeverReached) {
  UseTestClock(86399.0f);  // deadline 86404: the timer wraps to 0 first
  int yields = 0;
  SetYieldHandler([&] {
    now_ = std::fmod(now_ + 1.0f, 86400.0f);
    if (++yields == 40) pty_.Send(Cat({kReply, Frame('D', KtrFileTable(1290, {})), kEnd}));
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (yields > 1000) session_->CancelOperation(true);  // bounds the test if the data never arrives
  });
  EXPECT_TRUE(session_->GetFilenames(kTimeout).empty());
  EXPECT_GE(yields, 40);
  EXPECT_TRUE(events_.empty());
}

TEST_F(KtrSessionTest, CancellingFromTheHostPumpEndsEveryLaterWait) {
  int yields = 0;
  SetYieldHandler([&] {
    if (++yields == 3) session_->CancelOperation(false);  // False cancels as well
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  });
  EXPECT_RAISES(session_->GetFilenames(kTimeout), 11005, "CKTR915:ReceivePacket()", "Operation Cancelled");
  EXPECT_EQ(yields, 3);
  ASSERT_EQ(events_.size(), 1u);
  EXPECT_EQ(events_[0].first, KTREV_Cancelled);
  EXPECT_EQ(events_[0].second, Variant(int16_t{0}));
  EXPECT_TRUE(LogLines().empty());

  // The session stays cancelled: the next waits fail at their first empty poll.
  SetYieldHandler(nullptr);
  EXPECT_RAISES(session_->GetFilenames(kTimeout), 11005, "CKTR915:ReceivePacket()", "Operation Cancelled");
  EXPECT_RAISES(session_->GetFiles({"A_1_S15"}, kTimeout), 11005, "CKTR915:GetFiles()", "Operation Cancelled");
  EXPECT_EQ(events_.size(), 3u);
  EXPECT_EQ(LoggedWithNumber("11005"), 1u);  // only GetFiles logs what passes through it
}

// The record decoder and the names have their own tests; here the samples show the bytes
// arrived whole, in the order asked for.
Bytes TraceRecord(uint16_t wavelength, const std::vector<uint16_t>& samples) {
  return KtrRecordBytes(samples).PutWord(ktr_record::kWavelength, wavelength).Bytes();
}

TEST_F(KtrSessionTest, DownloadsTwoTraces) {
  {
    ScriptedInstrument instrument(pty_, TwoFileListing());
    ASSERT_EQ(session_->GetFilenames(kTimeout).size(), 2u);
    ASSERT_EQ(instrument.Received().size(), 11u);
  }
  std::vector<uint16_t> samples1(150);
  std::vector<uint16_t> samples2(40);
  for (std::size_t i = 0; i < samples1.size(); ++i) samples1[i] = static_cast<uint16_t>(65535 - 400 * i);
  for (std::size_t i = 0; i < samples2.size(); ++i) samples2[i] = static_cast<uint16_t>(i * i);
  // 608 bytes in four blocks, then 828 bytes in two.
  const std::vector<Bytes> read2 = FlashRead(TraceRecord(1300, samples2), 200);
  const std::vector<Bytes> script = Concat({read2, FlashRead(TraceRecord(1550, samples1), 500)});
  ASSERT_EQ(script.size(), 6u + 4u);
  std::shared_ptr<CTraces> traces;
  {
    ScriptedInstrument instrument(pty_, script);
    traces = session_->GetFiles({"B_2_M13", "CABLE7_12_S15"}, kTimeout);
    const std::vector<Bytes>& received = instrument.Received();
    ASSERT_EQ(received.size(), script.size());
    EXPECT_EQ(received[0], Request(4488, kPointer2));
    EXPECT_EQ(received[read2.size()], Request(4488, kPointer1));
  }
  ASSERT_EQ(traces->Count(), 2);
  EXPECT_EQ(traces->Item(1)->FileName(), "B_2_M13.sor");
  EXPECT_EQ(traces->Item(1)->NominalWavelength(), 1300);
  EXPECT_EQ(traces->Item(1)->DataPointArray(), std::vector<int32_t>(samples2.begin(), samples2.end()));
  EXPECT_EQ(traces->Item(2)->FileName(), "CABLE7_12_S15.sor");
  EXPECT_EQ(traces->Item(2)->NominalWavelength(), 1550);
  EXPECT_EQ(traces->Item(2)->DataPointArray(), std::vector<int32_t>(samples1.begin(), samples1.end()));

  // A name that differs in case only is not on the instrument; nothing is sent for it.
  EXPECT_RAISES(session_->GetFiles({"cable7_12_s15"}, kTimeout), 5, "CKTR915:GetFiles()",
                "Could not find file: 'cable7_12_s15'\r\nn = 3, FileCount = 2, Files: \r\n"
                "'CABLE7_12_S15'\r\n'B_2_M13'\r\n");
  EXPECT_TRUE(pty_.Receive().empty());

  // A silent instrument during a transfer.
  UseTestClock(500.0f);
  SetYieldHandler([&] { now_ += 1.0f; });
  EXPECT_RAISES(session_->GetFiles({"B_2_M13"}, kTimeout), 11000, "CKTR915:GetFiles()", "Timeout");
  EXPECT_EQ(pty_.Receive(), Request(4488, kPointer2));
}

TEST_F(KtrSessionTest, ConnectionFollowsTheCalls) {
  session_->Disconnect();
  EXPECT_FALSE(session_->Connected());
  CKTR915 other;
  other.Connect(kPort);
  other.Connect(kPort);  // reconnecting closes and reopens
  EXPECT_TRUE(other.Connected());

  SetSerialPortDevice(kUnmappedPort, Path("no-such-device"));
  const Raised r = Capture([&] { other.Connect(kUnmappedPort); });
  SetSerialPortDevice(kUnmappedPort, "");
  EXPECT_EQ(r.number, 8002);
  EXPECT_EQ(r.source, "CKTR915:Connect()");
  EXPECT_FALSE(other.Connected());
}

}  // namespace
}  // namespace tarnvik
