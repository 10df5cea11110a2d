// The whole download session over a pseudo-terminal against the simulated instrument:
// listing, transfers with every field the record holds, the instrument's faults,
// cancellation mid-transfer, and the tool's download command. The session's byte-exact
// exchanges, deadlines and lasting cancellation are checked against a scripted instrument
// in the instrument tests.
#include <filesystem>
#include <iomanip>
#include <memory>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include <gtest/gtest.h>

#include "download.h"
#include "ktr915sim/InstrumentFiles.h"
#include "ktr915sim/PtyServer.h"
#include "support/Fixtures.h"
#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/HostServices.h"
#include "tarnvik/instrument/CKTR915.h"
#include "tarnvik/trace/CTrace.h"
#include "tarnvik/trace/CTraces.h"

namespace tarnvik::testing {
namespace {

constexpr int16_t kPort = 7;
constexpr float kTimeout = 2.0f;  // generous: a stage waits only this long when the instrument is silent

// A trace whose every property the instrument's record holds exactly.
std::shared_ptr<CTrace> RecordableTrace(const std::string& cable, int16_t fiber, EnumFiberTypes type,
                                        int16_t wavelength, int32_t samples, int32_t offset) {
  auto t = std::make_shared<CTrace>();
  t->SetCableID(cable);
  t->SetFiberNumber(fiber);
  t->SetFiberType(type);
  t->SetNominalWavelength(wavelength);
  t->SetNumberOfAverages(70000 + offset);  // needs both words
  t->SetDistanceUnits(DU_Feet);
  t->SetPulseWidth(1000);
  t->SetGroupIndex(14680);
  t->SetBackScatterCoefficient(-81.5f);
  t->SetDataPointSpacing(1000000);
  t->SetNoiseFloorLevel(2000);
  t->SetLossThreshold(0.2f);
  t->SetReflectanceThreshold(-40.5f);
  t->SetEndofFiberThreshold(3.5f);
  t->SetModuleID("M7");
  t->SetMainFrameID("KTR915");
  t->SetSupplierName("Orvik");
  t->SetLanguageCode("EN");
  t->SetCurrentDataFlag("BC");
  t->SetMajorVersion(2);
  t->SetMinorVersion(3);
  t->SetRevision(18);
  t->SetSamples(samples);
  for (int32_t i = 1; i <= samples; ++i) t->SetDataPoints(i, (i * 37 + offset) % 65536);
  return t;
}

class SessionWithSimulator : public TempDirTest {
 protected:
  void TearDown() override {
    SetYieldHandler({});
    SetTimerSource({});
    SetSerialPortDevice(kPort, "");
    TempDirTest::TearDown();
  }

  // Starts a simulator holding these traces, with the port mapped to it.
  sim::PtyServer& Serve(const std::vector<std::shared_ptr<CTrace>>& traces, sim::EngineSettings settings = {}) {
    files_ = std::make_shared<sim::InstrumentFiles>();
    for (const auto& t : traces) files_->AddTrace(*t);
    if (settings.faults.unformatted) files_->SetGuard(sim::InstrumentFiles::kErasedGuard);
    server_ = std::make_unique<sim::PtyServer>(files_, settings);
    server_->Start();
    SetSerialPortDevice(kPort, server_->DevicePath());
    return *server_;
  }

