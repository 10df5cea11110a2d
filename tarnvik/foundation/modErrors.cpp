#include "tarnvik/foundation/modErrors.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <ios>
#include <iostream>
#include <mutex>
#include <new>
#include <system_error>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modMain.h"

#if defined(_WIN32)
#include "tarnvik/foundation/WindowsApi.h"
#endif

namespace tarnvik {

namespace {

struct ErrorState {
  std::mutex mutex;
  std::string logFileName;
  std::function<void(const std::string&)> messageBox;
};

ErrorState& State() {
  static ErrorState state;
  return state;
}

std::string CurrentDateTimeText() {
  const std::tm local = LocalNow();
  char text[32];
  std::strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S", &local);
  return text;
}

// Appends fields, a tab and the local date and time. Any failure to open or write the
// log is ignored: a bad or empty log name must never stop the report itself. Without a
// log the time is not even read (reading it may consult the time-zone file).
void AppendLogLine(const std::string& fields) {
  try {
    std::string name = LogFileName();
    if (name.empty()) return;
    std::ofstream out(PathFromUtf8(name), std::ios::binary | std::ios::app);
    if (!out) return;
    out << fields << "\t" << CurrentDateTimeText() << "\r\n";
  } catch (...) {
  }
}

// ---- The message box shown when the client has installed no handler of its own.
#if defined(_WIN32)

// A real message box, modal to the task: the library has no window of its own to own it.
void ShowDefaultMessageBox(const std::string& text) {
  MessageBoxW(nullptr, WideFromUtf8(text).c_str(), L"Tarnvik", MB_OK | MB_ICONERROR | MB_TASKMODAL | MB_SETFOREGROUND);
}

#else

// No desktop to rely on: the text goes to standard error.
void ShowDefaultMessageBox(const std::string& text) { std::cerr << text << std::endl; }

#endif
// ----

int32_t FileErrorNumber(const std::error_code& code) {
  if (code == std::errc::no_such_file_or_directory) return err::FileNotFound;
  if (code == std::errc::not_enough_memory) return err::OutOfMemory;
  return err::PathFileAccess;
}

}  // namespace

std::string StandardDescription(int32_t number) {
  switch (number) {
    case err::InvalidCall: return "Invalid procedure call or argument";
    case err::Overflow: return "Overflow";
    case err::OutOfMemory: return "Out of memory";
    case err::SubscriptOutOfRange: return "Subscript out of range";
    case err::DivisionByZero: return "Division by zero";
    case err::TypeMismatch: return "Type mismatch";
    case err::BadFileName: return "Bad file name or number";
    case err::FileNotFound: return "File not found";
    case err::InputPastEndOfFile: return "Input past end of file";
    case err::PathFileAccess: return "Path/File access error";
    case err::PathNotFound: return "Path not found";
    case err::ObjectNotSet: return "Object variable or With block variable not set";
    case err::NotSupportedByObject: return "Object doesn't support this property or method";
    case err::DuplicateKey: return "This key is already associated with an element of this collection";
    default: return {};
  }
}

Error::Error(int32_t number, std::string description, std::string source)
    : number_(number), description_(std::move(description)), source_(std::move(source)) {}

void Raise(int32_t number, std::string description) { throw Error(number, std::move(description)); }

void Raise(int32_t number) { throw Error(number, StandardDescription(number)); }

void RaiseFrom(const char* module, const char* procedure, int32_t number, std::string description) {
  std::string source(module);
  source.append(":").append(procedure);
  throw Error(number, std::move(description), std::move(source));
}

void InitializeErrors(const std::string& sLogFilename, bool bClearLog) {
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    State().logFileName = sLogFilename;
  }
  if (bClearLog) ClearLogFile();
}

std::string LogFileName() {
  std::lock_guard<std::mutex> lock(State().mutex);
  return State().logFileName;
}

void ClearLogFile() {
  try {
    std::string name = LogFileName();
    if (name.empty()) return;
    std::error_code ignored;
    std::filesystem::remove(PathFromUtf8(name), ignored);
  } catch (...) {
  }
}

void LogEvent(const std::string& s1, const std::string& s2, const std::string& s3) {
  AppendLogLine(s1 + "\t" + s2 + "\t" + s3);
}

// The debug-mode prompt of the original module is never enabled by the library, so there
// is no state to change.
void SetErrorDebugMode() {}

void SetMessageBoxHandler(std::function<void(const std::string& text)> handler) {
  std::lock_guard<std::mutex> lock(State().mutex);
  State().messageBox = std::move(handler);
}

void ShowMessageBox(const std::string& text) {
  std::function<void(const std::string&)> handler;
  {
    std::lock_guard<std::mutex> lock(State().mutex);
    handler = State().messageBox;
  }
  if (handler) {
    handler(text);
  } else {
    ShowDefaultMessageBox(text);
  }
}

int32_t LogError(int32_t lNumber, const std::string& sDescription, const std::string& sModule,
                 const std::string& sProcedure, bool bRaise, bool bShowMessage) {
  const int32_t result = 2;
  AppendLogLine(std::to_string(lNumber) + "\t" + sDescription + "\t" + sModule + "\t" + sProcedure);
  if (bShowMessage) {
    ShowMessageBox("Error: " + std::to_string(lNumber) + "\r\n\r\n" + sDescription + "\r\n\r\n" +
                   "Check Error Log '" + LogFileName() + "' for more details");
  }
  if (bRaise) throw Error(lNumber, sDescription, sModule + ":" + sProcedure);
  return result;
}

namespace detail {

void ReportError(const Error& error, const char* module, const char* procedure, OnFailure policy) {
  const std::string& given = error.Description();
  LogError(error.Number(), given.empty() ? StandardDescription(error.Number()) : given, module, procedure,
           policy == OnFailure::RaiseToCaller, policy == OnFailure::ShowMessage);
}

void ReportCurrentException(const char* module, const char* procedure, OnFailure policy) {
  int32_t number = err::InvalidCall;
  std::string description;
  try {
    throw;
  } catch (const Error& e) {
    number = e.Number();
    description = e.Description();
  } catch (const std::bad_alloc&) {
    number = err::OutOfMemory;
  } catch (const std::filesystem::filesystem_error& e) {
    number = FileErrorNumber(e.code());
  } catch (const std::ios_base::failure&) {
    number = err::PathFileAccess;
  } catch (const std::system_error& e) {
    number = FileErrorNumber(e.code());
  } catch (...) {
#if defined(TARNVIK_FUZZING)
    // Under the fuzzer a foreign exception is a fault of the library's own (an index
    // check that failed, a length error): abort so that the input is kept.
    std::abort();
#endif
    number = err::InvalidCall;
  }
  if (description.empty()) description = StandardDescription(number);
  LogError(number, description, module, procedure, policy == OnFailure::RaiseToCaller,
           policy == OnFailure::ShowMessage);
}

}  // namespace detail

}  // namespace tarnvik
