#include "ktr915sim/TraceRecord.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/instrument/KtrRecord.h"

namespace tarnvik::sim {

namespace {

namespace rec = ktr_record;

std::string Number(double value) {
  char text[32];
  std::snprintf(text, sizeof text, "%.10g", value);
  return text;
}

class RecordWriter {
 public:
  RecordWriter(std::vector<uint8_t>& bytes, OutOfRange policy) : bytes_(bytes), policy_(policy) {}

  // Stores value (already scaled) rounded half to even in the word at offset.
  void Word(int32_t offset, double value, const std::string& field, double shown) {
    double word = RoundHalfEven(value);
    if (!(word >= 0.0 && word <= 65535.0)) {
      if (policy_ == OutOfRange::Raise)
        Raise(err::Overflow, field + " " + Number(shown) + " is stored as " + Number(word) +
                                 ", outside the record's 16-bit word (0 to 65535)");
      word = std::isnan(word) ? 0.0 : std::clamp(word, 0.0, 65535.0);
    }
    PutWord(offset, static_cast<uint16_t>(word));
  }

  void PutWord(int32_t offset, uint16_t word) {
    bytes_[static_cast<std::size_t>(offset)] = static_cast<uint8_t>(word & 0xFF);
    bytes_[static_cast<std::size_t>(offset) + 1] = static_cast<uint8_t>(word >> 8);
  }

  // UTF-16 little-endian, the rest of the field zero characters.
  void Text(int32_t offset, int32_t widthBytes, const std::string& text, const std::string& field) {
    std::vector<uint16_t> units = Utf16Units(text);
    const std::size_t room = static_cast<std::size_t>(widthBytes / 2);
    if (units.size() > room) {
      if (policy_ == OutOfRange::Raise)
        Raise(err::Overflow,
              field + " \"" + text + "\" is longer than the record's " + std::to_string(room) + " characters");
      units.resize(room);
      if (units.back() >= 0xD800 && units.back() < 0xDC00) units.back() = 0;  // half a pair
    }
    for (std::size_t i = 0; i < units.size(); ++i) PutWord(offset + static_cast<int32_t>(2 * i), units[i]);
  }

  // A two-character code the library reads back from the number's decimal text.
  void Code(int32_t offset, const std::string& code, const std::string& libraryDefault, const std::string& field) {
    if (code.size() == 2 && code[0] >= '1' && code[0] <= '9' && code[1] >= '0' && code[1] <= '9') {
      PutWord(offset, static_cast<uint16_t>((code[0] - '0') * 10 + (code[1] - '0')));
      return;
    }
    if (code != libraryDefault && policy_ == OutOfRange::Raise)
      Raise(err::Overflow, field + " \"" + code +
                               "\" cannot be stored: the record keeps a number, which the library "
                               "reads as its two digits or as \"" +
                               libraryDefault + "\"");
    PutWord(offset, 0);
  }

