// What the host platform gives the library, behind process-wide hooks a client may
// replace: the wait of a transfer, the time of day, and the device behind a port number.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>

namespace tarnvik {

// What a wait does on every empty poll (the host's event pump). An empty function
// restores the default, which waits briefly for input on the open serial ports (or
// sleeps briefly when none is open) instead of spinning.
void SetYieldHandler(std::function<void()> handler);
// The default's wait, for a handler that does its own work and then waits as usual.
void DefaultYield();
// Seconds since local midnight, as a 32-bit float. An empty function restores the
// default, which reads the clock.
void SetTimerSource(std::function<float()> source);
// Which device a port number opens. Unmapped ports open "\\.\COMn" on Windows and
// "/dev/ttyS(n-1)" elsewhere. An empty path removes the mapping.
void SetSerialPortDevice(int16_t port, const std::string& path);

// Library-internal.
void YieldToHost();
float TimerSeconds();
std::string SerialPortDevice(int16_t port);

namespace detail {
// The default yield waits through this, installed by the serial layer (it knows the
// open ports): wait at most the given time for input on any of them.
void SetDefaultIdleWait(std::function<void(std::chrono::milliseconds)> wait);
// How many times YieldToHost has run in this process: a reader that buffers input knows
// from a change that its caller waited for more.
uint64_t YieldCount();
}  // namespace detail

}  // namespace tarnvik
