// The chunked receive layer: what it counts and returns matches the driver's bytes in
// order, it asks the driver once per chunk, and a caller waiting for more always sees it.
#include <chrono>
#include <deque>
#include <memory>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/BufferedSerialDevice.h"

namespace tarnvik::testing {
namespace {

// A driver whose input the test feeds, counting the calls the layer makes.
struct FakeDriver : detail::SerialDevice {
  std::deque<uint8_t> input;
  int counts = 0;
  int reads = 0;
  int discards = 0;

  void Configure(const detail::SerialLineSettings&) override {}
  void SetHandshaking(int32_t) override {}
  void SetDTR(bool) override {}
  void SetRTS(bool) override {}
  void Write(const uint8_t*, std::size_t) override {}
  int32_t BytesWaiting() override {
    ++counts;
    return static_cast<int32_t>(input.size());
  }
  std::size_t Read(uint8_t* bytes, std::size_t n) override {
    ++reads;
    std::size_t got = 0;
    for (; got < n && !input.empty(); ++got) {
      bytes[got] = input.front();
      input.pop_front();
    }
    return got;
  }
  void DiscardInput() override {
    ++discards;
    input.clear();
  }
  bool WaitForInput(std::chrono::milliseconds) override { return !input.empty(); }
};

class BufferedSerialDeviceTest : public ::testing::Test {
 protected:
  BufferedSerialDeviceTest() {
    auto driver = std::make_unique<FakeDriver>();
    driver_ = driver.get();
    device_ = std::make_unique<detail::BufferedSerialDevice>(std::move(driver));
  }
  void Feed(int from, int to) {
    for (int v = from; v < to; ++v) driver_->input.push_back(static_cast<uint8_t>(v));
  }
  uint8_t ReadOne() {
    uint8_t b = 0;
    EXPECT_EQ(device_->Read(&b, 1), 1u);
    return b;
  }

  FakeDriver* driver_;
  std::unique_ptr<detail::BufferedSerialDevice> device_;
};

TEST_F(BufferedSerialDeviceTest, ServesAChunkFromOneDriverRead) {
  Feed(0, 200);
  EXPECT_EQ(device_->BytesWaiting(), 200);
  for (int v = 0; v < 200; ++v) {
    ASSERT_GE(device_->BytesWaiting(), 1);
    ASSERT_EQ(ReadOne(), v);
  }
  EXPECT_EQ(driver_->reads, 1);
  // Empty again: the next count asks the driver.
  const int counts = driver_->counts;
  EXPECT_EQ(device_->BytesWaiting(), 0);
  EXPECT_EQ(driver_->counts, counts + 1);
  uint8_t none = 0;
  EXPECT_EQ(device_->Read(&none, 1), 0u);
}

TEST_F(BufferedSerialDeviceTest, ACallerWaitingForMoreSeesIt) {
  Feed(0, 1);
  EXPECT_EQ(device_->BytesWaiting(), 1);
  Feed(1, 3);
  // A yield (the caller waits for more) or a look a millisecond old asks the driver again.
  YieldToHost();
  EXPECT_EQ(device_->BytesWaiting(), 3);
  Feed(3, 4);
  std::this_thread::sleep_for(std::chrono::milliseconds(2));
  EXPECT_EQ(device_->BytesWaiting(), 4);
  // A read of more than is buffered takes what the driver holds besides.
  Feed(4, 6);
  uint8_t bytes[6] = {};
  EXPECT_EQ(device_->Read(bytes, 6), 6u);
  EXPECT_EQ(std::vector<uint8_t>(bytes, bytes + 6), (std::vector<uint8_t>{0, 1, 2, 3, 4, 5}));
}

TEST_F(BufferedSerialDeviceTest, DiscardEmptiesBothAndWaitSeesTheBuffer) {
  Feed(0, 10);
  EXPECT_EQ(device_->BytesWaiting(), 10);
  EXPECT_TRUE(device_->WaitForInput(std::chrono::milliseconds(0)));
  EXPECT_EQ(ReadOne(), 0);
  device_->DiscardInput();
  EXPECT_EQ(driver_->discards, 1);
  EXPECT_EQ(device_->BytesWaiting(), 0);
  EXPECT_FALSE(device_->WaitForInput(std::chrono::milliseconds(0)));
  Feed(50, 52);
  EXPECT_EQ(device_->BytesWaiting(), 2);
  EXPECT_EQ(ReadOne(), 50);
}

}  // namespace
}  // namespace tarnvik::testing
