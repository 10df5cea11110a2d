// CKTR915 over a pseudo-terminal: the test plays a scripted instrument on the master side,
// either from a thread (whole exchanges) or from the host's yield hook (byte by byte, with
// a replaced timer, for deadlines and cancellation).
#include <fcntl.h>
#include <poll.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "instrument/KtrTestRecord.h"
#include "support/Fixtures.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik {
namespace {

using Bytes = std::vector<uint8_t>;
using testing::Capture;
using testing::KtrFileTable;
using testing::KtrRecordBytes;

constexpr int16_t kPort = 11;
constexpr int16_t kUnmappedPort = 12;
constexpr float kTimeout = 5.0f;  // receive stages on the real clock; never reached when all goes well
constexpr auto kPatience = std::chrono::seconds(5);  // how long the scripted instrument waits for a frame

// An instrument frame, encoded here independently of the library.
Bytes Frame(char command, const Bytes& params = {}) {
  Bytes f(params.size() + 3);
  f[0] = 1;
  f[1] = static_cast<uint8_t>(params.size() / 2 + 3);
  f[2] = static_cast<uint8_t>(command);
  std::copy(params.begin(), params.end(), f.begin() + 3);
  uint8_t checksum = 0;
  for (std::size_t i = 1; i < f.size(); ++i) checksum = static_cast<uint8_t>(checksum ^ f[i]);
  f.push_back(checksum);
  return f;
}

Bytes operator+(Bytes a, const Bytes& b) {
  a.insert(a.end(), b.begin(), b.end());
  return a;
}

const Bytes kAck = {0x01, 0x03, 'Y', 0x5A};

// The flash read request the library must send: four words, high byte first.
Bytes Request(uint16_t what, uint16_t pointer) {
  return Frame('D', {0x00, 0x20, static_cast<uint8_t>(what >> 8), static_cast<uint8_t>(what & 0xFF),
                     static_cast<uint8_t>(pointer >> 8), static_cast<uint8_t>(pointer & 0xFF), 0x00, 0x00});
}

// The instrument's side of one flash read: element 0 answers the request (the version
// reply and the first block), each further one answers an acknowledgement.
std::vector<Bytes> FlashRead(const Bytes& data, std::size_t blockBytes = 64, const Bytes& before = {}) {
  std::vector<Bytes> blocks;
  for (std::size_t i = 0; i < data.size(); i += blockBytes) {
    blocks.emplace_back(data.begin() + static_cast<std::ptrdiff_t>(i),
                        data.begin() + static_cast<std::ptrdiff_t>(std::min(data.size(), i + blockBytes)));
  }
  std::vector<Bytes> replies;
  replies.push_back(before + Frame('Y', {32, 0}) + (blocks.empty() ? Frame('B') : Frame('D', blocks[0])));
  for (std::size_t i = 1; i <= blocks.size(); ++i) replies.push_back(i < blocks.size() ? Frame('D', blocks[i]) : Frame('B'));
  replies.push_back({});  // the acknowledgement of the end needs no answer
  return replies;
}

// A file name as the instrument stores it: UTF-16 little-endian with a terminator.
Bytes NameBytes(const std::u16string& name) {
  Bytes out;
  for (char16_t c : name + u'\0') {
    out.push_back(static_cast<uint8_t>(c & 0xFF));
    out.push_back(static_cast<uint8_t>(c >> 8));
  }
  return out;
}

std::vector<Bytes> Concat(std::vector<std::vector<Bytes>> parts) {
  std::vector<Bytes> all;
  for (auto& part : parts) all.insert(all.end(), part.begin(), part.end());
  return all;
}

// Plays replies on the pty master, one after each frame received, in its own thread.
class ScriptedInstrument {
 public:
  ScriptedInstrument(int master, std::vector<Bytes> replies)
      : master_(master), replies_(std::move(replies)), thread_([this] { Run(); }) {}
  ~ScriptedInstrument() { Stop(); }
  ScriptedInstrument(const ScriptedInstrument&) = delete;
  ScriptedInstrument& operator=(const ScriptedInstrument&) = delete;

