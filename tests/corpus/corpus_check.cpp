// Loads every SOR file below a folder, twice (checksum checked, then ignored), and saves
// each one that loads. Every file must load or fail with a numbered error; a crash, a
// foreign exception or a sanitizer report fails the run.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/sor/CSORFile.h"

namespace fs = std::filesystem;

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
  int loaded = 0;
  int failed = 0;
  std::map<int32_t, int> byNumber;
  for (const auto& file : files) {
    for (const bool ignoreCRC : {false, true}) {
      auto sor = std::make_shared<tarnvik::CSORFile>();
      std::string result;
      try {
        sor->LoadFromFile(file.string(), ignoreCRC);
        ++loaded;
        sor->SaveToFile(out.string());
        auto again = std::make_shared<tarnvik::CSORFile>();
        again->LoadFromFile(out.string());
        result = "loaded, saved and reloaded";
      } catch (const tarnvik::Error& e) {
        if (e.Number() <= 0) {
          std::cerr << file << ": error without a number\n";
          return 1;
        }
        ++byNumber[e.Number()];
        ++failed;
        result = "error " + std::to_string(e.Number()) + " (" + e.Source() + "): " + e.Description();
      }
      std::cout << file.filename().string() << (ignoreCRC ? " [CRC ignored]" : "") << ": " << result << "\n";
    }
  }
  std::error_code ignored;
  fs::remove(out, ignored);
  std::cout << files.size() << " files: " << loaded << " loads succeeded, " << failed
            << " failed with a numbered error";
  for (const auto& [number, count] : byNumber) std::cout << "; " << number << " x" << count;
  std::cout << "\n";
  return files.empty() ? 1 : 0;
}
