// The serial device on POSIX systems: termios on a file descriptor. Pseudo-terminals work
// too (the tests and the instrument simulator use them), which is why this talks to
// termios directly rather than through a library that accepts only real ports.
#if !defined(_WIN32)

#include <fcntl.h>
#include <poll.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <map>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/instrument/CSerialPort.h"
#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik::detail {

namespace {

std::atomic<uint64_t> openAttempts{0};

// Every device this process holds, by canonical path, so that a second open of the same
// device by this process is busy even where TIOCEXCL does not stop it (root, and a
// pseudo-terminal's slave). The descriptor is -1 while an open is still in progress.
struct OpenDevices {
  std::mutex mutex;
  std::map<std::string, int> fds;
};

OpenDevices& Registry() {
  static OpenDevices registry;
  return registry;
}

[[noreturn]] void RaiseSystem(const char* what, int error) {
  Raise(err::PathFileAccess, std::string("Serial device: ") + what + " failed: " +
                                 std::generic_category().message(error));
}

// Requests a device without modem lines refuses; those are ignored.
bool IsRefusal(int error) { return error == ENOTTY || error == EINVAL; }

struct BaudRate {
  int32_t baud;
  speed_t speed;
};

constexpr BaudRate kBaudRates[] = {
    {50, B50},         {75, B75},         {110, B110},       {134, B134},       {150, B150},
    {200, B200},       {300, B300},       {600, B600},       {1200, B1200},     {1800, B1800},
    {2400, B2400},     {4800, B4800},     {9600, B9600},     {19200, B19200},   {38400, B38400},
#ifdef B57600
    {57600, B57600},
#endif
#ifdef B115200
    {115200, B115200},
#endif
#ifdef B230400
    {230400, B230400},
#endif
#ifdef B460800
    {460800, B460800},
#endif
#ifdef B500000
    {500000, B500000},
#endif
#ifdef B576000
    {576000, B576000},
#endif
#ifdef B921600
    {921600, B921600},
#endif
#ifdef B1000000
    {1000000, B1000000},
#endif
#ifdef B1152000
    {1152000, B1152000},
#endif
#ifdef B1500000
    {1500000, B1500000},
#endif
#ifdef B2000000
    {2000000, B2000000},
#endif
};

bool SpeedFor(int32_t baud, speed_t& speed) {
  for (const BaudRate& rate : kBaudRates) {
    if (rate.baud == baud) {
      speed = rate.speed;
      return true;
    }
  }
  return false;
}

int WaitingOn(int fd) {
  int n = 0;
  if (::ioctl(fd, FIONREAD, &n) != 0) return 0;
  return n;
}

class PosixSerialDevice final : public SerialDevice {
 public:
  PosixSerialDevice(int fd, std::string key) : fd_(fd), key_(std::move(key)) {}

  ~PosixSerialDevice() override {
    {
      std::lock_guard<std::mutex> lock(Registry().mutex);
      Registry().fds.erase(key_);
    }
    ::ioctl(fd_, TIOCNXCL);  // the lock and exclusivity go with the descriptor anyway
    ::close(fd_);
  }

  PosixSerialDevice(const PosixSerialDevice&) = delete;
  PosixSerialDevice& operator=(const PosixSerialDevice&) = delete;

  void Configure(const SerialLineSettings& line) override {
    CheckSerialLineSettings(line);
    termios tio = Attributes();
    speed_t speed = B9600;
    SpeedFor(line.baud, speed);
    if (::cfsetispeed(&tio, speed) != 0 || ::cfsetospeed(&tio, speed) != 0) Raise(err::InvalidCall);
    tio.c_cflag &= ~static_cast<tcflag_t>(CSIZE | PARENB | PARODD | CSTOPB);
#ifdef CMSPAR
    tio.c_cflag &= ~static_cast<tcflag_t>(CMSPAR);
#endif
    switch (line.dataBits) {
      case 5: tio.c_cflag |= CS5; break;
      case 6: tio.c_cflag |= CS6; break;
      case 7: tio.c_cflag |= CS7; break;
      default: tio.c_cflag |= CS8; break;
    }
    switch (line.parity) {
      case 'E': tio.c_cflag |= PARENB; break;
      case 'O': tio.c_cflag |= PARENB | PARODD; break;
#ifdef CMSPAR
      case 'M': tio.c_cflag |= PARENB | CMSPAR | PARODD; break;
      case 'S': tio.c_cflag |= PARENB | CMSPAR; break;
#endif
      default: break;
    }
    if (line.halfStopBits == 4) tio.c_cflag |= CSTOPB;
    if (::tcsetattr(fd_, TCSANOW, &tio) != 0) {
      if (errno == EINVAL) Raise(err::InvalidCall);
      RaiseSystem("setting the line", errno);
    }
  }

