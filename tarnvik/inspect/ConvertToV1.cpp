#include "tarnvik/inspect/ConvertToV1.h"

#include <algorithm>
#include <limits>

#include "tarnvik/fileops/CFileOperations.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/sor/CSORFile.h"

namespace tarnvik::inspect {

namespace {

constexpr const char* kModule = "ConvertToV1";

// One data block's body has 16-bit positions: 12 bytes of header and one group's
// samples fit in 32,767 bytes up to 16,377 samples.
constexpr std::size_t kMostSamples = 16377;
constexpr int32_t kFittedGroupIndex = 146800;

// The text as CSORFile keeps it: one character per stored byte, so that saving writes
// the very bytes the file held.
std::string Stored(const Text& text) {
  return Latin1ToUtf8(reinterpret_cast<const uint8_t*>(text.raw.data()), text.raw.size());
}

// A fixed-size text as the library reads it back: up to its first zero byte.
std::string StoredFixed(const Text& text) {
  std::string value = Stored(text);
  return value.substr(0, value.find('\0'));
}

// The library turns times of 100 ps into QRD (x 20) in 32 bits.
constexpr int32_t kLargestTime = std::numeric_limits<int32_t>::max() / 20;

std::string Quoted(const std::string& text) { return "\"" + text + "\""; }

// A fixed-size text cut or padded with spaces to `size` characters.
std::string Sized(const std::string& text, std::size_t size) {
  std::string out = LeftChars(text, size);
  while (CharCount(out) < size) out += ' ';
  return out;
}

std::string List(const std::vector<std::string>& items) {
  std::string out;
  for (const auto& item : items) out += (out.empty() ? "" : ", ") + item;
  return out;
}

// The issues of one conversion, and the lines about what is left out or changed anyway.
class Builder {
 public:
  Builder(const SorDocument& doc, const ConvertOptions& options) : doc_(doc), options_(options) {}

  ConversionResult Run() {
    WriteGenParams();
    WriteSupParams();
    WriteFixedParamsAndSamples();
    WriteKeyEvents();
    KeepOtherBlocks();
    if (doc_.trailing.size > 0) {
      result_.dropped.push_back(std::to_string(doc_.trailing.size) + (doc_.trailing.size == 1 ? " byte" : " bytes") +
                                " after the last block");
    }
    if (doc_.checksum.status != ChecksumStatus::Ok) {
      result_.notes.push_back("checksum computed anew (the file's: " + doc_.checksum.Text() + ")");
    }
    if (!blankTexts_.empty()) {
      result_.notes.push_back("empty texts stored as one space, as the library stores every empty text: " +
                              List(blankTexts_));
    }
    if (!result_.issues.empty() && !options_.fit) return std::move(result_);
    result_.bytes = sor_.SaveToBytes();
    return std::move(result_);
  }

 private:
  void Issue(const char* kind, const std::string& refusal, const std::string& change) {
    result_.issues.push_back({kind, refusal, change});
  }

  // A text of GenParams or SupParams: the library stores an empty one as one space.
  std::string ParameterText(const Text& text, const char* name) {
    if (text.raw.empty()) blankTexts_.push_back(name);
    return Stored(text);
  }

  void Dropped(const std::string& what) { result_.dropped.push_back(what); }

  // A time (100 ps) the trace converts to QRD: beyond the 32 bits of QRD it is refused.
  int32_t Time(int32_t value, const std::string& what) {
    if (value >= -kLargestTime && value <= kLargestTime) return value;
    const int32_t fitted = value < 0 ? -kLargestTime : kLargestTime;
    Issue("time", what + " " + std::to_string(value) + " (100 ps) is beyond the " + GroupedNumber(kLargestTime) +
                      " a trace holds in QRD (error 6 from modMain:SORTimeToQRD())",
          what + " " + std::to_string(value) + " -> " + std::to_string(fitted));
    return fitted;
  }

