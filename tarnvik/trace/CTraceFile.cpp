// The trace's own file format: one UTF-8 JSON document holding every stored property,
// the cursors, the events of both collections and the samples. docs/trace-format.md
// describes it; keep the two in step.
//
// A load reads and checks the whole document into a scratch trace before it touches this
// one, so a file that fails leaves the trace exactly as it was.
#include <algorithm>
#include <bit>
#include <cfloat>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include <nlohmann/json.hpp>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

constexpr const char* kFormatName = "tarnvik-trace";
constexpr int64_t kFormatVersion = 1;

// ---- Value limits a load enforces; a save ignores them -----------------------------------

struct Whole {};  // the full range of the property's type
struct Between {  // an integer range, inclusive
  int64_t low;
  int64_t high;
};
// A float range, inclusive, checked as the property's Let checks it: as floats, so that
// a bound (65.535f) is in; NaN is out.
struct FloatBetween {
  float low;
  float high;
};
struct MaxChars {  // a text of at most this many characters
  std::size_t count;
};
struct TwoCharsOrNone {};  // exactly two characters, or the new trace's empty text

// Every scalar property the file carries, in the order it is written, with the JSON name
// (the property's own), the member that holds it and the limits a load checks. One list
// serves the writer, the reader and the commit of a read, so they cannot drift apart.
// AdjustedIOR is not listed: it follows GroupIndex. EventORLMark and the cursors are
// indexed and written apart.
#define TARNVIK_TRACE_FILE_PROPERTIES(P)                                         \
  P("ValidEventLevels", validEventLevels_, Whole{})                              \
  P("IsBaseLine", isBaseLine_, Whole{})                                          \
  P("MustDeleteAllEvents", mustDeleteAllEvents_, Whole{})                        \
  P("LaunchCable", launchCable_, Whole{})                                        \
  P("ReceiveCable", receiveCable_, Whole{})                                      \
  P("PointsPerMeter", pointsPerMeter_, Whole{})                                  \
  P("XAxisScaleFactor", xAxisScaleFactor_, Whole{})                              \
  P("MajorVersion", majorVersion_, Whole{})                                      \
  P("MinorVersion", minorVersion_, Whole{})                                      \
  P("Revision", revision_, Whole{})                                              \
  P("TimeStamp", timeStamp_, Whole{})                                            \
  P("FileName", fileName_, Whole{})                                              \
  P("FileFormat", fileFormat_, Whole{})                                          \
  P("LastChangedBy", lastChangedBy_, Whole{})                                    \
  P("CRC", crc_, (Between{0, 65535}))                                            \
  P("CableID", cableID_, MaxChars{30})                                           \
  P("CableType", cableType_, MaxChars{30})                                       \
  P("TestSite", testSite_, MaxChars{30})                                         \
  P("FarSite", farSite_, MaxChars{30})                                           \
  P("TestedBy", testedBy_, MaxChars{30})                                         \
  P("TraceComment", traceComment_, MaxChars{90})                                 \
  P("LanguageCode", languageCode_, TwoCharsOrNone{})                             \
  P("CurrentDataFlag", currentDataFlag_, TwoCharsOrNone{})                       \
  P("FiberNumber", fiberNumber_, (Between{0, 65535}))                            \
  P("FiberType", fiberType_, Whole{})                                            \
  P("AutoMode", autoMode_, Whole{})                                              \
  P("FileDistUnits", fileDistUnits_, Whole{})                                    \
  P("DistanceUnits", distanceUnits_, Whole{})                                    \
  P("AquisitionOffset", aquisitionOffset_, Whole{})                              \
  P("DataPointsPerPW", dataPointsPerPW_, Whole{})                                \
  P("GroupIndex", groupIndex_, Whole{})                                          \
  P("NumberOfAverages", numberOfAverages_, Whole{})                              \
  P("AquisitionRange", aquisitionRange_, Whole{})                                \
  P("FrontPanelOffset", frontPanelOffset_, Whole{})                              \
  P("NominalWavelength", nominalWavelength_, Whole{})                            \
  P("ActualWavelength", actualWavelength_, Whole{})                              \
  P("TotalNumberOfPulseWidths", totalNumberOfPulseWidths_, Whole{})              \
  P("PulseWidth", pulseWidth_, Whole{})                                          \
  P("PulseWidthIndex", pulseWidthIndex_, Whole{})                                \
  P("BackScatterCoefficient", backScatterCoefficient_, Whole{})                  \
  P("MaxLossVal", maxLossVal_, Whole{})                                          \
  P("DataPointSpacing", dataPointSpacing_, Whole{})                              \
  P("UserOffset", userOffset_, Whole{})                                          \
  P("NoiseFloorLevel", noiseFloorLevel_, (Between{0, 65535}))                    \
  P("NoiseFloorScaleFactor", noiseFloorScaleFactor_, Whole{})                    \
  P("PowerOffsetFirstPoint", powerOffsetFirstPoint_, (Between{0, 65535}))        \
  P("ReflectanceThreshold", reflectanceThreshold_, (FloatBetween{-65.535f, 0}))  \
  P("EndofFiberThreshold", endofFiberThreshold_, (FloatBetween{0, 65.535f}))     \
  P("LossThreshold", lossThreshold_, (FloatBetween{0, 65.535f}))                 \
  P("EventEndLoss", eventEndLoss_, Whole{})                                      \
  P("EventORL", eventORL_, (FloatBetween{0, 65.535f}))                           \
  P("MainFrameID", mainFrameID_, Whole{})                                        \
  P("ModuleID", moduleID_, Whole{})                                              \
  P("SupplierName", supplierName_, Whole{})                                      \
  P("SupParamsOther", supParamsOther_, Whole{})                                  \
  P("FiberID", fiberID_, Whole{})

