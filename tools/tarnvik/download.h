// `tarnvik download`: lists the files on a KTR 915 handheld OTDR or downloads them, each
// written as NAME.EXT (SR-4731 for "sor", the trace's own format otherwise), with a
// progress line per file.
#pragma once

#include <cstdint>
#include <functional>
#include <ostream>
#include <string>
#include <vector>

#include "commands.h"
#include "error_trail.h"

namespace tarnvik::tool {

struct DownloadOptions {
  int16_t port = 1;
  std::string device;  // the device behind the port; the platform's default when empty
  bool list = false;
  std::vector<std::string> names;  // all the instrument's files when empty
  std::string outputFolder = ".";
  std::string extension = "sor";  // of the files written, as WriteTrace chooses the format
  float timeout = 5.0f;  // seconds each receive stage may wait
  // Polled while waiting for the instrument; true cancels the transfer (Ctrl-C).
  std::function<bool()> cancelRequested;
};

// 0 when every file was listed or written, 1 when the instrument or any file failed (the
// other files are still tried), 2 for an output folder that does not exist.
int RunDownload(const DownloadOptions& options, const CommonOptions& common, LogCapture& log, std::ostream& out,
                std::ostream& err);

}  // namespace tarnvik::tool
