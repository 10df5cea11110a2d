// The instrument's download session, CKTR915, against a scripted instrument: the input is
// a mode byte and the replies to the session's frames, separated by a marker (noise,
// partial frames, bad checksums, lengths past the end are all just replies). The clock
// moves on at every wait, so silence ends in the session's time-out at once. Every run
// ends in a result or a numbered error.
//
// Mode bits: 1 transfers every listed file after the listing, 2 asks for a fixed name
// without a listing; the high four bits, when not 0, cancel after 8 x that many waits.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ScriptedSerialDevice.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTraces.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

namespace {

constexpr float kStageTimeout = 1.0f;
constexpr float kSecondsPerWait = 0.25f;

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  if (size == 0) return 0;
  const uint8_t mode = data[0];
  const std::vector<Bytes> replies = SplitReplies(data + 1, size - 1);
  std::size_t next = 0;
  ScriptedPorts ports([&](const uint8_t*, std::size_t) { return next < replies.size() ? replies[next++] : Bytes{}; });

  CKTR915 session;
  float now = 1000.0f;
  int32_t waits = 0;
  const int32_t cancelAfter = 8 * (mode >> 4);
  SetTimerSource([&] { return now; });
  SetYieldHandler([&] {
    now += kSecondsPerWait;
    if (++waits == cancelAfter) session.CancelOperation(true);
  });

  if (Answered([&] { session.Connect(1); })) {
    if (mode & 2) Answered([&] { session.GetFiles({"A_1_S13"}, kStageTimeout); });
    std::vector<std::string> names;
    if (Answered([&] { names = session.GetFilenames(kStageTimeout); }) && (mode & 1)) {
      Answered([&] { session.GetFiles(names, kStageTimeout); });
    }
  }
  Answered([&] { session.Disconnect(); });
  SetYieldHandler({});
  SetTimerSource({});
  return 0;
}
