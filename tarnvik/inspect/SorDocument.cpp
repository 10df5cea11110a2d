#include "tarnvik/inspect/SorDocument.h"

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <utility>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/inspect/FieldCursor.h"
#include "tarnvik/inspect/TextDecoding.h"
#include "tarnvik/sor/CCRC.h"

namespace tarnvik::inspect {

namespace {

constexpr const char* kModule = "SorDocument";
constexpr const char* kProcedure = "ReadSorDocument()";

using detail::FieldCursor;

// The standard blocks by name, and their place in the usual order; other blocks come
// after "DataPts", "Cksum" last.
struct Standard {
  const char* name;
  BlockKind kind;
  int rank;
};
constexpr Standard kStandard[] = {
    {"GenParams", BlockKind::GenParams, 0}, {"SupParams", BlockKind::SupParams, 1},
    {"FxdParams", BlockKind::FxdParams, 2}, {"KeyEvents", BlockKind::KeyEvents, 3},
    {"LnkParams", BlockKind::LnkParams, 4}, {"DataPts", BlockKind::DataPts, 5},
    {"Cksum", BlockKind::Cksum, 7},
};
constexpr int kOtherRank = 6;

int Rank(BlockKind kind) {
  for (const Standard& s : kStandard) {
    if (s.kind == kind) return s.rank;
  }
  return kOtherRank;
}

BlockKind KindOf(const std::string& name) {
  const std::size_t end = name.find_last_not_of(' ');
  const std::string trimmed = end == std::string::npos ? std::string() : name.substr(0, end + 1);
  for (const Standard& s : kStandard) {
    if (trimmed == s.name) return s.kind;
  }
  return BlockKind::Other;
}

std::string Hex16(uint16_t value) {
  char text[8];
  std::snprintf(text, sizeof text, "0x%04X", static_cast<unsigned>(value));
  return text;
}

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

EventKind KindOfCode(const std::string& code) {
  switch (code.empty() ? '\0' : code[0]) {
    case '0': return EventKind::NonReflective;
    case '1': return EventKind::Reflective;
    case '2': return EventKind::SaturatedReflective;
    default: return EventKind::Unknown;
  }
}

EventOrigin OriginOfCode(const std::string& code) {
  switch (code.size() < 2 ? '\0' : code[1]) {
    case 'F': return EventOrigin::Found;
    case 'A': return EventOrigin::Added;
    case 'M': return EventOrigin::Moved;
    case 'E': return EventOrigin::EndOfFiber;
    case 'O': return EventOrigin::OutOfRange;
    case 'D': return EventOrigin::Deleted;
    default: return EventOrigin::Unknown;
  }
}

[[noreturn]] void RaiseMapPastEnd(std::size_t expected, std::size_t found) {
  Raise(err::InputPastEndOfFile, "Input past end of file while reading the Map Block: " + std::to_string(expected) +
                                     " bytes expected, " + std::to_string(found) + " found.");
}

[[noreturn]] void RaiseUnrecognized(uint16_t revision) {
  Raise(ERR_WrongVersion, "Unrecognized file format version \"" + std::to_string(revision) +
                              "\": an SR-4731 file starts with a map revision 100..199, or with \"Map\" 0x00 and a "
                              "revision 200..299.");
}

class Reader {
 public:
  explicit Reader(SorDocument& doc) : doc_(doc), v2_(false) {}

  void Read() {
    ReadMap();
    LocateBlocks();
    for (std::size_t i = 0; i < doc_.map.size(); ++i) DecodeBlock(i);
    CheckOrder();
    CheckPresence();
    CheckSampleCounts();
    JudgeChecksum();
  }

 private:
  void Warn(const char* code, std::string message) { doc_.warnings.push_back({code, std::move(message)}); }

  // ---- The map and where the blocks lie ----------------------------------------

