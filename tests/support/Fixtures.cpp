#include "support/Fixtures.h"

#include <atomic>
#include <filesystem>
#include <fstream>
#include <sstream>

#include <unistd.h>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::testing {

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
  const auto* info = ::testing::UnitTest::GetInstance()->current_test_info();
  std::filesystem::path dir = std::filesystem::temp_directory_path() /
                              ("tarnvik-" + std::string(info->test_suite_name()) + "-" + info->name() + "-" +
                               std::to_string(::getpid()) + "-" + std::to_string(counter++));
  std::filesystem::remove_all(dir);
  std::filesystem::create_directories(dir);
  dir_ = dir.string();
  InitializeErrors(LogPath(), false);
  SetMessageBoxHandler([this](const std::string& text) { messages_.push_back(text); });
}

void TempDirTest::TearDown() {
  InitializeErrors("", false);
  SetMessageBoxHandler(nullptr);
  std::error_code ignored;
  std::filesystem::remove_all(dir_, ignored);
}

std::vector<std::string> TempDirTest::LogLines() const {
  std::vector<std::string> lines;
  std::ifstream in(LogPath(), std::ios::binary);
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
