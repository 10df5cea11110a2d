// The "DataPts" block: the trace samples, grouped by scale factor. Each scale-factor
// record holds its 16-bit factor and its samples, indexed from 1.
#pragma once

#include <cstdint>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

class CDataPointsBlock {
 public:
  CDataPointsBlock() = default;  // no records
  CDataPointsBlock(const CDataPointsBlock&) = delete;
  CDataPointsBlock& operator=(const CDataPointsBlock&) = delete;

  // Writing S > 0 replaces the records by S new ones (factor 1, no samples); writing 0
  // keeps the records as they are; a negative S cannot dimension the records and raises 9.
  int16_t NumberScaleFactorsUsed() const;
  void SetNumberScaleFactorsUsed(int16_t value);

  // Indexes are 1-based; an index outside the records or samples raises 9.
  int16_t ScaleFactor(int32_t nScaleIndex) const;
  void SetScaleFactor(int32_t nScaleIndex, int16_t value);
  // Writing n > 0 gives the record n zero samples (its old ones are discarded), 0 empties
  // it, a negative count cannot dimension the samples and raises 9.
  int32_t NumDataPointsForScaleFactor(int32_t nScaleIndex) const;
  void SetNumDataPointsForScaleFactor(int32_t nScaleIndex, int32_t value);
  // Any 32-bit value is kept; one outside -255..65535 makes Build() raise 6.
  int32_t DataPoints(int32_t nScaleIndex, int32_t lIndex) const;
  void SetDataPoints(int32_t nScaleIndex, int32_t lIndex, int32_t value);

  // Library-internal: a record's samples at once. DataPointArray is a copy of samples
  // 1..count (element 0 is sample 1); SetDataPointArray sets samples 1..values.size() as
  // SetDataPoints would one by one, and raises 9, changing nothing, when there are more
  // values than the record has samples.
  std::vector<int32_t> DataPointArray(int32_t nScaleIndex) const;
  void SetDataPointArray(int32_t nScaleIndex, const std::vector<int32_t>& values);

  // The sample count of all records together.
  int32_t TotalNumberofDataPoints() const;

  // Library-internal: the block body (indexed from 1) in and out. Parse replaces the
  // whole content and returns the largest sample read (0 when there is none); each count
  // is assigned as read, so a body that ends early leaves the counts it gave and the
  // samples read before the error. The total stored in the file is not checked; Build
  // writes the real one.
  int32_t Parse(ByteArray& body);
  ByteArray Build() const;

 private:
  static constexpr const char* kModule = "CDataPointsBlock";

  // A record's samples 1..count. Only those up to the last one written are stored and
  // the rest read as 0, so a count taken from a file costs memory only as its samples
  // are actually read.
  struct ScaleFactorRecord {
    int16_t scaleFactor = 1;
    int32_t count = 0;
    std::vector<int32_t> stored;

    // Sample i; 9 outside 1..count.
    int32_t Sample(int32_t i) const;
    int32_t& Sample(int32_t i);
  };

  // The record at a 1-based index; raises 9 outside the records. Records are held only
  // up to the last one written: a count of 32767 taken from a short file costs nothing
  // until its records are read, and the others read as new.
  const ScaleFactorRecord& Record(int32_t nScaleIndex) const;
  ScaleFactorRecord& Record(int32_t nScaleIndex);

  int32_t recordCount_ = 0;
  std::vector<ScaleFactorRecord> records_;
};

}  // namespace tarnvik
