#include "tarnvik/instrument/KTR915Record.h"

#include <string_view>

#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modByteArrays.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/instrument/KtrFrame.h"
#include "tarnvik/instrument/KtrRecord.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::detail {

namespace {

// Field k (1-based) of the name split at "_"; an empty name has no fields.
std::string FileNameField(const std::string& sFilename, std::size_t k) {
  if (!sFilename.empty()) {
    std::size_t begin = 0;
    for (std::size_t field = 1;; ++field) {
      const std::size_t end = sFilename.find('_', begin);
      if (field == k) return sFilename.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
      if (end == std::string::npos) break;
      begin = end + 1;
    }
  }
  Raise(err::SubscriptOutOfRange);
}

// Characters first..first+count-1 (1-based) of a text, as far as it reaches.
std::string MidChars(const std::string& text, std::size_t first, std::size_t count) {
  const std::vector<char32_t> chars = DecodeUtf8(text);
  std::string out;
  for (std::size_t i = first - 1; i < chars.size() && i < first - 1 + count; ++i) AppendUtf8(out, chars[i]);
  return out;
}

// The value of a text's leading digits (after blanks); 0 when it has none.
int16_t LeadingNumber(std::string_view text) {
  std::size_t i = 0;
  while (i < text.size() && text[i] == ' ') ++i;
  double value = 0;
  bool any = false;
  for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i) {
    value = value * 10 + (text[i] - '0');
    any = true;
    if (value > 1e6) break;  // already too large; the conversion below raises 6
  }
  return any ? ToInt16(value) : int16_t{0};
}

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

// A record text: UTF-16 little-endian, cut before its first zero character and trimmed.
std::string RecordText(const ByteArray& baData, int32_t offset, int32_t bytes) {
  std::string text = ByteArrayToStringUnicode(baData, offset + 1, bytes);
  const std::size_t zero = text.find('\0');
  if (zero != std::string::npos) text.resize(zero);
  return TrimBlanks(text);
}

// The unsigned word at a record offset.
int32_t RecordWord(ByteArray& baData, int32_t offset) {
  return ToInt32(ByteArrayToNumLSB(baData, offset + 1, 2, false));
}

EnumDistanceUnits DistanceUnitsFromCode(int32_t code) {
  switch (code) {
    case 2: return DU_Kilofeet;
    case 3: return DU_Feet;
    case 4: return DU_Miles;
    case 5: return DU_Kilometers;
    default: return DU_Meters;  // 1 and every unknown code
  }
}

// A two-character code field: the value's decimal text when it has exactly two
// characters, else the fallback.
std::string TwoCharacterCode(int32_t value, const char* fallback) {
  std::string text = std::to_string(value);
  return text.size() == 2 ? text : std::string(fallback);
}

}  // namespace

std::vector<uint8_t> BuildKtrPacket(const std::string& sCommand, const ByteArray& baParams) {
  const int32_t words = baParams.IsDimensioned() ? ToInt16(RoundHalfEven(baParams.UBound() / 2.0)) : 0;
  if (sCommand.empty()) Raise(err::InvalidCall);
  const std::vector<char32_t> first = DecodeUtf8(sCommand.substr(0, 4));
  const uint8_t command = ToByte(static_cast<double>(first.front()));
  if (words < 0) Raise(err::SubscriptOutOfRange);
  const uint8_t length = ToByte(words + 3.0);
  const std::size_t frameSize = 2 * static_cast<std::size_t>(words) + 4;
  if (baParams.size() == frameSize - 4) return EncodeKtrFrame(static_cast<char>(command), baParams.data(), static_cast<std::size_t>(words));
  // An array whose size does not match its upper bound: its bytes go where they fall in
  // a frame sized from the upper bound, the rest stays 0, and what does not fit raises 9.
  if (baParams.size() + 4 > frameSize) Raise(err::SubscriptOutOfRange);
  std::vector<uint8_t> frame(frameSize, 0);
  frame[0] = kKtrStartOfHeader;
  frame[1] = length;
  frame[2] = command;
  std::copy(baParams.data(), baParams.data() + baParams.size(), frame.begin() + 3);
  frame[3 + baParams.size()] = KtrChecksum(frame.data() + 1, 2 + baParams.size());
  return frame;
}

std::string KtrCableID(const std::string& sFilename) { return FileNameField(sFilename, 1); }

int16_t KtrFiberNumber(const std::string& sFilename) {
  const std::string field = FileNameField(sFilename, 2);
  return IsNumeric(field) ? ToInt16(NumberFromText(field)) : int16_t{0};
}

EnumFiberTypes KtrFiberType(const std::string& sFilename) {
  const std::string letter = MidChars(FileNameField(sFilename, 3), 1, 1);
  if (letter == "S" || letter == "s") return FT_SingleMode;
  if (letter == "M" || letter == "m") return FT_MultiMode;
  return FT_Unknown;
}

int16_t KtrWavelength(const std::string& sFilename) {
  const std::string code = MidChars(FileNameField(sFilename, 3), 2, 2);
  if (code == "85") return 850;
  if (code == "13") {
    switch (KtrFiberType(sFilename)) {
      case FT_SingleMode: return 1310;
      case FT_MultiMode: return 1300;
      default: return 0;
    }
  }
  if (code == "14") return 1480;
  if (code == "15") return 1550;
  if (code == "16") return 1625;
  return 0;
}

