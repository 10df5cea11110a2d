// The whole download session over a pseudo-terminal against the simulated instrument:
// listing, transfers with every decoded field, the instrument's faults, cancellation,
// time-outs, and the tool's download command.
#include <atomic>
#include <cmath>
#include <filesystem>
#include <memory>
#include <sstream>
#include <string>
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

TEST_F(SessionWithSimulator, ListsAndDownloadsEveryField) {
  const auto a = RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 3000, 1);
  const auto b = RecordableTrace("RING2", 3, FT_MultiMode, 1300, 1200, 5);
  Serve({a, b});
  CKTR915 ktr;
  EXPECT_FALSE(ktr.Connected());
  ktr.Connect(kPort);
  EXPECT_TRUE(ktr.Connected());
  const std::vector<std::string> names = ktr.GetFilenames(kTimeout);
  ASSERT_EQ(names, (std::vector<std::string>{"CABLE7_12_S15", "RING2_3_M13"}));

  const auto traces = ktr.GetFiles({"RING2_3_M13", "CABLE7_12_S15"}, kTimeout);
  ASSERT_EQ(traces->Count(), 2);
  const struct {
    std::shared_ptr<CTrace> sent;
    const char* name;
  } expected[] = {{b, "RING2_3_M13"}, {a, "CABLE7_12_S15"}};
  for (int32_t k = 0; k < 2; ++k) {
    const CTrace& got = *traces->Item(k + 1);
    const CTrace& sent = *expected[k].sent;
    SCOPED_TRACE(expected[k].name);
    EXPECT_EQ(got.FileName(), std::string(expected[k].name) + ".sor");
    EXPECT_EQ(got.CableID(), sent.CableID());
    EXPECT_EQ(got.FiberNumber(), sent.FiberNumber());
    EXPECT_EQ(got.FiberType(), sent.FiberType());
    EXPECT_EQ(got.NumberOfAverages(), sent.NumberOfAverages());
    EXPECT_EQ(got.DistanceUnits(), DU_Feet);
    EXPECT_EQ(got.PulseWidth(), 1000);
    EXPECT_EQ(got.GroupIndex(), 14680);
    EXPECT_EQ(got.BackScatterCoefficient(), -81.5f);
    EXPECT_EQ(got.DataPointSpacing(), 1000000);
    EXPECT_EQ(got.NominalWavelength(), sent.NominalWavelength());
    EXPECT_EQ(got.LanguageCode(), "EN");
    EXPECT_EQ(got.CurrentDataFlag(), "BC");
    EXPECT_EQ(got.NoiseFloorLevel(), 2000);
    EXPECT_EQ(got.LossThreshold(), 0.2f);
    EXPECT_EQ(got.ReflectanceThreshold(), -40.5f);
    EXPECT_EQ(got.EndofFiberThreshold(), 3.5f);
    EXPECT_EQ(got.ModuleID(), "M7");
    EXPECT_EQ(got.MainFrameID(), "KTR915");
    EXPECT_EQ(got.SupplierName(), "Orvik");
    EXPECT_EQ(got.MajorVersion() * 10000 + got.MinorVersion() * 100 + got.Revision(), 20318);
    EXPECT_EQ(got.Samples(), sent.Samples());
    EXPECT_EQ(got.DataPointArray(), sent.DataPointArray());
    // Samples / 10000 x spacing / 50, rounded half to even.
    EXPECT_EQ(got.AquisitionRange(), static_cast<int32_t>(std::nearbyint(sent.Samples() / 10000.0 * 1000000 / 50)));
    EXPECT_EQ(got.NoiseFloorScaleFactor(), 1000);
    EXPECT_EQ(got.DataPointsPerPW(), sent.Samples());
  }
  ktr.Disconnect();
  EXPECT_FALSE(ktr.Connected());
}

TEST_F(SessionWithSimulator, EmptyMemoryAndEmptyRequest) {
  auto& server = Serve({});
  CKTR915 ktr;
  ktr.Connect(kPort);
  // No table read yet: GetFiles reads it once, and nothing else.
  const auto none = ktr.GetFiles({}, kTimeout);
  EXPECT_EQ(none->Count(), 0);
  EXPECT_EQ(server.Stats().requests, 1);
  EXPECT_TRUE(ktr.GetFilenames(kTimeout).empty());
  EXPECT_EQ(server.Stats().requests, 2);
}

