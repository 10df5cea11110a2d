// sor_dump: prints the map and blocks of a SOR trace file.
//
//   sor_dump                 builds a sample trace file with the library, saves it, loads
//                            it back and prints it
//   sor_dump FILE [--ignore-crc]
//                            loads FILE and prints it
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iomanip>
#include <iostream>
#include <memory>
#include <string>

#include "tarnvik/tarnvik.h"

using namespace tarnvik;

namespace {

// A 40 km trace of 4000 samples: fibre loss, a splice at 12 km, a connector at 25 km and
// the fibre end at 38 km, in thousandths of a dB (larger is less power).
std::shared_ptr<CSORFile> BuildSample() {
  auto sor = std::make_shared<CSORFile>();
  auto gen = sor->GenParamsBlock();
  gen->SetCableID("DEMO-CABLE-01");
  gen->SetFiberID("F007");
  gen->SetNominalWavelength(1550);
  gen->SetOriginatingLocation("Exchange A");
  gen->SetTerminatingLocation("Cabinet 12");
  gen->SetOperator("Tarnvik sample");
  gen->SetComment("Built by sor_dump");

  auto sup = sor->SupParamsBlock();
  sup->SetOTDRMainframeID("KTR915");
  sup->SetSoftwareRev("0.1");

  const int32_t samples = 4000;
  auto fxd = sor->FixedParamsBlock();
  fxd->SetActualWavelength(15500);
  fxd->SetPulseWidth(100);
  fxd->SetDataSpacing(1000000);  // 100 ps units per sample, times 10^4
  fxd->SetNumberDataPoints(samples);
  fxd->SetGroupIndex(146800);
  fxd->SetNumberOfAverages(1024);
  fxd->SetAcquisitionRange(4000000);

  auto data = sor->DataPointsBlock();
  data->SetNumberScaleFactorsUsed(1);
  data->SetScaleFactor(1, 1000);
  data->SetNumDataPointsForScaleFactor(1, samples);
  for (int32_t i = 1; i <= samples; ++i) {
    const double km = (i - 1) * 0.01;
    double level = 5000 + km * 200;           // 0.2 dB/km
    if (km > 12.0) level += 150;              // splice loss
    if (km > 25.0) level += 500;              // connector loss
    if (std::fabs(km - 25.0) < 0.03) level -= 8000;   // connector reflection
    if (km > 38.0) level = 60000 - (i % 7) * 300;     // noise after the end
    data->SetDataPoints(1, i, static_cast<int32_t>(std::lround(level)));
  }

  sor->AddKeyEventsBlock();
  auto events = sor->KeyEventsBlock();
  const struct {
    int32_t time, loss, reflectance;
    const char* code;
    const char* comment;
  } list[] = {{117000, 150, 0, "0F9999", "splice"},
              {244000, 500, -45000, "1F9999", "connector"},
              {371000, 0, -14000, "1E9999", "end"}};
  int16_t number = 1;
  for (const auto& e : list) {
    auto event = std::make_shared<CKeyEvent>();
    event->SetEventNumber(number++);
    event->SetEventPropagationTime(e.time);
    event->SetEventLoss(static_cast<int16_t>(e.loss));
    event->SetEventReflectance(e.reflectance);
    event->SetEventCode(e.code);
    event->SetComment(e.comment);
    events->KeyEvents()->Add(event);
  }
  events->SetEndtoEndLoss(8250);
  events->SetOpticalReturnLoss(38000);

  sor->AddOrvikBlock();
  auto orvik = sor->OrvikBlock();
  orvik->SetACursorLoc(500000);
  orvik->SetBCursorLoc(7000000);
  orvik->SetEventCount(3);
  for (int32_t i = 1; i <= 3; ++i) orvik->SetEventLevels(i, 7000 + 2000 * i);
  return sor;
}

void Print(const CSORFile& sor) {
  auto map = sor.MapBlock();
  std::cout << "Map: revision " << map->MapRevision() << ", " << map->MapSize() << " bytes, "
            << map->MapBlocks()->Count() << " entries\n";
  for (const auto& block : *map->MapBlocks()) {
    std::cout << "  " << std::left << std::setw(12) << block->BlockID() << std::right << " revision "
              << std::setw(3) << block->RevisionNum() << "  " << std::setw(6) << block->BlockSize() << " bytes\n";
  }

  auto gen = sor.GenParamsBlock();
  std::cout << "GenParams: language " << gen->LanguageCode() << ", cable \"" << gen->CableID() << "\", fibre \""
            << gen->FiberID() << "\", " << gen->NominalWavelength() << " nm, from \"" << gen->OriginatingLocation()
            << "\" to \"" << gen->TerminatingLocation() << "\", data flag " << gen->CurrentDataFlag()
            << ", operator \"" << gen->Operator() << "\", comment \"" << gen->Comment() << "\"\n";
  auto sup = sor.SupParamsBlock();
  std::cout << "SupParams: supplier \"" << sup->SupplierName() << "\", mainframe \"" << sup->OTDRMainframeID()
            << "\" SN \"" << sup->OTDRMainframeSN() << "\", software \"" << sup->SoftwareRev() << "\"\n";

  auto fxd = sor.FixedParamsBlock();
  std::cout << "FxdParams: date " << fxd->DateTime() << ", units " << fxd->DistanceUnits() << ", wavelength "
            << fxd->ActualWavelength() << ", pulse widths " << fxd->TotalNumberOfPulseWidths();
  if (fxd->TotalNumberOfPulseWidths() == 1) {
    std::cout << " (" << fxd->PulseWidth() << " ns, spacing " << fxd->DataSpacing() << ", "
              << fxd->NumberDataPoints() << " points)";
  }
  std::cout << ", group index " << fxd->GroupIndex() << ", range " << fxd->AcquisitionRange() << ", thresholds "
            << fxd->LossThreshold() << "/" << fxd->ReflectanceThreshold() << "/" << fxd->EndofFiberThreshold() << "\n";

  if (auto data = sor.DataPointsBlock()) {
    std::cout << "DataPts: " << data->TotalNumberofDataPoints() << " samples in " << data->NumberScaleFactorsUsed()
              << " scale factor group(s); largest " << sor.MaxLossVal() << "\n";
    for (int32_t s = 1; s <= data->NumberScaleFactorsUsed(); ++s) {
      const int32_t n = data->NumDataPointsForScaleFactor(s);
      std::cout << "  group " << s << ": factor " << data->ScaleFactor(s) << ", " << n << " samples";
      for (int32_t i = 1; i <= n && i <= 5; ++i) std::cout << (i == 1 ? ": " : ", ") << data->DataPoints(s, i);
      std::cout << (n > 5 ? ", ...\n" : "\n");
    }
  }
  if (auto events = sor.KeyEventsBlock()) {
    std::cout << "KeyEvents: " << events->KeyEvents()->Count() << " events, end-to-end loss "
              << events->EndtoEndLoss() << ", ORL " << events->OpticalReturnLoss() << "\n";
    for (const auto& e : *events->KeyEvents()) {
      std::cout << "  #" << e->EventNumber() << " at " << e->EventPropagationTime() << ", loss " << e->EventLoss()
                << ", reflectance " << e->EventReflectance() << ", code " << e->EventCode() << ", "
                << e->LossMT() << ", \"" << e->Comment() << "\"\n";
    }
  }
  if (auto orvik = sor.OrvikBlock()) {
    std::cout << "Orvik: cursors " << orvik->ACursorLoc() << " and " << orvik->BCursorLoc() << ", "
              << orvik->EventCount() << " event levels\n";
  }
  if (auto orvik2 = sor.Orvik2Block()) {
    std::cout << "Orvik2: revision " << orvik2->Revision() << ", " << orvik2->CursorCount() << " cursors, "
              << orvik2->Events()->Count() << " events\n";
  }
  for (const auto& block : *sor.ProprietaryBlocks()) {
    std::cout << "Kept raw: \"" << block->BlockID() << "\" revision " << block->Revision() << ", "
              << block->BlockSize() << " bytes\n";
  }
  std::cout << "Checksum stored in the file: " << sor.CRCValue() << "\n";
}

}  // namespace

int main(int argc, char** argv) {
  SetMessageBoxHandler([](const std::string& text) { std::cerr << text << "\n"; });
  try {
    std::string path;
    bool ignoreCRC = false;
    for (int i = 1; i < argc; ++i) {
      const std::string arg = argv[i];
      if (arg == "--ignore-crc") {
        ignoreCRC = true;
      } else if (path.empty()) {
        path = arg;
      } else {
        std::cerr << "usage: sor_dump [FILE [--ignore-crc]]\n";
        return 2;
      }
    }
    if (path.empty()) {
      path = (std::filesystem::temp_directory_path() / "tarnvik-sample.sor").string();
      BuildSample()->SaveToFile(path);
      std::cout << "Built a sample trace and saved it as " << path << " ("
                << std::filesystem::file_size(path) << " bytes); loading it back.\n\n";
    }
    auto sor = std::make_shared<CSORFile>();
    sor->LoadFromFile(path, ignoreCRC);
    std::cout << sor->FileName() << "\n";
    Print(*sor);
    return 0;
  } catch (const Error& e) {
    std::cerr << "Error " << e.Number() << " in " << e.Source() << ": " << e.Description() << "\n";
    return 1;
  }
}
