#include "tarnvik/instrument/CKTR915.h"

#include <algorithm>
#include <utility>

#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/instrument/CKTR915FAT.h"
#include "tarnvik/instrument/CSerialPort.h"
#include "tarnvik/instrument/KTR915Record.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik {

namespace {

constexpr const char* kModuleName = "CKTR915";

[[noreturn]] void RaiseFrom(const char* procedure, int32_t number, std::string description) {
  tarnvik::RaiseFrom(kModuleName, procedure, number, std::move(description));
}

// The deadline of one receive stage, in seconds since midnight. One that falls after
// midnight is never reached by the timer, which starts again at 0.
float StageDeadline(float fTimeout) { return TimerSeconds() + fTimeout; }

}  // namespace

CKTR915::CKTR915() : port_(std::make_unique<CSerialPort>()) {}

CKTR915::~CKTR915() = default;

void CKTR915::CancelOperation(bool /*vData*/) { cancelled_ = true; }

void CKTR915::Connect(int16_t Port) {
  Guarded(kModule, "Connect()", [&] {
    if (port_->PortOpen()) port_->SetPortOpen(false);
    port_->SetCommPort(Port);
    port_->SetSettings("115200,N,8,1");
    port_->SetPortOpen(true);
    port_->SetHandShaking(serHSRTS);
    port_->SetDTREnable(true);
  });
}

void CKTR915::Disconnect() {
  Guarded(kModule, "Disconnect()", [&] { port_->SetPortOpen(false); });
}

bool CKTR915::Connected() const {
  return Guarded(kModule, "Get Connected()", [&] { return port_->PortOpen(); });
}

// ---- Session ------------------------------------------------------------------------

std::vector<std::string> CKTR915::GetFilenames(float fTimeout) {
  const auto answer = [](const Error& e) {
    if (e.Number() == errTimeout) RaiseFrom("GetFilenames()", errTimeout, "Timeout while getting filenames");
    // The session's own errors reach the caller as they were raised.
    if (e.Number() >= errCheckSum && e.Number() <= errCancelled) throw e;
  };
  return GuardedAnswering(kModuleName, "GetFilenames()", answer, [&] {
    fat_ = ReadFAT(fTimeout);
    if (!fat_) RaiseFrom("GetFilenames()", errCommunication, "Could not read FAT");
    if (fat_->Guard() != kKtrFormattedGuard) {
      RaiseFrom("GetFilenames()", errFlashNotInit, "KTR Memory is not formatted");
    }
    std::vector<std::string> names;
    const int32_t count = fat_->FileCount();
    for (int32_t i = 1; i <= count; ++i) {
      std::string name = ReadFileName(fat_->FilePointers(i), fTimeout);
      fat_->SetFileNames(i, name);
      names.push_back(std::move(name));
    }
    return names;
  });
}

std::shared_ptr<CTraces> CKTR915::GetFiles(const std::vector<std::string>& colFilenames, float fTimeout) {
  return Guarded(kModule, "GetFiles()", [&] {
    if (!fat_) GetFilenames(fTimeout);
    auto traces = std::make_shared<CTraces>();
    for (const std::string& name : colFilenames) traces->Add(TransferFile(name, fTimeout));
    return traces;
  });
}

std::shared_ptr<CTrace> CKTR915::TransferFile(const std::string& sFilename, float fTimeout) {
  const int32_t count = fat_->FileCount();
  int32_t n = 1;
  while (n <= count && fat_->FileNames(n) != sFilename) ++n;
  if (n > count) {
    std::string description("Could not find file: '");
    description.append(sFilename).append("'\r\nn = ").append(std::to_string(n));
    description.append(", FileCount = ").append(std::to_string(count)).append(", Files: \r\n");
    for (int32_t i = 1; i <= count; ++i) description.append("'").append(fat_->FileNames(i)).append("'\r\n");
    RaiseFrom("TransferFile()", err::InvalidCall, std::move(description));
  }
  port_->SetInBufferCount(0);
  SendFlashReadCommand(kKtrReadTrace, fat_->FilePointers(n), 0, fTimeout);
  ByteArray data;
  ReceiveFlashData(data, fTimeout);
  std::shared_ptr<CTrace> trace = detail::ConvertByteArrayToTrace(data);
  trace->SetFileName(sFilename + ".sor");
  trace->SetFiberNumber(ParseFiberNumber(sFilename));
  trace->SetCableID(ParseCableID(sFilename));
  trace->SetFiberType(ParseFiberType(sFilename));
  return trace;
}

