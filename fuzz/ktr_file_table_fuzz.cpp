// The instrument's file table decoder: any bytes fill the table or fail with a numbered
// error, and a filled table answers for every file it announces.
#include <cstddef>
#include <cstdint>
#include <string>

#include "FuzzSupport.h"
#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/instrument/CKTR915FAT.h"
#include "tarnvik/instrument/KtrFrame.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  ByteArray bytes = ByteArray::FromBytes(data, size);
  CKTR915FAT table;
  if (!Answered([&] { table.LoadFromArray(bytes, kKtrFormattedGuard); })) return 0;
  for (int32_t k = 1; k <= table.FileCount(); ++k) {
    table.SetFileNames(k, "CABLE_1_S13" + std::to_string(table.FilePointers(k)));
  }
  return 0;
}
