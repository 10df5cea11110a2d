#include "tarnvik/instrument/CKTRCommand.h"

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

std::size_t CKTRCommand::Slot(int16_t index) const {
  if (index < 1 || index > ParamsCount()) Raise(err::SubscriptOutOfRange);
  return static_cast<std::size_t>(index - 1);
}

void CKTRCommand::SetParamsCount(int16_t value) {
  Guarded(kModule, "Let ParamsCount()", [&] {
    if (value < 0) Raise(err::SubscriptOutOfRange);
    params_.resize(static_cast<std::size_t>(value));
  });
}

std::string CKTRCommand::Params(int16_t Index) const {
  return Guarded(kModule, "Get Params()", [&] { return params_[Slot(Index)]; });
}

void CKTRCommand::SetParams(int16_t Index, const std::string& value) {
  Guarded(kModule, "Let Params()", [&] { params_[Slot(Index)] = value; });
}

}  // namespace tarnvik