std::shared_ptr<CKTR915FAT> CKTR915::ReadFAT(float fTimeout) {
  port_->SetInBufferCount(0);
  SendFlashReadCommand(kKtrReadFileTable, 0, 0, fTimeout);
  ByteArray data;
  ReceiveFlashData(data, fTimeout);
  auto fat = std::make_shared<CKTR915FAT>();
  fat->LoadFromArray(data, kKtrFormattedGuard);
  return fat;
}

std::string CKTR915::ReadFileName(int32_t nPointer, float fTimeout) {
  port_->SetInBufferCount(0);
  SendFlashReadCommand(kKtrReadFileName, nPointer, 0, fTimeout);
  ByteArray data;
  ReceiveFlashData(data, fTimeout);
  // UTF-16 little-endian; the last character is the instrument's terminator.
  const std::string text = ByteArrayToStringUnicode(data);
  const std::size_t chars = CharCount(text);
  return chars == 0 ? std::string() : LeftChars(text, chars - 1);
}

// ---- File-name parsers ----------------------------------------------------------------

int16_t CKTR915::ParseFiberNumber(const std::string& sFilename) const {
  return Guarded(kModule, "ParseFiberNumber()", [&] { return detail::KtrFiberNumber(sFilename); });
}

std::string CKTR915::ParseCableID(const std::string& sFilename) const {
  return Guarded(kModule, "ParseCableID()", [&] { return detail::KtrCableID(sFilename); });
}

EnumFiberTypes CKTR915::ParseFiberType(const std::string& sFilename) const {
  return Guarded(kModule, "ParseFiberType()", [&] { return detail::KtrFiberType(sFilename); });
}

int16_t CKTR915::ParseWavelength(const std::string& sFilename) const {
  return Guarded(kModule, "ParseWavelength()", [&] { return detail::KtrWavelength(sFilename); });
}

// ---- Packets --------------------------------------------------------------------------

void CKTR915::SendPacket(const std::string& sCommand, const ByteArray& baParams) {
  const std::vector<uint8_t> frame = detail::BuildKtrPacket(sCommand, baParams);
  port_->SetOutput(ByteArray::FromBytes(frame.data(), frame.size(), 1));
}

void CKTR915::WaitForBytes(int16_t count, float deadline) {
  while (port_->InBufferCount() < count) {
    YieldToHost();
    if (cancelled_) Raise(errCancelled, "Operation Cancelled");
    if (TimerSeconds() > deadline) RaiseFrom("ReceivePacket()", errTimeout, "Timeout");
  }
}

uint8_t CKTR915::ReadByte() {
  const Variant input = port_->PortInput();
  const ByteArray* bytes = std::get_if<ByteArray>(&input);
  if (bytes == nullptr) Raise(err::TypeMismatch);
  return (*bytes)[bytes->LBound()];
}

