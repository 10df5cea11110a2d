// Test fixtures: capture of raised errors, a private temporary folder with its own log
// file, and a message-box recorder.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace tarnvik::testing {

struct Raised {
  bool raised = false;
  int32_t number = 0;
  std::string source;
  std::string description;
};

// Runs f and reports the tarnvik::Error it raised, if any. Any other exception escapes
// and fails the test.
Raised Capture(const std::function<void()>& f);

// Expects f to raise exactly this error.
#define EXPECT_RAISES(statement, number_, source_, description_)            \
  do {                                                                       \
    const ::tarnvik::testing::Raised r_ = ::tarnvik::testing::Capture([&] { statement; }); \
    EXPECT_TRUE(r_.raised) << "nothing was raised by: " #statement;          \
    EXPECT_EQ(r_.number, (number_));                                         \
    EXPECT_EQ(r_.source, std::string(source_));                              \
    EXPECT_EQ(r_.description, std::string(description_));                    \
  } while (0)

// The message-box handler every test program starts with and returns to: a message box
// that no test records fails the running test. (The library's default would open a real,
// modal box on Windows and stop an unattended run.)
void FailOnMessageBox(const std::string& text);

// A fresh folder for each test, with the library's log file pointed into it and a
// message-box handler that records instead of printing. Everything is restored after.
class TempDirTest : public ::testing::Test {
 protected:
  void SetUp() override;
  void TearDown() override;

  std::string Path(const std::string& name) const { return dir_ + "/" + name; }
  std::string LogPath() const { return Path("errors.log"); }
  // The log file's lines, without their CR LF; empty when there is no log.
  std::vector<std::string> LogLines() const;
  // The fields of one log line (tab-separated).
  static std::vector<std::string> Fields(const std::string& line);

  std::vector<std::string> messages_;

 private:
  std::string dir_;
};

}  // namespace tarnvik::testing
