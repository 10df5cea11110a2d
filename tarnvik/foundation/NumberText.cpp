#include "tarnvik/foundation/NumberText.h"

#include <cctype>
#include <charconv>
#include <cstddef>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

namespace {
template <class T>
std::string Shortest(T value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}

bool IsBlank(char c) { return c == ' ' || c == '\t'; }
bool IsDigit(char c) { return std::isdigit(static_cast<unsigned char>(c)) != 0; }

// The number in text without its blanks, or nothing: the grammar is checked by hand so
// that from_chars' own extensions (hex, "inf", "nan") are not taken for numbers.
bool ParseDecimal(const std::string& text, double& value) {
  std::size_t b = 0;
  std::size_t e = text.size();
  while (b < e && IsBlank(text[b])) ++b;
  while (e > b && IsBlank(text[e - 1])) --e;
  std::size_t i = b;
  const bool plus = i < e && text[i] == '+';
  if (plus || (i < e && text[i] == '-')) ++i;
  std::size_t digits = 0;
  while (i < e && IsDigit(text[i])) ++i, ++digits;
  if (i < e && text[i] == '.') {
    ++i;
    while (i < e && IsDigit(text[i])) ++i, ++digits;
  }
  if (digits == 0) return false;
  if (i < e && (text[i] == 'e' || text[i] == 'E')) {
    ++i;
    if (i < e && (text[i] == '+' || text[i] == '-')) ++i;
    std::size_t expDigits = 0;
    while (i < e && IsDigit(text[i])) ++i, ++expDigits;
    if (expDigits == 0) return false;
  }
  if (i != e) return false;
  const char* first = text.data() + b + (plus ? 1 : 0);
  const auto result = std::from_chars(first, text.data() + e, value);
  // An exponent too large for a double is out of range: not a number of any width.
  return result.ec == std::errc{} && result.ptr == text.data() + e;
}
}  // namespace

std::string NumberText(float value) { return Shortest(value); }
std::string NumberText(double value) { return Shortest(value); }

bool IsNumeric(const std::string& text) {
  double ignored = 0;
  return ParseDecimal(text, ignored);
}

double NumberFromText(const std::string& text) {
  double value = 0;
  if (!ParseDecimal(text, value)) Raise(err::TypeMismatch);
  return value;
}

std::string TrimBlanks(const std::string& text) {
  const std::size_t b = text.find_first_not_of(' ');
  if (b == std::string::npos) return {};
  return text.substr(b, text.find_last_not_of(' ') - b + 1);
}

}  // namespace tarnvik
