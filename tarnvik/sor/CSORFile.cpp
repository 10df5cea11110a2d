#include "tarnvik/sor/CSORFile.h"

#include <utility>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/BlockCodec.h"
#include "tarnvik/sor/CCRC.h"

namespace tarnvik {

namespace {

// Revisions written for the blocks the library builds.
constexpr int32_t kMapRevision = 100;
constexpr int32_t kGenParamsRevision = 110;
constexpr int32_t kSupParamsRevision = 100;
constexpr int32_t kFxdParamsRevision = 110;
constexpr int32_t kDataPtsRevision = 100;
constexpr int32_t kKeyEventsRevision = 110;
constexpr int32_t kOrvikRevision = 100;
constexpr int32_t kCksumRevision = 100;

// Walks a file image front to back; asking for more bytes than remain raises 62 with
// what was being read and how much was missing.
class ImageCursor {
 public:
  explicit ImageCursor(const std::vector<uint8_t>& image) : image_(image) {}

  const uint8_t* Take(int64_t n, const std::string& what) {
    const auto remaining = static_cast<int64_t>(image_.size() - offset_);
    if (n > remaining) {
      Raise(err::InputPastEndOfFile, "Input past end of file while reading " + what + ": " + std::to_string(n) +
                                         " bytes expected, " + std::to_string(remaining) + " found.");
    }
    const uint8_t* at = image_.data() + offset_;
    offset_ += static_cast<std::size_t>(n);
    return at;
  }

