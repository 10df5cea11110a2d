#include "PyGlue.h"

#include <Python.h>
#include <datetime.h>

#include "PyModule.h"

namespace tarnvik::python {

namespace {

const py::object& DateTimeModule() {
  static const auto* module = new py::object(py::module_::import("datetime"));
  return *module;
}

}  // namespace

void RethrowWithSource(const Error& e, const char* module, const char* procedure) {
  std::string source(module);
  source.append(":").append(procedure);
  throw Error(e.Number(), e.Description(), std::move(source));
}

void RaiseAsPythonError(const Error& e) {
  static const auto* errorClass = new py::object(py::module_::import("tarnvik._error").attr("Error"));
  py::object error = (*errorClass)(e.Number(), TextToPy(e.Description()), TextToPy(e.Source()));
  PyErr_SetObject(errorClass->ptr(), error.ptr());
}

py::str TextToPy(const std::string& s) {
  PyObject* text = PyUnicode_DecodeUTF8(s.data(), static_cast<Py_ssize_t>(s.size()), "replace");
  if (text == nullptr) throw py::error_already_set();
  return py::reinterpret_steal<py::str>(text);
}

std::string TextFrom(const py::handle& text) {
  Py_ssize_t size = 0;
  const char* utf8 = PyUnicode_AsUTF8AndSize(text.ptr(), &size);
  if (utf8 == nullptr) throw py::error_already_set();
  return std::string(utf8, static_cast<std::size_t>(size));
}

py::list StringsToPy(const std::vector<std::string>& texts) {
  py::list list;
  for (const auto& t : texts) list.append(TextToPy(t));
  return list;
}

// A Date's whole days count from 1899-12-30 and its fraction is the time of day, also
// before that day: -1.25 is 1899-12-29 06:00.
py::object DateToPy(Date value) {
  const py::object& dt = DateTimeModule();
  if (!std::isfinite(value) || value < -693593.0 || value >= 2958466.0) Raise(err::Overflow);  // years 1..9999
  const double whole = std::trunc(value);
  const double milliseconds = std::round(std::fabs(value - whole) * 86400000.0);
  py::object base = dt.attr("datetime")(1899, 12, 30);
  return base + dt.attr("timedelta")(py::arg("days") = static_cast<long long>(whole),
                                      py::arg("milliseconds") = static_cast<long long>(milliseconds));
}

Date DateFrom(const py::handle& value) {
  const py::object& dt = DateTimeModule();
  if (py::isinstance(value, dt.attr("datetime"))) {
    py::object delta = value - dt.attr("datetime")(1899, 12, 30);
    const double days = delta.attr("days").cast<double>();
    const double seconds = delta.attr("seconds").cast<double>() + delta.attr("microseconds").cast<double>() / 1e6;
    // Before 1899-12-30 the day count is negative and the fraction still counts forward.
    const double fraction = seconds / 86400.0;
    return days < 0 ? days - fraction : days + fraction;
  }
  if (py::isinstance(value, dt.attr("date"))) return DateFrom(dt.attr("datetime").attr("combine")(value, dt.attr("time")()));
  if (py::isinstance<py::bool_>(value) || !(py::isinstance<py::float_>(value) || py::isinstance<py::int_>(value))) {
    Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
  }
  return value.cast<double>();
}

py::object VariantToPy(const Variant& value) {
  return std::visit(
      [](const auto& v) -> py::object {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, std::monostate>) {
          return py::none();
        } else if constexpr (std::is_same_v<T, std::string>) {
          return TextToPy(v);
        } else if constexpr (std::is_same_v<T, ByteArray>) {
          return BytesToPy(v);
        } else {
          return py::cast(v);
        }
      },
      value);
}

Variant VariantFrom(const py::handle& value) {
  if (value.is_none()) return std::monostate{};
  if (py::isinstance<py::bool_>(value)) return value.cast<bool>();
  if (py::isinstance<py::int_>(value)) {
    const auto v = value.cast<py::int_>();
    // Whole numbers keep the narrowest of the library's integer types that holds them.
    long long n = 0;
    try {
      n = v.cast<long long>();
    } catch (const py::cast_error&) {
      Raise(err::Overflow);
    }
    if (n >= INT16_MIN && n <= INT16_MAX) return static_cast<int16_t>(n);
    return Narrow<int32_t>(n);
  }
  if (py::isinstance<py::float_>(value)) return value.cast<double>();
  if (py::isinstance<py::str>(value)) return value.cast<std::string>();
  if (py::isinstance<py::bytes>(value) || py::isinstance<py::bytearray>(value)) return BytesFrom(value);
  Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
}

py::bytes BytesToPy(const ByteArray& value) {
  return py::bytes(reinterpret_cast<const char*>(value.data()), value.size());
}

ByteArray BytesFrom(const py::handle& value) {
  if (py::isinstance<py::str>(value)) Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
  Py_buffer view;
  if (PyObject_GetBuffer(value.ptr(), &view, PyBUF_SIMPLE) != 0) {
    PyErr_Clear();
    Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
  }
  ByteArray bytes;
  try {
    bytes = ByteArray::FromBytes(static_cast<const uint8_t*>(view.buf), static_cast<std::size_t>(view.len), 0);
  } catch (...) {
    PyBuffer_Release(&view);
    throw;
  }
  PyBuffer_Release(&view);
  return bytes;
}

int32_t PythonIndex(const py::handle& index, int32_t count) {
  if (py::isinstance<py::bool_>(index) || !py::isinstance<py::int_>(index)) {
    throw py::type_error("indices must be integers or keys (str)");
  }
  long long i = 0;
  try {
    i = index.cast<long long>();
  } catch (const py::cast_error&) {
    throw py::index_error("index out of range");
  }
  if (i < 0) i += count;
  if (i < 0 || i >= count) throw py::index_error("index out of range");
  return static_cast<int32_t>(i + 1);
}

void ReportHandlerFailure(py::error_already_set& e, const char* event) {
  e.discard_as_unraisable(py::str(std::string("a handler of ") + event));
}

}  // namespace tarnvik::python
