// SOR files loaded and saved against the machine's floor, measured in the same run.
//
// For every file: LoadFromFile against the floor (read the whole file and run its
// checksum with slicing-by-16 tables, bench/support/FloorChecksum.h); SaveToBytes
// (SaveToFile without the final write to disk) against building the same bytes and
// their checksum; the final write (ReplaceWholeFile) on its own; ReadTrace against
// LoadFromFile and WriteTrace against SaveToFile on the same file. Each benchmark times
// the library and its reference in turn, iteration by iteration, and reports the ratio
// ("x_ref"), so that a noisy machine moves both alike. Load and save also report the
// bytes allocated per byte of file ("alloc_per_byte") and the allocations per operation
// ("allocs").
//
// Files: the bundled sample (examples/sample.sor when present, otherwise a 4,000-sample
// trace built here), a 16,377-sample trace built here (the most one "DataPts" group
// holds), and, when the corpus folder exists beside the repository, the files named
// below, read in place. A load or read that fails is timed all the same: its time to
// fail counts.
#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <functional>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "support/FloorChecksum.h"
#include "support/Interleaved.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace fs = std::filesystem;
using namespace tarnvik;

namespace {

const char* const kCorpusFiles[] = {
    "example.v1.sor",
    "example4-exfo-ftb4ftbx730c-mfdgainer-1550nm.v1.sor",
    "example5-exfo-rtu2ftbx735c-sm7r-ea-hrd.v1.sor",
    "sample1310_lowDR.v1.sor",
};

fs::path TempPath(const std::string& name) { return fs::temp_directory_path() / ("tarnvik-floor-" + name); }

// A trace with the given number of samples (a falling slope with some ripple) and a few
// events, written as a SOR file by the library.
fs::path BuildTraceFile(int32_t samples, const std::string& name) {
  auto trace = std::make_shared<CTrace>();
  trace->SetGroupIndex(146800);
  trace->SetPulseWidth(100);
  trace->SetDataPointSpacing(40000);
  trace->SetAquisitionRange(samples * 4);
  trace->SetCableID("bench cable");
  trace->SetSamples(samples);
  for (int32_t i = 1; i <= samples; ++i) trace->SetDataPoints(i, 2000 + (i * 3) % 60000 + (i * 7919) % 97);
  for (int32_t n = 1; n <= 8; ++n) {
    auto event = std::make_shared<CEvent>();
    event->SetLocationQRD(static_cast<float>(n) * static_cast<float>(samples) / 10.0f);
    event->SetLoss(0.1f * static_cast<float>(n));
    event->SetReflectance(-45.5f);
    event->SetAttenDBperKM(0.35f);
    trace->Events()->Add(event);
  }
  const fs::path path = TempPath(name);
  CFileOperations().WriteTrace(trace, path.string(), 1, 1, 0, 0);
  return path;
}

// A load or read that fails still ran: its time to fail is what a caller waits.
template <class Op>
void IgnoringErrors(Op&& op) {
  try {
    op();
  } catch (const Error&) {
  }
}

void RegisterFile(const std::string& label, const fs::path& path) {
  const std::string file = path.string();
  const std::size_t fileBytes = fs::file_size(path);
  const fs::path out = TempPath("out-" + label + ".sor");
  const auto floorLoad = [file] {
    const bench::FileBuffer buffer = bench::ReadWholeFileFloor(file);
    benchmark::DoNotOptimize(bench::ChecksumFloor(buffer.bytes.get(), buffer.size));
  };
  const auto load = [file] {
    IgnoringErrors([&] { std::make_shared<CSORFile>()->LoadFromFile(file); });
  };

  benchmark::RegisterBenchmark(("Load/" + label).c_str(), [=](benchmark::State& state) {
    bench::Interleaved(state, load, floorLoad, fileBytes, true);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);

  benchmark::RegisterBenchmark(("ReadTrace/" + label).c_str(), [=](benchmark::State& state) {
    const auto read = [file] { IgnoringErrors([&] { CFileOperations().ReadTrace(file); }); };
    bench::Interleaved(state, read, load, fileBytes, false);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);

  // Saving needs a loaded file, and WriteTrace a trace read from it.
  auto sor = std::make_shared<CSORFile>();
  try {
    sor->LoadFromFile(file);
  } catch (const Error& e) {
    std::cerr << label << ": loads with error " << e.Number() << ", not saved\n";
    return;
  }
  const std::vector<uint8_t> image = sor->SaveToBytes();
  // The floor's checksum must be the file's: over everything but the stored 2 bytes.
  const std::size_t covered = image.size() - 2;
  if (bench::ChecksumFloor(image.data(), covered) != (image[covered] | image[covered + 1] << 8)) {
    std::cerr << label << ": the floor's checksum differs from the library's\n";
    std::exit(1);
  }

  benchmark::RegisterBenchmark(("SaveNoFlush/" + label).c_str(), [=](benchmark::State& state) {
    const auto floorSave = [&image] {
      std::unique_ptr<uint8_t[]> copy(new uint8_t[image.size()]);
      std::memcpy(copy.get(), image.data(), image.size());
      benchmark::DoNotOptimize(bench::ChecksumFloor(copy.get(), image.size()));
    };
    bench::Interleaved(state, [&] { benchmark::DoNotOptimize(sor->SaveToBytes()); }, floorSave, image.size(), true);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);

  benchmark::RegisterBenchmark(("Flush/" + label).c_str(), [=](benchmark::State& state) {
    const auto floorSave = [&image] {
      std::unique_ptr<uint8_t[]> copy(new uint8_t[image.size()]);
      std::memcpy(copy.get(), image.data(), image.size());
      benchmark::DoNotOptimize(bench::ChecksumFloor(copy.get(), image.size()));
    };
    bench::Interleaved(state, [&] { ReplaceWholeFile(out.string(), image); }, floorSave, image.size(), false);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);

  std::shared_ptr<CTrace> trace;
  try {
    trace = CFileOperations().ReadTrace(file);
  } catch (const Error& e) {
    std::cerr << label << ": reads as a trace with error " << e.Number() << ", not written as one\n";
    return;
  }
  benchmark::RegisterBenchmark(("WriteTrace/" + label).c_str(), [=](benchmark::State& state) {
    const auto write = [&] { CFileOperations().WriteTrace(trace, out.string(), 1, 1, 0, 0); };
    bench::Interleaved(state, write, [&] { sor->SaveToFile(out.string()); }, fileBytes, false);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
}

// The files are registered before main() runs, so that the usual benchmark main applies.
const bool kRegistered = [] {
  SetMessageBoxHandler([](const std::string&) {});
  const fs::path bundled = fs::path(TARNVIK_SOURCE_DIR) / "examples" / "sample.sor";
  RegisterFile("sample", fs::exists(bundled) ? bundled : BuildTraceFile(4000, "sample.sor"));
  RegisterFile("trace16377", BuildTraceFile(16377, "trace16377.sor"));
  const fs::path corpus = fs::path(TARNVIK_CORPUS_DIR) / "sor-v1";
  for (const char* name : kCorpusFiles) {
    if (fs::exists(corpus / name)) RegisterFile(fs::path(name).stem().stem().string(), corpus / name);
  }
  return true;
}();

}  // namespace

BENCHMARK_MAIN();
