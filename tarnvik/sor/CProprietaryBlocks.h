// The unknown blocks of a SOR file, in the order they were loaded.
#pragma once

#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/sor/CProprietaryBlock.h"

namespace tarnvik {

class CProprietaryBlocks : public KeyedCollection<CProprietaryBlock> {
 public:
  CProprietaryBlocks() : KeyedCollection<CProprietaryBlock>("CProprietaryBlocks") {}
};

}  // namespace tarnvik