  // Every frame received: waits for the script to end, or (after Stop) for the line to
  // stay quiet.
  const std::vector<Bytes>& Received() {
    if (thread_.joinable()) thread_.join();
    return received_;
  }
  // For a session that gave up early: end once nothing more arrives.
  const std::vector<Bytes>& Stop() {
    stop_ = true;
    return Received();
  }

 private:
  bool ReadByte(uint8_t& byte) {
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (std::chrono::steady_clock::now() < end) {
      pollfd p{master_, POLLIN, 0};
      if (::poll(&p, 1, 50) > 0 && ::read(master_, &byte, 1) == 1) return true;
      if (stop_) return false;
    }
    return false;
  }
  bool ReadFrame(Bytes& frame) {
    uint8_t b = 0;
    do {
      if (!ReadByte(b)) return false;
    } while (b != 1);
    frame = {b};
    if (!ReadByte(b)) return false;
    frame.push_back(b);
    const std::size_t rest = 1 + 2 * static_cast<std::size_t>(b > 3 ? b - 3 : 0) + 1;
    for (std::size_t i = 0; i < rest; ++i) {
      if (!ReadByte(b)) return false;
      frame.push_back(b);
    }
    return true;
  }
  bool WriteAll(const Bytes& bytes) {
    std::size_t done = 0;
    const auto end = std::chrono::steady_clock::now() + kPatience;
    while (done < bytes.size() && std::chrono::steady_clock::now() < end) {
      const ssize_t n = ::write(master_, bytes.data() + done, bytes.size() - done);
      if (n > 0) {
        done += static_cast<std::size_t>(n);
      } else {
        pollfd p{master_, POLLOUT, 0};
        ::poll(&p, 1, 20);
      }
    }
    return done == bytes.size();
  }
  void Run() {
    for (const Bytes& reply : replies_) {
      Bytes frame;
      if (!ReadFrame(frame)) return;
      received_.push_back(frame);
      if (!WriteAll(reply)) return;
    }
  }

  int master_;
  std::vector<Bytes> replies_;
  std::vector<Bytes> received_;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

class KtrSessionTest : public testing::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(master_, 0);
    ASSERT_EQ(::grantpt(master_), 0);
    ASSERT_EQ(::unlockpt(master_), 0);
    SetSerialPortDevice(kPort, ::ptsname(master_));
    session_ = std::make_unique<CKTR915>();
    session_->OnKTREvent.Connect([this](KTREvents e, const Variant& v) { events_.emplace_back(e, v); });
    session_->Connect(kPort);
  }
  void TearDown() override {
    SetYieldHandler(nullptr);
    SetTimerSource(nullptr);
    session_.reset();
    SetSerialPortDevice(kPort, "");
    if (master_ >= 0) ::close(master_);
    TempDirTest::TearDown();
  }

  // A timer the test moves: seconds since midnight, advanced by the yield hook.
  void UseTestClock(float start) {
    now_ = start;
    SetTimerSource([this] { return now_.load(); });
  }
  // Sends bytes to the library from the test's own thread (pty writes of this size never block).
  void Send(const Bytes& bytes) const { ASSERT_EQ(::write(master_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size())); }
  // What the library wrote that no instrument has read, after a short quiet spell.
  Bytes Unread() const {
    Bytes got;
    pollfd p{master_, POLLIN, 0};
    while (::poll(&p, 1, 50) > 0) {
      uint8_t buffer[256];
      const ssize_t n = ::read(master_, buffer, sizeof buffer);
      if (n <= 0) break;
      got.insert(got.end(), buffer, buffer + n);
    }
    return got;
  }
  // Log lines whose error number is this one.
  std::size_t LoggedWithNumber(const std::string& number) const {
    std::size_t n = 0;
    for (const std::string& line : LogLines()) n += Fields(line).at(0) == number ? 1u : 0u;
    return n;
  }

