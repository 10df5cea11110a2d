#include "tarnvik/foundation/ByteArray.h"

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

ByteArray ByteArray::FromBytes(const uint8_t* bytes, std::size_t n, int32_t lower) {
  if (n > static_cast<std::size_t>(INT32_MAX) ||
      static_cast<int64_t>(lower) + static_cast<int64_t>(n) - 1 > INT32_MAX) {
    Raise(err::Overflow);
  }
  ByteArray array;
  array.bytes_.assign(bytes, bytes + n);
  array.lower_ = lower;
  array.dimensioned_ = true;
  return array;
}

int32_t ByteArray::LBound() const {
  if (!dimensioned_) Raise(err::SubscriptOutOfRange);
  return lower_;
}

int32_t ByteArray::UBound() const {
  if (!dimensioned_) Raise(err::SubscriptOutOfRange);
  return static_cast<int32_t>(static_cast<int64_t>(lower_) + static_cast<int64_t>(bytes_.size()) - 1);
}

std::size_t ByteArray::Offset(int32_t index) const {
  const int64_t offset = static_cast<int64_t>(index) - lower_;
  if (offset < 0 || offset >= static_cast<int64_t>(bytes_.size())) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(offset);
}

uint8_t& ByteArray::operator[](int32_t index) { return bytes_[Offset(index)]; }

uint8_t ByteArray::operator[](int32_t index) const { return bytes_[Offset(index)]; }

void ByteArray::ReDim(int32_t lower, int32_t upper) {
  const int64_t count = static_cast<int64_t>(upper) - lower + 1;
  if (count < 0 || count > INT32_MAX) Raise(err::SubscriptOutOfRange);
  bytes_.assign(static_cast<std::size_t>(count), 0);
  lower_ = lower;
  dimensioned_ = true;
}

void ByteArray::ReDimPreserve(int32_t upper) {
  const int32_t lower = dimensioned_ ? lower_ : 0;
  const int64_t count = static_cast<int64_t>(upper) - lower + 1;
  if (count < 0 || count > INT32_MAX) Raise(err::SubscriptOutOfRange);
  bytes_.resize(static_cast<std::size_t>(count), 0);
  lower_ = lower;
  dimensioned_ = true;
}

void ByteArray::RaiseSubscript() { Raise(err::SubscriptOutOfRange); }

}  // namespace tarnvik
