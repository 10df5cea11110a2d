// The trace's own JSON file: save and load of a 16,000-sample trace with 20 events.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "tarnvik/tarnvik.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;

namespace {

constexpr int32_t kSamples = 16000;
constexpr int32_t kEvents = 20;

std::string TracePath() {
  return (std::filesystem::temp_directory_path() / "tarnvik-bench-trace.trc").string();
}

void FillTrace(CTrace& trace) {
  trace.SetGroupIndex(146800);
  trace.SetAquisitionRange(kSamples * 4);
  trace.SetPulseWidth(100);
  trace.SetCableID("bench cable");
  trace.SetSamples(kSamples);
  // A falling backscatter slope with noise-like variation, as a measured trace has.
  for (int32_t i = 1; i <= kSamples; ++i) trace.SetDataPoints(i, 2000 + i * 3 + (i * 7919) % 97);
  for (int32_t n = 0; n < kEvents; ++n) {
    auto event = std::make_shared<CEvent>();
    event->SetLocationQRD(static_cast<float>(n) * 3000.25f);
    event->SetLocationEndQRD(static_cast<float>(n) * 3000.25f + 12.5f);
    event->SetLoss(0.1f * static_cast<float>(n));
    event->SetReflectance(-45.2f);
    event->SetComment("event " + std::to_string(n));
    trace.Events()->Add(event);
  }
}

void BM_TraceSaveToFile(benchmark::State& state) {
  CTrace trace;
  FillTrace(trace);
  const std::string path = TracePath();
  for (auto _ : state) trace.SaveToFile(path);
  state.SetItemsProcessed(state.iterations() * kSamples);
  state.counters["file_bytes"] = static_cast<double>(std::filesystem::file_size(path));
}

void BM_TraceLoadFromFile(benchmark::State& state) {
  const std::string path = TracePath();
  {
    CTrace source;
    FillTrace(source);
    source.SaveToFile(path);
  }
  CTrace trace;
  for (auto _ : state) {
    trace.LoadFromFile(path);
    benchmark::DoNotOptimize(trace.DataPoints(kSamples));
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

}  // namespace

BENCHMARK(BM_TraceSaveToFile)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_TraceLoadFromFile)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
