#include "tarnvik/foundation/FileIO.h"

#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"

#if defined(_WIN32)
#include "tarnvik/foundation/WindowsApi.h"
#else
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#endif

namespace tarnvik {

namespace fs = std::filesystem;

// ---- What differs between platforms: the file name's encoding and the final rename.
#if defined(_WIN32)

fs::path PathFromUtf8(const std::string& name) { return fs::path(WideFromUtf8(name)); }

namespace {

// Replaces target with the complete file at temp. The new name is on disk before this
// returns (write-through). The target's read-only attribute, the only permission Windows
// keeps on the file itself, is not carried over: a read-only temporary could not be
// deleted after a failed move.
bool MoveOver(const fs::path& temp, const fs::path& target) {
  return MoveFileExW(temp.c_str(), target.c_str(), MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) != 0;
}

void WriteComplete(const fs::path& temp, const std::vector<uint8_t>& bytes) {
  std::ofstream out(temp, std::ios::binary | std::ios::trunc);
  if (!out) Raise(err::PathFileAccess);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  out.flush();
  if (!out) Raise(err::PathFileAccess);
  out.close();
  if (out.fail()) Raise(err::PathFileAccess);
}

}  // namespace

#else

fs::path PathFromUtf8(const std::string& name) { return fs::u8path(name); }

namespace {

// Writes every byte to a new file and waits until they are on the disk: the rename that
// follows must never put a name on a file whose data a crash could still lose (file
// systems that allocate late would leave it empty or short).
void WriteComplete(const fs::path& temp, const std::vector<uint8_t>& bytes) {
  const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
  if (fd < 0) Raise(err::PathFileAccess);
  bool ok = true;
  std::size_t done = 0;
  while (ok && done < bytes.size()) {
    const ssize_t put = ::write(fd, bytes.data() + done, bytes.size() - done);
    if (put > 0) {
      done += static_cast<std::size_t>(put);
    } else if (put < 0 && errno == EINTR) {
      continue;
    } else {
      ok = false;  // no space (ENOSPC), over the file size limit (EFBIG), an I/O error
    }
  }
  ok = ok && ::fsync(fd) == 0;
  ok = ::close(fd) == 0 && ok;
  if (!ok) Raise(err::PathFileAccess);
}

// Makes the rename itself last: until the folder is on the disk, a crash may bring back
// the old name. Best-effort: the old file is then still whole, and a folder that cannot
// be opened for reading, or a file system that does not sync folders, is no reason to
// report a save that took place as failed.
void SyncFolder(const fs::path& target) {
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  if (fd < 0) return;
  ::fsync(fd);
  ::close(fd);
}

// Replaces target with the complete file at temp, which first takes the target's
// permissions.
bool MoveOver(const fs::path& temp, const fs::path& target) {
  std::error_code code;
  const fs::file_status old = fs::status(target, code);
  if (fs::is_regular_file(old)) fs::permissions(temp, old.permissions(), code);
  fs::rename(temp, target, code);
  if (code) return false;
  SyncFolder(target);
  return true;
}

}  // namespace

#endif
// ----

namespace {

fs::path PathOf(const std::string& name) {
  if (name.empty()) Raise(err::BadFileName);
  return PathFromUtf8(name);
}

// A name in the target's folder that no other writer in this or another process picks.
fs::path TemporaryBeside(const fs::path& target) {
  static std::atomic<uint64_t> counter{0};
  static const uint64_t salt = std::random_device{}();
  fs::path temp = target;
  temp += ".~tarnvik-" + std::to_string(salt % 1000000007u) + "-" + std::to_string(counter++);
  return temp;
}

// The checks every writer makes before it creates anything: the folder exists and the
// target is not itself a folder.
void CheckOutputPath(const fs::path& target) {
  const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
  std::error_code code;
  if (!fs::is_directory(folder, code)) Raise(err::PathNotFound);
  if (fs::is_directory(target, code)) Raise(err::PathFileAccess);
}

}  // namespace

std::vector<uint8_t> ReadWholeFile(const std::string& name) {
  const fs::path path = PathOf(name);
  std::error_code code;
  const fs::file_status status = fs::status(path, code);
  if (!fs::exists(status)) Raise(err::FileNotFound);
  if (!fs::is_regular_file(status)) Raise(err::PathFileAccess);
  std::ifstream in(path, std::ios::binary);
  if (!in) Raise(err::PathFileAccess);
  in.seekg(0, std::ios::end);
  const std::streamoff length = in.tellg();
  if (length < 0) Raise(err::PathFileAccess);
  in.seekg(0, std::ios::beg);
  std::vector<uint8_t> bytes(static_cast<std::size_t>(length));
  in.read(reinterpret_cast<char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
  if (static_cast<std::size_t>(in.gcount()) != bytes.size()) Raise(err::PathFileAccess);
  return bytes;
}

void ReplaceWholeFile(const std::string& name, const std::vector<uint8_t>& bytes) {
  const fs::path target = PathOf(name);
  CheckOutputPath(target);
  std::error_code code;
  const fs::path temp = TemporaryBeside(target);
  try {
    WriteComplete(temp, bytes);
    if (!MoveOver(temp, target)) Raise(err::PathFileAccess);
  } catch (...) {
    fs::remove(temp, code);
    throw;
  }
}

std::ofstream OpenNewFile(const std::string& name) {
  const fs::path path = PathOf(name);
  CheckOutputPath(path);
  std::ofstream out(path, std::ios::binary | std::ios::trunc);
  if (!out) Raise(err::PathFileAccess);
  return out;
}

}  // namespace tarnvik
