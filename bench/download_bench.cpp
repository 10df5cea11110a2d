// A download of 20 traces of 16,000 samples from the simulated instrument, served by a
// child process on a pseudo-terminal so that the CPU time measured is the downloading
// process's own. Reported beside the wall time:
//   cpu_s      CPU time (user + system) the downloading process used
//   cpu_share  that CPU time / wall time (1 would be a core kept busy all along)
//   line_s     what the instrument's bytes (frames included) take on a 115200-baud line
//              (10 bits a byte: start, 8 data, stop)
//   x_line     wall time / line_s
#include <benchmark/benchmark.h>

#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

#include "ktr915sim/InstrumentFiles.h"
#include "ktr915sim/PtyServer.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTraces.h"

using namespace tarnvik;

namespace {

constexpr int kTraces = 20;
constexpr int kSamples = 16000;
constexpr int kBlockBytes = 256;
constexpr int16_t kPort = 1;

double ProcessCpuSeconds() {
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
  const auto seconds = [](const timeval& t) { return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_usec) / 1e6; };
  return seconds(usage.ru_utime) + seconds(usage.ru_stime);
}

// The simulator in a child process; the device path comes back through a pipe.
class SimulatorProcess {
 public:
  SimulatorProcess() {
    int fds[2];
    if (pipe(fds) != 0) throw std::runtime_error("pipe failed");
    pid_ = fork();
    if (pid_ == 0) {
      close(fds[0]);
      auto files = std::make_shared<sim::InstrumentFiles>();
      for (int i = 0; i < kTraces; ++i) files->AddSynthetic(kSamples);
      sim::EngineSettings settings;
      settings.blockBytes = kBlockBytes;
      sim::PtyServer server(files, settings);
      const std::string line = server.DevicePath() + "\n";
      if (write(fds[1], line.data(), line.size()) < 0) _exit(1);
      close(fds[1]);
      server.Run();  // until SIGTERM ends the process
      _exit(0);
    }
    close(fds[1]);
    char buffer[256] = {};
    std::size_t got = 0;
    while (got + 1 < sizeof buffer) {
      const ssize_t n = read(fds[0], buffer + got, sizeof buffer - 1 - got);
      if (n <= 0) break;
      got += static_cast<std::size_t>(n);
      if (buffer[got - 1] == '\n') break;
    }
    close(fds[0]);
    path_.assign(buffer, got > 0 ? got - 1 : 0);
  }
  ~SimulatorProcess() {
    kill(pid_, SIGTERM);
    waitpid(pid_, nullptr, 0);
  }
  const std::string& Path() const { return path_; }

 private:
  pid_t pid_ = -1;
  std::string path_;
};

// Bytes the instrument sends for one flash read of `data` bytes: its reply, the blocks and
// the end frame.
double InstrumentBytes(int data) {
  const int blocks = (data + kBlockBytes - 1) / kBlockBytes;
  return (4 + 2) + data + 4.0 * blocks + 4;
}

void BM_Download20Traces(benchmark::State& state) {
  SimulatorProcess simulator;
  SetSerialPortDevice(kPort, simulator.Path());
  std::vector<std::string> names;
  for (int i = 1; i <= kTraces; ++i) names.push_back("SYNTH_" + std::to_string(i) + "_S13");
  double cpu = 0;
  double wall = 0;
  for (auto _ : state) {
    CKTR915 ktr;
    ktr.Connect(kPort);
    const auto startCpu = ProcessCpuSeconds();
    const auto start = std::chrono::steady_clock::now();
    const auto traces = ktr.GetFiles(names, 5.0f);  // the table and the names first, then the traces
    wall += std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    cpu += ProcessCpuSeconds() - startCpu;
    if (traces->Count() != kTraces) state.SkipWithError("not every trace arrived");
  }
  double bytes = InstrumentBytes(6 + 2 * kTraces);
  for (const auto& name : names) bytes += InstrumentBytes(2 * static_cast<int>(name.size() + 1));
  bytes += kTraces * InstrumentBytes(528 + 2 * kSamples);
  const double lineSeconds = bytes * 10 / 115200;
  const auto n = static_cast<double>(state.iterations());
  state.counters["cpu_s"] = cpu / n;
  state.counters["cpu_share"] = cpu / wall;
  state.counters["line_s"] = lineSeconds;
  state.counters["x_line"] = wall / n / lineSeconds;
  state.counters["bytes"] = bytes;
}
BENCHMARK(BM_Download20Traces)->Unit(benchmark::kMillisecond)->Iterations(3);

}  // namespace

BENCHMARK_MAIN();
