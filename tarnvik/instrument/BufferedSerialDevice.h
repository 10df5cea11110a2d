// Library-internal: the receive side of a serial device read in chunks. A transfer polls
// the count and reads one byte at a time; asking the driver for both on every byte costs
// a few system calls per byte. This layer takes whatever the driver holds in one read and
// serves counts and bytes from it, asking the driver again only when it has nothing left,
// when the host was yielded to since (the caller is waiting for more), or when its last
// look is a millisecond old (a caller that polls without yielding still sees new input).
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <vector>

#include "tarnvik/instrument/SerialDevice.h"

namespace tarnvik::detail {

class BufferedSerialDevice final : public SerialDevice {
 public:
  explicit BufferedSerialDevice(std::unique_ptr<SerialDevice> device);

  void Configure(const SerialLineSettings& line) override { device_->Configure(line); }
  void SetHandshaking(int32_t handshaking) override { device_->SetHandshaking(handshaking); }
  void SetDTR(bool on) override { device_->SetDTR(on); }
  void SetRTS(bool on) override { device_->SetRTS(on); }
  void Write(const uint8_t* bytes, std::size_t n) override { device_->Write(bytes, n); }

  int32_t BytesWaiting() override;
  std::size_t Read(uint8_t* bytes, std::size_t n) override;
  void DiscardInput() override;
  bool WaitForInput(std::chrono::milliseconds timeout) override;

 private:
  static constexpr std::chrono::milliseconds kMaxAge{1};

  std::size_t Buffered() const { return buffer_.size() - head_; }
  bool Stale() const;
  void TopUp();

  std::unique_ptr<SerialDevice> device_;
  std::vector<uint8_t> buffer_;
  std::size_t head_ = 0;
  uint64_t yieldsAtLastLook_ = 0;
  std::chrono::steady_clock::time_point lastLook_{};
};

}  // namespace tarnvik::detail
