#include "tarnvik/instrument/CSerialPort.h"

#include <algorithm>
#include <limits>
#include <mutex>
#include <utility>
#include <vector>

#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/instrument/BufferedSerialDevice.h"
#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik {

namespace {

// Open attempts per PortOpen = True while the device is busy: the first and 100 retries.
constexpr int kOpenRetries = 100;

std::mutex openerMutex;
detail::SerialDeviceOpener& Opener() {
  static detail::SerialDeviceOpener opener;
  return opener;
}

detail::SerialOpenResult OpenDevice(const std::string& path, int32_t inBufferSize) {
  detail::SerialDeviceOpener opener;
  {
    const std::lock_guard<std::mutex> lock(openerMutex);
    opener = Opener();
  }
  return opener ? opener(path, inBufferSize) : detail::OpenSerialDevice(path, inBufferSize);
}

// The three port errors, with the texts every procedure shares.
[[noreturn]] void RaisePortError(int32_t number, int16_t port) {
  const std::string name = "Port Com" + std::to_string(port);
  switch (number) {
    case errSerPortInvalid: Raise(number, name + " is not a valid Port Number");
    case errSerPortAlreadyOpen: Raise(number, name + " is already open");
    default: Raise(errSerPortNotOpen, name + " is not open");
  }
}

// "baud,parity,data bits,stop bits": a positive decimal baud rate, parity N/E/O/M/S (either
// case), 4..8 data bits, 1, 1.5 or 2 stop bits. Anything else raises 5, as does a line the
// platform cannot set.
detail::SerialLineSettings ParseSettings(const std::string& text) {
  std::vector<std::string> fields(1);
  for (const char c : text) {
    if (c == ',') {
      fields.emplace_back();
    } else {
      fields.back() += c;
    }
  }
  if (fields.size() != 4) Raise(err::InvalidCall);
  detail::SerialLineSettings line;

  const std::string& baud = fields[0];
  if (baud.empty() || baud.size() > 9) Raise(err::InvalidCall);
  int32_t value = 0;
  for (const char c : baud) {
    if (c < '0' || c > '9') Raise(err::InvalidCall);
    value = value * 10 + (c - '0');
  }
  if (value == 0) Raise(err::InvalidCall);
  line.baud = value;

  if (fields[1].size() != 1) Raise(err::InvalidCall);
  const char parity = static_cast<char>(fields[1][0] & ~0x20);  // upper case for letters
  if (parity != 'N' && parity != 'E' && parity != 'O' && parity != 'M' && parity != 'S') {
    Raise(err::InvalidCall);
  }
  line.parity = parity;

  if (fields[2].size() != 1 || fields[2][0] < '4' || fields[2][0] > '8') Raise(err::InvalidCall);
  line.dataBits = fields[2][0] - '0';

  if (fields[3] == "1") {
    line.halfStopBits = 2;
  } else if (fields[3] == "1.5") {
    line.halfStopBits = 3;
  } else if (fields[3] == "2") {
    line.halfStopBits = 4;
  } else {
    Raise(err::InvalidCall);
  }
  detail::CheckSerialLineSettings(line);
  return line;
}

// The default yield waits on the ports this layer opens; installed once the first port
// object exists (before that no port can be open).
void InstallIdleWait() {
  static std::once_flag once;
  std::call_once(once, [] { detail::SetDefaultIdleWait(detail::WaitForInputOnOpenDevices); });
}

int16_t ClampToInt16(int32_t value) {
  return static_cast<int16_t>(std::clamp<int32_t>(value, 0, std::numeric_limits<int16_t>::max()));
}

}  // namespace

struct CSerialPort::State {
  int16_t commPort = 1;
  std::string settings = "9600,N,8,1";
  detail::SerialLineSettings line;
  int16_t inputLen = 0;
  int16_t inputMode = 0;
  int16_t inBufferSize = 1024;
  bool rtsEnable = false;
  bool dtrEnable = false;
  std::string parityReplace = "?";
  SerialHandshakeConstants handShaking = serHSNone;
  std::unique_ptr<detail::SerialDevice> device;
  // Bytes waiting at the last poll, so that only new input raises OnComm.
  int32_t lastWaiting = 0;
  int16_t commEvent = 0;

  detail::SerialDevice& Open() const {
    if (!device) RaisePortError(errSerPortNotOpen, commPort);
    return *device;
  }
};

