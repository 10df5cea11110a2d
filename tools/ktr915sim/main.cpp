// tarnvik-ktr915-sim: a simulated KTR 915 handheld OTDR on a pseudo-terminal, holding the
// traces of SOR files and synthetic ones, for trying the library's download without the
// instrument. Prints the device path on the first line of standard output.
#include <pthread.h>

#include <CLI/CLI.hpp>
#include <csignal>
#include <ctime>
#include <iostream>
#include <memory>
#include <string>
#include <vector>

#include "error_trail.h"
#include "ktr915sim/PtyServer.h"

namespace {

constexpr const char* kProgram = "tarnvik-ktr915-sim";

// Waits for SIGINT or SIGTERM (blocked in every thread, so only this wait takes them), or
// for the server to end by itself: it failed, or it hung up as asked.
void WaitForSignal(const sigset_t& signals, const tarnvik::sim::PtyServer& server) {
  const timespec tick{0, 100'000'000};
  for (;;) {
    if (sigtimedwait(&signals, nullptr, &tick) >= 0) return;
    if (!server.Failure().empty() || server.HungUp()) return;
  }
}

}  // namespace

int main(int argc, char** argv) {
  using namespace tarnvik;
  CLI::App app{
      "Simulates the KTR 915 handheld OTDR on a pseudo-terminal: prints the device path, then answers the "
      "library's flash reads (file table, names, traces) until SIGINT or SIGTERM (or its hang-up).",
      kProgram};
  app.footer(
      "Exit codes: 0 stopped by a signal or hung up as --hang-up-after asks, 1 a file could not be stored or the "
      "pseudo-terminal failed (the error number, source and description on standard error), 2 bad usage.");

  std::vector<std::string> sorFiles;
  int synthetic = 0;
  int samples = 4000;
  bool strict = false;
  sim::EngineSettings settings;
  sim::Faults& faults = settings.faults;
  app.add_option("FILE", sorFiles, "SOR files to store, each under its name without folder and .sor");
  app.add_option("--synthetic", synthetic, "Also store N synthetic traces (SYNTH_n_S13)")->check(CLI::Range(0, 1000));
  app.add_option("--samples", samples, "Samples of each synthetic trace")->check(CLI::Range(1, 65535));
  // SOR files keep some values in finer units than the instrument's record (a noise floor
  // of 20 dB is 20000 there), so by default such values are stored at the record's limit.
  app.add_flag("--strict", strict, "Refuse a file with a value the instrument's record cannot hold, instead of "
                                   "storing it at its nearest limit");
  app.add_option("--reply-delay", settings.replyDelayMs, "Milliseconds the instrument takes to answer each frame")
      ->check(CLI::Range(0, 10000));
  app.add_option("--block-bytes", settings.blockBytes, "Data bytes per block: even, 2 to 504")
      ->check(CLI::Range(2, 504));
  app.add_option("--noise", faults.noiseBytes, "Fault: K noise bytes before the first frame sent")
      ->check(CLI::Range(0, 100000));
  app.add_flag("--noise-every-frame", faults.noiseBeforeEveryFrame, "Fault: the noise before every frame instead");
  app.add_option("--bad-checksum", faults.badChecksumFrame, "Fault: the Nth frame sent has a wrong checksum")
      ->check(CLI::PositiveNumber);
  app.add_flag("--wrong-version", faults.wrongVersion, "Fault: the reply carries the version as the bytes 0, 32");
  app.add_option("--silent-after", faults.silentAfterFrames, "Fault: send nothing after N frames (0: never answer)")
      ->check(CLI::NonNegativeNumber);
  app.add_flag("--unformatted", faults.unformatted, "Fault: the file table's guard word reads 0xFFFF");
  app.add_option("--unexpected-command", faults.unexpectedCommandBlock,
                 "Fault: the Nth data block goes out as an 'E' frame and ends its transfer")
      ->check(CLI::PositiveNumber);
  app.add_option("--hang-up-after", faults.hangUpAfterFrames,
                 "Fault: after N frames close the pseudo-terminal instead of sending the next one, and exit "
                 "(0: at the first request)")
      ->check(CLI::NonNegativeNumber);

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : 2;
  }
  if (settings.blockBytes % 2 != 0) {
    std::cerr << "--block-bytes: " << settings.blockBytes << " is odd; a block carries whole 16-bit words\n";
    return 2;
  }

  tool::LogCapture log;
  const auto files = std::make_shared<sim::InstrumentFiles>();
  std::unique_ptr<sim::PtyServer> server;
  std::string current = kProgram;
  try {
    const auto policy = strict ? sim::OutOfRange::Raise : sim::OutOfRange::Clamp;
    for (const auto& path : sorFiles) {
      current = path;
      files->AddSorFile(path, policy);
    }
    current = kProgram;
    for (int i = 0; i < synthetic; ++i) files->AddSynthetic(samples);
    server = std::make_unique<sim::PtyServer>(files, settings);
  } catch (const Error& e) {
    std::cerr << current << ": " << tool::FailureText(tool::DescribeFailure(e, log.Lines())) << "\n";
    return 1;
  }

  // Blocked before the serving thread starts, so that it inherits the mask.
  sigset_t signals;
  sigemptyset(&signals);
  sigaddset(&signals, SIGINT);
  sigaddset(&signals, SIGTERM);
  pthread_sigmask(SIG_BLOCK, &signals, nullptr);
  server->Start();

  std::cout << server->DevicePath() << std::endl;
  std::string names;
  for (const auto& f : files->Files()) names += (names.empty() ? "" : ", ") + f.name;
  std::cerr << kProgram << ": " << files->Files().size() << " file(s) on " << server->DevicePath()
            << (names.empty() ? "" : ": " + names) << "\n";

  WaitForSignal(signals, *server);
  server->Stop();
  if (server->HungUp()) {
    std::cerr << kProgram << ": hung up after " << faults.hangUpAfterFrames << " frame(s)\n";
    return 0;
  }
  if (!server->Failure().empty()) {
    std::cerr << kProgram << ": error " << err::PathFileAccess << " from PtyServer:Serve(): " << server->Failure()
              << "\n";
    return 1;
  }
  return 0;
}