  void SetHandshaking(int32_t handshaking) override {
    const bool xonXoff = handshaking == serHSXOnXOff || handshaking == serHSRTSXOnXOff;
    const bool rtsCts = handshaking == serHSRTS || handshaking == serHSRTSXOnXOff;
    termios tio = Attributes();
    if (xonXoff) {
      tio.c_iflag |= IXON | IXOFF;
    } else {
      tio.c_iflag &= ~static_cast<tcflag_t>(IXON | IXOFF);
    }
    tio.c_iflag &= ~static_cast<tcflag_t>(IXANY);
    if (::tcsetattr(fd_, TCSANOW, &tio) != 0) RaiseSystem("setting the line", errno);
#ifdef CRTSCTS
    // Best-effort: hardware handshaking needs modem lines, which a pseudo-terminal does
    // not have; a refusal leaves the line without it.
    if (rtsCts) {
      tio.c_cflag |= CRTSCTS;
    } else {
      tio.c_cflag &= ~static_cast<tcflag_t>(CRTSCTS);
    }
    ::tcsetattr(fd_, TCSANOW, &tio);
#else
    (void)rtsCts;
#endif
  }

  // Best-effort, as RTS below: a pseudo-terminal answers TIOCMBIS/TIOCMBIC with ENOTTY
  // (some drivers EINVAL) because it has no modem lines.
  void SetDTR(bool on) override { SetModemLine(TIOCM_DTR, on); }
  void SetRTS(bool on) override { SetModemLine(TIOCM_RTS, on); }

  int32_t BytesWaiting() override {
    int n = 0;
    if (::ioctl(fd_, FIONREAD, &n) != 0) RaiseSystem("counting the input", errno);
    return n;
  }

  std::size_t Read(uint8_t* bytes, std::size_t n) override {
    std::size_t got = 0;
    while (got < n) {
      const ssize_t r = ::read(fd_, bytes + got, n - got);
      if (r > 0) {
        got += static_cast<std::size_t>(r);
        continue;
      }
      if (r == 0) break;
      if (errno == EINTR) continue;
      if (errno == EAGAIN || errno == EWOULDBLOCK) break;
      RaiseSystem("reading", errno);
    }
    return got;
  }

  void Write(const uint8_t* bytes, std::size_t n) override {
    std::size_t sent = 0;
    int stalledWaits = 0;
    while (sent < n) {
      const ssize_t w = ::write(fd_, bytes + sent, n - sent);
      if (w > 0) {
        sent += static_cast<std::size_t>(w);
        stalledWaits = 0;
        continue;
      }
      if (w < 0 && errno == EINTR) continue;
      if (w < 0 && errno != EAGAIN && errno != EWOULDBLOCK) RaiseSystem("writing", errno);
      // The line is full: wait for room, but not for ever on a line nobody reads.
      if (++stalledWaits > kWriteStallSeconds) {
        Raise(err::PathFileAccess, "Serial device: the line took no output for " +
                                       std::to_string(kWriteStallSeconds) + " seconds");
      }
      pollfd p{fd_, POLLOUT, 0};
      ::poll(&p, 1, 1000);
    }
  }

  void DiscardInput() override {
    if (::tcflush(fd_, TCIFLUSH) != 0) RaiseSystem("discarding the input", errno);
  }

  bool WaitForInput(std::chrono::milliseconds timeout) override {
    pollfd p{fd_, POLLIN, 0};
    ::poll(&p, 1, static_cast<int>(timeout.count()));
    return WaitingOn(fd_) > 0;
  }

 private:
  static constexpr int kWriteStallSeconds = 5;

  termios Attributes() const {
    termios tio{};
    if (::tcgetattr(fd_, &tio) != 0) RaiseSystem("reading the line settings", errno);
    return tio;
  }

  void SetModemLine(int bit, bool on) {
    if (::ioctl(fd_, on ? TIOCMBIS : TIOCMBIC, &bit) != 0 && !IsRefusal(errno)) {
      RaiseSystem("setting a modem line", errno);
    }
  }

  int fd_;
  std::string key_;
};

// Holds a path in the registry while an open is in progress; releases it unless kept.
class Reservation {
 public:
  explicit Reservation(std::string key) : key_(std::move(key)) {}
  ~Reservation() {
    if (kept_) return;
    std::lock_guard<std::mutex> lock(Registry().mutex);
    Registry().fds.erase(key_);
  }
  Reservation(const Reservation&) = delete;
  Reservation& operator=(const Reservation&) = delete;
  void Keep(int fd) {
    std::lock_guard<std::mutex> lock(Registry().mutex);
    Registry().fds[key_] = fd;
    kept_ = true;
  }

 private:
  std::string key_;
  bool kept_ = false;
};

class FdCloser {
 public:
  explicit FdCloser(int fd) : fd_(fd) {}
  ~FdCloser() {
    if (fd_ >= 0) ::close(fd_);
  }
  FdCloser(const FdCloser&) = delete;
  FdCloser& operator=(const FdCloser&) = delete;
  int Release() {
    const int fd = fd_;
    fd_ = -1;
    return fd;
  }

