#include "tarnvik/foundation/HostServices.h"

#include <atomic>
#include <ctime>
#include <map>
#include <mutex>
#include <thread>
#include <utility>

#include "tarnvik/foundation/modMain.h"

namespace tarnvik {

namespace {

struct HostState {
  std::mutex mutex;
  std::function<void()> yieldHandler;
  std::function<float()> timerSource;
  std::function<void(std::chrono::milliseconds)> idleWait;
  std::map<int16_t, std::string> devices;
};

HostState& State() {
  static HostState state;
  return state;
}

// How long one default yield waits for input on the open ports, and sleeps without them.
constexpr std::chrono::milliseconds kIdleWait{5};
constexpr std::chrono::milliseconds kIdleSleep{1};

float ClockSecondsSinceMidnight() {
  const auto now = std::chrono::system_clock::now();
  const std::time_t whole = std::chrono::system_clock::to_time_t(now);
  const std::tm local = LocalTime(whole);
  // to_time_t may round rather than truncate: take the fraction from the time point itself.
  const auto sinceWhole = now - std::chrono::system_clock::from_time_t(whole);
  double fraction = std::chrono::duration<double>(sinceWhole).count();
  if (fraction < 0.0) fraction += 1.0;
  const double seconds = local.tm_hour * 3600.0 + local.tm_min * 60.0 + local.tm_sec + fraction;
  return static_cast<float>(seconds);
}

}  // namespace

void SetYieldHandler(std::function<void()> handler) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().yieldHandler = std::move(handler);
}

void SetTimerSource(std::function<float()> source) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().timerSource = std::move(source);
}

void SetSerialPortDevice(int16_t port, const std::string& path) {
  std::lock_guard<std::mutex> lock(State().mutex);
  if (path.empty()) {
    State().devices.erase(port);
  } else {
    State().devices[port] = path;
  }
}

// Handlers are copied out and called without the lock: a handler may call back into the
// library (a host pump may even replace the handler).
namespace {
std::atomic<uint64_t> yields{0};
}  // namespace

uint64_t detail::YieldCount() { return yields.load(std::memory_order_relaxed); }

void YieldToHost() {
  yields.fetch_add(1, std::memory_order_relaxed);
  std::function<void()> handler;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    handler = State().yieldHandler;
  }
  if (handler) {
    handler();
  } else {
    DefaultYield();
  }
}

void DefaultYield() {
  std::function<void(std::chrono::milliseconds)> idleWait;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    idleWait = State().idleWait;
  }
  if (idleWait) {
    idleWait(kIdleWait);
  } else {
    std::this_thread::sleep_for(kIdleSleep);
  }
}

float TimerSeconds() {
  std::function<float()> source;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    source = State().timerSource;
  }
  return source ? source() : ClockSecondsSinceMidnight();
}

std::string SerialPortDevice(int16_t port) {
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    const auto found = State().devices.find(port);
    if (found != State().devices.end()) return found->second;
  }
#if defined(_WIN32)
  return "\\\\.\\COM" + std::to_string(port);
#else
  return "/dev/ttyS" + std::to_string(port - 1);
#endif
}

namespace detail {

void SetDefaultIdleWait(std::function<void(std::chrono::milliseconds)> wait) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().idleWait = std::move(wait);
}

}  // namespace detail

}  // namespace tarnvik
