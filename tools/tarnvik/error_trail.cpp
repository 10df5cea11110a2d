#include "error_trail.h"

#include <atomic>
#include <filesystem>
#include <fstream>

#ifdef _WIN32
#include <process.h>
#define TARNVIK_GETPID _getpid
#else
#include <unistd.h>
#define TARNVIK_GETPID getpid
#endif

namespace tarnvik::tool {

namespace {

bool IsErrorLine(const std::vector<std::string>& fields) {
  if (fields.size() < 5 || fields[0].empty()) return false;
  for (const char c : fields[0]) {
    if ((c < '0' || c > '9') && c != '-') return false;
  }
  return true;
}

}  // namespace

std::vector<std::string> LogFields(const std::string& line) {
  std::string text = line;
  while (!text.empty() && (text.back() == '\r' || text.back() == '\n')) text.pop_back();
  std::vector<std::string> fields;
  std::string::size_type start = 0;
  for (;;) {
    const auto tab = text.find('\t', start);
    fields.push_back(text.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
    if (tab == std::string::npos) break;
    start = tab + 1;
  }
  return fields;
}

Failure DescribeFailure(const Error& e, const std::vector<std::string>& logLines) {
  Failure f;
  f.number = e.Number();
  f.description = e.Description();
  f.source = e.Source();
  const std::string number = std::to_string(e.Number());
  for (const auto& line : logLines) {
    const auto fields = LogFields(line);
    if (IsErrorLine(fields) && fields[0] == number && fields[1] == e.Description()) {
      f.trail.push_back(fields[2] + ":" + fields[3]);
    }
  }
  f.origin = f.trail.empty() ? f.source : f.trail.front();
  return f;
}

std::vector<std::string> LogNotes(const std::vector<std::string>& logLines) {
  std::vector<std::string> notes;
  for (const auto& line : logLines) {
    const auto fields = LogFields(line);
    if (fields.size() >= 4 && !IsErrorLine(fields)) notes.push_back(fields[0] + " (" + fields[1] + ":" + fields[2] + ")");
  }
  return notes;
}

std::string FailureText(const Failure& f) {
  std::string text = "error " + std::to_string(f.number);
  if (!f.origin.empty()) text += " from " + f.origin;
  if (!f.source.empty() && f.source != f.origin) text += " (reported by " + f.source + ")";
  return text + ": " + f.description;
}

std::string PrivateTempPath(const std::string& extension) {
  static std::atomic<int> counter{0};
  std::error_code ec;
  auto dir = std::filesystem::temp_directory_path(ec);
  if (ec) dir = ".";
  return (dir / ("tarnvik-" + std::to_string(TARNVIK_GETPID()) + "-" + std::to_string(counter++) + "." + extension))
      .string();
}

LogCapture::LogCapture() : path_(PrivateTempPath("log")) { InitializeErrors(path_, true); }

LogCapture::~LogCapture() {
  ClearLogFile();
  InitializeErrors("", false);
}

void LogCapture::Restart() { ClearLogFile(); }

std::vector<std::string> LogCapture::Lines() const {
  std::vector<std::string> lines;
  std::ifstream in(path_, std::ios::binary);
  std::string line;
  while (std::getline(in, line)) lines.push_back(line);
  return lines;
}

}  // namespace tarnvik::tool
