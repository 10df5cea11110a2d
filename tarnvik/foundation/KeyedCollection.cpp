#include "tarnvik/foundation/KeyedCollection.h"

namespace tarnvik::detail {

bool KeysEqual(const std::string& a, const std::string& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const auto fold = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
    if (fold(a[i]) != fold(b[i])) return false;
  }
  return true;
}

}  // namespace tarnvik::detail
