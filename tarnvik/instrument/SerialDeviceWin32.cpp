// The serial device on Windows: a communications handle from CreateFile on \\.\COMn,
// configured through its DCB; reads return at once (COMMTIMEOUTS), and waits poll the
// driver's input count with short sleeps.
#if defined(_WIN32)

#include "tarnvik/foundation/WindowsApi.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <system_error>
#include <thread>
#include <vector>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/instrument/CSerialPort.h"
#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik::detail {

namespace {

std::atomic<uint64_t> openAttempts{0};

// Every handle this process holds, for the default yield's wait.
struct OpenDevices {
  std::mutex mutex;
  std::vector<HANDLE> handles;
};

OpenDevices& Registry() {
  static OpenDevices registry;
  return registry;
}

constexpr DWORD kWriteTimeoutMs = 5000;

[[noreturn]] void RaiseWin32(const char* what, DWORD error) {
  Raise(err::PathFileAccess, std::string("Serial device: ") + what + " failed: " +
                                 std::system_category().message(static_cast<int>(error)));
}

// What a driver without modem lines (a virtual port) answers to a modem-line request.
bool IsRefusal(DWORD error) {
  return error == ERROR_INVALID_FUNCTION || error == ERROR_INVALID_PARAMETER || error == ERROR_NOT_SUPPORTED;
}

DWORD InputWaiting(HANDLE handle) {
  DWORD errors = 0;
  COMSTAT status{};
  if (!ClearCommError(handle, &errors, &status)) return 0;
  return status.cbInQue;
}

class Win32SerialDevice final : public SerialDevice {
 public:
  explicit Win32SerialDevice(HANDLE handle) : handle_(handle) {}

  ~Win32SerialDevice() override {
    {
      std::lock_guard<std::mutex> lock(Registry().mutex);
      auto& handles = Registry().handles;
      handles.erase(std::remove(handles.begin(), handles.end(), handle_), handles.end());
    }
    CloseHandle(handle_);
  }

  Win32SerialDevice(const Win32SerialDevice&) = delete;
  Win32SerialDevice& operator=(const Win32SerialDevice&) = delete;

  void Configure(const SerialLineSettings& line) override {
    CheckSerialLineSettings(line);
    DCB dcb = State();
    dcb.BaudRate = static_cast<DWORD>(line.baud);
    dcb.ByteSize = static_cast<BYTE>(line.dataBits);
    switch (line.parity) {
      case 'E': dcb.Parity = EVENPARITY; break;
      case 'O': dcb.Parity = ODDPARITY; break;
      case 'M': dcb.Parity = MARKPARITY; break;
      case 'S': dcb.Parity = SPACEPARITY; break;
      default: dcb.Parity = NOPARITY; break;
    }
    dcb.fParity = FALSE;  // no parity checking: bytes arrive as they are
    dcb.StopBits = line.halfStopBits == 2 ? ONESTOPBIT : (line.halfStopBits == 3 ? ONE5STOPBITS : TWOSTOPBITS);
    if (!SetCommState(handle_, &dcb)) {
      const DWORD error = GetLastError();
      if (error == ERROR_INVALID_PARAMETER) Raise(err::InvalidCall);
      RaiseWin32("setting the line", error);
    }
  }

  void SetHandshaking(int32_t handshaking) override {
    const bool xonXoff = handshaking == serHSXOnXOff || handshaking == serHSRTSXOnXOff;
    rtsCts_ = handshaking == serHSRTS || handshaking == serHSRTSXOnXOff;
    DCB dcb = State();
    dcb.fOutX = xonXoff ? TRUE : FALSE;
    dcb.fInX = xonXoff ? TRUE : FALSE;
    dcb.XonChar = 0x11;
    dcb.XoffChar = 0x13;
    if (!SetCommState(handle_, &dcb)) RaiseWin32("setting the line", GetLastError());
    // Best-effort: hardware handshaking needs modem lines, which a virtual port may lack.
    dcb.fOutxCtsFlow = rtsCts_ ? TRUE : FALSE;
    ApplyRtsControl(dcb);
    SetCommState(handle_, &dcb);
  }

