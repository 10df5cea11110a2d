#include "plot_svg.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <optional>

#include "document_view.h"
#include "info.h"
#include "names.h"
#include "trace_view.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::tool {

namespace {

// Layout, in SVG user units (pixels).
constexpr double kWidth = 1100;
constexpr double kLeft = 80;
constexpr double kRight = 30;
constexpr double kTop = 112;  // title, subtitle, cursor readout, cursor labels, event badges
constexpr double kPlotHeight = 440;
constexpr double kPlotWidth = kWidth - kLeft - kRight;
constexpr double kRowHeight = 18;
constexpr int kMaxTableRows = 16;

const char* kTraceColour = "#1f4e9c";
const char* kCursorColours[2] = {"#2a9d3a", "#8e44ad"};

std::string Num(double v) { return Fixed(v, 1); }

// Decimals needed to write every multiple of step exactly.
int StepDecimals(double step) {
  for (int d = 0; d < 7; ++d) {
    const double scaled = step * std::pow(10.0, d);
    if (std::fabs(scaled - std::round(scaled)) < 1e-6 * std::max(1.0, scaled)) return d;
  }
  return 6;
}

enum class Kind { Reflective, NonReflective, End, Other };

Kind KindOf(int32_t type) {
  switch (type) {
    case EVTYPE_Reflective:
    case EVTYPE_ReflectiveGainer:
    case EVTYPE_Clipped: return Kind::Reflective;
    case EVTYPE_NonReflective:
    case EVTYPE_NonReflectiveGainer:
    case EVTYPE_Multiple: return Kind::NonReflective;
    case EVTYPE_ReflectiveEnd:
    case EVTYPE_NonReflectiveEnd:
    case EVTYPE_EstimatedEnd:
    case EVTYPE_End: return Kind::End;
    default: return Kind::Other;
  }
}

const char* ColourOf(Kind kind) {
  switch (kind) {
    case Kind::Reflective: return "#d62728";
    case Kind::NonReflective: return "#e67e22";
    case Kind::End: return "#7b3f00";
    case Kind::Other: return "#666666";
  }
  return "#666666";
}

class Scale {
 public:
  Scale(double lo, double hi, double from, double to) : lo_(lo), hi_(hi), from_(from), to_(to) {}
  double operator()(double v) const { return from_ + (v - lo_) / (hi_ - lo_) * (to_ - from_); }
  bool Contains(double v) const { return v >= std::min(lo_, hi_) && v <= std::max(lo_, hi_); }

 private:
  double lo_, hi_, from_, to_;
};

std::string Text(double x, double y, const std::string& text, const std::string& attributes = "") {
  return "<text x=\"" + Num(x) + "\" y=\"" + Num(y) + "\"" + (attributes.empty() ? "" : " " + attributes) + ">" +
         XmlEscape(text) + "</text>\n";
}

std::string Subtitle(const CTrace& t) {
  std::string s = std::to_string(t.NominalWavelength()) + " nm, " + std::to_string(t.PulseWidth()) + " ns, " +
                  std::to_string(t.Samples()) + " samples, " + DateText(t.TimeStamp());
  if (t.CableID().find_first_not_of(' ') != std::string::npos) s += ", cable " + t.CableID();
  s += ", fibre " + std::to_string(t.FiberNumber());
  if (t.TestSite().find_first_not_of(' ') != std::string::npos ||
      t.FarSite().find_first_not_of(' ') != std::string::npos) {
    s += ", " + t.TestSite() + " to " + t.FarSite();
  }
  return s;
}

}  // namespace

std::string XmlEscape(const std::string& text) {
  std::string out;
  out.reserve(text.size());
  for (const char c : text) {
    switch (c) {
      case '&': out += "&amp;"; break;
      case '<': out += "&lt;"; break;
      case '>': out += "&gt;"; break;
      case '"': out += "&quot;"; break;
      case '\'': out += "&apos;"; break;
      default:
        if (static_cast<unsigned char>(c) < 0x20 && c != '\t' && c != '\n' && c != '\r') {
          out += '?';
        } else {
          out += c;
        }
    }
  }
  return out;
}

