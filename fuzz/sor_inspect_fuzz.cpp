// Any bytes through the inspection reader: a document or one of its numbered refusals
// (62, 10512, 10513), nothing else. Every range of a document lies inside the file, and
// its levels, distances and offsets compute without failing, one level per sample held.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "FuzzSupport.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TracePoints.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;
using namespace tarnvik::inspect;

namespace {

void ExpectInside(const SorDocument& doc, const ByteRange& range, const std::string& what) {
  if (range.offset > doc.bytes.size() || range.size > doc.bytes.size() - range.offset) {
    Mismatch(what, "inside " + std::to_string(doc.bytes.size()) + " bytes",
             std::to_string(range.offset) + " + " + std::to_string(range.size));
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  std::shared_ptr<const SorDocument> doc;
  try {
    doc = ReadSorDocument(Bytes(data, data + size));
  } catch (const Error& e) {
    if (e.Number() != err::InputPastEndOfFile && e.Number() != ERR_BadParse && e.Number() != ERR_WrongVersion) {
      Mismatch("the refusal", "62, 10512 or 10513", std::to_string(e.Number()) + " " + e.Description());
    }
    return 0;
  }
  for (const MapEntry& entry : doc->map) ExpectInside(*doc, entry.body, "a block's body");
  ExpectInside(*doc, doc->trailing, "the trailing bytes");
  const auto extraInside = [&](const auto& block) {
    if (block) ExpectInside(*doc, block->extra, "the extra bytes of a block");
  };
  extraInside(doc->genParams), extraInside(doc->supParams), extraInside(doc->fxdParams);
  extraInside(doc->keyEvents), extraInside(doc->dataPts), extraInside(doc->cksum);
  for (const Warning& w : doc->warnings) {
    if (w.code.empty() || w.message.empty()) Mismatch("a warning", "a code and a message", w.code + ": " + w.message);
  }

  const TracePoints points = ComputeTracePoints(*doc);
  const DistanceOffsets offsets = ComputeDistanceOffsets(*doc);
  std::size_t held = 0;
  if (doc->dataPts) {
    for (const DataGroup& group : doc->dataPts->groups) held += group.samples.size();
  }
  if (points.levels.size() != held || (!points.distances.empty() && points.distances.size() != held)) {
    Mismatch("levels and distances", std::to_string(held) + " each",
             std::to_string(points.levels.size()) + " and " + std::to_string(points.distances.size()));
  }
  const int32_t userOffset = doc->genParams ? doc->genParams->userOffset : 0;
  if (doc->checksum.Text().empty() || points.unit.empty() || offsets.userOffset != userOffset) {
    Mismatch("the verdict, unit and user offset", "set", doc->checksum.Text() + " " + points.unit);
  }
  return 0;
}
