// What the library's log tells about a failure. Every procedure a failure passes through
// logs it once, innermost first, and raises it again under its own name; the exception
// that reaches the tool carries only the outermost name. The tool points the log at a
// private file so that it can name the procedure where a failure began, and the block
// of a SOR file that failed to parse.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::tool {

struct Failure {
  int32_t number = 0;
  std::string description;
  std::string source;              // as the exception carries it: the outermost procedure
  std::string origin;              // the first procedure that logged it; = source when unknown
  std::vector<std::string> trail;  // every procedure that logged it, innermost first
};

// Splits a log line (tab-separated, CR LF or LF ended) into its fields.
std::vector<std::string> LogFields(const std::string& line);

// Describes e with the help of the log lines written while it travelled: the lines whose
// number and description are e's own form its trail.
Failure DescribeFailure(const Error& e, const std::vector<std::string>& logLines);

// The notes the library wrote with LogEvent (lines that do not start with an error
// number), as "text (Module:Procedure)".
std::vector<std::string> LogNotes(const std::vector<std::string>& logLines);

// "error 53 from CSORFile:LoadFromFile(): File not found"; when the failure began in
// another procedure, that one is named and the outer one follows as "reported by".
std::string FailureText(const Failure& f);

// A new name in the temporary folder, unique to this process and call:
// "tarnvik-<process>-<n>.<extension>".
std::string PrivateTempPath(const std::string& extension);

// Points the library's log at a private temporary file for the life of the object and
// removes the file afterwards. Restart() empties it; Lines() reads what was written since.
class LogCapture {
 public:
  LogCapture();
  ~LogCapture();
  LogCapture(const LogCapture&) = delete;
  LogCapture& operator=(const LogCapture&) = delete;

  void Restart();
  std::vector<std::string> Lines() const;

 private:
  std::string path_;
};

}  // namespace tarnvik::tool
