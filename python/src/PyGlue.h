// The conversions the generated bindings use, chosen by C++ overloading so that the
// generator only names the value and the target: checked narrowing for numbers (error 6,
// as the library's own conversions raise), dates as datetime, Variant values as Python
// values, byte arrays as bytes, texts decoded leniently, and the wrapper that gives an
// error raised here the source of the member called.
#pragma once

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tarnvik/foundation/Narrow.h"
#include "tarnvik/tarnvik.h"

namespace tarnvik::python {

namespace py = pybind11;

[[noreturn]] void RethrowWithSource(const Error& e, const char* module, const char* procedure);

// Runs f; a library error that has no source yet (one raised by these conversions) gets
// "Module:Procedure", as the library's own wrapper gives its errors.
template <class F>
decltype(auto) Call(const char* module, const char* procedure, F&& f) {
  try {
    return f();
  } catch (const Error& e) {
    if (!e.Source().empty()) throw;
    RethrowWithSource(e, module, procedure);
  }
}

// A library text (UTF-8) as str; a byte that is not UTF-8 becomes U+FFFD rather than
// an exception.
py::str TextToPy(const std::string& s);
py::list StringsToPy(const std::vector<std::string>& texts);
// A str as UTF-8; one that cannot be (a lone surrogate) raises Python's UnicodeEncodeError.
std::string TextFrom(const py::handle& text);

// Dates are datetime.datetime both ways (naive, as the library keeps them); a number is
// also taken as the library's day count.
py::object DateToPy(Date value);
Date DateFrom(const py::handle& value);

// Variant values as None, bool, int, float, str or bytes, and back.
py::object VariantToPy(const Variant& value);
Variant VariantFrom(const py::handle& value);

// Bytes from Python count from 0, as a byte array from any client does; a never-
// dimensioned array is b"".
py::bytes BytesToPy(const ByteArray& value);
ByteArray BytesFrom(const py::handle& value);

// An event argument of any type as a Python value.
template <class T>
py::object EventArgToPy(const T& value) {
  if constexpr (std::is_same_v<T, std::string>) {
    return TextToPy(value);
  } else if constexpr (std::is_same_v<T, Variant>) {
    return VariantToPy(value);
  } else {
    return py::cast(value);
  }
}
template <class T>
T EventArgFrom(const py::handle& value) {
  if constexpr (std::is_same_v<T, Variant>) {
    return VariantFrom(value);
  } else {
    return value.cast<T>();
  }
}

// A collection's index or key: a str is a key, an int a 1-based position.
template <class F>
decltype(auto) WithIndexKey(const py::handle& key, F&& f) {
  if (py::isinstance<py::str>(key)) return f(TextFrom(key));
  if (py::isinstance<py::bool_>(key) || !py::isinstance<py::int_>(key)) {
    Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
  }
  return f(Narrow<int32_t>(key.cast<int64_t>()));
}

// Python's own indexing of a collection: 0-based, negative from the end, IndexError
// outside; the 1-based position the library takes.
int32_t PythonIndex(const py::handle& index, int32_t count);

// The items of a collection as a list: iteration runs over this copy, so that a loop
// that adds or removes items never walks a changing vector.
template <class C>
py::list Snapshot(const C& collection) {
  py::list items;
  for (const auto& item : collection) items.append(py::cast(item));
  return items;
}

// An event handler in Python: called with the event's arguments; an exception it raises
// is reported as unraisable (printed) and the library carries on, as it does after a
// failing handler of any client.
void ReportHandlerFailure(py::error_already_set& e, const char* event);

}  // namespace tarnvik::python
