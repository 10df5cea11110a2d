// How the inspector reads the texts of a file: as they are when they are ASCII or
// well-formed UTF-8, otherwise as Windows-1252, the code page most instruments write
// (Cyrillic files in Windows-1251 then read as accented Latin letters, still readable
// as bytes in Text::raw). No text is ever refused.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "tarnvik/inspect/SorDocument.h"

namespace tarnvik::inspect {

// Windows-1252 to UTF-8. 0x80..0x9F map as the code page does, its five unassigned
// bytes (0x81, 0x8D, 0x8F, 0x90, 0x9D) to the control characters of the same number, as
// Windows converts them; every other byte is the character of the same number.
std::string Windows1252ToUtf8(const uint8_t* bytes, std::size_t n);

// The text of raw bytes, with its encoding.
Text DecodeText(std::string raw);

}  // namespace tarnvik::inspect
