#include "ComConvert.h"

#include <limits>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::com {

namespace {

constexpr int32_t kTypeMismatch = 13;

// Owns a VARIANT for the length of a conversion.
struct Scoped {
  VARIANT v;
  Scoped() { VariantInit(&v); }
  ~Scoped() { VariantClear(&v); }
  Scoped(const Scoped&) = delete;
  Scoped& operator=(const Scoped&) = delete;
};

[[noreturn]] void RaiseFor(HRESULT hr) {
  if (hr == DISP_E_OVERFLOW) Raise(err::Overflow);
  if (hr == E_OUTOFMEMORY) Raise(err::OutOfMemory);
  Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
}

// v changed to type, by-reference values followed.
void Change(const VARIANT& v, VARTYPE type, Scoped& out) {
  const HRESULT hr = VariantChangeType(&out.v, const_cast<VARIANT*>(&v), 0, type);
  if (FAILED(hr)) RaiseFor(hr);
}

// v changed to type and read by read, while the changed copy lives.
template <class Read>
auto Changed(const VARIANT& v, VARTYPE type, Read&& read) {
  Scoped out;
  Change(v, type, out);
  return read(out.v);
}

// The array a VARIANT holds (directly or by reference), or nullptr.
SAFEARRAY* ArrayOf(const VARIANT& v, VARTYPE& element) {
  if (!(V_VT(&v) & VT_ARRAY)) return nullptr;
  element = static_cast<VARTYPE>(V_VT(&v) & ~(VT_ARRAY | VT_BYREF));
  SAFEARRAY* array = (V_VT(&v) & VT_BYREF) ? (V_ARRAYREF(&v) ? *V_ARRAYREF(&v) : nullptr) : V_ARRAY(&v);
  return array;
}

// A VARIANT of this type, its value set by set.
template <class Set>
VARIANT Made(VARTYPE type, Set&& set) {
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = type;
  set(v);
  return v;
}

const VARIANT& Dereferenced(const VARIANT& v) {
  return V_VT(&v) == (VT_VARIANT | VT_BYREF) && V_VARIANTREF(&v) ? *V_VARIANTREF(&v) : v;
}

// Bounds of a one-dimensional array; an array of another rank is a type mismatch.
void Bounds(SAFEARRAY* array, LONG& lower, LONG& upper) {
  if (SafeArrayGetDim(array) != 1) Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
  SafeArrayGetLBound(array, 1, &lower);
  SafeArrayGetUBound(array, 1, &upper);
}

template <class F>
void ForEachElement(SAFEARRAY* array, VARTYPE element, F&& f) {
  LONG lower = 0, upper = -1;
  Bounds(array, lower, upper);
  for (LONG i = lower; i <= upper; ++i) {
    Scoped item;
    if (element == VT_VARIANT) {
      if (FAILED(SafeArrayGetElement(array, &i, &item.v))) Raise(err::SubscriptOutOfRange);
    } else if (element == VT_BSTR) {
      BSTR text = nullptr;
      if (FAILED(SafeArrayGetElement(array, &i, &text))) Raise(err::SubscriptOutOfRange);
      V_VT(&item.v) = VT_BSTR;
      V_BSTR(&item.v) = text;
    } else if (element == VT_UI1) {
      BYTE b = 0;
      if (FAILED(SafeArrayGetElement(array, &i, &b))) Raise(err::SubscriptOutOfRange);
      V_VT(&item.v) = VT_UI1;
      V_UI1(&item.v) = b;
    } else {
      Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
    }
    f(i, item.v);
  }
}

}  // namespace

std::string FromBstr(BSTR text) {
  if (text == nullptr) return {};
  return Utf16LEToUtf8(reinterpret_cast<const uint8_t*>(text), SysStringByteLen(text));
}

BSTR ToBstr(const std::string& text) {
  std::wstring wide;
  wide.reserve(text.size());
  for (char32_t c : DecodeUtf8(text)) {
    if (c >= 0x10000) {
      c -= 0x10000;
      wide.push_back(static_cast<wchar_t>(0xD800 + (c >> 10)));
      wide.push_back(static_cast<wchar_t>(0xDC00 + (c & 0x3FF)));
    } else {
      wide.push_back(static_cast<wchar_t>(c));
    }
  }
  BSTR result = SysAllocStringLen(wide.data(), static_cast<UINT>(wide.size()));
  if (result == nullptr) Raise(err::OutOfMemory);
  return result;
}