// Every event field besides Number and Comment, in the order it is written. The JSON
// name is the property's own, and Name()/SetName() its getter and setter.
#define TARNVIK_EVENT_FILE_FLOATS(F) \
  F(LocationQRD)                     \
  F(LocationEndQRD)                  \
  F(Level)                           \
  F(Loss)                            \
  F(LeadinLoss)                      \
  F(CumulativeLoss)                  \
  F(Reflectance)                     \
  F(AttenDBperKM)                    \
  F(FarLeftLSAQRD)                   \
  F(NearLeftLSAQRD)                  \
  F(NearRightLSAQRD)                 \
  F(FarRightLSAQRD)
#define TARNVIK_EVENT_FILE_ENUMS(E) \
  E(Source, EnumEventSources)       \
  E(EType, EnumEventTypes)          \
  E(LossMT, EnumLossMethods)

constexpr std::size_t kEventCommentChars = 94;

// ---- Numbers that JSON cannot hold as they are ------------------------------------------

template <class Float>
using BitsOf = std::conditional_t<sizeof(Float) == 4, uint32_t, uint64_t>;

// The quiet NaN that the text "NaN" stands for; other NaNs carry their bits.
template <class Float>
constexpr BitsOf<Float> PlainNaNBits() {
  if constexpr (sizeof(Float) == 4) {
    return 0x7FC00000u;
  } else {
    return 0x7FF8000000000000u;
  }
}
template <class Float>
constexpr BitsOf<Float> kPlainNaN = PlainNaNBits<Float>();

template <class Float>
std::string NonFiniteText(Float value) {
  if (std::isinf(value)) return value > 0 ? "Infinity" : "-Infinity";
  const auto bits = std::bit_cast<BitsOf<Float>>(value);
  if (bits == kPlainNaN<Float>) return "NaN";
  char text[32];
  std::snprintf(text, sizeof text, "NaN:0x%0*llX", static_cast<int>(sizeof(Float) * 2),
                static_cast<unsigned long long>(bits));
  return text;
}

// A finite float as the JSON number whose text is the shortest decimal that reads back
// to the same float ("0.1", not 0.100000001...). The double nearest that decimal almost
// always narrows back to the float; where double rounding would miss it, the float's
// exact value is written instead, which always does.
OrderedJson FloatJson(float value) {
  if (!std::isfinite(value)) return NonFiniteText(value);
  char text[32];
  const auto written = std::to_chars(text, text + sizeof text, value);
  double wide = 0;
  std::from_chars(text, written.ptr, wide);
  if (std::bit_cast<uint32_t>(static_cast<float>(wide)) != std::bit_cast<uint32_t>(value)) {
    wide = static_cast<double>(value);
  }
  return wide;
}