TEST_F(SessionWithSimulator, NameInAnotherCaseIsNotFound) {
  Serve({RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 10, 0), RecordableTrace("X", 1, FT_SingleMode, 1310, 10, 0)});
  CKTR915 ktr;
  ktr.Connect(kPort);
  ktr.GetFilenames(kTimeout);
  const Raised r = Capture([&] { ktr.GetFiles({"cable7_12_s15"}, kTimeout); });
  EXPECT_EQ(r.number, 5);
  EXPECT_EQ(r.source, "CKTR915:GetFiles()");
  EXPECT_EQ(r.description,
            "Could not find file: 'cable7_12_s15'\r\nn = 3, FileCount = 2, Files: \r\n'CABLE7_12_S15'\r\n'X_1_S13'\r\n");
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
  sim::Faults noise;
  noise.noiseBytes = 40;
  noise.noiseBeforeEveryFrame = true;
  sim::Faults badChecksum;
  badChecksum.badChecksumFrame = 1;
  sim::Faults wrongVersion;
  wrongVersion.wrongVersion = true;
  sim::Faults silent;
  silent.silentAfterFrames = 0;
  sim::Faults unformatted;
  unformatted.unformatted = true;
  sim::Faults unexpected;
  unexpected.unexpectedCommandBlock = 5;  // after the table and the name's blocks
  const Case cases[] = {
      {"noise before every frame", noise, false, 0, "", ""},
      {"bad checksum", badChecksum, false, 11001, "CKTR915:ReceivePacket()", ""},
      {"wrong version", wrongVersion, false, 11003, "CKTR915:SendFlashReadCommand()",
       "File Downloader Versions don't match"},
      {"silence", silent, false, 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames"},
      {"unformatted memory", unformatted, false, 11004, "CKTR915FAT:LoadFromArray()", "KTR Memory is not formatted"},
      {"unexpected command", unexpected, true, 11002, "CKTR915:GetFiles()", "Communication Error"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    sim::EngineSettings settings;
    settings.faults = c.faults;
    Serve({RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 2000, 0)}, settings);
    CKTR915 ktr;
    ktr.Connect(kPort);
    Raised r = Capture([&] { ktr.GetFilenames(0.3f); });
    if (c.duringTransfer && !r.raised) r = Capture([&] { ktr.GetFiles({"CABLE7_12_S15"}, 0.3f); });
    EXPECT_EQ(r.number, c.number);
    EXPECT_EQ(r.source, c.source);
    if (!c.description.empty()) {
      EXPECT_EQ(r.description, c.description);
    }
    if (c.number == 11001) {
      EXPECT_EQ(r.description.rfind("Checksum error - Rcvd: ", 0), 0u) << r.description;
    }
    server_.reset();
  }
}

TEST_F(SessionWithSimulator, CancelledMidTransferAndForever) {
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
  SetYieldHandler({});
  // A cancelled session stays cancelled.
  EXPECT_EQ(Capture([&] { ktr.GetFilenames(kTimeout); }).number, 11005);
}

// A replaced timer reaches a deadline without waiting for it, and one past midnight is
// never reached: only data or a cancel ends that wait.
TEST_F(SessionWithSimulator, DeadlinesFollowTheTimerSource) {
  sim::EngineSettings silent;
  silent.faults.silentAfterFrames = 0;
  Serve({}, silent);
  CKTR915 ktr;
  ktr.Connect(kPort);
  float now = 100.0f;
  SetTimerSource([&] { return now += 1.0f; });
  EXPECT_RAISES(ktr.GetFilenames(5.0f), 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames");

  now = 86397.0f;  // the deadline read at 86398 s falls at 86403 s
  int32_t polls = 0;
  SetTimerSource([&] { return now = std::fmod(now + 1.0f, 86400.0f); });
  SetYieldHandler([&] {
    if (++polls == 500) ktr.CancelOperation(true);
  });
  EXPECT_EQ(Capture([&] { ktr.GetFilenames(5.0f); }).number, 11005);
  EXPECT_EQ(polls, 500);
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
