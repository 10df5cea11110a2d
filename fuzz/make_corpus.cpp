// Writes the starting corpus of every fuzz target into one folder per target: SR-4731
// and own-format files of the sample trace at several sizes, version-2 files and files
// with instruments' quirks for the inspection reader, the simulated instrument's file
// tables, records and names, and recorded exchanges of a whole download session (clean
// and with line faults). Everything is made in code (by the library, the simulator and
// the tests' SOR builder), so the corpus follows the formats as they change.
//
//   tarnvik-fuzz-corpus OUTPUT_FOLDER
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "FuzzSupport.h"
#include "ScriptedSerialDevice.h"
#include "ktr915sim/InstrumentFiles.h"
#include "ktr915sim/Ktr915Engine.h"
#include "ktr915sim/TraceRecord.h"
#include "support/SorBytes.h"
#include "sample_trace.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;
namespace fs = std::filesystem;

namespace {

fs::path root;

void Put(const std::string& target, const std::string& name, const Bytes& bytes) {
  fs::create_directories(root / target);
  std::ofstream out(root / target / name, std::ios::binary | std::ios::trunc);
  out.write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
}

Bytes ReadFile(const fs::path& path) { return ReadRamFile(path.string()); }

// The sample trace written in both formats, for the file targets.
void TraceFiles() {
  CFileOperations ops;
  for (int32_t samples : {40, 600, 8000}) {
    for (bool events : {true, false}) {
      auto trace = tool::MakeSampleTrace(samples);
      if (!events) trace->Events()->Clear();
      const std::string name = "sample-" + std::to_string(samples) + (events ? "" : "-no-events");
      for (const char* ext : {".sor", ".trc"}) {
        const fs::path path = root / (name + ext);
        ops.WriteTrace(trace, path.string(), 1, 0, 1, 0);
        const Bytes bytes = ReadFile(path);
        fs::remove(path);
        Put(ext == std::string(".sor") ? "sor_file" : "trace_file", name, bytes);
        if (ext == std::string(".sor")) Put("sor_inspect", name, bytes);
        Put("read_trace", name + ext, bytes);
      }
    }
  }
}

// Version-2 files and files with the quirks of real instruments, for the inspection
// reader (which also takes the version-1 files above).
void InspectFiles() {
  using testing::SorBlock;
  using testing::StandardSor;
  Put("sor_inspect", "standard-v1", testing::MakeStandardSor(StandardSor{1, {100}, {1000}, {200}, 3}));
  Put("sor_inspect", "standard-v2", testing::MakeStandardSor(StandardSor{2, {100}, {1000}, {200}, 3}));
  Put("sor_inspect", "widths-groups-v2", testing::MakeStandardSor(StandardSor{2, {30, 100, 1000}, {1000, 1470}, {90, 60}, 4}));
  // A zero-size LnkParams, a vendor block named with a trailing space before DataPts, no
  // KeyEvents, and a stale "Cksum" after the last block.
  std::vector<SorBlock> blocks = testing::StandardSorBlocks(StandardSor{2, {100}, {1470}, {120}, 2});
  blocks.erase(blocks.begin() + 3);
  blocks.insert(blocks.begin() + 3, {{"LnkParams", 200, {}}, {"NetTestTSI ", 200, {1, 2, 3, 4}}});
  Bytes quirks = testing::AssembleSorV2(blocks, true, 210);
  quirks.insert(quirks.end(), {'C', 'k', 's', 'u', 'm', 0, 0, 0});
  Put("sor_inspect", "quirks-v2", quirks);
}

// The instrument's pieces: records, names, version texts and file tables.
void InstrumentPieces() {
  for (int32_t samples : {1, 40, 600}) {
    Put("ktr_record", "record-" + std::to_string(samples), sim::EncodeTraceRecord(*sim::MakeSyntheticTrace(samples)));
  }
  for (const char* text : {"CABLE7_12_S15", "B_2_M13", "RING_65535_m85", "KTR915 V2.10.3", "OTM-13S rev B"}) {
    std::string name = std::string("text-") + text;
    for (char& c : name) c = c == ' ' ? '-' : c;
    Put("ktr_record", name, Bytes(text, text + std::string(text).size()));
  }
  for (int32_t files : {0, 1, 5}) {
    sim::InstrumentFiles memory;
    for (int32_t i = 0; i < files; ++i) memory.AddSynthetic(10);
    Put("ktr_file_table", "table-" + std::to_string(files), memory.FileTableImage());
  }
}

// One whole session against the simulator, its replies recorded frame by frame.
void RecordSession(const std::string& name, uint8_t mode, sim::EngineSettings settings) {
  auto memory = std::make_shared<sim::InstrumentFiles>();
  memory->AddSynthetic(30);
  memory->AddTrace(*sim::MakeSyntheticTrace(120), "CABLE7_12_S15");
  if (settings.faults.unformatted) memory->SetGuard(sim::InstrumentFiles::kErasedGuard);
  sim::Ktr915Engine engine(memory, settings);
  std::vector<Bytes> replies;
  ScriptedPorts ports([&](const uint8_t* bytes, std::size_t n) {
    replies.push_back(engine.Feed(bytes, n));
    return replies.back();
  });
  SetYieldHandler([] {});
  CKTR915 session;
  session.Connect(1);
  try {
    const auto names = session.GetFilenames(1.0f);
    if (mode & 1) session.GetFiles(names, 1.0f);
  } catch (const Error&) {
    // A recorded fault: the replies up to it are the input.
  }
  SetYieldHandler({});
  Bytes input{mode};
  const Bytes joined = JoinReplies(replies);
  input.insert(input.end(), joined.begin(), joined.end());
  Put("ktr_session", name, input);
}

sim::EngineSettings Settings(int32_t blockBytes, const sim::Faults& faults = {}) {
  sim::EngineSettings settings;
  settings.blockBytes = blockBytes;
  settings.faults = faults;
  return settings;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s OUTPUT_FOLDER\n", argv[0]);
    return 2;
  }
  root = argv[1];
  try {
    fs::create_directories(root);
    TraceFiles();
    InspectFiles();
    InstrumentPieces();
    sim::Faults noise, badChecksum, wrongVersion, unformatted, unexpected;
    noise.noiseBytes = 9;
    noise.noiseBeforeEveryFrame = true;
    badChecksum.badChecksumFrame = 4;
    wrongVersion.wrongVersion = true;
    unformatted.unformatted = true;
    unexpected.unexpectedCommandBlock = 5;
    RecordSession("listing", 0, Settings(64));
    RecordSession("download", 1, Settings(64));
    RecordSession("download-big-blocks", 1, Settings(256));
    RecordSession("noise", 1, Settings(64, noise));
    RecordSession("bad-checksum", 1, Settings(64, badChecksum));
    RecordSession("wrong-version", 0, Settings(64, wrongVersion));
    RecordSession("unformatted", 0, Settings(64, unformatted));
    RecordSession("unexpected-command", 1, Settings(64, unexpected));
  } catch (const Error& e) {
    std::fprintf(stderr, "error %d from %s: %s\n", e.Number(), e.Source().c_str(), e.Description().c_str());
    return 1;
  }
  return 0;
}
