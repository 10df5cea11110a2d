// Library-internal: reads the fields of one block in file order, numbers through the
// library's byte codec (ByteArrayToNumLSB, ByteArrayToUnsigned16Run). Every read is
// checked against the end of the bytes the block holds: the first field that does not
// fit makes the cursor short, every later read fails too, and MissingField() names that
// first field. Nothing is sized from a field's value, only from the bytes present.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik::inspect::detail {

class FieldCursor {
 public:
  FieldCursor(const uint8_t* bytes, std::size_t size) : bytes_(bytes), size_(size) {}

  bool Short() const { return !missing_.empty(); }
  const std::string& MissingField() const { return missing_; }
  std::size_t Position() const { return position_; }
  std::size_t Remaining() const { return size_ - position_; }

  // Names the item the next fields belong to in MissingField ("event 3: comment", or
  // "pulse width 2" for a field named ""); nullptr for none.
  void SetItem(const char* item, std::size_t number) {
    item_ = item;
    itemNumber_ = number;
  }

  // Little-endian numbers; false (and out untouched) once short.
  bool U16(const char* field, uint16_t& out);
  bool I16(const char* field, int16_t& out);
  bool U32(const char* field, uint32_t& out);
  bool I32(const char* field, int32_t& out);
  // width bytes as they are (a fixed-width text).
  bool Fixed(const char* field, std::size_t width, std::string& out);
  // Bytes up to a zero byte, which is consumed and not kept.
  bool Text(const char* field, std::string& out);
  // n bytes passed over.
  bool Skip(const char* field, std::size_t n);
  // Up to count unsigned 2-byte fields appended to out, as many as the bytes hold; the
  // cursor is short when that is fewer than count.
  void U16Run(const char* field, std::size_t count, std::vector<uint16_t>& out);

 private:
  bool Fits(const char* field, std::size_t n);
  void MarkMissing(const char* field);
  double Number(std::size_t width, bool isSigned);
  // The codec's positions are 16-bit: a block is decoded through a window of its bytes
  // (at most 16 KB), indexed from -32768, moved on when a field lies past it.
  int32_t WindowIndex(std::size_t width);

  const uint8_t* bytes_;
  std::size_t size_;
  std::size_t position_ = 0;
  std::string missing_;
  const char* item_ = nullptr;
  std::size_t itemNumber_ = 0;
  ByteArray window_;
  std::size_t windowStart_ = 0;
  std::size_t windowEnd_ = 0;
};

}  // namespace tarnvik::inspect::detail
