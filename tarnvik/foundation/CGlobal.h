// The global object clients use to name the library's log file.
#pragma once

#include <string>

namespace tarnvik {

class CGlobal {
 public:
  CGlobal();
  CGlobal(const CGlobal&) = delete;
  CGlobal& operator=(const CGlobal&) = delete;

  // Names the log file; lines already in it are kept.
  void InitializeTraceDLLErrors(const std::string& sLogFilename);

 private:
  static constexpr const char* kModule = "CGlobal";
};

}  // namespace tarnvik
