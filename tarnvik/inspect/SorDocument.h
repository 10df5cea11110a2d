// A read-only view of any SR-4731 file as instruments write it: version 1 (map revision
// 100..199) and version 2 ("Map" 0x00, then revision 200..299). The map, every standard
// block decoded with all its fields, the other blocks kept as bytes, the checksum's
// verdict, and one warning for each quirk met on the way.
//
// CSORFile reads and writes one layout and refuses everything else; this reader refuses
// a file only when nothing usable remains:
//   10513  not an SR-4731 file: the first bytes are neither "Map" 0x00 and a revision
//          200..299 nor a revision 100..199;
//   62     the file ends inside the map ("Input past end of file while reading the Map
//          Block: N bytes expected, M found.", as CSORFile words it);
//   10512  the map's entries run past the size the map gives itself;
//   and, from the path overload, ReadWholeFile's 52, 53 and 75.
// Errors come with source "SorDocument:ReadSorDocument()". Everything else (a block cut
// short, a count announcing more than the bytes hold, a text in an unknown code page, a
// checksum that does not verify) is a warning, and the document holds what was there.
//
// The document keeps the whole file; ranges (ByteRange) point into it. Nothing in it is
// allocated from what a field announces: every count is bounded by the bytes present.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace tarnvik::inspect {

// How a text's bytes were read: ASCII, well-formed UTF-8, or else Windows-1252 (every
// byte is a character there, so decoding never fails).
enum class TextEncoding { Ascii, Utf8, Windows1252 };

struct Text {
  std::string value;  // UTF-8
  std::string raw;    // the bytes as stored, without the terminating zero
  TextEncoding encoding = TextEncoding::Ascii;
};

// Bytes of the file: offset from its first byte and length.
struct ByteRange {
  std::size_t offset = 0;
  std::size_t size = 0;
};

enum class BlockKind { GenParams, SupParams, FxdParams, KeyEvents, LnkParams, DataPts, Cksum, Other };

// One entry of the map, and where its block lies.
struct MapEntry {
  Text name;                  // as listed, trailing spaces kept
  uint16_t revision = 0;
  uint32_t size = 0;          // as listed; in version 2 it counts the body's name text
  uint64_t offset = 0;        // map size + the sizes of the blocks before it
  // The block's own bytes as far as the file holds them: after the name text that starts
  // a version-2 body, from the block's start otherwise.
  ByteRange body;
  // A standard block is recognised by its name without trailing spaces.
  BlockKind kind = BlockKind::Other;
  // Decoded into one of the document's blocks; false for LnkParams, vendor blocks and a
  // second block of a standard name, which are kept as bytes (body).
  bool decoded = false;
};

// What every decoded block shares.
struct BlockInfo {
  std::size_t entry = 0;     // its index in SorDocument::map
  // The first field its bytes did not hold ("group index", "event 3: comment"); empty
  // when every field was there. Fields from that one on keep their defaults (0, empty,
  // or no value for the version-2 fields).
  std::string missingField;
  ByteRange extra;           // bytes after its last field, kept as they are
};

struct GenParams : BlockInfo {
  Text languageCode;                          // 2 characters
  Text cableId;
  Text fiberId;
  std::optional<uint16_t> fiberType;          // version 2: ITU-T number, 652 for G.652
  uint16_t nominalWavelength = 0;             // nm
  Text originatingLocation;
  Text terminatingLocation;
  Text cableCode;
  Text currentDataFlag;                       // 2 characters
  int32_t userOffset = 0;                     // 100 ps
  std::optional<int32_t> userOffsetDistance;  // version 2, as stored
  Text operatorName;
  Text comment;
};

struct SupParams : BlockInfo {
  Text supplier;
  Text mainframeId;
  Text mainframeSerial;
  Text moduleId;
  Text moduleSerial;
  Text softwareRevision;
  Text other;
};

