// SOR file load and save at the largest data block the format allows (16,377 samples in
// one scale-factor group) and at a typical size (4,000 samples), and checksum throughput.
#include <benchmark/benchmark.h>

#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "tarnvik/tarnvik.h"

using namespace tarnvik;

namespace {

std::string PathFor(int32_t samples) {
  return (std::filesystem::temp_directory_path() / ("tarnvik-bench-" + std::to_string(samples) + ".sor")).string();
}

std::shared_ptr<CSORFile> MakeFile(int32_t samples) {
  auto sor = std::make_shared<CSORFile>();
  sor->FixedParamsBlock()->SetNumberDataPoints(samples);
  auto data = sor->DataPointsBlock();
  data->SetNumberScaleFactorsUsed(1);
  data->SetScaleFactor(1, 1000);
  data->SetNumDataPointsForScaleFactor(1, samples);
  for (int32_t i = 1; i <= samples; ++i) data->SetDataPoints(1, i, (i * 37) % 65536);
  sor->AddKeyEventsBlock();
  for (int16_t n = 1; n <= 10; ++n) {
    auto event = std::make_shared<CKeyEvent>();
    event->SetEventNumber(n);
    event->SetEventPropagationTime(n * 10000);
    sor->KeyEventsBlock()->KeyEvents()->Add(event);
  }
  return sor;
}

void BM_SaveToFile(benchmark::State& state) {
  const auto samples = static_cast<int32_t>(state.range(0));
  auto sor = MakeFile(samples);
  const std::string path = PathFor(samples);
  for (auto _ : state) sor->SaveToFile(path);
  state.SetItemsProcessed(state.iterations() * samples);
}

void BM_LoadFromFile(benchmark::State& state) {
  const auto samples = static_cast<int32_t>(state.range(0));
  const std::string path = PathFor(samples);
  MakeFile(samples)->SaveToFile(path);
  for (auto _ : state) {
    auto sor = std::make_shared<CSORFile>();
    sor->LoadFromFile(path);
    benchmark::DoNotOptimize(sor->MaxLossVal());
  }
  state.SetItemsProcessed(state.iterations() * samples);
}

void BM_CRCUpdate(benchmark::State& state) {
  ByteArray bytes(1, static_cast<int32_t>(state.range(0)));
  for (int32_t i = 1; i <= bytes.UBound(); ++i) bytes[i] = static_cast<uint8_t>(i * 31);
  for (auto _ : state) {
    CCRC crc;
    benchmark::DoNotOptimize(crc.CRCUpdate(bytes));
  }
  state.SetBytesProcessed(state.iterations() * state.range(0));
}

}  // namespace

BENCHMARK(BM_SaveToFile)->Arg(4000)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_LoadFromFile)->Arg(4000)->Arg(16377)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_CRCUpdate)->Arg(32768)->Arg(1 << 20)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