std::vector<double> NiceTicks(double lo, double hi, int maxTicks) {
  if (!(hi > lo)) {
    const double pad = std::max(1.0, std::fabs(lo) * 0.1);
    lo -= pad;
    hi += pad;
  }
  const double rough = (hi - lo) / std::max(1, maxTicks);
  const double power = std::pow(10.0, std::floor(std::log10(rough)));
  double step = power * 10;
  for (const double m : {1.0, 2.0, 2.5, 5.0, 10.0}) {
    if (m * power >= rough) {
      step = m * power;
      break;
    }
  }
  std::vector<double> ticks;
  const double first = std::floor(lo / step + 1e-9) * step;
  for (double v = first; ticks.empty() || ticks.back() < hi - 1e-9 * step; v += step) {
    ticks.push_back(std::fabs(v) < step * 1e-9 ? 0.0 : v);
    if (ticks.size() > 1000) break;
  }
  if (ticks.size() == 1) ticks.push_back(first + step);
  return ticks;
}

std::vector<PathPoint> DecimateMinMax(const std::vector<int32_t>& samples, int columns) {
  std::vector<PathPoint> points;
  const std::size_t n = samples.size();
  if (columns < 1) columns = 1;
  if (n <= 2 * static_cast<std::size_t>(columns)) {
    points.reserve(n);
    for (std::size_t i = 0; i < n; ++i) points.push_back({static_cast<double>(i), samples[i]});
    return points;
  }
  points.reserve(2 * static_cast<std::size_t>(columns));
  std::size_t start = 0;
  for (int c = 0; c < columns; ++c) {
    const auto end = static_cast<std::size_t>(static_cast<double>(n) * (c + 1) / columns);
    if (end <= start) continue;
    std::size_t lo = start, hi = start;
    for (std::size_t i = start; i < end; ++i) {
      if (samples[i] < samples[lo]) lo = i;
      if (samples[i] > samples[hi]) hi = i;
    }
    const std::size_t first = std::min(lo, hi), second = std::max(lo, hi);
    points.push_back({static_cast<double>(first), samples[first]});
    if (second != first) points.push_back({static_cast<double>(second), samples[second]});
    start = end;
  }
  return points;
}

namespace {

// The picture's head, title and caption lines, grid, frame, tick labels and axis names,
// shared by the trace plot and the plot of a file that is not a trace.
std::string PlotFrame(double height, const std::string& title, const std::vector<std::string>& captions,
                      const std::vector<double>& xTicks, const Scale& x, const std::vector<double>& yTicks,
                      const Scale& y, const std::string& xLabel) {
  std::string s;
  s += "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n";
  s += "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"" + Num(kWidth) + "\" height=\"" + Num(height) +
       "\" viewBox=\"0 0 " + Num(kWidth) + " " + Num(height) +
       "\" font-family=\"DejaVu Sans, Helvetica, Arial, sans-serif\" font-size=\"12\">\n";
  s += "<title>" + XmlEscape(title) + "</title>\n";
  s += "<rect width=\"100%\" height=\"100%\" fill=\"#ffffff\"/>\n";
  s += "<defs><clipPath id=\"plot-area\"><rect x=\"" + Num(kLeft) + "\" y=\"" + Num(kTop) + "\" width=\"" +
       Num(kPlotWidth) + "\" height=\"" + Num(kPlotHeight) + "\"/></clipPath></defs>\n";
  s += Text(kLeft, 26, title, "font-size=\"17\" font-weight=\"bold\" fill=\"#222\"");
  for (std::size_t i = 0; i < captions.size(); ++i) {
    s += Text(kLeft, 46 + 20 * static_cast<double>(i), captions[i], "fill=\"#555\"");
  }

  // Grid, axes and tick labels.
  s += "<g class=\"axis\" stroke=\"#e3e3e3\" stroke-width=\"1\">\n";
  for (const double v : xTicks) s += "<line x1=\"" + Num(x(v)) + "\" y1=\"" + Num(kTop) + "\" x2=\"" + Num(x(v)) +
                                     "\" y2=\"" + Num(kTop + kPlotHeight) + "\"/>\n";
  for (const double v : yTicks) s += "<line x1=\"" + Num(kLeft) + "\" y1=\"" + Num(y(v)) + "\" x2=\"" +
                                     Num(kLeft + kPlotWidth) + "\" y2=\"" + Num(y(v)) + "\"/>\n";
  s += "</g>\n";
  s += "<rect class=\"axis\" x=\"" + Num(kLeft) + "\" y=\"" + Num(kTop) + "\" width=\"" + Num(kPlotWidth) +
       "\" height=\"" + Num(kPlotHeight) + "\" fill=\"none\" stroke=\"#444\" stroke-width=\"1\"/>\n";
  s += "<g class=\"axis\" fill=\"#333\">\n";
  const int xd = StepDecimals(xTicks[1] - xTicks[0]);
  for (const double v : xTicks) s += Text(x(v), kTop + kPlotHeight + 17, Fixed(v, xd), "text-anchor=\"middle\"");
  const int yd = StepDecimals(yTicks[1] - yTicks[0]);
  for (const double v : yTicks) s += Text(kLeft - 8, y(v) + 4, Fixed(v, yd), "text-anchor=\"end\"");
  s += Text(kLeft + kPlotWidth / 2, kTop + kPlotHeight + 40, xLabel,
            "text-anchor=\"middle\" font-size=\"13\"");
  s += "<text transform=\"translate(22 " + Num(kTop + kPlotHeight / 2) +
       ") rotate(-90)\" text-anchor=\"middle\" font-size=\"13\">Level (dB)</text>\n";
  s += "</g>\n";
  return s;
}

}  // namespace

