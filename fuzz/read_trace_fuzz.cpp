// CFileOperations::ReadTrace on both of its paths: the same bytes are read as an SR-4731
// file (checksum checked, then ignored) and as the trace's own format, and a trace that
// is read is written back in both formats. Every step ends in a result or a numbered
// error.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "FuzzSupport.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

namespace {

void WriteBoth(CFileOperations& ops, const std::shared_ptr<CTrace>& trace) {
  for (const char* name : {"/written.sor", "/written.trc"}) {
    Answered([&] { ops.WriteTrace(trace, RamFolder() + name, 1, 1, 0, 0); });
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  CFileOperations ops;
  const std::string sor = WriteRamFile("in.sor", data, size);
  std::shared_ptr<CTrace> trace;
  if (Answered([&] { trace = ops.ReadTrace(sor, true); }) ||
      Answered([&] { trace = ops.ReadTrace(sor, false, true); })) {
    WriteBoth(ops, trace);
  }
  const std::string own = WriteRamFile("in.trc", data, size);
  if (Answered([&] { trace = ops.ReadTrace(own); })) WriteBoth(ops, trace);
  return 0;
}
