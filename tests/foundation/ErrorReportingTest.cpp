// The shared error report: log lines, re-raise with "Module:Procedure()", message boxes,
// conversion of foreign exceptions, and the log file's life.
#include <filesystem>
#include <fstream>
#include <new>
#include <regex>
#include <stdexcept>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "tarnvik/foundation/CGlobal.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::testing {
namespace {

class ErrorReporting : public TempDirTest {};

void Inner() {
  Guarded("CInner", "Get Value()", [] { Raise(10512, "bad parse"); });
}
void Outer() {
  Guarded("COuter", "LoadFromFile()", [] { Inner(); });
}

TEST_F(ErrorReporting, OneLogLinePerProcedureAndTheOutermostSource) {
  EXPECT_RAISES(Outer(), 10512, "COuter:LoadFromFile()", "bad parse");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  const auto inner = Fields(lines[0]);
  const auto outer = Fields(lines[1]);
  ASSERT_EQ(inner.size(), 5u);
  EXPECT_EQ(inner[0], "10512");
  EXPECT_EQ(inner[1], "bad parse");
  EXPECT_EQ(inner[2], "CInner");
  EXPECT_EQ(inner[3], "Get Value()");
  EXPECT_TRUE(std::regex_match(inner[4], std::regex(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d)"))) << inner[4];
  ASSERT_EQ(outer.size(), 5u);
  EXPECT_EQ(outer[2], "COuter");
  EXPECT_EQ(outer[3], "LoadFromFile()");

  std::ifstream raw(LogPath(), std::ios::binary);
  const std::string text((std::istreambuf_iterator<char>(raw)), std::istreambuf_iterator<char>());
  EXPECT_EQ(text.substr(text.size() - 2), "\r\n");
  EXPECT_TRUE(messages_.empty());
}

TEST_F(ErrorReporting, ForeignExceptionsGetTheirNumbers) {
  EXPECT_RAISES(Guarded("CX", "A()", [] { throw std::bad_alloc(); }), 7, "CX:A()", "Out of memory");
  EXPECT_RAISES(Guarded("CX", "B()", [] { throw std::runtime_error("boom"); }), 5, "CX:B()",
                "Invalid procedure call or argument");
  EXPECT_RAISES(Guarded("CX", "C()", [] {
                  throw std::filesystem::filesystem_error("x", std::make_error_code(std::errc::no_such_file_or_directory));
                }),
                53, "CX:C()", "File not found");
  EXPECT_RAISES(Guarded("CX", "D()", [] { Raise(9); }), 9, "CX:D()", "Subscript out of range");
  EXPECT_EQ(Guarded("CX", "E()", [] { return 42; }), 42);
}

TEST_F(ErrorReporting, SwallowingVariantsShowOrOnlyLog) {
  const int shown = GuardedSwallow("CTrace", "Class_Initialize()", OnFailure::ShowMessage, [] {
    Raise(6);
    return 1;
  });
  EXPECT_EQ(shown, 0);
  ASSERT_EQ(messages_.size(), 1u);
  EXPECT_EQ(messages_[0], "Error: 6\r\n\r\nOverflow\r\n\r\nCheck Error Log '" + LogPath() + "' for more details");

  GuardedSwallow("CSORFile", "RemoveKeyEventsBlock()", OnFailure::LogOnly, [] { Raise(91); });
  EXPECT_EQ(messages_.size(), 1u);
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(Fields(lines[1])[3], "RemoveKeyEventsBlock()");
}

TEST_F(ErrorReporting, WithoutALogFileErrorsStillRaiseAndNothingIsWritten) {
  InitializeErrors("", false);
  EXPECT_RAISES(Guarded("CKTR915", "Connect()", [] { Raise(11000, "Timeout"); }), 11000, "CKTR915:Connect()",
                "Timeout");
  EXPECT_FALSE(std::filesystem::exists(LogPath()));
  // A log file in a folder that does not exist is ignored the same way.
  InitializeErrors(Path("missing/dir/log.txt"), false);
  EXPECT_RAISES(Guarded("CX", "F()", [] { Raise(5, "x"); }), 5, "CX:F()", "x");
}

TEST_F(ErrorReporting, LogFileNamingAndClearing) {
  CGlobal global;
  global.InitializeTraceDLLErrors(Path("first.log"));
  EXPECT_EQ(LogFileName(), Path("first.log"));
  LogEvent("a", "b", "c");
  global.InitializeTraceDLLErrors(Path("second.log"));
  LogError(5, "d", "M", "P()", false, false);
  InitializeErrors(Path("first.log"), false);
  LogEvent("e", "f", "g");  // lines accumulate: the file is never truncated by naming it

  std::ifstream first(Path("first.log"), std::ios::binary);
  std::string line1, line2;
  std::getline(first, line1);
  std::getline(first, line2);
  EXPECT_EQ(line1.substr(0, 6), "a\tb\tc\t");
  EXPECT_EQ(line2.substr(0, 6), "e\tf\tg\t");
  EXPECT_TRUE(std::filesystem::exists(Path("second.log")));
  first.close();  // Windows cannot delete a file that is still open

  InitializeErrors(Path("first.log"), true);  // clearing deletes the file
  EXPECT_FALSE(std::filesystem::exists(Path("first.log")));
  ClearLogFile();  // a missing file is ignored
  EXPECT_EQ(LogError(5, "x", "M", "P()", false, false), 2);
}

}  // namespace
}  // namespace tarnvik::testing
