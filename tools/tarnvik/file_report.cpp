#include "file_report.h"

#include <cctype>
#include <map>

#include "tarnvik/foundation/modFileUtil.h"

namespace tarnvik::tool {

namespace {

// The CSORFile procedure that parses each known block.
const std::map<std::string, std::string>& ParseProcedures() {
  static const std::map<std::string, std::string> procedures = {
      {"GenParams", "CSORFile:ParseGeneralParameters()"}, {"SupParams", "CSORFile:ParseSupplierParameters()"},
      {"FxdParams", "CSORFile:ParseFixedParameters()"},   {"KeyEvents", "CSORFile:ParseKeyEventsBlock()"},
      {"DataPts", "CSORFile:ParseDataPointsBlock()"},     {"Orvik", "CSORFile:ParseOrvikBlock()"},
      {"Orvik2", "CSORFile:ParseOrvik2Block()"}};
  return procedures;
}

bool IsKnownBlock(const std::string& id) { return id == "Cksum" || ParseProcedures().count(id) != 0; }

bool FailedIn(const CBlock& entry, const Failure& f) {
  const auto found = ParseProcedures().find(entry.BlockID());
  if (found != ParseProcedures().end()) {
    for (const auto& step : f.trail) {
      if (step == found->second) return true;
    }
  }
  return f.description.find("block \"" + entry.BlockID() + "\"") != std::string::npos;
}

}  // namespace

bool IsFileAccessError(int32_t number) {
  return number == err::BadFileName || number == err::FileNotFound || number == err::PathFileAccess ||
         number == err::PathNotFound;
}

std::vector<std::string> ExplainFailure(const FileReport& r) {
  std::vector<std::string> hints;
  if (!r.failure) return hints;
  const Failure& f = *r.failure;
  std::string ext = ParseFileExt(r.path);
  for (char& c : ext) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  if (!r.sorPath && ext == "sor") {
    hints.push_back("Only the extension \"sor\" in lower case is read as SR-4731; \"" + ParseFileExt(r.path) +
                    "\" is read in the trace's own format. Rename the file to read it as SR-4731.");
  }
  if (f.number == ERR_WrongVersion && r.sor) {
    hints.push_back("Only files whose map has revision 100 (SR-4731 version 1) are read; this one gives " +
                    std::to_string(r.sor->MapBlock()->MapRevision()) +
                    " (a version 2 file starts with the text \"Map\", read here as 24909).");
  }
  if (r.sor) {
    std::size_t i = 0;
    for (const auto& entry : *r.sor->MapBlock()->MapBlocks()) {
      if (i < r.blockStates.size() && r.blockStates[i] == BlockState::Failed && entry->BlockID() == "DataPts" &&
          entry->BlockSize() > 32767) {
        hints.push_back("The DataPts block is " + std::to_string(entry->BlockSize()) +
                        " bytes; block bodies use 16-bit positions, so one holds at most 16,377 samples.");
      }
      ++i;
    }
  }
  if (f.origin == "CTrace:Let ReflectanceThreshold()" && r.sor) {
    const int32_t stored = r.sor->FixedParamsBlock()->ReflectanceThreshold();
    hints.push_back("The file stores a reflectance threshold of " + std::to_string(stored) +
                    " thousandths of a dB; read with its sign kept it is outside the trace's -65.535..0 dB, so "
                    "only files that store 0 there become traces.");
  }
  return hints;
}

const char* BlockStateName(BlockState state) {
  switch (state) {
    case BlockState::Parsed: return "parsed";
    case BlockState::KeptRaw: return "kept raw";
    case BlockState::Failed: return "failed";
    case BlockState::NotReached: return "not read";
  }
  return "not read";
}

std::vector<BlockState> BlockStatesAfterLoad(const CSORFile& sor, const std::optional<Failure>& failure) {
  const auto& entries = *sor.MapBlock()->MapBlocks();
  std::vector<BlockState> states;
  const bool allRead = !failure || failure->number == ERR_CRC;
  bool failedSeen = false;
  for (const auto& entry : entries) {
    const BlockState read = IsKnownBlock(entry->BlockID()) ? BlockState::Parsed : BlockState::KeptRaw;
    if (allRead) {
      states.push_back(read);
    } else if (!failedSeen && FailedIn(*entry, *failure)) {
      failedSeen = true;
      states.push_back(BlockState::Failed);
    } else {
      states.push_back(BlockState::NotReached);
    }
  }
  // Blocks are read in map order: everything before the failed one was read.
  if (failedSeen) {
    for (std::size_t i = 0; i < states.size() && states[i] != BlockState::Failed; ++i) {
      states[i] = IsKnownBlock(entries.Item(static_cast<int32_t>(i + 1))->BlockID()) ? BlockState::Parsed
                                                                                    : BlockState::KeptRaw;
    }
  }
  return states;
}

}  // namespace tarnvik::tool