struct FxdParams : BlockInfo {
  uint32_t dateTime = 0;                       // Unix seconds
  Text distanceUnit;                           // "km", "mt", "ft", "kf", "mi"
  uint16_t actualWavelength = 0;               // 0.1 nm
  int32_t acquisitionOffset = 0;               // 100 ps
  std::optional<int32_t> acquisitionOffsetDistance;  // version 2, as stored
  uint16_t pulseWidthCount = 0;                // as stored
  // One entry per pulse width, as many as the block holds (at most pulseWidthCount).
  std::vector<uint16_t> pulseWidths;           // ns
  std::vector<uint32_t> sampleSpacing;         // 1e-14 s (100 ps per 10,000 samples)
  std::vector<uint32_t> sampleCount;
  int32_t groupIndex = 0;                      // x 1e-5
  uint16_t backscatterCoefficient = 0;         // -0.1 dB
  uint32_t averages = 0;
  std::optional<uint16_t> averagingTime;       // version 2: 0.1 s
  uint32_t acquisitionRange = 0;
  std::optional<int32_t> acquisitionRangeDistance;  // version 2, as stored
  int32_t frontPanelOffset = 0;                // 100 ps
  uint16_t noiseFloorLevel = 0;                // -0.001 dB
  int16_t noiseFloorScaleFactor = 0;
  uint16_t powerOffsetFirstPoint = 0;          // 0.001 dB
  uint16_t lossThreshold = 0;                  // 0.001 dB
  uint16_t reflectanceThreshold = 0;           // -0.001 dB
  uint16_t endOfFiberThreshold = 0;            // 0.001 dB
  std::optional<Text> traceType;               // version 2: "ST", "RT", "DT", "RF"
  std::optional<std::array<int32_t, 4>> windowCoordinates;  // version 2
};

// The event code's first character...
enum class EventKind { NonReflective, Reflective, SaturatedReflective, Unknown };  // '0' '1' '2'
// ...and its second.
enum class EventOrigin { Found, Added, Moved, EndOfFiber, OutOfRange, Deleted, Unknown };  // F A M E O D

struct KeyEvent {
  uint16_t number = 0;
  uint32_t travelTime = 0;   // 100 ps
  int16_t slope = 0;         // 0.001 dB/km
  int16_t spliceLoss = 0;    // 0.001 dB
  int32_t reflectance = 0;   // 0.001 dB
  Text code;                 // 6 characters, kept as stored ("2E9999", vendors' own too)
  Text lossTechnique;        // "LS", "2P"
  std::optional<std::array<int32_t, 5>> markers;  // version 2
  Text comment;
  EventKind kind = EventKind::Unknown;
  EventOrigin origin = EventOrigin::Unknown;
};

struct KeyEventsSummary {
  int32_t totalLoss = 0;          // 0.001 dB
  int32_t lossStart = 0;
  uint32_t lossEnd = 0;
  uint16_t opticalReturnLoss = 0; // 0.001 dB
  int32_t returnLossStart = 0;
  uint32_t returnLossEnd = 0;
};

struct KeyEvents : BlockInfo {
  uint16_t eventCount = 0;                 // as stored
  std::vector<KeyEvent> events;            // the complete events the block holds
  std::optional<KeyEventsSummary> summary;
};

struct DataGroup {
  uint32_t count = 0;           // as stored
  uint16_t scaleFactor = 0;     // x 1000
  std::vector<uint16_t> samples;  // as many as the block holds, at most count
};

struct DataPts : BlockInfo {
  uint32_t sampleCount = 0;     // as stored
  uint16_t groupCount = 0;      // as stored
  std::vector<DataGroup> groups;
  // The samples of a group normally follow all the group headers. A file of several
  // groups whose counts only add up with each group's samples right after its own
  // header (the way CSORFile writes them) is read that way, and this is true.
  bool interleaved = false;
};

struct Cksum : BlockInfo {
  uint16_t stored = 0;
};

enum class ChecksumStatus { Ok, OkWithFieldAsZero, Zero, Mismatch, NoChecksumBlock };

// CRC-16/CCITT-FALSE (CCRC) over every byte before the two checksum bytes ("Ok"); some
// instruments run it over the whole file with those two bytes taken as zero
// ("OkWithFieldAsZero"); some store zero.
struct ChecksumVerdict {
  ChecksumStatus status = ChecksumStatus::NoChecksumBlock;
  uint16_t stored = 0;
  uint16_t computed = 0;  // over the bytes before the field
  // "ok", "ok with the field taken as zero", "zero", "mismatch: stored 0x1234, computed
  // 0xABCD", "no checksum block".
  std::string Text() const;
};

