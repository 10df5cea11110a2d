// Everything `tarnvik info` knows about one file: the trace when the file became one,
// the SOR file as far as it was read, and the failure that stopped it.
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "error_trail.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::tool {

// How far loading went for one entry of a SOR file's map.
enum class BlockState {
  Parsed,     // read into its block object
  KeptRaw,    // an unknown block, kept as bytes
  Failed,     // its parse raised the failure
  NotReached  // after the failure, or the failure's place is unknown
};

const char* BlockStateName(BlockState state);

struct FileReport {
  std::string path;
  bool sorPath = false;                   // the extension is exactly "sor"
  std::shared_ptr<CTrace> trace;          // null when the file did not become a trace
  std::shared_ptr<CSORFile> sor;          // SOR path: the file as far as it was loaded
  std::vector<BlockState> blockStates;    // one per entry of sor's map
  std::optional<Failure> failure;
  std::vector<std::string> notes;         // what the library logged besides errors
  std::vector<std::string> hints;         // why the file did not become a trace, in words
  // SOR path, not a trace: the file as the inspection reader sees it, or why it could not.
  std::shared_ptr<const inspect::SorDocument> document;
  std::optional<Failure> documentFailure;
};

// Plain words for the failures that files from other instruments commonly meet: a map
// revision other than 100, a data block beyond the 16-bit block limit, a stored
// reflectance threshold the trace cannot hold.
std::vector<std::string> ExplainFailure(const FileReport& report);

// The block states of a map after a load that ended with failure (none: every entry was
// read). The failed entry is the one whose parse procedure is in the failure's trail or
// that the description names; a checksum mismatch comes after every block was read.
std::vector<BlockState> BlockStatesAfterLoad(const CSORFile& sor, const std::optional<Failure>& failure);

// True for the numbers of a file that could not be opened at all (52, 53, 75, 76).
bool IsFileAccessError(int32_t number);

// Reads path as ReadTrace does, keeping the SOR file it loaded; when the load itself
// fails, loads it again directly to keep what was parsed before the failure.
FileReport ReadFileReport(const std::string& path, bool ignoreCRC, LogCapture& log);

}  // namespace tarnvik::tool
