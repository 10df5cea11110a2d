// A pseudo-terminal pair for the serial tests: the slave is a port's device, the test
// plays the far end on the master side.
#pragma once

#include <fcntl.h>
#include <poll.h>
#include <sys/ioctl.h>
#include <unistd.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace tarnvik::testing {

class Pty {
 public:
  Pty() {
    master_ = ::posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK);
    if (master_ < 0 || ::grantpt(master_) != 0 || ::unlockpt(master_) != 0) return;
    slave_ = ::ptsname(master_);
  }
  ~Pty() { HangUp(); }
  Pty(const Pty&) = delete;
  Pty& operator=(const Pty&) = delete;

  bool Ok() const { return master_ >= 0 && !slave_.empty(); }
  const std::string& Slave() const { return slave_; }
  // The far end goes away: the line hangs up.
  void HangUp() {
    if (master_ >= 0) ::close(master_);
    master_ = -1;
  }

  // Writes of the sizes these tests send never block on a pseudo-terminal.
  void Send(const std::vector<uint8_t>& bytes) const {
    ASSERT_EQ(::write(master_, bytes.data(), bytes.size()), static_cast<ssize_t>(bytes.size()));
  }
  // Sends and returns once the bytes wait at the port's side: a pseudo-terminal passes
  // them on a moment later, which a test that counts the port's polls cannot allow.
  void SendAndWait(const std::vector<uint8_t>& bytes) const {
    const int slave = ::open(slave_.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK);
    ASSERT_GE(slave, 0);
    const auto waiting = [slave] {
      int n = 0;
      return ::ioctl(slave, FIONREAD, &n) == 0 ? static_cast<std::size_t>(n) : 0u;
    };
    const std::size_t target = waiting() + bytes.size();
    Send(bytes);
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (waiting() < target && std::chrono::steady_clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    ::close(slave);
  }
  // Reads until n bytes came or the deadline passed; with n = 0, until the line has been
  // quiet for quietMs (what the port wrote that nobody has read yet).
  std::vector<uint8_t> Receive(std::size_t n = 0, int quietMs = 50) const {
    std::vector<uint8_t> got;
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while ((n == 0 || got.size() < n) && std::chrono::steady_clock::now() < end) {
      pollfd p{master_, POLLIN, 0};
      if (::poll(&p, 1, quietMs) <= 0) {
        if (n == 0) break;
        continue;
      }
      uint8_t buffer[256];
      const ssize_t r = ::read(master_, buffer, sizeof buffer);
      if (r <= 0 && n == 0) break;
      if (r > 0) got.insert(got.end(), buffer, buffer + r);
    }
    return got;
  }

 private:
  int master_ = -1;
  std::string slave_;
};

}  // namespace tarnvik::testing
