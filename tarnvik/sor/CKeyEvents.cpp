#include "tarnvik/sor/CKeyEvents.h"

namespace tarnvik {

CKeyEvents::CKeyEvents() : KeyedCollection<CKeyEvent>("CKeyEvents") {}

}  // namespace tarnvik
