// A collection of traces, optionally by key.
#pragma once

#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

class CTraces : public KeyedCollection<CTrace> {
 public:
  CTraces() : KeyedCollection<CTrace>("CTraces") {}
};

}  // namespace tarnvik
