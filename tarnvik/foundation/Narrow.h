// A number changed to another numeric type, as the client layers (COM, Python) hand
// values to the library: a value the target cannot hold raises 6 ("Overflow"), as the
// library's own checked conversions do. Floating-point to integer rounds half to even;
// NaN fits no integer.
#pragma once

#include <cmath>
#include <limits>
#include <type_traits>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

template <class To, class From>
To Narrow(From value) {
  if constexpr (std::is_same_v<To, From>) {
    return value;
  } else if constexpr (std::is_floating_point_v<To>) {
    if constexpr (std::is_same_v<To, float> && std::is_same_v<From, double>) {
      if (std::isfinite(value) && std::fabs(value) > static_cast<double>(std::numeric_limits<float>::max())) {
        Raise(err::Overflow);
      }
    }
    return static_cast<To>(value);
  } else {
    long double v = static_cast<long double>(value);
    if constexpr (std::is_floating_point_v<From>) v = std::nearbyintl(v);
    if (!(v >= static_cast<long double>(std::numeric_limits<To>::min()) &&
          v <= static_cast<long double>(std::numeric_limits<To>::max()))) {
      Raise(err::Overflow);
    }
    return static_cast<To>(v);
  }
}

}  // namespace tarnvik