  void WriteGenParams() {
    if (!doc_.genParams) {
      result_.notes.push_back("no GenParams block: the library's defaults written");
      return;
    }
    const GenParams& g = *doc_.genParams;
    auto& block = *sor_.GenParamsBlock();
    std::string language = StoredFixed(g.languageCode);
    if (CharCount(language) != 2) {
      const std::string fitted = Sized(language, 2);
      Issue("language-code",
            "language code " + Quoted(language) + " is not 2 characters (error 5 from CGeneralParameterBlock:Let "
            "LanguageCode())",
            "language code " + Quoted(language) + " -> " + Quoted(fitted));
      language = fitted;
    }
    block.SetLanguageCode(language);
    block.SetCableID(ParameterText(g.cableId, "cable id"));
    block.SetFiberID(ParameterText(g.fiberId, "fibre id"));
    block.SetNominalWavelength(static_cast<int16_t>(g.nominalWavelength));
    block.SetOriginatingLocation(ParameterText(g.originatingLocation, "originating location"));
    block.SetTerminatingLocation(ParameterText(g.terminatingLocation, "terminating location"));
    block.SetCableCode(ParameterText(g.cableCode, "cable code"));
    std::string flag = StoredFixed(g.currentDataFlag);
    if (flag != "BC" && flag != "RC" && flag != "OT") {
      Issue("data-flag",
            "current data flag " + Quoted(flag) + " is not one of BC, RC, OT (error 5 from "
            "CGeneralParameterBlock:Let CurrentDataFlag())",
            "current data flag " + Quoted(flag) + " -> \"OT\"");
      flag = "OT";
    }
    block.SetCurrentDataFlag(flag);
    block.SetUserOffset(g.userOffset);
    block.SetOperator(ParameterText(g.operatorName, "operator"));
    block.SetComment(ParameterText(g.comment, "comment"));
    if (g.fiberType) Dropped("fibre type " + std::to_string(*g.fiberType));
    if (g.userOffsetDistance) Dropped("user offset distance " + std::to_string(*g.userOffsetDistance));
    if (g.extra.size > 0) Dropped(std::to_string(g.extra.size) + " bytes after GenParams' fields");
  }

  void WriteSupParams() {
    if (!doc_.supParams) {
      result_.notes.push_back("no SupParams block: the library's defaults written");
      return;
    }
    const SupParams& s = *doc_.supParams;
    auto& block = *sor_.SupParamsBlock();
    block.SetSupplierName(ParameterText(s.supplier, "supplier"));
    block.SetOTDRMainframeID(ParameterText(s.mainframeId, "mainframe id"));
    block.SetOTDRMainframeSN(ParameterText(s.mainframeSerial, "mainframe serial"));
    block.SetOpticalModuleID(ParameterText(s.moduleId, "module id"));
    block.SetOpticalModuleSN(ParameterText(s.moduleSerial, "module serial"));
    block.SetSoftwareRev(ParameterText(s.softwareRevision, "software revision"));
    block.SetOther(ParameterText(s.other, "other"));
    if (s.extra.size > 0) Dropped(std::to_string(s.extra.size) + " bytes after SupParams' fields");
  }