// Doubles go out as JSON numbers in the shortest text that reads back to the same double.
OrderedJson DoubleJson(double value) {
  if (!std::isfinite(value)) return NonFiniteText(value);
  return value;
}

// Text is written as well-formed UTF-8. A byte that is not part of a well-formed
// sequence is taken, as everywhere in the library, for the character U+0080..U+00FF it
// stands for, so the character count (and with it every length limit) is unchanged.
std::string CleanText(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (char32_t c : DecodeUtf8(text)) AppendUtf8(out, c);
  return out;
}

void Put(OrderedJson& object, const char* key, bool value) { object[key] = value; }
void Put(OrderedJson& object, const char* key, int16_t value) { object[key] = value; }
void Put(OrderedJson& object, const char* key, int32_t value) { object[key] = value; }
void Put(OrderedJson& object, const char* key, float value) { object[key] = FloatJson(value); }
void Put(OrderedJson& object, const char* key, double value) { object[key] = DoubleJson(value); }
void Put(OrderedJson& object, const char* key, const std::string& value) { object[key] = CleanText(value); }
template <class Enum>
  requires std::is_enum_v<Enum>
void Put(OrderedJson& object, const char* key, Enum value) {
  object[key] = static_cast<int32_t>(value);
}

// The document as text: one property, event or cursor a line, then the samples on one
// line, so that a file is readable and diffs well without costing a line per sample. The
// samples go straight from the array to the text: as JSON values they would cost a
// large share of a save.
std::string Layout(const OrderedJson& document, const IndexedArray<int32_t>& samples) {
  std::string out;
  out.reserve(4096 + static_cast<std::size_t>(samples.Count()) * 12);
  out += "{\n";
  for (const auto& [key, value] : document.items()) {
    out += "  " + OrderedJson(key).dump() + ": ";
    const bool objectLines = value.is_object() && !value.empty();
    const bool elementLines = value.is_array() && !value.empty() && value.front().is_structured();
    if (!objectLines && !elementLines) {
      out += value.dump();
    } else {
      out += objectLines ? "{\n" : "[\n";
      bool firstItem = true;
      for (const auto& [itemKey, item] : value.items()) {
        if (!firstItem) out += ",\n";
        firstItem = false;
        out += "    ";
        if (objectLines) out += OrderedJson(itemKey).dump() + ": ";
        out += item.dump();
      }
      out += objectLines ? "\n  }" : "\n  ]";
    }
    out += ",\n";
  }
  out += "  \"samples\": [";
  char number[16];
  bool firstSample = true;
  for (const int32_t sample : samples) {
    if (!firstSample) out += ',';
    firstSample = false;
    out.append(number, std::to_chars(number, number + sizeof number, sample).ptr);
  }
  out += "]\n}\n";
  return out;
}

// ---- Reading, with a numbered error that names the field --------------------------------

// nlohmann's message without its "[json.exception.parse_error.101] " tag.
std::string Untagged(const Json::exception& e) {
  std::string why = e.what();
  if (const auto tagEnd = why.find("] "); why.rfind("[json.", 0) == 0 && tagEnd != std::string::npos) {
    why.erase(0, tagEnd + 2);
  }
  return why;
}

[[noreturn]] void BadField(const std::string& path, const std::string& problem) {
  Raise(ERR_BadParse, "Trace file field \"" + path + "\" " + problem);
}

std::string TypeName(const Json& value) {
  if (value.is_number_integer()) return "an integer";
  if (value.is_number_float()) return "a number with a fraction or exponent";
  if (value.is_string()) return "a string";
  if (value.is_boolean()) return "a boolean";
  if (value.is_null()) return "null";
  if (value.is_array()) return "an array";
  return "an object";
}

[[noreturn]] void WrongType(const std::string& path, const char* wanted, const Json& found) {
  BadField(path, std::string("must be ") + wanted + ", not " + TypeName(found));
}

const Json& Member(const Json& object, const std::string& objectPath, const char* key) {
  const std::string path = objectPath.empty() ? key : objectPath + "." + key;
  const auto found = object.find(key);
  if (found == object.end()) BadField(path, "is missing");
  return *found;
}

