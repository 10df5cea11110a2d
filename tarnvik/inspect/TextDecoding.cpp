#include "tarnvik/inspect/TextDecoding.h"

#include <algorithm>

#include "tarnvik/foundation/Utf8.h"

namespace tarnvik::inspect {

namespace {

// Windows-1252's characters for 0x80..0x9F.
constexpr char16_t kHighControls[32] = {
    0x20AC, 0x0081, 0x201A, 0x0192, 0x201E, 0x2026, 0x2020, 0x2021,  // 80..87
    0x02C6, 0x2030, 0x0160, 0x2039, 0x0152, 0x008D, 0x017D, 0x008F,  // 88..8F
    0x0090, 0x2018, 0x2019, 0x201C, 0x201D, 0x2022, 0x2013, 0x2014,  // 90..97
    0x02DC, 0x2122, 0x0161, 0x203A, 0x0153, 0x009D, 0x017E, 0x0178,  // 98..9F
};

}  // namespace

std::string Windows1252ToUtf8(const uint8_t* bytes, std::size_t n) {
  std::string out;
  out.reserve(n * 2);
  for (std::size_t i = 0; i < n; ++i) {
    const uint8_t b = bytes[i];
    AppendUtf8(out, b >= 0x80 && b <= 0x9F ? char32_t{kHighControls[b - 0x80]} : char32_t{b});
  }
  return out;
}

Text DecodeText(std::string raw) {
  Text text;
  const bool ascii = std::all_of(raw.begin(), raw.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
  if (ascii) {
    text.value = raw;
  } else if (IsWellFormedUtf8(raw)) {
    text.value = raw;
    text.encoding = TextEncoding::Utf8;
  } else {
    text.value = Windows1252ToUtf8(reinterpret_cast<const uint8_t*>(raw.data()), raw.size());
    text.encoding = TextEncoding::Windows1252;
  }
  text.raw = std::move(raw);
  return text;
}

}  // namespace tarnvik::inspect
