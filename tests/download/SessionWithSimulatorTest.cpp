// The whole download session over a pseudo-terminal against the simulated instrument:
// listing, transfers with every field the record holds, the instrument's faults (a
// hang-up mid-transfer among them) and the client's cancel, and the tool's download
// command. The session's byte-exact
// exchanges, deadlines and lasting cancellation are checked against a scripted instrument
// in the instrument tests.
#include <chrono>
#include <ctime>
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

// CPU time of the process: the session waiting, the simulator's thread mostly asleep.
double CpuSeconds() { return static_cast<double>(std::clock()) / CLOCKS_PER_SEC; }

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

// Each fault of the instrument, and the client's cancel, ends the operation with its own
// error within its stages' time-outs and without spinning; the port then closes, opens
// again, and the session lists the next instrument's files. A failed GetFiles returns
// nothing, also when some traces had arrived (the sanitizer build checks nothing leaks).
TEST_F(SessionWithSimulator, FaultMatrix) {
  constexpr float kStage = 1.0f;  // a silent line waits this long; the other faults never
  using Clock = std::chrono::steady_clock;
  const std::vector<std::shared_ptr<CTrace>> traces = {RecordableTrace("CABLE7", 12, FT_SingleMode, 1550, 2000, 0),
                                                       RecordableTrace("RING2", 3, FT_MultiMode, 1300, 2000, 5)};
  const std::vector<std::string> names = {"CABLE7_12_S15", "RING2_3_M13"};
  // The listing of two files takes 9 frames (table and names: reply, one block, end); a
  // trace its reply, its blocks and the end.
  sim::InstrumentFiles probe;
  probe.AddTrace(*traces[0]);
  const auto traceFrames = static_cast<int32_t>(2 + (probe.Files()[0].record.size() + 255) / 256);
  struct Case {
    const char* what;
    sim::Faults faults;
    bool duringTransfer;  // the fault hits GetFiles, after a clean listing
    int32_t number;       // 0: both traces arrive
    std::string source, description;
    int32_t stagesTimedOut = 0;
    int32_t cancelAfterAcks = 0;  // the client cancels once the transfer has these
  };
  const std::string hungUp = "Serial device: counting the input failed: Input/output error";
  const Case cases[] = {
      {"noise before the first frame", {.noiseBytes = 40}, true, 0, "", ""},
      {"noise before every frame", {.noiseBytes = 40, .noiseBeforeEveryFrame = true}, true, 0, "", ""},
      {"bad checksum", {.badChecksumFrame = 1}, false, 11001, "CKTR915:ReceivePacket()",
       "Checksum error - Rcvd: 130 Calculated: 125"},
      {"wrong version", {.wrongVersion = true}, false, 11003, "CKTR915:SendFlashReadCommand()",
       "File Downloader Versions don't match"},
      {"silence", {.silentAfterFrames = 0}, false, 11000, "CKTR915:GetFilenames()", "Timeout while getting filenames",
       1},
      {"unformatted memory", {.unformatted = true}, false, 11004, "CKTR915FAT:LoadFromArray()",
       "KTR Memory is not formatted"},
      // The third block of the first trace, after the table's and the names' blocks.
      {"unexpected command", {.unexpectedCommandBlock = 6}, true, 11002, "CKTR915:GetFiles()",
       "Communication Error"},
      {"cancelled", {}, true, 11005, "CKTR915:GetFiles()", "Operation Cancelled", 0, 3},
      {"hang-up at the first request", {.hangUpAfterFrames = 0}, false, 75, "CKTR915:GetFilenames()", hungUp},
      {"hang-up in the second trace", {.hangUpAfterFrames = 9 + traceFrames + 5}, true, 75, "CKTR915:GetFiles()",
       hungUp},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    sim::PtyServer& server = Serve(traces, {.faults = c.faults});
    CKTR915 ktr;
    std::vector<int32_t> events;
    ktr.OnKTREvent.Connect([&](KTREvents e, const Variant& v) {
      events.push_back(e);
      EXPECT_EQ(std::get<int16_t>(v), 0);
    });
    ktr.Connect(kPort);
    if (c.duringTransfer) {
      ASSERT_EQ(ktr.GetFilenames(kStage), names);
    }
    if (c.cancelAfterAcks > 0) {
      const int32_t acksBefore = server.Stats().acknowledgements;
      SetYieldHandler([&, acksBefore] {
        if (server.Stats().acknowledgements >= acksBefore + c.cancelAfterAcks) ktr.CancelOperation(false);
        DefaultYield();
      });
    }

    std::shared_ptr<CTraces> got;
    const Clock::time_point start = Clock::now();
    const double cpuStart = CpuSeconds();
    const Raised r = Capture([&] {
      if (c.duringTransfer) {
        got = ktr.GetFiles(names, kStage);
      } else {
        ktr.GetFilenames(kStage);
      }
    });
    const double cpu = CpuSeconds() - cpuStart;
    const double wall = std::chrono::duration<double>(Clock::now() - start).count();
    SetYieldHandler({});
    EXPECT_EQ(r.number, c.number);
    EXPECT_EQ(r.source, c.source);
    EXPECT_EQ(r.description, c.description);
    // Generous: a loaded machine, the sanitizers; never a lower bound.
    EXPECT_LT(wall, kStage * static_cast<float>(c.stagesTimedOut) + 3.0);
    EXPECT_LT(cpu, wall / 4 + 0.1) << "wall " << wall << " s";  // waits do not spin
    EXPECT_EQ(events, c.number == errCancelled ? std::vector<int32_t>{KTREV_Cancelled} : std::vector<int32_t>{});
    EXPECT_EQ(server.HungUp(), c.faults.hangUpAfterFrames >= 0);
    if (c.number == 0) {
      ASSERT_EQ(got ? got->Count() : 0, 2);
      for (std::size_t i = 0; i < 2; ++i) {
        EXPECT_EQ(got->Item(static_cast<int32_t>(i) + 1)->DataPointArray(), traces[i]->DataPointArray());
      }
    } else {
      EXPECT_EQ(got, nullptr);
    }

    // The port closes, and the same device opens again; a hung-up line's device is gone.
    EXPECT_FALSE(Capture([&] { ktr.Disconnect(); }).raised);
    EXPECT_FALSE(ktr.Connected());
    if (server.HungUp()) {
      EXPECT_RAISES(ktr.Connect(kPort), 8002, "CKTR915:Connect()", "Port Com7 is not a valid Port Number");
    } else {
      ktr.Connect(kPort);
      EXPECT_TRUE(ktr.Connected());
      ktr.Disconnect();
    }
    // On a sound instrument the session lists again; a cancelled one stays cancelled, so
    // a new one takes the port.
    Serve(traces);
    CKTR915 fresh;
    CKTR915& next = c.number == errCancelled ? fresh : ktr;
    next.Connect(kPort);
    EXPECT_EQ(next.GetFilenames(kStage), names);
    server_.reset();
  }
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
