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
int RunDump(const std::vector<std::string>& files, int style, const std::string& output,
            const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err);

// Without output, each picture goes beside its file (FILE's base name + ".svg"); with one
// file, output is the picture; with several, an existing folder.
int RunPlot(const std::vector<std::string>& files, const std::string& output, const CommonOptions& options,
            LogCapture& log, std::ostream& out, std::ostream& err);

// One input: output is the file to write, its extension choosing the format ("sor",
// exactly, for SR-4731; anything else for the trace's own format). Several inputs:
// output is an existing folder and extension (without the dot) names the format.
int RunConvert(const std::vector<std::string>& inputs, const std::string& output, const std::string& extension,
               const CommonOptions& options, LogCapture& log, std::ostream& out, std::ostream& err);

}  // namespace tarnvik::tool