  // The samples written: the first group's, cut to the first pulse width's count when
  // several pulse widths are dropped.
  std::vector<uint16_t> SelectSamples(const FxdParams* f, uint32_t& count, uint32_t& spacing, uint16_t& width) {
    std::vector<uint16_t> samples;
    uint16_t scaleFactor = 1000;
    if (doc_.dataPts && !doc_.dataPts->groups.empty()) {
      const auto& groups = doc_.dataPts->groups;
      samples = groups[0].samples;
      scaleFactor = groups[0].scaleFactor;
      if (groups.size() > 1) {
        std::vector<std::string> others;
        for (std::size_t g = 1; g < groups.size(); ++g) {
          others.push_back("group " + std::to_string(g + 1) + " (scale factor " + std::to_string(groups[g].scaleFactor) +
                           ", " + GroupedNumber(groups[g].samples.size()) + " samples)");
        }
        Issue("scale-factor-groups",
              std::to_string(groups.size()) + " scale-factor groups: a trace takes the samples of the first only "
              "(CFileOperations:ConvertSORtoTrace())",
              "kept group 1 (scale factor " + std::to_string(scaleFactor) + ", " +
                  GroupedNumber(samples.size()) + " samples); dropped " + List(others));
      }
      for (std::size_t g = 0; g < 1; ++g) {
        if (groups[g].samples.size() != groups[g].count) {
          result_.notes.push_back("group " + std::to_string(g + 1) + " announces " + GroupedNumber(groups[g].count) +
                                  " samples and holds " + GroupedNumber(groups[g].samples.size()) +
                                  ": the ones it holds are written");
        }
      }
    } else if (doc_.dataPts) {
      result_.notes.push_back("the data block holds no scale-factor group: no samples written");
    } else {
      result_.notes.push_back("no DataPts block: no samples written");
    }
    scaleFactor_ = scaleFactor;

    const std::size_t widths = f ? f->pulseWidths.size() : 0;
    if (f && widths == 0) {
      Issue("pulse-widths",
            "no pulse width: TotalNumberOfPulseWidths must be 1 to use the PulseWidth property (error 10516 from "
            "CFixedParametersBlock:Get PulseWidth())",
            "one pulse width of 0 ns added, spacing 0, " + GroupedNumber(samples.size()) + " samples");
      width = 0;
      spacing = 0;
      count = static_cast<uint32_t>(samples.size());
    } else if (f) {
      width = f->pulseWidths[0];
      spacing = f->sampleSpacing.empty() ? 0 : f->sampleSpacing[0];
      count = f->sampleCount.empty() ? static_cast<uint32_t>(samples.size()) : f->sampleCount[0];
      if (widths > 1) {
        std::vector<std::string> others;
        for (std::size_t k = 1; k < widths; ++k) {
          others.push_back(std::to_string(f->pulseWidths[k]) + " ns (" +
                           (k < f->sampleCount.size() ? GroupedNumber(f->sampleCount[k]) : std::string("no")) +
                           " samples)");
        }
        const std::size_t kept = std::min<std::size_t>(count, samples.size());
        Issue("pulse-widths",
              std::to_string(widths) + " pulse widths: TotalNumberOfPulseWidths can only be 0 or 1 (error 10516 "
              "from CFixedParametersBlock:Let TotalNumberOfPulseWidths())",
              "kept the first pulse width, " + std::to_string(width) + " ns with its " + GroupedNumber(kept) +
                  " samples; dropped " + List(others));
        samples.resize(kept);
      }
    }

    if (samples.size() > kMostSamples) {
      const std::size_t k = (samples.size() + kMostSamples - 1) / kMostSamples;
      std::vector<uint16_t> kept;
      kept.reserve(samples.size() / k + 1);
      for (std::size_t i = 0; i < samples.size(); i += k) kept.push_back(samples[i]);
      const uint64_t newSpacing = static_cast<uint64_t>(spacing) * k;
      Issue("samples",
            GroupedNumber(samples.size()) + " samples exceed the 16,377 one data block holds (error 6 from "
            "CSORFile:ParseDataPointsBlock())",
            "samples decimated by " + std::to_string(k) + ": " + GroupedNumber(samples.size()) + " -> " +
                GroupedNumber(kept.size()) + " (one in " + std::to_string(k) + " kept, from the first), spacing " +
                std::to_string(spacing) + " -> " + std::to_string(newSpacing) + ", stored count " +
                GroupedNumber(count) + " -> " + GroupedNumber(kept.size()));
      samples = std::move(kept);
      count = static_cast<uint32_t>(samples.size());
      spacing = static_cast<uint32_t>(std::min<uint64_t>(newSpacing, std::numeric_limits<uint32_t>::max()));
    }
    return samples;
  }

