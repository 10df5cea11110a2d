// Text is UTF-8 in every interface of the library; files and instruments carry one byte
// per character (ISO-8859-1) or UTF-16 little-endian. These convert between them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace tarnvik {

// Appends the UTF-8 form of one code point.
void AppendUtf8(std::string& out, char32_t codePoint);

// The code points of a UTF-8 text. A byte that does not start a well-formed sequence
// stands for itself (U+0080..U+00FF), so no input is rejected and nothing is lost.
std::vector<char32_t> DecodeUtf8(const std::string& text);

// Number of characters (code points) in a UTF-8 text.
std::size_t CharCount(const std::string& text);

// The first maxChars characters of a UTF-8 text.
std::string LeftChars(const std::string& text, std::size_t maxChars);

// One character per byte, U+0000..U+00FF.
std::string Latin1ToUtf8(const uint8_t* bytes, std::size_t n);

// UTF-16 little-endian to UTF-8; an odd trailing byte is taken as a character of its
// own, an unpaired surrogate becomes U+FFFD.
std::string Utf16LEToUtf8(const uint8_t* bytes, std::size_t n);

}  // namespace tarnvik