const Json& ObjectMember(const Json& object, const std::string& objectPath, const char* key) {
  const Json& value = Member(object, objectPath, key);
  if (!value.is_object()) WrongType(objectPath.empty() ? key : objectPath + "." + key, "an object", value);
  return value;
}

const Json& ArrayMember(const Json& object, const std::string& objectPath, const char* key) {
  const Json& value = Member(object, objectPath, key);
  if (!value.is_array()) WrongType(objectPath.empty() ? key : objectPath + "." + key, "an array", value);
  return value;
}

std::string Indexed(const std::string& path, std::size_t index) {
  return path + "[" + std::to_string(index) + "]";
}

int64_t IntegerIn(const Json& value, const std::string& path, int64_t low, int64_t high) {
  if (!value.is_number_integer()) WrongType(path, "an integer", value);
  if (value.is_number_unsigned()) {
    const auto n = value.get<uint64_t>();
    if (n > static_cast<uint64_t>(high)) {
      BadField(path, "is out of range: " + std::to_string(n) + " (allowed " + std::to_string(low) + " to " +
                         std::to_string(high) + ")");
    }
    return static_cast<int64_t>(n);
  }
  const auto n = value.get<int64_t>();
  if (n < low || n > high) {
    BadField(path, "is out of range: " + std::to_string(n) + " (allowed " + std::to_string(low) + " to " +
                       std::to_string(high) + ")");
  }
  return n;
}

// "Infinity", "-Infinity", "NaN" or "NaN:0x" followed by the value's bits in hex.
template <class Float>
Float NonFiniteFrom(const std::string& text, const std::string& path) {
  if (text == "Infinity") return std::numeric_limits<Float>::infinity();
  if (text == "-Infinity") return -std::numeric_limits<Float>::infinity();
  if (text == "NaN") return std::bit_cast<Float>(kPlainNaN<Float>);
  constexpr std::size_t kDigits = sizeof(Float) * 2;
  if (text.size() == 6 + kDigits && text.compare(0, 6, "NaN:0x") == 0) {
    BitsOf<Float> bits = 0;
    const char* first = text.data() + 6;
    const char* last = text.data() + text.size();
    const auto parsed = std::from_chars(first, last, bits, 16);
    const Float value = std::bit_cast<Float>(bits);
    if (parsed.ec == std::errc{} && parsed.ptr == last && std::isnan(value)) return value;
  }
  BadField(path, "must be a number, \"Infinity\", \"-Infinity\", \"NaN\" or \"NaN:0x\" and the NaN's " +
                     std::to_string(kDigits) + " hex digits, not \"" + text + "\"");
}

double DoubleFrom(const Json& value, const std::string& path) {
  if (value.is_string()) return NonFiniteFrom<double>(value.get_ref<const std::string&>(), path);
  if (!value.is_number()) WrongType(path, "a number", value);
  const auto number = value.get<double>();
  if (!std::isfinite(number)) BadField(path, "is out of range for a 64-bit float");
  return number;
}

float FloatFrom(const Json& value, const std::string& path) {
  if (value.is_string()) return NonFiniteFrom<float>(value.get_ref<const std::string&>(), path);
  const double number = DoubleFrom(value, path);
  // Beyond FLT_MAX but below the halfway point to the next power of two still rounds to
  // FLT_MAX; from there on a float would overflow.
  constexpr double kOverflow = 0x1.ffffffp127;
  if (std::fabs(number) >= kOverflow) BadField(path, "is out of range for a 32-bit float");
  if (std::fabs(number) > FLT_MAX) return number > 0 ? FLT_MAX : -FLT_MAX;
  return static_cast<float>(number);
}

std::string TextFrom(const Json& value, const std::string& path) {
  if (!value.is_string()) WrongType(path, "a string", value);
  return value.get<std::string>();
}

