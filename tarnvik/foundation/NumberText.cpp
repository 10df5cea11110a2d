#include "tarnvik/foundation/NumberText.h"

#include <charconv>

namespace tarnvik {

namespace {
template <class T>
std::string Shortest(T value) {
  char text[64];
  const auto result = std::to_chars(text, text + sizeof text, value);
  return std::string(text, result.ptr);
}
}  // namespace

std::string NumberText(float value) { return Shortest(value); }
std::string NumberText(double value) { return Shortest(value); }

}  // namespace tarnvik
