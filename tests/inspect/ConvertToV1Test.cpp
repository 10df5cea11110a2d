// Version-1 files built from documents: each value the library refuses stops the
// conversion and is named; with fit it is changed as documented, the file loads as a
// trace, and the reader finds in it the same samples and events, less the changes.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/inspect/ConvertToV1.h"
#include "tarnvik/inspect/SorDocument.h"

namespace tarnvik::testing {
namespace {

using namespace tarnvik::inspect;

// Block indexes of StandardSorBlocks.
enum { kGen = 0, kFxd = 2, kKey = 3 };

void PutU16(Bytes& body, std::size_t at, uint32_t v) {
  body[at] = static_cast<uint8_t>(v & 0xFF);
  body[at + 1] = static_cast<uint8_t>(v >> 8);
}

std::size_t Find(const Bytes& body, const std::string& text) {
  const auto at = std::search(body.begin(), body.end(), text.begin(), text.end());
  EXPECT_NE(at, body.end()) << text;
  return static_cast<std::size_t>(at - body.begin());
}

// The standard file's reflectance threshold (40000) lies before the end-of-fibre
// threshold, and in version 2 before the trace type and window coordinates too.
std::size_t ThresholdAt(const StandardSor& sor, const Bytes& fxd) { return fxd.size() - (sor.version == 2 ? 22 : 4); }

// A file the library takes as it is: the standard one with a threshold of 0.
void ZeroThreshold(const StandardSor& sor, std::vector<SorBlock>& blocks) {
  PutU16(blocks[kFxd].body, ThresholdAt(sor, blocks[kFxd].body), 0);
}

struct Case {
  const char* name;
  StandardSor sor;
  std::function<void(const StandardSor&, std::vector<SorBlock>&)> patch;
  std::set<std::string> kinds;     // the issues, none for a file that converts as it is
  std::size_t keptSamples;         // samples of the converted file
  std::size_t step;                // one sample in step kept
  std::string change;              // a part of the one change line checked
};

class ConvertToV1Test : public TempDirTest {
 protected:
  // The converted file passes the library's proof, and the reader finds it version 1.
  std::shared_ptr<const SorDocument> Prove(const ConversionResult& result) {
    const std::string path = Path("converted.sor");
    WriteFileBytes(path, result.bytes);
    EXPECT_NO_THROW(ProveLoadsAsTrace(path));
    auto doc = ReadSorDocument(result.bytes);
    EXPECT_EQ(doc->version, 1);
    EXPECT_EQ(doc->checksum.status, ChecksumStatus::Ok);
    return doc;
  }
};

TEST_F(ConvertToV1Test, RefusalsAndTheirChanges) {
  const auto noPatch = [](const StandardSor&, std::vector<SorBlock>&) {};
  const Case cases[] = {
      {"version 2 as it is", {}, ZeroThreshold, {}, 1000, 1, ""},
      {"version 1 as it is", {.version = 1}, ZeroThreshold, {}, 1000, 1, ""},
      {"reflectance threshold", {}, noPatch, {"reflectance-threshold"}, 1000, 1, "reflectance threshold 40000 -> 0"},
      {"data flag",
       {},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         b[kGen].body[Find(b[kGen].body, "BC")] = 'C';
       },
       {"data-flag"},
       1000,
       1,
       "current data flag \"CC\" -> \"OT\""},
      {"one-letter language code",
       {},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         b[kGen].body[1] = 0;
       },
       {"language-code"},
       1000,
       1,
       "language code \"E\" -> \"E \""},
      {"distance unit",
       {.version = 1},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         b[kFxd].body[Find(b[kFxd].body, "km")] = 0;
       },
       {"distance-unit"},
       1000,
       1,
       "distance unit \"\" -> \"mt\""},
      {"too many samples", {.groupSamples = {38029}}, noPatch, {"samples", "reflectance-threshold"}, 12677, 3,
       "samples decimated by 3: 38,029 -> 12,677"},
      {"two pulse widths",
       {.pulseWidths = {100, 1000}, .groupSamples = {1200}},
       ZeroThreshold,
       {"pulse-widths"},
       600,
       1,
       "kept the first pulse width, 100 ns with its 600 samples; dropped 1000 ns (600 samples)"},
      {"no pulse width", {.pulseWidths = {}}, ZeroThreshold, {"pulse-widths"}, 1000, 1,
       "one pulse width of 0 ns added, spacing 0, 1,000 samples"},
      {"two scale-factor groups",
       {.scaleFactors = {1000, 1470}, .groupSamples = {700, 300}},
       ZeroThreshold,
       {"scale-factor-groups"},
       700,
       1,
       "kept group 1 (scale factor 1000, 700 samples); dropped group 2 (scale factor 1470, 300 samples)"},
      {"group index 0",
       {.version = 1},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         const std::size_t at = Find(b[kFxd].body, std::string("\x70\x3D\x02\x00", 4));  // 146800
         for (std::size_t k = 0; k < 4; ++k) b[kFxd].body[at + k] = 0;
       },
       {"group-index"},
       1000,
       1,
       "group index 0 -> 146800"},
      {"event beyond the QRD range",
       {.version = 1},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         // Event 2's travel time (20000) becomes 0x80000000.
         const std::size_t at = Find(b[kKey].body, std::string("\x20\x4E\x00\x00", 4));
         b[kKey].body[at] = 0;
         b[kKey].body[at + 1] = 0;
         b[kKey].body[at + 3] = 0x80;
       },
       {"time"},
       1000,
       1,
       "event 2: travel time -2147483648 -> -107374182"},
      {"event code and loss technique",
       {},
       [](const StandardSor& s, std::vector<SorBlock>& b) {
         ZeroThreshold(s, b);
         b[kKey].body[Find(b[kKey].body, "0F9999") + 5] = 0;
         const std::size_t ls = Find(b[kKey].body, "LS");
         b[kKey].body[ls] = 'X';
         b[kKey].body[ls + 1] = 'X';
       },
       {"event-code", "loss-technique"},
       1000,
       1,
       "event 1: event code \"0F999\" -> \"0F999 \""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    auto blocks = StandardSorBlocks(c.sor);
    c.patch(c.sor, blocks);
    const auto doc = ReadSorDocument(c.sor.version == 2 ? AssembleSorV2(blocks) : AssembleSor(blocks));

    const ConversionResult strict = ConvertToV1(*doc);
    std::set<std::string> kinds;
    for (const auto& issue : strict.issues) kinds.insert(issue.kind);
    EXPECT_EQ(kinds, c.kinds);
    EXPECT_EQ(strict.Refused(), !c.kinds.empty()) << "refused exactly when the library refuses a value";

    const ConversionResult fitted = ConvertToV1(*doc, {.fit = true});
    ASSERT_FALSE(fitted.Refused());
    if (!c.change.empty()) {
      EXPECT_TRUE(std::any_of(fitted.issues.begin(), fitted.issues.end(), [&](const ConversionIssue& i) {
        return i.change.find(c.change) != std::string::npos;
      })) << fitted.issues.front().change;
    }
    // Version 2's own fields are named, never dropped silently.
    const bool namesDropped = std::any_of(fitted.dropped.begin(), fitted.dropped.end(),
                                          [](const std::string& d) { return d == "fibre type 652"; });
    EXPECT_EQ(namesDropped, c.sor.version == 2);

    // The round trip: the reader finds the samples kept and the events, the changed
    // ones excepted.
    const auto back = Prove(fitted);
    ASSERT_TRUE(back->dataPts);
    ASSERT_EQ(back->dataPts->groups.size(), 1u);
    const auto& samples = back->dataPts->groups[0].samples;
    ASSERT_EQ(samples.size(), c.keptSamples);
    for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], StandardSample(0, i * c.step)) << i;
    EXPECT_EQ(back->dataPts->groups[0].scaleFactor, c.sor.scaleFactors[0]);
    const uint32_t spacing = c.sor.pulseWidths.empty() ? 0 : 100000 * static_cast<uint32_t>(c.step);
    EXPECT_EQ(back->fxdParams->sampleSpacing, std::vector<uint32_t>{spacing});
    ASSERT_EQ(back->keyEvents->events.size(), doc->keyEvents->events.size());
    for (std::size_t e = 0; e < doc->keyEvents->events.size(); ++e) {
      const KeyEvent &was = doc->keyEvents->events[e], &is = back->keyEvents->events[e];
      EXPECT_EQ(is.number, was.number);
      if (!c.kinds.count("time")) {
        EXPECT_EQ(is.travelTime, was.travelTime);
      }
      EXPECT_EQ(is.spliceLoss, was.spliceLoss);
      EXPECT_EQ(is.reflectance, was.reflectance);
      EXPECT_EQ(is.comment.value, was.comment.value);
      if (!c.kinds.count("event-code")) {
        EXPECT_EQ(is.code.value, was.code.value);
      }
    }
    EXPECT_EQ(back->genParams->cableId.value, doc->genParams->cableId.value);
    EXPECT_EQ(back->supParams->softwareRevision.value, doc->supParams->softwareRevision.value);
  }
}

