#include "tarnvik/fileops/CFileOperations.h"

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {
// Only this exact, lower-case extension selects the SR-4731 format: "x.SOR" is the
// trace's own format, in both directions.
bool IsSorName(const std::string& sFilename) { return ParseFileExt(sFilename) == "sor"; }

// What a trace read from the library's own format reports as its largest loss.
constexpr int32_t kOwnFormatMaxLossVal = 30000;
}  // namespace

CFileOperations::CFileOperations() : sorFiles_(std::make_shared<CSORFiles>()) {}

std::shared_ptr<CTrace> CFileOperations::ReadTrace(const std::string& sFilename, bool bAddToSORCollection,
                                                   bool bIgnoreCRC) {
  return Guarded(kModule, "ReadTrace()", [&] {
    std::shared_ptr<CTrace> trace;
    if (IsSorName(sFilename)) {
      auto sor = std::make_shared<CSORFile>();
      sor->LoadFromFile(sFilename, bIgnoreCRC);
      if (bAddToSORCollection) sorFiles_->Add(sor);
      trace = ConvertSORtoTrace(*sor);
      trace->SetMaxLossVal(sor->MaxLossVal());
    } else {
      trace = std::make_shared<CTrace>();
      trace->LoadFromFile(sFilename);
      trace->SetMaxLossVal(kOwnFormatMaxLossVal);
    }
    trace->SetIsDirty(false);
    return trace;
  });
}

void CFileOperations::WriteTrace(const std::shared_ptr<CTrace>& oTrace, const std::string& sFilename,
                                 int16_t LastChangedBy, int16_t MajorVersion, int16_t MinorVersion,
                                 int16_t BuildVersion, bool /*bRename*/, bool /*bDeleteExistingFile*/) {
  Guarded(kModule, "WriteTrace()", [&] {
    if (!oTrace) Raise(err::ObjectNotSet);
    CTrace& trace = *oTrace;
    trace.SetLastChangedBy(LastChangedBy);
    trace.SetMajorVersion(MajorVersion);
    trace.SetMinorVersion(MinorVersion);
    trace.SetRevision(BuildVersion);
    if (IsSorName(sFilename)) {
      // A file kept from ReadTrace is found again by the title of the trace's file, so
      // that the fields the trace does not carry are written as they were read.
      std::shared_ptr<CSORFile> sor;
      const std::string title = ParseFileTitle(trace.FileName());
      for (const auto& kept : *sorFiles_) {
        if (kept->FileName() == title) {
          sor = kept;
          break;
        }
      }
      if (!sor) sor = std::make_shared<CSORFile>();
      ConvertTracetoSOR(trace, *sor);
      sor->SaveToFile(sFilename);
    } else {
      trace.SaveToFile(sFilename);
    }
    trace.SetIsDirty(false);
  });
}

}  // namespace tarnvik