CSerialPort::CSerialPort() : state_(std::make_unique<State>()) { InstallIdleWait(); }

CSerialPort::~CSerialPort() {
  if (!state_->device) return;
  GuardedSwallow(kModule, "Class_Terminate()", OnFailure::ShowMessage, [&] { state_->device.reset(); });
}

int16_t CSerialPort::CommPort() const { return state_->commPort; }

void CSerialPort::SetCommPort(int16_t value) {
  Guarded(kModule, "Let CommPort()", [&] {
    if (value < 1) RaisePortError(errSerPortInvalid, value);
    if (state_->device) RaisePortError(errSerPortAlreadyOpen, state_->commPort);
    state_->commPort = value;
  });
}

bool CSerialPort::PortOpen() const { return state_->device != nullptr; }

void CSerialPort::SetPortOpen(bool value) {
  Guarded(kModule, "Let PortOpen()", [&] {
    State& s = *state_;
    if (!value) {
      s.device.reset();
      s.lastWaiting = 0;
      return;
    }
    if (s.device) RaisePortError(errSerPortAlreadyOpen, s.commPort);
    const std::string path = SerialPortDevice(s.commPort);
    detail::SerialOpenResult opened;
    for (int attempt = 0; attempt <= kOpenRetries; ++attempt) {
      opened = OpenDevice(path, s.inBufferSize);
      if (opened.status != detail::SerialOpenStatus::Busy) break;
    }
    switch (opened.status) {
      case detail::SerialOpenStatus::NoDevice: RaisePortError(errSerPortInvalid, s.commPort);
      case detail::SerialOpenStatus::Busy: RaisePortError(errSerPortAlreadyOpen, s.commPort);
      case detail::SerialOpenStatus::Opened: break;
    }
    // The remembered properties apply now; if one fails the port stays closed.
    auto device = std::make_unique<detail::BufferedSerialDevice>(std::move(opened.device));
    device->Configure(s.line);
    device->SetHandshaking(s.handShaking);
    device->SetDTR(s.dtrEnable);
    device->SetRTS(s.rtsEnable);
    s.device = std::move(device);
    s.lastWaiting = 0;
  });
}

std::string CSerialPort::Settings() const { return state_->settings; }

void CSerialPort::SetSettings(const std::string& value) {
  Guarded(kModule, "Let Settings()", [&] {
    const detail::SerialLineSettings line = ParseSettings(value);
    if (state_->device) state_->device->Configure(line);
    state_->line = line;
    state_->settings = value;
  });
}

int16_t CSerialPort::InputLen() const { return state_->inputLen; }

void CSerialPort::SetInputLen(int16_t value) {
  Guarded(kModule, "Let InputLen()", [&] {
    if (value < 0) Raise(err::InvalidCall);
    state_->inputLen = value;
  });
}

int16_t CSerialPort::InputMode() const { return state_->inputMode; }

void CSerialPort::SetInputMode(int16_t value) {
  Guarded(kModule, "Let InputMode()", [&] {
    if (value != 0 && value != 1) Raise(err::InvalidCall);
    state_->inputMode = value;
  });
}

int16_t CSerialPort::InBufferCount() {
  return Guarded(kModule, "Get InBufferCount()", [&] {
    const int32_t waiting = state_->Open().BytesWaiting();
    NoteWaiting(waiting);
    return ClampToInt16(waiting);
  });
}

// Only 0 means anything (discard what is waiting); any other count raises 5.
void CSerialPort::SetInBufferCount(int16_t value) {
  Guarded(kModule, "Let InBufferCount()", [&] {
    detail::SerialDevice& device = state_->Open();
    if (value != 0) Raise(err::InvalidCall);
    device.DiscardInput();
    state_->lastWaiting = 0;
  });
}

int16_t CSerialPort::InBufferSize() const { return state_->inBufferSize; }

// The size the driver's input buffer is asked for at open (Windows only; the POSIX
// drivers have a fixed buffer). Changing it while open raises 8005, as the port must be
// reopened for it.
void CSerialPort::SetInBufferSize(int16_t value) {
  Guarded(kModule, "Let InBufferSize()", [&] {
    if (state_->device) RaisePortError(errSerPortAlreadyOpen, state_->commPort);
    if (value < 1) Raise(err::InvalidCall);
    state_->inBufferSize = value;
  });
}

