// The instrument's memory as the simulator serves it: the stored files, each a name, a
// pointer and a trace record, and the file table that lists them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ktr915sim/TraceRecord.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::sim {

struct StoredFile {
  std::string name;             // e.g. "CABLE7_12_S15"
  uint16_t pointer = 0;         // the handle the library sends back to read the name or the trace
  std::vector<uint8_t> record;  // the bytes a trace read returns
};

class InstrumentFiles {
 public:
  // Pointers are 0x0100 + 0x40 x (position - 1): distinct, and neither 0 nor a position,
  // so a library that sends the wrong number is not served by chance.
  static constexpr uint16_t kFirstPointer = 0x0100;
  static constexpr uint16_t kPointerStep = 0x40;
  // What an erased (unformatted) memory holds where the guard word should be.
  static constexpr uint16_t kErasedGuard = 0xFFFF;

  // Each returns the new file's pointer. An empty name or an odd-sized record raises 5, a
  // name already stored 457, more files than the pointers can address 6.
  uint16_t AddRecord(const std::string& name, std::vector<uint8_t> record);
  // name empty: InstrumentFileName(trace). Encoding errors as EncodeTraceRecord's (6).
  uint16_t AddTrace(const CTrace& trace, const std::string& name = {}, OutOfRange policy = OutOfRange::Raise);
  // Reads the SOR file with CFileOperations::ReadTrace (its errors pass through) and stores
  // it under the file's name without folder and ".sor" when that has the instrument's three
  // fields (CABLE_FIBER_TYPEWAVE), otherwise under InstrumentFileName(trace).
  uint16_t AddSorFile(const std::string& path, OutOfRange policy = OutOfRange::Raise);
  // A synthetic 1310 nm trace of the given number of samples (1..65535, else 5), stored as
  // "SYNTH_n_S13" with n its position among the files.
  uint16_t AddSynthetic(int32_t samples);

  const std::vector<StoredFile>& Files() const { return files_; }
  // The file with this pointer, or nullptr.
  const StoredFile* FindByPointer(int32_t pointer) const;

  // 1290 (formatted) unless changed.
  uint16_t Guard() const { return guard_; }
  void SetGuard(uint16_t value) { guard_ = value; }
  uint16_t RefreshCount() const { return refreshCount_; }
  void SetRefreshCount(uint16_t value) { refreshCount_ = value; }

  // Guard, file count, refresh count, then each file's pointer; words LSB first.
  std::vector<uint8_t> FileTableImage() const;

 private:
  static constexpr const char* kModule = "InstrumentFiles";
  uint16_t Store(const std::string& name, std::vector<uint8_t> record);

  std::vector<StoredFile> files_;
  uint16_t guard_ = 1290;
  uint16_t refreshCount_ = 1;
};

// A file name as the instrument sends it: UTF-16LE and one terminating zero character
// (which the library drops).
std::vector<uint8_t> FileNameImage(const std::string& name);

// The synthetic trace AddSynthetic stores, for callers that want it as a CTrace.
std::shared_ptr<CTrace> MakeSyntheticTrace(int32_t samples);

}  // namespace tarnvik::sim