  void ReadMap() {
    const std::vector<uint8_t>& b = doc_.bytes;
    const std::size_t n = b.size();
    static constexpr uint8_t kMapId[4] = {'M', 'a', 'p', 0};
    v2_ = n >= 4 && std::memcmp(b.data(), kMapId, 4) == 0;
    const std::size_t header = v2_ ? 12 : 8;
    const std::size_t idLength = v2_ ? 4 : 0;
    if (n < idLength + 2) RaiseMapPastEnd(header, n);
    FieldCursor head(b.data() + idLength, std::min(n, header) - idLength);
    uint16_t revision = 0;
    head.U16("map revision", revision);
    if (v2_ ? (revision < 200 || revision > 299) : (revision < 100 || revision > 199)) RaiseUnrecognized(revision);
    if (n < header) RaiseMapPastEnd(header, n);
    doc_.version = v2_ ? 2 : 1;
    doc_.mapRevision = revision;
    head.U32("map size", doc_.mapSize);
    head.U16("block count", doc_.blockCount);
    if (doc_.mapSize < header) {
      Raise(ERR_BadParse, "The Map Block gives itself " + std::to_string(doc_.mapSize) + " bytes, fewer than its " +
                              std::to_string(header) + "-byte header.");
    }
    if (doc_.mapSize > n) RaiseMapPastEnd(doc_.mapSize, n);

    FieldCursor entries(b.data() + header, doc_.mapSize - header);
    for (std::size_t i = 1; i < doc_.blockCount; ++i) {
      entries.SetItem("entry", i);
      MapEntry entry;
      std::string name;
      if (!entries.Text("block name", name) || !entries.U16("revision", entry.revision) ||
          !entries.U32("size", entry.size)) {
        Raise(ERR_BadParse, "The Map Block's " + std::to_string(doc_.blockCount - 1) + " entries run past its size of " +
                                std::to_string(doc_.mapSize) + " bytes, at " + Quoted(entries.MissingField()) + ".");
      }
      entry.name = DecodeText(std::move(name));
      entry.kind = KindOf(entry.name.raw);
      doc_.map.push_back(std::move(entry));
    }
    if (entries.Remaining() > 0) {
      Warn(warning::kMapSizeMismatch, "The map is " + std::to_string(doc_.mapSize) + " bytes long; its entries end after " +
                                          std::to_string(header + entries.Position()) + ".");
    }
    for (const MapEntry& entry : doc_.map) {
      const std::string& raw = entry.name.raw;
      CheckText(entry.name, "block name " + Quoted(entry.name.value), "the map");
      if (!raw.empty() && raw.back() == ' ') {
        Warn(warning::kNameTrailingSpace, "Block name " + Quoted(entry.name.value) + " ends with a space.");
      }
    }
  }

  void LocateBlocks() {
    const std::vector<uint8_t>& b = doc_.bytes;
    const uint64_t n = b.size();
    uint64_t offset = doc_.mapSize;
    for (MapEntry& entry : doc_.map) {
      const std::string& name = entry.name.value;
      entry.offset = offset;
      const uint64_t available = offset >= n ? 0 : std::min<uint64_t>(entry.size, n - offset);
      entry.body = {static_cast<std::size_t>(std::min(offset, n)), static_cast<std::size_t>(available)};
      if (entry.size == 0) Warn(warning::kZeroSizeBlock, "Block " + Quoted(name) + " is listed with size 0.");
      if (available < entry.size) {
        Warn(warning::kBlockPastEnd, "Block " + Quoted(name) + " is listed with " + std::to_string(entry.size) +
                                         " bytes at offset " + std::to_string(offset) + "; the file holds " +
                                         std::to_string(available) + " of them.");
      }
      if (v2_ && entry.size > 0 && available > 0) {
        // A version-2 body starts with its own name text.
        const std::string& raw = entry.name.raw;
        const std::size_t prefix = std::min<std::size_t>(raw.size() + 1, entry.body.size);
        const uint8_t* at = b.data() + entry.body.offset;
        if (std::memcmp(at, raw.c_str(), prefix) == 0) {
          entry.body.offset += prefix;
          entry.body.size -= prefix;
        } else {
          Warn(warning::kUnnamedBody, "Block " + Quoted(name) + " does not start with its name; its fields are read "
                                      "from its first byte.");
        }
      }
      offset += entry.size;
    }
    if (offset < n) {
      const auto start = static_cast<std::size_t>(offset);
      doc_.trailing = {start, b.size() - start};
      Warn(warning::kTrailingBytes,
           std::to_string(doc_.trailing.size) + " bytes follow the last block the map lists.");
      static constexpr uint8_t kStale[] = {'C', 'k', 's', 'u', 'm', 0};
      if (std::search(b.begin() + static_cast<std::ptrdiff_t>(start), b.end(), std::begin(kStale),
                      std::end(kStale)) != b.end()) {
        Warn(warning::kStaleChecksum, "The bytes after the last block hold a second \"Cksum\" block, left from an "
                                      "earlier save.");
      }
    }
  }