std::string RenderTraceSvg(const CTrace& t, const std::string& title) {
  const auto units = t.DistanceUnits();
  const std::string unitName = UnitName(units);
  const int dd = DistanceDecimals(units);
  const auto samples = t.DataPointArray();
  const auto events = t.Events();

  // Horizontal: distance from 0 to the last sample, on round ticks.
  const double lastDistance = t.QRDToDisplayDist(LastSampleQRD(t), units);
  const auto xTicks = NiceTicks(0.0, lastDistance > 0 ? lastDistance : 1.0, 10);
  const Scale x(xTicks.front(), xTicks.back(), kLeft, kLeft + kPlotWidth);

  // Vertical: the level in dB, -sample / 1000, so that less power is lower.
  double levelLo = -1, levelHi = 0;
  if (!samples.empty()) {
    const auto [lo, hi] = std::minmax_element(samples.begin(), samples.end());
    levelLo = -*hi / 1000.0;
    levelHi = -*lo / 1000.0;
  }
  const auto yTicks = NiceTicks(levelLo, levelHi, 8);
  const Scale y(yTicks.front(), yTicks.back(), kTop + kPlotHeight, kTop);

  const int eventCount = events->Count();
  const int tableRows = std::min(eventCount, kMaxTableRows) + (eventCount > kMaxTableRows ? 1 : 0);
  const double tableTop = kTop + kPlotHeight + 78;
  const double height = eventCount > 0 ? tableTop + (tableRows + 1) * kRowHeight + 16 : kTop + kPlotHeight + 64;

  std::string s = PlotFrame(height, title, {Subtitle(t)}, xTicks, x, yTicks, y, "Distance (" + unitName + ")");

  // The samples, at most two points per pixel column.
  if (samples.empty()) {
    s += Text(kLeft + kPlotWidth / 2, kTop + kPlotHeight / 2, "No samples",
              "text-anchor=\"middle\" font-size=\"16\" fill=\"#999\"");
  } else {
    const double perSample = samples.size() > 1 ? lastDistance / static_cast<double>(samples.size() - 1) : 0.0;
    const int columns = std::max(1, static_cast<int>(std::ceil(x(lastDistance) - kLeft)));
    std::string d;
    for (const auto& p : DecimateMinMax(samples, columns)) {
      d += (d.empty() ? "M" : " L") + Num(x(p.index * perSample)) + " " + Num(y(-p.value / 1000.0));
    }
    s += "<path class=\"trace\" clip-path=\"url(#plot-area)\" fill=\"none\" stroke=\"" + std::string(kTraceColour) +
         "\" stroke-width=\"1.2\" stroke-linejoin=\"round\" d=\"" + d + "\"/>\n";
  }

  // Events: a dotted line at the position, a numbered badge above the plot and a dot on
  // the trace where the event begins (the level a little before it, off any peak).
  const float sampleQRD = samples.empty() ? 0.0f : static_cast<float>(t.AquisitionRange()) / static_cast<float>(samples.size());
  double previousBadgeX = -1e9;
  int stack = 0;
  for (const auto& e : *events) {
    const double dist = t.QRDToDisplayDist(e->LocationQRD(), units);
    if (!x.Contains(dist)) continue;
    const double ex = x(dist);
    const auto level = LevelAtQRD(t, samples, e->LocationQRD() - 2 * sampleQRD);
    const double ey = level ? y(-*level / 1000.0) : kTop + kPlotHeight / 2;
    // Badges closer than their width go one row further down.
    stack = ex - previousBadgeX < 20 ? stack + 1 : 0;
    previousBadgeX = ex;
    const double by = kTop - 11 + stack * 20.0;
    const char* colour = ColourOf(KindOf(e->EType()));
    s += "<g class=\"event\" data-number=\"" + std::to_string(e->Number()) + "\">\n";
    s += "<line x1=\"" + Num(ex) + "\" y1=\"" + Num(by) + "\" x2=\"" + Num(ex) + "\" y2=\"" +
         Num(kTop + kPlotHeight) + "\" stroke=\"" + colour + "\" stroke-opacity=\"0.55\" stroke-dasharray=\"2 3\"/>\n";
    s += "<circle cx=\"" + Num(ex) + "\" cy=\"" + Num(ey) + "\" r=\"4\" fill=\"" + colour +
         "\" stroke=\"#fff\" stroke-width=\"1\"/>\n";
    s += "<circle cx=\"" + Num(ex) + "\" cy=\"" + Num(by) + "\" r=\"9\" fill=\"" + colour + "\"/>\n";
    s += Text(ex, by + 4, std::to_string(e->Number()),
              "text-anchor=\"middle\" font-size=\"11\" font-weight=\"bold\" fill=\"#fff\"");
    s += "</g>\n";
  }

  // Cursors: dashed lines with their letter above the plot, and the distance between them.
  std::optional<double> cursorLevel[2];
  for (const auto c : {Acursor, Bcursor}) {
    const int i = c - 1;
    const double dist = t.CursorDistance(c);
    cursorLevel[i] = LevelAtQRD(t, samples, t.CursorQRD(c));
    if (!x.Contains(dist)) continue;
    const double cx = x(dist);
    const std::string name = c == Acursor ? "A" : "B";
    s += "<g class=\"cursor\" data-cursor=\"" + name + "\">\n";
    s += "<line x1=\"" + Num(cx) + "\" y1=\"" + Num(kTop) + "\" x2=\"" + Num(cx) + "\" y2=\"" +
         Num(kTop + kPlotHeight) + "\" stroke=\"" + kCursorColours[i] + "\" stroke-width=\"1.3\" stroke-dasharray=\"6 4\"/>\n";
    s += "<line x1=\"" + Num(cx) + "\" y1=\"" + Num(kTop - 26) + "\" x2=\"" + Num(cx) + "\" y2=\"" + Num(kTop) +
         "\" stroke=\"" + kCursorColours[i] + "\" stroke-width=\"1.3\"/>\n";
    s += "<rect x=\"" + Num(cx - 8) + "\" y=\"" + Num(kTop - 42) + "\" width=\"16\" height=\"16\" rx=\"3\" fill=\"" +
         kCursorColours[i] + "\"/>\n";
    s += Text(cx, kTop - 30, name, "text-anchor=\"middle\" font-weight=\"bold\" fill=\"#fff\"");
    s += "</g>\n";
  }
  std::string readout = "A " + Fixed(t.CursorDistance(Acursor), dd) + " " + unitName + ", B " +
                        Fixed(t.CursorDistance(Bcursor), dd) + " " + unitName + ", B - A " +
                        Fixed(t.CursorDistance(Bcursor) - t.CursorDistance(Acursor), dd) + " " + unitName;
  if (cursorLevel[0] && cursorLevel[1]) readout += ", " + Fixed((*cursorLevel[1] - *cursorLevel[0]) / 1000.0, 3) + " dB";
  s += Text(kLeft, 66, "Cursors: " + readout, "fill=\"#333\"");

  // The events as a table below the plot.
  if (eventCount > 0) {
    const double cols[] = {kLeft, kLeft + 30, kLeft + 190, kLeft + 320, kLeft + 420, kLeft + 560, kLeft + 660};
    double row = tableTop;
    s += "<g class=\"event-table\" fill=\"#333\">\n";
    const char* heads[] = {"#", "Type", "Distance (", "Loss (dB)", "Reflectance (dB)", "Level (dB)", "Comment"};
    for (int c = 0; c < 7; ++c) {
      const std::string head = c == 2 ? std::string(heads[c]) + unitName + ")" : heads[c];
      s += Text(cols[c], row, head, "font-weight=\"bold\"");
    }
    int shown = 0;
    for (const auto& e : *events) {
      if (shown == kMaxTableRows) {
        row += kRowHeight;
        s += Text(cols[1], row, "... and " + std::to_string(eventCount - shown) + " more events");
        break;
      }
      ++shown;
      row += kRowHeight;
      s += "<circle cx=\"" + Num(cols[0] + 7) + "\" cy=\"" + Num(row - 4) + "\" r=\"8\" fill=\"" +
           ColourOf(KindOf(e->EType())) + "\"/>\n";
      s += Text(cols[0] + 7, row, std::to_string(e->Number()),
                "text-anchor=\"middle\" font-size=\"10\" font-weight=\"bold\" fill=\"#fff\"");
      s += Text(cols[1], row, EventTypeText(e->EType()));
      s += Text(cols[2], row, Fixed(t.QRDToDisplayDist(e->LocationQRD(), units), dd));
      s += Text(cols[3], row, Fixed(e->Loss(), 3));
      s += Text(cols[4], row, ReflectanceText(e->Reflectance(), 1));
      s += Text(cols[5], row, Fixed(e->Level(), 3));
      s += Text(cols[6], row, e->Comment());
    }
    s += "</g>\n";
  }
  s += "</svg>\n";
  return s;
}

