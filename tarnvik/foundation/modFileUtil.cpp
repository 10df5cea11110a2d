#include "tarnvik/foundation/modFileUtil.h"

#include <filesystem>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace {
constexpr const char* kModule = "modFileUtil";

void ReadExactly(std::istream& file, uint8_t* into, std::size_t n) {
  file.read(reinterpret_cast<char*>(into), static_cast<std::streamsize>(n));
  if (static_cast<std::size_t>(file.gcount()) != n) {
    Raise(err::InputPastEndOfFile, "Input past end of file: a text of " + std::to_string(n) +
                                       " bytes was expected, " + std::to_string(file.gcount()) +
                                       " were found.");
  }
}
}  // namespace

std::string ParseFileTitle(const std::string& path) {
  return Guarded(kModule, "ParseFileTitle()", [&] {
    const std::size_t slash = path.find_last_of("\\/");
    if (slash != std::string::npos) return path.substr(slash + 1);
    const std::size_t colon = path.find(':');
    if (colon != std::string::npos) return path.substr(colon + 1);
    return path;
  });
}

std::string ParseFileBase(const std::string& path) {
  return Guarded(kModule, "ParseFileBase()", [&] {
    const std::string title = ParseFileTitle(path);
    const std::size_t dot = title.rfind('.');
    return dot == std::string::npos ? title : title.substr(0, dot);
  });
}

std::string ParseFileExt(const std::string& path) {
  return Guarded(kModule, "ParseFileExt()", [&] {
    const std::string title = ParseFileTitle(path);
    const std::size_t dot = title.rfind('.');
    return dot == std::string::npos ? std::string() : title.substr(dot + 1);
  });
}

bool SafeKill(const std::string& path) {
  return GuardedSwallow(kModule, "SafeKill()", OnFailure::LogOnly, [&] {
    const std::filesystem::path file = PathFromUtf8(path);
    std::error_code code;
    if (!std::filesystem::is_regular_file(file, code)) Raise(err::FileNotFound);
    if (!std::filesystem::remove(file, code) || code) Raise(err::PathFileAccess);
    return true;
  });
}

std::string GetStringInfo(std::istream& file) {
  return Guarded(kModule, "GetStringInfo()", [&] {
    ByteArray prefix(1, 2);
    ReadExactly(file, prefix.data(), 2);
    const double length = ByteArrayToNumLSB(prefix, 1, 2, true);
    if (length < 1) return std::string();
    std::vector<uint8_t> text(static_cast<std::size_t>(length));
    ReadExactly(file, text.data(), text.size());
    return Latin1ToUtf8(text.data(), text.size());
  });
}

}  // namespace tarnvik
