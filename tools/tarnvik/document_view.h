// What the tool shows of a file as the inspection reader sees it: the readable report
// `info` prints for a SOR file that does not become a trace, the samples as
// tab-separated distance and level (`dump --tsv`), and the curves `plot` draws.
#pragma once

#include <string>
#include <vector>

#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TracePoints.h"

namespace tarnvik::tool {

// Everything the reader found: version, map with offsets, every field of every
// standard block, the other blocks by name and size, the checksum's verdict, warnings.
std::string DocumentText(const inspect::SorDocument& doc);

// A header line naming the columns, their units and the offsets the distance leaves
// out, then one line per sample: group (from 1), distance, level; groups one after
// another. A distance is empty when the file gives none, a level "NaN" for a group of
// scale factor 0.
std::string DocumentTsv(const inspect::SorDocument& doc);

// One curve of a plot: the samples from `first` on, `count` of them, and its name.
struct Curve {
  std::size_t first = 0;
  std::size_t count = 0;
  std::string name;
};

// One curve per scale-factor group; with one group and several pulse widths, one per
// pulse width (each over its own sample count, the last over the rest).
std::vector<Curve> DocumentCurves(const inspect::SorDocument& doc);

}  // namespace tarnvik::tool