TEST_F(ConvertToV1Test, VendorBlocksStayAndTheRestIsNamed) {
  // A vendor block and an empty "LnkParams" stay as they are; a second "GenParams", the
  // bytes after the last block, an empty comment and a bad checksum are named.
  const StandardSor sor;
  auto blocks = StandardSorBlocks(sor);
  ZeroThreshold(sor, blocks);
  Bytes gen = blocks[kGen].body;
  gen.erase(gen.end() - 8, gen.end() - 1);  // "route 7" -> ""
  blocks[kGen].body = gen;
  blocks.push_back({"LnkParams", 200, {}});
  blocks.push_back({"AcmeTrace", 211, {1, 2, 3, 4, 5}});
  blocks.push_back({"GenParams", 200, blocks[kGen].body});
  Bytes file = AssembleSorV2(blocks);
  file.push_back(0xAB);
  file[file.size() - 3] ^= 0xFF;  // the stored checksum, before the trailing byte
  const auto doc = ReadSorDocument(file);

  const ConversionResult result = ConvertToV1(*doc);
  ASSERT_FALSE(result.Refused());
  const auto joined = [](const std::vector<std::string>& lines) {
    std::string all;
    for (const auto& l : lines) all += l + "\n";
    return all;
  };
  const std::string notes = joined(result.notes), dropped = joined(result.dropped);
  EXPECT_NE(notes.find("kept as they are: \"LnkParams\" (0 bytes), \"AcmeTrace\" (5 bytes)"), std::string::npos)
      << notes;
  EXPECT_NE(notes.find("empty texts stored as one space, as the library stores every empty text: comment"),
            std::string::npos);
  EXPECT_NE(notes.find("checksum computed anew (the file's: mismatch"), std::string::npos);
  EXPECT_NE(dropped.find("block \"GenParams\""), std::string::npos) << dropped;
  EXPECT_NE(dropped.find("1 byte after the last block"), std::string::npos);
  EXPECT_NE(dropped.find("the five marker positions of 3 event(s)"), std::string::npos);

  const auto back = Prove(result);
  const auto acme = std::find_if(back->map.begin(), back->map.end(),
                                 [](const inspect::MapEntry& e) { return e.name.value == "AcmeTrace"; });
  ASSERT_NE(acme, back->map.end());
  EXPECT_EQ(acme->revision, 211);
  const auto body = back->Slice(acme->body);
  EXPECT_EQ(Bytes(body.begin(), body.end()), (Bytes{1, 2, 3, 4, 5}));
  EXPECT_EQ(back->genParams->comment.value, " ");
}

TEST(GroupedNumberTest, ThousandsAreSeparated) {
  const std::pair<uint64_t, const char*> cases[] = {{0, "0"}, {999, "999"}, {1000, "1,000"}, {16377, "16,377"},
                                                    {1234567, "1,234,567"}};
  for (const auto& [value, text] : cases) EXPECT_EQ(GroupedNumber(value), text);
}

}  // namespace
}  // namespace tarnvik::testing
