// The public entry for turning a file on disk into a CTrace and back. A file named with
// the extension "sor" (lower case, exactly) is an SR-4731 file read through CSORFile and
// converted field by field; any other name is the trace's own file format.
//
// The conversions run in a fixed order, since later steps read back what earlier ones
// set (the actual wavelength falls back on the nominal one, the samples are sized from
// the Samples property). Writing is not read-only for the trace: it stamps the version
// and author, and fills in a zero time stamp, a missing pulse-width count, the points
// per pulse width and negative event levels.
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnvik/sor/CSORFiles.h"

namespace tarnvik {

class CSORFile;
class CTrace;

class CFileOperations {
 public:
  CFileOperations();
  CFileOperations(const CFileOperations&) = delete;
  CFileOperations& operator=(const CFileOperations&) = delete;

  // The SOR files ReadTrace was asked to keep. WriteTrace reuses the first whose
  // FileName equals the title of the trace's FileName, so that the fields a trace does
  // not carry (language code, data flag, user offset, serial numbers) survive.
  std::shared_ptr<CSORFiles> SORFiles() const { return sorFiles_; }

  // A new trace read from sFilename, not dirty. An SR-4731 file's trace takes the file's
  // MaxLossVal; any other gets 30000. bAddToSORCollection keeps the loaded CSORFile in
  // SORFiles (once per call, after a successful load); bIgnoreCRC skips the checksum.
  std::shared_ptr<CTrace> ReadTrace(const std::string& sFilename, bool bAddToSORCollection = false,
                                    bool bIgnoreCRC = false);

  // Stamps oTrace with LastChangedBy and the version numbers (BuildVersion becomes its
  // Revision), writes it to sFilename and clears its dirty flag. bRename and
  // bDeleteExistingFile are accepted for compatibility and change nothing: every save
  // replaces an existing file only once the new one is complete.
  void WriteTrace(const std::shared_ptr<CTrace>& oTrace, const std::string& sFilename, int16_t LastChangedBy,
                  int16_t MajorVersion, int16_t MinorVersion, int16_t BuildVersion, bool bRename = false,
                  bool bDeleteExistingFile = false);

 private:
  static constexpr const char* kModule = "CFileOperations";

  std::shared_ptr<CTrace> ConvertSORtoTrace(const CSORFile& oSORFile);
  void ConvertSOREventsToTrace(const CSORFile& oSORFile, CTrace& oTrace);
  void ConvertTracetoSOR(CTrace& oTrace, CSORFile& oSORFile);

  std::shared_ptr<CSORFiles> sorFiles_;
};

}  // namespace tarnvik