  // Best-effort, both: a port without modem lines refuses them.
  void SetDTR(bool on) override {
    if (!EscapeCommFunction(handle_, on ? SETDTR : CLRDTR)) {
      const DWORD error = GetLastError();
      if (!IsRefusal(error)) RaiseWin32("setting a modem line", error);
    }
    // Keep the DCB in step, so that a later SetCommState does not undo the line.
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (GetCommState(handle_, &dcb)) {
      if (on) {
        dcb.fDtrControl = DTR_CONTROL_ENABLE;
      } else {
        dcb.fDtrControl = DTR_CONTROL_DISABLE;
      }
      SetCommState(handle_, &dcb);
    }
  }

  void SetRTS(bool on) override {
    rtsOn_ = on;
    if (rtsCts_) return;  // the driver drives RTS while handshaking
    if (!EscapeCommFunction(handle_, on ? SETRTS : CLRRTS)) {
      const DWORD error = GetLastError();
      if (!IsRefusal(error)) RaiseWin32("setting a modem line", error);
    }
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (GetCommState(handle_, &dcb)) {
      ApplyRtsControl(dcb);
      SetCommState(handle_, &dcb);
    }
  }

  int32_t BytesWaiting() override {
    DWORD errors = 0;
    COMSTAT status{};
    if (!ClearCommError(handle_, &errors, &status)) RaiseWin32("counting the input", GetLastError());
    return static_cast<int32_t>(std::min<DWORD>(status.cbInQue, 0x7FFFFFFF));
  }

  std::size_t Read(uint8_t* bytes, std::size_t n) override {
    std::size_t got = 0;
    while (got < n) {
      const DWORD want = static_cast<DWORD>(std::min<std::size_t>(n - got, 0x10000));
      DWORD read = 0;
      if (!ReadFile(handle_, bytes + got, want, &read, nullptr)) RaiseWin32("reading", GetLastError());
      if (read == 0) break;  // nothing more waiting (reads return at once)
      got += read;
    }
    return got;
  }

  void Write(const uint8_t* bytes, std::size_t n) override {
    std::size_t sent = 0;
    while (sent < n) {
      const DWORD chunk = static_cast<DWORD>(std::min<std::size_t>(n - sent, 0x10000));
      DWORD written = 0;
      if (!WriteFile(handle_, bytes + sent, chunk, &written, nullptr)) RaiseWin32("writing", GetLastError());
      if (written == 0) {
        Raise(err::PathFileAccess, "Serial device: the line took no output for " +
                                       std::to_string(kWriteTimeoutMs / 1000) + " seconds");
      }
      sent += written;
    }
  }

  void DiscardInput() override {
    if (!PurgeComm(handle_, PURGE_RXCLEAR | PURGE_RXABORT)) RaiseWin32("discarding the input", GetLastError());
  }

  bool WaitForInput(std::chrono::milliseconds timeout) override {
    const auto end = std::chrono::steady_clock::now() + timeout;
    while (InputWaiting(handle_) == 0) {
      if (std::chrono::steady_clock::now() >= end) return false;
      Sleep(1);
    }
    return true;
  }

 private:
  DCB State() const {
    DCB dcb{};
    dcb.DCBlength = sizeof dcb;
    if (!GetCommState(handle_, &dcb)) RaiseWin32("reading the line settings", GetLastError());
    return dcb;
  }

  // Constants only, one per branch: the field is two bits wide.
  void ApplyRtsControl(DCB& dcb) const {
    if (rtsCts_) {
      dcb.fRtsControl = RTS_CONTROL_HANDSHAKE;
    } else if (rtsOn_) {
      dcb.fRtsControl = RTS_CONTROL_ENABLE;
    } else {
      dcb.fRtsControl = RTS_CONTROL_DISABLE;
    }
  }

  HANDLE handle_;
  bool rtsCts_ = false;
  bool rtsOn_ = false;
};

bool IsMissingDevice(DWORD error) {
  return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND || error == ERROR_INVALID_NAME ||
         error == ERROR_BAD_NETPATH || error == ERROR_BAD_PATHNAME;
}

}  // namespace

