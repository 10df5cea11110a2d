// What the fuzz targets share: files in a RAM folder for the entries that only take a
// file name, the one rule for what may leave the library (a numbered error and nothing
// else), and the splitting of one input into the replies of a scripted instrument.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::fuzz {

using Bytes = std::vector<uint8_t>;

// A folder of this process's own, in /dev/shm when the machine has it, so that the
// targets that go through files do not wear a disk. Removed at exit.
const std::string& RamFolder();
// RamFolder()/name, holding exactly these bytes.
std::string WriteRamFile(const std::string& name, const uint8_t* data, std::size_t size);
Bytes ReadRamFile(const std::string& path);

// Runs body; a tarnvik::Error is the library's answer to bad input and ends the run
// quietly. Anything else escapes and the fuzzer reports it. Returns true when body
// finished without an error.
template <class Body>
bool Answered(Body&& body) {
  try {
    body();
    return true;
  } catch (const tarnvik::Error&) {
    return false;
  }
}

// A broken round-trip property: prints what differs and aborts, so that the fuzzer keeps
// the input.
[[noreturn]] void Mismatch(const std::string& what, const std::string& first, const std::string& second);
void ExpectSame(const std::string& what, const Bytes& first, const Bytes& second);

// Replies of a scripted instrument are separated by this marker in a session input.
inline constexpr std::string_view kReplyMarker = "~next~";
std::vector<Bytes> SplitReplies(const uint8_t* data, std::size_t size);
Bytes JoinReplies(const std::vector<Bytes>& replies);

}  // namespace tarnvik::fuzz