// One Read overload per member type and limit.
void Read(const Json& value, const std::string& path, bool& target, Whole) {
  if (!value.is_boolean()) WrongType(path, "a boolean", value);
  target = value.get<bool>();
}
void Read(const Json& value, const std::string& path, int16_t& target, Whole) {
  target = static_cast<int16_t>(IntegerIn(value, path, INT16_MIN, INT16_MAX));
}
void Read(const Json& value, const std::string& path, int32_t& target, Whole) {
  target = static_cast<int32_t>(IntegerIn(value, path, INT32_MIN, INT32_MAX));
}
void Read(const Json& value, const std::string& path, int32_t& target, Between range) {
  target = static_cast<int32_t>(IntegerIn(value, path, range.low, range.high));
}
template <class Enum>
  requires std::is_enum_v<Enum>
void Read(const Json& value, const std::string& path, Enum& target, Whole) {
  // Enumerations may carry numbers outside their members; any 32-bit value is kept.
  target = static_cast<Enum>(IntegerIn(value, path, INT32_MIN, INT32_MAX));
}
void Read(const Json& value, const std::string& path, float& target, Whole) { target = FloatFrom(value, path); }
void Read(const Json& value, const std::string& path, float& target, FloatBetween range) {
  const float number = FloatFrom(value, path);
  if (!(number >= range.low && number <= range.high)) {
    const std::string shown = std::isfinite(number) ? NumberText(number) : NonFiniteText(number);
    BadField(path, "is out of range: " + shown + " (allowed " + NumberText(range.low) + " to " +
                       NumberText(range.high) + ")");
  }
  target = number;
}
void Read(const Json& value, const std::string& path, double& target, Whole) { target = DoubleFrom(value, path); }
void Read(const Json& value, const std::string& path, std::string& target, Whole) { target = TextFrom(value, path); }
void Read(const Json& value, const std::string& path, std::string& target, MaxChars limit) {
  std::string text = TextFrom(value, path);
  if (CharCount(text) > limit.count) BadField(path, "is longer than " + std::to_string(limit.count) + " characters");
  target = std::move(text);
}
void Read(const Json& value, const std::string& path, std::string& target, TwoCharsOrNone) {
  std::string text = TextFrom(value, path);
  const std::size_t count = CharCount(text);
  if (count != 0 && count != 2) BadField(path, "must be two characters (or empty)");
  target = std::move(text);
}

template <class T, class Limit>
void ReadMember(const Json& object, const std::string& objectPath, const char* key, T& target, Limit limit) {
  Read(Member(object, objectPath, key), objectPath + "." + key, target, limit);
}

// ---- The document, read in one pass ------------------------------------------------------

// Builds the document as JSON values, except the elements of the root's "samples" array:
// those go straight into 32-bit integers, since as JSON values they would cost most of a
// load. The root keeps an empty "samples" array in their place, so the member's presence
// and type are checked as every other's. The first element that is not a 32-bit integer
// is kept, with its position, for the error that names it.
class DocumentReader {
 public:
  Json& Document() { return root_; }
  std::vector<int32_t>& Samples() { return samples_; }
  const Json* BadSample() const { return badSampleIndex_ ? &badSample_ : nullptr; }
  std::size_t BadSampleIndex() const { return *badSampleIndex_ - 1; }

  // The SAX interface nlohmann's parser drives.
  bool null() { return Value(Json(nullptr)); }
  bool boolean(bool value) { return Value(Json(value)); }
  bool number_integer(Json::number_integer_t value) {
    if (InSampleList() && value >= INT32_MIN && value <= INT32_MAX) return Sample(static_cast<int32_t>(value));
    return Value(Json(value));
  }
  bool number_unsigned(Json::number_unsigned_t value) {
    if (InSampleList() && value <= INT32_MAX) return Sample(static_cast<int32_t>(value));
    return Value(Json(value));
  }
  bool number_float(Json::number_float_t value, const std::string&) { return Value(Json(value)); }
  bool string(std::string& value) { return Value(Json(std::move(value))); }
  bool binary(Json::binary_t& value) { return Value(Json::binary(std::move(value))); }
  bool start_object(std::size_t) { return Open(Json::object()); }
  bool key(std::string& name) {
    if (inSamples_) return true;
    pendingMember_ = &(*open_.back())[name];
    samplesNext_ = open_.size() == 1 && name == "samples";
    return true;
  }
  bool end_object() { return Close(); }
  bool start_array(std::size_t) {
    if (samplesNext_ && !inSamples_) {
      *pendingMember_ = Json::array();
      samplesNext_ = false;
      inSamples_ = true;
      samples_.clear();
      badSampleIndex_.reset();
      return true;
    }
    return Open(Json::array());
  }
  bool end_array() {
    if (inSamples_ && nested_ == 0) {
      inSamples_ = false;
      return true;
    }
    return Close();
  }
  template <class Exception>
  bool parse_error(std::size_t, const std::string&, const Exception& e) {
    throw e;
  }

