// The ordered list of key events of a "KeyEvents" block, and of the "Orvik2" block's
// event copy. Add appends without a key; items are reached by 1-based position.
#pragma once

#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/sor/CKeyEvent.h"

namespace tarnvik {

class CKeyEvents : public KeyedCollection<CKeyEvent> {
 public:
  CKeyEvents();
};

}  // namespace tarnvik
