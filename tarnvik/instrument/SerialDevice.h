// Library-internal: the one interface between CSerialPort and the platform's serial
// device. Each platform has its backend in its own file (SerialDevicePosix.cpp,
// SerialDeviceWin32.cpp); only one of them is compiled. Failures the backend cannot map
// to a port error raise tarnvik::Error through Raise(); CSerialPort's procedures report them.
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

namespace tarnvik::detail {

// One parsed settings text, "baud,parity,data bits,stop bits".
struct SerialLineSettings {
  int32_t baud = 9600;
  char parity = 'N';        // N, E, O, M or S (upper case)
  int32_t dataBits = 8;     // 4..8
  int32_t halfStopBits = 2;  // stop bits times two: 2, 3 (1.5) or 4
};

class SerialDevice {
 public:
  virtual ~SerialDevice() = default;

  // Raises 5 for a line the device cannot carry.
  virtual void Configure(const SerialLineSettings& line) = 0;
  // serHSNone..serHSRTSXOnXOff. XON/XOFF is required; RTS/CTS is best-effort.
  virtual void SetHandshaking(int32_t handshaking) = 0;
  // Best-effort: a device without modem lines ignores them.
  virtual void SetDTR(bool on) = 0;
  virtual void SetRTS(bool on) = 0;

  virtual int32_t BytesWaiting() = 0;
  // Takes at most n waiting bytes without blocking; returns how many it took.
  virtual std::size_t Read(uint8_t* bytes, std::size_t n) = 0;
  // Sends every byte, waiting (boundedly) while the line cannot take them.
  virtual void Write(const uint8_t* bytes, std::size_t n) = 0;
  virtual void DiscardInput() = 0;
  // Waits at most timeout for input; true when some is waiting.
  virtual bool WaitForInput(std::chrono::milliseconds timeout) = 0;
};

enum class SerialOpenStatus { Opened, NoDevice, Busy };

struct SerialOpenResult {
  SerialOpenStatus status = SerialOpenStatus::NoDevice;
  std::unique_ptr<SerialDevice> device;  // set when Opened
};

// One attempt to open path exclusively (115200 8N1, raw, no handshaking until configured),
// asking the driver for an input buffer of inBufferSize bytes where it can be chosen.
// Busy when this process or another holds the device; NoDevice when it is missing or not a
// serial device; any other failure raises.
SerialOpenResult OpenSerialDevice(const std::string& path, int32_t inBufferSize);

// Replaces how CSerialPort opens a device: the fuzz targets and tests serve a port from
// memory through it. An empty function restores OpenSerialDevice.
using SerialDeviceOpener = std::function<SerialOpenResult(const std::string& path, int32_t inBufferSize)>;
void SetSerialDeviceOpener(SerialDeviceOpener opener);

// Raises 5 when the backend cannot set this line (a baud rate it does not know, 4 data
// bits or 1.5 stop bits where the platform has none).
void CheckSerialLineSettings(const SerialLineSettings& line);

// The default yield's wait: at most timeout for new input on any device this process has
// open; a short sleep when none is open or input is already waiting unread.
void WaitForInputOnOpenDevices(std::chrono::milliseconds timeout);

// Number of open attempts OpenSerialDevice has made in this process (tests check the
// retries of a busy port with it).
uint64_t SerialOpenAttempts();

}  // namespace tarnvik::detail
