// The inspection reader on files built here: every field of both versions, each quirk as
// a warning, the refusals as numbered errors, and the texts' code pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TextDecoding.h"

namespace tarnvik::testing {
namespace {

using namespace tarnvik::inspect;

void PutU32(Bytes& bytes, std::size_t at, uint32_t value) {
  for (int k = 0; k < 4; ++k) bytes[at + static_cast<std::size_t>(k)] = static_cast<uint8_t>(value >> (8 * k));
}

// The checksum stored anew after an edit of the bytes.
Bytes Resealed(Bytes bytes) {
  bytes.resize(bytes.size() - 2);
  const uint16_t crc = Crc16(bytes);
  bytes.push_back(static_cast<uint8_t>(crc & 0xFF));
  bytes.push_back(static_cast<uint8_t>(crc >> 8));
  return bytes;
}

SorBlock& Block(std::vector<SorBlock>& blocks, const std::string& id) {
  return *std::find_if(blocks.begin(), blocks.end(), [&](const SorBlock& b) { return b.id == id; });
}

// A standard version-2 file of 1000 samples, its blocks edited first.
Bytes V2(const std::function<void(std::vector<SorBlock>&)>& edit, bool checksum = true, StandardSor sor = {}) {
  std::vector<SorBlock> blocks = StandardSorBlocks(sor);
  if (edit) edit(blocks);
  return sor.version == 2 ? AssembleSorV2(blocks, checksum) : AssembleSor(blocks, checksum);
}

std::vector<std::string> Codes(const SorDocument& doc) {
  std::vector<std::string> codes;
  for (const Warning& w : doc.warnings) codes.push_back(w.code);
  std::sort(codes.begin(), codes.end());
  return codes;
}

TEST(SorDocumentTest, ReadsEveryFieldOfBothVersions) {
  for (const int32_t version : {1, 2}) {
    SCOPED_TRACE(version);
    const bool v2 = version == 2;
    // Three pulse widths sharing 1200 samples (400 each), two scale-factor groups.
    const StandardSor sor{version, {100, 300, 1000}, {1000, 1470}, {700, 500}, 2};
    const Bytes file = MakeStandardSor(sor);
    const auto doc = ReadSorDocument(file);
    EXPECT_TRUE(doc->warnings.empty()) << doc->warnings.front().message;
    EXPECT_EQ(doc->version, version);
    EXPECT_EQ(doc->mapRevision, v2 ? 200 : 100);
    EXPECT_EQ(doc->blockCount, 7);
    EXPECT_EQ(doc->checksum.Text(), "ok");

    // The map: block k starts where block k - 1 ends; a version-2 body after its name.
    const char* names[] = {"GenParams", "SupParams", "FxdParams", "KeyEvents", "DataPts", "Cksum"};
    ASSERT_EQ(doc->map.size(), 6u);
    uint64_t offset = doc->mapSize;
    EXPECT_EQ(doc->mapSize, v2 ? 102u : 98u);  // header 12 or 8, then name, zero and 6 bytes per entry
    for (std::size_t i = 0; i < 6; ++i) {
      const inspect::MapEntry& e = doc->map[i];
      EXPECT_EQ(e.name.value, names[i]);
      EXPECT_EQ(e.revision, v2 ? 200 : 100);
      EXPECT_EQ(e.offset, offset);
      EXPECT_EQ(e.body.offset, offset + (v2 ? e.name.raw.size() + 1 : 0));
      EXPECT_TRUE(e.decoded);
      offset += e.size;
    }
    EXPECT_EQ(offset, file.size());
    EXPECT_EQ(doc->map[5].size, v2 ? 8u : 2u);

    const GenParams& g = *doc->genParams;
    EXPECT_EQ(g.languageCode.value + g.cableId.value + g.fiberId.value, "ENCABLE-7FIBRE-12");
    EXPECT_EQ(g.fiberType, v2 ? std::optional<uint16_t>(652) : std::nullopt);
    EXPECT_EQ(g.nominalWavelength, 1550);
    EXPECT_EQ(g.originatingLocation.value + "|" + g.terminatingLocation.value + "|" + g.cableCode.value, "Site A|Site B|CC-1");
    EXPECT_EQ(g.currentDataFlag.value, "BC");
    EXPECT_EQ(g.userOffset, -1200);
    EXPECT_EQ(g.userOffsetDistance, v2 ? std::optional<int32_t>(-250) : std::nullopt);
    EXPECT_EQ(g.operatorName.value + "|" + g.comment.value, "Ana|route 7");

    const SupParams& s = *doc->supParams;
    EXPECT_EQ(s.supplier.value + s.mainframeId.value + s.mainframeSerial.value + s.moduleId.value +
                  s.moduleSerial.value + s.softwareRevision.value + s.other.value,
              "TarnvikMF-1SN-100MOD-2SN-2001.2.3bench");

    const FxdParams& f = *doc->fxdParams;
    EXPECT_EQ(f.dateTime, 1700000000u);
    EXPECT_EQ(f.distanceUnit.value, "km");
    EXPECT_EQ(f.actualWavelength, 15500);
    EXPECT_EQ(f.acquisitionOffset, -3000);
    EXPECT_EQ(f.acquisitionOffsetDistance, v2 ? std::optional<int32_t>(-600) : std::nullopt);
    EXPECT_EQ(f.pulseWidthCount, 3);
    EXPECT_EQ(f.pulseWidths, (std::vector<uint16_t>{100, 300, 1000}));
    EXPECT_EQ(f.sampleSpacing, (std::vector<uint32_t>{100000, 200000, 300000}));
    EXPECT_EQ(f.sampleCount, (std::vector<uint32_t>{400, 400, 400}));
    EXPECT_EQ(f.groupIndex, 146800);
    EXPECT_EQ(f.backscatterCoefficient, 800);
    EXPECT_EQ(f.averages, 1024u);
    EXPECT_EQ(f.averagingTime, v2 ? std::optional<uint16_t>(300) : std::nullopt);
    EXPECT_EQ(f.acquisitionRange, 400000u);
    EXPECT_EQ(f.acquisitionRangeDistance, v2 ? std::optional<int32_t>(40000) : std::nullopt);
    EXPECT_EQ(f.frontPanelOffset, -75);
    EXPECT_EQ(std::vector<int32_t>({f.noiseFloorLevel, f.noiseFloorScaleFactor, f.powerOffsetFirstPoint,
                                    f.lossThreshold, f.reflectanceThreshold, f.endOfFiberThreshold}),
              std::vector<int32_t>({56000, 1000, 123, 200, 40000, 3000}));
    EXPECT_EQ(f.traceType.has_value(), v2);
    if (v2) {
      EXPECT_EQ(f.traceType->value, "ST");
    }
    EXPECT_EQ(f.windowCoordinates, (v2 ? std::optional<std::array<int32_t, 4>>({0, 65535, 40000, -1000}) : std::nullopt));

    const KeyEvents& k = *doc->keyEvents;
    ASSERT_EQ(k.events.size(), 2u);
    for (std::size_t i = 0; i < 2; ++i) {
      const KeyEvent& e = k.events[i];
      const auto n = static_cast<int32_t>(i + 1);
      EXPECT_EQ(e.number, n);
      EXPECT_EQ(e.travelTime, static_cast<uint32_t>(10000 * n));
      EXPECT_EQ(e.slope, 350);
      EXPECT_EQ(e.spliceLoss, 100 * n);
      EXPECT_EQ(e.reflectance, -45000 - n);
      EXPECT_EQ(e.lossTechnique.value, "LS");
      EXPECT_EQ(e.comment.value, "ev" + std::to_string(n));
      EXPECT_EQ(e.markers, (v2 ? std::optional<std::array<int32_t, 5>>(
                                     {1000 * n + 1, 1000 * n + 2, 1000 * n + 3, 1000 * n + 4, 1000 * n + 5})
                               : std::nullopt));
    }
    EXPECT_EQ(k.events[0].code.value, "0F9999");
    EXPECT_EQ(k.events[0].kind, EventKind::NonReflective);
    EXPECT_EQ(k.events[0].origin, EventOrigin::Found);
    EXPECT_EQ(k.events[1].kind, EventKind::Reflective);
    EXPECT_EQ(k.events[1].origin, EventOrigin::EndOfFiber);
    ASSERT_TRUE(k.summary.has_value());
    EXPECT_EQ(k.summary->totalLoss, 5500);
    EXPECT_EQ(k.summary->lossEnd, 20000u);
    EXPECT_EQ(k.summary->opticalReturnLoss, 32000);
    EXPECT_EQ(k.summary->returnLossEnd, 20000u);

    const DataPts& d = *doc->dataPts;
    EXPECT_EQ(d.sampleCount, 1200u);
    EXPECT_FALSE(d.interleaved);
    ASSERT_EQ(d.groups.size(), 2u);
    for (std::size_t gi = 0; gi < 2; ++gi) {
      EXPECT_EQ(d.groups[gi].count, sor.groupSamples[gi]);
      EXPECT_EQ(d.groups[gi].scaleFactor, sor.scaleFactors[gi]);
      ASSERT_EQ(d.groups[gi].samples.size(), sor.groupSamples[gi]);
      for (std::size_t i = 0; i < d.groups[gi].samples.size(); ++i) {
        ASSERT_EQ(d.groups[gi].samples[i], StandardSample(gi, i)) << "group " << gi << " sample " << i;
      }
    }
    EXPECT_EQ(doc->cksum->stored, file[file.size() - 2] | file[file.size() - 1] << 8);
  }
}

// The byte codec's positions are 16-bit; a block of 128,000 sample bytes goes through it
// in windows. Each group's samples may also follow its own header (the strict reader's
// layout): the reader takes it when only that layout adds up.
TEST(SorDocumentTest, ReadsSamplesPastSixteenBitsAndEitherGroupLayout) {
  struct Case {
    const char* name;
    std::vector<uint32_t> groups;
    bool interleave;
  };
  for (const Case& c : {Case{"64,000 samples", {64000}, false}, Case{"two groups, headers first", {3, 40000}, false},
                        Case{"two groups, interleaved", {3, 40000}, true}}) {
    SCOPED_TRACE(c.name);
    const StandardSor sor{2, {100}, std::vector<uint16_t>(c.groups.size(), 1000), c.groups, 1};
    auto blocks = StandardSorBlocks(sor);
    if (c.interleave) {  // header 1, samples 1, header 2, samples 2
      Bytes& body = Block(blocks, "DataPts").body;
      const Bytes head2(body.begin() + 12, body.begin() + 18);
      body.erase(body.begin() + 12, body.begin() + 18);
      body.insert(body.begin() + 12 + 2 * 3, head2.begin(), head2.end());
    }
    const auto doc = ReadSorDocument(AssembleSorV2(blocks));
    EXPECT_TRUE(doc->warnings.empty());
    EXPECT_EQ(doc->dataPts->interleaved, c.interleave);
    ASSERT_EQ(doc->dataPts->groups.size(), c.groups.size());
    for (std::size_t g = 0; g < c.groups.size(); ++g) {
      const std::vector<uint16_t>& samples = doc->dataPts->groups[g].samples;
      ASSERT_EQ(samples.size(), c.groups[g]);
      for (std::size_t i = 0; i < samples.size(); ++i) ASSERT_EQ(samples[i], StandardSample(g, i)) << i;
    }
  }
}

TEST(SorDocumentTest, EachQuirkIsAWarning) {
  const auto edit = [](std::function<void(std::vector<SorBlock>&)> f) { return [f] { return V2(f); }; };
  const auto bytes = [](std::function<void(Bytes&)> f) {
    return [f] {
      Bytes b = V2({});
      f(b);
      return b;
    };
  };
  struct Case {
    const char* name;
    std::function<Bytes()> file;
    std::vector<std::string> codes;
    ChecksumStatus verdict = ChecksumStatus::Ok;
    std::function<void(const SorDocument&)> check = {};
  };
  const std::vector<Case> cases = {
      {"clean", edit({}), {}},
      {"version 1, DataPts before KeyEvents",
       [] { return V2([](auto& b) { std::swap(b[3], b[4]); }, true, StandardSor{1}); }, {"unusual-block-order"}},
      {"LnkParams of size 0", edit([](auto& b) { b.insert(b.begin() + 4, {"LnkParams", 200, {}}); }),
       {"zero-size-block"}, ChecksumStatus::Ok,
       [](const SorDocument& d) { EXPECT_FALSE(d.map[4].decoded); }},
      {"vendor name with a trailing space", edit([](auto& b) { b.push_back({"NetTestTSI ", 200, {1, 2, 3}}); }),
       {"name-trailing-space"}, ChecksumStatus::Ok,
       [](const SorDocument& d) { EXPECT_EQ(d.Slice(d.map[5].body).size(), 3u); }},
      {"vendor block before DataPts", edit([](auto& b) { b.insert(b.begin() + 4, {"Vendor", 200, {1}}); }),
       {"unusual-block-order"}},
      {"no KeyEvents", edit([](auto& b) { b.erase(b.begin() + 3); }), {"no-key-events"}},
      {"no SupParams, no DataPts", edit([](auto& b) { b.erase(b.begin() + 4); b.erase(b.begin() + 1); }),
       {"missing-block", "missing-block"}},
      {"FxdParams counts 999 samples", edit([](auto& b) { PutU32(Block(b, "FxdParams").body, 24, 999); }),
       {"sample-count-mismatch"}},
      {"DataPts total differs from its group", edit([](auto& b) { PutU32(Block(b, "DataPts").body, 0, 999); }),
       {"sample-count-mismatch", "sample-count-mismatch"}},
      {"bytes after the last block", bytes([](Bytes& b) { b.insert(b.end(), 10, 0x55); }), {"trailing-bytes"},
       ChecksumStatus::Ok, [](const SorDocument& d) { EXPECT_EQ(d.trailing.size, 10u); }},
      {"a stale Cksum after the last block",
       bytes([](Bytes& b) { b.insert(b.end(), {1, 'C', 'k', 's', 'u', 'm', 0, 0, 0}); }),
       {"stale-checksum", "trailing-bytes"}},
      {"checksum that does not verify", bytes([](Bytes& b) { b[b.size() - 2] = 0x12, b.back() = 0x34; }),
       {"checksum-mismatch"},
       ChecksumStatus::Mismatch,
       [](const SorDocument& d) {
         // The stored bytes are 0x12 0x34; the test's own CRC of the bytes before them.
         char text[64];
         std::snprintf(text, sizeof text, "mismatch: stored 0x3412, computed 0x%04X",
                       static_cast<unsigned>(Crc16(Bytes(d.bytes.begin(), d.bytes.end() - 2))));
         EXPECT_EQ(d.checksum.Text(), text);
       }},
      {"checksum of zero", bytes([](Bytes& b) { b[b.size() - 1] = b[b.size() - 2] = 0; }), {"checksum-zero"},
       ChecksumStatus::Zero},
      {"checksum over the whole file, its field as zero",
       bytes([](Bytes& b) {
         b.insert(b.end(), {7, 7});  // bytes after the field count too
         b[b.size() - 4] = b[b.size() - 3] = 0;
         const uint16_t crc = Crc16(b);
         b[b.size() - 4] = static_cast<uint8_t>(crc & 0xFF), b[b.size() - 3] = static_cast<uint8_t>(crc >> 8);
       }),
       {"trailing-bytes"}, ChecksumStatus::OkWithFieldAsZero},
      {"no Cksum block", [] { return V2({}, false); }, {"no-checksum-block"}, ChecksumStatus::NoChecksumBlock},
      {"Cyrillic cable id in Windows-1251", edit([](auto& b) {
         Bytes& body = Block(b, "GenParams").body;
         const Bytes cyrillic = {0xCA, 0xE0, 0xE1, 0xE5, 0xEB, 0xFC};  // "Кабель"
         body.erase(body.begin() + 2, body.begin() + 9);
         body.insert(body.begin() + 2, cyrillic.begin(), cyrillic.end());
       }),
       {"non-ascii-text"}, ChecksumStatus::Ok,
       [](const SorDocument& d) {
         EXPECT_EQ(d.genParams->cableId.value, "\xC3\x8A\xC3\xA0\xC3\xA1\xC3\xA5\xC3\xAB\xC3\xBC");  // "Êàáåëü"
         EXPECT_EQ(d.genParams->cableId.raw, "\xCA\xE0\xE1\xE5\xEB\xFC");
         EXPECT_EQ(d.genParams->fiberId.value, "FIBRE-12");
       }},
      {"FxdParams shorter than its fields", edit([](auto& b) { Block(b, "FxdParams").body.resize(30); }),
       {"block-short"}, ChecksumStatus::Ok,
       [](const SorDocument& d) {
         EXPECT_EQ(d.fxdParams->missingField, "group index");
         EXPECT_EQ(d.fxdParams->sampleCount, std::vector<uint32_t>{1000});
         EXPECT_FALSE(d.fxdParams->averagingTime.has_value());
       }},
      {"KeyEvents announcing more events than it holds", edit([](auto& b) { Block(b, "KeyEvents").body[0] = 9; }),
       {"block-short"}, ChecksumStatus::Ok,
       [](const SorDocument& d) {
         EXPECT_EQ(d.keyEvents->events.size(), 3u);
         EXPECT_EQ(d.keyEvents->missingField, "event 4: marker positions");  // the summary read as its head
       }},
      {"DataPts holding 5 samples fewer than announced",
       edit([](auto& b) { Block(b, "DataPts").body.resize(Block(b, "DataPts").body.size() - 10); }),
       {"block-short"}, ChecksumStatus::Ok,
       [](const SorDocument& d) {
         EXPECT_EQ(d.dataPts->groups[0].samples.size(), 995u);
         EXPECT_EQ(d.dataPts->missingField, "group 1: samples");
       }},
      {"FxdParams 48 bytes longer than its fields",
       edit([](auto& b) { Block(b, "FxdParams").body.insert(Block(b, "FxdParams").body.end(), 48, 0xEE); }),
       {"extra-bytes"}, ChecksumStatus::Ok,
       [](const SorDocument& d) {
         EXPECT_EQ(d.fxdParams->extra.size, 48u);
         EXPECT_EQ(d.Slice(d.fxdParams->extra)[47], 0xEE);
         EXPECT_EQ(d.fxdParams->windowCoordinates->back(), -1000);
       }},
      {"file ending inside DataPts", bytes([](Bytes& b) { b.resize(b.size() - 100); }),
       {"block-past-end", "block-past-end", "block-short", "block-short"}, ChecksumStatus::NoChecksumBlock,
       [](const SorDocument& d) { EXPECT_EQ(d.dataPts->groups[0].samples.size(), 954u); }},  // (100 - 8) / 2 short
      {"vendor body without its name", [] {
         Bytes b = V2([](auto& blocks) { blocks.push_back({"Vendor", 200, {1, 2}}); });
         const std::string reversed = "rodneV";
         *(std::search(b.rbegin(), b.rend(), reversed.begin(), reversed.end()) + 5) = 'v';  // the body's "vendor"
         return Resealed(b);
       }, {"unnamed-body"}, ChecksumStatus::Ok,
       [](const SorDocument& d) { EXPECT_EQ(d.Slice(d.map[5].body).size(), 9u); }},
      {"a second DataPts", edit([](auto& b) { b.push_back(Block(b, "DataPts")); }), {"duplicate-block"},
       ChecksumStatus::Ok, [](const SorDocument& d) { EXPECT_FALSE(d.map[5].decoded); }},
      {"map longer than its entries", bytes([](Bytes& b) {
         PutU32(b, 6, 104);  // 102 + 2
         b.insert(b.begin() + 102, {0, 0});
         b = Resealed(b);
       }), {"map-size-mismatch"}},
      {"scale factor 0", [] { return V2({}, true, StandardSor{2, {100}, {0}}); }, {"zero-scale-factor"}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const auto doc = ReadSorDocument(c.file());
    EXPECT_EQ(Codes(*doc), c.codes);
    EXPECT_EQ(doc->checksum.status, c.verdict);
    for (const Warning& w : doc->warnings) EXPECT_FALSE(w.message.empty());
    if (c.check) c.check(*doc);
  }
}

TEST(SorDocumentTest, RefusesOnlyAFileWithoutAUsableMap) {
  const std::string source = "SorDocument:ReadSorDocument()";
  const std::string unrecognized = "\": an SR-4731 file starts with a map revision 100..199, or with \"Map\" 0x00 and "
                                   "a revision 200..299.";
  const Bytes v1 = MakeStandardSor(StandardSor{1});
  Bytes entryPastMap = v1;
  PutU32(entryPastMap, 2, 38);  // the map's second entry does not fit in 38 bytes
  struct Case {
    const char* name;
    Bytes bytes;
    int32_t number;
    std::string description;
  };
  const std::vector<Case> cases = {
      {"empty", {}, 62, "Input past end of file while reading the Map Block: 8 bytes expected, 0 found."},
      {"one byte", {0x64}, 62, "Input past end of file while reading the Map Block: 8 bytes expected, 1 found."},
      {"revision 300", {0x2C, 0x01, 8, 0, 0, 0, 1, 0}, 10513, "Unrecognized file format version \"300" + unrecognized},
      {"revision 99", {99, 0}, 10513, "Unrecognized file format version \"99" + unrecognized},
      {"\"Map\" and revision 100", {'M', 'a', 'p', 0, 100, 0}, 10513,
       "Unrecognized file format version \"100" + unrecognized},
      {"a text file", {'M', 'a', 'p', 's'}, 10513, "Unrecognized file format version \"24909" + unrecognized},
      {"\"Map\" alone", {'M', 'a', 'p', 0}, 62,
       "Input past end of file while reading the Map Block: 12 bytes expected, 4 found."},
      {"version 2 header cut", {'M', 'a', 'p', 0, 200, 0, 12, 0}, 62,
       "Input past end of file while reading the Map Block: 12 bytes expected, 8 found."},
      {"map smaller than its header", {100, 0, 6, 0, 0, 0, 1, 0}, 10512,
       "The Map Block gives itself 6 bytes, fewer than its 8-byte header."},
      {"map past the file's end", Bytes(v1.begin(), v1.begin() + 60), 62,
       "Input past end of file while reading the Map Block: 98 bytes expected, 60 found."},
      {"entries past the map's size", entryPastMap, 10512,
       "The Map Block's 6 entries run past its size of 38 bytes, at \"entry 2: size\"."},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_RAISES(ReadSorDocument(c.bytes), c.number, source, c.description);
  }
  EXPECT_RAISES(ReadSorDocument(std::string("/no/such/file.sor")), 53, source, "File not found");
}

TEST(SorDocumentTest, TextsAreUtf8OrElseWindows1252) {
  struct Case {
    std::string raw;
    std::string value;
    TextEncoding encoding;
  };
  const std::vector<Case> cases = {
      {"route 7", "route 7", TextEncoding::Ascii},
      {"ajout\xC3\xA9", "ajout\xC3\xA9", TextEncoding::Utf8},                        // é in UTF-8
      {"\xE9t\xE9", "\xC3\xA9t\xC3\xA9", TextEncoding::Windows1252},                  // é in one byte
      {"\x80\x8A\x9F", "\xE2\x82\xAC\xC5\xA0\xC5\xB8", TextEncoding::Windows1252},     // € Š Ÿ
      {"\x81\x8D\x8F\x90\x9D", "\xC2\x81\xC2\x8D\xC2\x8F\xC2\x90\xC2\x9D", TextEncoding::Windows1252},  // unassigned
      {"\xC0\x80", "\xC3\x80\xE2\x82\xAC", TextEncoding::Windows1252},                 // overlong: À €
      {"\xED\xA0\x80", "\xC3\xAD\xC2\xA0\xE2\x82\xAC", TextEncoding::Windows1252},     // a surrogate: í nbsp €
      {"\xC3", "\xC3\x83", TextEncoding::Windows1252},                                 // cut short: Ã
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.raw);
    const Text text = DecodeText(c.raw);
    EXPECT_EQ(text.value, c.value);
    EXPECT_EQ(text.raw, c.raw);
    EXPECT_EQ(text.encoding, c.encoding);
  }
}

}  // namespace
}  // namespace tarnvik::testing