  // ---- Blocks ------------------------------------------------------------------

  void DecodeBlock(std::size_t index) {
    MapEntry& entry = doc_.map[index];
    const bool duplicate = [&] {
      switch (entry.kind) {
        case BlockKind::GenParams: return doc_.genParams.has_value();
        case BlockKind::SupParams: return doc_.supParams.has_value();
        case BlockKind::FxdParams: return doc_.fxdParams.has_value();
        case BlockKind::KeyEvents: return doc_.keyEvents.has_value();
        case BlockKind::DataPts: return doc_.dataPts.has_value();
        case BlockKind::Cksum: return doc_.cksum.has_value();
        default: return false;
      }
    }();
    if (entry.kind == BlockKind::Other || entry.kind == BlockKind::LnkParams) return;
    if (duplicate) {
      Warn(warning::kDuplicateBlock, "A second block " + Quoted(entry.name.value) + " is kept as bytes, not read.");
      return;
    }
    entry.decoded = true;
    entry_ = index;
    block_ = entry.name.value;
    FieldCursor c(doc_.bytes.data() + entry.body.offset, entry.body.size);
    switch (entry.kind) {
      case BlockKind::GenParams: ReadGenParams(Start(doc_.genParams.emplace()), c); break;
      case BlockKind::SupParams: ReadSupParams(Start(doc_.supParams.emplace()), c); break;
      case BlockKind::FxdParams: ReadFxdParams(Start(doc_.fxdParams.emplace()), c); break;
      case BlockKind::KeyEvents: ReadKeyEvents(Start(doc_.keyEvents.emplace()), c); break;
      case BlockKind::DataPts: ReadDataPts(Start(doc_.dataPts.emplace()), c); break;
      case BlockKind::Cksum: ReadCksum(Start(doc_.cksum.emplace()), c); break;
      default: break;
    }
  }

  // Remembers the block being read, so that Done() can record how it ended.
  template <class Block>
  Block& Start(Block& block) {
    info_ = &block;
    return block;
  }

  // After a block's fields: the first field missing, or the bytes left over.
  void Done(FieldCursor& c) {
    BlockInfo& info = *info_;
    info.entry = entry_;
    info.missingField = c.MissingField();
    if (c.Short()) {
      Warn(warning::kBlockShort, "Block " + Quoted(block_) + " ends before its field " + Quoted(c.MissingField()) + ".");
    } else if (c.Remaining() > 0) {
      info.extra = {doc_.map[entry_].body.offset + c.Position(), c.Remaining()};
      Warn(warning::kExtraBytes, "Block " + Quoted(block_) + " holds " + std::to_string(c.Remaining()) +
                                     " bytes after its fields; they are kept.");
    }
  }

  void CheckText(const Text& text, const std::string& what, const std::string& where) {
    if (text.encoding == TextEncoding::Ascii) return;
    Warn(warning::kNonAsciiText, "The " + what + " in " + where + " is not ASCII; read as " +
                                     (text.encoding == TextEncoding::Utf8 ? "UTF-8" : "Windows-1252") + ": " +
                                     Quoted(text.value) + ".");
  }

