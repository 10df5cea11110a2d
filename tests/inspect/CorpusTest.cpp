// Every file of the outside corpus (beside the repository, when it is there) reads as a
// document with levels and distances; the counts of versions, warnings and checksum
// verdicts go to the test's log.
#include <gtest/gtest.h>

#include <filesystem>
#include <iostream>
#include <map>
#include <memory>
#include <string>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/inspect/SorDocument.h"
#include "tarnvik/inspect/TracePoints.h"

namespace tarnvik::testing {
namespace {

using namespace tarnvik::inspect;

TEST(InspectCorpusTest, EveryFileReads) {
  const std::filesystem::path root = TARNVIK_CORPUS_DIR;
  if (!std::filesystem::is_directory(root)) GTEST_SKIP() << "no corpus at " << root;
  std::map<std::string, int> files, warnings, verdicts;
  for (const char* folder : {"sor-v1", "sor-v2"}) {
    for (const auto& entry : std::filesystem::directory_iterator(root / folder)) {
      SCOPED_TRACE(entry.path().string());
      std::shared_ptr<const SorDocument> doc;
      try {
        doc = ReadSorDocument(entry.path().string());
      } catch (const Error& e) {
        ADD_FAILURE() << "error " << e.Number() << ": " << e.Description();
        continue;
      }
      ++files["version " + std::to_string(doc->version)];
      for (const Warning& w : doc->warnings) ++warnings[w.code];
      ++verdicts[doc->checksum.Text().substr(0, doc->checksum.Text().find(':'))];
      const TracePoints points = ComputeTracePoints(*doc);
      EXPECT_EQ(points.levels.size(), doc->dataPts->sampleCount);
      EXPECT_EQ(points.distances.size(), points.levels.size());
    }
  }
  const auto print = [](const char* what, const std::map<std::string, int>& counts) {
    std::cout << what << ":";
    for (const auto& [key, n] : counts) std::cout << " " << key << " x" << n << ";";
    std::cout << "\n";
  };
  print("corpus files", files);
  print("warnings", warnings);
  print("checksums", verdicts);
  EXPECT_GT(files.size(), 0u);
}

}  // namespace
}  // namespace tarnvik::testing
