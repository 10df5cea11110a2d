// The instrument's side of the packet protocol, without any transport: bytes from the
// library go in, the bytes the instrument answers with come out.
//
// A flash read request ("D" with the words 32, what, pointer, 0, most significant byte
// first) is answered with "Y" carrying the downloader version (32 as the bytes 32, 0) and
// the first data block; each "Y" acknowledgement from the library brings the next block,
// then "B", and the last acknowledgement ends the transfer. A new request abandons a
// transfer still under way, as the library does after a failure. Requests the instrument
// does not know, unknown pointers and frames with a bad checksum get no answer (the
// library then times out); they are counted and logged.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "ktr915sim/InstrumentFiles.h"

namespace tarnvik::sim {

// Misbehaviours of the instrument, each independent of the others, so that any
// combination can be switched on. Frames are counted from 1 over the engine's life (the
// reply, every data block and end marker), data blocks likewise.
struct Faults {
  // Bytes of line noise (never the start byte 1, so the next frame is still found).
  int32_t noiseBytes = 0;
  // false: before the first frame only; true: before every frame.
  bool noiseBeforeEveryFrame = false;
  // This frame goes out with its checksum inverted (0: none).
  int32_t badChecksumFrame = 0;
  // The reply carries the version as the bytes 0, 32 (8192 to the library).
  bool wrongVersion = false;
  // After this many frames nothing more is sent (-1: never; 0: no answer at all).
  int32_t silentAfterFrames = -1;
  // This data block goes out with the command kUnexpectedCommand instead of "D", and the
  // transfer ends there (0: none).
  int32_t unexpectedCommandBlock = 0;
  // The file table's guard word reads kErasedGuard instead of the memory's own guard.
  bool unformatted = false;
  // After this many frames the instrument hangs up: the frame that would come next is not
  // sent, nothing more is, and EngineStats::hungUp asks the transport to close the line
  // (-1: never; 0: at the first request).
  int32_t hangUpAfterFrames = -1;
};

inline constexpr char kUnexpectedCommand = 'E';

struct EngineSettings {
  // Data bytes per "D" block: even, 2 to 504 (the length byte counts words + 3 and stays
  // within 255).
  int32_t blockBytes = 256;
  // The instrument's time to answer: the server holds each reply this long before it goes
  // out (0: at once). A real instrument is never instant, and a client that cancels from
  // its wait needs the line to be empty now and then.
  int32_t replyDelayMs = 0;
  Faults faults;
};

// What the engine saw and did; tests read it to tell an unanswered request from a lost one.
struct EngineStats {
  int32_t framesReceived = 0;      // well-formed frames from the library
  int32_t requests = 0;            // flash read requests answered
  int32_t transfersCompleted = 0;  // ended by the library's last acknowledgement
  int32_t acknowledgements = 0;    // "Y" frames that moved a transfer on
  int32_t badChecksums = 0;        // frames ignored for their checksum
  int32_t junkBytes = 0;           // bytes skipped while looking for a start byte
  int32_t ignoredFrames = 0;       // unknown requests or pointers, frames out of turn
  int32_t framesSent = 0;
  int32_t framesSilenced = 0;    // frames not sent because of Faults::silentAfterFrames
  bool hungUp = false;           // Faults::hangUpAfterFrames was reached: the line is to close
  std::vector<std::string> log;  // one line per ignored frame, and the hang-up
};

class Ktr915Engine {
 public:
  // settings are checked: a block size outside 2..504 or odd, or a negative count in the
  // faults (other than -1 for a silence or a hang-up that never comes), raises 5. files
  // must stay unchanged while the engine serves them.
  explicit Ktr915Engine(std::shared_ptr<const InstrumentFiles> files, EngineSettings settings = {});

  // Consumes bytes from the library (any split: a frame may arrive in pieces, several at
  // once, with junk before them) and returns what the instrument sends back.
  std::vector<uint8_t> Feed(const uint8_t* bytes, std::size_t n);
  std::vector<uint8_t> Feed(const std::vector<uint8_t>& bytes) { return Feed(bytes.data(), bytes.size()); }

  const EngineStats& Stats() const { return stats_; }
  const EngineSettings& Settings() const { return settings_; }
  // True while a transfer waits for an acknowledgement.
  bool Transferring() const { return state_ != State::Idle; }

 private:
  enum class State { Idle, AwaitBlockAck, AwaitEndAck };
  static constexpr const char* kModule = "Ktr915Engine";

  void HandleFrame(char command, const uint8_t* params, std::size_t paramBytes, std::vector<uint8_t>& out);
  void HandleRequest(const uint8_t* params, std::vector<uint8_t>& out);
  void HandleAck(std::vector<uint8_t>& out);
  void SendNextBlock(std::vector<uint8_t>& out);
  void Send(char command, const uint8_t* params, std::size_t bytes, std::vector<uint8_t>& out);
  void Ignore(const std::string& why);
  uint8_t NoiseByte();

  std::shared_ptr<const InstrumentFiles> files_;
  EngineSettings settings_;
  EngineStats stats_;
  std::vector<uint8_t> input_;  // bytes of a frame not complete yet
  State state_ = State::Idle;
  std::vector<uint8_t> data_;  // the flash read being transferred
  std::size_t sent_ = 0;       // bytes of data_ already sent
  int32_t blocksSent_ = 0;
  uint64_t noiseState_ = 0x4B5452393135ull;  // any fixed value: the same noise on every run
};

}  // namespace tarnvik::sim