  // A zero-terminated text (width 0) or a fixed-width one.
  bool TextField(FieldCursor& c, const char* field, Text& out, std::size_t width = 0, std::size_t event = 0) {
    std::string raw;
    if (!(width == 0 ? c.Text(field, raw) : c.Fixed(field, width, raw))) return false;
    out = DecodeText(std::move(raw));
    if (out.encoding != TextEncoding::Ascii) {
      const std::string what = event == 0 ? std::string(field) : "event " + std::to_string(event) + " " + field;
      CheckText(out, what, "block " + Quoted(block_));
    }
    return true;
  }

  template <class T, class Read>
  static void Optional(std::optional<T>& out, Read&& read) {
    T value{};
    if (read(value)) out = value;
  }

  void ReadGenParams(GenParams& g, FieldCursor& c) {
    TextField(c, "language code", g.languageCode, 2);
    TextField(c, "cable id", g.cableId);
    TextField(c, "fiber id", g.fiberId);
    if (v2_) Optional(g.fiberType, [&](uint16_t& v) { return c.U16("fiber type", v); });
    c.U16("nominal wavelength", g.nominalWavelength);
    TextField(c, "originating location", g.originatingLocation);
    TextField(c, "terminating location", g.terminatingLocation);
    TextField(c, "cable code", g.cableCode);
    TextField(c, "current data flag", g.currentDataFlag, 2);
    c.I32("user offset", g.userOffset);
    if (v2_) Optional(g.userOffsetDistance, [&](int32_t& v) { return c.I32("user offset distance", v); });
    TextField(c, "operator", g.operatorName);
    TextField(c, "comment", g.comment);
    Done(c);
  }

  void ReadSupParams(SupParams& s, FieldCursor& c) {
    TextField(c, "supplier", s.supplier);
    TextField(c, "mainframe id", s.mainframeId);
    TextField(c, "mainframe serial", s.mainframeSerial);
    TextField(c, "module id", s.moduleId);
    TextField(c, "module serial", s.moduleSerial);
    TextField(c, "software revision", s.softwareRevision);
    TextField(c, "other", s.other);
    Done(c);
  }

  // Reads up to count values into out, stopping at the first that does not fit.
  template <class T, class Read>
  static void Array(FieldCursor& c, const char* item, std::size_t count, std::vector<T>& out, Read&& read) {
    for (std::size_t k = 0; k < count && !c.Short(); ++k) {
      c.SetItem(item, k + 1);
      T value{};
      if (read(value)) out.push_back(value);
    }
    c.SetItem(nullptr, 0);
  }

  void ReadFxdParams(FxdParams& f, FieldCursor& c) {
    c.U32("date/time", f.dateTime);
    TextField(c, "distance unit", f.distanceUnit, 2);
    c.U16("actual wavelength", f.actualWavelength);
    c.I32("acquisition offset", f.acquisitionOffset);
    if (v2_) Optional(f.acquisitionOffsetDistance, [&](int32_t& v) { return c.I32("acquisition offset distance", v); });
    c.U16("number of pulse widths", f.pulseWidthCount);
    const std::size_t n = f.pulseWidthCount;
    Array(c, "pulse width", n, f.pulseWidths, [&](uint16_t& v) { return c.U16("", v); });
    Array(c, "sample spacing", n, f.sampleSpacing, [&](uint32_t& v) { return c.U32("", v); });
    Array(c, "sample count", n, f.sampleCount, [&](uint32_t& v) { return c.U32("", v); });
    c.I32("group index", f.groupIndex);
    c.U16("backscatter coefficient", f.backscatterCoefficient);
    c.U32("number of averages", f.averages);
    if (v2_) Optional(f.averagingTime, [&](uint16_t& v) { return c.U16("averaging time", v); });
    c.U32("acquisition range", f.acquisitionRange);
    if (v2_) Optional(f.acquisitionRangeDistance, [&](int32_t& v) { return c.I32("acquisition range distance", v); });
    c.I32("front panel offset", f.frontPanelOffset);
    c.U16("noise floor level", f.noiseFloorLevel);
    c.I16("noise floor scale factor", f.noiseFloorScaleFactor);
    c.U16("power offset first point", f.powerOffsetFirstPoint);
    c.U16("loss threshold", f.lossThreshold);
    c.U16("reflectance threshold", f.reflectanceThreshold);
    c.U16("end-of-fiber threshold", f.endOfFiberThreshold);
    if (v2_) {
      Optional(f.traceType, [&](Text& v) { return TextField(c, "trace type", v, 2); });
      Optional(f.windowCoordinates, [&](std::array<int32_t, 4>& v) {
        for (int32_t& x : v) c.I32("window coordinates", x);
        return !c.Short();
      });
    }
    Done(c);
  }

