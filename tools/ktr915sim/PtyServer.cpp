#include "ktr915sim/PtyServer.h"

#include <fcntl.h>
#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <chrono>
#include <cstring>
#include <thread>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::sim {

namespace {

// The loop wakes this often even when nothing happens; a stop arrives through the pipe.
constexpr int kPollMilliseconds = 500;

[[noreturn]] void RaiseSystem(const std::string& what) {
  Raise(err::PathFileAccess, what + ": " + std::strerror(errno));
}

void AddFlags(int fd, int statusFlags) {
  const int flags = fcntl(fd, F_GETFL);
  if (flags < 0 || fcntl(fd, F_SETFL, flags | statusFlags) < 0) RaiseSystem("fcntl");
  if (fcntl(fd, F_SETFD, FD_CLOEXEC) < 0) RaiseSystem("fcntl");
}

}  // namespace

void PtyServer::Fd::Close() {
  if (fd >= 0) close(fd);
  fd = -1;
}

PtyServer::PtyServer(std::shared_ptr<const InstrumentFiles> files, EngineSettings settings)
    : engine_(std::move(files), settings) {
  Guarded(kModule, "PtyServer()", [&] {
    master_.fd = posix_openpt(O_RDWR | O_NOCTTY);
    if (master_.fd < 0) RaiseSystem("posix_openpt");
    if (grantpt(master_.fd) != 0) RaiseSystem("grantpt");
    if (unlockpt(master_.fd) != 0) RaiseSystem("unlockpt");
    AddFlags(master_.fd, O_NONBLOCK);
    char name[128];
    if (ptsname_r(master_.fd, name, sizeof name) != 0) RaiseSystem("ptsname");
    devicePath_ = name;
    device_.fd = open(name, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (device_.fd < 0) RaiseSystem("open " + devicePath_);
    termios tio{};
    if (tcgetattr(device_.fd, &tio) != 0) RaiseSystem("tcgetattr");
    cfmakeraw(&tio);
    if (tcsetattr(device_.fd, TCSANOW, &tio) != 0) RaiseSystem("tcsetattr");
    int pipeFds[2];
    if (pipe(pipeFds) != 0) RaiseSystem("pipe");
    wakeRead_.fd = pipeFds[0];
    wakeWrite_.fd = pipeFds[1];
    AddFlags(wakeRead_.fd, O_NONBLOCK);
    AddFlags(wakeWrite_.fd, O_NONBLOCK);
  });
}

PtyServer::~PtyServer() { Stop(); }

void PtyServer::Start() {
  if (thread_.joinable()) return;
  thread_ = std::thread([this] { Serve(); });
}

void PtyServer::Stop() {
  RequestStop();
  if (thread_.joinable()) thread_.join();
}

void PtyServer::Run() { Serve(); }

void PtyServer::RequestStop() {
  stop_ = true;
  const uint8_t wake = 1;
  // A full pipe already holds a wake-up.
  [[maybe_unused]] const ssize_t written = write(wakeWrite_.fd, &wake, 1);
}

EngineStats PtyServer::Stats() const {
  std::lock_guard lock(mutex_);
  return engine_.Stats();
}

std::string PtyServer::Failure() const {
  std::lock_guard lock(mutex_);
  return failure_;
}

void PtyServer::Serve() {
  {
    std::lock_guard lock(mutex_);
    failure_.clear();
  }
  // Nothing may escape a serving thread: a failure is logged and kept for Failure().
  GuardedSwallow(kModule, "Serve()", OnFailure::LogOnly, [&] { ServeLoop(); });
  // This loop has answered the stop: the next one starts afresh.
  uint8_t drain[64];
  while (read(wakeRead_.fd, drain, sizeof drain) > 0) {
  }
  stop_ = false;
}

void PtyServer::ServeLoop() {
  std::vector<uint8_t> pending;
  auto fail = [&](const std::string& what) {
    std::lock_guard lock(mutex_);
    failure_ = what + ": " + std::strerror(errno);
  };
  bool hangingUp = false;
  while (!stop_ && !hungUp_) {
    pollfd fds[2] = {{master_.fd, static_cast<short>(POLLIN | (pending.empty() ? 0 : POLLOUT)), 0},
                     {wakeRead_.fd, POLLIN, 0}};
    const int ready = poll(fds, 2, kPollMilliseconds);
    if (ready < 0) {
      if (errno == EINTR) continue;
      return fail("poll");
    }
    if (fds[1].revents != 0) return;
    if (fds[0].revents & POLLIN) {
      uint8_t buffer[4096];
      const ssize_t got = read(master_.fd, buffer, sizeof buffer);
      if (got > 0) {
        std::lock_guard lock(mutex_);
        const std::vector<uint8_t> reply = engine_.Feed(buffer, static_cast<std::size_t>(got));
        if (!reply.empty() && engine_.Settings().replyDelayMs > 0) {
          std::this_thread::sleep_for(std::chrono::milliseconds(engine_.Settings().replyDelayMs));
        }
        pending.insert(pending.end(), reply.begin(), reply.end());
        hangingUp = engine_.Stats().hungUp;
      } else if (got < 0 && errno != EAGAIN && errno != EINTR) {
        return fail("read");
      }
    } else if (fds[0].revents & (POLLERR | POLLHUP | POLLNVAL)) {
      errno = EIO;
      return fail("pseudo-terminal");
    }
    if (!pending.empty() && !Flush(pending)) return fail("write");
    // What the instrument sent before it hung up goes out first; whatever the client has
    // not read when the line closes is lost with it, as when a cable is pulled out.
    if (hangingUp && pending.empty()) HangUp();
  }
}

void PtyServer::HangUp() {
  master_.Close();
  device_.Close();
  hungUp_ = true;
}

bool PtyServer::Flush(std::vector<uint8_t>& pending) {
  while (!pending.empty()) {
    const ssize_t put = write(master_.fd, pending.data(), pending.size());
    if (put < 0) return errno == EAGAIN || errno == EINTR;  // the rest goes when POLLOUT says
    pending.erase(pending.begin(), pending.begin() + put);
  }
  return true;
}

}  // namespace tarnvik::sim
