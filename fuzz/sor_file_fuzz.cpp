// SR-4731 files through CSORFile. Any bytes load or fail with a numbered error; an input
// refused for its checksum is loaded again with the checksum ignored, so that mutations
// reach the blocks behind it. A file that loads and saves must survive a round trip: the
// saved file loads with its checksum checked, has the same samples, and saves to the same
// bytes.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "tarnvik/sor/CSORFile.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

namespace {

std::string Samples(const CSORFile& file) {
  const auto block = file.DataPointsBlock();
  if (!block) return "no data points block";
  std::string text;
  for (int32_t k = 1; k <= block->NumberScaleFactorsUsed(); ++k) {
    text.append("[").append(std::to_string(block->ScaleFactor(k))).append("]");
    for (int32_t v : block->DataPointArray(k)) text.append(std::to_string(v)).append(",");
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string in = WriteRamFile("in.sor", data, size);
  CSORFile checked, unchecked;
  CSORFile* first = &checked;
  if (!Answered([&] { checked.LoadFromFile(in); })) {
    first = &unchecked;
    if (!Answered([&] { unchecked.LoadFromFile(in, true); })) return 0;
  }
  const std::string out = RamFolder() + "/out.sor";
  if (!Answered([&] { first->SaveToFile(out); })) return 0;

  CSORFile second;
  try {
    second.LoadFromFile(out);
  } catch (const Error& e) {
    Mismatch("the saved file's load", "loaded", std::to_string(e.Number()) + " " + e.Description());
  }
  if (Samples(*first) != Samples(second)) Mismatch("the samples", Samples(*first), Samples(second));
  Bytes again;
  try {
    again = second.SaveToBytes();
  } catch (const Error& e) {
    Mismatch("the second save", "saved", std::to_string(e.Number()) + " " + e.Description());
  }
  ExpectSame("the saved bytes", ReadRamFile(out), again);
  return 0;
}