  int master_ = -1;
  std::unique_ptr<CKTR915> session_;
  std::vector<std::pair<KTREvents, Variant>> events_;
  std::atomic<float> now_{0};
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
  ScriptedInstrument instrument(master_, TwoFileListing({0xFF, 0x00, 0x55, 0x02, 0x59}));
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
    ScriptedInstrument instrument(master_, FlashRead(KtrFileTable(1290, {})));
    const std::shared_ptr<CTraces> traces = session_->GetFiles({}, kTimeout);
    EXPECT_EQ(traces->Count(), 0);
    EXPECT_EQ(instrument.Received(), (std::vector<Bytes>{Request(51, 0), kAck, kAck}));
  }
  // The table read stays: a second empty request sends nothing.
  EXPECT_EQ(session_->GetFiles({}, kTimeout)->Count(), 0);
  EXPECT_TRUE(Unread().empty());
  ScriptedInstrument instrument(master_, FlashRead(KtrFileTable(1290, {})));
  EXPECT_TRUE(session_->GetFilenames(kTimeout).empty());
  EXPECT_EQ(instrument.Received().size(), 3u);
}

TEST_F(KtrSessionTest, BadRepliesGiveNumberedErrors) {
  const Bytes reply = Frame('Y', {32, 0});  // 01 04 59 20 00 7D
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
      {"other command in the data", {reply + Frame('Q', {1, 2})}, 11002, "CKTR915:ReceiveFlashData()",
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
    ScriptedInstrument instrument(master_, c.script);
    EXPECT_RAISES(session_->GetFilenames(kTimeout), c.number, c.source, c.description);
    // Nothing more is asked once a reply fails; an unformatted table is acknowledged to its end.
    const std::vector<Bytes>& received = instrument.Stop();
    ASSERT_FALSE(received.empty());
    EXPECT_EQ(received[0], Request(51, 0));
    for (std::size_t i = 1; i < received.size(); ++i) EXPECT_EQ(received[i], kAck);
    EXPECT_EQ(received.size(), c.number == 11004 ? 3u : 1u);
    EXPECT_TRUE(Unread().empty());
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
    now_ = now_ + 1.0f;
  });
  // Silence: the first stage's deadline is 105; the wait ends at 106.
  EXPECT_RAISES(session_->GetFilenames(kTimeout), 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames");
  EXPECT_EQ(yields, 6);
  ASSERT_EQ(LogLines().size(), 1u);
  const auto fields = Fields(LogLines()[0]);
  EXPECT_EQ((std::vector<std::string>(fields.begin(), fields.begin() + 4)),
            (std::vector<std::string>{"11000", "Timeout", "CKTR915", "ReceivePacket()"}));
  EXPECT_EQ(Unread(), Request(51, 0));

  // Noise counts against the start stage: its deadline is not renewed per byte dropped.
  yields = 0;
  SetYieldHandler([&] {
    ++yields;
    now_ = now_ + 1.0f;
    Send({0x55});
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
  const Bytes script = Frame('Y', {32, 0}) + Frame('D', KtrFileTable(1290, {})) + Frame('B');
  std::size_t sent = 0;
  SetYieldHandler([&] {
    now_ = now_ + 1.0f;
    if (sent < script.size()) Send({script[sent++]});
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  });
  EXPECT_TRUE(session_->GetFilenames(kTimeout).empty());
  EXPECT_EQ(sent, script.size());
  EXPECT_EQ(Unread(), Request(51, 0) + kAck + kAck);
}

TEST_F(KtrSessionTest, ADeadlineAfterMidnightIsNeverReached) {
  UseTestClock(86399.0f);  // deadline 86404: the timer wraps to 0 first
  int yields = 0;
  SetYieldHandler([&] {
    now_ = std::fmod(now_ + 1.0f, 86400.0f);
    if (++yields == 40) Send(Frame('Y', {32, 0}) + Frame('D', KtrFileTable(1290, {})) + Frame('B'));
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

// The record decoder has its own tests; here a few fields show the bytes arrived whole.
Bytes TraceRecord(uint16_t wavelength, const std::vector<uint16_t>& samples) {
  KtrRecordBytes record(samples);
  record.PutWord(ktr_record::kWavelength, wavelength)
      .PutWord(ktr_record::kPointSpacing, 2)
      .PutText(ktr_record::kSupplierName, ktr_record::kSupplierNameBytes, u"Tarnvik");
  return record.Bytes();
}

TEST_F(KtrSessionTest, DownloadsTwoTraces) {
  {
    ScriptedInstrument instrument(master_, TwoFileListing());
    ASSERT_EQ(session_->GetFilenames(kTimeout).size(), 2u);
  }
  std::vector<uint16_t> samples1(150);
  std::vector<uint16_t> samples2(40);
  for (std::size_t i = 0; i < samples1.size(); ++i) samples1[i] = static_cast<uint16_t>(65535 - 400 * i);
  for (std::size_t i = 0; i < samples2.size(); ++i) samples2[i] = static_cast<uint16_t>(i * i);
  // 608 bytes in four blocks, then 828 bytes in two.
  const std::vector<Bytes> read2 = FlashRead(TraceRecord(1300, samples2), 200);
  const std::vector<Bytes> script = Concat({read2, FlashRead(TraceRecord(1550, samples1), 500)});
  ASSERT_EQ(script.size(), 6u + 4u);
  ScriptedInstrument instrument(master_, script);
  // In the order asked for, not the table's.
  const std::shared_ptr<CTraces> traces = session_->GetFiles({"B_2_M13", "CABLE7_12_S15"}, kTimeout);
  const std::vector<Bytes>& received = instrument.Received();
  ASSERT_EQ(received.size(), script.size());
  EXPECT_EQ(received[0], Request(4488, kPointer2));
  EXPECT_EQ(received[read2.size()], Request(4488, kPointer1));

  ASSERT_EQ(traces->Count(), 2);
  const auto first = traces->Item(1);
  const auto second = traces->Item(2);
  EXPECT_EQ(first->FileName(), "B_2_M13.sor");
  EXPECT_EQ(first->FiberNumber(), 2);
  EXPECT_EQ(first->CableID(), "B");
  EXPECT_EQ(first->FiberType(), FT_MultiMode);
  EXPECT_EQ(first->NominalWavelength(), 1300);
  EXPECT_EQ(first->DataPointArray(), std::vector<int32_t>(samples2.begin(), samples2.end()));
  EXPECT_EQ(second->FileName(), "CABLE7_12_S15.sor");
  EXPECT_EQ(second->FiberNumber(), 12);
  EXPECT_EQ(second->CableID(), "CABLE7");
  EXPECT_EQ(second->FiberType(), FT_SingleMode);
  EXPECT_EQ(second->NominalWavelength(), 1550);
  EXPECT_EQ(second->DataPointArray(), std::vector<int32_t>(samples1.begin(), samples1.end()));
  for (const auto& trace : {first, second}) {
    EXPECT_EQ(trace->SupplierName(), "Tarnvik");
    EXPECT_EQ(trace->AquisitionRange(), trace->Samples() * 2);
  }

  // A name that differs in case only is not on the instrument; nothing is sent for it.
  EXPECT_RAISES(session_->GetFiles({"cable7_12_s15"}, kTimeout), 5, "CKTR915:GetFiles()",
                "Could not find file: 'cable7_12_s15'\r\nn = 3, FileCount = 2, Files: \r\n"
                "'CABLE7_12_S15'\r\n'B_2_M13'\r\n");
  EXPECT_TRUE(Unread().empty());

  // A silent instrument during a transfer.
  UseTestClock(500.0f);
  SetYieldHandler([&] { now_ = now_ + 1.0f; });
  EXPECT_RAISES(session_->GetFiles({"B_2_M13"}, kTimeout), 11000, "CKTR915:GetFiles()", "Timeout");
  EXPECT_EQ(Unread(), Request(4488, kPointer2));
}

TEST_F(KtrSessionTest, ConnectionFollowsTheCalls) {
  CKTR915 other;
  EXPECT_FALSE(other.Connected());
  session_->Disconnect();
  EXPECT_FALSE(session_->Connected());
  other.Connect(kPort);
  EXPECT_TRUE(other.Connected());
  other.Connect(kPort);  // reconnecting closes and reopens
  EXPECT_TRUE(other.Connected());
  other.Disconnect();
  EXPECT_FALSE(other.Connected());

  SetSerialPortDevice(kUnmappedPort, Path("no-such-device"));
  const testing::Raised r = Capture([&] { other.Connect(kUnmappedPort); });
  SetSerialPortDevice(kUnmappedPort, "");
  EXPECT_EQ(r.number, 8002);
  EXPECT_EQ(r.source, "CKTR915:Connect()");
  EXPECT_FALSE(other.Connected());
}

}  // namespace
}  // namespace tarnvik
