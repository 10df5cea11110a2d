#include "ktr915sim/InstrumentFiles.h"

#include <algorithm>
#include <filesystem>

#include "sample_trace.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::sim {

uint16_t InstrumentFiles::Store(const std::string& name, std::vector<uint8_t> record) {
  if (name.empty()) Raise(err::InvalidCall, "A stored file needs a name");
  if (record.size() % 2 != 0) Raise(err::InvalidCall, "A record is sent in 16-bit words: its size must be even");
  for (const auto& f : files_)
    if (f.name == name) Raise(err::DuplicateKey, "A file named \"" + name + "\" is already stored");
  const std::size_t pointer = kFirstPointer + std::size_t{kPointerStep} * files_.size();
  if (pointer > 0xFFFF)
    Raise(err::Overflow, "The memory holds no more than " + std::to_string(files_.size()) + " files");
  files_.push_back({name, static_cast<uint16_t>(pointer), std::move(record)});
  return static_cast<uint16_t>(pointer);
}

uint16_t InstrumentFiles::AddRecord(const std::string& name, std::vector<uint8_t> record) {
  return Guarded(kModule, "AddRecord()", [&] { return Store(name, std::move(record)); });
}

uint16_t InstrumentFiles::AddTrace(const CTrace& trace, const std::string& name, OutOfRange policy) {
  return Guarded(kModule, "AddTrace()", [&] {
    return Store(name.empty() ? InstrumentFileName(trace) : name, EncodeTraceRecord(trace, policy));
  });
}

uint16_t InstrumentFiles::AddSorFile(const std::string& path, OutOfRange policy) {
  return Guarded(kModule, "AddSorFile()", [&] {
    CFileOperations files;
    const auto trace = files.ReadTrace(path);
    // A download takes the cable, fibre, type and wavelength from the name's three
    // underscore-separated fields, and fails on a name without them.
    const std::string stem = std::filesystem::path(path).stem().string();
    const bool instrumentName = std::count(stem.begin(), stem.end(), '_') >= 2;
    return Store(instrumentName ? stem : InstrumentFileName(*trace), EncodeTraceRecord(*trace, policy));
  });
}

uint16_t InstrumentFiles::AddSynthetic(int32_t samples) {
  return Guarded(kModule, "AddSynthetic()", [&] {
    const auto trace = MakeSyntheticTrace(samples);
    return Store(InstrumentFileName("SYNTH", static_cast<int32_t>(files_.size()) + 1, FT_SingleMode, 1310),
                 EncodeTraceRecord(*trace));
  });
}

const StoredFile* InstrumentFiles::FindByPointer(int32_t pointer) const {
  for (const auto& f : files_)
    if (f.pointer == pointer) return &f;
  return nullptr;
}

std::vector<uint8_t> InstrumentFiles::FileTableImage() const {
  std::vector<uint8_t> image;
  auto put = [&](uint32_t word) {
    image.push_back(static_cast<uint8_t>(word & 0xFF));
    image.push_back(static_cast<uint8_t>((word >> 8) & 0xFF));
  };
  put(guard_);
  put(static_cast<uint32_t>(files_.size()));
  put(refreshCount_);
  for (const auto& f : files_) put(f.pointer);
  return image;
}

std::vector<uint8_t> FileNameImage(const std::string& name) {
  std::vector<uint8_t> image;
  for (uint16_t unit : Utf16Units(name)) {
    image.push_back(static_cast<uint8_t>(unit & 0xFF));
    image.push_back(static_cast<uint8_t>(unit >> 8));
  }
  image.push_back(0);  // the terminator
  image.push_back(0);
  return image;
}

std::shared_ptr<CTrace> MakeSyntheticTrace(int32_t samples) {
  return Guarded("SyntheticTrace", "MakeSyntheticTrace()", [&] {
    if (samples < 1 || samples > 65535)
      Raise(err::InvalidCall, "A synthetic trace has 1 to 65535 samples, not " + std::to_string(samples));
    // The tool's sample trace: backscatter, a connector, a splice and the fibre end.
    auto trace = tool::MakeSampleTrace(samples);
    // Its noise floor (20 dB in thousandths) does not fit the record's word, which holds ten
    // times the level; 2000 does.
    trace->SetNoiseFloorLevel(2000);
    // The record's texts are short: 5 characters for the module, 8 for the main frame.
    trace->SetModuleID("SM13");
    trace->SetMainFrameID("KTR 915");
    return trace;
  });
}

}  // namespace tarnvik::sim
