// Library-internal pieces of the KTR 915 session that need no serial line: the packet
// frame the session sends, the trace record decoder, the instrument's file-name grammar
// and its version texts. CKTR915 publishes the file-name parsers; the rest stays here so
// that it can be checked without an instrument.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/trace/TraceEnums.h"

namespace tarnvik {

class CTrace;

namespace detail {

// The frame SendPacket writes: sCommand's first character and every element of
// baParams, from its lower to its upper bound. The word count is half the upper bound,
// rounded half to even (0 for an array never dimensioned), so an array indexed from 1
// with an even size goes out whole. An array the frame cannot hold raises 9, an empty
// command 5, a command character or length above 255 raises 6.
std::vector<uint8_t> BuildKtrPacket(const std::string& sCommand, const ByteArray& baParams);

// File names are fields separated by "_": cable, fiber number, test code (fiber type
// letter, then a two-character wavelength code). A missing field raises 9.
std::string KtrCableID(const std::string& sFilename);
// The fiber number when the field is numeric, else 0; one beyond 16 bits raises 6.
int16_t KtrFiberNumber(const std::string& sFilename);
// "S" single mode, "M" multimode (either case), anything else unknown.
EnumFiberTypes KtrFiberType(const std::string& sFilename);
// 850, 1310/1300 (by the fiber type), 1480, 1550, 1625 for the codes 85, 13, 14, 15, 16
// as written; 0 for anything else.
int16_t KtrWavelength(const std::string& sFilename);

// The instrument's version text ("KTR915 V2.10.3") as three numbers. With a "V" (either
// case) the numbers are the "."-separated pieces from the first digit after it; pieces
// that are missing give 0. Without one, the characters at positions 5, 6 and 7 are taken
// one digit each. A piece counts by its leading digits (0 when it has none); one beyond 16
// bits raises 6.
void ParseSoftwareVersion(const std::string& sText, int16_t& nMajor, int16_t& nMinor, int16_t& nRevision);

// The module text's leading identifier: the trimmed text up to its first blank ("OTM-13S"
// for "OTM-13S rev B"), empty for a blank text.
std::string ParseFirmwareModule(const std::string& sText);

// A new trace from one downloaded record (indexed from 1). Too few bytes raise 9; a field
// the trace refuses raises the trace's own error.
std::shared_ptr<CTrace> ConvertByteArrayToTrace(ByteArray& baData);

}  // namespace detail
}  // namespace tarnvik