  void ReadKeyEvents(KeyEvents& k, FieldCursor& c) {
    c.U16("number of events", k.eventCount);
    for (std::size_t i = 1; i <= k.eventCount && !c.Short(); ++i) {
      c.SetItem("event", i);
      KeyEvent e;
      c.U16("number", e.number);
      c.U32("travel time", e.travelTime);
      c.I16("slope", e.slope);
      c.I16("splice loss", e.spliceLoss);
      c.I32("reflectance", e.reflectance);
      TextField(c, "code", e.code, 6, i);
      TextField(c, "loss technique", e.lossTechnique, 2, i);
      if (v2_) {
        Optional(e.markers, [&](std::array<int32_t, 5>& v) {
          for (int32_t& x : v) c.I32("marker positions", x);
          return !c.Short();
        });
      }
      TextField(c, "comment", e.comment, 0, i);
      if (c.Short()) break;
      e.kind = KindOfCode(e.code.raw);
      e.origin = OriginOfCode(e.code.raw);
      k.events.push_back(std::move(e));
    }
    c.SetItem(nullptr, 0);
    KeyEventsSummary s;
    c.I32("total loss", s.totalLoss);
    c.I32("loss start", s.lossStart);
    c.U32("loss end", s.lossEnd);
    c.U16("optical return loss", s.opticalReturnLoss);
    c.I32("return loss start", s.returnLossStart);
    if (c.U32("return loss end", s.returnLossEnd)) k.summary = s;
    Done(c);
  }

  // Whether the group counts add up to the stored total with the samples laid out one way
  // or the other; both probes start after the total and the number of groups.
  static bool GroupsAddUp(const uint8_t* bytes, std::size_t size, uint32_t total, uint16_t groups, bool interleaved) {
    FieldCursor c(bytes, size);
    c.Skip("head", 6);
    uint64_t sum = 0;
    for (std::size_t k = 0; k < groups; ++k) {
      uint32_t count = 0;
      if (!c.U32("count", count) || !c.Skip("scale factor", 2)) return false;
      if (interleaved && !(count <= c.Remaining() / 2 && c.Skip("samples", 2 * static_cast<std::size_t>(count)))) {
        return false;
      }
      sum += count;
    }
    return sum == total && (interleaved || sum <= c.Remaining() / 2);
  }

  void ReadDataPts(DataPts& d, FieldCursor& c) {
    c.U32("number of samples", d.sampleCount);
    c.U16("number of scale factors", d.groupCount);
    if (d.groupCount > 1 && !c.Short()) {
      const MapEntry& entry = doc_.map[entry_];
      const uint8_t* bytes = doc_.bytes.data() + entry.body.offset;
      d.interleaved = !GroupsAddUp(bytes, entry.body.size, d.sampleCount, d.groupCount, false) &&
                      GroupsAddUp(bytes, entry.body.size, d.sampleCount, d.groupCount, true);
    }
    for (std::size_t k = 1; k <= d.groupCount && !c.Short(); ++k) {
      c.SetItem("group", k);
      DataGroup group;
      c.U32("number of samples", group.count);
      c.U16("scale factor", group.scaleFactor);
      if (c.Short()) break;
      if (d.interleaved) c.U16Run("samples", group.count, group.samples);
      d.groups.push_back(std::move(group));
    }
    if (!d.interleaved) {
      for (std::size_t k = 1; k <= d.groups.size() && !c.Short(); ++k) {
        c.SetItem("group", k);
        DataGroup& group = d.groups[k - 1];
        c.U16Run("samples", group.count, group.samples);
      }
    }
    c.SetItem(nullptr, 0);
    for (std::size_t k = 0; k < d.groups.size(); ++k) {
      if (d.groups[k].scaleFactor == 0) {
        Warn(warning::kZeroScaleFactor, "Group " + std::to_string(k + 1) + " of block " + Quoted(block_) +
                                            " has scale factor 0: its levels are unknown.");
      }
    }
    Done(c);
  }

