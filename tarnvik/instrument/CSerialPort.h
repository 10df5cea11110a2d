// CSerialPort: the library's one access to a serial line. Every property passes straight
// to the platform's serial device; the object adds the shared error reporting, readable
// messages for the three port errors, retries while a port is busy, and the OnComm event.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/Variant.h"

namespace tarnvik {

enum SerialHandshakeConstants : int32_t {
  serHSNone = 0,
  serHSXOnXOff = 1,
  serHSRTS = 2,
  serHSRTSXOnXOff = 3,
};

enum SerialPortErrors : int32_t {
  errSerPortInvalid = 8002,
  errSerPortAlreadyOpen = 8005,
  errSerPortNotOpen = 8018,
};

// Values of the communication event.
enum SerialPortOnComm : int32_t {
  errSerSend = 1,
  errSerReceive = 2,
  errSerCTS = 3,
  errSerDSR = 4,
  errSerCD = 5,
  errSerRing = 6,
  errSerEOF = 7,
};

// The line's error events.
enum SerialPortEvents : int32_t {
  errSerBreak = 1001,
  errSerFraming = 1004,
  errSerOverrun = 1006,
  errSerRxOver = 1008,
  errSerRxParity = 1009,
  errSerTxFull = 1010,
  errSerDCB = 1011,
};

namespace detail {
class SerialDevice;
}

class CSerialPort {
 public:
  CSerialPort();
  ~CSerialPort();
  CSerialPort(const CSerialPort&) = delete;
  CSerialPort& operator=(const CSerialPort&) = delete;

  int16_t CommPort() const;
  void SetCommPort(int16_t value);
  bool PortOpen() const;
  void SetPortOpen(bool value);
  // "baud,parity,data bits,stop bits", e.g. "115200,N,8,1": parity N/E/O/M/S, 4..8 data
  // bits, 1, 1.5 or 2 stop bits. A malformed text, or a line the platform cannot set (a
  // baud rate termios does not know; 4 data bits or 1.5 stop bits on POSIX), raises 5.
  std::string Settings() const;
  void SetSettings(const std::string& value);
  // Bytes one PortInput read takes at most; 0 takes all that are waiting.
  int16_t InputLen() const;
  void SetInputLen(int16_t value);
  // 0 text, 1 binary (PortInput gives a byte array).
  int16_t InputMode() const;
  void SetInputMode(int16_t value);
  // Bytes waiting (at most 32767); writing 0 discards them, any other count raises 5.
  int16_t InBufferCount();
  void SetInBufferCount(int16_t value);
  int16_t InBufferSize() const;
  void SetInBufferSize(int16_t value);
  bool RTSEnable() const;
  void SetRTSEnable(bool value);
  bool DTREnable() const;
  void SetDTREnable(bool value);
  std::string ParityReplace() const;
  void SetParityReplace(const std::string& value);
  SerialHandshakeConstants HandShaking() const;
  void SetHandShaking(SerialHandshakeConstants value);
  // Read only: takes up to InputLen waiting bytes; in binary mode a ByteArray indexed
  // from 0 (never dimensioned when nothing waits), in text mode a std::string.
  Variant PortInput();
  // Write only: a ByteArray or a std::string, sent in one operation.
  void SetOutput(const Variant& value);

  // The last communication event (SerialPortOnComm or SerialPortEvents); 0 before any.
  int16_t CommEvent() const;

  // Raised whenever the line reports a communication event (its value in SerialPortOnComm
  // or SerialPortEvents is read through CommEvent). Input is observed when InBufferCount
  // or PortInput polls the line and finds more bytes waiting than at the last poll.
  Event<> OnComm;

 private:
  static constexpr const char* kModule = "CSerialPort";
  void NoteWaiting(int32_t waiting);
  // Filled in by the implementation.
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace tarnvik
