#include "ktr915sim/Ktr915Engine.h"

#include <algorithm>
#include <cstdio>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/instrument/KtrFrame.h"

namespace tarnvik::sim {

namespace {

// The longest block a frame carries: the length byte holds words + 3.
constexpr int32_t kMaxBlockBytes = 2 * (255 - 3);
constexpr std::size_t kRequestBytes = 8;

uint16_t WordMsbFirst(const uint8_t* p) { return static_cast<uint16_t>(p[0] << 8 | p[1]); }

std::string Hex(uint32_t value) {
  char text[16];
  std::snprintf(text, sizeof text, "0x%04X", value);
  return text;
}

}  // namespace

Ktr915Engine::Ktr915Engine(std::shared_ptr<const InstrumentFiles> files, EngineSettings settings)
    : files_(std::move(files)), settings_(settings) {
  Guarded(kModule, "Ktr915Engine()", [&] {
    if (!files_) Raise(err::ObjectNotSet);
    const int32_t b = settings_.blockBytes;
    if (b < 2 || b > kMaxBlockBytes || b % 2 != 0)
      Raise(err::InvalidCall, "The block size must be an even number of bytes from 2 to " +
                                  std::to_string(kMaxBlockBytes) + ", not " + std::to_string(b));
    const Faults& f = settings_.faults;
    if (f.noiseBytes < 0 || f.badChecksumFrame < 0 || f.silentAfterFrames < -1 || f.unexpectedCommandBlock < 0 ||
        f.hangUpAfterFrames < -1)
      Raise(err::InvalidCall, "Fault counts cannot be negative (-1 alone stands for never silent or never hanging up)");
  });
}

std::vector<uint8_t> Ktr915Engine::Feed(const uint8_t* bytes, std::size_t n) {
  std::vector<uint8_t> out;
  if (stats_.hungUp) return out;  // the line is gone: nothing is heard or answered
  if (n > 0) input_.insert(input_.end(), bytes, bytes + n);
  std::size_t pos = 0;
  while (pos < input_.size()) {
    if (input_[pos] != kKtrStartOfHeader) {
      ++stats_.junkBytes;
      ++pos;
      continue;
    }
    if (input_.size() - pos < 2) break;
    const uint8_t length = input_[pos + 1];
    if (length < 3) {  // no frame is that short: the start byte was noise
      ++stats_.junkBytes;
      ++pos;
      continue;
    }
    const std::size_t paramBytes = 2 * static_cast<std::size_t>(length - 3);
    const std::size_t frameBytes = paramBytes + 4;
    if (input_.size() - pos < frameBytes) break;
    const uint8_t* frame = input_.data() + pos;
    const uint8_t computed = KtrChecksum(frame + 1, frameBytes - 2);
    if (computed != frame[frameBytes - 1]) {
      ++stats_.badChecksums;
      stats_.log.push_back("frame '" + std::string(1, static_cast<char>(frame[2])) + "' with checksum " +
                           std::to_string(frame[frameBytes - 1]) + ", computed " + std::to_string(computed) +
                           ": ignored");
    } else {
      ++stats_.framesReceived;
      HandleFrame(static_cast<char>(frame[2]), frame + 3, paramBytes, out);
    }
    pos += frameBytes;
  }
  input_.erase(input_.begin(), input_.begin() + static_cast<std::ptrdiff_t>(pos));
  return out;
}

void Ktr915Engine::HandleFrame(char command, const uint8_t* params, std::size_t paramBytes, std::vector<uint8_t>& out) {
  if (command == kKtrFlashData && paramBytes == kRequestBytes)
    HandleRequest(params, out);
  else if (command == kKtrAcknowledge && paramBytes == 0)
    HandleAck(out);
  else
    Ignore("frame '" + std::string(1, command) + "' with " + std::to_string(paramBytes) + " parameter bytes");
}

void Ktr915Engine::HandleRequest(const uint8_t* params, std::vector<uint8_t>& out) {
  if (state_ != State::Idle) stats_.log.push_back("a new request abandons the transfer under way");
  state_ = State::Idle;
  data_.clear();
  const uint16_t version = WordMsbFirst(params);
  const uint16_t what = WordMsbFirst(params + 2);
  const uint16_t pointer = WordMsbFirst(params + 4);
  if (version != kKtrDownloaderVersion) return Ignore("request with downloader version " + std::to_string(version));
  switch (what) {
    case kKtrReadFileTable:
      data_ = files_->FileTableImage();
      if (settings_.faults.unformatted) {
        data_[0] = InstrumentFiles::kErasedGuard & 0xFF;
        data_[1] = InstrumentFiles::kErasedGuard >> 8;
      }
      break;
    case kKtrReadFileName:
    case kKtrReadTrace: {
      const StoredFile* file = files_->FindByPointer(pointer);
      if (!file)
        return Ignore(std::string(what == kKtrReadTrace ? "trace" : "file name") + " read of unknown pointer " +
                      Hex(pointer));
      data_ = what == kKtrReadTrace ? file->record : FileNameImage(file->name);
      break;
    }
    default:
      return Ignore("flash read of unknown kind " + std::to_string(what));
  }
  ++stats_.requests;
  const uint8_t normal[2] = {kKtrDownloaderVersion, 0};
  const uint8_t swapped[2] = {0, kKtrDownloaderVersion};
  Send(kKtrAcknowledge, settings_.faults.wrongVersion ? swapped : normal, 2, out);
  sent_ = 0;
  SendNextBlock(out);
}

void Ktr915Engine::HandleAck(std::vector<uint8_t>& out) {
  switch (state_) {
    case State::Idle:
      return Ignore("acknowledgement with no transfer under way");
    case State::AwaitBlockAck:
      ++stats_.acknowledgements;
      return SendNextBlock(out);
    case State::AwaitEndAck:
      ++stats_.acknowledgements;
      ++stats_.transfersCompleted;
      state_ = State::Idle;
      data_.clear();
      return;
  }
}

void Ktr915Engine::SendNextBlock(std::vector<uint8_t>& out) {
  if (sent_ >= data_.size()) {
    Send(kKtrEndOfData, nullptr, 0, out);
    state_ = State::AwaitEndAck;
    return;
  }
  const std::size_t chunk = std::min(static_cast<std::size_t>(settings_.blockBytes), data_.size() - sent_);
  ++blocksSent_;
  const bool unexpected = blocksSent_ == settings_.faults.unexpectedCommandBlock;
  Send(unexpected ? kUnexpectedCommand : kKtrFlashData, data_.data() + sent_, chunk, out);
  sent_ += chunk;
  if (unexpected) {  // the library gives up on such a frame; so does the transfer
    state_ = State::Idle;
    data_.clear();
    return;
  }
  state_ = State::AwaitBlockAck;
}

void Ktr915Engine::Send(char command, const uint8_t* params, std::size_t bytes, std::vector<uint8_t>& out) {
  const Faults& f = settings_.faults;
  if (stats_.hungUp) return;
  if (f.hangUpAfterFrames >= 0 && stats_.framesSent >= f.hangUpAfterFrames) {
    stats_.hungUp = true;
    stats_.log.push_back("hung up after " + std::to_string(stats_.framesSent) + " frame(s)");
    return;
  }
  if (f.silentAfterFrames >= 0 && stats_.framesSent >= f.silentAfterFrames) {
    ++stats_.framesSilenced;
    return;
  }
  ++stats_.framesSent;
  if (f.noiseBytes > 0 && (f.noiseBeforeEveryFrame || stats_.framesSent == 1))
    for (int32_t i = 0; i < f.noiseBytes; ++i) out.push_back(NoiseByte());
  static const uint8_t kNone = 0;
  std::vector<uint8_t> frame = EncodeKtrFrame(command, bytes > 0 ? params : &kNone, bytes / 2);
  if (stats_.framesSent == f.badChecksumFrame) frame.back() = static_cast<uint8_t>(~frame.back());
  out.insert(out.end(), frame.begin(), frame.end());
}

void Ktr915Engine::Ignore(const std::string& why) {
  ++stats_.ignoredFrames;
  stats_.log.push_back(why + ": no answer");
}

uint8_t Ktr915Engine::NoiseByte() {
  // splitmix64: a fully defined sequence on every platform.
  uint64_t z = (noiseState_ += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  const auto b = static_cast<uint8_t>((z ^ (z >> 31)) & 0xFF);
  return b == kKtrStartOfHeader ? uint8_t{0xFE} : b;
}

}  // namespace tarnvik::sim
