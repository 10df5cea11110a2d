// Times a library operation against its reference in the same run, iteration by
// iteration, so that a noisy machine moves both alike: the library's time is the
// benchmark's (manual) time, the reference's goes into "ref_us" and the ratio into
// "x_ref". With countAllocations the library's allocations are counted too, per byte of
// file ("alloc_per_byte") and per operation ("allocs").
#pragma once

#include <benchmark/benchmark.h>

#include <cstddef>
#include <functional>

namespace bench {

void Interleaved(benchmark::State& state, const std::function<void()>& library, const std::function<void()>& reference,
                 std::size_t fileBytes, bool countAllocations);

}  // namespace bench
