// CSerialPort over a pseudo-terminal: the test plays the far end on the master side.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "instrument/Pty.h"
#include "support/Fixtures.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/instrument/CSerialPort.h"
#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik {
namespace {

using testing::Capture;
using testing::Pty;

constexpr int16_t kPort = 7;
constexpr int16_t kMissingPort = 8;
constexpr auto kDeadline = std::chrono::seconds(3);

class SerialPortTest : public testing::TempDirTest {
 protected:
  void SetUp() override {
    TempDirTest::SetUp();
    ASSERT_TRUE(pty_.Ok());
    SetSerialPortDevice(kPort, pty_.Slave());
    SetSerialPortDevice(kMissingPort, Path("no-such-device"));
  }
  void TearDown() override {
    SetSerialPortDevice(kPort, "");
    SetSerialPortDevice(kMissingPort, "");
    TempDirTest::TearDown();
  }

  std::unique_ptr<CSerialPort> OpenPort(int16_t mode = 1) {
    auto port = std::make_unique<CSerialPort>();
    port->SetCommPort(kPort);
    port->SetInputMode(mode);
    port->SetPortOpen(true);
    return port;
  }

  // Polls InBufferCount (yielding between polls) until n bytes wait, or the deadline.
  static int16_t WaitFor(CSerialPort& port, int16_t n) {
    const auto end = std::chrono::steady_clock::now() + kDeadline;
    int16_t count = port.InBufferCount();
    while (count < n && std::chrono::steady_clock::now() < end) {
      YieldToHost();
      count = port.InBufferCount();
    }
    return count;
  }

