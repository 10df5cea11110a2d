#include "sample_trace.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {

namespace {

// A small generator with a fully defined sequence on every platform (splitmix64), and
// normal variates from it by the Box-Muller transform.
class Noise {
 public:
  explicit Noise(uint64_t start) : state_(start) {}
  double Uniform() {  // in (0, 1)
    return (static_cast<double>(Next() >> 11) + 0.5) / 9007199254740992.0;
  }
  double Normal() {
    const double u = Uniform(), v = Uniform();
    return std::sqrt(-2.0 * std::log(u)) * std::cos(6.283185307179586 * v);
  }

 private:
  uint64_t Next() {
    uint64_t z = (state_ += 0x9E3779B97F4A7C15ull);
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
    return z ^ (z >> 31);
  }
  uint64_t state_;
};

constexpr int32_t kQrdPerSample = 4;
constexpr double kStartLevel = 4.0;       // dB below the reference, just after the dead zone
constexpr double kAttenuation = 0.35;     // dB/km at 1310 nm
constexpr double kConnectorLoss = 0.50;   // dB
constexpr double kSpliceLoss = 0.12;      // dB
constexpr double kConnectorReflectance = -45.0;  // dB
constexpr double kEndReflectance = -14.0;        // dB
constexpr double kNoiseFloor = 20.0;      // dB: the level at which noise equals the signal
constexpr double kSpeckle = 0.004;        // dB: the backscatter's own ripple, even at the near end
constexpr double kPulseMetres = 10.2;     // 100 ns
constexpr double kBackscatter = 79.4;     // dB, as SR-4731 files store it (-79.4 dB at 1 ns)

// Power relative to the reference for a level in dB as the trace shows it (5 log10, so
// that the fibre's one-way loss reads as its attenuation).
double Power(double level) { return std::pow(10.0, -level / 5.0); }

// The extra height of a reflection above the backscatter, in dB on the trace.
double PeakHeight(double reflectance) {
  const double backscatterAtPulse = -kBackscatter + 10.0 * std::log10(100.0);
  return 5.0 * std::log10(1.0 + std::pow(10.0, (reflectance - backscatterAtPulse) / 10.0));
}

// 0 before x0, 1 a pulse length after it, linear between: how far a step at x0 has
// come in at x (the pulse smears every change over its length).
double Ramp(double x, double x0) { return std::clamp((x - x0) / (kPulseMetres / 1000.0), 0.0, 1.0); }

// A reflection's shape: full height over the pulse, then the receiver's recovery.
double Pulse(double x, double x0, double recoveryKm) {
  const double d = x - x0;
  const double rise = kPulseMetres / 1000.0 / 3.0;
  if (d < -rise) return 0.0;
  if (d < 0) return 1.0 + d / rise;
  if (d < kPulseMetres / 1000.0) return 1.0;
  return std::exp(-(d - kPulseMetres / 1000.0) / recoveryKm);
}

}  // namespace