bool ToBool(const VARIANT& v) {
  return Changed(v, VT_BOOL, [](const VARIANT& c) { return V_BOOL(&c) != VARIANT_FALSE; });
}

int16_t ToInt16(const VARIANT& v) {
  return Changed(v, VT_I2, [](const VARIANT& c) { return V_I2(&c); });
}

int32_t ToInt32(const VARIANT& v) {
  return Changed(v, VT_I4, [](const VARIANT& c) { return V_I4(&c); });
}

float ToFloat(const VARIANT& v) {
  return Changed(v, VT_R4, [](const VARIANT& c) { return V_R4(&c); });
}

double ToDouble(const VARIANT& v) {
  return Changed(v, VT_R8, [](const VARIANT& c) { return V_R8(&c); });
}

std::string ToString(const VARIANT& v) {
  return Changed(v, VT_BSTR, [](const VARIANT& c) { return FromBstr(V_BSTR(&c)); });
}

bool IsMissing(const VARIANT& v) {
  const VARIANT& d = Dereferenced(v);
  return V_VT(&d) == VT_EMPTY || (V_VT(&d) == VT_ERROR && V_ERROR(&d) == DISP_E_PARAMNOTFOUND);
}

ByteArray ToBytes(const VARIANT& v) {
  const VARIANT& d = Dereferenced(v);
  if (V_VT(&d) == VT_EMPTY) return ByteArray();
  VARTYPE element = VT_EMPTY;
  SAFEARRAY* array = ArrayOf(d, element);
  if (array == nullptr) Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
  LONG lower = 0, upper = -1;
  Bounds(array, lower, upper);
  ByteArray bytes(static_cast<int32_t>(lower), static_cast<int32_t>(upper));
  ForEachElement(array, element, [&](LONG i, const VARIANT& item) {
    Scoped b;
    Change(item, VT_UI1, b);
    bytes[static_cast<int32_t>(i)] = V_UI1(&b.v);
  });
  return bytes;
}

std::vector<std::string> ToStrings(const VARIANT& v) {
  const VARIANT& d = Dereferenced(v);
  if (V_VT(&d) == VT_EMPTY) return {};
  VARTYPE element = VT_EMPTY;
  SAFEARRAY* array = ArrayOf(d, element);
  if (array == nullptr) Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
  std::vector<std::string> texts;
  ForEachElement(array, element, [&](LONG, const VARIANT& item) { texts.push_back(ToString(item)); });
  return texts;
}

Variant ToVariant(const VARIANT& v) {
  const VARIANT& d = Dereferenced(v);
  switch (V_VT(&d)) {
    case VT_EMPTY:
    case VT_NULL: return std::monostate{};
    case VT_BOOL: return V_BOOL(&d) != VARIANT_FALSE;
    case VT_I2: return V_I2(&d);
    case VT_I4: return V_I4(&d);
    case VT_R4: return V_R4(&d);
    case VT_R8: return V_R8(&d);
    case VT_BSTR: return FromBstr(V_BSTR(&d));
    default: break;
  }
  if (V_VT(&d) & VT_ARRAY) return ToBytes(d);
  if (V_VT(&d) & VT_BYREF) {
    Scoped copy;
    if (FAILED(VariantCopyInd(&copy.v, const_cast<VARIANT*>(&d)))) Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
    return ToVariant(copy.v);
  }
  return ToDouble(d);
}

VARIANT FromBool(bool value) {
  return Made(VT_BOOL, [&](VARIANT& v) { V_BOOL(&v) = VariantBool(value); });
}

VARIANT FromInt16(int16_t value) {
  return Made(VT_I2, [&](VARIANT& v) { V_I2(&v) = value; });
}

VARIANT FromInt32(int32_t value) {
  return Made(VT_I4, [&](VARIANT& v) { V_I4(&v) = value; });
}

VARIANT FromFloat(float value) {
  return Made(VT_R4, [&](VARIANT& v) { V_R4(&v) = value; });
}

VARIANT FromDouble(double value) {
  return Made(VT_R8, [&](VARIANT& v) { V_R8(&v) = value; });
}

