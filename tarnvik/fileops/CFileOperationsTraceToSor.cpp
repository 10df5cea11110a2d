// Trace to SR-4731 file: the parameter blocks, a fresh "Orvik2" block in place of the
// vendor blocks, one key event per trace event, and the samples. Several steps write
// back into the trace (time stamp, pulse-width count, points per pulse width, negative
// event levels).
#include <cstdint>
#include <string>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

constexpr int32_t kWrittenOrvik2Revision = 200;
constexpr int16_t kWrittenScaleFactor = 1000;

const char* DistanceUnitCode(EnumDistanceUnits units) {
  switch (units) {
    case DU_Kilometers: return "km";
    case DU_Feet: return "ft";
    case DU_Miles: return "mi";
    case DU_Kilofeet: return "kf";
    default: return "mt";
  }
}

// dB, dB/km or QRD to the file's thousandths, in 32-bit float arithmetic as the trace
// holds them.
int32_t Millis32(float value) { return ToInt32(value * 1000.0f); }
int16_t Millis16(float value) { return ToInt16(value * 1000.0f); }
int32_t SORTimeFromQRD(float qrd) { return QRDToSORTime(Millis32(qrd)); }

const char* VendorTypeCode(EnumEventTypes type) {
  switch (type) {
    case EVTYPE_Undefined: return "2P";
    case EVTYPE_Reflective:
    case EVTYPE_NonReflective:
    case EVTYPE_ReflectiveGainer:
    case EVTYPE_NonReflectiveGainer:
    case EVTYPE_Clipped: return "SI";
    case EVTYPE_Multiple: return "MU";
    case EVTYPE_ReflectiveEnd:
    case EVTYPE_NonReflectiveEnd:
    case EVTYPE_EstimatedEnd:
    case EVTYPE_End: return "EN";
    case EVTYPE_Start: return "ST";
    default: return nullptr;  // the key event keeps its default
  }
}

const char* LossMethodCode(EnumLossMethods method) {
  switch (method) {
    case LOSS_TwoPoint: return "2P";
    case LOSS_Multiple:
    case LOSS_Single:
    case LOSS_Start:
    case LOSS_End: return "LS";
    default: return "OT";
  }
}

bool IsEndType(EnumEventTypes type) {
  return type == EVTYPE_ReflectiveEnd || type == EVTYPE_NonReflectiveEnd || type == EVTYPE_EstimatedEnd ||
         type == EVTYPE_End;
}

// "1" reflective, "2" clipped, "0" otherwise; types that do not say are decided by the
// trace's threshold. The second character is the source, "E"/"D" for end events.
std::string EventCode(const CEvent& ev, float threshold) {
  char c1 = '0';
  switch (ev.EType()) {
    case EVTYPE_Reflective:
    case EVTYPE_ReflectiveGainer:
    case EVTYPE_ReflectiveEnd: c1 = '1'; break;
    case EVTYPE_Clipped: c1 = '2'; break;
    case EVTYPE_Undefined:
    case EVTYPE_EstimatedEnd:
    case EVTYPE_Start:
    case EVTYPE_End: c1 = ev.Reflectance() >= threshold && ev.Reflectance() != 2.0f ? '1' : '0'; break;
    default: break;
  }
  const bool automatic = ev.Source() == EVSRC_Auto;
  char c2 = 'A';
  if (IsEndType(ev.EType())) {
    c2 = automatic ? 'E' : 'D';
  } else if (automatic) {
    c2 = 'F';
  } else if (ev.Source() == EVSRC_UserEdited) {
    c2 = 'M';
  }
  return std::string{c1, c2} + "9999";
}

// The range codes (over range, under range, not available) are written as 0.
int32_t StoredReflectance(float reflectance) {
  if (reflectance == 2.0f || reflectance == 0.0f || reflectance == 1.0f) return 0;
  return Millis32(reflectance);
}