  void ReadCksum(Cksum& k, FieldCursor& c) {
    c.U16("checksum", k.stored);
    Done(c);
  }

  // ---- The file as a whole -----------------------------------------------------

  void CheckOrder() {
    const MapEntry* highest = nullptr;
    for (const MapEntry& entry : doc_.map) {
      if (highest != nullptr && Rank(entry.kind) < Rank(highest->kind)) {
        Warn(warning::kUnusualOrder, "The blocks are in an unusual order: " + Quoted(highest->name.value) +
                                         " comes before " + Quoted(entry.name.value) + ".");
        return;
      }
      if (highest == nullptr || Rank(entry.kind) > Rank(highest->kind)) highest = &entry;
    }
  }

  void CheckPresence() {
    const std::pair<bool, const char*> required[] = {{doc_.genParams.has_value(), "GenParams"},
                                                     {doc_.supParams.has_value(), "SupParams"},
                                                     {doc_.fxdParams.has_value(), "FxdParams"},
                                                     {doc_.dataPts.has_value(), "DataPts"}};
    for (const auto& [present, name] : required) {
      if (!present) Warn(warning::kMissingBlock, std::string("The file has no \"") + name + "\" block.");
    }
    if (!doc_.keyEvents) Warn(warning::kNoKeyEvents, "The file has no \"KeyEvents\" block.");
    if (!doc_.cksum) Warn(warning::kNoChecksumBlock, "The file has no \"Cksum\" block.");
  }

  void CheckSampleCounts() {
    if (!doc_.dataPts) return;
    const DataPts& d = *doc_.dataPts;
    if (doc_.fxdParams && !doc_.fxdParams->sampleCount.empty()) {
      uint64_t fixed = 0;
      for (uint32_t count : doc_.fxdParams->sampleCount) fixed += count;
      if (fixed != d.sampleCount) {
        Warn(warning::kSampleCountMismatch, "FxdParams counts " + std::to_string(fixed) + " samples, DataPts " +
                                                std::to_string(d.sampleCount) + ".");
      }
    }
    if (d.groups.size() == d.groupCount) {
      uint64_t grouped = 0;
      for (const DataGroup& group : d.groups) grouped += group.count;
      if (grouped != d.sampleCount) {
        Warn(warning::kSampleCountMismatch, "DataPts counts " + std::to_string(d.sampleCount) +
                                                " samples in all and " + std::to_string(grouped) + " in its groups.");
      }
    }
  }

  void JudgeChecksum() {
    ChecksumVerdict& verdict = doc_.checksum;
    if (!doc_.cksum || !doc_.cksum->missingField.empty()) return;  // no checksum block
    const std::vector<uint8_t>& b = doc_.bytes;
    const std::size_t at = doc_.map[doc_.cksum->entry].body.offset;
    CCRC before;
    verdict.stored = doc_.cksum->stored;
    verdict.computed = static_cast<uint16_t>(before.Update(b.data(), at));
    if (verdict.stored == verdict.computed) {
      verdict.status = ChecksumStatus::Ok;
      return;
    }
    CCRC whole;  // the same register fed two zero bytes, then whatever follows the field
    whole.SetValue(verdict.computed);
    static constexpr uint8_t kZeros[2] = {0, 0};
    whole.Update(kZeros, 2);
    whole.Update(b.data() + at + 2, b.size() - at - 2);
    if (verdict.stored == whole.Value()) {
      verdict.status = ChecksumStatus::OkWithFieldAsZero;
    } else if (verdict.stored == 0) {
      verdict.status = ChecksumStatus::Zero;
      Warn(warning::kChecksumZero, "The checksum field holds 0: the file stores no checksum.");
    } else {
      verdict.status = ChecksumStatus::Mismatch;
      Warn(warning::kChecksumMismatch, "The stored checksum " + Hex16(verdict.stored) +
                                           " does not match the one computed, " + Hex16(verdict.computed) + ".");
    }
  }

