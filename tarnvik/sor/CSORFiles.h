// A collection in which a caller keeps loaded SOR files, optionally by key.
#pragma once

#include <memory>
#include <string>

#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/sor/CSORFile.h"

namespace tarnvik {

class CSORFiles : public KeyedCollection<CSORFile> {
 public:
  CSORFiles() : KeyedCollection<CSORFile>("CSORFiles") {}

  // Appends the file, with sKey when it is not empty, and returns it.
  std::shared_ptr<CSORFile> Add(std::shared_ptr<CSORFile> oSORFile, const std::string& sKey = {}) {
    KeyedCollection<CSORFile>::Add(oSORFile, sKey);
    return oSORFile;
  }
};

}  // namespace tarnvik