void CKTR915::ReceivePacket(ByteArray& baParams, float fTimeout, std::string& sCommand) {
  const auto answer = [this](const Error& e) {
    if (e.Number() != errCancelled) return;
    OnKTREvent.Raise(KTREV_Cancelled, Variant(int16_t{0}));
    RaiseFrom("ReceivePacket()", errCancelled, "Operation Cancelled");
  };
  GuardedAnswering(kModuleName, "ReceivePacket()", answer, [&] {
    port_->SetInputMode(1);
    port_->SetInputLen(1);

    // Start of header; noise before it is dropped against this stage's one deadline.
    float deadline = StageDeadline(fTimeout);
    do {
      WaitForBytes(1, deadline);
    } while (ReadByte() != kKtrStartOfHeader);

    deadline = StageDeadline(fTimeout);
    WaitForBytes(1, deadline);
    const uint8_t length = ReadByte();
    uint8_t checksum = length;
    if (length > 3) {
      baParams.ReDim(1, (length - 3) * 2);
    } else {
      baParams.ReDim(0, 0);
    }

    deadline = StageDeadline(fTimeout);
    WaitForBytes(1, deadline);
    const uint8_t command = ReadByte();
    checksum = static_cast<uint8_t>(checksum ^ command);
    sCommand = Latin1ToUtf8(&command, 1);

    const int32_t upper = baParams.UBound();
    for (int32_t i = 1; i <= upper; i += 2) {
      deadline = StageDeadline(fTimeout);
      WaitForBytes(2, deadline);
      baParams[i] = ReadByte();
      baParams[i + 1] = ReadByte();
      checksum = static_cast<uint8_t>(checksum ^ baParams[i] ^ baParams[i + 1]);
    }

    deadline = StageDeadline(fTimeout);
    WaitForBytes(1, deadline);
    const uint8_t received = ReadByte();
    if (received != checksum) {
      std::string description("Checksum error - Rcvd: ");
      description.append(std::to_string(received)).append(" Calculated: ").append(std::to_string(checksum));
      RaiseFrom("ReceivePacket()", errCheckSum, std::move(description));
    }
  });
}

void CKTR915::SendFlashReadCommand(int32_t nWhat, int32_t nArg1, int32_t nArg2, float fTimeout) {
  // Words go out most significant byte first.
  ByteArray request(1, 8);
  NumToByteArray2(kKtrDownloaderVersion, 2, request, 1, false);
  NumToByteArray2(CheckInt16(nWhat), 2, request, 3, false);
  NumToByteArray2(CheckInt16(nArg1), 2, request, 5, false);
  NumToByteArray2(CheckInt16(nArg2), 2, request, 7, false);
  SendPacket(std::string(1, kKtrFlashData), request);

  ByteArray reply;
  std::string command;
  ReceivePacket(reply, fTimeout, command);
  if (command != std::string(1, kKtrAcknowledge)) {
    RaiseFrom("SendFlashReadCommand()", errCommunication, "KTR 915 did not respond to Flash Read request");
  }
  // The instrument answers with its version least significant byte first (32 as 32, 0).
  if (ByteArrayToNumLSB(reply, 1, 2, false) != kKtrDownloaderVersion) {
    RaiseFrom("SendFlashReadCommand()", errWrongVersion, "File Downloader Versions don't match");
  }
}

void CKTR915::ReceiveFlashData(ByteArray& baData, float fTimeout) {
  const std::string dataBlock(1, kKtrFlashData);
  const std::string endOfData(1, kKtrEndOfData);
  const std::string acknowledge(1, kKtrAcknowledge);
  baData.ReDim(0, 0);
  int32_t next = 1;
  ByteArray block;
  std::string command;
  ReceivePacket(block, fTimeout, command);
  for (;;) {
    if (command == dataBlock) {
      SendPacket(acknowledge, ByteArray());
      const int32_t count = block.Count();
      if (baData.UBound() != 0) {
        baData.ReDimPreserve(CheckInt32(static_cast<int64_t>(baData.UBound()) + count));
      } else {
        baData.ReDim(1, count);  // the first block replaces the placeholder element
      }
      std::copy(block.data(), block.data() + block.size(), baData.Span(next, count));
      next += count;
      ReceivePacket(block, fTimeout, command);
    } else if (command == endOfData) {
      SendPacket(acknowledge, ByteArray());
      return;
    } else {
      RaiseFrom("ReceiveFlashData()", errCommunication, "Communication Error");
    }
  }
}

}  // namespace tarnvik
