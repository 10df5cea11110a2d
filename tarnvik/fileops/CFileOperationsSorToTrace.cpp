// SR-4731 file to trace: every property in a fixed order, since later steps read back
// what earlier ones set.
#include <cctype>
#include <cstdint>
#include <string>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

EnumDistanceUnits DistanceUnitFromCode(const std::string& code) {
  if (code == "ft") return DU_Feet;
  if (code == "km") return DU_Kilometers;
  if (code == "mt") return DU_Meters;
  if (code == "mi") return DU_Miles;
  if (code == "kf") return DU_Kilofeet;
  return DU_Meters;
}

// The stored wavelength is nanometres or, from 5000 on, tenths of one; below 500 it is
// taken as not set.
float ActualWavelengthFromFile(int16_t stored, int16_t nominal) {
  if (stored < 500) return static_cast<float>(nominal);
  if (stored < 5000) return static_cast<float>(stored);
  return static_cast<float>(stored / 10.0);
}

bool IsBlankText(const std::string& text) { return text.empty() || text == " "; }

int16_t Int16FromText(const std::string& text) { return ToInt16(NumberFromText(text)); }

// The characters from 1-based start, at most length of them (start at least 1, length
// at least 0).
std::string Mid(const std::string& text, int32_t start, int32_t length) {
  if (static_cast<std::size_t>(start) > text.size()) return {};
  return text.substr(static_cast<std::size_t>(start - 1), static_cast<std::size_t>(length));
}

// 1-based position of the first "." at or after from; 0 when there is none.
int16_t FindDot(const std::string& text, int32_t from) {
  const std::size_t at = text.find('.', static_cast<std::size_t>(from - 1));
  return at == std::string::npos ? int16_t{0} : CheckInt16(static_cast<int64_t>(at) + 1);
}

// Runs one assignment whose conversion may fail; a failure leaves its target as it was.
template <class Assign>
void IgnoringErrors(Assign assign) {
  try {
    assign();
  } catch (const Error&) {
  }
}

// Assigns the part of a software revision at 1-based start, length characters, when it
// is a whole number that fits 16 bits ("2.03" read as one part is not taken for 2);
// otherwise the property is left as it was. A missing part (start below 1, negative
// length), a fraction or a text that is no number are ruled out before converting:
// revisions with fewer parts are common, and each would otherwise cost an exception.
template <class Set>
void AssignVersionPart(const std::string& rev, int32_t start, int32_t length, Set set) {
  if (start < 1 || length < 0) return;
  const std::string text = Mid(rev, start, length);
  if (text.find_first_of(".eE") != std::string::npos || !IsNumeric(text)) return;
  IgnoringErrors([&] { set(Int16FromText(text)); });
}

// "2.03.0018" gives 2, 3 and 18; a letter prefix ("V2.03.0018") is skipped. Each part
// that does not convert leaves its property as it was.
void ReadSoftwareRevision(const std::string& rev, CTrace& trace) {
  if (IsBlankText(rev)) {
    trace.SetMajorVersion(0);
    return;
  }
  const int16_t p1 = FindDot(rev, 1);
  int32_t first = p1;
  for (int32_t k = 1; k <= p1 - 1; ++k) {
    if (std::isdigit(static_cast<unsigned char>(rev[static_cast<std::size_t>(k - 1)]))) {
      first = k;
      break;
    }
  }
  const int16_t p2 = FindDot(rev, p1 + 1);
  AssignVersionPart(rev, first, p1 - first, [&](int16_t part) { trace.SetMajorVersion(part); });
  AssignVersionPart(rev, p1 + 1, p2 - p1 - 1, [&](int16_t part) { trace.SetMinorVersion(part); });
  AssignVersionPart(rev, p2 + 1, static_cast<int32_t>(rev.size()), [&](int16_t part) { trace.SetRevision(part); });
}

// Files of one instrument carry the fixed values "1", "VLT5280" and "3" in these
// fields; their fibre number is in the file name instead.
void ReadFiberNumber(const CSORFile& sor, CTrace& trace, const char* module) {
  trace.SetFiberNumber(0);
  const auto& gen = *sor.GenParamsBlock();
  const auto& sup = *sor.SupParamsBlock();
  if (sup.SupplierName() == "1" && sup.OTDRMainframeID() == "VLT5280" && gen.FiberID() == "3") {
    trace.SetMainFrameID("T260");
    trace.SetSupplierName("Orvik");
    const std::string base = ParseFileBase(sor.FileName());
    if (base.size() >= 13) {
      const std::string digits = base.substr(base.size() - 7, 3);
      if (IsNumeric(digits)) trace.SetFiberNumber(ToInt32(NumberFromText(digits)));
    }
  } else if (IsNumeric(gen.FiberID())) {
    trace.SetFiberNumber(Int16FromText(gen.FiberID()));
  }
  if (trace.FiberNumber() == 0) {
    trace.SetFiberNumber(1);
    LogEvent("Invalid Fiber Number: Defaulting to 1", module, "ConvertSORtoTrace()");
  }
}

// The samples of the first scale-factor group, in the file's unit and sign.
void ReadSamples(const CSORFile& sor, CTrace& trace) {
  const auto block = sor.DataPointsBlock();
  if (!block || block->NumberScaleFactorsUsed() <= 0) return;
  trace.SetSamples(block->NumDataPointsForScaleFactor(1));
  CheckInt16(trace.Samples());  // a count past 16 bits raises 6, as it always has
  std::vector<int32_t> samples = block->DataPointArray(1);
  MultiplyToInt32(samples, block->ScaleFactor(1) / 1000.0);
  trace.SetDataPointArray(samples);
}

