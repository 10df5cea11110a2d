// Reading and writing traces through CFileOperations, against the layers below them, and
// the `tarnvik info` program over a folder of 100 samples as a whole process.
//
// Each figure is meant to be read as a ratio to its baseline in the same run:
//   ReadTrace            / CSORFile::LoadFromFile of the same file / a raw read of its bytes
//   WriteTrace           / CSORFile::SaveToFile of the file it writes
//   tarnvik info x 100   / 100 ReadTrace calls in this process / starting `tarnvik --version`
// The traces are the bundled sample (8,000 samples) and the same synthesis at 16,377
// samples, the most one SR-4731 data block holds.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "sample_trace.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

extern char** environ;

using namespace tarnvik;

namespace {

namespace fs = std::filesystem;

fs::path Scratch() {
  const fs::path dir = fs::temp_directory_path() / "tarnvik-tool-bench";
  fs::create_directories(dir);
  return dir;
}

// range(0): 0 for the bundled sample, otherwise the sample count of a synthesised trace.
std::string InputFor(int64_t samples) {
  if (samples == 0) return TARNVIK_SAMPLE;
  const std::string path = (Scratch() / ("trace-" + std::to_string(samples) + ".sor")).string();
  static std::set<int64_t> written;  // once per run, so that a file of an older build is never read
  if (written.insert(samples).second) {
    CFileOperations ops;
    ops.WriteTrace(tool::MakeSampleTrace(static_cast<int32_t>(samples)), path, 0, 0, 1, 0);
  }
  return path;
}

void Label(benchmark::State& state) { state.SetLabel(state.range(0) == 0 ? "sample.sor" : "16377 samples"); }

void BM_RawRead(benchmark::State& state) {
  const std::string path = InputFor(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(ReadWholeFile(path));
  Label(state);
}

void BM_SORLoad(benchmark::State& state) {
  const std::string path = InputFor(state.range(0));
  for (auto _ : state) {
    CSORFile sor;
    sor.LoadFromFile(path);
    benchmark::DoNotOptimize(sor.MaxLossVal());
  }
  Label(state);
}

void BM_ReadTrace(benchmark::State& state) {
  const std::string path = InputFor(state.range(0));
  CFileOperations ops;
  for (auto _ : state) benchmark::DoNotOptimize(ops.ReadTrace(path));
  Label(state);
}

void BM_SORSave(benchmark::State& state) {
  CSORFile sor;
  sor.LoadFromFile(InputFor(state.range(0)));
  const std::string out = (Scratch() / "save.sor").string();
  for (auto _ : state) sor.SaveToFile(out);
  Label(state);
}

void BM_WriteTrace(benchmark::State& state) {
  CFileOperations ops;
  const auto trace = ops.ReadTrace(InputFor(state.range(0)));
  const std::string out = (Scratch() / "write.sor").string();
  for (auto _ : state) ops.WriteTrace(trace, out, 0, 0, 1, 0);
  Label(state);
}

// Runs the tool with its output thrown away; returns its exit status.
int Spawn(const std::vector<std::string>& args) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  posix_spawn_file_actions_addopen(&actions, 2, "/dev/null", O_WRONLY, 0);
  std::vector<std::string> all = {TARNVIK_TOOL};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  pid_t pid = 0;
  int status = -1;
  if (posix_spawn(&pid, TARNVIK_TOOL, &actions, nullptr, argv.data(), environ) == 0) waitpid(pid, &status, 0);
  posix_spawn_file_actions_destroy(&actions);
  return status;
}

std::vector<std::string> HundredCopies() {
  const fs::path dir = Scratch() / "hundred";
  fs::create_directories(dir);
  static bool copied = false;  // once per run, from the sample of this build
  std::vector<std::string> files;
  for (int i = 0; i < 100; ++i) {
    const fs::path copy = dir / ("sample-" + std::to_string(i) + ".sor");
    if (!copied) fs::copy_file(TARNVIK_SAMPLE, copy, fs::copy_options::overwrite_existing);
    files.push_back(copy.string());
  }
  copied = true;
  return files;
}

void BM_ProcessStart(benchmark::State& state) {
  for (auto _ : state) {
    if (Spawn({"--version"}) != 0) state.SkipWithError("tarnvik --version failed");
  }
}

void BM_InfoProcess100(benchmark::State& state) {
  std::vector<std::string> args = {"info"};
  if (state.range(0) == 1) args.push_back("--json");
  for (const auto& f : HundredCopies()) args.push_back(f);
  for (auto _ : state) {
    if (Spawn(args) != 0) state.SkipWithError("tarnvik info failed");
  }
  state.SetItemsProcessed(state.iterations() * 100);
  state.SetLabel(state.range(0) == 1 ? "--json" : "text");
}

void BM_ReadTrace100InProcess(benchmark::State& state) {
  const auto files = HundredCopies();
  for (auto _ : state) {
    for (const auto& f : files) {
      CFileOperations ops;
      benchmark::DoNotOptimize(ops.ReadTrace(f, true));
    }
  }
  state.SetItemsProcessed(state.iterations() * 100);
}

}  // namespace

BENCHMARK(BM_RawRead)->Arg(0)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SORLoad)->Arg(0)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ReadTrace)->Arg(0)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_SORSave)->Arg(0)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_WriteTrace)->Arg(0)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_ProcessStart)->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK(BM_ReadTrace100InProcess)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_InfoProcess100)->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)->UseRealTime();

BENCHMARK_MAIN();
