// The sample dump: exact bytes of each style, empty traces, and what a failure leaves.
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <vector>

#include "support/Fixtures.h"
#include "tarnvik/trace/CTrace.h"

namespace tarnvik::testing {
namespace {

class DumpSamplesTest : public TempDirTest {
 protected:
  std::string Read(const std::string& name) const {
    std::ifstream in(Path(name), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
  }

  // Four samples over 8 QRD (one sample every 2 QRD), 1.0210915 m a QRD, in metres.
  static std::shared_ptr<CTrace> SmallTrace() {
    auto trace = std::make_shared<CTrace>();
    trace->SetGroupIndex(146800);
    trace->SetAquisitionRange(8);
    trace->SetSamples(4);
    const int32_t levels[] = {-5, 0, 123456, 2147483647};
    for (int32_t i = 1; i <= 4; ++i) trace->SetDataPoints(i, levels[i - 1]);
    trace->SetDistanceUnits(DU_Meters);
    return trace;
  }

  static constexpr const char* kHeader1 = "\"Index\",\"Data\"\r\n";
  static constexpr const char* kHeader2 =
      "\"Index\",\"Data\",\"Raw Dist\",\"Display Dist\",\"Point from QRD\",\"QRD from Display Dist\"\r\n";
};

TEST_F(DumpSamplesTest, EachStyleByteForByte) {
  const auto trace = SmallTrace();
  trace->DumpSamples(Path("s0.txt"), 0);
  EXPECT_EQ(Read("s0.txt"), "-5\r\n0\r\n123456\r\n2147483647\r\n");

  trace->DumpSamples(Path("s1.txt"), 1);
  EXPECT_EQ(Read("s1.txt"), std::string(kHeader1) + "1,-5\r\n2,0\r\n3,123456\r\n4,2147483647\r\n");

  // Positions 0, 2, 4, 6 QRD; the point back from each is (q x 4 / 8 + 0.5) rounded half
  // to even, so 0.5 and 2.5 go down and 1.5 and 3.5 go up.
  trace->DumpSamples(Path("s2.txt"), 2);
  EXPECT_EQ(Read("s2.txt"), std::string(kHeader2) +
                                "1,-5,0,0,0,0\r\n"
                                "2,0,2,2.042183,2,2\r\n"
                                "3,123456,4,4.084366,2,4\r\n"
                                "4,2147483647,6,6.126549,4,6\r\n");

  // Any other style is style 0, and an existing file is replaced.
  trace->DumpSamples(Path("s2.txt"), -3);
  EXPECT_EQ(Read("s2.txt"), Read("s0.txt"));
  trace->DumpSamples(Path("s9.txt"), 9);
  EXPECT_EQ(Read("s9.txt"), Read("s0.txt"));
}

TEST_F(DumpSamplesTest, NoSamplesGivesHeaderOrNothing) {
  const auto trace = std::make_shared<CTrace>();
  trace->DumpSamples(Path("e0.txt"), 0);
  trace->DumpSamples(Path("e1.txt"), 1);
  trace->DumpSamples(Path("e2.txt"), 2);
  trace->DumpSamples(Path("e5.txt"), 5);
  EXPECT_EQ(Read("e0.txt"), "");
  EXPECT_EQ(Read("e1.txt"), kHeader1);
  EXPECT_EQ(Read("e2.txt"), kHeader2);
  EXPECT_EQ(Read("e5.txt"), "");
}

TEST_F(DumpSamplesTest, FailuresKeepWhatWasWritten) {
  // A distance unit that does not exist fails at the first record, after the header.
  auto trace = SmallTrace();
  trace->SetDistanceUnits(static_cast<EnumDistanceUnits>(6));
  EXPECT_RAISES(trace->DumpSamples(Path("bad.txt"), 2), 10001, "CTrace:DumpSamples()",
                "Unrecognized Distance Unit: 6");
  EXPECT_EQ(Read("bad.txt"), kHeader2);
  // So does a trace without a group index, when distances go back to QRD.
  auto flat = std::make_shared<CTrace>();
  flat->SetAquisitionRange(8);
  flat->SetSamples(4);
  flat->SetDistanceUnits(DU_Kilometers);
  EXPECT_RAISES(flat->DumpSamples(Path("flat.txt"), 2), 11, "CTrace:DumpSamples()", "Division by zero");
  EXPECT_EQ(Read("flat.txt"), kHeader2);
  flat->DumpSamples(Path("flat.txt"), 1);  // styles without distances do not convert
  EXPECT_EQ(Read("flat.txt"), std::string(kHeader1) + "1,0\r\n2,0\r\n3,0\r\n4,0\r\n");

  // A trace of more than 32767 samples overflows the 16-bit sample index.
  auto huge = std::make_shared<CTrace>();
  huge->SetSamples(32768);
  EXPECT_RAISES(huge->DumpSamples(Path("huge.txt"), 1), 6, "CTrace:DumpSamples()", "Overflow");
  EXPECT_EQ(Read("huge.txt"), kHeader1);

  EXPECT_RAISES(trace->DumpSamples(Path("no-such-folder/x.txt"), 0), 76, "CTrace:DumpSamples()", "Path not found");
  EXPECT_RAISES(trace->DumpSamples("", 0), 52, "CTrace:DumpSamples()", "Bad file name or number");
  EXPECT_RAISES(trace->DumpSamples(Path("style.txt"), 32768), 6, "CTrace:DumpSamples()", "Overflow");

  // Every failure is logged under the trace's module and procedure.
  const auto lines = LogLines();
  ASSERT_FALSE(lines.empty());
  const auto fields = Fields(lines.back());
  ASSERT_GE(fields.size(), 4u);
  EXPECT_EQ(fields[0], "6");
  EXPECT_EQ(fields[2], "CTrace");
  EXPECT_EQ(fields[3], "DumpSamples()");
}

}  // namespace
}  // namespace tarnvik::testing