 private:
  std::vector<uint8_t>& bytes_;
  OutOfRange policy_;
};

int32_t DistanceUnitCode(EnumDistanceUnits units) {
  switch (units) {
    case DU_Meters:
      return 1;
    case DU_Kilofeet:
      return 2;
    case DU_Feet:
      return 3;
    case DU_Miles:
      return 4;
    case DU_Kilometers:
      return 5;
  }
  return 0;
}

constexpr const char* kModule = "TraceRecord";

}  // namespace

std::vector<uint16_t> Utf16Units(const std::string& text) {
  std::vector<uint16_t> units;
  for (char32_t c : DecodeUtf8(text)) {
    if (c >= 0x10000) {
      const char32_t v = c - 0x10000;
      units.push_back(static_cast<uint16_t>(0xD800 + (v >> 10)));
      units.push_back(static_cast<uint16_t>(0xDC00 + (v & 0x3FF)));
    } else {
      units.push_back(static_cast<uint16_t>(c));
    }
  }
  return units;
}

std::vector<uint8_t> EncodeTraceRecord(const CTrace& t, OutOfRange policy) {
  return Guarded(kModule, "EncodeTraceRecord()", [&] {
    const int32_t samples = t.Samples();
    std::vector<uint8_t> bytes(static_cast<std::size_t>(rec::kSamples) + 2 * static_cast<std::size_t>(samples), 0);
    RecordWriter w(bytes, policy);

    const double averages = t.NumberOfAverages();
    w.Word(rec::kAveragesHigh, std::floor(averages / 65536.0), "NumberOfAverages", averages);
    w.Word(rec::kAveragesLow, averages < 0 ? 0.0 : std::fmod(averages, 65536.0), "NumberOfAverages", averages);
    int32_t unit = DistanceUnitCode(t.DistanceUnits());
    if (unit == 0) {
      if (policy == OutOfRange::Raise)
        Raise(err::Overflow, "DistanceUnits " + std::to_string(t.DistanceUnits()) + " has no instrument code");
      unit = 1;
    }
    w.PutWord(rec::kDistanceUnit, static_cast<uint16_t>(unit));
    w.Word(rec::kPulseWidth, t.PulseWidth() / 10.0, "PulseWidth", t.PulseWidth());
    w.Word(rec::kSampleCount, samples, "Samples", samples);
    w.Word(rec::kGroupIndex, t.GroupIndex() / 10.0, "GroupIndex", t.GroupIndex());
    const double backscatter = t.BackScatterCoefficient();
    w.Word(rec::kBackscatter, std::fabs(backscatter) * 10.0, "BackScatterCoefficient", backscatter);
    w.Word(rec::kPointSpacing, t.DataPointSpacing() / 500000.0, "DataPointSpacing", t.DataPointSpacing());
    w.Word(rec::kWavelength, t.NominalWavelength(), "NominalWavelength", t.NominalWavelength());
    w.Code(rec::kLanguageCode, t.LanguageCode(), "EN", "LanguageCode");
    w.Code(rec::kCurrentDataFlag, t.CurrentDataFlag(), "BC", "CurrentDataFlag");
    w.Word(rec::kNoiseFloor, t.NoiseFloorLevel() * 10.0, "NoiseFloorLevel", t.NoiseFloorLevel());
    w.Word(rec::kLossThreshold, static_cast<double>(t.LossThreshold()) * 10.0, "LossThreshold", t.LossThreshold());
    w.Word(rec::kReflectanceThreshold, -static_cast<double>(t.ReflectanceThreshold()) * 10.0, "ReflectanceThreshold",
           t.ReflectanceThreshold());
    w.Word(rec::kEndOfFiberThreshold, static_cast<double>(t.EndofFiberThreshold()) * 10.0, "EndofFiberThreshold",
           t.EndofFiberThreshold());
    w.Text(rec::kModuleId, rec::kModuleIdBytes, t.ModuleID(), "ModuleID");
    w.Text(rec::kMainFrameId, rec::kMainFrameIdBytes, t.MainFrameID(), "MainFrameID");
    char version[48];
    std::snprintf(version, sizeof version, "V%d.%d.%d", static_cast<int>(t.MajorVersion()),
                  static_cast<int>(t.MinorVersion()), static_cast<int>(t.Revision()));
    w.Text(rec::kSoftwareVersion, rec::kSoftwareVersionBytes, version, "software version");
    w.Text(rec::kSupplierName, rec::kSupplierNameBytes, t.SupplierName(), "SupplierName");

    const std::vector<int32_t> points = t.DataPointArray();
    for (std::size_t i = 0; i < points.size(); ++i) {
      const int32_t offset = rec::kSamples + 2 * static_cast<int32_t>(i);
      if (points[i] >= 0 && points[i] <= 65535)
        w.PutWord(offset, static_cast<uint16_t>(points[i]));
      else
        w.Word(offset, points[i], "sample " + std::to_string(i + 1), points[i]);
    }
    return bytes;
  });
}

std::string InstrumentFileName(const std::string& cable, int32_t fiber, EnumFiberTypes type, int32_t wavelength) {
  const char* letter = type == FT_SingleMode ? "S" : type == FT_MultiMode ? "M" : "U";
  const char* code = "00";
  switch (wavelength) {
    case 850:
      code = "85";
      break;
    case 1300:
    case 1310:
      code = "13";
      break;
    case 1480:
      code = "14";
      break;
    case 1550:
      code = "15";
      break;
    case 1625:
      code = "16";
      break;
    default:
      break;
  }
  return cable + "_" + std::to_string(fiber) + "_" + letter + code;
}

std::string InstrumentFileName(const CTrace& trace) {
  return InstrumentFileName(trace.CableID().empty() ? "CABLE" : trace.CableID(), trace.FiberNumber(), trace.FiberType(),
                            trace.NominalWavelength());
}

}  // namespace tarnvik::sim
