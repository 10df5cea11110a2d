// The sample dump: the trace's samples as comma-separated text lines, optionally with the
// position conversions beside each sample so that the unit arithmetic can be checked by
// eye. Written straight to the file, so a failure leaves the records written before it.
#include <fstream>
#include <string>

#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik {

namespace {

void WriteLine(std::ofstream& out, const std::string& record) {
  out << record << "\r\n";
  if (!out) Raise(err::PathFileAccess);
}

std::string Field(int32_t value) { return std::to_string(value); }
std::string Field(float value) { return NumberText(value); }

}  // namespace

void CTrace::DumpSamples(const std::string& sFilename, int32_t nStyle) {
  Guarded(kModule, "DumpSamples()", [&] {
    const int16_t style = CheckInt16(nStyle);
    std::ofstream out = OpenNewFile(sFilename);

    if (style == 1) {
      WriteLine(out, "\"Index\",\"Data\"");
    } else if (style == 2) {
      WriteLine(out,
                "\"Index\",\"Data\",\"Raw Dist\",\"Display Dist\",\"Point from QRD\",\"QRD from Display Dist\"");
    }

    // The sample index is 16-bit: more than 32767 samples overflow (6).
    const int16_t last = CheckInt16(Samples());
    for (int32_t i = 1; i <= last; ++i) {
      // A record is formed whole before it is written, so a failing conversion leaves
      // only complete records in the file.
      std::string record;
      if (style == 1) {
        record = Field(i) + "," + Field(DataPoints(i));
      } else if (style == 2) {
        const float qrd = PointToQRD(i);
        const float display = PointToDisplayDist(i);
        record = Field(i) + "," + Field(DataPoints(i)) + "," + Field(qrd) + "," + Field(display) + "," +
                 Field(QRDToPoint(qrd)) + "," + Field(DisplayDistToQRD(display, DistanceUnits()));
      } else {
        record = Field(DataPoints(i));
      }
      WriteLine(out, record);
    }

    out.close();
    if (out.fail()) Raise(err::PathFileAccess);
  });
}

}  // namespace tarnvik
