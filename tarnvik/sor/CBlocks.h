// The map's ordered list of block entries.
#pragma once

#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/sor/CBlock.h"

namespace tarnvik {

class CBlocks : public KeyedCollection<CBlock> {
 public:
  CBlocks() : KeyedCollection<CBlock>("CBlocks") {}
};

}  // namespace tarnvik
