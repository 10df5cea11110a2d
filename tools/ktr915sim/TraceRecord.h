// The instrument's trace record made from a CTrace: the inverse of the library's decoding
// of a downloaded file, field by field at the offsets of tarnvik/instrument/KtrRecord.h.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/trace/CTrace.h"

namespace tarnvik::sim {

// What the encoder does with a value that its 16-bit word (or its text field) cannot hold.
enum class OutOfRange {
  Raise,  // error 6 naming the field and the value
  Clamp,  // the nearest value the word holds; a text is cut to its field
};

// The record: 528 header bytes and one word per sample. Values are rounded half to even
// after scaling. Language code and current-data flag go out as the number they spell when
// that is a two-digit number, and as 0 (which the library reads as its defaults "EN" and
// "BC") when they are those defaults; the software version goes out as "Vmajor.minor.rev".
// The backscatter coefficient is stored as its magnitude: the library reads it back as
// negative, which is how SR-4731 files and instruments disagree on its sign anyway.
std::vector<uint8_t> EncodeTraceRecord(const CTrace& trace, OutOfRange policy = OutOfRange::Raise);

// A UTF-8 text as the instrument's UTF-16 code units.
std::vector<uint16_t> Utf16Units(const std::string& text);

// The name the instrument gives a test: CABLE_FIBER_TYPEWAVE, e.g. "CABLE7_12_S15". The
// type letter is S (single mode), M (multimode) or U; the wavelength code is 85, 13, 14, 15
// or 16 (850, 1300/1310, 1480, 1550, 1625 nm), "00" for any other wavelength.
std::string InstrumentFileName(const std::string& cable, int32_t fiber, EnumFiberTypes type, int32_t wavelength);

// The same name for a trace, from its CableID ("CABLE" when empty), FiberNumber, FiberType
// and NominalWavelength.
std::string InstrumentFileName(const CTrace& trace);

}  // namespace tarnvik::sim