  std::shared_ptr<sim::InstrumentFiles> files_;
  std::unique_ptr<sim::PtyServer> server_;
};

// Every property the record and the file name carry, exactly.
std::string RecordFields(const CTrace& t) {
  std::ostringstream o;
  o << std::setprecision(9) << t.CableID() << ' ' << t.FiberNumber() << ' ' << t.FiberType() << ' '
    << t.NumberOfAverages() << ' ' << t.DistanceUnits() << ' ' << t.PulseWidth() << ' ' << t.GroupIndex() << ' '
    << t.BackScatterCoefficient() << ' ' << t.DataPointSpacing() << ' ' << t.NominalWavelength() << ' '
    << t.LanguageCode() << ' ' << t.CurrentDataFlag() << ' ' << t.NoiseFloorLevel() << ' ' << t.LossThreshold()
    << ' ' << t.ReflectanceThreshold() << ' ' << t.EndofFiberThreshold() << ' ' << t.ModuleID() << ' '
    << t.MainFrameID() << ' ' << t.SupplierName() << ' ' << t.MajorVersion() << '.' << t.MinorVersion() << '.'
    << t.Revision() << ' ' << t.Samples();
  return o.str();
}

TEST_F(SessionWithSimulator, ListsAndDownloadsEveryField) {
  const auto a = RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 3000, 1);
  const auto b = RecordableTrace("RING2", 3, FT_MultiMode, 1300, 1200, 5);
  Serve({a, b});
  CKTR915 ktr;
  ktr.Connect(kPort);
  ASSERT_EQ(ktr.GetFilenames(kTimeout), (std::vector<std::string>{"CABLE7_12_S15", "RING2_3_M13"}));
  const auto traces = ktr.GetFiles({"RING2_3_M13", "CABLE7_12_S15"}, kTimeout);
  ASSERT_EQ(traces->Count(), 2);
  for (const auto& [k, sent, name] : {std::tuple{1, b, "RING2_3_M13.sor"}, std::tuple{2, a, "CABLE7_12_S15.sor"}}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(traces->Item(k)->FileName(), name);
    EXPECT_EQ(RecordFields(*traces->Item(k)), RecordFields(*sent));
    EXPECT_EQ(traces->Item(k)->DataPointArray(), sent->DataPointArray());
  }
}

// Each fault of the instrument ends the operation with its own error.
TEST_F(SessionWithSimulator, InstrumentFaults) {
  struct Case {
    const char* what;
    sim::Faults faults;
    bool duringTransfer;  // the fault hits GetFiles, after a clean listing
    int32_t number;
    std::string source, description;
  };
  const Case cases[] = {
      {"noise before every frame", {.noiseBytes = 40, .noiseBeforeEveryFrame = true}, false, 0, "", ""},
      {"bad checksum", {.badChecksumFrame = 1}, false, 11001, "CKTR915:ReceivePacket()",
       "Checksum error - Rcvd: 130 Calculated: 125"},
      {"wrong version", {.wrongVersion = true}, false, 11003, "CKTR915:SendFlashReadCommand()",
       "File Downloader Versions don't match"},
      {"silence", {.silentAfterFrames = 0}, false, 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames"},
      {"unformatted memory", {.unformatted = true}, false, 11004, "CKTR915FAT:LoadFromArray()",
       "KTR Memory is not formatted"},
      // After the table and the name's blocks.
      {"unexpected command", {.unexpectedCommandBlock = 5}, true, 11002, "CKTR915:GetFiles()", "Communication Error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    Serve({RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 2000, 0)}, {.faults = c.faults});
    CKTR915 ktr;
    ktr.Connect(kPort);
    Raised r = Capture([&] { ktr.GetFilenames(0.3f); });
    if (c.duringTransfer && !r.raised) r = Capture([&] { ktr.GetFiles({"CABLE7_12_S15"}, 0.3f); });
    EXPECT_EQ(r.number, c.number);
    EXPECT_EQ(r.source, c.source);
    EXPECT_EQ(r.description, c.description);
    server_.reset();
  }
}

TEST_F(SessionWithSimulator, CancelledMidTransfer) {
  auto& server = Serve({RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 16000, 0)});
  CKTR915 ktr;
  std::vector<int32_t> events;
  ktr.OnKTREvent.Connect([&](KTREvents e, const Variant& v) {
    events.push_back(e);
    EXPECT_EQ(std::get<int16_t>(v), 0);
  });
  ktr.Connect(kPort);
  ktr.GetFilenames(kTimeout);
  const int32_t acksBefore = server.Stats().acknowledgements;
  SetYieldHandler([&] {
    // Cancel once a few blocks of the trace have arrived.
    if (server.Stats().acknowledgements >= acksBefore + 3) ktr.CancelOperation(false);
    DefaultYield();
  });
  EXPECT_RAISES(ktr.GetFiles({"CABLE7_12_S15"}, kTimeout), 11005, "CKTR915:GetFiles()", "Operation Cancelled");
  EXPECT_EQ(events, std::vector<int32_t>{KTREV_Cancelled});
  EXPECT_LT(server.Stats().transfersCompleted, 3);  // the table and the name, not the trace
}

TEST_F(SessionWithSimulator, ToolListsAndDownloads) {
  // The SOR file keeps the reflectance threshold in an unsigned field: only a threshold of
  // 0 can be written there, any other fails with 6, and the trace's own format keeps it.
  const auto cable = RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 3000, 1);
  const auto ring = RecordableTrace("RING2", 3, FT_MultiMode, 1300, 100, 2);
  ring->SetReflectanceThreshold(0.0f);
  Serve({cable, ring});
  tool::CommonOptions common;
  tool::LogCapture log;
  tool::DownloadOptions options;
  options.port = kPort;
  options.device = server_->DevicePath();
  options.list = true;
  std::ostringstream out, err;
  EXPECT_EQ(tool::RunDownload(options, common, log, out, err), 0) << err.str();
  EXPECT_EQ(out.str(), "CABLE7_12_S15\nRING2_3_M13\n");

  options.list = false;
  options.outputFolder = Path("");
  options.names = {"CABLE7_12_S15", "missing", "RING2_3_M13"};
  out.str("");
  err.str("");
  EXPECT_EQ(tool::RunDownload(options, common, log, out, err), 1);
  EXPECT_EQ(err.str(),
            "[1/3] CABLE7_12_S15: error 6 from CSORFile:BuildFixedParamsBlock() (reported by "
            "CFileOperations:WriteTrace()): Overflow\n"
            "[2/3] missing: error 5 from CKTR915:GetFiles(): Could not find file: 'missing'\r\n"
            "n = 3, FileCount = 2, Files: \r\n'CABLE7_12_S15'\r\n'RING2_3_M13'\r\n\n");
  EXPECT_NE(out.str().find("[3/3] RING2_3_M13: 100 samples in "), std::string::npos) << out.str();
  EXPECT_FALSE(std::filesystem::exists(Path("CABLE7_12_S15.sor")));
  CFileOperations ops;
  const auto ringBack = ops.ReadTrace(Path("RING2_3_M13.sor"));
  EXPECT_EQ(ringBack->DataPointArray(), ring->DataPointArray());
  EXPECT_EQ(ringBack->CableID(), "RING2");

  options.names = {"CABLE7_12_S15"};
  options.extension = "trc";
  err.str("");
  EXPECT_EQ(tool::RunDownload(options, common, log, out, err), 0) << err.str();
  const auto cableBack = ops.ReadTrace(Path("CABLE7_12_S15.trc"));
  EXPECT_EQ(cableBack->DataPointArray(), cable->DataPointArray());
  EXPECT_EQ(cableBack->ReflectanceThreshold(), -40.5f);

  // Usage errors come before the instrument is asked anything.
  const struct {
    const char* folder;
    const char* extension;
  } refused[] = {{"no such folder", "sor"}, {"", ""}, {"", "x/y"}};
  for (const auto& r : refused) {
    options.outputFolder = Path(r.folder);
    options.extension = r.extension;
    EXPECT_EQ(tool::RunDownload(options, common, log, out, err), 2) << r.folder << "|" << r.extension;
  }
}

}  // namespace
}  // namespace tarnvik::testing
