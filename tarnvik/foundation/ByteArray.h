// A byte array that carries its lower bound, as block bodies (indexed from 1) and
// instrument buffers need. Every index is checked: an index outside the bounds raises
// error 9, as does asking a never-dimensioned array for its bounds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace tarnvik {

class ByteArray {
 public:
  ByteArray() = default;  // empty and never dimensioned
  ByteArray(int32_t lower, int32_t upper) { ReDim(lower, upper); }

  // A dimensioned copy of n raw bytes, the first one at index lower.
  static ByteArray FromBytes(const uint8_t* bytes, std::size_t n, int32_t lower = 1);

  bool IsDimensioned() const noexcept { return dimensioned_; }
  int32_t LBound() const;
  int32_t UBound() const;
  // Number of elements; 0 for a never-dimensioned array.
  int32_t Count() const noexcept { return static_cast<int32_t>(bytes_.size()); }

  uint8_t& operator[](int32_t index);
  uint8_t operator[](int32_t index) const;

  // Re-dimensions to lower..upper with every byte 0. upper = lower - 1 gives a
  // dimensioned array with no elements; anything below that raises error 9.
  void ReDim(int32_t lower, int32_t upper);
  // Keeps the lower bound and the bytes that still fit; new bytes are 0.
  void ReDimPreserve(int32_t upper);

  // The raw storage, for bulk reads and writes (element LBound() is data()[0]).
  uint8_t* data() noexcept { return bytes_.data(); }
  const uint8_t* data() const noexcept { return bytes_.data(); }
  std::size_t size() const noexcept { return bytes_.size(); }

  // Checks that lower..lower+count-1 lies inside the array (error 9 otherwise) and
  // returns a pointer to its first byte.
  uint8_t* Span(int32_t lower, int32_t count) {
    return const_cast<uint8_t*>(static_cast<const ByteArray*>(this)->Span(lower, count));
  }
  const uint8_t* Span(int32_t lower, int32_t count) const {
    const int64_t first = static_cast<int64_t>(lower) - lower_;
    if (count < 0 || first < 0 || first + count > static_cast<int64_t>(bytes_.size())) RaiseSubscript();
    return bytes_.data() + first;
  }

  friend bool operator==(const ByteArray& a, const ByteArray& b) {
    return a.dimensioned_ == b.dimensioned_ && a.lower_ == b.lower_ && a.bytes_ == b.bytes_;
  }

 private:
  std::size_t Offset(int32_t index) const;
  [[noreturn]] static void RaiseSubscript();  // error 9

  std::vector<uint8_t> bytes_;
  int32_t lower_ = 0;
  bool dimensioned_ = false;
};

}  // namespace tarnvik