std::shared_ptr<CTrace> MakeSampleTrace(int32_t samples) {
  auto t = std::make_shared<CTrace>();
  t->SetFileName("sample.sor");
  t->SetTimeStamp(45426.4375);  // 2024-05-14 10:30:00
  t->SetCableID("TRV-A-0144");
  t->SetCableType("G.652.D 48F");
  t->SetTestSite("Exchange Tarnvik");
  t->SetFarSite("Cabinet 17");
  t->SetTestedBy("make_sample");
  t->SetTraceComment("Synthetic 1310 nm trace: connector, splice, fibre end");
  t->SetFiberNumber(7);
  t->SetFiberType(FT_SingleMode);
  t->SetSupplierName("Tarnvik");
  t->SetMainFrameID("TARNVIK-SIM");
  t->SetModuleID("SM1310");
  t->SetLanguageCode("EN");
  t->SetCurrentDataFlag("BC");
  t->SetFileDistUnits(DU_Kilometers);
  t->SetNominalWavelength(1310);
  t->SetActualWavelength(1310.0f);
  t->SetPulseWidth(100);
  t->SetTotalNumberOfPulseWidths(1);
  t->SetGroupIndex(146800);
  t->SetNumberOfAverages(16384);
  t->SetAquisitionRange(samples * kQrdPerSample);
  t->SetDataPointsPerPW(samples);
  t->SetDataPointSpacing(2000000);  // 20 ns of one-way time between samples, in 10^-14 s
  t->SetBackScatterCoefficient(static_cast<float>(kBackscatter));
  t->SetNoiseFloorLevel(static_cast<int32_t>(kNoiseFloor * 1000));
  t->SetNoiseFloorScaleFactor(1000);
  t->SetLossThreshold(0.05f);
  t->SetReflectanceThreshold(0.0f);  // a non-zero threshold would not survive a SOR file
  t->SetEndofFiberThreshold(3.0f);

  // The samples: backscatter with the events' steps and peaks, plus receiver noise.
  const double kmPerSample = t->QRDToDisplayDist(static_cast<float>(kQrdPerSample), DU_Kilometers);
  const double connectorPeak = std::pow(10.0, PeakHeight(kConnectorReflectance) / 5.0) - 1.0;
  const double endPeak = std::pow(10.0, PeakHeight(kEndReflectance) / 5.0) - 1.0;
  const double noiseSigma = Power(kNoiseFloor);
  constexpr uint64_t noiseStart = 0x7A72'4E56'494Bull;  // any fixed value gives a fixed trace
  Noise noise(noiseStart);
  t->SetSamples(samples);
  for (int32_t i = 1; i <= samples; ++i) {
    const double x = (i - 1) * kmPerSample;
    double level = kStartLevel + kAttenuation * x + kConnectorLoss * Ramp(x, kSampleConnectorKm) +
                   kSpliceLoss * Ramp(x, kSampleSpliceKm);
    double power = x < kSampleEndKm ? Power(level) * (1.0 - Ramp(x, kSampleEndKm)) : 0.0;
    // The front connector saturates the receiver; its recovery is the dead zone.
    power += Power(kStartLevel - 22.0) * Pulse(x, 0.0, 0.015);
    const double atConnector = Power(kStartLevel + kAttenuation * kSampleConnectorKm);
    power += atConnector * connectorPeak * Pulse(x, kSampleConnectorKm, 0.004);
    const double atEnd = Power(kStartLevel + kAttenuation * kSampleEndKm + kConnectorLoss + kSpliceLoss);
    power += atEnd * endPeak * Pulse(x, kSampleEndKm, 0.006);
    power = std::fabs(power + noiseSigma * noise.Normal());
    level = -5.0 * std::log10(std::max(power, Power(kNoiseFloor + 12.0))) + kSpeckle * noise.Normal();
    level = std::clamp(level, 0.0, 65.535);
    t->SetDataPoints(i, static_cast<int32_t>(std::lround(level * 1000.0)));
  }

  // The events, with the levels and attenuations an analysis would give them.
  struct Planned {
    double km;
    int32_t loss;         // thousandths of a dB
    int32_t reflectance;  // thousandths of a dB; 2000 = none measured
    EnumEventTypes type;
    EnumLossMethods method;
    const char* comment;
  };
  const Planned planned[] = {
      {kSampleConnectorKm, 500, static_cast<int32_t>(kConnectorReflectance * 1000), EVTYPE_Reflective, LOSS_TwoPoint,
       "Connector, patch panel ODF-3"},
      {kSampleSpliceKm, 120, 2000, EVTYPE_NonReflective, LOSS_TwoPoint, "Fusion splice, closure J-12"},
      {kSampleEndKm, 0, static_cast<int32_t>(kEndReflectance * 1000), EVTYPE_ReflectiveEnd, LOSS_TwoPoint,
       "Fibre end, open connector"}};
  const double lastKm = (samples - 1) * kmPerSample;
  double lossBefore = 0;
  for (const auto& p : planned) {
    if (p.km > lastKm) continue;
    const int32_t at = static_cast<int32_t>(std::lround(t->DisplayDistToQRD(static_cast<float>(p.km), DU_Kilometers)));
    const int32_t level = static_cast<int32_t>(std::lround((kStartLevel + kAttenuation * p.km + lossBefore) * 1000));
    const int16_t number = t->AddEvent(at, at + 10, p.loss, p.method, EVSRC_Auto, p.type, p.reflectance, level,
                                       p.comment);
    auto event = t->Events()->Item(number);
    event->SetAttenDBperKM(static_cast<float>(kAttenuation));
    event->SetFarLeftLSAQRD(static_cast<float>(at - 600));
    event->SetNearLeftLSAQRD(static_cast<float>(at - 20));
    event->SetNearRightLSAQRD(static_cast<float>(at + 30));
    event->SetFarRightLSAQRD(static_cast<float>(at + 600));
    lossBefore += p.loss / 1000.0;
  }
  t->RollupLoss(false);

  // End-to-end figures between the start and the fibre end, and the two cursors.
  if (kSampleEndKm <= lastKm) {
    t->SetEventEndLoss(static_cast<float>(kAttenuation * kSampleEndKm + kConnectorLoss + kSpliceLoss));
    t->SetEventLossMark(1, 0);
    t->SetEventLossMark(2, static_cast<int32_t>(std::lround(t->DisplayDistToQRD(static_cast<float>(kSampleEndKm),
                                                                                  DU_Kilometers))));
    t->SetEventORL(32.5f);
  }
  t->SetCursorDistance(Acursor, 2.0f);
  t->SetCursorDistance(Bcursor, static_cast<float>(std::min(20.0, lastKm)));
  return t;
}

}  // namespace tarnvik::tool
