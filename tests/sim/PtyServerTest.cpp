// The simulator on a real pseudo-terminal, with a raw client on the device side. Every
// read is bounded, so a server that does not answer fails the test instead of hanging it.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "ktr915sim/PtyServer.h"

namespace tarnvik::sim {
namespace {

using Bytes = std::vector<uint8_t>;

class Client {
 public:
  explicit Client(const std::string& path) : fd_(open(path.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK)) {}
  ~Client() {
    if (fd_ >= 0) close(fd_);
  }
  bool Open() const { return fd_ >= 0; }
  bool Write(const Bytes& b) const { return write(fd_, b.data(), b.size()) == static_cast<ssize_t>(b.size()); }
  // Reads until n bytes have come or two seconds have passed.
  Bytes Read(std::size_t n) const {
    Bytes got;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
    while (got.size() < n) {
      const auto left =
          std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
      if (left.count() <= 0) break;
      pollfd p{fd_, POLLIN, 0};
      if (poll(&p, 1, static_cast<int>(left.count())) <= 0) break;
      uint8_t buffer[512];
      const ssize_t r = read(fd_, buffer, std::min(sizeof buffer, n - got.size()));
      if (r > 0) got.insert(got.end(), buffer, buffer + r);
    }
    return got;
  }
  // True when nothing arrives within the given time.
  bool Quiet(int milliseconds) const {
    pollfd p{fd_, POLLIN, 0};
    return poll(&p, 1, milliseconds) == 0;
  }

 private:
  int fd_;
};

const Bytes kTableRequest = {0x01, 0x07, 'D', 0x00, 0x20, 0x00, 0x33, 0x00, 0x00, 0x00, 0x00, 0x50};
const Bytes kAck = {0x01, 0x03, 'Y', 0x5A};
const Bytes kEnd = {0x01, 0x03, 'B', 0x41};
// The reply (version 32) and the table of one file at pointer 0x0100, in one data block.
const Bytes kTableAnswer = {0x01, 0x04, 'Y', 32, 0, 0x7D, 0x01, 0x07, 'D',
                            0x0A, 0x05, 1,   0,  1, 0,    0x00, 0x01, 0x44 ^ 0x07 ^ 0x0A ^ 0x05 ^ 1 ^ 1 ^ 1};

TEST(PtyServer, ServesSuccessiveClientsOnItsThreadAndStops) {
  auto files = std::make_shared<InstrumentFiles>();
  files->AddSynthetic(50);
  PtyServer server(files);
  ASSERT_EQ(server.DevicePath().rfind("/dev/", 0), 0u) << server.DevicePath();
  server.Start();

  for (int session = 1; session <= 2; ++session) {
    SCOPED_TRACE("session " + std::to_string(session));
    Client client(server.DevicePath());
    ASSERT_TRUE(client.Open());
    ASSERT_TRUE(client.Write(kTableRequest));
    EXPECT_EQ(client.Read(kTableAnswer.size()), kTableAnswer);
    ASSERT_TRUE(client.Write(kAck));
    EXPECT_EQ(client.Read(kEnd.size()), kEnd);
    ASSERT_TRUE(client.Write(kAck));
    EXPECT_TRUE(client.Quiet(50));
  }
  server.Stop();
  const EngineStats s = server.Stats();
  EXPECT_EQ(s.transfersCompleted, 2);
  EXPECT_EQ(s.ignoredFrames + s.badChecksums + s.junkBytes, 0);
  EXPECT_EQ(server.Failure(), "");

  // Started again, it serves again; a silent instrument stays silent.
  server.Start();
  Client client(server.DevicePath());
  ASSERT_TRUE(client.Write(kTableRequest));
  EXPECT_EQ(client.Read(kTableAnswer.size()), kTableAnswer);
  server.Stop();

  PtyServer silent(files, {.faults = {.silentAfterFrames = 0}});
  silent.Start();
  Client quiet(silent.DevicePath());
  ASSERT_TRUE(quiet.Write(kTableRequest));
  EXPECT_TRUE(quiet.Quiet(100));
  silent.Stop();
  EXPECT_EQ(silent.Stats().requests, 1);
  EXPECT_EQ(silent.Stats().framesSilenced, 2);
}

// A hang-up sends what came before it, then closes both ends: the client sees the line
// hang up, the device disappears, and the server ends without a failure.
TEST(PtyServer, HangsUpAfterTheFramesItWasToSend) {
  auto files = std::make_shared<InstrumentFiles>();
  files->AddSynthetic(50);
  PtyServer server(files, {.faults = {.hangUpAfterFrames = 2}});
  server.Start();
  Client client(server.DevicePath());
  ASSERT_TRUE(client.Write(kTableRequest));
  EXPECT_EQ(client.Read(kTableAnswer.size()), kTableAnswer);
  ASSERT_TRUE(client.Write(kAck));
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(2);
  while (!server.HungUp() && std::chrono::steady_clock::now() < deadline) {
    std::this_thread::sleep_for(std::chrono::milliseconds(1));
  }
  EXPECT_TRUE(server.HungUp());
  EXPECT_FALSE(client.Write(kAck));  // EIO
  EXPECT_NE(access(server.DevicePath().c_str(), F_OK), 0);
  server.Stop();
  EXPECT_EQ(server.Failure(), "");
  EXPECT_EQ(server.Stats().framesSent, 2);
}

}  // namespace
}  // namespace tarnvik::sim
