#include "tarnvik/sor/CDataPointsBlock.h"

#include <algorithm>
#include <string>
#include <utility>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"

namespace tarnvik {

namespace {
constexpr const char* kBlockName = "Data Points";
// The stored total and the record count ahead of the records.
constexpr int64_t kHeaderSize = 6;
// A record's sample count and factor ahead of its samples.
constexpr int64_t kRecordHeaderSize = 6;
}  // namespace

int32_t CDataPointsBlock::ScaleFactorRecord::Sample(int32_t i) const {
  if (i < 1 || i > count) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(i) <= stored.size() ? stored[static_cast<std::size_t>(i) - 1] : 0;
}

int32_t& CDataPointsBlock::ScaleFactorRecord::Sample(int32_t i) {
  if (i < 1 || i > count) Raise(err::SubscriptOutOfRange);
  if (static_cast<std::size_t>(i) > stored.size()) stored.resize(static_cast<std::size_t>(i), 0);
  return stored[static_cast<std::size_t>(i) - 1];
}

const CDataPointsBlock::ScaleFactorRecord& CDataPointsBlock::Record(int32_t nScaleIndex) const {
  static const ScaleFactorRecord untouched;
  if (nScaleIndex < 1 || nScaleIndex > recordCount_) Raise(err::SubscriptOutOfRange);
  const auto i = static_cast<std::size_t>(nScaleIndex) - 1;
  return i < records_.size() ? records_[i] : untouched;
}

CDataPointsBlock::ScaleFactorRecord& CDataPointsBlock::Record(int32_t nScaleIndex) {
  (void)std::as_const(*this).Record(nScaleIndex);
  if (static_cast<std::size_t>(nScaleIndex) > records_.size()) records_.resize(static_cast<std::size_t>(nScaleIndex));
  return records_[static_cast<std::size_t>(nScaleIndex) - 1];
}

int16_t CDataPointsBlock::NumberScaleFactorsUsed() const {
  // Records are only ever created from a 16-bit count, so this always fits.
  return CheckInt16(recordCount_);
}

void CDataPointsBlock::SetNumberScaleFactorsUsed(int16_t value) {
  Guarded(kModule, "Let NumberScaleFactorsUsed()", [&] {
    if (value < 0) Raise(err::SubscriptOutOfRange);
    if (value > 0) {
      records_.clear();
      recordCount_ = value;
    }
  });
}

int16_t CDataPointsBlock::ScaleFactor(int32_t nScaleIndex) const {
  return Guarded(kModule, "Get ScaleFactor()", [&] { return Record(nScaleIndex).scaleFactor; });
}

void CDataPointsBlock::SetScaleFactor(int32_t nScaleIndex, int16_t value) {
  Guarded(kModule, "Let ScaleFactor()", [&] { Record(nScaleIndex).scaleFactor = value; });
}

int32_t CDataPointsBlock::NumDataPointsForScaleFactor(int32_t nScaleIndex) const {
  return Guarded(kModule, "Get NumDataPointsForScaleFactor()", [&] {
    return Record(nScaleIndex).count;
  });
}

void CDataPointsBlock::SetNumDataPointsForScaleFactor(int32_t nScaleIndex, int32_t value) {
  Guarded(kModule, "Let NumDataPointsForScaleFactor()", [&] {
    ScaleFactorRecord& record = Record(nScaleIndex);
    if (value < 0) Raise(err::SubscriptOutOfRange);
    record.count = value;
    std::vector<int32_t>().swap(record.stored);
  });
}

int32_t CDataPointsBlock::DataPoints(int32_t nScaleIndex, int32_t lIndex) const {
  return Guarded(kModule, "Get DataPoints()", [&] {
    return std::as_const(Record(nScaleIndex)).Sample(lIndex);
  });
}

void CDataPointsBlock::SetDataPoints(int32_t nScaleIndex, int32_t lIndex, int32_t value) {
  Guarded(kModule, "Let DataPoints()", [&] {
    Record(nScaleIndex).Sample(lIndex) = value;
  });
}

std::vector<int32_t> CDataPointsBlock::DataPointArray(int32_t nScaleIndex) const {
  return Guarded(kModule, "Get DataPointArray()", [&] {
    const ScaleFactorRecord& record = Record(nScaleIndex);
    std::vector<int32_t> values(static_cast<std::size_t>(record.count), 0);
    std::copy(record.stored.begin(), record.stored.end(), values.begin());
    return values;
  });
}

void CDataPointsBlock::SetDataPointArray(int32_t nScaleIndex, const std::vector<int32_t>& values) {
  Guarded(kModule, "Let DataPointArray()", [&] {
    ScaleFactorRecord& record = Record(nScaleIndex);
    if (values.size() > static_cast<std::size_t>(record.count)) Raise(err::SubscriptOutOfRange);
    if (record.stored.size() < values.size()) record.stored.resize(values.size());
    std::copy(values.begin(), values.end(), record.stored.begin());
  });
}

int32_t CDataPointsBlock::TotalNumberofDataPoints() const {
  return Guarded(kModule, "Get TotalNumberofDataPoints()", [&] {
    int64_t total = 0;
    for (const ScaleFactorRecord& record : records_) total += record.count;
    return ToInt32(static_cast<double>(total));
  });
}

namespace {

// The largest sample, at least 0. Sixteen independent running maxima let the vectorized
// loop overlap its comparisons instead of waiting on one chain.
int32_t Largest(const std::vector<int32_t>& samples) {
  constexpr std::size_t kLanes = 16;
  int32_t lanes[kLanes] = {};
  const std::size_t n = samples.size();
  std::size_t k = 0;
  for (; k + kLanes <= n; k += kLanes) {
    for (std::size_t j = 0; j < kLanes; ++j) lanes[j] = std::max(lanes[j], samples[k + j]);
  }
  for (; k < n; ++k) lanes[0] = std::max(lanes[0], samples[k]);
  return *std::max_element(lanes, lanes + kLanes);
}

}  // namespace

int32_t CDataPointsBlock::Parse(ByteArray& body) {
  records_.clear();
  recordCount_ = 0;
  int32_t maximum = 0;
  const int32_t size = body.Count();
  ParseBody(kBlockName, body, size, 1, [&](BlockReader& r) {
    r.Signed(4);  // the stored total: the property is computed from the records
    SetNumberScaleFactorsUsed(ToInt16(r.Signed(2)));
    const int32_t scaleFactors = NumberScaleFactorsUsed();  // 0 when the file holds none
    for (int32_t i = 1; i <= scaleFactors; ++i) {
      SetNumDataPointsForScaleFactor(i, ToInt32(r.Signed(4)));
      SetScaleFactor(i, ToInt16(r.Signed(2)));
      // The samples are stored as they are read: a count larger than the body holds
      // ends at the first sample missing, having set aside only what the body holds.
      ScaleFactorRecord& record = Record(i);
      r.UnsignedRun(record.count, record.stored);
      maximum = std::max(maximum, Largest(record.stored));
    }
  });
  return maximum;
}

ByteArray CDataPointsBlock::Build() const {
  int64_t size = kHeaderSize + static_cast<int64_t>(kRecordHeaderSize) * recordCount_;
  for (const ScaleFactorRecord& record : records_) size += 2 * static_cast<int64_t>(record.count);
  // Positions in a body are 16-bit: a larger body could never be written completely, so
  // fail with the codec's overflow before setting aside room for it.
  const int16_t bodySize = CheckInt16(size);
  const int32_t total = TotalNumberofDataPoints();
  return BuildBody(kBlockName, bodySize, [&](BlockWriter& w) {
    w.Signed(total, 4);
    w.Signed(NumberScaleFactorsUsed(), 2);
    for (int32_t i = 1; i <= recordCount_; ++i) {
      const ScaleFactorRecord& record = Record(i);
      w.Signed(record.count, 4);
      w.Signed(record.scaleFactor, 2);
      // Samples past the last one stored read as 0.
      w.UnsignedRun(record.stored.data(), static_cast<int32_t>(record.stored.size()));
      if (const auto unset = record.count - static_cast<int32_t>(record.stored.size()); unset > 0) {
        const std::vector<int32_t> zeros(static_cast<std::size_t>(unset), 0);
        w.UnsignedRun(zeros.data(), unset);
      }
    }
  });
}

}  // namespace tarnvik
