// One SR-4731 trace file (map revision 1.00) as an object tree of blocks, read and
// written byte-exactly with its checksum.
//
// Loading fills the existing block objects in place and appends to MapBlocks and
// ProprietaryBlocks (a second load accumulates them). Saving always writes the blocks in
// one fixed order: GenParams, SupParams, FxdParams, DataPts, KeyEvents, Orvik, Orvik2,
// the unknown blocks as loaded, Cksum.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/Event.h"
#include "tarnvik/sor/CDataPointsBlock.h"
#include "tarnvik/sor/CFixedParametersBlock.h"
#include "tarnvik/sor/CGeneralParameterBlock.h"
#include "tarnvik/sor/CKeyEventsBlock.h"
#include "tarnvik/sor/CMap.h"
#include "tarnvik/sor/COrvik2Block.h"
#include "tarnvik/sor/COrvikBlock.h"
#include "tarnvik/sor/CProprietaryBlocks.h"
#include "tarnvik/sor/CSuppliersBlock.h"

namespace tarnvik {

class CCRC;

class CSORFile {
 public:
  CSORFile();
  CSORFile(const CSORFile&) = delete;
  CSORFile& operator=(const CSORFile&) = delete;

  // The file-name part of the path last loaded.
  const std::string& FileName() const { return fileName_; }
  void SetFileName(const std::string& value) { fileName_ = value; }

  std::shared_ptr<CMap> MapBlock() const { return map_; }
  std::shared_ptr<CGeneralParameterBlock> GenParamsBlock() const { return genParams_; }
  std::shared_ptr<CSuppliersBlock> SupParamsBlock() const { return supParams_; }
  std::shared_ptr<CFixedParametersBlock> FixedParamsBlock() const { return fixedParams_; }

  // Optional blocks: nullptr when absent. Add... replaces the block with a new one.
  std::shared_ptr<CKeyEventsBlock> KeyEventsBlock() const { return keyEvents_; }
  void AddKeyEventsBlock();
  std::shared_ptr<CDataPointsBlock> DataPointsBlock() const { return dataPoints_; }
  void AddDataPointsBlock();
  std::shared_ptr<COrvikBlock> OrvikBlock() const { return orvik_; }
  void AddOrvikBlock();
  std::shared_ptr<COrvik2Block> Orvik2Block() const { return orvik2_; }
  void AddOrvik2Block(int32_t lRevision);

  // Drops the "Orvik" block: a later save omits it.
  void RemoveOrvikBlock();
  // These three log a failure (the block classes have no default value to clear) and
  // return normally, leaving the block attached: it is still saved. A file leaves such a
  // block out only by never creating it.
  void RemoveKeyEventsBlock();
  void RemoveDataPointsBlock();
  void RemoveOrvik2Block();

  // The largest sample of the last data points block loaded.
  int32_t MaxLossVal() const { return maxLossVal_; }
  void SetMaxLossVal(int32_t value) { maxLossVal_ = value; }
  std::shared_ptr<CProprietaryBlocks> ProprietaryBlocks() const { return proprietary_; }
  // The checksum stored in the last file loaded; saving does not change it.
  int32_t CRCValue() const { return crcValue_; }
  void SetCRCValue(int32_t value) { crcValue_ = value; }

  void LoadFromFile(const std::string& sFilename, bool bIgnoreCRC = false);
  // Builds the whole file first, then replaces any existing file of that name, so that
  // a failed save leaves the old file as it was.
  void SaveToFile(const std::string& sFilename);
  // Library-internal: the bytes SaveToFile writes, built in memory and not written
  // anywhere (for the benchmarks, and for callers that send a file elsewhere).
  std::vector<uint8_t> SaveToBytes();

  // Raised with true while loading, right after an "Orvik" block has been parsed.
  Event<bool> OnOrvikBlock;
  // Declared for clients; no operation raises it.
  Event<bool> OnEventsValid;

 private:
  static constexpr const char* kModule = "CSORFile";

  void LoadImage(const std::vector<uint8_t>& image, bool bIgnoreCRC);
  void ParseBlock(const CBlock& entry, ByteArray& body, CCRC& crc);

  void ParseGeneralParameters(ByteArray& body);
  void ParseSupplierParameters(ByteArray& body);
  void ParseFixedParameters(ByteArray& body);
  void ParseKeyEventsBlock(ByteArray& body);
  int32_t ParseDataPointsBlock(ByteArray& body);
  void ParseOrvikBlock(ByteArray& body);
  void ParseOrvik2Block(ByteArray& body, int32_t revision);

  ByteArray BuildGenParamsBlock() const;
  ByteArray BuildSupParamsBlock() const;
  ByteArray BuildFixedParamsBlock() const;
  ByteArray BuildDataPointsBlock() const;
  ByteArray BuildKeyEventsBlock() const;
  ByteArray BuildOrvikBlock() const;
  ByteArray BuildOrvik2Block() const;

  std::vector<uint8_t> BuildImage();

  std::string fileName_;
  std::shared_ptr<CMap> map_;
  std::shared_ptr<CGeneralParameterBlock> genParams_;
  std::shared_ptr<CSuppliersBlock> supParams_;
  std::shared_ptr<CFixedParametersBlock> fixedParams_;
  std::shared_ptr<CKeyEventsBlock> keyEvents_;
  std::shared_ptr<CDataPointsBlock> dataPoints_;
  std::shared_ptr<COrvikBlock> orvik_;
  std::shared_ptr<COrvik2Block> orvik2_;
  std::shared_ptr<CProprietaryBlocks> proprietary_;
  int32_t maxLossVal_ = 0;
  int32_t crcValue_ = 0;
};

}  // namespace tarnvik
