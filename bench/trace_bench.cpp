// Trace arithmetic over a whole 16,000-sample trace: a least-squares fit through every
// sample, the interpolated level at every sample position, and the display-distance cache.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "tarnvik/trace/CAnalyze.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;

namespace {

constexpr int32_t kSamples = 16000;

std::shared_ptr<CTrace> MakeTrace() {
  auto trace = std::make_shared<CTrace>();
  trace->SetGroupIndex(146800);
  trace->SetAquisitionRange(kSamples * 4);
  trace->SetDistanceUnits(DU_Kilometers);
  trace->SetSamples(kSamples);
  // A falling backscatter slope with a little ripple, in thousandths of a dB.
  for (int32_t i = 1; i <= kSamples; ++i) trace->SetDataPoints(i, 2000 + i * 3 + (i * 37) % 11);
  return trace;
}

void BM_LeastSquaresWholeTrace(benchmark::State& state) {
  const auto trace = MakeTrace();
  const CAnalyze analyze;
  for (auto _ : state) {
    double slope = 0;
    double intercept = 0;
    benchmark::DoNotOptimize(analyze.LeastSquares(trace, 1, kSamples, slope, intercept));
    benchmark::DoNotOptimize(slope);
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void BM_QRDToPowerEverySample(benchmark::State& state) {
  const auto trace = MakeTrace();
  std::vector<float> positions;
  for (int32_t i = 1; i <= kSamples; ++i) positions.push_back(trace->PointToQRD(i));
  for (auto _ : state) {
    float sum = 0;
    for (const float qrd : positions) sum += trace->QRDToPower(qrd);
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

void BM_CalculateDistancePoints(benchmark::State& state) {
  const auto trace = MakeTrace();
  for (auto _ : state) {
    trace->CalculateDistancePoints();
    benchmark::DoNotOptimize(trace->DistancePoints(kSamples));
  }
  state.SetItemsProcessed(state.iterations() * kSamples);
}

}  // namespace

BENCHMARK(BM_LeastSquaresWholeTrace)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_QRDToPowerEverySample)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CalculateDistancePoints)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
