// tarnvik: the command-line tool over the library. See README.md ("The tarnvik tool").
#include <CLI/CLI.hpp>

#include <atomic>
#include <csignal>
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "download.h"
#include "error_trail.h"

namespace {

constexpr const char* kExitCodes =
    "Exit codes: 0 every file succeeded, 1 a file failed (its error number, source and description on "
    "standard error; the other files are still done), 2 bad usage.";

// Set by Ctrl-C during a download, polled while the tool waits for the instrument.
std::atomic<bool> interrupted{false};

extern "C" void OnInterrupt(int) { interrupted = true; }

}  // namespace

int main(int argc, char** argv) {
  using namespace tarnvik::tool;
  CLI::App app{"Reads, shows, plots and converts OTDR traces: SR-4731 \".sor\" files and the trace's own format.",
               "tarnvik"};
  app.set_version_flag("--version", TARNVIK_VERSION_TEXT);
  app.footer(kExitCodes);
  app.require_subcommand(1);

  CommonOptions options;
  options.version = {TARNVIK_VERSION_MAJOR, TARNVIK_VERSION_MINOR, TARNVIK_VERSION_PATCH};
  std::vector<std::string> files;
  std::string output;
  bool json = false;
  int style = 0;
  bool tsv = false;
  std::string extension;
  bool toV1 = false;
  bool fit = false;

  auto addIgnoreCRC = [&](CLI::App* command) {
    command->add_flag("--ignore-crc", options.ignoreCRC, "Read SOR files whose checksum does not match");
  };

  CLI::App* info = app.add_subcommand(
      "info", "Show each file's parameters, cursors and events. For a SOR file that does not become a trace, show "
              "its map, the blocks that were read and the error that stopped it.");
  info->add_option("FILE", files, "Trace files (.sor or the trace's own format)")->required();
  info->add_flag("--json", json, "One JSON object per file and line (fields: docs/tarnvik-info.md)");
  addIgnoreCRC(info);

  CLI::App* dump = app.add_subcommand(
      "dump", "Write the samples as text (CTrace::DumpSamples), or with --tsv distance and level of any SR-4731 file.");
  dump->add_option("FILE", files, "Trace files")->required();
  CLI::Option* styleOption =
      dump->add_option("--style", style, "0: one sample a line; 1: index and sample; 2: with the position conversions")
          ->check(CLI::Range(0, 2))
          ->default_val(0);
  dump->add_flag("--tsv", tsv,
                 "Any SR-4731 file, version 1 or 2, as read for inspection: group, distance and level, tab-separated, "
                 "after a header line naming the units and the offsets left out")
      ->excludes(styleOption);
  dump->add_option("-o,--output", output,
                   "Output file (one FILE) or existing folder (several FILEs); standard output if not given");
  addIgnoreCRC(dump);

  CLI::App* plot = app.add_subcommand(
      "plot", "Draw each trace as an SVG picture: level against distance, events, cursors. A SOR file that does not "
              "become a trace is drawn as read: one curve per scale-factor group or pulse width.");
  plot->add_option("FILE", files, "Trace files")->required();
  plot->add_option("-o,--output", output,
                   "Output .svg (one FILE) or existing folder (several FILEs); FILE's name with .svg if not given");
  addIgnoreCRC(plot);

  CLI::App* convert = app.add_subcommand(
      "convert", "Read traces and write them again: \"sor\" (lower case) as SR-4731, any other extension in the "
                 "trace's own format.");
  std::vector<std::string> paths;
  convert->add_option("FILES", paths,
                      "IN OUT: a file and the file to write; IN... FOLDER: files and the folder to write into "
                      "(with --to)")
      ->required()
      ->expected(2, -1);
  CLI::Option* toOption =
      convert->add_option("--to", extension, "Extension of the files written into FOLDER (\"sor\", \"trc\", ...)");
  CLI::Option* toV1Option = convert->add_flag(
      "--to-v1", toV1,
      "IN OUT: build from any SR-4731 file a version-1 file this library loads, proved by loading it before it "
      "counts; values the library refuses are listed and stop the conversion unless --fit is given");
  toV1Option->excludes(toOption);
  convert->add_flag("--fit", fit, "With --to-v1: change each refused value in the way that loses least, and say so")
      ->needs(toV1Option);
  addIgnoreCRC(convert);

  DownloadOptions download;
  CLI::App* downloadCommand = app.add_subcommand(
      "download", "List the files on a KTR 915 handheld OTDR, or download them and write each as NAME.sor (or NAME.EXT "
                  "with --to), with a progress line per file. Ctrl-C cancels.");
  downloadCommand->add_option("--port", download.port, "Serial port number")->required()->check(CLI::Range(1, 255));
  downloadCommand->add_option("--device", download.device,
                              "The device behind the port (e.g. the path tarnvik-ktr915-sim prints); default "
                              "/dev/ttyS(N-1), on Windows COMN");
  downloadCommand->add_flag("--list", download.list, "Only list the instrument's files");
  downloadCommand->add_option("NAME", download.names, "Files to download (exact case); all when none is given");
  downloadCommand->add_option("-o,--output", download.outputFolder, "Existing folder for the files written")
      ->default_val(".");
  downloadCommand
      ->add_option("--to", download.extension,
                   "Extension of the files written: \"sor\" for SR-4731, any other (\"trc\", ...) for the trace's "
                   "own format")
      ->default_val("sor");
  downloadCommand->add_option("--timeout", download.timeout, "Seconds each step of a transfer may wait")
      ->check(CLI::Range(0.1, 3600.0))
      ->default_val(5.0);

  for (CLI::App* command : {info, dump, plot, convert}) command->footer(kExitCodes);
  downloadCommand->footer(
      "Exit codes: 0 every file listed or written, 1 the instrument or a file failed (its error number, source "
      "and description on standard error; the other files are still tried), 2 bad usage.");

  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    const int code = app.exit(e);
    return code == 0 ? 0 : 2;
  }

  // A report on stdout and the error after it stay in order when both go to one file.
  std::cerr.tie(&std::cout);
  LogCapture log;
  if (info->parsed()) return RunInfo(files, json, options, log, std::cout, std::cerr);
  if (dump->parsed()) return RunDump(files, style, tsv, output, options, log, std::cout, std::cerr);
  if (plot->parsed()) return RunPlot(files, output, options, log, std::cout, std::cerr);
  if (downloadCommand->parsed()) {
    std::signal(SIGINT, OnInterrupt);
    download.cancelRequested = [] { return interrupted.load(); };
    return RunDownload(download, options, log, std::cout, std::cerr);
  }
  if (toV1) {
    if (paths.size() != 2) {
      std::cerr << "tarnvik convert --to-v1: give one input and one output\n";
      return 2;
    }
    return RunConvertToV1(paths[0], paths[1], fit, log, std::cout, std::cerr);
  }
  const std::vector<std::string> inputs(paths.begin(), paths.end() - 1);
  return RunConvert(inputs, paths.back(), extension, options, log, std::cout, std::cerr);
}
