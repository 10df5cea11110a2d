// The trace's own file format through CTrace. Any bytes load or fail with a numbered
// error; a trace that loads and saves must load again from its saved file with every
// property, event and sample equal bit for bit.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "FuzzSupport.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

using namespace tarnvik;
using namespace tarnvik::fuzz;

namespace {

using Properties = std::vector<std::pair<std::string, std::string>>;

// A value as text that tells every bit pattern apart (+0 and -0, each NaN).
template <class T>
std::string Bits(const T& value) {
  if constexpr (std::is_floating_point_v<T>) {
    std::conditional_t<sizeof(T) == 4, uint32_t, uint64_t> bits;
    std::memcpy(&bits, &value, sizeof bits);
    return std::to_string(value) + "/" + std::to_string(bits);
  } else if constexpr (std::is_same_v<T, std::string>) {
    return "\"" + value + "\"";
  } else {
    return std::to_string(static_cast<int64_t>(value));
  }
}

// A getter that raises is read as its error number: the second trace must raise the same.
template <class Get>
void Add(Properties& out, const char* name, Get&& get) {
  std::string value;
  try {
    value = get();
  } catch (const Error& e) {
    value = "error " + std::to_string(e.Number());
  }
  out.emplace_back(name, value);
}

#define TARNVIK_PROPERTY(object, name) Add(out, #name, [&] { return Bits((object).name()); })

void AddEvent(Properties& out, const std::string& list, const CEvent& e) {
  out.emplace_back(list, "event " + std::to_string(e.Number()));
  TARNVIK_PROPERTY(e, LocationQRD);
  TARNVIK_PROPERTY(e, LocationEndQRD);
  TARNVIK_PROPERTY(e, Level);
  TARNVIK_PROPERTY(e, Loss);
  TARNVIK_PROPERTY(e, LeadinLoss);
  TARNVIK_PROPERTY(e, CumulativeLoss);
  TARNVIK_PROPERTY(e, Reflectance);
  TARNVIK_PROPERTY(e, Source);
  TARNVIK_PROPERTY(e, EType);
  TARNVIK_PROPERTY(e, LossMT);
  TARNVIK_PROPERTY(e, Comment);
  TARNVIK_PROPERTY(e, AttenDBperKM);
  TARNVIK_PROPERTY(e, FarLeftLSAQRD);
  TARNVIK_PROPERTY(e, NearLeftLSAQRD);
  TARNVIK_PROPERTY(e, NearRightLSAQRD);
  TARNVIK_PROPERTY(e, FarRightLSAQRD);
}

// Every property a client reads, except the file name the trace was loaded from.
Properties Read(const CTrace& t) {
  Properties out;
  TARNVIK_PROPERTY(t, ValidEventLevels);
  TARNVIK_PROPERTY(t, IsBaseLine);
  TARNVIK_PROPERTY(t, IsDirty);
  TARNVIK_PROPERTY(t, AdjustedIOR);
  TARNVIK_PROPERTY(t, ACursorRawData);
  TARNVIK_PROPERTY(t, BCursorRawData);
  TARNVIK_PROPERTY(t, PointsPerMeter);
  TARNVIK_PROPERTY(t, XAxisScaleFactor);
  TARNVIK_PROPERTY(t, MajorVersion);
  TARNVIK_PROPERTY(t, MinorVersion);
  TARNVIK_PROPERTY(t, Revision);
  TARNVIK_PROPERTY(t, TimeStamp);
  TARNVIK_PROPERTY(t, FileFormat);
  TARNVIK_PROPERTY(t, LaunchReceiveCableSupport);
  TARNVIK_PROPERTY(t, LastChangedBy);
  TARNVIK_PROPERTY(t, CableID);
  TARNVIK_PROPERTY(t, CableType);
  TARNVIK_PROPERTY(t, TestSite);
  TARNVIK_PROPERTY(t, FarSite);
  TARNVIK_PROPERTY(t, TestedBy);
  TARNVIK_PROPERTY(t, TraceComment);
  TARNVIK_PROPERTY(t, FiberNumber);
  TARNVIK_PROPERTY(t, FiberType);
  TARNVIK_PROPERTY(t, AutoMode);
  TARNVIK_PROPERTY(t, FileDistUnits);
  TARNVIK_PROPERTY(t, DistanceUnits);
  TARNVIK_PROPERTY(t, AquisitionOffset);
  TARNVIK_PROPERTY(t, DataPointsPerPW);
  TARNVIK_PROPERTY(t, GroupIndex);
  TARNVIK_PROPERTY(t, NumberOfAverages);
  TARNVIK_PROPERTY(t, AquisitionRange);
  TARNVIK_PROPERTY(t, FrontPanelOffset);
  TARNVIK_PROPERTY(t, NominalWavelength);
  TARNVIK_PROPERTY(t, ActualWavelength);
  TARNVIK_PROPERTY(t, TotalNumberOfPulseWidths);
  TARNVIK_PROPERTY(t, PulseWidth);
  TARNVIK_PROPERTY(t, PulseWidthIndex);
  TARNVIK_PROPERTY(t, BackScatterCoefficient);
  TARNVIK_PROPERTY(t, NoiseFloorLevel);
  TARNVIK_PROPERTY(t, PowerOffsetFirstPoint);
  TARNVIK_PROPERTY(t, ReflectanceThreshold);
  TARNVIK_PROPERTY(t, EndofFiberThreshold);
  TARNVIK_PROPERTY(t, LossThreshold);
  TARNVIK_PROPERTY(t, EventEndLoss);
  TARNVIK_PROPERTY(t, EventORL);
  TARNVIK_PROPERTY(t, CRC);
  TARNVIK_PROPERTY(t, Samples);
  TARNVIK_PROPERTY(t, MaxLossVal);
  TARNVIK_PROPERTY(t, DataPointSpacing);
  TARNVIK_PROPERTY(t, MustDeleteAllEvents);
  TARNVIK_PROPERTY(t, LaunchCable);
  TARNVIK_PROPERTY(t, ReceiveCable);
  TARNVIK_PROPERTY(t, LanguageCode);
  TARNVIK_PROPERTY(t, CurrentDataFlag);
  TARNVIK_PROPERTY(t, UserOffset);
  TARNVIK_PROPERTY(t, MainFrameID);
  TARNVIK_PROPERTY(t, ModuleID);
  TARNVIK_PROPERTY(t, SupplierName);
  TARNVIK_PROPERTY(t, SupParamsOther);
  TARNVIK_PROPERTY(t, NoiseFloorScaleFactor);
  TARNVIK_PROPERTY(t, FiberID);
  for (EnumCursors c : {Acursor, Bcursor}) {
    Add(out, "CursorQRD", [&] { return Bits(t.CursorQRD(c)); });
    Add(out, "CursorDistance", [&] { return Bits(t.CursorDistance(c)); });
    Add(out, "CursorLevel", [&] { return Bits(t.CursorLevel(c)); });
  }
  for (int32_t k : {1, 2}) Add(out, "EventORLMark", [&] { return Bits(t.EventORLMark(k)); });
  std::string samples;
  for (int32_t v : t.DataPointArray()) samples += std::to_string(v) + ",";
  out.emplace_back("DataPoints", samples);
  for (int32_t k = 1; k <= t.Events()->Count(); ++k) AddEvent(out, "Events", *t.Events()->Item(k));
  for (int32_t k = 1; k <= t.DeletedEvents()->Count(); ++k) {
    AddEvent(out, "DeletedEvents", *t.DeletedEvents()->Item(k));
  }
  return out;
}

#undef TARNVIK_PROPERTY

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
  const std::string in = WriteRamFile("in.trc", data, size);
  CTrace first;
  if (!Answered([&] { first.LoadFromFile(in); })) return 0;
  const std::string out = RamFolder() + "/out.trc";
  if (!Answered([&] { first.SaveToFile(out); })) return 0;
  CTrace second;
  try {
    second.LoadFromFile(out);
  } catch (const Error& e) {
    Mismatch("the saved file's load", "loaded", std::to_string(e.Number()) + " " + e.Description());
  }
  const Properties a = Read(first), b = Read(second);
  for (std::size_t i = 0; i < a.size() || i < b.size(); ++i) {
    if (i >= a.size() || i >= b.size() || a[i] != b[i]) {
      Mismatch(i < a.size() ? a[i].first : b[i].first, i < a.size() ? a[i].second : "(none)",
               i < b.size() ? b[i].second : "(none)");
    }
  }
  return 0;
}