void ParseSoftwareVersion(const std::string& sText, int16_t& nMajor, int16_t& nMinor, int16_t& nRevision) {
  const std::string text = TrimBlanks(sText);
  nMajor = nMinor = nRevision = 0;
  const std::size_t v = text.find_first_of("Vv");
  if (v == std::string::npos) {
    // Fixed positions 5, 6 and 7; a character beyond the text counts as 0.
    const auto digitAt = [&](std::size_t position) -> int16_t {
      return position <= text.size() ? LeadingNumber(std::string_view(text).substr(position - 1, 1)) : int16_t{0};
    };
    nMajor = digitAt(5);
    nMinor = digitAt(6);
    nRevision = digitAt(7);
    return;
  }
  std::size_t begin = v;
  while (begin < text.size() && !IsDigit(text[begin])) ++begin;
  const std::string_view numbers = std::string_view(text).substr(begin);
  int16_t* parts[] = {&nMajor, &nMinor, &nRevision};
  std::size_t from = 0;
  for (int16_t* part : parts) {
    const std::size_t dot = numbers.find('.', from);
    *part = LeadingNumber(numbers.substr(from, dot == std::string_view::npos ? std::string_view::npos : dot - from));
    if (dot == std::string_view::npos) break;
    from = dot + 1;
  }
}

std::string ParseFirmwareModule(const std::string& sText) {
  const std::string text = TrimBlanks(sText);
  return text.substr(0, text.find(' '));
}

std::shared_ptr<CTrace> ConvertByteArrayToTrace(ByteArray& baData) {
  namespace r = ktr_record;
  auto trace = std::make_shared<CTrace>();
  const int64_t averages = static_cast<int64_t>(RecordWord(baData, r::kAveragesHigh)) * 65536 +
                           RecordWord(baData, r::kAveragesLow);
  trace->SetNumberOfAverages(CheckInt32(averages));
  trace->SetDistanceUnits(DistanceUnitsFromCode(RecordWord(baData, r::kDistanceUnit)));
  trace->SetPulseWidth(ToInt16(RecordWord(baData, r::kPulseWidth) * 10.0));
  const int32_t samples = RecordWord(baData, r::kSampleCount);
  trace->SetSamples(samples);
  trace->SetGroupIndex(ToInt32(RecordWord(baData, r::kGroupIndex) * 10.0));
  trace->SetBackScatterCoefficient(static_cast<float>(-(RecordWord(baData, r::kBackscatter) / 10.0)));
  trace->SetDataPointSpacing(ToInt32(RecordWord(baData, r::kPointSpacing) * 500000.0));
  trace->SetNominalWavelength(ToInt16(RecordWord(baData, r::kWavelength)));
  trace->SetLanguageCode(TwoCharacterCode(RecordWord(baData, r::kLanguageCode), "EN"));
  trace->SetCurrentDataFlag(TwoCharacterCode(RecordWord(baData, r::kCurrentDataFlag), "BC"));
  trace->SetNoiseFloorLevel(ToInt32(RecordWord(baData, r::kNoiseFloor) / 10.0));
  trace->SetLossThreshold(static_cast<float>(RecordWord(baData, r::kLossThreshold) / 10.0));
  trace->SetReflectanceThreshold(static_cast<float>(-(RecordWord(baData, r::kReflectanceThreshold) / 10.0)));
  trace->SetEndofFiberThreshold(static_cast<float>(RecordWord(baData, r::kEndOfFiberThreshold) / 10.0));
  // The module identifier's first word is read as a number by the instrument's own
  // layout and not used; reading it keeps a record too short for it failing here.
  (void)RecordWord(baData, r::kModuleId);
  trace->SetModuleID(RecordText(baData, r::kModuleId, r::kModuleIdBytes));
  trace->SetMainFrameID(RecordText(baData, r::kMainFrameId, r::kMainFrameIdBytes));
  int16_t major = 0;
  int16_t minor = 0;
  int16_t revision = 0;
  ParseSoftwareVersion(RecordText(baData, r::kSoftwareVersion, r::kSoftwareVersionBytes), major, minor, revision);
  trace->SetMajorVersion(major);
  trace->SetMinorVersion(minor);
  trace->SetRevision(revision);
  trace->SetSupplierName(RecordText(baData, r::kSupplierName, r::kSupplierNameBytes));

  // Samples, word by word from the record's sample area. The run decoder takes what it
  // can; the single-field decoder then reads (or refuses with its own error) the next one.
  // A record too short for the samples it announces fails here, as the loop below would,
  // before room for them is set aside.
  if (samples > 0) (void)baData.Span(r::kSamples + 1, 2 * samples);
  std::vector<int32_t> values(static_cast<std::size_t>(samples));
  int32_t done = 0;
  while (done < samples) {
    done += ByteArrayToUnsigned16Run(baData, r::kSamples + 1 + 2 * done, samples - done, values.data() + done);
    if (done < samples) {
      values[static_cast<std::size_t>(done)] =
          ToInt32(ByteArrayToNumLSB(baData, r::kSamples + 1 + 2 * done, 2, false));
      ++done;
    }
  }
  trace->SetDataPointArray(values);

  trace->SetAquisitionRange(ToInt32(samples / 10000.0 * trace->DataPointSpacing() / 50.0));
  trace->SetNoiseFloorScaleFactor(1000);
  trace->SetDataPointsPerPW(samples);
  return trace;
}

}  // namespace tarnvik::detail