  void WriteFixedParamsAndSamples() {
    const FxdParams* f = doc_.fxdParams ? &*doc_.fxdParams : nullptr;
    auto& block = *sor_.FixedParamsBlock();
    uint32_t count = 0, spacing = 0;
    uint16_t width = 0;
    const std::vector<uint16_t> samples = SelectSamples(f, count, spacing, width);
    if (!f) {
      result_.notes.push_back("no FxdParams block: the library's defaults written");
    } else {
      block.SetDateTime(static_cast<int32_t>(f->dateTime));
      std::string unit = StoredFixed(f->distanceUnit);
      if (CharCount(unit) != 2) {
        Issue("distance-unit",
              "distance unit " + Quoted(unit) + " is not 2 characters (error 5 from CFixedParametersBlock:Let "
              "DistanceUnits())",
              "distance unit " + Quoted(unit) + " -> \"mt\"");
        unit = "mt";
      }
      block.SetDistanceUnits(unit);
      block.SetActualWavelength(static_cast<int16_t>(f->actualWavelength));
      block.SetAcquisitionOffset(Time(f->acquisitionOffset, "acquisition offset"));
      block.SetTotalNumberOfPulseWidths(1);
      block.SetPulseWidth(static_cast<int16_t>(width));
      block.SetDataSpacing(static_cast<int32_t>(spacing));
      block.SetNumberDataPoints(static_cast<int32_t>(count));
      int32_t groupIndex = f->groupIndex;
      if (groupIndex == 0) {
        Issue("group-index", "group index 0 (error 11, division by zero, from CTrace:Let GroupIndex())",
              "group index 0 -> " + std::to_string(kFittedGroupIndex));
        groupIndex = kFittedGroupIndex;
      }
      block.SetGroupIndex(groupIndex);
      block.SetBackScatterCoefficient(static_cast<int16_t>(f->backscatterCoefficient));
      block.SetNumberOfAverages(static_cast<int32_t>(f->averages));
      block.SetAcquisitionRange(Time(static_cast<int32_t>(f->acquisitionRange), "acquisition range"));
      block.SetFrontPanelOffset(Time(f->frontPanelOffset, "front panel offset"));
      block.SetNoiseFloorLevel(f->noiseFloorLevel);
      block.SetNoiseFloorScaleFactor(f->noiseFloorScaleFactor);
      block.SetPowerOffsetFirstPoint(f->powerOffsetFirstPoint);
      block.SetLossThreshold(f->lossThreshold);
      block.SetEndofFiberThreshold(f->endOfFiberThreshold);
      if (f->acquisitionOffsetDistance) {
        Dropped("acquisition offset distance " + std::to_string(*f->acquisitionOffsetDistance));
      }
      if (f->averagingTime) Dropped("averaging time " + std::to_string(*f->averagingTime));
      if (f->acquisitionRangeDistance) {
        Dropped("acquisition range distance " + std::to_string(*f->acquisitionRangeDistance));
      }
      if (f->traceType) Dropped("trace type " + Quoted(f->traceType->value));
      if (f->windowCoordinates) {
        const auto& w = *f->windowCoordinates;
        Dropped("window coordinates (" + std::to_string(w[0]) + ", " + std::to_string(w[1]) + ", " +
                std::to_string(w[2]) + ", " + std::to_string(w[3]) + ")");
      }
      if (f->extra.size > 0) Dropped(std::to_string(f->extra.size) + " bytes after FxdParams' fields");
    }
    // A new block starts at 40000; only a threshold of 0 becomes a trace.
    const int32_t threshold = f ? f->reflectanceThreshold : block.ReflectanceThreshold();
    if (threshold != 0) {
      Issue("reflectance-threshold",
            "stored reflectance threshold " + std::to_string(threshold) + " is outside the trace's -65.535..0 dB "
            "(error 5 from CTrace:Let ReflectanceThreshold())",
            "reflectance threshold " + std::to_string(threshold) + " -> 0");
    }
    block.SetReflectanceThreshold(0);

    if (!doc_.dataPts) return;
    auto& data = *sor_.DataPointsBlock();
    if (doc_.dataPts->groups.empty()) return;
    // One group: the first, with the samples selected above.
    data.SetNumberScaleFactorsUsed(1);
    data.SetNumDataPointsForScaleFactor(1, static_cast<int32_t>(samples.size()));
    data.SetScaleFactor(1, static_cast<int16_t>(scaleFactor_));
    data.SetDataPointArray(1, std::vector<int32_t>(samples.begin(), samples.end()));
  }

