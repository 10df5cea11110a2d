// The instrument's trace record and file-name decoders: the input is a downloaded record
// and, read as text, a file name and a version text. Each ends in a value or a numbered
// error.
#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "FuzzSupport.h"
#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/instrument/KTR915Record.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  ByteArray record = ByteArray::FromBytes(data, size);
  Answered([&] { detail::ConvertByteArrayToTrace(record); });

  const std::string text(reinterpret_cast<const char*>(data), size);
  Answered([&] { detail::KtrCableID(text); });
  Answered([&] { detail::KtrFiberNumber(text); });
  Answered([&] { detail::KtrFiberType(text); });
  Answered([&] { detail::KtrWavelength(text); });
  Answered([&] {
    int16_t major = 0, minor = 0, revision = 0;
    detail::ParseSoftwareVersion(text, major, minor, revision);
  });
  Answered([&] { detail::ParseFirmwareModule(text); });
  return 0;
}
