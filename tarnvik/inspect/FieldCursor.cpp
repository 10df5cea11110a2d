#include "tarnvik/inspect/FieldCursor.h"

#include <algorithm>
#include <cstring>

#include "tarnvik/foundation/modByteArrays.h"

namespace tarnvik::inspect::detail {

namespace {
constexpr int32_t kWindowLower = INT16_MIN;
// At most 16 KB: a small window is copied into storage the cursor keeps, where a window
// of the codec's whole 64 KB range would churn the heap's top on every large block.
constexpr std::size_t kWindowBytes = 16384;
}  // namespace

bool FieldCursor::Fits(const char* field, std::size_t n) {
  if (!missing_.empty()) return false;
  if (n <= size_ - position_) return true;
  MarkMissing(field);
  return false;
}

void FieldCursor::MarkMissing(const char* field) {
  if (item_ != nullptr) {
    missing_.append(item_).append(" ").append(std::to_string(itemNumber_));
    if (*field != 0) missing_.append(": ");
  }
  missing_.append(field);
}

int32_t FieldCursor::WindowIndex(std::size_t width) {
  if (position_ < windowStart_ || position_ + width > windowEnd_) {
    const std::size_t n = std::min(kWindowBytes, size_ - position_);
    window_.ReDim(kWindowLower, kWindowLower + static_cast<int32_t>(n) - 1);  // keeps its storage
    std::memcpy(window_.data(), bytes_ + position_, n);
    windowStart_ = position_;
    windowEnd_ = position_ + n;
  }
  return kWindowLower + static_cast<int32_t>(position_ - windowStart_);
}

double FieldCursor::Number(std::size_t width, bool isSigned) {
  const auto w = static_cast<int32_t>(width);
  const double value = ByteArrayToNumLSB(window_, WindowIndex(width), w, isSigned);
  position_ += width;
  return value;
}

bool FieldCursor::U16(const char* field, uint16_t& out) {
  if (!Fits(field, 2)) return false;
  out = static_cast<uint16_t>(Number(2, false));
  return true;
}

bool FieldCursor::I16(const char* field, int16_t& out) {
  if (!Fits(field, 2)) return false;
  out = static_cast<int16_t>(Number(2, true));
  return true;
}

bool FieldCursor::U32(const char* field, uint32_t& out) {
  if (!Fits(field, 4)) return false;
  out = static_cast<uint32_t>(Number(4, false));
  return true;
}

bool FieldCursor::I32(const char* field, int32_t& out) {
  if (!Fits(field, 4)) return false;
  out = static_cast<int32_t>(Number(4, true));
  return true;
}

bool FieldCursor::Fixed(const char* field, std::size_t width, std::string& out) {
  if (!Fits(field, width)) return false;
  out.assign(reinterpret_cast<const char*>(bytes_ + position_), width);
  position_ += width;
  return true;
}

bool FieldCursor::Text(const char* field, std::string& out) {
  if (!missing_.empty()) return false;
  const void* zero = std::memchr(bytes_ + position_, 0, size_ - position_);
  if (zero == nullptr) {  // the terminator is missing
    MarkMissing(field);
    return false;
  }
  const auto n = static_cast<std::size_t>(static_cast<const uint8_t*>(zero) - (bytes_ + position_));
  out.assign(reinterpret_cast<const char*>(bytes_ + position_), n);
  position_ += n + 1;
  return true;
}

bool FieldCursor::Skip(const char* field, std::size_t n) {
  if (!Fits(field, n)) return false;
  position_ += n;
  return true;
}

void FieldCursor::U16Run(const char* field, std::size_t count, std::vector<uint16_t>& out) {
  if (!missing_.empty()) return;
  // The codec decodes into 32-bit integers: a chunk at a time on the stack, then narrowed
  // (every value fits: two bytes).
  constexpr std::size_t kChunk = 4096;
  int32_t chunk[kChunk];
  const std::size_t fit = std::min(count, Remaining() / 2);
  const std::size_t at = out.size();
  out.resize(at + fit);
  std::size_t done = 0;
  while (done < fit) {
    const int32_t start = WindowIndex(2);
    const std::size_t n = std::min({fit - done, (windowEnd_ - position_) / 2, kChunk});
    const auto got = static_cast<std::size_t>(ByteArrayToUnsigned16Run(window_, start, static_cast<int32_t>(n), chunk));
    std::transform(chunk, chunk + got, out.begin() + static_cast<std::ptrdiff_t>(at + done),
                   [](int32_t value) { return static_cast<uint16_t>(value); });
    position_ += 2 * got;
    done += got;
    if (got == 0) break;  // not reached: the window holds the field at its start
  }
  out.resize(at + done);
  if (done < count) MarkMissing(field);
}

}  // namespace tarnvik::inspect::detail
