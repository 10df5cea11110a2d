// The conversions the generated member code uses, chosen by C++ overloading so that the
// generator only names the value and the target: a checked narrowing for numbers, the
// VARIANT of any library value, and a library value read from a VARIANT.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "ComConvert.h"
#include "ComObject.h"
#include "tarnvik/foundation/Narrow.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::com {

inline VARIANT AsVariant(bool v) { return FromBool(v); }
inline VARIANT AsVariant(int16_t v) { return FromInt16(v); }
inline VARIANT AsVariant(int32_t v) { return FromInt32(v); }
inline VARIANT AsVariant(float v) { return FromFloat(v); }
inline VARIANT AsVariant(double v) { return FromDouble(v); }
inline VARIANT AsVariant(const std::string& v) { return FromString(v); }
inline VARIANT AsVariant(const ByteArray& v) { return FromBytes(v); }
inline VARIANT AsVariant(const std::vector<std::string>& v) { return FromStrings(v); }
inline VARIANT AsVariant(const Variant& v) { return FromVariant(v); }
template <class E, std::enable_if_t<std::is_enum_v<E>, int> = 0>
VARIANT AsVariant(E v) {
  return FromInt32(static_cast<int32_t>(v));
}

// A library value read from a VARIANT (an in-out argument's value, an event sink's answer).
template <class T>
T FromVariantTo(const VARIANT& v) {
  if constexpr (std::is_same_v<T, bool>) {
    return ToBool(v);
  } else if constexpr (std::is_same_v<T, int16_t>) {
    return ToInt16(v);
  } else if constexpr (std::is_same_v<T, int32_t>) {
    return ToInt32(v);
  } else if constexpr (std::is_same_v<T, float>) {
    return ToFloat(v);
  } else if constexpr (std::is_same_v<T, double>) {
    return ToDouble(v);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return ToString(v);
  } else if constexpr (std::is_same_v<T, ByteArray>) {
    return ToBytes(v);
  } else if constexpr (std::is_same_v<T, std::vector<std::string>>) {
    return ToStrings(v);
  } else if constexpr (std::is_same_v<T, Variant>) {
    return ToVariant(v);
  } else if constexpr (std::is_enum_v<T>) {
    return static_cast<T>(ToInt32(v));
  } else {
    static_assert(sizeof(T) == 0, "no conversion from VARIANT to this type");
  }
}

// The value of an in-out argument, Empty read as the type's zero.
template <class T>
T InOutValue(const VARIANT* v) {
  if (v == nullptr || IsMissing(*v)) return T{};
  return FromVariantTo<T>(*v);
}

// A collection's index or key: text is a key, anything else a 1-based position.
template <class F>
decltype(auto) WithIndexKey(const VARIANT& v, F&& f) {
  VARIANT copy;
  VariantInit(&copy);
  const VARIANT* value = &v;
  if (V_VT(&v) & VT_BYREF) {
    if (FAILED(VariantCopyInd(&copy, const_cast<VARIANT*>(&v)))) Raise(13, StandardDescription(13));
    value = &copy;
  }
  if (V_VT(value) == VT_BSTR) {
    std::string key = FromBstr(V_BSTR(value));
    VariantClear(&copy);
    return f(key);
  }
  const int32_t index = ToInt32(*value);
  VariantClear(&copy);
  return f(index);
}

// An object argument: nullptr for Nothing, error 13 for an object of another class.
template <class Cpp>
std::shared_ptr<Cpp> ObjectArgument(IUnknown* object) {
  return Unwrap<Cpp>(object);
}

template <class Cpp>
std::shared_ptr<Cpp> ObjectArgument(const VARIANT& v) {
  VARIANT copy;
  VariantInit(&copy);
  if (FAILED(VariantCopyInd(&copy, const_cast<VARIANT*>(&v)))) Raise(13, StandardDescription(13));
  std::shared_ptr<Cpp> result;
  if (V_VT(&copy) == VT_DISPATCH || V_VT(&copy) == VT_UNKNOWN) {
    result = Unwrap<Cpp>(V_UNKNOWN(&copy));
  } else if (V_VT(&copy) != VT_EMPTY && V_VT(&copy) != VT_NULL) {
    VariantClear(&copy);
    Raise(13, StandardDescription(13));
  }
  VariantClear(&copy);
  return result;
}

}  // namespace tarnvik::com
