// The largest amount of heap memory this process held at once while a piece of code ran,
// counted by replacing the global operator new and delete of the test program.
#pragma once

#include <cstddef>
#include <functional>

namespace tarnvik::testing {

// Bytes held at the peak of body, above what was held when it started.
std::size_t PeakHeapDuring(const std::function<void()>& body);

}  // namespace tarnvik::testing