bool CSerialPort::RTSEnable() const { return state_->rtsEnable; }

void CSerialPort::SetRTSEnable(bool value) {
  Guarded(kModule, "Let RTSEnable()", [&] {
    if (state_->device) state_->device->SetRTS(value);
    state_->rtsEnable = value;
  });
}

bool CSerialPort::DTREnable() const { return state_->dtrEnable; }

void CSerialPort::SetDTREnable(bool value) {
  Guarded(kModule, "Let DTREnable()", [&] {
    if (state_->device) state_->device->SetDTR(value);
    state_->dtrEnable = value;
  });
}

std::string CSerialPort::ParityReplace() const { return state_->parityReplace; }

// Kept for the interface: the library reads its lines without parity checking, so no
// byte is ever replaced. At most one character.
void CSerialPort::SetParityReplace(const std::string& value) {
  Guarded(kModule, "Let ParityReplace()", [&] {
    if (CharCount(value) > 1) Raise(err::InvalidCall);
    state_->parityReplace = value;
  });
}

SerialHandshakeConstants CSerialPort::HandShaking() const { return state_->handShaking; }

void CSerialPort::SetHandShaking(SerialHandshakeConstants value) {
  Guarded(kModule, "Let HandShaking()", [&] {
    if (value < serHSNone || value > serHSRTSXOnXOff) Raise(err::InvalidCall);
    if (state_->device) state_->device->SetHandshaking(value);
    state_->handShaking = value;
  });
}

Variant CSerialPort::PortInput() {
  return Guarded(kModule, "Get PortInput()", [&]() -> Variant {
    State& s = *state_;
    detail::SerialDevice& device = s.Open();
    const int32_t waiting = device.BytesWaiting();
    NoteWaiting(waiting);
    // The handler may have closed the port or read the input itself.
    if (!s.device) RaisePortError(errSerPortNotOpen, s.commPort);
    const std::size_t want = s.inputLen > 0 ? static_cast<std::size_t>(s.inputLen)
                                            : static_cast<std::size_t>(std::max(waiting, 0));
    std::vector<uint8_t> bytes(want);
    const std::size_t got = want == 0 ? 0 : s.device->Read(bytes.data(), want);
    s.lastWaiting = std::max<int32_t>(0, s.lastWaiting - static_cast<int32_t>(got));
    if (s.inputMode == 1) {
      if (got == 0) return ByteArray();
      return ByteArray::FromBytes(bytes.data(), got, 0);
    }
    return Latin1ToUtf8(bytes.data(), got);
  });
}

void CSerialPort::SetOutput(const Variant& value) {
  Guarded(kModule, "Let Output()", [&] {
    detail::SerialDevice& device = state_->Open();
    if (const auto* array = std::get_if<ByteArray>(&value)) {
      if (array->size() > 0) device.Write(array->data(), array->size());
      return;
    }
    const auto* text = std::get_if<std::string>(&value);
    if (text == nullptr) Raise(err::TypeMismatch);
    std::vector<uint8_t> bytes;
    bytes.reserve(text->size());
    const bool ascii =
        std::all_of(text->begin(), text->end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
    if (ascii) {
      bytes.assign(text->begin(), text->end());
    } else {
      for (const char32_t c : DecodeUtf8(*text)) {
        if (c > 0xFF) Raise(err::Overflow);
        bytes.push_back(static_cast<uint8_t>(c));
      }
    }
    if (!bytes.empty()) device.Write(bytes.data(), bytes.size());
  });
}

int16_t CSerialPort::CommEvent() const { return state_->commEvent; }

// New input since the last poll raises OnComm (errSerReceive), as the port's event sink
// would; a failing handler is shown, never raised into the poll.
void CSerialPort::NoteWaiting(int32_t waiting) {
  State& s = *state_;
  const bool arrived = waiting > s.lastWaiting;
  s.lastWaiting = waiting;
  if (!arrived) return;
  s.commEvent = errSerReceive;
  GuardedSwallow(kModule, "moComm_OnComm()", OnFailure::ShowMessage, [&] { OnComm.Raise(); });
}

namespace detail {

void SetSerialDeviceOpener(SerialDeviceOpener opener) {
  const std::lock_guard<std::mutex> lock(openerMutex);
  Opener() = std::move(opener);
}

}  // namespace detail

}  // namespace tarnvik
