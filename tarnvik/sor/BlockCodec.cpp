#include "tarnvik/sor/BlockCodec.h"

#include <algorithm>

#include "tarnvik/sor/SorText.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modMain.h"

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

void BlockReader::UnsignedRun(int32_t count, std::vector<int32_t>& values) {
  // The fast run takes what the body holds; any field left over goes through the
  // single-field decoder, which raises for the first one.
  const std::size_t at = values.size();
  const int64_t room = body_.IsDimensioned() ? (static_cast<int64_t>(body_.UBound()) - position_ + 1) / 2 : 0;
  const auto fit = static_cast<int32_t>(std::clamp<int64_t>(room, 0, std::max(count, 0)));
  values.resize(at + static_cast<std::size_t>(fit));
  const int32_t done = ByteArrayToUnsigned16Run(body_, position_, fit, values.data() + at);
  values.resize(at + static_cast<std::size_t>(done));
  position_ += 2 * done;
  for (int32_t k = done; k < count; ++k) values.push_back(ToInt32(Unsigned(2)));
}

void BlockWriter::Signed(double value, int32_t width) {
  position_ = NumToByteArrayLSB2(value, width, body_, position_, true);
}

void BlockWriter::Unsigned(double value, int32_t width) {
  position_ = NumToByteArrayLSB2(value, width, body_, position_, false);
}

void BlockWriter::FixedText(const std::string& text) { position_ = StringToByteArray(text, body_, position_, false); }

void BlockWriter::Text(const std::string& text) { position_ = StringToByteArray(text, body_, position_, true); }

void BlockWriter::UnsignedRun(const int32_t* values, int32_t count) {
  // The single-field encoder writes, or raises for, each value the fast run leaves.
  for (int32_t k = 0; k < count;) {
    const int32_t done = Unsigned16RunToByteArray(values + k, count - k, body_, position_);
    position_ += 2 * done;
    k += done;
    if (k < count) Unsigned(values[k++], 2);
  }
}

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
