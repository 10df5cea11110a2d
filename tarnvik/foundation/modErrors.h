// Error reporting shared by the whole library: the one exception type, the log file,
// the message-box hook, and Guarded(), the wrapper every fallible procedure runs in.
#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <string>
#include <type_traits>
#include <utility>

namespace tarnvik {

// Numbers the library raises for trace and SOR-file failures.
enum EnumTraceErrors : int32_t {
  ERR_NotRecognized = 10001,
  ERR_CRC = 10020,
  ERR_TooManyEvents = 10510,
  ERR_NoSamples = 10511,
  ERR_BadParse = 10512,
  ERR_WrongVersion = 10513,
  ERR_NotSupported = 10514,
  ERR_NotHandled = 10515,
  ERR_TotalPulseWidths = 10516,
};

// The platform's own error numbers that the library raises or passes through.
namespace err {
inline constexpr int32_t InvalidCall = 5;
inline constexpr int32_t Overflow = 6;
inline constexpr int32_t OutOfMemory = 7;
inline constexpr int32_t SubscriptOutOfRange = 9;
inline constexpr int32_t DivisionByZero = 11;
inline constexpr int32_t TypeMismatch = 13;
inline constexpr int32_t BadFileName = 52;
inline constexpr int32_t FileNotFound = 53;
inline constexpr int32_t InputPastEndOfFile = 62;
inline constexpr int32_t PathFileAccess = 75;
inline constexpr int32_t PathNotFound = 76;
inline constexpr int32_t ObjectNotSet = 91;
inline constexpr int32_t NotSupportedByObject = 438;
inline constexpr int32_t DuplicateKey = 457;
}  // namespace err

// The usual description of one of the platform's numbers ("Overflow" for 6); empty for
// numbers that have none.
std::string StandardDescription(int32_t number);

// The library's one exception type. Source is "Class:Procedure()" once a Guarded()
// procedure has reported it, empty while it is still inside the procedure that raised it.
class Error : public std::exception {
 public:
  Error(int32_t number, std::string description, std::string source = {});
  int32_t Number() const noexcept { return number_; }
  const std::string& Source() const noexcept { return source_; }
  const std::string& Description() const noexcept { return description_; }
  const char* what() const noexcept override { return description_.c_str(); }

 private:
  int32_t number_;
  std::string description_;
  std::string source_;
};

// Throws an Error without a source; the enclosing Guarded() adds it.
[[noreturn]] void Raise(int32_t number, std::string description);
// Throws an Error with the platform's usual description for that number.
[[noreturn]] void Raise(int32_t number);
// Throws an Error whose source is already "module:procedure": for a procedure that names
// another as the source, or an error that reaches the caller without a log line.
[[noreturn]] void RaiseFrom(const char* module, const char* procedure, int32_t number, std::string description);

// modErrors: the log file and the central report.
void InitializeErrors(const std::string& sLogFilename, bool bClearLog);
std::string LogFileName();
void ClearLogFile();
int32_t LogError(int32_t lNumber, const std::string& sDescription, const std::string& sModule,
                 const std::string& sProcedure, bool bRaise, bool bShowMessage);
void LogEvent(const std::string& s1, const std::string& s2, const std::string& s3);
// Kept for clients of the original module; the library never enters the interactive
// debug mode, so this changes nothing.
void SetErrorDebugMode();

// Message boxes go through this process-wide handler; the default shows a Windows message
// box on Windows and writes to stderr elsewhere. Passing an empty function restores it.
void SetMessageBoxHandler(std::function<void(const std::string& text)> handler);
void ShowMessageBox(const std::string& text);

// What a Guarded() procedure does with a failure once it has been logged.
enum class OnFailure {
  RaiseToCaller,  // methods and properties: re-raise with source "Module:Procedure"
  ShowMessage,    // constructors, destructors, event sinks: show a message box, swallow
  LogOnly,        // procedures documented to log and carry on
};

namespace detail {
// Reports a failure through LogError(). Returns only when the policy swallows it.
void ReportError(const Error& error, const char* module, const char* procedure, OnFailure policy);
// The same for any other exception in flight, converted into (number, description).
void ReportCurrentException(const char* module, const char* procedure, OnFailure policy);
}  // namespace detail

// Runs body; any failure is logged with module and procedure and, by default, raised
// again to the caller with source "module:procedure". Foreign exceptions are converted:
// std::bad_alloc to 7, I/O failures to the file numbers, anything else to 5.
// The library's own errors are caught by type: classifying them by rethrowing would
// cost a second unwind at every level an error passes through.
//
// GuardedAnswering first shows the library's own errors to answer, which may deal with
// one itself by raising another (a procedure that passes some numbers on unchanged, or
// raises an event first); whatever it lets through is logged and raised as above.
template <class Answer, class Body>
auto GuardedAnswering(const char* module, const char* procedure, Answer&& answer, Body&& body)
    -> decltype(body()) {
  try {
    return body();
  } catch (const Error& e) {
    answer(e);
    detail::ReportError(e, module, procedure, OnFailure::RaiseToCaller);
    throw;  // not reached: the report raises
  } catch (...) {
    detail::ReportCurrentException(module, procedure, OnFailure::RaiseToCaller);
    throw;  // not reached: the report raises
  }
}

template <class Body>
auto Guarded(const char* module, const char* procedure, Body&& body) -> decltype(body()) {
  return GuardedAnswering(module, procedure, [](const Error&) {}, std::forward<Body>(body));
}

// The variant for procedures that have no caller to receive an error (or that are
// documented to carry on): the failure is logged, shown or not, and swallowed; a
// value-returning body then yields a value-initialised result.
template <class Body>
auto GuardedSwallow(const char* module, const char* procedure, OnFailure policy, Body&& body)
    -> decltype(body()) {
  using Result = decltype(body());
  try {
    return body();
  } catch (const Error& e) {
    detail::ReportError(e, module, procedure, policy);
  } catch (...) {
    detail::ReportCurrentException(module, procedure, policy);
  }
  if constexpr (!std::is_void_v<Result>) return Result{};
}

}  // namespace tarnvik