std::string RenderDocumentSvg(const inspect::SorDocument& doc, const std::string& title) {
  const inspect::TracePoints points = inspect::ComputeTracePoints(doc);
  const bool byDistance = !points.distances.empty();
  const std::string unit = byDistance ? (points.unit == "mt" ? std::string("m") : points.unit) : "";
  const auto position = [&](std::size_t i) { return byDistance ? points.distances[i] : static_cast<double>(i); };
  const std::size_t n = points.levels.size();
  const auto curves = DocumentCurves(doc);

  double last = n > 1 ? position(n - 1) : 1.0;
  for (std::size_t i = 0; i < n; ++i) last = std::max(last, position(i));
  const auto xTicks = NiceTicks(0.0, last > 0 ? last : 1.0, 10);
  const Scale x(xTicks.front(), xTicks.back(), kLeft, kLeft + kPlotWidth);
  double levelLo = 0, levelHi = 0;
  bool any = false;
  for (const double v : points.levels) {
    if (!std::isfinite(v)) continue;
    levelLo = any ? std::min(levelLo, v) : v;
    levelHi = any ? std::max(levelHi, v) : v;
    any = true;
  }
  if (!any) levelLo = -1;
  const auto yTicks = NiceTicks(levelLo, levelHi, 8);
  const Scale y(yTicks.front(), yTicks.back(), kTop + kPlotHeight, kTop);
  const double legendTop = kTop + kPlotHeight + 64;
  const double height = legendTop + (curves.size() > 1 ? static_cast<double>(curves.size()) * kRowHeight : 0) + 16;

  std::string subtitle = "SR-4731 version " + std::to_string(doc.version);
  if (doc.genParams) subtitle += ", " + std::to_string(doc.genParams->nominalWavelength) + " nm";
  subtitle += ", " + std::to_string(n) + " samples; not a trace of the library: drawn from the file as read";
  if (byDistance) subtitle += ", distance from the first sample, no offset applied";

  std::vector<std::string> captions = {subtitle};
  if (!points.note.empty()) captions.push_back(points.note);
  std::string s = PlotFrame(height, title, captions, xTicks, x, yTicks, y,
                            byDistance ? "Distance (" + unit + ")" : "Sample");

  // Each curve at most two points per pixel column, as for a trace; levels in
  // thousandths of a dB so that the same decimation serves.
  const char* colours[] = {kTraceColour, "#d62728", "#2a9d3a", "#e67e22", "#8e44ad", "#7b3f00"};
  if (n == 0) {
    s += Text(kLeft + kPlotWidth / 2, kTop + kPlotHeight / 2, "No samples",
              "text-anchor=\"middle\" font-size=\"16\" fill=\"#999\"");
  }
  std::size_t c = 0;
  for (const Curve& curve : curves) {
    const char* colour = colours[c++ % std::size(colours)];
    if (curve.count == 0) continue;
    std::vector<int32_t> values;
    values.reserve(curve.count);
    for (std::size_t i = curve.first; i < curve.first + curve.count && i < n; ++i) {
      values.push_back(std::isfinite(points.levels[i]) ? static_cast<int32_t>(std::lround(-points.levels[i] * 1000))
                                                       : 0);
    }
    const double span = x(position(curve.first + values.size() - 1)) - x(position(curve.first));
    const int columns = std::max(1, static_cast<int>(std::ceil(span)));
    std::string d;
    for (const auto& p : DecimateMinMax(values, columns)) {
      const std::size_t i = curve.first + static_cast<std::size_t>(p.index);
      d += (d.empty() ? "M" : " L") + Num(x(position(i))) + " " + Num(y(-p.value / 1000.0));
    }
    s += "<path class=\"curve\" data-name=\"" + XmlEscape(curve.name) +
         "\" clip-path=\"url(#plot-area)\" fill=\"none\" stroke=\"" + colour +
         "\" stroke-width=\"1.2\" stroke-linejoin=\"round\" d=\"" + d + "\"/>\n";
  }

  // Key events: a dotted line at the distance of their travel time and a numbered badge.
  if (byDistance && doc.keyEvents) {
    for (std::size_t k = 0; k < doc.keyEvents->events.size(); ++k) {
      const auto& e = doc.keyEvents->events[k];
      const double dist = points.eventDistances[k];
      if (std::isnan(dist) || !x.Contains(dist)) continue;
      const double ex = x(dist), by = kTop - 11;
      const char* colour = ColourOf(e.kind == inspect::EventKind::NonReflective ? Kind::NonReflective
                                    : e.origin == inspect::EventOrigin::EndOfFiber ? Kind::End
                                                                                   : Kind::Reflective);
      s += "<g class=\"event\" data-number=\"" + std::to_string(e.number) + "\">\n";
      s += "<line x1=\"" + Num(ex) + "\" y1=\"" + Num(by) + "\" x2=\"" + Num(ex) + "\" y2=\"" +
           Num(kTop + kPlotHeight) + "\" stroke=\"" + colour + "\" stroke-opacity=\"0.55\" stroke-dasharray=\"2 3\"/>\n";
      s += "<circle cx=\"" + Num(ex) + "\" cy=\"" + Num(by) + "\" r=\"9\" fill=\"" + colour + "\"/>\n";
      s += Text(ex, by + 4, std::to_string(e.number),
                "text-anchor=\"middle\" font-size=\"11\" font-weight=\"bold\" fill=\"#fff\"");
      s += "</g>\n";
    }
  }

  if (curves.size() > 1) {
    s += "<g class=\"legend\" fill=\"#333\">\n";
    double row = legendTop;
    c = 0;
    for (const Curve& curve : curves) {
      const char* colour = colours[c++ % std::size(colours)];
      s += "<line x1=\"" + Num(kLeft) + "\" y1=\"" + Num(row - 4) + "\" x2=\"" + Num(kLeft + 24) + "\" y2=\"" +
           Num(row - 4) + "\" stroke=\"" + colour + "\" stroke-width=\"2\"/>\n";
      s += Text(kLeft + 32, row, curve.name + " (" + std::to_string(curve.count) + " samples)");
      row += kRowHeight;
    }
    s += "</g>\n";
  }
  s += "</svg>\n";
  return s;
}

}  // namespace tarnvik::tool
