#include "support/Interleaved.h"

#include <chrono>

#include "support/CountingAllocator.h"

namespace bench {

namespace {
double Seconds(std::chrono::steady_clock::time_point from) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - from).count();
}
}  // namespace

void Interleaved(benchmark::State& state, const std::function<void()>& library, const std::function<void()>& reference,
                 std::size_t fileBytes, bool countAllocations) {
  double libraryTotal = 0;
  double referenceTotal = 0;
  for (auto _ : state) {
    auto start = std::chrono::steady_clock::now();
    library();
    const double lib = Seconds(start);
    start = std::chrono::steady_clock::now();
    reference();
    referenceTotal += Seconds(start);
    libraryTotal += lib;
    state.SetIterationTime(lib);
  }
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["ref_us"] = referenceTotal / iterations * 1e6;
  state.counters["x_ref"] = libraryTotal / referenceTotal;
  if (countAllocations) {
    const AllocationCount before = AllocatedSoFar();
    library();
    const AllocationCount after = AllocatedSoFar();
    state.counters["allocs"] = static_cast<double>(after.allocations - before.allocations);
    state.counters["alloc_per_byte"] = static_cast<double>(after.bytes - before.bytes) / static_cast<double>(fileBytes);
  }
}

}  // namespace bench
