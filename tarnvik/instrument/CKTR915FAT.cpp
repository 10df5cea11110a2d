#include "tarnvik/instrument/CKTR915FAT.h"

#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"

namespace tarnvik {

namespace {
constexpr int32_t kNotFormatted = 11004;
}  // namespace

std::size_t CKTR915FAT::Slot(int32_t index) const {
  if (!dimensioned_) Raise(err::SubscriptOutOfRange);
  const int64_t offset = static_cast<int64_t>(index) - lower_;
  if (offset < 0 || offset >= static_cast<int64_t>(pointers_.size())) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(offset);
}

int32_t CKTR915FAT::FileCount() const {
  return Guarded(kModule, "Get FileCount()", [&] {
    if (!dimensioned_) Raise(err::SubscriptOutOfRange);
    return CheckInt32(static_cast<int64_t>(lower_) + static_cast<int64_t>(pointers_.size()) - 1);
  });
}

void CKTR915FAT::SetFileCount(int32_t value) {
  Guarded(kModule, "Let FileCount()", [&] {
    if (value < 0) Raise(err::SubscriptOutOfRange);
    const std::size_t count = static_cast<std::size_t>(value);
    if (value == 0) {
      // One placeholder element at index 0, so that FileCount reads 0.
      pointers_.assign(1, 0);
      names_.assign(1, std::string());
      lower_ = 0;
    } else if (!dimensioned_ || lower_ + static_cast<int64_t>(pointers_.size()) - 1 < 1) {
      pointers_.assign(count, 0);
      names_.assign(count, std::string());
      lower_ = 1;
    } else {
      // Names already read stay with their files when a shorter or longer table arrives.
      pointers_.resize(count, 0);
      names_.resize(count);
    }
    dimensioned_ = true;
  });
}

int32_t CKTR915FAT::FilePointers(int32_t Index) const {
  return Guarded(kModule, "Get FilePointers()", [&] { return pointers_[Slot(Index)]; });
}

void CKTR915FAT::SetFilePointers(int32_t Index, int32_t value) {
  Guarded(kModule, "Let FilePointers()", [&] { pointers_[Slot(Index)] = value; });
}

std::string CKTR915FAT::FileNames(int32_t Index) const {
  return Guarded(kModule, "Get FileNames()", [&] { return names_[Slot(Index)]; });
}

void CKTR915FAT::SetFileNames(int32_t Index, const std::string& value) {
  Guarded(kModule, "Let FileNames()", [&] { names_[Slot(Index)] = value; });
}

void CKTR915FAT::LoadFromArray(ByteArray& baData, int32_t nGuard) {
  bool formatted = true;
  Guarded(kModule, "LoadFromArray()", [&] {
    SetGuard(ToInt32(ByteArrayToNumLSB(baData, 1, 2, false)));
    if (Guard() != nGuard) {
      formatted = false;
      return;
    }
    const int32_t announced = ToInt32(ByteArrayToNumLSB(baData, 3, 2, false));
    // Too few bytes for the announced pointers fail (9) before the lists are sized.
    if (announced > 0) (void)baData.Span(7, 2 * announced);
    SetFileCount(announced);
    SetRefreshCount(ToInt32(ByteArrayToNumLSB(baData, 5, 2, false)));
    const int32_t count = FileCount();
    for (int32_t i = 1; i <= count; ++i) {
      SetFilePointers(i, ToInt32(ByteArrayToNumLSB(baData, (i - 1) * 2 + 7, 2, false)));
    }
  });
  // An unformatted memory goes straight to the caller, without a log line of its own.
  if (!formatted) RaiseFrom(kModule, "LoadFromArray()", kNotFormatted, "KTR Memory is not formatted");
}

}  // namespace tarnvik
