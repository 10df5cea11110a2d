#include "FuzzSupport.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::fuzz {

namespace fs = std::filesystem;

namespace {

// The folder, and the library kept quiet: no log file, no message box on stderr for every
// failure the fuzzer provokes.
struct Setup {
  std::string folder;
  Setup() {
    InitializeErrors("", false);
    SetMessageBoxHandler([](const std::string&) {});
    const fs::path base = fs::is_directory("/dev/shm") ? fs::path("/dev/shm") : fs::temp_directory_path();
    folder = (base / ("tarnvik-fuzz-" + std::to_string(::getpid()))).string();
    fs::create_directories(folder);
  }
  ~Setup() {
    std::error_code ignored;
    fs::remove_all(folder, ignored);
  }
};

Setup& TheSetup() {
  static Setup setup;
  return setup;
}

}  // namespace

const std::string& RamFolder() { return TheSetup().folder; }

std::string WriteRamFile(const std::string& name, const uint8_t* data, std::size_t size) {
  const std::string path = RamFolder() + "/" + name;
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
  if (!out.flush()) {
    std::fprintf(stderr, "cannot write %s\n", path.c_str());
    std::abort();
  }
  return path;
}

Bytes ReadRamFile(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

void Mismatch(const std::string& what, const std::string& first, const std::string& second) {
  std::fprintf(stderr, "round trip changed %s:\n  first:  %s\n  second: %s\n", what.c_str(), first.c_str(),
               second.c_str());
  std::abort();
}

void ExpectSame(const std::string& what, const Bytes& first, const Bytes& second) {
  if (first == second) return;
  const auto diff = std::mismatch(first.begin(), first.end(), second.begin(), second.end());
  const auto at = static_cast<std::size_t>(diff.first - first.begin());
  Mismatch(what, std::to_string(first.size()) + " bytes, first difference at " + std::to_string(at),
           std::to_string(second.size()) + " bytes");
}

std::vector<Bytes> SplitReplies(const uint8_t* data, std::size_t size) {
  std::vector<Bytes> replies(1);
  const auto* marker = reinterpret_cast<const uint8_t*>(kReplyMarker.data());
  std::size_t i = 0;
  while (i < size) {
    if (size - i >= kReplyMarker.size() && std::equal(marker, marker + kReplyMarker.size(), data + i)) {
      replies.emplace_back();
      i += kReplyMarker.size();
    } else {
      replies.back().push_back(data[i++]);
    }
  }
  return replies;
}

Bytes JoinReplies(const std::vector<Bytes>& replies) {
  Bytes out;
  for (std::size_t k = 0; k < replies.size(); ++k) {
    if (k > 0) out.insert(out.end(), kReplyMarker.begin(), kReplyMarker.end());
    out.insert(out.end(), replies[k].begin(), replies[k].end());
  }
  return out;
}

}  // namespace tarnvik::fuzz
