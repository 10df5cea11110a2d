// A serial device served from memory: each write of the library lets the next reply of a
// script arrive, as an instrument answers each frame. The session fuzz target opens it
// through the serial layer's opener, and the corpus maker records replies the same way.
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <limits>
#include <memory>
#include <utility>
#include <vector>

#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik::fuzz {

class ScriptedSerialDevice final : public detail::SerialDevice {
 public:
  // answer gets every write and returns what arrives after it.
  using Answer = std::function<std::vector<uint8_t>(const uint8_t* bytes, std::size_t n)>;
  explicit ScriptedSerialDevice(Answer answer) : answer_(std::move(answer)) {}

  void Configure(const detail::SerialLineSettings&) override {}
  void SetHandshaking(int32_t) override {}
  void SetDTR(bool) override {}
  void SetRTS(bool) override {}
  int32_t BytesWaiting() override {
    return static_cast<int32_t>(std::min<std::size_t>(Waiting(), std::numeric_limits<int32_t>::max()));
  }
  std::size_t Read(uint8_t* bytes, std::size_t n) override {
    n = std::min(n, Waiting());
    std::copy_n(input_.begin() + static_cast<std::ptrdiff_t>(read_), n, bytes);
    read_ += n;
    return n;
  }
  void Write(const uint8_t* bytes, std::size_t n) override {
    const std::vector<uint8_t> reply = answer_(bytes, n);
    input_.insert(input_.end(), reply.begin(), reply.end());
  }
  void DiscardInput() override { read_ = input_.size(); }
  bool WaitForInput(std::chrono::milliseconds) override { return Waiting() > 0; }

 private:
  std::size_t Waiting() const { return input_.size() - read_; }

  Answer answer_;
  std::vector<uint8_t> input_;
  std::size_t read_ = 0;
};

// Every port opens a new device answering through answer, until the returned guard ends.
class ScriptedPorts {
 public:
  explicit ScriptedPorts(ScriptedSerialDevice::Answer answer) {
    detail::SetSerialDeviceOpener([answer = std::move(answer)](const std::string&, int32_t) {
      detail::SerialOpenResult result;
      result.status = detail::SerialOpenStatus::Opened;
      result.device = std::make_unique<ScriptedSerialDevice>(answer);
      return result;
    });
  }
  ~ScriptedPorts() { detail::SetSerialDeviceOpener({}); }
  ScriptedPorts(const ScriptedPorts&) = delete;
  ScriptedPorts& operator=(const ScriptedPorts&) = delete;
};

}  // namespace tarnvik::fuzz
