// A version-1 file that CSORFile and ReadTrace take, built from the document of any
// SR-4731 file.
//
// The file is built as a CSORFile and saved to bytes by it, so it has the library's own
// layout: map revision 100, the standard blocks in the library's order with its block
// revisions, the other blocks (vendors' and "LnkParams") kept as they were, a checksum
// computed anew. Fields that only version 2 has are dropped and named (`dropped`).
//
// Every value the library's rules refuse is an issue, in the library's words, with the
// change `fit` makes of it. Without fit any issue refuses the conversion (no bytes);
// with fit each issue's change is made. The changes fit can make, each the one that
// loses least:
//   language-code          not 2 characters: cut to 2, or padded with spaces
//   data-flag              not BC, RC or OT: "OT" (other)
//   distance-unit          not 2 characters: "mt"
//   pulse-widths           several: the first kept with its samples, the others dropped;
//                          none: one of 0 ns added
//   scale-factor-groups    several: the first kept, the others dropped
//   samples                more than one data block holds (16,377 in one group): every
//                          k-th sample kept, k the smallest whole factor that fits, the
//                          spacing and the stored count changed with it
//   reflectance-threshold  not 0: 0
//   group-index            0: 146800 (1.468)
//   time                   a time (offset, range, event, loss marker) beyond the
//                          ±107,374,182 x 100 ps a trace holds in QRD: the nearest limit
//   event-code             not 6 characters: cut to 6, or padded with spaces
//   loss-technique         not 2P, LS, OT or blank: "OT"
// Changes the library makes to any file it writes (an empty text stored as one space,
// a blank loss technique as "LS", a count the samples do not fill) are not refusals;
// they are listed in `notes`. Nothing is changed without being listed.
//
// A library error raised while building (a block beyond the 16-bit limit that no issue
// foresaw) passes on as the numbered error.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/inspect/SorDocument.h"

namespace tarnvik::inspect {

struct ConvertOptions {
  bool fit = false;
};

struct ConversionIssue {
  std::string kind;     // one of the codes above
  std::string refusal;  // the rule and the value, with the library's error and source
  std::string change;   // what fit makes of it
};

struct ConversionResult {
  std::vector<uint8_t> bytes;           // the version-1 file; empty when refused
  std::vector<ConversionIssue> issues;  // values the library refuses
  std::vector<std::string> dropped;     // version-2 fields and blocks left out, with their values
  std::vector<std::string> notes;       // what the library changes in any file, and blocks kept raw
  bool Refused() const { return bytes.empty(); }
};

ConversionResult ConvertToV1(const SorDocument& doc, const ConvertOptions& options = {});

// Loads a file the way the library's object model does, CSORFile::LoadFromFile and then
// CFileOperations::ReadTrace (the checksum checked), and raises the first error.
void ProveLoadsAsTrace(const std::string& path);

// "38,029".
std::string GroupedNumber(uint64_t value);

}  // namespace tarnvik::inspect
