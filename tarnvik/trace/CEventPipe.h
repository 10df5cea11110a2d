// A relay through which objects report changes: a caller raises Dirty or DataChanged on
// the pipe and the pipe passes them on to whoever listens. Events share their
// collection's pipe, so an edit of one event reaches the collection (and the trace).
#pragma once

#include <string>

#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/Variant.h"

namespace tarnvik {

class CEventPipe {
 public:
  CEventPipe() = default;
  CEventPipe(const CEventPipe&) = delete;
  CEventPipe& operator=(const CEventPipe&) = delete;

  // Raises OnDirty(bIsDirty), false included.
  void Dirty(bool bIsDirty);
  // Raises OnDataChanged with the same values; handlers may change vData. The library
  // itself never calls it.
  void DataChanged(const std::string& Property, Variant& vData);

  Event<bool> OnDirty;
  Event<const std::string&, Variant&> OnDataChanged;

 private:
  static constexpr const char* kModule = "CEventPipe";
};

}  // namespace tarnvik
