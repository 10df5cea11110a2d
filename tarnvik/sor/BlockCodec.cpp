#include "tarnvik/sor/BlockCodec.h"

#include "tarnvik/sor/SorText.h"
#include "tarnvik/foundation/modByteArrays.h"

namespace tarnvik {

namespace {
std::string SizeTail(int32_t size, int32_t consumed) {
  return "\r\nBlock Size: " + std::to_string(size) + ", Parsed: " + std::to_string(consumed) + ".";
}
}  // namespace

double BlockReader::Signed(int32_t width) {
  const double value = ByteArrayToNumLSB(body_, position_, width, true);
  position_ += width;
  return value;
}

double BlockReader::Unsigned(int32_t width) {
  const double value = ByteArrayToNumLSB(body_, position_, width, false);
  position_ += width;
  return value;
}

std::string BlockReader::FixedText(int32_t width) {
  std::string text = ByteArrayToString(body_, position_, width);
  position_ += width;
  return text;
}

std::string BlockReader::Text() {
  std::string text = ByteArrayToString(body_, position_);
  position_ += TextFieldSize(text);
  return text;
}

void BlockWriter::Signed(double value, int32_t width) {
  position_ = NumToByteArrayLSB2(value, width, body_, position_, true);
}

void BlockWriter::Unsigned(double value, int32_t width) {
  position_ = NumToByteArrayLSB2(value, width, body_, position_, false);
}

void BlockWriter::FixedText(const std::string& text) { position_ = StringToByteArray(text, body_, position_, false); }

void BlockWriter::Text(const std::string& text) { position_ = StringToByteArray(text, body_, position_, true); }

namespace detail {

void RaiseParsedPast(const std::string& blockName, int32_t size, int32_t position) {
  Raise(ERR_BadParse,
        "Attempted to parse " + blockName + " Block past block size." + SizeTail(size, position - 1));
}

void CheckParsed(const std::string& blockName, int32_t size, int32_t position) {
  if (position != size + 1) {
    Raise(ERR_BadParse, "Not all data in the " + blockName + " Block was parsed." + SizeTail(size, position - 1));
  }
}

void CheckInserted(const std::string& blockName, int32_t size, int32_t position) {
  if (position != size + 1) {
    Raise(ERR_BadParse, "Not all data for " + blockName + " Block was inserted. Block Size: " +
                            std::to_string(size) + ", inserted: " + std::to_string(position - 1));
  }
}

}  // namespace detail

}  // namespace tarnvik
