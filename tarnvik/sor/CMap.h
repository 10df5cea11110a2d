// The map block of a SOR file: its revision, size and the list of block entries.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnvik/sor/CBlocks.h"

namespace tarnvik {

class CMap {
 public:
  CMap() : mapBlocks_(std::make_shared<CBlocks>()) {}
  CMap(const CMap&) = delete;
  CMap& operator=(const CMap&) = delete;

  // Kept for clients; never read from or written to a file.
  const std::string& MapID() const { return mapID_; }
  void SetMapID(const std::string& value) { mapID_ = value; }
  int32_t MapRevision() const { return mapRevision_; }
  void SetMapRevision(int32_t value) { mapRevision_ = value; }
  int32_t MapSize() const { return mapSize_; }
  void SetMapSize(int32_t value) { mapSize_ = value; }
  std::shared_ptr<CBlocks> MapBlocks() const { return mapBlocks_; }

 private:
  std::string mapID_;
  int32_t mapRevision_ = 100;
  int32_t mapSize_ = 0;
  std::shared_ptr<CBlocks> mapBlocks_;
};

}  // namespace tarnvik
