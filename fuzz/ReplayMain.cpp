// The main of a fuzz target built without libFuzzer: runs the target once on every file
// named, or found in a folder named, so that the ordinary (and sanitizer) builds replay
// the corpus and the regression inputs. Exits 1 when a folder or file is missing.
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size);

namespace fs = std::filesystem;

namespace {

void RunOne(const fs::path& path) {
  std::ifstream in(path, std::ios::binary);
  const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
  LLVMFuzzerTestOneInput(bytes.data(), bytes.size());
}

}  // namespace

int main(int argc, char** argv) {
  std::size_t runs = 0;
  for (int i = 1; i < argc; ++i) {
    const fs::path arg = argv[i];
    if (fs::is_directory(arg)) {
      for (const auto& entry : fs::recursive_directory_iterator(arg)) {
        if (!entry.is_regular_file()) continue;
        RunOne(entry.path());
        ++runs;
      }
    } else if (fs::is_regular_file(arg)) {
      RunOne(arg);
      ++runs;
    } else {
      std::fprintf(stderr, "no such file or folder: %s\n", argv[i]);
      return 1;
    }
  }
  std::printf("%zu inputs replayed\n", runs);
  return 0;
}
