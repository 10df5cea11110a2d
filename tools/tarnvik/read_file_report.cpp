// The part of `tarnvik info` that reads files; kept apart from the rendering so that the
// rendering can be tested on reports built in code.
#include "file_report.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/inspect/SorDocument.h"

namespace tarnvik::tool {

FileReport ReadFileReport(const std::string& path, bool ignoreCRC, LogCapture& log) {
  FileReport report;
  report.path = path;
  report.sorPath = ParseFileExt(path) == "sor";
  log.Restart();
  CFileOperations ops;
  bool loaded = false;
  try {
    report.trace = ops.ReadTrace(path, true, ignoreCRC);
    loaded = true;
  } catch (const Error& e) {
    report.failure = DescribeFailure(e, log.Lines());
    // The SOR file joins the collection once it has loaded, before it is converted.
    loaded = ops.SORFiles()->Count() > 0;
  }
  if (report.sorPath) {
    if (ops.SORFiles()->Count() > 0) {
      report.sor = ops.SORFiles()->Item(1);
    } else {
      report.sor = std::make_shared<CSORFile>();
      try {
        report.sor->LoadFromFile(path, ignoreCRC);
      } catch (const Error& e) {
        // The same failure as above; the object keeps what was parsed before it, unless
        // the file could not be read at all.
        if (IsFileAccessError(e.Number())) report.sor = nullptr;
      }
    }
    if (report.sor) report.blockStates = BlockStatesAfterLoad(*report.sor, loaded ? std::nullopt : report.failure);
  }
  report.notes = LogNotes(log.Lines());
  // A file that is not a trace is shown as the inspection reader sees it too.
  if (report.sorPath && !report.trace && report.sor) {
    try {
      report.document = inspect::ReadSorDocument(path);
    } catch (const Error& e) {
      report.documentFailure = DescribeFailure(e, {});
    }
  }
  report.hints = ExplainFailure(report);
  return report;
}

}  // namespace tarnvik::tool