std::shared_ptr<CKeyEvent> KeyEventFrom(CEvent& ev, float threshold) {
  auto key = std::make_shared<CKeyEvent>();
  key->SetEventNumber(ev.Number());
  key->SetEventPropagationTime(SORTimeFromQRD(ev.LocationQRD()));
  key->SetAttenCoefLeadinFiber(Millis16(ev.AttenDBperKM()));
  key->SetEventLoss(Millis16(ev.Loss()));
  key->SetComment(ev.Comment());
  if (ev.Level() < 0.0f) ev.SetLevel(0.0f);
  key->SetEventLevel(Millis32(ev.Level()));
  key->SetEventReflectance(StoredReflectance(ev.Reflectance()));
  if (const char* type = VendorTypeCode(ev.EType())) key->SetEventType(type);
  key->SetLossMT(LossMethodCode(ev.LossMT()));
  key->SetEventCode(EventCode(ev, threshold));
  key->SetMarkerLocations(1, SORTimeFromQRD(ev.FarLeftLSAQRD()));
  key->SetMarkerLocations(2, SORTimeFromQRD(ev.NearLeftLSAQRD()));
  key->SetMarkerLocations(3, SORTimeFromQRD(ev.NearRightLSAQRD()));
  key->SetMarkerLocations(4, SORTimeFromQRD(ev.FarRightLSAQRD()));
  return key;
}

void WriteGeneralParameters(const CTrace& trace, CGeneralParameterBlock& gen) {
  gen.SetNominalWavelength(trace.NominalWavelength());
  gen.SetOriginatingLocation(trace.TestSite());
  gen.SetTerminatingLocation(trace.FarSite());
  gen.SetOperator(trace.TestedBy());
  gen.SetFiberID(trace.FiberNumber() < 1 ? std::string() : std::to_string(trace.FiberNumber()));
  gen.SetCableID(trace.CableID());
  gen.SetCableCode(trace.CableType());
  gen.SetComment(trace.TraceComment());
}

void WriteFixedParameters(CTrace& trace, CFixedParametersBlock& fxd) {
  if (trace.TimeStamp() == 0) trace.SetTimeStamp(Now());
  fxd.SetDateTime(ToInt32(UnixSecondsFromDate(trace.TimeStamp())));
  fxd.SetDistanceUnits(DistanceUnitCode(trace.DistanceUnits()));
  fxd.SetActualWavelength(trace.ActualWavelength() != 0.0f
                              ? ToInt16(trace.ActualWavelength() * 10.0f)
                              : CheckInt16(int32_t{trace.NominalWavelength()} * 10));
  fxd.SetAcquisitionOffset(QRDToSORTime(trace.AquisitionOffset()));
  fxd.SetGroupIndex(trace.GroupIndex());
  fxd.SetNumberOfAverages(trace.NumberOfAverages());
  fxd.SetNoiseFloorScaleFactor(trace.NoiseFloorScaleFactor());
  fxd.SetAcquisitionRange(QRDToSORTime(ToInt32(static_cast<double>(trace.AquisitionRange()) * 1000.0)));
  fxd.SetPulseWidth(trace.PulseWidth());
  fxd.SetFrontPanelOffset(QRDToSORTime(trace.FrontPanelOffset()));
  if (trace.PulseWidth() > 0 && trace.TotalNumberOfPulseWidths() == 0) trace.SetTotalNumberOfPulseWidths(1);
  fxd.SetTotalNumberOfPulseWidths(trace.TotalNumberOfPulseWidths());
  if (trace.DataPointsPerPW() == 0) trace.SetDataPointsPerPW(trace.Samples());
  fxd.SetNumberDataPoints(trace.DataPointsPerPW());
  fxd.SetDataSpacing(trace.DataPointSpacing());
  // Written positive on purpose, whatever the sign the trace holds.
  const int16_t backScatter = ToInt16(trace.BackScatterCoefficient() * 10.0f);
  fxd.SetBackScatterCoefficient(CheckInt16(backScatter < 0 ? -int32_t{backScatter} : backScatter));
  fxd.SetNoiseFloorLevel(trace.NoiseFloorLevel());
  fxd.SetPowerOffsetFirstPoint(trace.PowerOffsetFirstPoint());
  fxd.SetLossThreshold(Millis32(trace.LossThreshold()));
  fxd.SetReflectanceThreshold(Millis32(trace.ReflectanceThreshold()));
  fxd.SetEndofFiberThreshold(Millis32(trace.EndofFiberThreshold()));
}