SerialOpenResult OpenSerialDevice(const std::string& path, int32_t inBufferSize) {
  ++openAttempts;
  SerialOpenResult result;
  if (path.empty()) return result;

  // No sharing: a port another handle holds answers ERROR_ACCESS_DENIED.
  const HANDLE handle = CreateFileW(WideFromUtf8(path).c_str(), GENERIC_READ | GENERIC_WRITE, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
  if (handle == INVALID_HANDLE_VALUE) {
    const DWORD error = GetLastError();
    if (error == ERROR_ACCESS_DENIED || error == ERROR_SHARING_VIOLATION || error == ERROR_BUSY) {
      result.status = SerialOpenStatus::Busy;
      return result;
    }
    if (IsMissingDevice(error)) return result;
    RaiseWin32("opening", error);
  }

  DCB dcb{};
  dcb.DCBlength = sizeof dcb;
  if (GetFileType(handle) != FILE_TYPE_CHAR || !GetCommState(handle, &dcb)) {
    CloseHandle(handle);  // a file or device that is no serial port
    return result;
  }
  // Best-effort: the driver may keep its own buffer sizes.
  SetupComm(handle, static_cast<DWORD>(inBufferSize > 0 ? inBufferSize : 1024), 1024);

  dcb.BaudRate = 115200;
  dcb.ByteSize = 8;
  dcb.Parity = NOPARITY;
  dcb.StopBits = ONESTOPBIT;
  dcb.fBinary = TRUE;
  dcb.fParity = FALSE;
  dcb.fOutxCtsFlow = FALSE;
  dcb.fOutxDsrFlow = FALSE;
  dcb.fDtrControl = DTR_CONTROL_DISABLE;
  dcb.fDsrSensitivity = FALSE;
  dcb.fOutX = FALSE;
  dcb.fInX = FALSE;
  dcb.fErrorChar = FALSE;
  dcb.fNull = FALSE;
  dcb.fRtsControl = RTS_CONTROL_DISABLE;
  dcb.fAbortOnError = FALSE;
  COMMTIMEOUTS timeouts{};
  timeouts.ReadIntervalTimeout = MAXDWORD;  // with both read totals 0: return at once
  timeouts.ReadTotalTimeoutMultiplier = 0;
  timeouts.ReadTotalTimeoutConstant = 0;
  timeouts.WriteTotalTimeoutMultiplier = 0;
  timeouts.WriteTotalTimeoutConstant = kWriteTimeoutMs;
  if (!SetCommState(handle, &dcb) || !SetCommTimeouts(handle, &timeouts)) {
    const DWORD error = GetLastError();
    CloseHandle(handle);
    RaiseWin32("setting the line", error);
  }

  {
    std::lock_guard<std::mutex> lock(Registry().mutex);
    Registry().handles.push_back(handle);
  }
  result.status = SerialOpenStatus::Opened;
  result.device = std::make_unique<Win32SerialDevice>(handle);
  return result;
}

void CheckSerialLineSettings(const SerialLineSettings& line) {
  // The driver decides which rates it can set (SetCommState); the DCB itself takes any.
  if (line.baud < 1) Raise(err::InvalidCall);
  if (line.dataBits < 4 || line.dataBits > 8) Raise(err::InvalidCall);
  if (line.halfStopBits < 2 || line.halfStopBits > 4) Raise(err::InvalidCall);
}

void WaitForInputOnOpenDevices(std::chrono::milliseconds timeout) {
  std::vector<HANDLE> handles;
  {
    std::lock_guard<std::mutex> lock(Registry().mutex);
    handles = Registry().handles;
  }
  const auto anyWaiting = [&] {
    for (HANDLE h : handles) {
      if (InputWaiting(h) > 0) return true;
    }
    return false;
  };
  // Input already waiting (or no port) would end the wait at once: sleep briefly instead.
  if (handles.empty() || anyWaiting()) {
    Sleep(1);
    return;
  }
  const auto end = std::chrono::steady_clock::now() + timeout;
  while (std::chrono::steady_clock::now() < end) {
    Sleep(1);
    if (anyWaiting()) return;
  }
}

uint64_t SerialOpenAttempts() { return openAttempts.load(); }

}  // namespace tarnvik::detail

#endif  // defined(_WIN32)