  SorDocument& doc_;
  bool v2_;
  std::size_t entry_ = 0;     // the block being read
  std::string block_;         // its name
  BlockInfo* info_ = nullptr;
};

std::shared_ptr<const SorDocument> Read(std::vector<uint8_t> bytes) {
  auto doc = std::make_shared<SorDocument>();
  doc->bytes = std::move(bytes);
  Reader(*doc).Read();
  return doc;
}

}  // namespace

const char* BlockKindName(BlockKind kind) {
  switch (kind) {
    case BlockKind::GenParams: return "GenParams";
    case BlockKind::SupParams: return "SupParams";
    case BlockKind::FxdParams: return "FxdParams";
    case BlockKind::KeyEvents: return "KeyEvents";
    case BlockKind::LnkParams: return "LnkParams";
    case BlockKind::DataPts: return "DataPts";
    case BlockKind::Cksum: return "Cksum";
    case BlockKind::Other: break;
  }
  return "other";
}

const char* ChecksumStatusName(ChecksumStatus status) {
  switch (status) {
    case ChecksumStatus::Ok: return "ok";
    case ChecksumStatus::OkWithFieldAsZero: return "ok-with-field-as-zero";
    case ChecksumStatus::Zero: return "zero";
    case ChecksumStatus::Mismatch: return "mismatch";
    case ChecksumStatus::NoChecksumBlock: return "no-checksum-block";
  }
  return "mismatch";
}

const char* EventKindName(EventKind kind) {
  switch (kind) {
    case EventKind::NonReflective: return "non-reflective";
    case EventKind::Reflective: return "reflective";
    case EventKind::SaturatedReflective: return "saturated-reflective";
    case EventKind::Unknown: break;
  }
  return "unknown";
}

const char* EventOriginName(EventOrigin origin) {
  switch (origin) {
    case EventOrigin::Found: return "found";
    case EventOrigin::Added: return "added";
    case EventOrigin::Moved: return "moved";
    case EventOrigin::EndOfFiber: return "end-of-fiber";
    case EventOrigin::OutOfRange: return "out-of-range";
    case EventOrigin::Deleted: return "deleted";
    case EventOrigin::Unknown: break;
  }
  return "unknown";
}

std::string ChecksumVerdict::Text() const {
  switch (status) {
    case ChecksumStatus::Ok: return "ok";
    case ChecksumStatus::OkWithFieldAsZero: return "ok with the field taken as zero";
    case ChecksumStatus::Zero: return "zero";
    case ChecksumStatus::Mismatch: return "mismatch: stored " + Hex16(stored) + ", computed " + Hex16(computed);
    case ChecksumStatus::NoChecksumBlock: break;
  }
  return "no checksum block";
}

bool SorDocument::HasWarning(const std::string& code) const {
  return std::any_of(warnings.begin(), warnings.end(), [&](const Warning& w) { return w.code == code; });
}

std::shared_ptr<const SorDocument> ReadSorDocument(std::vector<uint8_t> bytes) {
  return Guarded(kModule, kProcedure, [&] { return Read(std::move(bytes)); });
}

std::shared_ptr<const SorDocument> ReadSorDocument(const std::string& path) {
  return Guarded(kModule, kProcedure, [&] { return Read(ReadWholeFile(path)); });
}

}  // namespace tarnvik::inspect
