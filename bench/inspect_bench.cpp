// The inspection reader against the machine's floor, measured in the same run: reading
// the whole file into a buffer and running its checksum with slicing-by-16 tables
// (bench/support/FloorChecksum.h), the same floor sor_floor_bench measures CSORFile by.
// ReadSorDocument reads, checks the checksum and decodes every standard block.
//
// Files: every file of the corpus folder beside the repository (when it is there; the
// environment's TARNVIK_CORPUS_DIR names another), one at a time and all of them in one
// go, the bundled sample, and a 64,000-sample version-2 file built here with the tests'
// SOR builder. ReadTrace is timed alone on each of those files it loads. When
// TARNVIK_BENCH_FOLDER names a folder, its files are read in one go as "folder"
// (bench/python_bench.py times the same folder from Python).
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "support/FloorChecksum.h"
#include "support/Interleaved.h"
#include "support/SorBytes.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/inspect/SorDocument.h"

namespace fs = std::filesystem;
using namespace tarnvik;

namespace {

void Floor(const std::vector<std::string>& files) {
  for (const std::string& file : files) {
    const bench::FileBuffer buffer = bench::ReadWholeFileFloor(file);
    benchmark::DoNotOptimize(bench::ChecksumFloor(buffer.bytes.get(), buffer.size));
  }
}

void Read(const std::vector<std::string>& files) {
  for (const std::string& file : files) benchmark::DoNotOptimize(inspect::ReadSorDocument(file));
}

void Register(const std::string& label, const std::vector<std::string>& files) {
  std::size_t bytes = 0;
  for (const std::string& file : files) bytes += fs::file_size(file);
  benchmark::RegisterBenchmark(("ReadSorDocument/" + label).c_str(), [=](benchmark::State& state) {
    bench::Interleaved(state, [&] { Read(files); }, [&] { Floor(files); }, bytes, true);
  })->UseManualTime()->Unit(benchmark::kMicrosecond);
}

// ReadTrace of a file the library loads; nothing is registered for one it refuses.
void RegisterReadTrace(const std::string& label, const std::string& file) {
  try {
    CFileOperations().ReadTrace(file);
  } catch (const Error&) {
    return;
  }
  benchmark::RegisterBenchmark(("ReadTrace/" + label).c_str(), [=](benchmark::State& state) {
    CFileOperations ops;
    for (auto _ : state) benchmark::DoNotOptimize(ops.ReadTrace(file));
  })->Unit(benchmark::kMicrosecond);
}

std::vector<std::string> FilesIn(const fs::path& dir) {
  std::vector<std::string> files;
  if (fs::is_directory(dir)) {
    for (const auto& entry : fs::directory_iterator(dir)) files.push_back(entry.path().string());
  }
  std::sort(files.begin(), files.end());
  return files;
}

const bool kRegistered = [] {
  SetMessageBoxHandler([](const std::string&) {});
  const fs::path built = fs::temp_directory_path() / "tarnvik-inspect-v2-64000.sor";
  ReplaceWholeFile(built.string(), testing::MakeStandardSor(testing::StandardSor{2, {100}, {1000}, {64000}, 8}));
  Register("v2-64000", {built.string()});
  Register("sample.sor", {TARNVIK_SAMPLE});
  RegisterReadTrace("sample.sor", TARNVIK_SAMPLE);
  const char* corpus = std::getenv("TARNVIK_CORPUS_DIR");
  std::vector<std::string> all;
  for (const char* folder : {"sor-v1", "sor-v2"}) {
    const std::vector<std::string> files = FilesIn(fs::path(corpus ? corpus : TARNVIK_CORPUS_DIR) / folder);
    for (const std::string& file : files) {
      const std::string label = std::string(folder) + "/" + fs::path(file).filename().string();
      Register(label, {file});
      RegisterReadTrace(label, file);
    }
    all.insert(all.end(), files.begin(), files.end());
  }
  if (!all.empty()) Register("corpus-all", all);
  if (const char* folder = std::getenv("TARNVIK_BENCH_FOLDER")) Register("folder", FilesIn(folder));
  return true;
}();

}  // namespace

BENCHMARK_MAIN();