VARIANT FromString(const std::string& value) {
  BSTR text = ToBstr(value);  // may raise: before the VARIANT owns anything
  return Made(VT_BSTR, [&](VARIANT& v) { V_BSTR(&v) = text; });
}

VARIANT FromBytes(const ByteArray& value) {
  VARIANT v;
  VariantInit(&v);
  if (!value.IsDimensioned()) return v;
  SAFEARRAYBOUND bound{static_cast<ULONG>(value.Count()), static_cast<LONG>(value.LBound())};
  SAFEARRAY* array = SafeArrayCreate(VT_UI1, 1, &bound);
  if (array == nullptr) Raise(err::OutOfMemory);
  void* data = nullptr;
  if (SUCCEEDED(SafeArrayAccessData(array, &data))) {
    if (value.Count() > 0) memcpy(data, value.data(), value.size());
    SafeArrayUnaccessData(array);
  }
  V_VT(&v) = VT_ARRAY | VT_UI1;
  V_ARRAY(&v) = array;
  return v;
}

VARIANT FromStrings(const std::vector<std::string>& value) {
  SAFEARRAYBOUND bound{static_cast<ULONG>(value.size()), 0};
  SAFEARRAY* array = SafeArrayCreate(VT_VARIANT, 1, &bound);
  if (array == nullptr) Raise(err::OutOfMemory);
  for (LONG i = 0; i < static_cast<LONG>(value.size()); ++i) {
    VARIANT item = FromString(value[static_cast<std::size_t>(i)]);
    SafeArrayPutElement(array, &i, &item);  // copies
    VariantClear(&item);
  }
  VARIANT v;
  VariantInit(&v);
  V_VT(&v) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&v) = array;
  return v;
}

VARIANT FromVariant(const Variant& value) {
  struct Visitor {
    VARIANT operator()(std::monostate) const {
      VARIANT v;
      VariantInit(&v);
      return v;
    }
    VARIANT operator()(bool b) const { return FromBool(b); }
    VARIANT operator()(int16_t n) const { return FromInt16(n); }
    VARIANT operator()(int32_t n) const { return FromInt32(n); }
    VARIANT operator()(float f) const { return FromFloat(f); }
    VARIANT operator()(double d) const { return FromDouble(d); }
    VARIANT operator()(const std::string& s) const { return FromString(s); }
    VARIANT operator()(const ByteArray& b) const { return FromBytes(b); }
  };
  return std::visit(Visitor{}, value);
}

void Store(VARIANT* target, VARIANT value) {
  if (target == nullptr) {
    VariantClear(&value);
    return;
  }
  if (V_VT(target) == (VT_VARIANT | VT_BYREF) && V_VARIANTREF(target) != nullptr) {
    VARIANT* inner = V_VARIANTREF(target);
    VariantClear(inner);
    *inner = value;  // ownership moves
    return;
  }
  if (V_VT(target) & VT_BYREF) {
    // A typed reference (a compiled client's Double variable): change the value to its type.
    VARIANT changed;
    VariantInit(&changed);
    const VARTYPE type = static_cast<VARTYPE>(V_VT(target) & ~VT_BYREF);
    const HRESULT hr = VariantChangeType(&changed, &value, 0, type);
    VariantClear(&value);
    if (FAILED(hr)) RaiseFor(hr);
    switch (type) {
      case VT_I2: *V_I2REF(target) = V_I2(&changed); break;
      case VT_I4: *V_I4REF(target) = V_I4(&changed); break;
      case VT_R4: *V_R4REF(target) = V_R4(&changed); break;
      case VT_R8: *V_R8REF(target) = V_R8(&changed); break;
      case VT_BOOL: *V_BOOLREF(target) = V_BOOL(&changed); break;
      case VT_BSTR:
        SysFreeString(*V_BSTRREF(target));
        *V_BSTRREF(target) = V_BSTR(&changed);
        return;  // the string moved into the target
      default:
        VariantClear(&changed);
        Raise(kTypeMismatch, StandardDescription(kTypeMismatch));
    }
    VariantClear(&changed);
    return;
  }
  VariantClear(target);
  *target = value;
}

}  // namespace tarnvik::com