 private:
  bool InSampleList() const { return inSamples_ && nested_ == 0; }

  bool Sample(int32_t value) {
    samples_.push_back(value);
    return true;
  }

  // A value that is not a sample: placed in the document, or inside the samples array
  // kept as the first bad element, or (nested deeper there) dropped.
  bool Value(Json value) {
    if (inSamples_) {
      if (nested_ == 0) BadElement(std::move(value));
      return true;
    }
    Place(std::move(value));
    return true;
  }

  bool Open(Json container) {
    if (inSamples_) {
      if (nested_ == 0) BadElement(container);
      ++nested_;
      return true;
    }
    open_.push_back(Place(std::move(container)));
    return true;
  }

  bool Close() {
    if (inSamples_) {
      --nested_;
      return true;
    }
    open_.pop_back();
    return true;
  }

  void BadElement(Json value) {
    samples_.push_back(0);  // keeps the count of elements, so the position is right
    if (badSampleIndex_) return;
    badSample_ = std::move(value);
    badSampleIndex_ = samples_.size();
  }

  // An open container is only added to once its open child has closed, so the pointers
  // in open_ stay valid.
  Json* Place(Json value) {
    samplesNext_ = false;
    if (open_.empty()) {
      root_ = std::move(value);
      return &root_;
    }
    Json& parent = *open_.back();
    if (parent.is_array()) {
      parent.push_back(std::move(value));
      return &parent.back();
    }
    *pendingMember_ = std::move(value);
    return pendingMember_;
  }

  Json root_;
  std::vector<Json*> open_;
  Json* pendingMember_ = nullptr;
  bool samplesNext_ = false;
  bool inSamples_ = false;
  std::size_t nested_ = 0;
  std::vector<int32_t> samples_;
  Json badSample_;
  std::optional<std::size_t> badSampleIndex_;  // 1-based, so that 0 elements before is still set
};

// ---- Events ------------------------------------------------------------------------------

OrderedJson EventsJson(const CEvents& events) {
  OrderedJson list = OrderedJson::array();
  for (const auto& event : events) {
    OrderedJson item = OrderedJson::object();
    Put(item, "Number", event->Number());
#define TARNVIK_PUT_EVENT_FLOAT(Name) Put(item, #Name, event->Name());
    TARNVIK_EVENT_FILE_FLOATS(TARNVIK_PUT_EVENT_FLOAT)
#undef TARNVIK_PUT_EVENT_FLOAT
#define TARNVIK_PUT_EVENT_ENUM(Name, Type) Put(item, #Name, event->Name());
    TARNVIK_EVENT_FILE_ENUMS(TARNVIK_PUT_EVENT_ENUM)
#undef TARNVIK_PUT_EVENT_ENUM
    Put(item, "Comment", event->Comment());
    list.push_back(std::move(item));
  }
  return list;
}

