// The subcommands of `tarnvik`, each over a list of files: every file is tried, a
// failure is reported on err as "FILE: error N from Source: description" and the next
// file follows. Each returns 0 when every file succeeded, 1 when any failed, 2 for a
// combination of arguments that the parser cannot refuse by itself.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "error_trail.h"

namespace tarnvik::tool {

// The version stamped into files the tool writes (WriteTrace's arguments).
struct WriterVersion {
  int16_t major = 0;
  int16_t minor = 0;
  int16_t build = 0;
};

struct CommonOptions {
  bool ignoreCRC = false;
  WriterVersion version;
};

int RunInfo(const std::vector<std::string>& files, bool json, const CommonOptions& options, LogCapture& log,
            std::ostream& out, std::ostream& err);

// Without output, the samples go to out; with one file, output is the file to write;
// with several, an existing folder that receives FILE's base name + ".txt" for each.
// With tsv, any SR-4731 file is read by the inspection reader and written as distance
// and level (DocumentTsv); several files to one folder get FILE's base name + ".tsv".
int RunDump(const std::vector<std::string>& files, int style, bool tsv, const std::string& output,
            const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err);

// A SOR file that does not become a trace is drawn from the inspection reader's document
// (RenderDocumentSvg) when the reader takes it; its line then names the library's error.
// Without output, each picture goes beside its file (FILE's base name + ".svg"); with one
// file, output is the picture; with several, an existing folder.
int RunPlot(const std::vector<std::string>& files, const std::string& output, const CommonOptions& options,
            LogCapture& log, std::ostream& out, std::ostream& err);

// One input: output is the file to write, its extension choosing the format ("sor",
// exactly, for SR-4731; anything else for the trace's own format). Several inputs:
// output is an existing folder and extension (without the dot) names the format.
int RunConvert(const std::vector<std::string>& inputs, const std::string& output, const std::string& extension,
               const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err);

// `convert --to-v1 IN OUT [--fit]`: ConvertToV1 of IN's document; the report on out
// (the version-2 fields dropped, the notes, each refusal or, with fit, each change).
// Refused without fit, or failing the proof (ProveLoadsAsTrace on a private copy, then on
// OUT), nothing is left at OUT and the result is 1. OUT must end in ".sor" (else 2).
int RunConvertToV1(const std::string& input, const std::string& output, bool fit, LogCapture& log,
                   std::ostream& out, std::ostream& err);

}  // namespace tarnvik::tool
