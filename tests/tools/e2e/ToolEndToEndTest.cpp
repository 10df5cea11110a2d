// The built `tarnvik` program on the bundled sample and on files made to fail: what it
// prints, what it writes and how it exits.
#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "support/XmlCheck.h"
#include "tarnvik/sor/CSORFile.h"

extern char** environ;

namespace tarnvik::testing {
namespace {

namespace fs = std::filesystem;
using Json = nlohmann::json;

struct Result {
  int code = -1;
  std::string out, err;
};

std::string Slurp(const std::string& path) {
  std::ifstream in(path, std::ios::binary);
  std::ostringstream s;
  s << in.rdbuf();
  return s.str();
}

std::vector<std::string> Lines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

class ToolTest : public TempDirTest {
 protected:
  // Runs a program with its output captured in files of the test's folder.
  Result RunProgram(const std::string& program, const std::vector<std::string>& args) {
    const std::string out = Path("stdout.txt"), err = Path("stderr.txt");
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<std::string> all = {program};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (auto& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    pid_t pid = 0;
    Result r;
    if (posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ) == 0) {
      int status = 0;
      waitpid(pid, &status, 0);
      r.code = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    }
    posix_spawn_file_actions_destroy(&actions);
    r.out = Slurp(out);
    r.err = Slurp(err);
    return r;
  }
  Result Tool(const std::vector<std::string>& args) { return RunProgram(TARNVIK_TOOL, args); }
  static std::string Sample() { return TARNVIK_SAMPLE; }
  // The trace part of `info --json` for one file.
  Json TraceOf(const std::string& file) {
    const Result r = Tool({"info", "--json", file});
    EXPECT_EQ(r.code, 0) << r.err;
    return Json::parse(r.out)["trace"];
  }
};

TEST_F(ToolTest, InfoShowsTheSampleAsTextAndJson) {
  const Result text = Tool({"info", Sample()});
  ASSERT_EQ(text.code, 0) << text.err;
  EXPECT_TRUE(text.err.empty());
  for (const char* expected : {"  Map: revision 100,", "    Cable           TRV-A-0144, type G.652.D 48F",
                               "    Wavelength      1310 nm nominal, 1310.0 nm actual", "  Events: 3",
                               "Fibre end, open connector"}) {
    EXPECT_NE(text.out.find(expected), std::string::npos) << expected << "\n" << text.out;
  }

  const Result json = Tool({"info", "--json", Sample()});
  ASSERT_EQ(json.code, 0) << json.err;
  ASSERT_EQ(Lines(json.out).size(), 1u) << "one object per file, one per line";
  const Json j = Json::parse(json.out);
  EXPECT_TRUE(j["ok"].get<bool>());
  EXPECT_EQ(j["format"], "sor");
  EXPECT_EQ(j["map"]["MapRevision"], 100);
  std::vector<std::string> ids;
  for (const auto& b : j["map"]["blocks"]) {
    ids.push_back(b["BlockID"]);
    EXPECT_EQ(b["read"], "parsed");
  }
  EXPECT_EQ(ids, (std::vector<std::string>{"GenParams", "SupParams", "FxdParams", "DataPts", "KeyEvents", "Orvik2",
                                           "Cksum"}));
  const Json& t = j["trace"];
  EXPECT_EQ(t["Samples"], 8000);
  EXPECT_EQ(t["GroupIndex"], 146800);
  EXPECT_EQ(t["PulseWidth"], 100);
  EXPECT_EQ(t["NominalWavelength"], 1310);
  EXPECT_EQ(t["ReflectanceThreshold"], 0);
  EXPECT_EQ(t["TimeStampText"], "2024-05-14 10:30:00");
  EXPECT_EQ(t["DistanceUnits"]["name"], "km");
  const double km[] = {6.5, 14.2, 24.6};
  ASSERT_EQ(t["events"].size(), 3u);
  for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(t["events"][i]["distance"].get<double>(), km[i], 0.001);
  EXPECT_EQ(t["events"][2]["EType"]["name"], "EVTYPE_ReflectiveEnd");
  EXPECT_NEAR(t["cursors"][0]["CursorDistance"].get<double>(), 2.0, 1e-3);
  EXPECT_NEAR(t["cursors"][1]["CursorDistance"].get<double>(), 20.0, 1e-3);
}

TEST_F(ToolTest, EveryFileIsTriedAndAnyFailureExitsOne) {
  const std::string missing = Path("missing.sor");
  const Result text = Tool({"info", Sample(), missing, Sample()});
  EXPECT_EQ(text.code, 1);
  EXPECT_EQ(text.err, missing + ": error 53 from CSORFile:LoadFromFile() (reported by CFileOperations:ReadTrace()): "
                                "File not found\n");
  EXPECT_EQ(Lines(text.out).size(), 2 * Lines(Tool({"info", Sample()}).out).size() + 2 + 2);

  const Result json = Tool({"info", "--json", Sample(), missing, Sample()});
  EXPECT_EQ(json.code, 1);
  const auto lines = Lines(json.out);
  ASSERT_EQ(lines.size(), 3u);
  const Json failed = Json::parse(lines[1]);
  EXPECT_FALSE(failed["ok"].get<bool>());
  EXPECT_EQ(failed["error"]["number"], 53);
  EXPECT_EQ(failed["error"]["description"], "File not found");
  EXPECT_TRUE(failed["map"].is_null()) << "a file that cannot be opened has no map";
  EXPECT_TRUE(Json::parse(lines[2])["ok"].get<bool>());

  for (const char* command : {"dump", "plot"}) {
    const Result r = Tool({command, missing});
    EXPECT_EQ(r.code, 1) << command;
    EXPECT_NE(r.err.find("error 53"), std::string::npos) << command << ": " << r.err;
  }
  const Result convert = Tool({"convert", missing, Path("out.trc")});
  EXPECT_EQ(convert.code, 1);
  EXPECT_NE(convert.err.find("error 53"), std::string::npos);
  EXPECT_FALSE(fs::exists(Path("out.trc")));
}

TEST_F(ToolTest, FilesThatDoNotBecomeTracesShowWhatWasRead) {
  // A data flag the library refuses, and a stored reflectance threshold the trace cannot
  // hold: both written into copies of the sample.
  const std::string bytes = Slurp(Sample());
  std::string cc = bytes;
  const auto flag = cc.find("BC");
  ASSERT_NE(flag, std::string::npos);
  cc.replace(flag, 2, "CC");
  std::ofstream(Path("cc.sor"), std::ios::binary) << cc;
  {
    CSORFile sor;
    sor.LoadFromFile(Sample());
    sor.FixedParamsBlock()->SetReflectanceThreshold(40000);
    sor.SaveToFile(Path("threshold.sor"));
  }

  const Result r = Tool({"info", Path("cc.sor"), Path("threshold.sor")});
  EXPECT_EQ(r.code, 1);
  const auto err = Lines(r.err);
  ASSERT_EQ(err.size(), 2u) << r.err;
  EXPECT_NE(err[0].find("cc.sor: error 5 from CGeneralParameterBlock:Let CurrentDataFlag()"), std::string::npos);
  EXPECT_NE(err[1].find("threshold.sor: error 5 from CTrace:Let ReflectanceThreshold()"), std::string::npos);
  EXPECT_NE(err[1].find("\"40\" is not allowed."), std::string::npos);

  const Result json = Tool({"info", "--json", Path("cc.sor"), Path("threshold.sor")});
  const auto lines = Lines(json.out);
  ASSERT_EQ(lines.size(), 2u);
  const Json ccj = Json::parse(lines[0]), th = Json::parse(lines[1]);
  EXPECT_EQ(ccj["map"]["blocks"][0]["read"], "failed");
  EXPECT_EQ(ccj["map"]["blocks"][1]["read"], "not read");
  EXPECT_EQ(ccj["error"]["origin"], "CGeneralParameterBlock:Let CurrentDataFlag()");
  EXPECT_EQ(th["error"]["origin"], "CTrace:Let ReflectanceThreshold()");
  EXPECT_EQ(th["blocks"]["FxdParams"]["ReflectanceThreshold"], 40000);
  EXPECT_EQ(th["blocks"]["KeyEvents"]["events"].size(), 3u);
  ASSERT_EQ(th["hints"].size(), 1u);
}

TEST_F(ToolTest, DumpWritesTheSamplesInEachStyle) {
  const struct {
    const char* style;
    std::size_t lines;
    const char* first;
  } cases[] = {{"0", 8000, "0"},
               {"1", 8001, "\"Index\",\"Data\""},
               {"2", 8001, "\"Index\",\"Data\",\"Raw Dist\",\"Display Dist\",\"Point from QRD\",\"QRD from Display Dist\""}};
  for (const auto& c : cases) {
    const Result r = Tool({"dump", Sample(), "--style", c.style});
    ASSERT_EQ(r.code, 0) << r.err;
    const auto lines = Lines(r.out);
    ASSERT_EQ(lines.size(), c.lines) << c.style;
    EXPECT_EQ(lines[0], std::string(c.first) + "\r") << "records end in CR LF";
  }
  const Result toFile = Tool({"dump", Sample(), "--style", "1", "-o", Path("samples.txt")});
  ASSERT_EQ(toFile.code, 0) << toFile.err;
  EXPECT_EQ(Slurp(Path("samples.txt")), Tool({"dump", Sample(), "--style", "1"}).out);
  // Sample 8001 does not exist; sample 8000 is in the noise after the fibre end.
  const auto last = Lines(Slurp(Path("samples.txt"))).back();
  EXPECT_EQ(last.substr(0, 5), "8000,");
}

TEST_F(ToolTest, PlotWritesAWellFormedPicture) {
  const Result r = Tool({"plot", Sample(), "-o", Path("sample.svg")});
  ASSERT_EQ(r.code, 0) << r.err;
  const XmlElement svg = ParseXml(Slurp(Path("sample.svg")));
  EXPECT_EQ(svg.name, "svg");
  EXPECT_EQ(svg.FindAll("class", "trace").size(), 1u);
  const auto events = svg.FindAll("class", "event");
  ASSERT_EQ(events.size(), 3u);
  EXPECT_EQ(events[2]->Attribute("data-number"), "3");
  EXPECT_EQ(svg.FindAll("data-cursor", "A").size(), 1u);
  EXPECT_EQ(svg.FindAll("data-cursor", "B").size(), 1u);
  EXPECT_NE(svg.AllText().find("Distance (km)"), std::string::npos);

  // A failed plot leaves an existing picture alone.
  std::ofstream(Path("keep.svg")) << "old";
  const Result failed = Tool({"plot", Path("missing.sor"), "-o", Path("keep.svg")});
  EXPECT_EQ(failed.code, 1);
  EXPECT_EQ(Slurp(Path("keep.svg")), "old");
  const Result noFolder = Tool({"plot", Sample(), "-o", Path("no/such/folder/x.svg")});
  EXPECT_EQ(noFolder.code, 1);
  EXPECT_NE(noFolder.err.find("error 76"), std::string::npos) << noFolder.err;
}

TEST_F(ToolTest, ConvertRoundTripKeepsTheTrace) {
  const std::string trc = Path("a.trc"), sor = Path("b.sor"), trc2 = Path("c.trc"), sor2 = Path("d.sor");
  for (const auto& [from, to] : std::vector<std::pair<std::string, std::string>>{
           {Sample(), trc}, {trc, sor}, {sor, trc2}, {trc2, sor2}}) {
    const Result r = Tool({"convert", from, to});
    ASSERT_EQ(r.code, 0) << r.err;
  }
  Json original = TraceOf(Sample()), viaOwn = TraceOf(trc), back = TraceOf(sor);
  // What differs by design: the file name, and MaxLossVal (the trace's own format
  // always gives 30000; an SR-4731 file its largest sample).
  EXPECT_EQ(back["FileName"], "b.sor");
  EXPECT_EQ(viaOwn["MaxLossVal"], 30000);
  EXPECT_EQ(original["MaxLossVal"], back["MaxLossVal"]);
  for (Json* t : {&original, &viaOwn, &back}) {
    t->erase("FileName");
    t->erase("MaxLossVal");
  }
  EXPECT_EQ(viaOwn, original);
  EXPECT_EQ(back, original);
  // Once read, a trace written again is written the same.
  EXPECT_EQ(Slurp(sor), Slurp(sor2));
  EXPECT_EQ(Slurp(sor).substr(0, 2), std::string("\x64\x00", 2)) << "map revision 100";
  EXPECT_EQ(Json::parse(Slurp(trc))["format"], "tarnvik-trace") << "the trace's own format";
}

TEST_F(ToolTest, FilesFromOtherInstrumentsAreShownPlottedDumpedAndConverted) {
  // Version 2, 20,000 samples, a stored reflectance threshold of 40000.
  const std::string v2 = Path("v2.sor"), out = Path("v1.sor");
  WriteFileBytes(v2, MakeStandardSor({.groupSamples = {20000}}));

  const Result info = Tool({"info", v2});
  EXPECT_EQ(info.code, 1);
  EXPECT_NE(info.out.find("  SR-4731 version 2: map revision 200"), std::string::npos) << info.out;
  EXPECT_LT(info.out.find("  Checksum: ok"), info.out.find("  Not read as a trace: error 10513"));
  EXPECT_NE(info.err.find("error 10513"), std::string::npos);
  EXPECT_EQ(Json::parse(Tool({"info", "--json", v2}).out)["document"]["DataPts"]["sampleCount"], 20000);

  const Result plot = Tool({"plot", v2, "-o", Path("v2.svg")});
  ASSERT_EQ(plot.code, 0) << plot.err;
  EXPECT_NE(plot.out.find("(not a trace, error 10513"), std::string::npos) << plot.out;
  EXPECT_EQ(ParseXml(Slurp(Path("v2.svg"))).FindAll("class", "curve").size(), 1u);

  const Result tsv = Tool({"dump", "--tsv", v2});
  ASSERT_EQ(tsv.code, 0) << tsv.err;
  EXPECT_EQ(Lines(tsv.out).size(), 20001u);
  EXPECT_EQ(Tool({"dump", "--tsv", "--style", "1", v2}).code, 2);

  // Refused without --fit: the values listed, nothing written; an existing output stays.
  std::ofstream(out) << "old";
  const Result refused = Tool({"convert", "--to-v1", v2, out});
  EXPECT_EQ(refused.code, 1);
  EXPECT_NE(refused.out.find("  Refused: 20,000 samples exceed the 16,377 one data block holds (error 6 from "
                             "CSORFile:ParseDataPointsBlock())\n"),
            std::string::npos)
      << refused.out;
  EXPECT_NE(refused.out.find("  Refused: stored reflectance threshold 40000"), std::string::npos);
  EXPECT_NE(refused.err.find("not converted: 2 value(s)"), std::string::npos) << refused.err;
  EXPECT_EQ(Slurp(out), "old");

  const Result fitted = Tool({"convert", "--to-v1", v2, out, "--fit"});
  ASSERT_EQ(fitted.code, 0) << fitted.err;
  EXPECT_NE(fitted.out.find("  Dropped: fibre type 652; "), std::string::npos) << fitted.out;
  EXPECT_NE(fitted.out.find("  Changed: samples decimated by 2: 20,000 -> 10,000"), std::string::npos);
  EXPECT_NE(fitted.out.find("  Changed: reflectance threshold 40000 -> 0\n"), std::string::npos);
  EXPECT_NE(fitted.out.find("loads with CSORFile and ReadTrace (2 value(s) changed)"), std::string::npos);
  EXPECT_EQ(TraceOf(out)["Samples"], 10000);

  EXPECT_EQ(Tool({"convert", "--to-v1", v2, Path("v1.trc"), "--fit"}).code, 2) << "only .sor is read as SR-4731";
  EXPECT_EQ(Tool({"convert", "--fit", v2, Path("x.sor")}).code, 2) << "--fit needs --to-v1";
  EXPECT_FALSE(fs::exists(Path("x.sor")));
}

TEST_F(ToolTest, UsageErrorsExitTwoAndHelpExitsZero) {
  const std::vector<std::vector<std::string>> usage = {
      {},
      {"frobnicate"},
      {"info"},
      {"info", Sample(), "--bogus"},
      {"dump", Sample(), "--style", "3"},
      {"dump", Sample(), Sample(), "-o", Path("not-a-folder.txt")},
      {"convert", Sample()},
      {"convert", Sample(), Sample(), Path("not-a-folder")},
  };
  for (const auto& args : usage) {
    const Result r = Tool(args);
    EXPECT_EQ(r.code, 2) << ::testing::PrintToString(args);
    EXPECT_FALSE(r.err.empty());
  }
  for (const char* command : {"info", "dump", "plot", "convert"}) {
    const Result r = Tool({command, "--help"});
    EXPECT_EQ(r.code, 0) << command;
    EXPECT_NE(r.out.find(std::string("Usage: tarnvik ") + command), std::string::npos) << r.out;
    EXPECT_NE(r.out.find("Exit codes"), std::string::npos);
  }
}

TEST_F(ToolTest, SampleGeneratorRewritesTheBundledSample) {
  const Result r = RunProgram(TARNVIK_MAKE_SAMPLE, {Path("sample.sor")});
  ASSERT_EQ(r.code, 0) << r.err;
  EXPECT_EQ(Slurp(Path("sample.sor")), Slurp(Sample()))
      << "examples/sample.sor is not what make_sample writes: rebuild it with the target 'sample'";
}

}  // namespace
}  // namespace tarnvik::testing