std::vector<std::shared_ptr<CEvent>> EventsFrom(const Json& document, const char* key) {
  const Json& list = ArrayMember(document, "", key);
  // Event numbers are 16-bit, so a collection cannot take more; checked here so that
  // filling the collections, once the file is accepted, cannot fail.
  if (list.size() > static_cast<std::size_t>(INT16_MAX)) {
    BadField(key, "holds " + std::to_string(list.size()) + " events, more than " + std::to_string(INT16_MAX));
  }
  std::vector<std::shared_ptr<CEvent>> events;
  events.reserve(list.size());
  for (std::size_t i = 0; i < list.size(); ++i) {
    const std::string path = Indexed(key, i);
    const Json& item = list[i];
    if (!item.is_object()) WrongType(path, "an object", item);
    auto event = std::make_shared<CEvent>();
    int16_t number = 0;
    ReadMember(item, path, "Number", number, Whole{});
    event->SetNumber(number);
#define TARNVIK_READ_EVENT_FLOAT(Name)              \
  {                                                 \
    float value = 0;                                \
    ReadMember(item, path, #Name, value, Whole{}); \
    event->Set##Name(value);                        \
  }
    TARNVIK_EVENT_FILE_FLOATS(TARNVIK_READ_EVENT_FLOAT)
#undef TARNVIK_READ_EVENT_FLOAT
#define TARNVIK_READ_EVENT_ENUM(Name, Type)         \
  {                                                 \
    Type value{};                                   \
    ReadMember(item, path, #Name, value, Whole{}); \
    event->Set##Name(value);                        \
  }
    TARNVIK_EVENT_FILE_ENUMS(TARNVIK_READ_EVENT_ENUM)
#undef TARNVIK_READ_EVENT_ENUM
    std::string comment;
    ReadMember(item, path, "Comment", comment, MaxChars{kEventCommentChars});
    event->SetComment(comment);
    events.push_back(std::move(event));
  }
  return events;
}

// Puts the events into the collection in file order with their file Numbers. Add keeps
// its collection sorted and renumbers; an event added at +infinity always goes last, so
// each goes in there and gets its own position back afterwards. A collection whose
// order or numbers an edit had left unsorted thus comes back as it was saved.
void RestoreEvents(CEvents& collection, const std::vector<std::shared_ptr<CEvent>>& events) {
  collection.Clear();
  std::vector<int16_t> numbers;
  numbers.reserve(events.size());
  for (const auto& event : events) {
    numbers.push_back(event->Number());
    const float location = event->LocationQRD();
    event->SetLocationQRD(std::numeric_limits<float>::infinity());
    collection.Add(event);
    event->SetLocationQRD(location);
  }
  for (std::size_t i = 0; i < events.size(); ++i) events[i]->SetNumber(numbers[i]);
}

}  // namespace

void CTrace::SaveToFile(const std::string& sFilename) {
  Guarded(kModule, "SaveToFile()", [&] {
    OrderedJson properties = OrderedJson::object();
#define TARNVIK_PUT_PROPERTY(name, member, limit) Put(properties, name, member);
    TARNVIK_TRACE_FILE_PROPERTIES(TARNVIK_PUT_PROPERTY)
#undef TARNVIK_PUT_PROPERTY
    properties["EventORLMark"] = OrderedJson::array({eventMarks_[0], eventMarks_[1]});

    OrderedJson cursors = OrderedJson::array();
    for (std::size_t c = 0; c < 2; ++c) {
      OrderedJson cursor = OrderedJson::object();
      Put(cursor, "QRD", cursorQRD_[c]);
      Put(cursor, "Level", cursorLevel_[c]);
      cursors.push_back(std::move(cursor));
    }

    // The samples are written by Layout, after these members.
    OrderedJson document = OrderedJson::object();
    document["format"] = kFormatName;
    document["version"] = kFormatVersion;
    document["properties"] = std::move(properties);
    document["cursors"] = std::move(cursors);
    document["events"] = EventsJson(*events_);
    document["deletedEvents"] = EventsJson(*deletedEvents_);

    const std::string text = Layout(document, dataPoints_);
    ReplaceWholeFile(sFilename, std::vector<uint8_t>(text.begin(), text.end()));
  });
}

void CTrace::LoadFromFile(const std::string& sFilename) {
  Guarded(kModule, "LoadFromFile()", [&] {
    const std::vector<uint8_t> bytes = ReadWholeFile(sFilename);

    auto staged = std::make_unique<CTrace>();
    std::vector<std::shared_ptr<CEvent>> events;
    std::vector<std::shared_ptr<CEvent>> deletedEvents;
    try {
      DocumentReader reader;
      try {
        Json::sax_parse(bytes.begin(), bytes.end(), &reader);
      } catch (const Json::parse_error& e) {
        Raise(ERR_BadParse, "Trace file is not valid JSON: " + Untagged(e));
      } catch (const Json::out_of_range& e) {
        Raise(ERR_BadParse, "Trace file holds a number out of range: " + Untagged(e));
      }

      const Json& document = reader.Document();
      const auto format = document.is_object() ? document.find("format") : document.end();
      if (!document.is_object() || format == document.end() || !format->is_string() ||
          format->get_ref<const std::string&>() != kFormatName) {
        Raise(ERR_WrongVersion, std::string("Not a Tarnvik trace file: its \"format\" must be \"") + kFormatName + "\"");
      }
      const auto version = document.find("version");
      if (version == document.end()) Raise(ERR_WrongVersion, "Trace file has no \"version\"");
      const bool supported = version->is_number_unsigned()
                                 ? version->get<uint64_t>() == static_cast<uint64_t>(kFormatVersion)
                                 : version->is_number_integer() && version->get<int64_t>() == kFormatVersion;
      if (!supported) {
        Raise(ERR_WrongVersion, "Unsupported trace file version " + version->dump() + " (this library reads version " +
                                    std::to_string(kFormatVersion) + ")");
      }

      const Json& properties = ObjectMember(document, "", "properties");
#define TARNVIK_READ_PROPERTY(name, member, limit) ReadMember(properties, "properties", name, staged->member, limit);
      TARNVIK_TRACE_FILE_PROPERTIES(TARNVIK_READ_PROPERTY)
#undef TARNVIK_READ_PROPERTY
      const Json& marks = ArrayMember(properties, "properties", "EventORLMark");
      if (marks.size() != 2) BadField("properties.EventORLMark", "must hold 2 values, not " + std::to_string(marks.size()));
      for (std::size_t i = 0; i < 2; ++i) {
        Read(marks[i], Indexed("properties.EventORLMark", i), staged->eventMarks_[i], Whole{});
      }

      const Json& cursors = ArrayMember(document, "", "cursors");
      if (cursors.size() != 2) BadField("cursors", "must hold 2 cursors (A and B), not " + std::to_string(cursors.size()));
      for (std::size_t c = 0; c < 2; ++c) {
        const std::string path = Indexed("cursors", c);
        if (!cursors[c].is_object()) WrongType(path, "an object", cursors[c]);
        ReadMember(cursors[c], path, "QRD", staged->cursorQRD_[c], Whole{});
        ReadMember(cursors[c], path, "Level", staged->cursorLevel_[c], Whole{});
      }

      events = EventsFrom(document, "events");
      deletedEvents = EventsFrom(document, "deletedEvents");

      ArrayMember(document, "", "samples");
      if (const Json* bad = reader.BadSample()) {
        int32_t ignored = 0;
        Read(*bad, Indexed("samples", reader.BadSampleIndex()), ignored, Whole{});
      }
      const std::vector<int32_t>& samples = reader.Samples();
      if (samples.size() > static_cast<std::size_t>(INT32_MAX)) BadField("samples", "holds too many samples");
      staged->dataPoints_.Reset(static_cast<int32_t>(samples.size()));
      std::copy(samples.begin(), samples.end(), staged->dataPoints_.begin());
    } catch (const Json::exception& e) {
      // Every access above checks its type first; this only keeps a JSON library
      // exception from ever escaping as something other than a numbered error.
      Raise(ERR_BadParse, "Trace file could not be read: " + Untagged(e));
    }

    // Everything is read and checked: commit. Nothing below can fail on content.
#define TARNVIK_COMMIT_PROPERTY(name, member, limit) member = std::move(staged->member);
    TARNVIK_TRACE_FILE_PROPERTIES(TARNVIK_COMMIT_PROPERTY)
#undef TARNVIK_COMMIT_PROPERTY
    adjustedIOR_ = groupIndex_ == 0 ? 0.0f : static_cast<float>(1.49896229 / groupIndex_ * 100000);
    for (std::size_t i = 0; i < 2; ++i) {
      eventMarks_[i] = staged->eventMarks_[i];
      cursorQRD_[i] = staged->cursorQRD_[i];
      cursorLevel_[i] = staged->cursorLevel_[i];
    }
    std::swap(dataPoints_, staged->dataPoints_);
    distancePoints_.Reset(0);  // a cache of display distances, rebuilt on request
    RestoreEvents(*events_, events);
    RestoreEvents(*deletedEvents_, deletedEvents);
    SetIsDirty(false);
  });
}

}  // namespace tarnvik
