// An SVG picture of a trace as an OTDR screen shows it: the level falling with distance
// in the trace's display unit, the events marked and numbered, the two cursors, axes
// with tick labels, and a table of the events below. No plotting library is involved.
//
// The picture's parts carry classes a program can find: "trace" (the sample path),
// "event" groups with data-number, "cursor" groups with data-cursor "A" or "B", "axis".
#pragma once

#include <string>
#include <vector>

#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::tool {

// Text made safe for XML character data and attribute values; characters XML does not
// allow (controls other than tab, line feed and carriage return) become "?".
std::string XmlEscape(const std::string& text);

// About maxTicks evenly spaced round values (1, 2, 2.5 or 5 times a power of ten)
// covering lo..hi; the first is at or below lo, the last at or above hi.
std::vector<double> NiceTicks(double lo, double hi, int maxTicks);

// One point of the decimated sample path, in sample units: the 0-based sample index and
// its value.
struct PathPoint {
  double index;
  int32_t value;
};

// The samples reduced to at most two points per column for `columns` columns: where a
// column holds more than two samples, its smallest and largest value in the order they
// occur. With no more than 2 x columns samples, every sample.
std::vector<PathPoint> DecimateMinMax(const std::vector<int32_t>& samples, int columns);

// The whole picture; title is shown above the plot (usually the file name).
std::string RenderTraceSvg(const CTrace& trace, const std::string& title);

// A file that does not become a trace, as the inspection reader sees it: the level (dB
// below the top of the scale) against the distance from the first sample in the file's
// unit (no offset applied; the sample number when the file gives no distance), one
// "curve" path per scale-factor group or pulse width (DocumentCurves) with a legend
// when there are several, and the key events marked ("event" groups with data-number).
std::string RenderDocumentSvg(const inspect::SorDocument& doc, const std::string& title);

}  // namespace tarnvik::tool