struct Warning {
  std::string code;     // one of the codes below
  std::string message;  // one sentence
};

// The warning codes.
namespace warning {
inline constexpr const char* kZeroSizeBlock = "zero-size-block";        // listed with size 0
inline constexpr const char* kNameTrailingSpace = "name-trailing-space";
inline constexpr const char* kTrailingBytes = "trailing-bytes";          // after the last block
inline constexpr const char* kStaleChecksum = "stale-checksum";          // a "Cksum" among them
inline constexpr const char* kNoKeyEvents = "no-key-events";
inline constexpr const char* kMissingBlock = "missing-block";            // GenParams, SupParams, FxdParams, DataPts
inline constexpr const char* kSampleCountMismatch = "sample-count-mismatch";
inline constexpr const char* kChecksumMismatch = "checksum-mismatch";
inline constexpr const char* kChecksumZero = "checksum-zero";
inline constexpr const char* kNoChecksumBlock = "no-checksum-block";
inline constexpr const char* kNonAsciiText = "non-ascii-text";
inline constexpr const char* kBlockShort = "block-short";                // shorter than its fields
inline constexpr const char* kExtraBytes = "extra-bytes";                // longer than its fields
inline constexpr const char* kUnusualOrder = "unusual-block-order";
inline constexpr const char* kBlockPastEnd = "block-past-end";           // the file ends inside it
inline constexpr const char* kUnnamedBody = "unnamed-body";              // version 2 body without its name
inline constexpr const char* kDuplicateBlock = "duplicate-block";
inline constexpr const char* kMapSizeMismatch = "map-size-mismatch";     // bytes after the entries
inline constexpr const char* kZeroScaleFactor = "zero-scale-factor";
}  // namespace warning

// Short stable names for the reader's enumerations, as the tool's text and JSON views
// and the language bindings show them: "GenParams" ... "Cksum", "other"; "ok",
// "ok-with-field-as-zero", "zero", "mismatch", "no-checksum-block"; "non-reflective",
// "reflective", "saturated-reflective", "unknown"; "found", "added", "moved",
// "end-of-fiber", "out-of-range", "deleted", "unknown".
const char* BlockKindName(BlockKind kind);
const char* ChecksumStatusName(ChecksumStatus status);
const char* EventKindName(EventKind kind);
const char* EventOriginName(EventOrigin origin);

// Immutable once read: ReadSorDocument hands it out as a pointer to const.
struct SorDocument {
  SorDocument() = default;
  SorDocument(const SorDocument&) = delete;
  SorDocument& operator=(const SorDocument&) = delete;

  int32_t version = 0;       // 1 or 2
  int32_t mapRevision = 0;
  uint32_t mapSize = 0;      // as stored; in version 2 it counts "Map" 0x00
  uint16_t blockCount = 0;   // as stored: the map counts itself
  std::vector<MapEntry> map;

  std::optional<GenParams> genParams;
  std::optional<SupParams> supParams;
  std::optional<FxdParams> fxdParams;
  std::optional<KeyEvents> keyEvents;
  std::optional<DataPts> dataPts;
  std::optional<Cksum> cksum;

  ByteRange trailing;        // bytes after the last block the map lists
  ChecksumVerdict checksum;
  std::vector<Warning> warnings;

  std::vector<uint8_t> bytes;  // the whole file

  std::span<const uint8_t> Slice(ByteRange range) const {
    return std::span<const uint8_t>(bytes).subspan(range.offset, range.size);
  }
  bool HasWarning(const std::string& code) const;
};

// The document of a file's bytes, or a numbered tarnvik::Error (above).
std::shared_ptr<const SorDocument> ReadSorDocument(std::vector<uint8_t> bytes);
// The same for a file (ReadWholeFile: 52, 53, 75 when it cannot be read).
std::shared_ptr<const SorDocument> ReadSorDocument(const std::string& path);

}  // namespace tarnvik::inspect