  Pty pty_;
};

std::vector<uint8_t> Bytes(const ByteArray& a) { return {a.data(), a.data() + a.size()}; }

TEST_F(SerialPortTest, BytesTravelBothWaysOneAtATimeAndAllAtOnce) {
  auto port = OpenPort();
  EXPECT_TRUE(port->PortOpen());

  const std::vector<uint8_t> frame = {0x01, 0x05, 'D', 0x00, 0xFF, 0x11, 0x13, 0x0D, 0x0A, 0x80};
  pty_.Send(frame);
  ASSERT_EQ(WaitFor(*port, 10), 10);
  port->SetInputLen(1);
  std::vector<uint8_t> got;
  for (int i = 0; i < 10; ++i) {
    const ByteArray one = std::get<ByteArray>(port->PortInput());
    ASSERT_EQ(one.LBound(), 0);
    ASSERT_EQ(one.UBound(), 0);
    got.push_back(one[0]);
  }
  EXPECT_EQ(got, frame);
  EXPECT_EQ(port->InBufferCount(), 0);
  const ByteArray none = std::get<ByteArray>(port->PortInput());
  EXPECT_FALSE(none.IsDimensioned());

  // InputLen 0 takes everything waiting; InputLen 3 at most three.
  pty_.Send(frame);
  ASSERT_EQ(WaitFor(*port, 10), 10);
  port->SetInputLen(3);
  EXPECT_EQ(Bytes(std::get<ByteArray>(port->PortInput())), std::vector<uint8_t>(frame.begin(), frame.begin() + 3));
  port->SetInputLen(0);
  const ByteArray rest = std::get<ByteArray>(port->PortInput());
  EXPECT_EQ(rest.LBound(), 0);
  EXPECT_EQ(Bytes(rest), std::vector<uint8_t>(frame.begin() + 3, frame.end()));

  // Output: every element of a byte array from its lower bound, and text as one byte a character.
  ByteArray out = ByteArray::FromBytes(frame.data(), frame.size(), 5);
  port->SetOutput(out);
  EXPECT_EQ(pty_.Receive(frame.size()), frame);
  port->SetOutput(std::string("A\xC3\xA9\xC3\xBF"));  // "Aéÿ"
  EXPECT_EQ(pty_.Receive(3), (std::vector<uint8_t>{'A', 0xE9, 0xFF}));
  port->SetOutput(ByteArray());
  port->SetOutput(std::string());

  // A large write waits for the far end to drain the line rather than failing.
  std::vector<uint8_t> big(20000);
  for (std::size_t i = 0; i < big.size(); ++i) big[i] = static_cast<uint8_t>(i * 7);
  ByteArray bigArray = ByteArray::FromBytes(big.data(), big.size(), 0);
  std::vector<uint8_t> received;
  std::thread reader([&] { received = pty_.Receive(big.size()); });
  port->SetOutput(bigArray);
  reader.join();
  EXPECT_EQ(received, big);

  port->SetPortOpen(false);
  EXPECT_FALSE(port->PortOpen());
  port->SetPortOpen(false);  // closing a closed port is no error
}

TEST_F(SerialPortTest, TextModeDecodesBytesAsLatin1) {
  auto port = OpenPort(0);
  pty_.Send({'O', 'K', 0xE9, 0xFF, 0x00, 'z'});
  ASSERT_EQ(WaitFor(*port, 6), 6);
  EXPECT_EQ(std::get<std::string>(port->PortInput()), std::string("OK\xC3\xA9\xC3\xBF", 6) + std::string(1, '\0') + "z");
  EXPECT_EQ(std::get<std::string>(port->PortInput()), "");
}

TEST_F(SerialPortTest, InBufferCountDiscardsOnlyOnZero) {
  auto port = OpenPort();
  pty_.Send({1, 2, 3, 4, 5});
  ASSERT_EQ(WaitFor(*port, 5), 5);
  EXPECT_RAISES(port->SetInBufferCount(3), 5, "CSerialPort:Let InBufferCount()", "Invalid procedure call or argument");
  EXPECT_EQ(port->InBufferCount(), 5);
  port->SetInBufferCount(0);
  EXPECT_EQ(port->InBufferCount(), 0);
  EXPECT_FALSE(std::get<ByteArray>(port->PortInput()).IsDimensioned());
  // Input after a discard is received normally.
  pty_.Send({9});
  ASSERT_EQ(WaitFor(*port, 1), 1);
  EXPECT_EQ(Bytes(std::get<ByteArray>(port->PortInput())), std::vector<uint8_t>{9});
}

TEST_F(SerialPortTest, PortErrorsCarryTheirNumbersAndTexts) {
  CSerialPort missing;
  missing.SetCommPort(kMissingPort);
  EXPECT_RAISES(missing.SetPortOpen(true), 8002, "CSerialPort:Let PortOpen()", "Port Com8 is not a valid Port Number");
  EXPECT_FALSE(missing.PortOpen());

  // A device that is no serial device at all.
  SetSerialPortDevice(kMissingPort, "/dev/null");
  EXPECT_RAISES(missing.SetPortOpen(true), 8002, "CSerialPort:Let PortOpen()", "Port Com8 is not a valid Port Number");

  // Unmapped ports open the platform's default device name.
  EXPECT_EQ(SerialPortDevice(12), "/dev/ttyS11");

  CSerialPort closed;
  closed.SetCommPort(kPort);
  const struct {
    const char* procedure;
    std::function<void()> call;
  } needOpen[] = {
      {"Get PortInput()", [&] { closed.PortInput(); }},
      {"Let Output()", [&] { closed.SetOutput(std::string("x")); }},
      {"Get InBufferCount()", [&] { closed.InBufferCount(); }},
      {"Let InBufferCount()", [&] { closed.SetInBufferCount(0); }},
  };
  for (const auto& c : needOpen) {
    SCOPED_TRACE(c.procedure);
    EXPECT_RAISES(c.call(), 8018, std::string("CSerialPort:") + c.procedure, "Port Com7 is not open");
  }

  auto port = OpenPort();
  EXPECT_RAISES(port->SetPortOpen(true), 8005, "CSerialPort:Let PortOpen()", "Port Com7 is already open");
  EXPECT_TRUE(port->PortOpen());
  EXPECT_RAISES(port->SetCommPort(3), 8005, "CSerialPort:Let CommPort()", "Port Com7 is already open");
  EXPECT_RAISES(closed.SetCommPort(0), 8002, "CSerialPort:Let CommPort()", "Port Com0 is not a valid Port Number");

  // Each failure was logged under its procedure.
  const auto lines = LogLines();
  ASSERT_GE(lines.size(), 2u);
  const auto first = Fields(lines[0]);
  ASSERT_GE(first.size(), 4u);
  EXPECT_EQ(first[0], "8002");
  EXPECT_EQ(first[2], "CSerialPort");
  EXPECT_EQ(first[3], "Let PortOpen()");
}

TEST_F(SerialPortTest, BusyPortIsRetriedAHundredTimesThenReportedOpen) {
  auto first = OpenPort();
  CSerialPort second;
  second.SetCommPort(kPort);
  uint64_t before = detail::SerialOpenAttempts();
  EXPECT_RAISES(second.SetPortOpen(true), 8005, "CSerialPort:Let PortOpen()", "Port Com7 is already open");
  EXPECT_EQ(detail::SerialOpenAttempts() - before, 101u);
  EXPECT_FALSE(second.PortOpen());

  // Once the first lets go (here: is destroyed), the second opens at its first attempt.
  first.reset();
  before = detail::SerialOpenAttempts();
  second.SetPortOpen(true);
  EXPECT_TRUE(second.PortOpen());
  EXPECT_EQ(detail::SerialOpenAttempts() - before, 1u);
  EXPECT_TRUE(messages_.empty());  // closing on destruction shows nothing either
  second.SetPortOpen(false);

  // A device locked through another descriptor (as another program holding it would) is busy too.
  const int holder = ::open(pty_.Slave().c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
  ASSERT_GE(holder, 0);
  ASSERT_EQ(::flock(holder, LOCK_EX | LOCK_NB), 0);
  before = detail::SerialOpenAttempts();
  EXPECT_RAISES(second.SetPortOpen(true), 8005, "CSerialPort:Let PortOpen()", "Port Com7 is already open");
  EXPECT_EQ(detail::SerialOpenAttempts() - before, 101u);
  ::close(holder);
  second.SetPortOpen(true);
  EXPECT_TRUE(second.PortOpen());
}

TEST_F(SerialPortTest, SettingsAreCheckedAndRememberedWhileClosed) {
  CSerialPort port;
  EXPECT_EQ(port.Settings(), "9600,N,8,1");
  const char* good[] = {"115200,N,8,1", "9600,e,7,2", "300,O,5,1", "19200,M,8,1", "57600,S,6,2"};
  for (const char* text : good) {
    SCOPED_TRACE(text);
    port.SetSettings(text);
    EXPECT_EQ(port.Settings(), text);
  }
  const char* bad[] = {"",           "9600",         "9600,N,8",       "9600,N,8,1,1", "9600,X,8,1",
                       "9600,N,9,1", "9600,N,3,1",   "9600,N,8,3",     "abc,N,8,1",    "0,N,8,1",
                       "-9600,N,8,1", " 9600,N,8,1", "9600,NN,8,1",    "9600,N,8,1.5", "12345,N,8,1",
                       "9600,N,4,1", "99999999999,N,8,1"};
  for (const char* text : bad) {
    SCOPED_TRACE(text);
    EXPECT_RAISES(port.SetSettings(text), 5, "CSerialPort:Let Settings()", "Invalid procedure call or argument");
    EXPECT_EQ(port.Settings(), "57600,S,6,2");
  }

  // Remembered settings apply at open, and changes pass to the open device.
  port.SetSettings("2400,E,7,2");
  port.SetCommPort(kPort);
  port.SetPortOpen(true);
  port.SetSettings("115200,N,8,1");
  EXPECT_RAISES(port.SetSettings("9600,N,8,x"), 5, "CSerialPort:Let Settings()", "Invalid procedure call or argument");
  EXPECT_EQ(port.Settings(), "115200,N,8,1");
}

TEST_F(SerialPortTest, ModemLinesAndHandshakingAreBestEffortOnAPseudoTerminal) {
  CSerialPort port;
  port.SetCommPort(kPort);
  port.SetDTREnable(true);
  port.SetRTSEnable(true);
  port.SetHandShaking(serHSRTS);
  port.SetPortOpen(true);  // applies all three; the pseudo-terminal refuses the modem lines
  EXPECT_TRUE(port.PortOpen());
  for (const auto hs : {serHSNone, serHSXOnXOff, serHSRTS, serHSRTSXOnXOff}) port.SetHandShaking(hs);
  port.SetDTREnable(false);
  port.SetRTSEnable(false);
  EXPECT_TRUE(LogLines().empty());  // refusals are not logged either

  EXPECT_RAISES(port.SetHandShaking(static_cast<SerialHandshakeConstants>(4)), 5, "CSerialPort:Let HandShaking()",
                "Invalid procedure call or argument");
  EXPECT_RAISES(port.SetInputMode(2), 5, "CSerialPort:Let InputMode()", "Invalid procedure call or argument");
  EXPECT_RAISES(port.SetInputLen(-1), 5, "CSerialPort:Let InputLen()", "Invalid procedure call or argument");
  EXPECT_RAISES(port.SetParityReplace("ab"), 5, "CSerialPort:Let ParityReplace()",
                "Invalid procedure call or argument");
  EXPECT_RAISES(port.SetInBufferSize(2048), 8005, "CSerialPort:Let InBufferSize()", "Port Com7 is already open");
}

TEST_F(SerialPortTest, OutputAcceptsOnlyBytesAndLatin1Text) {
  auto port = OpenPort();
  const Variant wrong[] = {Variant(), Variant(true), Variant(int16_t{1}), Variant(int32_t{65}), Variant(1.5f),
                           Variant(2.0)};
  for (const Variant& v : wrong) {
    SCOPED_TRACE(v.index());
    EXPECT_RAISES(port->SetOutput(v), 13, "CSerialPort:Let Output()", "Type mismatch");
  }
  EXPECT_RAISES(port->SetOutput(std::string("ok\xE2\x82\xAC")), 6, "CSerialPort:Let Output()", "Overflow");  // "€"
  // Nothing of a refused text went out.
  port->SetOutput(std::string("Z"));
  EXPECT_EQ(pty_.Receive(1), std::vector<uint8_t>{'Z'});
}

TEST_F(SerialPortTest, OnCommRisesOnNewInputAndAFailingHandlerIsShown) {
  auto port = OpenPort();
  EXPECT_EQ(port->CommEvent(), 0);
  int calls = 0;
  const auto id = port->OnComm.Connect([&] {
    ++calls;
    EXPECT_EQ(port->CommEvent(), errSerReceive);
  });
  pty_.Send({1, 2});
  ASSERT_EQ(WaitFor(*port, 2), 2);
  const int afterArrival = calls;
  EXPECT_GE(afterArrival, 1);
  EXPECT_EQ(port->InBufferCount(), 2);
  EXPECT_EQ(calls, afterArrival);  // nothing new, no event
  port->SetInputLen(1);
  port->PortInput();
  EXPECT_EQ(port->InBufferCount(), 1);
  EXPECT_EQ(calls, afterArrival);  // reading is no arrival
  port->OnComm.Disconnect(id);

  port->OnComm.Connect([] { Raise(5, "handler failed"); });
  pty_.Send({3});
  EXPECT_EQ(WaitFor(*port, 2), 2);  // the failure does not reach the poll
  ASSERT_EQ(messages_.size(), 1u);
  EXPECT_NE(messages_[0].find("Error: 5\r\n\r\nhandler failed"), std::string::npos);
  const auto lines = LogLines();
  ASSERT_FALSE(lines.empty());
  const auto fields = Fields(lines.back());
  ASSERT_GE(fields.size(), 4u);
  EXPECT_EQ(fields[3], "moComm_OnComm()");
}

TEST(HostServicesTest, TimerSourceAndYieldHandlerAreReplacedAndRestored) {
  const float real = TimerSeconds();
  EXPECT_GE(real, 0.0f);
  EXPECT_LT(real, 86401.0f);
  SetTimerSource([] { return 86399.5f; });
  EXPECT_EQ(TimerSeconds(), 86399.5f);
  SetTimerSource(nullptr);
  EXPECT_LT(TimerSeconds(), 86401.0f);
  EXPECT_NE(TimerSeconds(), 86399.5f);

  int yields = 0;
  // A handler may call back into the library (here: replace itself) without deadlock.
  SetYieldHandler([&] {
    ++yields;
    SetYieldHandler([&] { yields += 10; });
  });
  YieldToHost();
  YieldToHost();
  EXPECT_EQ(yields, 11);
  SetYieldHandler(nullptr);
  YieldToHost();
  EXPECT_EQ(yields, 11);
}

double CpuSeconds() {
  rusage usage{};
  ::getrusage(RUSAGE_SELF, &usage);
  return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
         static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

// Default yields for about 100 ms must leave the CPU mostly idle.
void ExpectYieldsDoNotSpin() {
  const auto start = std::chrono::steady_clock::now();
  const double cpuStart = CpuSeconds();
  int yields = 0;
  while (std::chrono::steady_clock::now() - start < std::chrono::milliseconds(100) && yields < 100000) {
    YieldToHost();
    ++yields;
  }
  const double wall = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  const double cpu = CpuSeconds() - cpuStart;
  EXPECT_LT(cpu, wall / 2) << yields << " yields";
  EXPECT_LT(yields, 1000);  // each yield waited about a millisecond or more
}

TEST_F(SerialPortTest, DefaultYieldWaitsWithoutSpinning) {
  SetYieldHandler(nullptr);
  {
    SCOPED_TRACE("no port open");
    ExpectYieldsDoNotSpin();
  }
  auto port = OpenPort();
  {
    SCOPED_TRACE("an idle port open");
    ExpectYieldsDoNotSpin();
  }
  pty_.Send({1, 2, 3});
  ASSERT_EQ(WaitFor(*port, 3), 3);
  {
    SCOPED_TRACE("input waiting unread");
    ExpectYieldsDoNotSpin();
  }
}

TEST_F(SerialPortTest, AHungUpLineGivesAnErrorAndNoSpin) {
  auto port = OpenPort();
  pty_.HangUp();
  const struct {
    const char* procedure;
    std::function<void()> call;
  } polls[] = {
      {"Get InBufferCount()", [&] { port->InBufferCount(); }},
      {"Get PortInput()", [&] { port->PortInput(); }},
  };
  for (const auto& c : polls) {
    SCOPED_TRACE(c.procedure);
    const testing::Raised r = Capture(c.call);
    EXPECT_TRUE(r.raised);
    EXPECT_EQ(r.number, 75);
    EXPECT_EQ(r.source, std::string("CSerialPort:") + c.procedure);
    EXPECT_EQ(r.description, "Serial device: counting the input failed: Input/output error");
  }
  SetYieldHandler(nullptr);
  ExpectYieldsDoNotSpin();
  port->SetPortOpen(false);
}

}  // namespace
}  // namespace tarnvik
