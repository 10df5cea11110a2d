// Inputs that announce far more than they hold (a block of 2 GB in a 1 KB file, 2^31
// samples, a file table of 65535 files) fail with their numbered error, and the memory
// the library held while refusing them stays near the size of the input, never near
// what it announced.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "hardening/AllocationPeak.h"
#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/ByteArray.h"
#include "tarnvik/instrument/CKTR915FAT.h"
#include "tarnvik/instrument/KTR915Record.h"
#include "tarnvik/instrument/KtrFrame.h"
#include "tarnvik/sor/CSORFile.h"

namespace tarnvik::testing {
namespace {

// The bound: what any of these inputs may make the library hold, whatever it announces.
constexpr std::size_t kBound = 1 << 20;

Bytes SorWith(const std::vector<SorBlock>& extra) {
  std::vector<SorBlock> blocks = {{"GenParams", 110, DefaultGenParamsBody()},
                                  {"SupParams", 110, DefaultSupParamsBody()},
                                  {"FxdParams", 110, DefaultFxdParamsBody(0)}};
  blocks.insert(blocks.end(), extra.begin(), extra.end());
  return AssembleSor(blocks);
}

// The map's size field of the named block set to size, checksum left as it was.
Bytes WithBlockSize(Bytes file, const std::string& id, uint32_t size) {
  const auto at = std::search(file.begin(), file.end(), id.begin(), id.end()) + static_cast<long>(id.size()) + 3;
  for (int i = 0; i < 4; ++i) at[i] = static_cast<uint8_t>(size >> (8 * i));
  return file;
}

Bytes MapAnnouncing(uint16_t blocks) {
  Bytes file = SorWith({});
  file[6] = static_cast<uint8_t>(blocks);
  file[7] = static_cast<uint8_t>(blocks >> 8);
  return file;
}

class ResourceBounds : public TempDirTest {};

TEST_F(ResourceBounds, SorFilesThatAnnounceMoreThanTheyHold) {
  struct Case {
    const char* what;
    Bytes file;
    int32_t number;  // from the load, and from ReadTrace through it
  };
  const Bytes samples = BodyBuilder().I32(0x7FFFFFFF).I16(1).I32(0x7FFFFFFF).I16(1).U16(7).U16(8).bytes();
  const Bytes factors = BodyBuilder().I32(0).I16(32767).I32(0x7FFFFFFF).I16(1).bytes();
  const Bytes events = BodyBuilder().I16(32767).I16(1).bytes();
  const Case cases[] = {
      {"a block of 2 GB", WithBlockSize(SorWith({{"DataPts", 110, EmptyDataPtsBody()}}), "DataPts", 0x7FFFFFFF), 62},
      {"a block of 4 GB", WithBlockSize(SorWith({{"Acme", 1, Bytes(16, 0)}}), "Acme", 0xFFFFFFFF), 10512},
      {"2^31 - 1 samples", SorWith({{"DataPts", 110, samples}}), 10512},
      {"32767 scale factors", SorWith({{"DataPts", 110, factors}}), 10512},
      {"32767 key events", SorWith({{"KeyEvents", 110, events}}), 10512},
      {"a map of 65535 blocks", MapAnnouncing(0xFFFF), 10512},
      {"a map of 32767 blocks", MapAnnouncing(0x7FFF), 9},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    const std::string path = Path("hostile.sor");
    WriteFileBytes(path, c.file);
    Raised load, read;
    const std::size_t loadPeak = PeakHeapDuring([&] {
      CSORFile file;
      load = Capture([&] { file.LoadFromFile(path, true); });
    });
    const std::size_t readPeak = PeakHeapDuring([&] {
      CFileOperations ops;
      read = Capture([&] { ops.ReadTrace(path, false, true); });
    });
    EXPECT_EQ(load.number, c.number);
    EXPECT_EQ(read.number, c.number);
    printf("%-24s %6zu bytes: load %d (%zu bytes held), ReadTrace %d (%zu bytes held)\n", c.what, c.file.size(),
           load.number, loadPeak, read.number, readPeak);
    EXPECT_LT(loadPeak, kBound);
    EXPECT_LT(readPeak, kBound);
  }
}

TEST_F(ResourceBounds, InstrumentDataThatAnnouncesMoreThanItHolds) {
  // A formatted file table announcing 65535 files in its 6 bytes.
  ByteArray table = ByteArray::FromBytes(Bytes{0x0A, 0x05, 0xFF, 0xFF, 0x01, 0x00}.data(), 6);
  Raised tableError;
  const std::size_t tablePeak = PeakHeapDuring([&] {
    CKTR915FAT fat;
    tableError = Capture([&] { fat.LoadFromArray(table, kKtrFormattedGuard); });
  });
  EXPECT_EQ(tableError.number, 9);
  EXPECT_LT(tablePeak, 65536u);  // the announced lists would take over 2 MB

  // A record announcing 65535 samples and holding one: the trace's sample store is sized
  // from the 16-bit count before the record is found short, the samples' copy is not.
  Bytes bytes(530, 0);
  bytes[272] = bytes[273] = 0xFF;
  ByteArray record = ByteArray::FromBytes(bytes.data(), bytes.size());
  Raised recordError;
  const std::size_t recordPeak =
      PeakHeapDuring([&] { recordError = Capture([&] { detail::ConvertByteArrayToTrace(record); }); });
  EXPECT_EQ(recordError.number, 9);
  EXPECT_LT(recordPeak, 65535u * 4 + 16384);
  printf("table: %zu bytes held; record: %zu bytes held\n", tablePeak, recordPeak);
}

}  // namespace
}  // namespace tarnvik::testing
