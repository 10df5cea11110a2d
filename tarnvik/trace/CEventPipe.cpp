#include "tarnvik/trace/CEventPipe.h"

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

void CEventPipe::Dirty(bool bIsDirty) {
  Guarded(kModule, "Dirty()", [&] { OnDirty.Raise(bIsDirty); });
}

void CEventPipe::DataChanged(const std::string& Property, Variant& vData) {
  Guarded(kModule, "DataChanged()", [&] { OnDataChanged.Raise(Property, vData); });
}

}  // namespace tarnvik
