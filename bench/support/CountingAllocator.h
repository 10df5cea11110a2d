// A counting allocator for the benchmarks: the program's global operator new counts
// every allocation and its bytes, so a benchmark can report what one operation
// allocates.
#pragma once

#include <cstdint>

namespace bench {

struct AllocationCount {
  uint64_t allocations = 0;
  uint64_t bytes = 0;
};

// What has been allocated since the program started.
AllocationCount AllocatedSoFar();

}  // namespace bench
