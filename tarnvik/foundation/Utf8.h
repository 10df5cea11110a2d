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

// True when every byte of the text belongs to a well-formed UTF-8 sequence (no
// overlong forms, surrogates or code points past U+10FFFF).
bool IsWellFormedUtf8(const std::string& text);

// Number of characters (code points) in a UTF-8 text.
std::size_t CharCount(const std::string& text);

// The first maxChars characters of a UTF-8 text.
std::string LeftChars(const std::string& text, std::size_t maxChars);

// One character per byte, U+0000..U+00FF.
std::string Latin1ToUtf8(const uint8_t* bytes, std::size_t n);

// UTF-16 little-endian to UTF-8; an odd trailing byte is taken as a character of its
// own, an unpaired surrogate becomes U+FFFD.
std::string Utf16LEToUtf8(const uint8_t* bytes, std::size_t n);

// UTF-8 to UTF-16 code units (for the wide-character calls of Windows), with the same
// reading of malformed bytes as DecodeUtf8; code points past U+FFFF become surrogate pairs.
std::u16string Utf8ToUtf16(const std::string& text);

#if defined(_WIN32)
// The same as a wide string, for the W calls of Windows (wchar_t holds UTF-16 there).
inline std::wstring WideFromUtf8(const std::string& text) {
  const std::u16string units = Utf8ToUtf16(text);
  return std::wstring(units.begin(), units.end());
}
#endif

}  // namespace tarnvik