 private:
  int fd_;
};

bool IsMissingDevice(int error) {
  return error == ENOENT || error == ENOTDIR || error == ENXIO || error == ENODEV || error == ENOTTY ||
         error == ENAMETOOLONG || error == ELOOP;
}

}  // namespace

// The input buffer of a POSIX tty is the kernel's own; its size cannot be chosen.
SerialOpenResult OpenSerialDevice(const std::string& path, int32_t /*inBufferSize*/) {
  ++openAttempts;
  SerialOpenResult result;
  if (path.empty()) return result;

  char resolved[PATH_MAX];
  if (::realpath(path.c_str(), resolved) == nullptr) {
    if (IsMissingDevice(errno)) return result;
    RaiseSystem("finding the device", errno);
  }
  const std::string key = resolved;
  {
    std::lock_guard<std::mutex> lock(Registry().mutex);
    if (!Registry().fds.emplace(key, -1).second) {
      result.status = SerialOpenStatus::Busy;
      return result;
    }
  }
  Reservation reservation(key);

  const int fd = ::open(resolved, O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
  if (fd < 0) {
    const int error = errno;
    if (error == EBUSY) result.status = SerialOpenStatus::Busy;
    if (error == EBUSY || IsMissingDevice(error)) return result;
    RaiseSystem("opening", error);
  }
  FdCloser closer(fd);

  termios tio{};
  if (::tcgetattr(fd, &tio) != 0) {
    if (IsMissingDevice(errno) || errno == EINVAL) return result;
    RaiseSystem("reading the line settings", errno);
  }
  // Another process (or another descriptor of ours) holding the advisory lock has the
  // port; a file system without locks is not a reason to refuse it.
  if (::flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
    result.status = SerialOpenStatus::Busy;
    return result;
  }
  ::ioctl(fd, TIOCEXCL);  // best-effort: keeps other non-root openers out

  ::cfmakeraw(&tio);
  tio.c_cflag |= CLOCAL | CREAD;
  tio.c_cflag &= ~static_cast<tcflag_t>(CSTOPB | PARENB);
  tio.c_cc[VMIN] = 0;
  tio.c_cc[VTIME] = 0;
  ::cfsetispeed(&tio, B115200);
  ::cfsetospeed(&tio, B115200);
  if (::tcsetattr(fd, TCSANOW, &tio) != 0) RaiseSystem("setting the line", errno);

  reservation.Keep(closer.Release());
  result.status = SerialOpenStatus::Opened;
  result.device = std::make_unique<PosixSerialDevice>(fd, key);
  return result;
}

void CheckSerialLineSettings(const SerialLineSettings& line) {
  speed_t speed = B0;
  if (!SpeedFor(line.baud, speed)) Raise(err::InvalidCall);
  // termios has no 4-bit characters and no 1.5 stop bits.
  if (line.dataBits < 5 || line.dataBits > 8) Raise(err::InvalidCall);
  if (line.halfStopBits != 2 && line.halfStopBits != 4) Raise(err::InvalidCall);
#ifndef CMSPAR
  if (line.parity == 'M' || line.parity == 'S') Raise(err::InvalidCall);
#endif
}

void WaitForInputOnOpenDevices(std::chrono::milliseconds timeout) {
  constexpr std::chrono::milliseconds kShortSleep{1};
  std::vector<pollfd> fds;
  {
    std::lock_guard<std::mutex> lock(Registry().mutex);
    for (const auto& [key, fd] : Registry().fds) {
      if (fd >= 0) fds.push_back(pollfd{fd, POLLIN, 0});
    }
  }
  // Input already waiting would end poll() at once on every yield while the caller waits
  // for the rest of a frame: sleep briefly instead.
  bool waiting = false;
  for (const pollfd& p : fds) waiting = waiting || WaitingOn(p.fd) > 0;
  if (fds.empty() || waiting) {
    std::this_thread::sleep_for(std::min(timeout, kShortSleep));
    return;
  }
  const auto start = std::chrono::steady_clock::now();
  const int ready = ::poll(fds.data(), static_cast<nfds_t>(fds.size()), static_cast<int>(timeout.count()));
  if (ready <= 0) return;
  // A hung-up line is "ready" without input; do not let it turn the wait into a spin.
  for (const pollfd& p : fds) {
    if (WaitingOn(p.fd) > 0) return;
  }
  const auto left = timeout - std::chrono::duration_cast<std::chrono::milliseconds>(
                                  std::chrono::steady_clock::now() - start);
  if (left.count() > 0) std::this_thread::sleep_for(left);
}

uint64_t SerialOpenAttempts() { return openAttempts.load(); }

}  // namespace tarnvik::detail

#endif  // !defined(_WIN32)
