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
#include "support/Fixtures.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/inspect/ConvertToV1.h"
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

// Every corpus file, converted with fit, is a file CSORFile and ReadTrace load; the
// counts of files converted as they are, with changes, and of each change go to the log.
class InspectCorpusConvertTest : public TempDirTest {};

TEST_F(InspectCorpusConvertTest, EveryFileConvertsWithFit) {
  const std::filesystem::path root = TARNVIK_CORPUS_DIR;
  if (!std::filesystem::is_directory(root)) GTEST_SKIP() << "no corpus at " << root;
  const std::string out = Path("converted.sor");
  std::map<std::string, int> outcomes, changes;
  for (const char* folder : {"sor-v1", "sor-v2"}) {
    for (const auto& entry : std::filesystem::directory_iterator(root / folder)) {
      SCOPED_TRACE(entry.path().string());
      try {
        const auto doc = ReadSorDocument(entry.path().string());
        const ConversionResult result = ConvertToV1(*doc, {.fit = true});
        ASSERT_FALSE(result.Refused());
        ReplaceWholeFile(out, result.bytes);
        ProveLoadsAsTrace(out);
        ++outcomes[result.issues.empty() ? "as they are" : "with changes"];
        for (const auto& issue : result.issues) ++changes[issue.kind];
      } catch (const Error& e) {
        ADD_FAILURE() << "error " << e.Number() << " from " << e.Source() << ": " << e.Description();
      }
    }
  }
  const auto print = [](const char* what, const std::map<std::string, int>& counts) {
    std::cout << what << ":";
    for (const auto& [key, n] : counts) std::cout << " " << key << " x" << n << ";";
    std::cout << "\n";
  };
  print("converted with fit", outcomes);
  print("changes", changes);
  EXPECT_GT(outcomes.size(), 0u);
}

}  // namespace
}  // namespace tarnvik::testing
