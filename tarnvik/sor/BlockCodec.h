// Field-by-field reading and writing of a block body, shared by the map and every block
// class. A reader walks the body from a start position; a writer fills a body of known
// size. Both frame the work with the library's size checks:
//   reading:  an index past the body becomes 10512 "Attempted to parse <name> Block past
//             block size." and a body not consumed exactly becomes 10512 "Not all data in
//             the <name> Block was parsed.", each followed by CR LF "Block Size: " size
//             ", Parsed: " consumed ".";
//   writing:  a body not filled exactly becomes 10512 "Not all data for <name> Block was
//             inserted. Block Size: " size ", inserted: " written.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

class BlockReader {
 public:
  BlockReader(ByteArray& body, int32_t start) : body_(body), position_(start) {}

  double Signed(int32_t width);
  double Unsigned(int32_t width);
  // At most width bytes, stopping early at a zero byte; always advances by width.
  std::string FixedText(int32_t width);
  // Up to the first zero byte; advances past the text and its zero byte.
  std::string Text();
  // count unsigned 2-byte fields appended to values, as count calls of Unsigned(2)
  // would read them: a field that cannot be read raises as Unsigned(2) does, with the
  // fields before it appended and the position at its start.
  void UnsignedRun(int32_t count, std::vector<int32_t>& values);

  int32_t Position() const { return position_; }

 private:
  ByteArray& body_;
  int32_t position_;
};

class BlockWriter {
 public:
  explicit BlockWriter(int32_t size) : body_(1, size) {}

  void Signed(double value, int32_t width);
  void Unsigned(double value, int32_t width);
  // The characters without a terminator.
  void FixedText(const std::string& text);
  // The characters and one zero byte.
  void Text(const std::string& text);
  // count unsigned 2-byte fields, as count calls of Unsigned(value, 2) would write them.
  void UnsignedRun(const int32_t* values, int32_t count);

  int32_t Position() const { return position_; }
  ByteArray& Body() { return body_; }

 private:
  ByteArray body_;
  int32_t position_ = 1;
};

namespace detail {
[[noreturn]] void RaiseParsedPast(const std::string& blockName, int32_t size, int32_t position);
void CheckParsed(const std::string& blockName, int32_t size, int32_t position);
void CheckInserted(const std::string& blockName, int32_t size, int32_t position);
}  // namespace detail

// Reads a block body whose fields run from `start` to `size` with read(BlockReader&),
// then checks that it ended at size + 1. (The map reads its entries with a BlockReader
// too, but passes the codec's 9 on: only the block parsers turn it into 10512.)
template <class Read>
void ParseBody(const std::string& blockName, ByteArray& body, int32_t size, int32_t start, Read&& read) {
  BlockReader reader(body, start);
  try {
    read(reader);
  } catch (const Error& e) {
    if (e.Number() != err::SubscriptOutOfRange) throw;
    detail::RaiseParsedPast(blockName, size, reader.Position());
  }
  detail::CheckParsed(blockName, size, reader.Position());
}

// Builds a body of `size` bytes, indexed from 1, with write(BlockWriter&).
template <class Write>
ByteArray BuildBody(const std::string& blockName, int32_t size, Write&& write) {
  BlockWriter writer(size);
  write(writer);
  detail::CheckInserted(blockName, size, writer.Position());
  return std::move(writer.Body());
}

}  // namespace tarnvik
