// Any bytes through the inspection reader: a document or one of its numbered refusals
// (62, 10512, 10513), nothing else. Every range of a document lies inside the file, and
// its levels, distances and offsets compute without failing, one level per sample held.
// Converted to version 1 with fit (or refused with a numbered error), the file reads
// back as version 1 with a checksum that verifies, the same events and the samples kept:
// the first group's, cut to the first pulse width's count, one in k for the smallest k
// that fits 16,377.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "tarnvik/inspect/ConvertToV1.h"
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

// The samples the conversion keeps, worked out from the document.
std::vector<uint16_t> ExpectedSamples(const SorDocument& doc) {
  if (!doc.dataPts || doc.dataPts->groups.empty()) return {};
  std::vector<uint16_t> samples = doc.dataPts->groups[0].samples;
  if (doc.fxdParams && doc.fxdParams->pulseWidths.size() > 1 && !doc.fxdParams->sampleCount.empty()) {
    samples.resize(std::min<std::size_t>(samples.size(), doc.fxdParams->sampleCount[0]));
  }
  const std::size_t step = (samples.size() + 16376) / 16377;
  if (step <= 1) return samples;
  std::vector<uint16_t> kept;
  for (std::size_t i = 0; i < samples.size(); i += step) kept.push_back(samples[i]);
  return kept;
}

void CheckRoundTrip(const SorDocument& doc) {
  ConversionResult result;
  try {
    result = ConvertToV1(doc, {.fit = true});
  } catch (const Error&) {
    return;  // a numbered refusal of the library's own writer
  }
  if (result.Refused()) Mismatch("the conversion with fit", "a file", "no bytes");
  std::shared_ptr<const SorDocument> back;
  try {
    back = ReadSorDocument(result.bytes);
  } catch (const Error& e) {
    Mismatch("the converted file", "readable", std::to_string(e.Number()) + " " + e.Description());
  }
  if (back->version != 1 || back->checksum.status != ChecksumStatus::Ok) {
    Mismatch("the converted file", "version 1, checksum ok", std::to_string(back->version) + ", " + back->checksum.Text());
  }
  const auto expected = ExpectedSamples(doc);
  const std::vector<uint16_t> none;
  const auto& samples = back->dataPts && !back->dataPts->groups.empty() ? back->dataPts->groups[0].samples : none;
  if (samples != expected) {
    Mismatch("the converted samples", std::to_string(expected.size()) + " kept", std::to_string(samples.size()));
  }
  const std::size_t events = doc.keyEvents ? doc.keyEvents->events.size() : 0;
  const std::size_t eventsBack = back->keyEvents ? back->keyEvents->events.size() : 0;
  if (events != eventsBack) Mismatch("the converted events", std::to_string(events), std::to_string(eventsBack));
  for (std::size_t e = 0; e < std::min(events, eventsBack); ++e) {
    const KeyEvent &was = doc.keyEvents->events[e], &is = back->keyEvents->events[e];
    if (is.number != was.number || is.spliceLoss != was.spliceLoss || is.reflectance != was.reflectance ||
        is.comment.raw != was.comment.raw) {
      Mismatch("converted event " + std::to_string(e + 1), "the same", "changed");
    }
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
  CheckRoundTrip(*doc);
  return 0;
}