void WriteSupplierParameters(const CTrace& trace, CSuppliersBlock& sup) {
  sup.SetSoftwareRev(std::to_string(trace.MajorVersion()) + "." + std::to_string(trace.MinorVersion()) + "." +
                     std::to_string(trace.Revision()));
  sup.SetOther(trace.SupParamsOther());
  sup.SetOTDRMainframeID(trace.MainFrameID());
  sup.SetOpticalModuleID(trace.ModuleID());
  sup.SetSupplierName(trace.SupplierName());
}

void WriteSamples(const CTrace& trace, CSORFile& sor) {
  if (trace.Samples() <= 0) return;
  sor.AddDataPointsBlock();
  CDataPointsBlock& block = *sor.DataPointsBlock();
  block.SetNumberScaleFactorsUsed(1);
  block.SetNumDataPointsForScaleFactor(block.NumberScaleFactorsUsed(), trace.Samples());
  block.SetScaleFactor(1, kWrittenScaleFactor);
  CheckInt16(trace.Samples());  // a count past 16 bits raises 6, as it always has
  std::vector<int32_t> samples = trace.DataPointArray();
  DivideToInt32(samples, block.ScaleFactor(1) / 1000.0);
  block.SetDataPointArray(1, samples);
}

}  // namespace

void CFileOperations::ConvertTracetoSOR(CTrace& oTrace, CSORFile& oSORFile) {
  Guarded(kModule, "ConvertTracetoSOR()", [&] {
    CTrace& trace = oTrace;
    WriteGeneralParameters(trace, *oSORFile.GenParamsBlock());
    WriteFixedParameters(trace, *oSORFile.FixedParamsBlock());
    WriteSupplierParameters(trace, *oSORFile.SupParamsBlock());

    oSORFile.RemoveOrvikBlock();
    oSORFile.AddKeyEventsBlock();
    oSORFile.AddOrvik2Block(kWrittenOrvik2Revision);
    COrvik2Block& orvik2 = *oSORFile.Orvik2Block();
    orvik2.SetIsSupported("LastChangedBy", true);
    CKeyEventsBlock& keyBlock = *oSORFile.KeyEventsBlock();
    for (const auto& ev : *trace.Events()) {
      const auto key = KeyEventFrom(*ev, trace.ReflectanceThreshold());
      keyBlock.KeyEvents()->Add(key);
      orvik2.Events()->Add(key);
    }
    keyBlock.SetEndtoEndLoss(Millis16(trace.EventEndLoss()));
    keyBlock.SetEndtoEndMarkerPosStart(QRDToSORTime(trace.EventLossMark(1)));
    keyBlock.SetEndtoEndMarkerPosEnd(QRDToSORTime(trace.EventLossMark(2)));
    keyBlock.SetOpticalReturnLoss(Millis32(trace.EventORL()));
    keyBlock.SetORLMarkerPosStart(QRDToSORTime(trace.EventORLMark(1)));
    keyBlock.SetORLMarkerPosEnd(QRDToSORTime(trace.EventORLMark(2)));

    WriteSamples(trace, oSORFile);
    orvik2.SetCursorCount(2);
    orvik2.SetCursorLocation(1, QRDToSORTime(trace.ACursorRawData()));
    orvik2.SetCursorLocation(2, QRDToSORTime(trace.BCursorRawData()));
    if (orvik2.IsSupported("FiberID")) orvik2.SetFiberID(trace.FiberID());
  });
}

}  // namespace tarnvik
