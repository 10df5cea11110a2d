// Loads every SOR file below a folder, twice (checksum checked, then ignored), and saves
// each one that loads; then reads each into a trace and writes the traces that read.
// Every file must load or fail with a numbered error; a crash, a foreign exception or a
// sanitizer report fails the run.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

namespace fs = std::filesystem;

namespace {

struct Tally {
  int succeeded = 0;
  int failed = 0;
  std::map<int32_t, int> byNumber;
};

// Runs one attempt and prints its outcome; false when it failed without a number.
bool Attempt(const fs::path& file, const std::string& label, Tally& tally, const std::function<std::string()>& run) {
  std::string result;
  try {
    result = run();
    ++tally.succeeded;
  } catch (const tarnvik::Error& e) {
    if (e.Number() <= 0) {
      std::cerr << file << ": error without a number\n";
      return false;
    }
    ++tally.byNumber[e.Number()];
    ++tally.failed;
    result = "error " + std::to_string(e.Number()) + " (" + e.Source() + "): " + e.Description();
  }
  std::cout << file.filename().string() << label << ": " << result << "\n";
  return true;
}

void PrintTally(const char* what, std::size_t files, const Tally& tally) {
  std::cout << files << " files, " << what << ": " << tally.succeeded << " succeeded, " << tally.failed
            << " failed with a numbered error";
  for (const auto& [number, count] : tally.byNumber) std::cout << "; " << number << " x" << count;
  std::cout << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::cerr << "usage: corpus_check FOLDER\n";
    return 2;
  }
  tarnvik::SetMessageBoxHandler([](const std::string&) {});
  std::vector<fs::path> files;
  for (const auto& entry : fs::recursive_directory_iterator(argv[1])) {
    const std::string ext = entry.path().extension().string();
    if (entry.is_regular_file() && (ext == ".sor" || ext == ".SOR")) files.push_back(entry.path());
  }
  std::sort(files.begin(), files.end());
  const fs::path out = fs::temp_directory_path() / "tarnvik-corpus-check.sor";
  Tally loads;
  Tally traces;
  for (const auto& file : files) {
    for (const bool ignoreCRC : {false, true}) {
      const bool ok = Attempt(file, ignoreCRC ? " [CRC ignored]" : "", loads, [&] {
        auto sor = std::make_shared<tarnvik::CSORFile>();
        sor->LoadFromFile(file.string(), ignoreCRC);
        sor->SaveToFile(out.string());
        std::make_shared<tarnvik::CSORFile>()->LoadFromFile(out.string());
        return std::string("loaded, saved and reloaded");
      });
      if (!ok) return 1;
    }
    // ReadTrace takes only the lower-case extension as SR-4731.
    if (file.extension() != ".sor") continue;
    const bool ok = Attempt(file, " [trace]", traces, [&] {
      tarnvik::CFileOperations ops;
      const auto trace = ops.ReadTrace(file.string(), true, true);
      ops.WriteTrace(trace, out.string(), 0, 1, 0, 0);
      ops.ReadTrace(out.string());
      return "read as a trace of " + std::to_string(trace->Samples()) + " samples, written and read again";
    });
    if (!ok) return 1;
  }
  std::error_code ignored;
  fs::remove(out, ignored);
  PrintTally("loaded as SOR files", files.size(), loads);
  PrintTally("read as traces", files.size(), traces);
  return files.empty() ? 1 : 0;
}
