// The general value the library passes where a property or argument may hold several
// types (event payloads, instrument input).
#pragma once

#include <cstdint>
#include <string>
#include <variant>

#include "tarnvik/foundation/ByteArray.h"

namespace tarnvik {

// A Date travels as its double.
using Variant = std::variant<std::monostate, bool, int16_t, int32_t, float, double, std::string, ByteArray>;

}  // namespace tarnvik