void ReadCursors(const CSORFile& sor, CTrace& trace) {
  if (const auto orvik2 = sor.Orvik2Block()) {
    if (orvik2->CursorCount() >= 1) trace.SetACursorRawData(SORTimeToQRD(orvik2->CursorLocation(1)));
    if (orvik2->CursorCount() >= 2) trace.SetBCursorRawData(SORTimeToQRD(orvik2->CursorLocation(2)));
    if (orvik2->IsSupported("FiberID")) trace.SetFiberID(orvik2->FiberID());
  } else if (const auto orvik = sor.OrvikBlock()) {
    trace.SetACursorRawData(SORTimeToQRD(orvik->ACursorLoc()));
    trace.SetBCursorRawData(SORTimeToQRD(orvik->BCursorLoc()));
  } else {
    trace.SetACursorRawData(0);
    trace.SetBCursorRawData(0);
  }
}

constexpr int32_t kSorFileFormat = 169;

}  // namespace

std::shared_ptr<CTrace> CFileOperations::ConvertSORtoTrace(const CSORFile& oSORFile) {
  return Guarded(kModule, "ConvertSORtoTrace()", [&] {
    auto result = std::make_shared<CTrace>();
    CTrace& trace = *result;
    const auto& gen = *oSORFile.GenParamsBlock();
    const auto& sup = *oSORFile.SupParamsBlock();
    const auto& fxd = *oSORFile.FixedParamsBlock();

    trace.SetFileName(oSORFile.FileName());
    trace.SetLanguageCode(gen.LanguageCode());
    trace.SetCurrentDataFlag(gen.CurrentDataFlag());
    trace.SetUserOffset(gen.UserOffset());
    trace.SetNominalWavelength(gen.NominalWavelength());
    trace.SetTestSite(TrimBlanks(gen.OriginatingLocation()));
    trace.SetFarSite(TrimBlanks(gen.TerminatingLocation()));
    trace.SetTestedBy(TrimBlanks(gen.Operator()));
    trace.SetFiberType(gen.NominalWavelength() < 1305 ? FT_MultiMode : FT_SingleMode);
    trace.SetCableID(TrimBlanks(gen.CableID()));
    trace.SetCableType(TrimBlanks(gen.CableCode()));
    trace.SetTraceComment(TrimBlanks(gen.Comment()));
    trace.SetTimeStamp(DateFromUnixSeconds(fxd.DateTime()));
    trace.SetDistanceUnits(DistanceUnitFromCode(fxd.DistanceUnits()));
    trace.SetActualWavelength(ActualWavelengthFromFile(fxd.ActualWavelength(), trace.NominalWavelength()));
    trace.SetAquisitionOffset(SORTimeToQRD(fxd.AcquisitionOffset()));
    trace.SetDataPointsPerPW(fxd.NumberDataPoints());
    trace.SetDataPointSpacing(fxd.DataSpacing());
    trace.SetGroupIndex(fxd.GroupIndex());
    trace.SetNumberOfAverages(fxd.NumberOfAverages());
    trace.SetNoiseFloorScaleFactor(fxd.NoiseFloorScaleFactor());
    ReadSoftwareRevision(sup.SoftwareRev(), trace);
    if (!IsBlankText(sup.Other())) IgnoringErrors([&] { trace.SetAutoMode(Int16FromText(sup.Other())); });
    trace.SetMainFrameID(TrimBlanks(sup.OTDRMainframeID()));
    trace.SetModuleID(TrimBlanks(sup.OpticalModuleID()));
    trace.SetSupplierName(TrimBlanks(sup.SupplierName()));
    trace.SetAquisitionRange(ToInt32(SORTimeToQRD(fxd.AcquisitionRange()) / 1000.0));
    trace.SetPulseWidth(fxd.PulseWidth());
    trace.SetFrontPanelOffset(SORTimeToQRD(fxd.FrontPanelOffset()));
    trace.SetTotalNumberOfPulseWidths(fxd.TotalNumberOfPulseWidths());
    trace.SetBackScatterCoefficient(static_cast<float>(fxd.BackScatterCoefficient() / 10.0));
    trace.SetNoiseFloorLevel(fxd.NoiseFloorLevel());
    // Through a 32-bit float on purpose: offsets beyond 2^24 lose their low bits.
    trace.SetPowerOffsetFirstPoint(ToInt32(static_cast<float>(fxd.PowerOffsetFirstPoint())));
    trace.SetLossThreshold(static_cast<float>(fxd.LossThreshold()) / 1000.0f);
    // The stored field is unsigned: any threshold but 0 falls outside the trace's
    // -65.535..0 dB and is refused by the trace itself.
    trace.SetReflectanceThreshold(static_cast<float>(fxd.ReflectanceThreshold()) / 1000.0f);
    trace.SetEndofFiberThreshold(static_cast<float>(fxd.EndofFiberThreshold()) / 1000.0f);
    ReadFiberNumber(oSORFile, trace, kModule);
    ConvertSOREventsToTrace(oSORFile, trace);
    ReadSamples(oSORFile, trace);
    ReadCursors(oSORFile, trace);
    trace.SetFileFormat(kSorFileFormat);
    return result;
  });
}

}  // namespace tarnvik
