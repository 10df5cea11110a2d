// What an object shows at the prompt: "<tarnvik.CTrace 'a.sor' 1550 nm, 2 events, 16000
// samples>". Classes with a description of their own have a Describe overload; the
// others show their name, and collections their length (<tarnvik.CEvents 3 items>).
#pragma once

#include <cstddef>
#include <string>

#include "tarnvik/tarnvik.h"

namespace tarnvik::python {

std::string Describe(const CTrace& trace);
std::string Describe(const CEvent& event);
std::string Describe(const CSORFile& file);
std::string Describe(const CBlock& block);
std::string Describe(const CProprietaryBlock& block);
std::string Describe(const CKTRCommand& command);
std::string Describe(const CMap& map);

// "<tarnvik.NAME DETAIL>", or "<tarnvik.NAME>" when detail is empty.
std::string Enclosed(const char* name, const std::string& detail);
// "1 event", "3 events".
std::string Counted(std::size_t n, const char* word);

template <class T>
std::string Repr(const T& self, const char* name) {
  if constexpr (requires { Describe(self); }) {
    return Enclosed(name, Describe(self));
  } else if constexpr (requires { self.Count(); self.begin(); }) {
    const auto n = self.Count();
    return Enclosed(name, Counted(static_cast<std::size_t>(n), "item"));
  } else {
    return Enclosed(name, {});
  }
}

}  // namespace tarnvik::python
