// make_sample: writes the bundled sample trace (examples/sample.sor) with the library.
//
//   make_sample OUT [--samples N]
//
// The trace is synthesised (see tools/tarnvik/sample_trace.h) from a fixed pseudo-random
// sequence, so every run writes the same file.
#include <CLI/CLI.hpp>

#include <iostream>
#include <string>

#include "sample_trace.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/trace/CEvents.h"

int main(int argc, char** argv) {
  CLI::App app{"Writes the synthetic sample trace with CFileOperations::WriteTrace.", "make_sample"};
  std::string output;
  int32_t samples = 8000;
  app.add_option("OUT", output, "File to write (.sor for SR-4731, anything else for the trace's own format)")
      ->required();
  app.add_option("--samples", samples, "Number of samples (4 QRD apart)")->check(CLI::Range(2, 16377));
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& e) {
    return app.exit(e) == 0 ? 0 : 2;
  }
  try {
    auto trace = tarnvik::tool::MakeSampleTrace(samples);
    tarnvik::CFileOperations ops;
    ops.WriteTrace(trace, output, 0, TARNVIK_VERSION_MAJOR, TARNVIK_VERSION_MINOR, TARNVIK_VERSION_PATCH);
    std::cout << "Wrote " << output << " (" << samples << " samples, " << trace->Events()->Count() << " events)\n";
    return 0;
  } catch (const tarnvik::Error& e) {
    std::cerr << output << ": error " << e.Number() << " from " << e.Source() << ": " << e.Description() << "\n";
    return 1;
  }
}
