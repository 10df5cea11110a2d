#include "tarnvik/foundation/Utf8.h"

namespace tarnvik {

void AppendUtf8(std::string& out, char32_t cp) {
  if (cp < 0x80) {
    out.push_back(static_cast<char>(cp));
  } else if (cp < 0x800) {
    out.push_back(static_cast<char>(0xC0 | (cp >> 6)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else if (cp < 0x10000) {
    out.push_back(static_cast<char>(0xE0 | (cp >> 12)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  } else {
    out.push_back(static_cast<char>(0xF0 | (cp >> 18)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
    out.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
  }
}

namespace {

// Length and value of the well-formed sequence at text[i], or 0 when there is none.
std::size_t SequenceAt(const std::string& text, std::size_t i, char32_t& cp) {
  const auto byte = [&](std::size_t k) { return static_cast<uint8_t>(text[k]); };
  const uint8_t lead = byte(i);
  std::size_t len = 0;
  char32_t min = 0;
  if (lead < 0x80) {
    cp = lead;
    return 1;
  } else if ((lead & 0xE0) == 0xC0) {
    len = 2, cp = lead & 0x1Fu, min = 0x80;
  } else if ((lead & 0xF0) == 0xE0) {
    len = 3, cp = lead & 0x0Fu, min = 0x800;
  } else if ((lead & 0xF8) == 0xF0) {
    len = 4, cp = lead & 0x07u, min = 0x10000;
  } else {
    return 0;
  }
  if (i + len > text.size()) return 0;
  for (std::size_t k = 1; k < len; ++k) {
    if ((byte(i + k) & 0xC0) != 0x80) return 0;
    cp = (cp << 6) | (byte(i + k) & 0x3Fu);
  }
  if (cp < min || cp > 0x10FFFF || (cp >= 0xD800 && cp <= 0xDFFF)) return 0;
  return len;
}

}  // namespace

std::vector<char32_t> DecodeUtf8(const std::string& text) {
  std::vector<char32_t> out;
  out.reserve(text.size());
  for (std::size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    const std::size_t len = SequenceAt(text, i, cp);
    if (len == 0) {
      out.push_back(static_cast<uint8_t>(text[i]));
      ++i;
    } else {
      out.push_back(cp);
      i += len;
    }
  }
  return out;
}

bool IsWellFormedUtf8(const std::string& text) {
  for (std::size_t i = 0; i < text.size();) {
    char32_t cp = 0;
    const std::size_t len = SequenceAt(text, i, cp);
    if (len == 0) return false;
    i += len;
  }
  return true;
}

std::size_t CharCount(const std::string& text) {
  std::size_t count = 0;
  for (std::size_t i = 0; i < text.size(); ++count) {
    char32_t cp = 0;
    const std::size_t len = SequenceAt(text, i, cp);
    i += len == 0 ? 1 : len;
  }
  return count;
}

std::string LeftChars(const std::string& text, std::size_t maxChars) {
  std::size_t i = 0;
  for (std::size_t n = 0; n < maxChars && i < text.size(); ++n) {
    char32_t cp = 0;
    const std::size_t len = SequenceAt(text, i, cp);
    i += len == 0 ? 1 : len;
  }
  return text.substr(0, i);
}

std::string Latin1ToUtf8(const uint8_t* bytes, std::size_t n) {
  std::string out;
  out.reserve(n);
  for (std::size_t i = 0; i < n; ++i) AppendUtf8(out, bytes[i]);
  return out;
}

std::string Utf16LEToUtf8(const uint8_t* bytes, std::size_t n) {
  std::string out;
  out.reserve(n);
  std::size_t i = 0;
  while (i < n) {
    char32_t unit = bytes[i];
    if (i + 1 < n) unit |= static_cast<char32_t>(bytes[i + 1]) << 8;
    i += 2;
    if (unit >= 0xD800 && unit <= 0xDBFF && i + 1 < n) {
      const char32_t low = bytes[i] | (static_cast<char32_t>(bytes[i + 1]) << 8);
      if (low >= 0xDC00 && low <= 0xDFFF) {
        AppendUtf8(out, 0x10000 + ((unit - 0xD800) << 10) + (low - 0xDC00));
        i += 2;
        continue;
      }
    }
    AppendUtf8(out, (unit >= 0xD800 && unit <= 0xDFFF) ? char32_t{0xFFFD} : unit);
  }
  return out;
}

std::u16string Utf8ToUtf16(const std::string& text) {
  std::u16string out;
  out.reserve(text.size());
  for (const char32_t cp : DecodeUtf8(text)) {
    if (cp < 0x10000) {
      out.push_back(static_cast<char16_t>(cp));
    } else {
      const char32_t above = cp - 0x10000;
      out.push_back(static_cast<char16_t>(0xD800 + (above >> 10)));
      out.push_back(static_cast<char16_t>(0xDC00 + (above & 0x3FF)));
    }
  }
  return out;
}

}  // namespace tarnvik
