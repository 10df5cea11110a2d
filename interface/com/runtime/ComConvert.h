// The one conversion layer between automation values (VARIANT, BSTR, SAFEARRAY) and the
// library's C++ types. Incoming values convert as VariantChangeType would (a script's
// 16-bit literal reaches a Long, "12" reaches a Double); a value that does not convert
// raises the library's error 13 (type mismatch) or 6 (overflow), which the calling
// member reports to the client like any other failure.
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/foundation/Variant.h"

namespace tarnvik::com {

// Text.
std::string FromBstr(BSTR text);
BSTR ToBstr(const std::string& text);  // raises 7 when out of memory

// A VARIANT (by reference or not) changed to one type, as VariantChangeType does.
bool ToBool(const VARIANT& v);
int16_t ToInt16(const VARIANT& v);
int32_t ToInt32(const VARIANT& v);
float ToFloat(const VARIANT& v);
double ToDouble(const VARIANT& v);
std::string ToString(const VARIANT& v);
// A byte array keeps its lower bound. Accepts an array of bytes, or of VARIANTs that each
// convert to a byte; Empty gives a never-dimensioned array.
ByteArray ToBytes(const VARIANT& v);
// Any one-dimensional array whose elements convert to text, in index order.
std::vector<std::string> ToStrings(const VARIANT& v);
// The library's general value: Empty, Boolean, Integer, Long, Single, Double, String or a
// byte array; other numbers (Byte, Currency, Date, Decimal...) arrive as Double.
Variant ToVariant(const VARIANT& v);
// True for a missing optional argument (VT_ERROR with DISP_E_PARAMNOTFOUND) or Empty.
bool IsMissing(const VARIANT& v);

// Results: each returns a VARIANT the caller owns (VariantClear).
VARIANT FromBool(bool value);
VARIANT FromInt16(int16_t value);
VARIANT FromInt32(int32_t value);
VARIANT FromFloat(float value);
VARIANT FromDouble(double value);
VARIANT FromString(const std::string& value);
VARIANT FromBytes(const ByteArray& value);             // Empty when never dimensioned
VARIANT FromStrings(const std::vector<std::string>& value);  // an array of String VARIANTs from 0
VARIANT FromVariant(const Variant& value);

// Writes a result into an out-argument: a by-reference VARIANT of any type is changed to
// hold the value (its old content released); a VARIANT* that is not by reference is
// overwritten.
void Store(VARIANT* target, VARIANT value);

// The VARIANT_BOOL of a C++ bool.
inline VARIANT_BOOL VariantBool(bool value) { return value ? VARIANT_TRUE : VARIANT_FALSE; }

}  // namespace tarnvik::com
