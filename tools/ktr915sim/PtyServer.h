// Serves a Ktr915Engine on a pseudo-terminal, so that a serial-port client (the library's
// session, a terminal program) talks to the simulated instrument through DevicePath().
// POSIX only.
#pragma once

#include <atomic>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "ktr915sim/Ktr915Engine.h"

namespace tarnvik::sim {

class PtyServer {
 public:
  // Opens the pseudo-terminal (error 75 with the system's reason when it cannot) and sets
  // its device side to raw mode. Engine errors as Ktr915Engine's.
  explicit PtyServer(std::shared_ptr<const InstrumentFiles> files, EngineSettings settings = {});
  ~PtyServer();  // stops and closes
  PtyServer(const PtyServer&) = delete;
  PtyServer& operator=(const PtyServer&) = delete;

  // The device a client opens, e.g. "/dev/pts/5".
  const std::string& DevicePath() const { return devicePath_; }

  // Serves on a thread of its own until Stop(); a second Start() while running does nothing.
  void Start();
  // Asks the loop to end and waits for the thread, if there is one. Returns promptly.
  void Stop();
  // Serves in the calling thread until RequestStop() (from another thread). A stop
  // requested while nothing serves ends the next loop at once.
  void Run();
  // Wakes the loop and makes it return; safe from any thread.
  void RequestStop();

  // A copy of the engine's counters and log, taken between two reads.
  EngineStats Stats() const;
  // The system error that ended the loop, empty while it runs or after a requested stop.
  std::string Failure() const;
  // True once the instrument has hung up (Faults::hangUpAfterFrames): what it sent before
  // has gone out, both ends of the pseudo-terminal are closed, DevicePath() names nothing
  // any more and Run() returns at once.
  bool HungUp() const { return hungUp_; }

 private:
  // A descriptor closed with its owner, so that a failing constructor leaks none.
  struct Fd {
    int fd = -1;
    Fd() = default;
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { Close(); }
    void Close();
  };
  static constexpr const char* kModule = "PtyServer";
  void Serve();
  void ServeLoop();
  // Writes what it can of pending to the master without waiting.
  bool Flush(std::vector<uint8_t>& pending);
  // Closes the master, which hangs up the device side for every client that has it open.
  void HangUp();

  Ktr915Engine engine_;
  mutable std::mutex mutex_;  // guards engine_ and failure_
  std::string failure_;
  std::string devicePath_;
  Fd master_;
  Fd device_;  // kept open so that the master never sees a hang-up between clients
  Fd wakeRead_, wakeWrite_;
  std::atomic<bool> stop_{false};
  std::atomic<bool> hungUp_{false};
  std::thread thread_;
};

}  // namespace tarnvik::sim
