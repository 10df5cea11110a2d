// CKTR915: a download session with the KTR 915 handheld OTDR over a serial line. It
// reads the instrument's file table, lists the stored file names and transfers chosen
// files, each becoming a CTrace filled from the instrument's record and its file name.
//
// Transfers block the caller but yield to the host (YieldToHost) on every empty poll of
// the line, so the client's own handlers, CancelOperation among them, run meanwhile.
// Once cancelled, a session stays cancelled: every later wait for data fails with 11005.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/Variant.h"
#include "tarnvik/instrument/KtrFrame.h"
#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik {

class CSerialPort;
class CKTR915FAT;
class CTrace;
class CTraces;

enum KTREvents : int32_t {
  KTREV_TurnOn = 1,
  KTREV_Erase = 2,
  KTREV_LoadDSP = 3,
  KTREV_LoadEE = 4,
  KTREV_Cancelled = 5,
};

// The session's own error numbers.
enum KTR915Errors : int32_t {
  errTimeout = 11000,
  errCheckSum = 11001,
  errCommunication = 11002,
  errWrongVersion = 11003,
  errFlashNotInit = 11004,
  errCancelled = 11005,
};

class CKTR915 {
 public:
  CKTR915();
  ~CKTR915();
  CKTR915(const CKTR915&) = delete;
  CKTR915& operator=(const CKTR915&) = delete;

  // Cancels the running and every later transfer, whatever vData is.
  void CancelOperation(bool vData);
  // Opens the port at 115200,N,8,1 (closing it first if open); nothing is sent yet.
  void Connect(int16_t Port);
  void Disconnect();
  bool Connected() const;

  // Reads the file table and every file name; fTimeout is each receive stage's limit in
  // seconds. The table is kept for GetFiles.
  std::vector<std::string> GetFilenames(float fTimeout);
  // Transfers the named files (names as GetFilenames gave them, case-sensitive), reading
  // the file table first when no GetFilenames has.
  std::shared_ptr<CTraces> GetFiles(const std::vector<std::string>& colFilenames, float fTimeout);

  // The instrument's file-name fields: cable_fiber_test code (type letter, wavelength code).
  int16_t ParseFiberNumber(const std::string& sFilename) const;
  std::string ParseCableID(const std::string& sFilename) const;
  EnumFiberTypes ParseFiberType(const std::string& sFilename) const;
  int16_t ParseWavelength(const std::string& sFilename) const;

  // Declared for clients; the session raises only OnKTREvent (KTREV_Cancelled, 0).
  Event<const std::string&> OnMessage;
  Event<int16_t> OnProgress;
  Event<KTREvents, const Variant&> OnKTREvent;

 private:
  static constexpr const char* kModule = "CKTR915";

  std::shared_ptr<CTrace> TransferFile(const std::string& sFilename, float fTimeout);
  std::shared_ptr<CKTR915FAT> ReadFAT(float fTimeout);
  std::string ReadFileName(int32_t nPointer, float fTimeout);

  void SendPacket(const std::string& sCommand, const ByteArray& baParams);
  void ReceivePacket(ByteArray& baParams, float fTimeout, std::string& sCommand);
  void SendFlashReadCommand(int32_t nWhat, int32_t nArg1, int32_t nArg2, float fTimeout);
  void ReceiveFlashData(ByteArray& baData, float fTimeout);

  // Waits until count bytes are buffered, yielding on every empty poll; 11005 once
  // cancelled, 11000 once the timer has passed the deadline.
  void WaitForBytes(int16_t count, float deadline);
  uint8_t ReadByte();

  std::unique_ptr<CSerialPort> port_;
  bool cancelled_ = false;
  std::shared_ptr<CKTR915FAT> fat_;
};

}  // namespace tarnvik
