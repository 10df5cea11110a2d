// A dynamic array indexed from 1, as the library's sample, level and cursor arrays are.
// An index outside 1..Count() raises 9, as does a negative size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

template <class T>
class IndexedArray {
 public:
  int32_t Count() const { return static_cast<int32_t>(values_.size()); }

  T& operator[](int32_t index) { return values_[Offset(index)]; }
  const T& operator[](int32_t index) const { return values_[Offset(index)]; }

  // Keeps the values that still fit; new ones are T{}.
  void Resize(int32_t count) {
    if (count < 0) Raise(err::SubscriptOutOfRange);
    values_.resize(static_cast<std::size_t>(count), T{});
  }
  // count fresh T{} values; the old ones and their memory are given up.
  void Reset(int32_t count) {
    if (count < 0) Raise(err::SubscriptOutOfRange);
    std::vector<T>(static_cast<std::size_t>(count), T{}).swap(values_);
  }

  typename std::vector<T>::iterator begin() { return values_.begin(); }
  typename std::vector<T>::iterator end() { return values_.end(); }
  typename std::vector<T>::const_iterator begin() const { return values_.begin(); }
  typename std::vector<T>::const_iterator end() const { return values_.end(); }

 private:
  std::size_t Offset(int32_t index) const {
    if (index < 1 || index > Count()) Raise(err::SubscriptOutOfRange);
    return static_cast<std::size_t>(index - 1);
  }

  std::vector<T> values_;
};

}  // namespace tarnvik
