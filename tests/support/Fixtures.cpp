#include "support/Fixtures.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::testing {

void FailOnMessageBox(const std::string& text) {
  ADD_FAILURE() << "a message box was shown with no test recording it: " << text;
}

namespace {
[[maybe_unused]] const bool messageBoxGuarded = (SetMessageBoxHandler(FailOnMessageBox), true);
}  // namespace

Raised Capture(const std::function<void()>& f) {
  Raised r;
  try {
    f();
  } catch (const Error& e) {
    r.raised = true;
    r.number = e.Number();
    r.source = e.Source();
    r.description = e.Description();
  }
  return r;
}

void TempDirTest::SetUp() {
  static std::atomic<int> counter{0};
  // Tells this process's folders from those of other test programs running at once.
  static const unsigned process = std::random_device{}() % 1000000u;
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::filesystem::path dir = std::filesystem::temp_directory_path() /
                              ("tarnvik-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
                               std::to_string(process) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  const std::u8string utf8 = dir.u8string();  // the library takes UTF-8 names
  dir_.assign(utf8.begin(), utf8.end());
  InitializeErrors(LogPath(), false);
  SetMessageBoxHandler([this](const std::string& text) { messages_.push_back(text); });
}

void TempDirTest::TearDown() {
  InitializeErrors("", false);
  SetMessageBoxHandler(FailOnMessageBox);
  std::error_code ignored;
  std::filesystem::remove_all(PathFromUtf8(dir_), ignored);
}

std::vector<std::string> TempDirTest::LogLines() const {
  std::vector<std::string> lines;
  std::ifstream in(PathFromUtf8(LogPath()), std::ios::binary);
  std::string line;
  while (std::getline(in, line)) {
    if (!line.empty() && line.back() == '\r') line.pop_back();
    lines.push_back(line);
  }
  return lines;
}

std::vector<std::string> TempDirTest::Fields(const std::string& line) {
  std::vector<std::string> fields;
  std::stringstream in(line);
  std::string field;
  while (std::getline(in, field, '\t')) fields.push_back(field);
  return fields;
}

}  // namespace tarnvik::testing
