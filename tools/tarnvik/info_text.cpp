#include <algorithm>
#include <memory>

#include "document_view.h"
#include "info.h"
#include "names.h"
#include "text_table.h"
#include "trace_view.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {

namespace {

std::string OrDash(const std::string& text) {
  return text.find_first_not_of(' ') == std::string::npos ? "-" : text;
}

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

void Line(std::string& out, const std::string& key, const std::string& value) {
  std::string padded = key;
  if (padded.size() < 16) padded.resize(16, ' ');
  out += "    " + padded + value + "\n";
}

std::string MapSection(const FileReport& r) {
  const auto map = r.sor->MapBlock();
  const auto& entries = *map->MapBlocks();
  std::string out = "  Map: revision " + std::to_string(map->MapRevision());
  if (entries.Count() == 0) return out + "\n";
  out += ", " + std::to_string(map->MapSize()) + " bytes, " + std::to_string(entries.Count()) + " blocks\n";
  TextTable table({"Block", "Revision", "Bytes", "Read"}, "lrrl");
  int32_t i = 0;
  for (const auto& entry : entries) {
    const BlockState state = static_cast<std::size_t>(i) < r.blockStates.size()
                                 ? r.blockStates[static_cast<std::size_t>(i)]
                                 : BlockState::NotReached;
    ++i;
    table.Add({entry->BlockID(), std::to_string(entry->RevisionNum()), std::to_string(entry->BlockSize()),
               BlockStateName(state)});
  }
  return out + table.Render("    ");
}

bool Parsed(const FileReport& r, const std::string& id) {
  int32_t i = 0;
  for (const auto& entry : *r.sor->MapBlock()->MapBlocks()) {
    if (entry->BlockID() == id) {
      return static_cast<std::size_t>(i) < r.blockStates.size() &&
             r.blockStates[static_cast<std::size_t>(i)] == BlockState::Parsed;
    }
    ++i;
  }
  return false;
}

// The content of the blocks that were read, for a file that did not become a trace.
std::string BlocksSection(const FileReport& r) {
  const CSORFile& sor = *r.sor;
  std::string out;
  if (Parsed(r, "GenParams")) {
    const auto g = sor.GenParamsBlock();
    out += "  GenParams\n";
    Line(out, "Language", g->LanguageCode() + ", data flag " + g->CurrentDataFlag());
    Line(out, "Cable, fibre", Quoted(g->CableID()) + ", fibre " + Quoted(g->FiberID()) + ", code " +
                                  Quoted(g->CableCode()));
    Line(out, "Wavelength", std::to_string(g->NominalWavelength()) + " nm");
    Line(out, "From / to", Quoted(g->OriginatingLocation()) + " -> " + Quoted(g->TerminatingLocation()));
    Line(out, "Operator", Quoted(g->Operator()));
    Line(out, "Comment", Quoted(g->Comment()));
  }
  if (Parsed(r, "SupParams")) {
    const auto s = sor.SupParamsBlock();
    out += "  SupParams\n";
    Line(out, "Supplier", Quoted(s->SupplierName()));
    Line(out, "Mainframe", Quoted(s->OTDRMainframeID()) + ", serial " + Quoted(s->OTDRMainframeSN()));
    Line(out, "Module", Quoted(s->OpticalModuleID()) + ", serial " + Quoted(s->OpticalModuleSN()));
    Line(out, "Software", Quoted(s->SoftwareRev()) + ", other " + Quoted(s->Other()));
  }
  if (Parsed(r, "FxdParams")) {
    const auto f = sor.FixedParamsBlock();
    out += "  FxdParams\n";
    Line(out, "Units", Quoted(f->DistanceUnits()) + ", date/time " + std::to_string(f->DateTime()));
    Line(out, "Wavelength", std::to_string(f->ActualWavelength()) + " (tenths of a nm)");
    std::string pulses = std::to_string(f->TotalNumberOfPulseWidths()) + " pulse width(s)";
    if (f->TotalNumberOfPulseWidths() == 1) {
      pulses += ": " + std::to_string(f->PulseWidth()) + " ns, spacing " + std::to_string(f->DataSpacing()) + ", " +
                std::to_string(f->NumberDataPoints()) + " points";
    }
    Line(out, "Pulses", pulses);
    Line(out, "Group index", std::to_string(f->GroupIndex()) + ", " + std::to_string(f->NumberOfAverages()) +
                                 " averages, range " + std::to_string(f->AcquisitionRange()));
    Line(out, "Thresholds", "loss " + std::to_string(f->LossThreshold()) + ", reflectance " +
                                std::to_string(f->ReflectanceThreshold()) + ", end of fibre " +
                                std::to_string(f->EndofFiberThreshold()) + " (thousandths of a dB)");
    Line(out, "Backscatter", std::to_string(f->BackScatterCoefficient()) + " (tenths of a dB)");
  }
  if (Parsed(r, "DataPts") && sor.DataPointsBlock()) {
    const auto d = sor.DataPointsBlock();
    out += "  DataPts\n";
    Line(out, "Samples", std::to_string(d->TotalNumberofDataPoints()) + " in " +
                             std::to_string(d->NumberScaleFactorsUsed()) + " scale-factor group(s), largest " +
                             std::to_string(sor.MaxLossVal()));
  }
  if (Parsed(r, "KeyEvents") && sor.KeyEventsBlock()) {
    const auto k = sor.KeyEventsBlock();
    out += "  KeyEvents: " + std::to_string(k->KeyEvents()->Count()) + " events, end-to-end loss " +
           std::to_string(k->EndtoEndLoss()) + ", return loss " + std::to_string(k->OpticalReturnLoss()) + "\n";
    TextTable table({"#", "Time", "Code", "Method", "Loss", "Reflectance", "Comment"}, "rrllrrl");
    for (const auto& e : *k->KeyEvents()) {
      table.Add({std::to_string(e->EventNumber()), std::to_string(e->EventPropagationTime()), e->EventCode(),
                 e->LossMT(), std::to_string(e->EventLoss()), std::to_string(e->EventReflectance()),
                 OrDash(e->Comment())});
    }
    out += table.Render("    ");
  }
  if (Parsed(r, "Orvik") && sor.OrvikBlock()) {
    const auto o = sor.OrvikBlock();
    out += "  Orvik: cursors " + std::to_string(o->ACursorLoc()) + " and " + std::to_string(o->BCursorLoc()) + ", " +
           std::to_string(o->EventCount()) + " event levels\n";
  }
  if (Parsed(r, "Orvik2") && sor.Orvik2Block()) {
    const auto o = sor.Orvik2Block();
    out += "  Orvik2: revision " + std::to_string(o->Revision()) + ", " + std::to_string(o->CursorCount()) +
           " cursors, " + std::to_string(o->Events()->Count()) + " events\n";
  }
  return out;
}

std::string TraceSection(const CTrace& t) {
  const auto units = t.DistanceUnits();
  const std::string u = UnitName(units);
  const int dd = DistanceDecimals(units);
  const auto samples = t.DataPointArray();
  std::string out = "  Trace\n";
  Line(out, "File name", OrDash(t.FileName()) + " (format " + std::to_string(t.FileFormat()) + ", version " +
                             std::to_string(t.MajorVersion()) + "." + std::to_string(t.MinorVersion()) + "." +
                             std::to_string(t.Revision()) + ", last changed by " + std::to_string(t.LastChangedBy()) +
                             ")");
  Line(out, "Time stamp", DateText(t.TimeStamp()));
  Line(out, "Cable", OrDash(t.CableID()) + ", type " + OrDash(t.CableType()));
  Line(out, "Fibre", "number " + std::to_string(t.FiberNumber()) + ", " + FiberTypeText(t.FiberType()) + ", ID " +
                         std::to_string(t.FiberID()));
  Line(out, "From / to", OrDash(t.TestSite()) + " -> " + OrDash(t.FarSite()));
  Line(out, "Tested by", OrDash(t.TestedBy()));
  Line(out, "Comment", OrDash(t.TraceComment()));
  Line(out, "Instrument", OrDash(t.SupplierName()) + ", " + OrDash(t.MainFrameID()) + ", module " +
                              OrDash(t.ModuleID()));
  Line(out, "Language, flag", OrDash(t.LanguageCode()) + ", " + OrDash(t.CurrentDataFlag()));
  Line(out, "Wavelength", std::to_string(t.NominalWavelength()) + " nm nominal, " +
                              Fixed(t.ActualWavelength(), 1) + " nm actual");
  Line(out, "Pulse width", std::to_string(t.PulseWidth()) + " ns (" + std::to_string(t.TotalNumberOfPulseWidths()) +
                               " pulse width(s)), " + std::to_string(t.NumberOfAverages()) + " averages");
  Line(out, "Group index", Fixed(t.GroupIndex() / 100000.0, 5) + " (" + Fixed(t.AdjustedIOR(), 6) + " m per QRD)");
  Line(out, "Samples", std::to_string(t.Samples()) + " over " +
                           Fixed(t.QRDToDisplayDist(LastSampleQRD(t), units), dd) + " " + u + " (range " +
                           std::to_string(t.AquisitionRange()) + " QRD, spacing " +
                           std::to_string(t.DataPointSpacing()) + ")");
  Line(out, "Offsets", "acquisition " + std::to_string(t.AquisitionOffset()) + " QRD, front panel " +
                           std::to_string(t.FrontPanelOffset()) + " QRD, user " + std::to_string(t.UserOffset()));
  if (!samples.empty()) {
    const auto [lo, hi] = std::minmax_element(samples.begin(), samples.end());
    Line(out, "Levels", "first " + Fixed(samples.front() / 1000.0, 3) + " dB, from " + Fixed(*lo / 1000.0, 3) +
                            " to " + Fixed(*hi / 1000.0, 3) + " dB");
  }
  Line(out, "Thresholds", "loss " + Fixed(t.LossThreshold(), 3) + " dB, reflectance " +
                              Fixed(t.ReflectanceThreshold(), 3) + " dB, end of fibre " +
                              Fixed(t.EndofFiberThreshold(), 3) + " dB");
  Line(out, "Backscatter", Fixed(t.BackScatterCoefficient(), 1) + " dB, noise floor " +
                               std::to_string(t.NoiseFloorLevel()) + " (scale " +
                               std::to_string(t.NoiseFloorScaleFactor()) + ")");
  Line(out, "End-to-end", "loss " + Fixed(t.EventEndLoss(), 3) + " dB, return loss " + Fixed(t.EventORL(), 3) +
                              " dB");

  out += "  Cursors\n";
  TextTable cursors({"", "Distance (" + u + ")", "QRD", "Level (dB)"}, "lrrr");
  std::optional<double> levels[2];
  for (const auto c : {Acursor, Bcursor}) {
    const float qrd = t.CursorQRD(c);
    levels[c - 1] = LevelAtQRD(t, samples, qrd);
    cursors.Add({c == Acursor ? "A" : "B", Fixed(t.CursorDistance(c), dd), Fixed(qrd, 3),
                 levels[c - 1] ? Fixed(*levels[c - 1] / 1000.0, 3) : "-"});
  }
  cursors.Add({"B - A", Fixed(t.CursorDistance(Bcursor) - t.CursorDistance(Acursor), dd),
               Fixed(t.CursorQRD(Bcursor) - t.CursorQRD(Acursor), 3),
               levels[0] && levels[1] ? Fixed((*levels[1] - *levels[0]) / 1000.0, 3) : "-"});
  out += cursors.Render("    ");

  const auto events = t.Events();
  out += "  Events: " + std::to_string(events->Count()) + "\n";
  if (events->Count() > 0) {
    TextTable table({"#", "Type", "Source", "Loss method", "Distance (" + u + ")", "Loss (dB)", "Reflectance (dB)",
                     "Level (dB)", "dB/km", "Cumulative (dB)", "Comment"},
                    "rlllrrrrrrl");
    for (const auto& e : *events) {
      table.Add({std::to_string(e->Number()), EventTypeText(e->EType()), SourceText(e->Source()),
                 LossMethodText(e->LossMT()), Fixed(t.QRDToDisplayDist(e->LocationQRD(), units), dd),
                 Fixed(e->Loss(), 3), ReflectanceText(e->Reflectance(), 3), Fixed(e->Level(), 3),
                 e->AttenDBperKM() == 9999.0f ? "-" : Fixed(e->AttenDBperKM(), 3), Fixed(e->CumulativeLoss(), 3),
                 OrDash(e->Comment())});
    }
    out += table.Render("    ");
  }
  return out;
}

}  // namespace

int DistanceDecimals(int32_t units) {
  switch (units) {
    case DU_Meters:
    case DU_Feet: return 1;
    default: return 4;
  }
}

std::string InfoText(const FileReport& r) {
  std::string out = r.path + "\n";
  if (r.document && !r.trace) {
    // Everything the inspection reader found, then why the object model refuses it.
    out += DocumentText(*r.document);
  } else {
    if (r.sor) out += MapSection(r);
    if (r.trace) {
      out += TraceSection(*r.trace);
    } else if (r.sor) {
      out += BlocksSection(r);
    }
  }
  if (r.documentFailure) out += "  Not read for inspection either: " + FailureText(*r.documentFailure) + "\n";
  for (const auto& note : r.notes) out += "  Note: " + note + "\n";
  if (r.failure) out += "  Not read as a trace: " + FailureText(*r.failure) + "\n";
  for (const auto& hint : r.hints) out += "  Why: " + hint + "\n";
  return out;
}

}  // namespace tarnvik::tool
