#include "download.h"

#include <chrono>
#include <filesystem>
#include <iomanip>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik::tool {

namespace {

namespace fs = std::filesystem;

// Instrument names are free text: a folder separator in one must not lead outside the
// output folder.
std::string SafeFileName(std::string name) {
  for (char& c : name) {
    if (c == '/' || c == '\\' || c == ':') c = '_';
  }
  if (name.empty() || name == "." || name == "..") name = "_" + name;
  return name;
}

// Installs a yield handler for the life of the object that cancels the session once
// asked to, and otherwise waits on the port as the default does.
class CancelOnRequest {
 public:
  CancelOnRequest(CKTR915& ktr, const std::function<bool()>& requested) {
    if (!requested) return;
    SetYieldHandler([&ktr, requested] {
      if (requested()) ktr.CancelOperation(true);
      DefaultYield();
    });
    installed_ = true;
  }
  ~CancelOnRequest() {
    if (installed_) SetYieldHandler({});
  }
  CancelOnRequest(const CancelOnRequest&) = delete;
  CancelOnRequest& operator=(const CancelOnRequest&) = delete;

 private:
  bool installed_ = false;
};

void Report(std::ostream& err, const std::string& what, const Error& e, LogCapture& log) {
  err << what << ": " << FailureText(DescribeFailure(e, log.Lines())) << "\n";
}

}  // namespace

int RunDownload(const DownloadOptions& options, const CommonOptions& common, LogCapture& log, std::ostream& out,
                std::ostream& err) {
  std::error_code ec;
  if (!options.list && !fs::is_directory(options.outputFolder, ec)) {
    err << "tarnvik download: -o must name an existing folder\n";
    return 2;
  }
  if (options.extension.empty() || options.extension.find_first_of("/\\:") != std::string::npos) {
    err << "tarnvik download: --to must give an extension without folder separators\n";
    return 2;
  }
  const std::string port = "port " + std::to_string(options.port);
  if (!options.device.empty()) SetSerialPortDevice(options.port, options.device);

  CKTR915 ktr;
  CancelOnRequest cancel(ktr, options.cancelRequested);
  std::vector<std::string> names;
  log.Restart();
  try {
    ktr.Connect(options.port);
    names = ktr.GetFilenames(options.timeout);
  } catch (const Error& e) {
    Report(err, port, e, log);
    return 1;
  }
  if (options.list) {
    for (const auto& name : names) out << name << "\n";
    out.flush();
    return 0;
  }

  const std::vector<std::string>& wanted = options.names.empty() ? names : options.names;
  bool failed = false;
  std::size_t done = 0;
  for (const auto& name : wanted) {
    ++done;
    log.Restart();
    const auto started = std::chrono::steady_clock::now();
    try {
      const auto traces = ktr.GetFiles({name}, options.timeout);
      const auto trace = traces->Item(1);
      const std::string target = (fs::path(options.outputFolder) / (SafeFileName(name) + "." + options.extension)).string();
      CFileOperations().WriteTrace(trace, target, 0, common.version.major, common.version.minor,
                                   common.version.build);
      const std::chrono::duration<double> took = std::chrono::steady_clock::now() - started;
      out << "[" << done << "/" << wanted.size() << "] " << name << ": " << trace->Samples() << " samples in "
          << std::fixed << std::setprecision(2) << took.count() << " s -> " << target << "\n";
      out.flush();
    } catch (const Error& e) {
      Report(err, "[" + std::to_string(done) + "/" + std::to_string(wanted.size()) + "] " + name, e, log);
      failed = true;
      // A cancelled session fails every later wait: the remaining files would only repeat it.
      if (e.Number() == errCancelled) break;
    }
  }
  out.flush();
  return failed ? 1 : 0;
}

}  // namespace tarnvik::tool
