#include "commands.h"

#include <filesystem>
#include <fstream>
#include <iterator>

#include "document_view.h"
#include "file_report.h"
#include "info.h"
#include "plot_svg.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/inspect/ConvertToV1.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::tool {

namespace {

namespace fs = std::filesystem;

void ReportFailure(std::ostream& err, const std::string& path, const Failure& f) {
  err << path << ": " << FailureText(f) << "\n";
}

// Runs one file's work; a library error or any other failure is reported and counted.
template <class Work>
bool TryFile(const std::string& path, LogCapture& log, std::ostream& err, Work&& work) {
  log.Restart();
  try {
    work();
    return true;
  } catch (const Error& e) {
    ReportFailure(err, path, DescribeFailure(e, log.Lines()));
  } catch (const std::exception& e) {
    err << path << ": " << e.what() << "\n";
  }
  return false;
}

std::shared_ptr<CTrace> Read(const std::string& path, const CommonOptions& options, bool keepSOR,
                             CFileOperations& ops) {
  return ops.ReadTrace(path, keepSOR, options.ignoreCRC);
}

// Where the output for one of several inputs goes.
std::string Beside(const std::string& folder, const std::string& input, const std::string& extension) {
  return (fs::path(folder) / (ParseFileBase(input) + "." + extension)).string();
}

bool IsFolder(const std::string& path) {
  std::error_code ec;
  return fs::is_directory(path, ec);
}

std::vector<uint8_t> ReadBack(const std::string& path) { return ReadWholeFile(path); }

// A private temporary file name, removed when the object goes.
class TempFile {
 public:
  explicit TempFile(const std::string& extension) : path_(PrivateTempPath(extension)) {}
  ~TempFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

int RunInfo(const std::vector<std::string>& files, bool json, const CommonOptions& options, LogCapture& log,
            std::ostream& out, std::ostream& err) {
  bool failed = false;
  bool first = true;
  for (const auto& path : files) {
    const bool ok = TryFile(path, log, err, [&] {
      const FileReport report = ReadFileReport(path, options.ignoreCRC, log);
      if (json) {
        out << InfoJson(report) << "\n";
      } else {
        if (!first) out << "\n";
        out << InfoText(report);
      }
      first = false;
      if (report.failure) {
        ReportFailure(err, path, *report.failure);
        failed = true;
      }
    });
    failed = failed || !ok;
  }
  out.flush();
  return failed ? 1 : 0;
}

namespace {
// The loop dump and plot share: several files need -o to be a folder (usage error 2);
// each file is read as a trace and handed to work, a failure reported and counted.
template <class Work>
int ForEachTrace(const char* command, const std::vector<std::string>& files, const std::string& output,
                 const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err, Work&& work) {
  if (files.size() > 1 && !output.empty() && !IsFolder(output)) {
    err << "tarnvik " << command << ": with several files, -o must name an existing folder\n";
    return 2;
  }
  bool failed = false;
  for (const auto& path : files) {
    failed = !TryFile(path, log, err, [&] {
      CFileOperations ops;
      const auto trace = Read(path, options, false, ops);
      work(path, *trace);
    }) || failed;
  }
  out.flush();
  return failed ? 1 : 0;
}
}  // namespace

int RunDump(const std::vector<std::string>& files, int style, bool tsv, const std::string& output,
            const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err) {
  if (tsv) {
    if (files.size() > 1 && !output.empty() && !IsFolder(output)) {
      err << "tarnvik dump: with several files, -o must name an existing folder\n";
      return 2;
    }
    bool failed = false;
    for (const auto& path : files) {
      failed = !TryFile(path, log, err, [&] {
        const std::string text = DocumentTsv(*inspect::ReadSorDocument(path));
        if (output.empty()) {
          out << text;
        } else {
          ReplaceWholeFile(files.size() > 1 ? Beside(output, path, "tsv") : output,
                           std::vector<uint8_t>(text.begin(), text.end()));
        }
      }) || failed;
    }
    out.flush();
    return failed ? 1 : 0;
  }
  return ForEachTrace("dump", files, output, options, log, out, err, [&](const std::string& path, CTrace& trace) {
    TempFile temp("txt");
    trace.DumpSamples(temp.Path(), style);
    const auto bytes = ReadBack(temp.Path());
    if (output.empty()) {
      out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    } else {
      ReplaceWholeFile(files.size() > 1 ? Beside(output, path, "txt") : output, bytes);
    }
  });
}

int RunPlot(const std::vector<std::string>& files, const std::string& output, const CommonOptions& options,
            LogCapture& log, std::ostream& out, std::ostream& err) {
  if (files.size() > 1 && !output.empty() && !IsFolder(output)) {
    err << "tarnvik plot: with several files, -o must name an existing folder\n";
    return 2;
  }
  bool failed = false;
  for (const auto& path : files) {
    failed = !TryFile(path, log, err, [&] {
      std::string svg, how;
      try {
        CFileOperations ops;
        const auto trace = Read(path, options, false, ops);
        svg = RenderTraceSvg(*trace, ParseFileTitle(path));
      } catch (const Error& e) {
        // Not a trace: drawn from the file as the inspection reader sees it, if it can.
        if (ParseFileExt(path) != "sor" || IsFileAccessError(e.Number())) throw;
        const Failure refused = DescribeFailure(e, log.Lines());
        std::shared_ptr<const inspect::SorDocument> doc;
        try {
          doc = inspect::ReadSorDocument(path);
        } catch (const Error&) {
          throw e;
        }
        svg = RenderDocumentSvg(*doc, ParseFileTitle(path));
        how = " (not a trace, " + FailureText(refused) + "; drawn from the file as read)";
      }
      std::string target = output;
      if (output.empty()) {
        target = (fs::path(path).parent_path() / (ParseFileBase(path) + ".svg")).string();
      } else if (files.size() > 1) {
        target = Beside(output, path, "svg");
      }
      ReplaceWholeFile(target, std::vector<uint8_t>(svg.begin(), svg.end()));
      out << path << " -> " << target << how << "\n";
    }) || failed;
  }
  out.flush();
  return failed ? 1 : 0;
}

int RunConvert(const std::vector<std::string>& inputs, const std::string& output, const std::string& extension,
               const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err) {
  if (inputs.size() > 1 && (!IsFolder(output) || extension.empty())) {
    err << "tarnvik convert: with several inputs, the output must be an existing folder and --to must give "
           "the extension\n";
    return 2;
  }
  bool failed = false;
  for (const auto& path : inputs) {
    const std::string target = inputs.size() > 1 ? Beside(output, path, extension) : output;
    failed = !TryFile(path + " -> " + target, log, err, [&] {
      // The SOR file is kept so that writing SR-4731 again keeps the fields a trace
      // does not carry (language code, data flag, user offset, serial numbers).
      CFileOperations ops;
      const auto trace = Read(path, options, true, ops);
      ops.WriteTrace(trace, target, 0, options.version.major, options.version.minor, options.version.build);
      out << path << " -> " << target << "\n";
    }) || failed;
  }
  out.flush();
  return failed ? 1 : 0;
}

int RunConvertToV1(const std::string& input, const std::string& output, bool fit, LogCapture& log,
                   std::ostream& out, std::ostream& err) {
  if (ParseFileExt(output) != "sor") {
    err << "tarnvik convert --to-v1: the output must end in \".sor\" (lower case), the only name the library "
           "reads as SR-4731\n";
    return 2;
  }
  bool refused = false;
  const bool ok = TryFile(input + " -> " + output, log, err, [&] {
    const auto doc = inspect::ReadSorDocument(input);
    const inspect::ConversionResult result = inspect::ConvertToV1(*doc, {.fit = fit});
    out << input << ": SR-4731 version " << doc->version << "\n";
    if (!result.dropped.empty()) {
      std::string line;
      for (const auto& item : result.dropped) line += (line.empty() ? "" : "; ") + item;
      out << "  Dropped: " << line << "\n";
    }
    for (const auto& note : result.notes) out << "  Note: " << note << "\n";
    for (const auto& issue : result.issues) {
      out << (fit ? "  Changed: " + issue.change : "  Refused: " + issue.refusal) << "\n";
    }
    if (result.Refused()) {
      err << input << ": not converted: " << result.issues.size()
          << " value(s) the library refuses, listed above; --fit makes the changes README.md lists\n";
      refused = true;
      return;
    }
    // Proved on a private copy first, so that a file that fails never reaches OUT, then
    // written with the library's safe save and proved again where it lies.
    {
      TempFile proof("sor");
      ReplaceWholeFile(proof.Path(), result.bytes);
      inspect::ProveLoadsAsTrace(proof.Path());
    }
    ReplaceWholeFile(output, result.bytes);
    try {
      inspect::ProveLoadsAsTrace(output);
    } catch (...) {
      std::error_code ignored;
      fs::remove(output, ignored);
      throw;
    }
    out << input << " -> " << output << ": loads with CSORFile and ReadTrace";
    if (!result.issues.empty()) out << " (" << result.issues.size() << " value(s) changed)";
    out << "\n";
  });
  out.flush();
  return ok && !refused ? 0 : 1;
}

}  // namespace tarnvik::tool
