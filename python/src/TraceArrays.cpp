// A trace's samples and distances as NumPy arrays: always copies, so that an array kept
// by the caller never points into a trace that changes or goes away.
#include <pybind11/numpy.h>
#include <pybind11/pybind11.h>

#include <cstdint>
#include <limits>
#include <vector>

#include "PyGlue.h"
#include "PyModule.h"

namespace tarnvik::python {

namespace {

py::array_t<int32_t> Samples(const CTrace& trace) {
  const std::vector<int32_t> values = trace.DataPointArray();
  py::array_t<int32_t> array(static_cast<py::ssize_t>(values.size()));
  if (!values.empty()) std::copy(values.begin(), values.end(), array.mutable_data());
  return array;
}

// The checked copy in: a one-dimensional array (or sequence) of integers, each of which
// fits in 32 bits (6 otherwise), no more than 65,535 of them (the trace's limit); the
// trace takes as many samples as given and is marked changed. Floating-point values are
// refused with 13 rather than rounded.
void SetSamples(CTrace& trace, const py::object& values) {
  Call("CTrace", "Let DataPointArray()", [&] {
    py::array array = py::array::ensure(values);
    if (!array) Raise(err::TypeMismatch, StandardDescription(err::TypeMismatch));
    if (array.ndim() != 1) Raise(err::TypeMismatch, "The samples must be a one-dimensional array");
    const char kind = array.dtype().kind();
    if (array.size() > 0 && kind != 'i' && kind != 'u') {
      Raise(err::TypeMismatch, "The samples must be integers");
    }
    if (array.size() > 65535) Raise(err::Overflow);
    // Through int64 every integer dtype but uint64 converts exactly; uint64 is checked
    // against the limit before converting.
    std::vector<int32_t> out(static_cast<std::size_t>(array.size()));
    if (kind == 'u' && array.itemsize() == 8) {
      auto u = py::array_t<uint64_t, py::array::forcecast>::ensure(array);
      for (py::ssize_t i = 0; i < u.size(); ++i) {
        if (u.data()[i] > static_cast<uint64_t>(std::numeric_limits<int32_t>::max())) Raise(err::Overflow);
        out[static_cast<std::size_t>(i)] = static_cast<int32_t>(u.data()[i]);
      }
    } else if (array.size() > 0) {
      auto s = py::array_t<int64_t, py::array::forcecast | py::array::c_style>::ensure(array);
      for (py::ssize_t i = 0; i < s.size(); ++i) out[static_cast<std::size_t>(i)] = Narrow<int32_t>(s.data()[i]);
    }
    if (trace.Samples() != static_cast<int32_t>(out.size())) trace.SetSamples(static_cast<int32_t>(out.size()));
    trace.SetDataPointArray(out);
    trace.SetIsDirty(true);
  });
}

py::array_t<float> Distances(const CTrace& trace) {
  return Call("CTrace", "Get DistancePoints()", [&] {
    const int32_t n = trace.Samples();
    py::array_t<float> array(n);
    float* out = array.mutable_data();
    for (int32_t i = 1; i <= n; ++i) out[i - 1] = trace.DistancePoints(i);
    return array;
  });
}

}  // namespace

void BindTraceArrays(py::module_& m) {
  auto c = py::class_<CTrace, std::shared_ptr<CTrace>>(m.attr("CTrace"));
  c.def_property("data_point_array", &Samples, &SetSamples,
                 "The samples as an int32 array (a copy). Assigning an array of integers sets "
                 "the number of samples and every sample, checked, and marks the trace changed.");
  c.def_property_readonly("distance_point_array", &Distances,
                          "The display distance of every sample (float32, a copy), as "
                          "calculate_distance_points() last computed them.");
}

}  // namespace tarnvik::python
