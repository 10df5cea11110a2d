#include "tarnvik/instrument/BufferedSerialDevice.h"

#include <algorithm>
#include <cstring>

#include "tarnvik/foundation/HostServices.h"

namespace tarnvik::detail {

BufferedSerialDevice::BufferedSerialDevice(std::unique_ptr<SerialDevice> device) : device_(std::move(device)) {}

bool BufferedSerialDevice::Stale() const {
  return Buffered() == 0 || YieldCount() != yieldsAtLastLook_ || std::chrono::steady_clock::now() - lastLook_ >= kMaxAge;
}

void BufferedSerialDevice::TopUp() {
  yieldsAtLastLook_ = YieldCount();
  lastLook_ = std::chrono::steady_clock::now();
  const int32_t waiting = device_->BytesWaiting();
  if (waiting <= 0) return;
  if (head_ > 0) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<std::ptrdiff_t>(head_));
    head_ = 0;
  }
  const std::size_t before = buffer_.size();
  buffer_.resize(before + static_cast<std::size_t>(waiting));
  buffer_.resize(before + device_->Read(buffer_.data() + before, static_cast<std::size_t>(waiting)));
}

int32_t BufferedSerialDevice::BytesWaiting() {
  if (Stale()) TopUp();
  return static_cast<int32_t>(std::min<std::size_t>(Buffered(), INT32_MAX));
}

std::size_t BufferedSerialDevice::Read(uint8_t* bytes, std::size_t n) {
  if (Buffered() < n) TopUp();
  const std::size_t take = std::min(n, Buffered());
  if (take > 0) std::memcpy(bytes, buffer_.data() + head_, take);
  head_ += take;
  if (head_ == buffer_.size()) {
    buffer_.clear();
    head_ = 0;
  }
  return take;
}

void BufferedSerialDevice::DiscardInput() {
  buffer_.clear();
  head_ = 0;
  device_->DiscardInput();
}

bool BufferedSerialDevice::WaitForInput(std::chrono::milliseconds timeout) {
  return Buffered() > 0 || device_->WaitForInput(timeout);
}

}  // namespace tarnvik::detail
