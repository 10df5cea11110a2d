// CKTR915FAT: one copy of the handheld instrument's file table: whether its memory is
// formatted, how many trace files it holds, each file's pointer (the handle the
// instrument takes back to read that file's name or trace) and, once the session has read
// them, the file names. Library-internal; filled by CKTR915 from the table's flash read.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CKTR915FAT {
 public:
  CKTR915FAT() = default;
  CKTR915FAT(const CKTR915FAT&) = delete;
  CKTR915FAT& operator=(const CKTR915FAT&) = delete;

  // 1290 when the instrument's memory is formatted.
  int32_t Guard() const { return guard_; }
  void SetGuard(int32_t value) { guard_ = value; }

  // Reading gives the upper bound of the file lists (9 before the count was ever written).
  // Writing n sizes both lists: 0 leaves one placeholder element at index 0; otherwise
  // they become 1..n, keeping their entries when they already held files.
  int32_t FileCount() const;
  void SetFileCount(int32_t value);

  // Kept as received; the library does not interpret it.
  int32_t RefreshCount() const { return refreshCount_; }
  void SetRefreshCount(int32_t value) { refreshCount_ = value; }

  // Indexed 1..FileCount; any other index raises 9.
  int32_t FilePointers(int32_t Index) const;
  void SetFilePointers(int32_t Index, int32_t value);
  std::string FileNames(int32_t Index) const;
  void SetFileNames(int32_t Index, const std::string& value);

  // Fills the table from the bytes of its flash read (indexed from 1): guard, file count,
  // refresh count, then one pointer per file, every word least significant byte first.
  // A guard other than nGuard raises 11004 before anything else is read; too few bytes
  // for the announced count raise 9.
  void LoadFromArray(ByteArray& baData, int32_t nGuard);

 private:
  static constexpr const char* kModule = "CKTR915FAT";
  std::size_t Slot(int32_t index) const;

  int32_t guard_ = 0;
  int32_t refreshCount_ = 0;
  // The two lists share their bounds: lower_..lower_ + size - 1.
  bool dimensioned_ = false;
  int32_t lower_ = 0;
  std::vector<int32_t> pointers_;
  std::vector<std::string> names_;
};

}  // namespace tarnvik