  void WriteKeyEvents() {
    if (!doc_.keyEvents) return;
    const KeyEvents& k = *doc_.keyEvents;
    sor_.AddKeyEventsBlock();
    auto& block = *sor_.KeyEventsBlock();
    std::size_t markers = 0;
    for (const KeyEvent& e : k.events) {
      auto event = std::make_shared<CKeyEvent>();
      const std::string at = "event " + std::to_string(e.number);
      event->SetEventNumber(static_cast<int16_t>(e.number));
      event->SetEventPropagationTime(Time(static_cast<int32_t>(e.travelTime), at + ": travel time"));
      event->SetAttenCoefLeadinFiber(e.slope);
      event->SetEventLoss(e.spliceLoss);
      event->SetEventReflectance(e.reflectance);
      std::string code = StoredFixed(e.code);
      if (CharCount(code) != 6) {
        const std::string fitted = Sized(code, 6);
        Issue("event-code",
              at + ": event code " + Quoted(code) + " is not 6 characters (error 5 from CKeyEvent:Let EventCode())",
              at + ": event code " + Quoted(code) + " -> " + Quoted(fitted));
        code = fitted;
      }
      event->SetEventCode(code);
      std::string technique = StoredFixed(e.lossTechnique);
      if (technique.empty() || technique == " " || technique == "  ") {
        result_.notes.push_back(at + ": blank loss technique stored as \"LS\", as the library takes a blank one");
      } else if (technique != "2P" && technique != "LS" && technique != "OT") {
        Issue("loss-technique",
              at + ": loss technique " + Quoted(technique) + " is not one of 2P, LS, OT (error 5 from CKeyEvent:Let "
              "LossMT())",
              at + ": loss technique " + Quoted(technique) + " -> \"OT\"");
        technique = "OT";
      }
      event->SetLossMT(technique);
      event->SetComment(Stored(e.comment));
      if (e.markers) ++markers;
      block.KeyEvents()->Add(event);
    }
    if (k.events.size() != k.eventCount) {
      result_.notes.push_back("KeyEvents announces " + std::to_string(k.eventCount) + " events and holds " +
                              std::to_string(k.events.size()) + ": the ones it holds are written");
    }
    if (k.summary) {
      block.SetEndtoEndLoss(k.summary->totalLoss);
      block.SetEndtoEndMarkerPosStart(Time(k.summary->lossStart, "total loss start"));
      block.SetEndtoEndMarkerPosEnd(Time(static_cast<int32_t>(k.summary->lossEnd), "total loss end"));
      block.SetOpticalReturnLoss(k.summary->opticalReturnLoss);
      block.SetORLMarkerPosStart(Time(k.summary->returnLossStart, "return loss start"));
      block.SetORLMarkerPosEnd(Time(static_cast<int32_t>(k.summary->returnLossEnd), "return loss end"));
    } else {
      result_.notes.push_back("KeyEvents ends before its summary: total loss and return loss written as 0");
    }
    if (markers > 0) Dropped("the five marker positions of " + std::to_string(markers) + " event(s)");
    if (k.extra.size > 0) Dropped(std::to_string(k.extra.size) + " bytes after KeyEvents' fields");
  }

  // Vendors' blocks and "LnkParams" go into the new file as they were; a second block of
  // a standard name and any "Cksum" do not (the library would read the one over the
  // other, and writes its own checksum).
  void KeepOtherBlocks() {
    std::vector<std::string> kept;
    for (const MapEntry& entry : doc_.map) {
      if (entry.decoded) continue;
      const std::string id = Stored(entry.name);
      std::string trimmed = id;
      while (!trimmed.empty() && trimmed.back() == ' ') trimmed.pop_back();
      const std::string size = std::to_string(entry.body.size) + " bytes";
      if (entry.kind == BlockKind::Cksum || (entry.kind != BlockKind::Other && entry.kind != BlockKind::LnkParams) ||
          trimmed == "Cksum") {
        Dropped("block " + Quoted(id) + " (" + size + ", a second block of that name)");
        continue;
      }
      auto block = std::make_shared<CProprietaryBlock>();
      block->SetBlockID(id);
      block->SetRevision(entry.revision);
      const auto body = doc_.Slice(entry.body);
      block->SetBlockSize(static_cast<int32_t>(body.size()));
      block->SetRawData(body.empty() ? ByteArray() : ByteArray::FromBytes(body.data(), body.size(), 1));
      sor_.ProprietaryBlocks()->Add(block);
      kept.push_back(Quoted(id) + " (" + size + ")");
    }
    if (!kept.empty()) result_.notes.push_back("kept as they are: " + List(kept));
  }

  const SorDocument& doc_;
  ConvertOptions options_;
  ConversionResult result_;
  CSORFile sor_;
  uint16_t scaleFactor_ = 1000;
  std::vector<std::string> blankTexts_;
};

}  // namespace

std::string GroupedNumber(uint64_t value) {
  const std::string digits = std::to_string(value);
  std::string out;
  out.reserve(digits.size() + digits.size() / 3);
  for (std::size_t i = 0; i < digits.size(); ++i) {
    if (i > 0 && (digits.size() - i) % 3 == 0) out.push_back(',');
    out.push_back(digits[i]);
  }
  return out;
}

ConversionResult ConvertToV1(const SorDocument& doc, const ConvertOptions& options) {
  return Guarded(kModule, "ConvertToV1()", [&] { return Builder(doc, options).Run(); });
}

void ProveLoadsAsTrace(const std::string& path) {
  Guarded(kModule, "ProveLoadsAsTrace()", [&] {
    CSORFile sor;
    sor.LoadFromFile(path, false);
    CFileOperations ops;
    ops.ReadTrace(path, false, false);
  });
}

}  // namespace tarnvik::inspect