 private:
  const std::vector<uint8_t>& image_;
  std::size_t offset_ = 0;
};

std::string BlockWhat(const std::string& id) { return "block \"" + id + "\""; }

}  // namespace

CSORFile::CSORFile()
    : map_(std::make_shared<CMap>()),
      genParams_(std::make_shared<CGeneralParameterBlock>()),
      supParams_(std::make_shared<CSuppliersBlock>()),
      fixedParams_(std::make_shared<CFixedParametersBlock>()),
      dataPoints_(std::make_shared<CDataPointsBlock>()),
      proprietary_(std::make_shared<CProprietaryBlocks>()) {}

void CSORFile::AddKeyEventsBlock() {
  Guarded(kModule, "AddKeyEventsBlock()", [&] { keyEvents_ = std::make_shared<CKeyEventsBlock>(); });
}

void CSORFile::AddDataPointsBlock() {
  Guarded(kModule, "AddDataPointsBlock()", [&] { dataPoints_ = std::make_shared<CDataPointsBlock>(); });
}

void CSORFile::AddOrvikBlock() {
  Guarded(kModule, "AddOrvikBlock()", [&] { orvik_ = std::make_shared<COrvikBlock>(); });
}

void CSORFile::AddOrvik2Block(int32_t lRevision) {
  Guarded(kModule, "AddOrvik2Block()", [&] { orvik2_ = std::make_shared<COrvik2Block>(lRevision); });
}

void CSORFile::RemoveOrvikBlock() { orvik_.reset(); }

namespace {
// What clearing a block's default value does: there is none to clear (438), or there is
// no block at all (91). The caller logs it and carries on.
template <class Block>
void ClearDefaultValue(const std::shared_ptr<Block>& block) {
  if (!block) Raise(err::ObjectNotSet);
  Raise(err::NotSupportedByObject);
}
}  // namespace

void CSORFile::RemoveKeyEventsBlock() {
  GuardedSwallow(kModule, "RemoveKeyEventsBlock()", OnFailure::LogOnly, [&] { ClearDefaultValue(keyEvents_); });
}

void CSORFile::RemoveDataPointsBlock() {
  GuardedSwallow(kModule, "RemoveDataPointsBlock()", OnFailure::LogOnly, [&] { ClearDefaultValue(dataPoints_); });
}

void CSORFile::RemoveOrvik2Block() {
  GuardedSwallow(kModule, "RemoveOrvik2Block()", OnFailure::LogOnly, [&] { ClearDefaultValue(orvik2_); });
}

// ---- Loading ----------------------------------------------------------------------

void CSORFile::LoadFromFile(const std::string& sFilename, bool bIgnoreCRC) {
  Guarded(kModule, "LoadFromFile()", [&] {
    LoadImage(ReadWholeFile(sFilename), bIgnoreCRC);
    fileName_ = ParseFileTitle(sFilename);
  });
}

void CSORFile::LoadImage(const std::vector<uint8_t>& image, bool bIgnoreCRC) {
  CCRC crc;
  ImageCursor cursor(image);

  ByteArray head = ByteArray::FromBytes(cursor.Take(8, "the Map Block"), 8, 1);
  crc.Update(head.data(), head.size());
  map_->SetMapRevision(static_cast<int32_t>(ByteArrayToNumLSB(head, 1, 2, false)));
  if (map_->MapRevision() != kMapRevision) {
    Raise(ERR_WrongVersion, "Unrecognized file format version \"" + std::to_string(map_->MapRevision()) + "\"");
  }
  const auto mapSize = static_cast<int32_t>(ByteArrayToNumLSB(head, 3, 4, true));
  map_->SetMapSize(mapSize);
  const auto blockCount = static_cast<int32_t>(ByteArrayToNumLSB(head, 7, 2, true));
  if (mapSize < 8) detail::CheckParsed("Map", mapSize, 9);  // smaller than its own header

  ByteArray mapBody = ByteArray::FromBytes(cursor.Take(mapSize - 8, "the Map Block"),
                                           static_cast<std::size_t>(mapSize - 8), 9);
  crc.Update(mapBody.data(), mapBody.size());
  // The entries are decoded straight from the map: unlike a block parser, the map
  // passes an entry running past its end on as the codec's subscript error (9).
  std::vector<std::shared_ptr<CBlock>> entries;
  BlockReader r(mapBody, 9);
  for (int32_t i = 1; i < blockCount; ++i) {
    auto entry = std::make_shared<CBlock>();
    entry->SetBlockID(r.Text());
    entry->SetRevisionNum(static_cast<int32_t>(r.Unsigned(2)));
    entry->SetBlockSize(static_cast<int32_t>(r.Signed(4)));
    entries.push_back(entry);
    map_->MapBlocks()->Add(entry);
  }
  detail::CheckParsed("Map", mapSize, r.Position());

  for (const auto& entry : entries) {
    const int32_t size = entry->BlockSize();
    if (size < 0) {
      Raise(ERR_BadParse, "The Map Block gives " + BlockWhat(entry->BlockID()) + " a negative size: " +
                              std::to_string(size) + ".");
    }
    ByteArray body = ByteArray::FromBytes(cursor.Take(size, BlockWhat(entry->BlockID())),
                                          static_cast<std::size_t>(size), 1);
    ParseBlock(*entry, body, crc);
  }

  if (crcValue_ != crc.Value() && !bIgnoreCRC) {
    Raise(ERR_CRC, "CRC values do not match. File: " + std::to_string(crcValue_) +
                       ", Calculated: " + std::to_string(crc.Value()));
  }
}

void CSORFile::ParseBlock(const CBlock& entry, ByteArray& body, CCRC& crc) {
  const std::string& id = entry.BlockID();
  if (id == "Cksum") {
    // The stored checksum is not part of what it covers. A body shorter than its 2
    // bytes fails in the decode (9).
    crcValue_ = static_cast<int32_t>(ByteArrayToNumLSB(body, 1, 2, false));
    return;
  }
  crc.Update(body.data(), body.size());
  if (id == "GenParams") {
    ParseGeneralParameters(body);
  } else if (id == "SupParams") {
    ParseSupplierParameters(body);
  } else if (id == "FxdParams") {
    ParseFixedParameters(body);
  } else if (id == "KeyEvents") {
    ParseKeyEventsBlock(body);
  } else if (id == "DataPts") {
    maxLossVal_ = ParseDataPointsBlock(body);
  } else if (id == "Orvik") {
    ParseOrvikBlock(body);
    OnOrvikBlock.Raise(true);
  } else if (id == "Orvik2") {
    ParseOrvik2Block(body, entry.RevisionNum());
  } else {
    auto block = std::make_shared<CProprietaryBlock>();
    block->SetBlockID(id);
    block->SetRevision(entry.RevisionNum());
    block->SetBlockSize(entry.BlockSize());
    block->SetRawData(std::move(body));  // the loader has no further use for the body
    proprietary_->Add(block);
  }
}

void CSORFile::ParseGeneralParameters(ByteArray& body) {
  Guarded(kModule, "ParseGeneralParameters()", [&] { genParams_->Parse(body); });
}

void CSORFile::ParseSupplierParameters(ByteArray& body) {
  Guarded(kModule, "ParseSupplierParameters()", [&] { supParams_->Parse(body); });
}

void CSORFile::ParseFixedParameters(ByteArray& body) {
  Guarded(kModule, "ParseFixedParameters()", [&] { fixedParams_->Parse(body); });
}

void CSORFile::ParseKeyEventsBlock(ByteArray& body) {
  Guarded(kModule, "ParseKeyEventsBlock()", [&] {
    AddKeyEventsBlock();
    keyEvents_->Parse(body);
  });
}

int32_t CSORFile::ParseDataPointsBlock(ByteArray& body) {
  return Guarded(kModule, "ParseDataPointsBlock()", [&] {
    AddDataPointsBlock();
    return dataPoints_->Parse(body);
  });
}

void CSORFile::ParseOrvikBlock(ByteArray& body) {
  Guarded(kModule, "ParseOrvikBlock()", [&] {
    AddOrvikBlock();
    orvik_->Parse(body, keyEvents_.get());
  });
}

void CSORFile::ParseOrvik2Block(ByteArray& body, int32_t revision) {
  Guarded(kModule, "ParseOrvik2Block()", [&] {
    AddOrvik2Block(revision);
    orvik2_->Parse(body);
  });
}

// ---- Saving -----------------------------------------------------------------------

void CSORFile::SaveToFile(const std::string& sFilename) {
  Guarded(kModule, "SaveToFile()", [&] { ReplaceWholeFile(sFilename, BuildImage()); });
}

std::vector<uint8_t> CSORFile::SaveToBytes() {
  return Guarded(kModule, "SaveToBytes()", [&] { return BuildImage(); });
}

std::vector<uint8_t> CSORFile::BuildImage() {
  auto blocks = map_->MapBlocks();
  blocks->Clear();
  map_->SetMapRevision(kMapRevision);

  const auto add = [&](const std::string& id, int32_t revision, ByteArray body) {
    auto entry = std::make_shared<CBlock>();
    entry->SetBlockID(id);
    entry->SetRevisionNum(revision);
    entry->SetBlockSize(body.Count());
    entry->SetRawData(std::move(body));
    blocks->Add(entry);
  };
  add("GenParams", kGenParamsRevision, BuildGenParamsBlock());
  add("SupParams", kSupParamsRevision, BuildSupParamsBlock());
  add("FxdParams", kFxdParamsRevision, BuildFixedParamsBlock());
  if (dataPoints_) add("DataPts", kDataPtsRevision, BuildDataPointsBlock());
  if (keyEvents_) add("KeyEvents", kKeyEventsRevision, BuildKeyEventsBlock());
  if (orvik_) add("Orvik", kOrvikRevision, BuildOrvikBlock());
  if (orvik2_) add("Orvik2", orvik2_->Revision(), BuildOrvik2Block());
  for (const auto& block : *proprietary_) {
    // A raw block whose size no longer matches its bytes would corrupt the map.
    detail::CheckInserted(block->BlockID(), block->BlockSize(), block->RawData().Count() + 1);
    auto entry = std::make_shared<CBlock>();
    entry->SetBlockID(block->BlockID());
    entry->SetRevisionNum(block->Revision());
    entry->SetBlockSize(block->BlockSize());
    entry->SetRawData(block->RawData());
    blocks->Add(entry);
  }
  auto checksum = std::make_shared<CBlock>();
  checksum->SetBlockID("Cksum");
  checksum->SetRevisionNum(kCksumRevision);
  checksum->SetBlockSize(2);
  blocks->Add(checksum);

  int64_t mapSize = 8;
  for (const auto& entry : *blocks) mapSize += static_cast<int64_t>(CharCount(entry->BlockID())) + 7;
  map_->SetMapSize(ToInt32(static_cast<double>(mapSize)));

  const ByteArray mapBody = BuildBody("Map", map_->MapSize(), [&](BlockWriter& w) {
    w.Unsigned(map_->MapRevision(), 2);
    w.Signed(map_->MapSize(), 4);
    w.Signed(blocks->Count() + 1, 2);
    for (const auto& entry : *blocks) {
      w.Text(entry->BlockID());
      w.Unsigned(entry->RevisionNum(), 2);
      w.Signed(entry->BlockSize(), 4);
    }
  });

  std::size_t imageSize = mapBody.size() + 2;
  for (const auto& entry : *blocks) imageSize += entry->RawData().size();
  std::vector<uint8_t> image;
  image.reserve(imageSize);
  image.insert(image.end(), mapBody.data(), mapBody.data() + mapBody.size());
  for (const auto& entry : *blocks) {
    if (entry == checksum) continue;
    const ByteArray& body = entry->RawData();
    image.insert(image.end(), body.data(), body.data() + body.size());
  }
  CCRC crc;
  crc.Update(image.data(), image.size());
  image.push_back(static_cast<uint8_t>(crc.Value() & 0xFF));
  image.push_back(static_cast<uint8_t>(crc.Value() >> 8));
  return image;
}

ByteArray CSORFile::BuildGenParamsBlock() const {
  return Guarded(kModule, "BuildGenParamsBlock()", [&] { return genParams_->Build(); });
}

ByteArray CSORFile::BuildSupParamsBlock() const {
  return Guarded(kModule, "BuildSupParamsBlock()", [&] { return supParams_->Build(); });
}

ByteArray CSORFile::BuildFixedParamsBlock() const {
  return Guarded(kModule, "BuildFixedParamsBlock()", [&] { return fixedParams_->Build(); });
}

ByteArray CSORFile::BuildDataPointsBlock() const {
  return Guarded(kModule, "BuildDataPointsBlock()", [&] { return dataPoints_->Build(); });
}

ByteArray CSORFile::BuildKeyEventsBlock() const {
  return Guarded(kModule, "BuildKeyEventsBlock()", [&] { return keyEvents_->Build(); });
}

ByteArray CSORFile::BuildOrvikBlock() const {
  return Guarded(kModule, "BuildOrvikBlock()", [&] { return orvik_->Build(keyEvents_.get()); });
}

ByteArray CSORFile::BuildOrvik2Block() const {
  return Guarded(kModule, "BuildOrvik2Block()", [&] { return orvik2_->Build(); });
}

}  // namespace tarnvik
