#include <nlohmann/json.hpp>

#include <cmath>
#include <string>

#include "info.h"
#include "names.h"
#include "trace_view.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {

namespace {

using Json = nlohmann::ordered_json;

// A float as the shortest decimal that reads back to it (0.35, not 0.3499999940395355).
Json Number(float value) {
  if (!std::isfinite(value)) return nullptr;
  return std::stod(NumberText(value));
}

Json Number(double value) {
  if (!std::isfinite(value)) return nullptr;
  return std::stod(NumberText(value));
}

Json Enumerated(int32_t value, const std::string& member) {
  return Json{{"value", value}, {"name", member.empty() ? Json(nullptr) : Json(member)}};
}

Json FailureJson(const Failure& f) {
  return Json{{"number", f.number},
              {"description", f.description},
              {"source", f.source},
              {"origin", f.origin},
              {"trail", f.trail}};
}

Json MapJson(const FileReport& r) {
  const auto map = r.sor->MapBlock();
  Json blocks = Json::array();
  std::size_t i = 0;
  for (const auto& entry : *map->MapBlocks()) {
    const BlockState state = i < r.blockStates.size() ? r.blockStates[i] : BlockState::NotReached;
    ++i;
    blocks.push_back(Json{{"BlockID", entry->BlockID()},
                          {"RevisionNum", entry->RevisionNum()},
                          {"BlockSize", entry->BlockSize()},
                          {"read", BlockStateName(state)}});
  }
  return Json{{"MapRevision", map->MapRevision()}, {"MapSize", map->MapSize()}, {"blocks", blocks}};
}

bool Parsed(const FileReport& r, const std::string& id) {
  std::size_t i = 0;
  for (const auto& entry : *r.sor->MapBlock()->MapBlocks()) {
    if (entry->BlockID() == id) return i < r.blockStates.size() && r.blockStates[i] == BlockState::Parsed;
    ++i;
  }
  return false;
}

Json BlocksJson(const FileReport& r) {
  const CSORFile& sor = *r.sor;
  Json out = Json::object();
  if (Parsed(r, "GenParams")) {
    const auto g = sor.GenParamsBlock();
    out["GenParams"] = Json{{"LanguageCode", g->LanguageCode()},      {"CableID", g->CableID()},
                            {"FiberID", g->FiberID()},                {"NominalWavelength", g->NominalWavelength()},
                            {"OriginatingLocation", g->OriginatingLocation()},
                            {"TerminatingLocation", g->TerminatingLocation()},
                            {"CableCode", g->CableCode()},            {"CurrentDataFlag", g->CurrentDataFlag()},
                            {"UserOffset", g->UserOffset()},          {"Operator", g->Operator()},
                            {"Comment", g->Comment()}};
  }
  if (Parsed(r, "SupParams")) {
    const auto s = sor.SupParamsBlock();
    out["SupParams"] = Json{{"SupplierName", s->SupplierName()},       {"OTDRMainframeID", s->OTDRMainframeID()},
                            {"OTDRMainframeSN", s->OTDRMainframeSN()}, {"OpticalModuleID", s->OpticalModuleID()},
                            {"OpticalModuleSN", s->OpticalModuleSN()}, {"SoftwareRev", s->SoftwareRev()},
                            {"Other", s->Other()}};
  }
  if (Parsed(r, "FxdParams")) {
    const auto f = sor.FixedParamsBlock();
    Json fx{{"DateTime", f->DateTime()},
            {"DistanceUnits", f->DistanceUnits()},
            {"ActualWavelength", f->ActualWavelength()},
            {"AcquisitionOffset", f->AcquisitionOffset()},
            {"TotalNumberOfPulseWidths", f->TotalNumberOfPulseWidths()}};
    if (f->TotalNumberOfPulseWidths() == 1) {
      fx["PulseWidth"] = f->PulseWidth();
      fx["DataSpacing"] = f->DataSpacing();
      fx["NumberDataPoints"] = f->NumberDataPoints();
    }
    fx["GroupIndex"] = f->GroupIndex();
    fx["BackScatterCoefficient"] = f->BackScatterCoefficient();
    fx["NumberOfAverages"] = f->NumberOfAverages();
    fx["AcquisitionRange"] = f->AcquisitionRange();
    fx["FrontPanelOffset"] = f->FrontPanelOffset();
    fx["NoiseFloorLevel"] = f->NoiseFloorLevel();
    fx["NoiseFloorScaleFactor"] = f->NoiseFloorScaleFactor();
    fx["PowerOffsetFirstPoint"] = f->PowerOffsetFirstPoint();
    fx["LossThreshold"] = f->LossThreshold();
    fx["ReflectanceThreshold"] = f->ReflectanceThreshold();
    fx["EndofFiberThreshold"] = f->EndofFiberThreshold();
    out["FxdParams"] = fx;
  }
  if (Parsed(r, "DataPts") && sor.DataPointsBlock()) {
    const auto d = sor.DataPointsBlock();
    Json groups = Json::array();
    for (int32_t s = 1; s <= d->NumberScaleFactorsUsed(); ++s) {
      groups.push_back(Json{{"ScaleFactor", d->ScaleFactor(s)}, {"NumDataPoints", d->NumDataPointsForScaleFactor(s)}});
    }
    out["DataPts"] = Json{{"TotalNumberofDataPoints", d->TotalNumberofDataPoints()},
                          {"MaxLossVal", sor.MaxLossVal()},
                          {"scaleFactors", groups}};
  }
  if (Parsed(r, "KeyEvents") && sor.KeyEventsBlock()) {
    const auto k = sor.KeyEventsBlock();
    Json events = Json::array();
    for (const auto& e : *k->KeyEvents()) {
      events.push_back(Json{{"EventNumber", e->EventNumber()},
                            {"EventPropagationTime", e->EventPropagationTime()},
                            {"AttenCoefLeadinFiber", e->AttenCoefLeadinFiber()},
                            {"EventLoss", e->EventLoss()},
                            {"EventReflectance", e->EventReflectance()},
                            {"EventCode", e->EventCode()},
                            {"LossMT", e->LossMT()},
                            {"Comment", e->Comment()}});
    }
    out["KeyEvents"] = Json{{"EndtoEndLoss", k->EndtoEndLoss()},
                            {"OpticalReturnLoss", k->OpticalReturnLoss()},
                            {"events", events}};
  }
  if (Parsed(r, "Orvik") && sor.OrvikBlock()) {
    const auto o = sor.OrvikBlock();
    out["Orvik"] = Json{{"ACursorLoc", o->ACursorLoc()}, {"BCursorLoc", o->BCursorLoc()}, {"EventCount", o->EventCount()}};
  }
  if (Parsed(r, "Orvik2") && sor.Orvik2Block()) {
    const auto o = sor.Orvik2Block();
    Json cursors = Json::array();
    for (int32_t c = 1; c <= o->CursorCount(); ++c) cursors.push_back(o->CursorLocation(c));
    out["Orvik2"] = Json{{"Revision", o->Revision()}, {"cursors", cursors}, {"events", o->Events()->Count()}};
  }
  return out;
}

Json TraceJson(const CTrace& t) {
  const auto units = t.DistanceUnits();
  const auto samples = t.DataPointArray();
  Json j;
  j["FileName"] = t.FileName();
  j["FileFormat"] = t.FileFormat();
  j["MajorVersion"] = t.MajorVersion();
  j["MinorVersion"] = t.MinorVersion();
  j["Revision"] = t.Revision();
  j["LastChangedBy"] = t.LastChangedBy();
  j["TimeStamp"] = Number(t.TimeStamp());
  j["TimeStampText"] = DateText(t.TimeStamp());
  j["CableID"] = t.CableID();
  j["CableType"] = t.CableType();
  j["FiberNumber"] = t.FiberNumber();
  j["FiberID"] = t.FiberID();
  j["FiberType"] = Enumerated(t.FiberType(), FiberTypeMember(t.FiberType()));
  j["TestSite"] = t.TestSite();
  j["FarSite"] = t.FarSite();
  j["TestedBy"] = t.TestedBy();
  j["TraceComment"] = t.TraceComment();
  j["LanguageCode"] = t.LanguageCode();
  j["CurrentDataFlag"] = t.CurrentDataFlag();
  j["SupplierName"] = t.SupplierName();
  j["MainFrameID"] = t.MainFrameID();
  j["ModuleID"] = t.ModuleID();
  j["NominalWavelength"] = t.NominalWavelength();
  j["ActualWavelength"] = Number(t.ActualWavelength());
  j["PulseWidth"] = t.PulseWidth();
  j["TotalNumberOfPulseWidths"] = t.TotalNumberOfPulseWidths();
  j["NumberOfAverages"] = t.NumberOfAverages();
  j["GroupIndex"] = t.GroupIndex();
  j["AdjustedIOR"] = Number(t.AdjustedIOR());
  j["DistanceUnits"] = Json{{"value", units}, {"name", UnitName(units)}};
  j["Samples"] = t.Samples();
  j["AquisitionRange"] = t.AquisitionRange();
  j["AquisitionOffset"] = t.AquisitionOffset();
  j["FrontPanelOffset"] = t.FrontPanelOffset();
  j["UserOffset"] = t.UserOffset();
  j["DataPointSpacing"] = t.DataPointSpacing();
  j["DataPointsPerPW"] = t.DataPointsPerPW();
  j["Length"] = Number(t.QRDToDisplayDist(LastSampleQRD(t), units));
  j["MaxLossVal"] = t.MaxLossVal();
  j["BackScatterCoefficient"] = Number(t.BackScatterCoefficient());
  j["NoiseFloorLevel"] = t.NoiseFloorLevel();
  j["NoiseFloorScaleFactor"] = t.NoiseFloorScaleFactor();
  j["PowerOffsetFirstPoint"] = t.PowerOffsetFirstPoint();
  j["LossThreshold"] = Number(t.LossThreshold());
  j["ReflectanceThreshold"] = Number(t.ReflectanceThreshold());
  j["EndofFiberThreshold"] = Number(t.EndofFiberThreshold());
  j["EventEndLoss"] = Number(t.EventEndLoss());
  j["EventORL"] = Number(t.EventORL());

  Json cursors = Json::array();
  for (const auto c : {Acursor, Bcursor}) {
    const auto level = LevelAtQRD(t, samples, t.CursorQRD(c));
    cursors.push_back(Json{{"name", c == Acursor ? "A" : "B"},
                           {"CursorQRD", Number(t.CursorQRD(c))},
                           {"CursorDistance", Number(t.CursorDistance(c))},
                           {"level", level ? Number(*level / 1000.0) : Json(nullptr)}});
  }
  j["cursors"] = cursors;

  Json events = Json::array();
  for (const auto& e : *t.Events()) {
    events.push_back(Json{{"Number", e->Number()},
                          {"EType", Enumerated(e->EType(), EventTypeMember(e->EType()))},
                          {"Source", Enumerated(e->Source(), SourceMember(e->Source()))},
                          {"LossMT", Enumerated(e->LossMT(), LossMethodMember(e->LossMT()))},
                          {"LocationQRD", Number(e->LocationQRD())},
                          {"LocationEndQRD", Number(e->LocationEndQRD())},
                          {"distance", Number(t.QRDToDisplayDist(e->LocationQRD(), units))},
                          {"Loss", Number(e->Loss())},
                          {"Reflectance", Number(e->Reflectance())},
                          {"Level", Number(e->Level())},
                          {"AttenDBperKM", Number(e->AttenDBperKM())},
                          {"LeadinLoss", Number(e->LeadinLoss())},
                          {"CumulativeLoss", Number(e->CumulativeLoss())},
                          {"Comment", e->Comment()}});
  }
  j["events"] = events;
  return j;
}

// ---- The document of the inspection reader (docs/sor-document-json.md) ----

Json TextJson(const inspect::Text& t) { return t.value; }

template <class T>
Json Optional(const std::optional<T>& value) {
  return value ? Json(*value) : Json(nullptr);
}

void BlockTail(Json& j, const inspect::BlockInfo& info) {
  j["missingField"] = info.missingField.empty() ? Json(nullptr) : Json(info.missingField);
  j["extraBytes"] = info.extra.size;
}

Json DocumentJson(const inspect::SorDocument& doc) {
  using namespace inspect;
  Json d;
  d["version"] = doc.version;
  d["mapRevision"] = doc.mapRevision;
  d["mapSize"] = doc.mapSize;
  d["blockCount"] = doc.blockCount;
  Json map = Json::array();
  for (const MapEntry& e : doc.map) {
    map.push_back(Json{{"name", e.name.value},
                       {"revision", e.revision},
                       {"size", e.size},
                       {"offset", e.offset},
                       {"bodyOffset", e.body.offset},
                       {"bodySize", e.body.size},
                       {"kind", inspect::BlockKindName(e.kind)},
                       {"decoded", e.decoded}});
  }
  d["map"] = map;
  if (doc.genParams) {
    const GenParams& g = *doc.genParams;
    Json j{{"languageCode", TextJson(g.languageCode)},
           {"cableId", TextJson(g.cableId)},
           {"fiberId", TextJson(g.fiberId)},
           {"fiberType", Optional(g.fiberType)},
           {"nominalWavelength", g.nominalWavelength},
           {"originatingLocation", TextJson(g.originatingLocation)},
           {"terminatingLocation", TextJson(g.terminatingLocation)},
           {"cableCode", TextJson(g.cableCode)},
           {"currentDataFlag", TextJson(g.currentDataFlag)},
           {"userOffset", g.userOffset},
           {"userOffsetDistance", Optional(g.userOffsetDistance)},
           {"operator", TextJson(g.operatorName)},
           {"comment", TextJson(g.comment)}};
    BlockTail(j, g);
    d["GenParams"] = j;
  } else {
    d["GenParams"] = nullptr;
  }
  if (doc.supParams) {
    const SupParams& s = *doc.supParams;
    Json j{{"supplier", TextJson(s.supplier)},         {"mainframeId", TextJson(s.mainframeId)},
           {"mainframeSerial", TextJson(s.mainframeSerial)}, {"moduleId", TextJson(s.moduleId)},
           {"moduleSerial", TextJson(s.moduleSerial)}, {"softwareRevision", TextJson(s.softwareRevision)},
           {"other", TextJson(s.other)}};
    BlockTail(j, s);
    d["SupParams"] = j;
  } else {
    d["SupParams"] = nullptr;
  }
  if (doc.fxdParams) {
    const FxdParams& f = *doc.fxdParams;
    Json widths = Json::array();
    for (std::size_t k = 0; k < f.pulseWidths.size(); ++k) {
      widths.push_back(Json{{"pulseWidth", f.pulseWidths[k]},
                            {"sampleSpacing", k < f.sampleSpacing.size() ? Json(f.sampleSpacing[k]) : Json(nullptr)},
                            {"sampleCount", k < f.sampleCount.size() ? Json(f.sampleCount[k]) : Json(nullptr)}});
    }
    Json j{{"dateTime", f.dateTime},
           {"distanceUnit", TextJson(f.distanceUnit)},
           {"actualWavelength", f.actualWavelength},
           {"acquisitionOffset", f.acquisitionOffset},
           {"acquisitionOffsetDistance", Optional(f.acquisitionOffsetDistance)},
           {"pulseWidthCount", f.pulseWidthCount},
           {"pulseWidths", widths},
           {"groupIndex", f.groupIndex},
           {"backscatterCoefficient", f.backscatterCoefficient},
           {"averages", f.averages},
           {"averagingTime", Optional(f.averagingTime)},
           {"acquisitionRange", f.acquisitionRange},
           {"acquisitionRangeDistance", Optional(f.acquisitionRangeDistance)},
           {"frontPanelOffset", f.frontPanelOffset},
           {"noiseFloorLevel", f.noiseFloorLevel},
           {"noiseFloorScaleFactor", f.noiseFloorScaleFactor},
           {"powerOffsetFirstPoint", f.powerOffsetFirstPoint},
           {"lossThreshold", f.lossThreshold},
           {"reflectanceThreshold", f.reflectanceThreshold},
           {"endOfFiberThreshold", f.endOfFiberThreshold},
           {"traceType", f.traceType ? Json(f.traceType->value) : Json(nullptr)},
           {"windowCoordinates", f.windowCoordinates ? Json(*f.windowCoordinates) : Json(nullptr)}};
    BlockTail(j, f);
    d["FxdParams"] = j;
  } else {
    d["FxdParams"] = nullptr;
  }
  if (doc.keyEvents) {
    const KeyEvents& k = *doc.keyEvents;
    Json events = Json::array();
    for (const KeyEvent& e : k.events) {
      events.push_back(Json{{"number", e.number},
                            {"travelTime", e.travelTime},
                            {"slope", e.slope},
                            {"spliceLoss", e.spliceLoss},
                            {"reflectance", e.reflectance},
                            {"code", TextJson(e.code)},
                            {"lossTechnique", TextJson(e.lossTechnique)},
                            {"markers", e.markers ? Json(*e.markers) : Json(nullptr)},
                            {"comment", TextJson(e.comment)}});
    }
    Json summary = nullptr;
    if (k.summary) {
      const KeyEventsSummary& s = *k.summary;
      summary = Json{{"totalLoss", s.totalLoss},
                     {"lossStart", s.lossStart},
                     {"lossEnd", s.lossEnd},
                     {"opticalReturnLoss", s.opticalReturnLoss},
                     {"returnLossStart", s.returnLossStart},
                     {"returnLossEnd", s.returnLossEnd}};
    }
    Json j{{"eventCount", k.eventCount}, {"events", events}, {"summary", summary}};
    BlockTail(j, k);
    d["KeyEvents"] = j;
  } else {
    d["KeyEvents"] = nullptr;
  }
  if (doc.dataPts) {
    const DataPts& p = *doc.dataPts;
    Json groups = Json::array();
    for (const DataGroup& g : p.groups) {
      groups.push_back(Json{{"count", g.count}, {"scaleFactor", g.scaleFactor}, {"samplesHeld", g.samples.size()}});
    }
    Json j{{"sampleCount", p.sampleCount}, {"groupCount", p.groupCount}, {"interleaved", p.interleaved},
           {"groups", groups}};
    BlockTail(j, p);
    d["DataPts"] = j;
  } else {
    d["DataPts"] = nullptr;
  }
  d["Cksum"] = doc.cksum ? Json{{"stored", doc.cksum->stored}} : Json(nullptr);
  Json others = Json::array();
  for (const MapEntry& e : doc.map) {
    if (!e.decoded) others.push_back(Json{{"name", e.name.value}, {"revision", e.revision}, {"size", e.size}});
  }
  d["otherBlocks"] = others;
  d["trailingBytes"] = doc.trailing.size;
  d["checksum"] = Json{{"status", inspect::ChecksumStatusName(doc.checksum.status)},
                       {"stored", doc.checksum.stored},
                       {"computed", doc.checksum.computed},
                       {"text", doc.checksum.Text()}};
  Json warnings = Json::array();
  for (const Warning& w : doc.warnings) warnings.push_back(Json{{"code", w.code}, {"message", w.message}});
  d["warnings"] = warnings;
  return d;
}

}  // namespace

std::string InfoJson(const FileReport& r) {
  Json j;
  j["file"] = r.path;
  j["format"] = r.sorPath ? "sor" : "trace";
  j["ok"] = r.trace != nullptr && !r.failure;
  j["error"] = r.failure ? FailureJson(*r.failure) : Json(nullptr);
  j["notes"] = r.notes;
  j["hints"] = r.hints;
  j["map"] = r.sor ? MapJson(r) : Json(nullptr);
  j["blocks"] = r.sor && !r.trace ? BlocksJson(r) : Json(nullptr);
  j["trace"] = r.trace ? TraceJson(*r.trace) : Json(nullptr);
  j["document"] = r.document && !r.trace ? DocumentJson(*r.document) : Json(nullptr);
  j["documentError"] = r.documentFailure ? FailureJson(*r.documentFailure) : Json(nullptr);
  // Texts come from files and may hold any character; invalid UTF-8 is replaced.
  return j.dump(-1, ' ', false, Json::error_handler_t::replace);
}

}  // namespace tarnvik::tool
