// The SOR file container: exact bytes written, the fixed block order, map and checksum
// errors, truncated and damaged files, and the log a failure leaves.
#include <filesystem>
#include <random>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "support/SorBytes.h"
#include "tarnvik/sor/CSORFile.h"
#include "tarnvik/sor/CSORFiles.h"

namespace tarnvik::testing {
namespace {

class SorFile : public TempDirTest {
 protected:
  std::string Write(const std::string& name, const Bytes& bytes) {
    WriteFileBytes(Path(name), bytes);
    return Path(name);
  }
};

Bytes Prefix(const Bytes& b, std::size_t n) { return Bytes(b.data(), b.data() + n); }

Bytes KeyEventsBody() {
  BodyBuilder b;
  b.I16(2);
  b.I16(1).I32(1000).I16(0).I16(150).I32(45000).Chars("0F9999").Chars("2P").Text("splice");
  b.I16(2).I32(5000).I16(0).I16(300).I32(1000).Chars("1E9999").Chars("LS").Text("");
  b.I32(450).I32(0).I32(5000).U16(65535).I32(0).I32(5000);
  return b.bytes();
}

Bytes DataPtsBody(const std::vector<uint32_t>& samples) {
  BodyBuilder b;
  b.I32(static_cast<int64_t>(samples.size())).I16(1).I32(static_cast<int64_t>(samples.size())).I16(1000);
  for (uint32_t s : samples) b.U16(s);
  return b.bytes();
}

Bytes OrvikBody(int32_t a, int32_t b, const std::vector<uint32_t>& levels) {
  BodyBuilder body;
  body.I32(a).I32(b);
  for (uint32_t l : levels) body.U16(l);
  return body.bytes();
}

Bytes Orvik2Body201() {
  BodyBuilder b;
  b.Text("Orvik2").I16(2).I32(100).I32(-200).I16(1);
  b.I16(1).I32(7).I16(1).I16(2).I32(-3).Chars("0A9999").Chars("OT").I32(1).I32(2).I32(3).I32(4).I32(5).Text("c")
      .Chars("EN").U16(65000).I32(99);
  b.I16(-5);  // LastChangedBy (revision 201)
  return b.bytes();
}

TEST_F(SorFile, NewFileWritesExactlyTheDefaultBlocks) {
  auto sor = std::make_shared<CSORFile>();
  sor->SaveToFile(Path("new.sor"));
  const Bytes written = ReadFileBytes(Path("new.sor"));

  const Bytes expected = AssembleSor({{"GenParams", 110, DefaultGenParamsBody()},
                                      {"SupParams", 100, DefaultSupParamsBody()},
                                      {"FxdParams", 110, DefaultFxdParamsBody(sor->FixedParamsBlock()->DateTime())},
                                      {"DataPts", 100, EmptyDataPtsBody()}});
  EXPECT_EQ(written, expected);
  const MapImage map = ReadMap(written);
  EXPECT_EQ(map.blockCount, 6);
  ASSERT_EQ(map.entries.size(), 5u);
  EXPECT_EQ(map.entries.back().id, "Cksum");
  EXPECT_EQ(sor->MapBlock()->MapBlocks()->Count(), 5);
  EXPECT_EQ(sor->MapBlock()->MapSize(), map.mapSize);
  EXPECT_EQ(sor->CRCValue(), 0);  // saving does not change it
  EXPECT_EQ(LogLines(), std::vector<std::string>{});  // nothing deleted, so nothing to log
}

TEST_F(SorFile, LoadedFileIsSavedInTheFixedOrderWithUnknownBlocksBeforeTheChecksum) {
  const Bytes acme = {1, 2, 3, 0, 255};
  const Bytes source = AssembleSor({{"Acme", 7, acme},
                                    {"GenParams", 100, DefaultGenParamsBody()},
                                    {"KeyEvents", 100, KeyEventsBody()},
                                    {"Orvik", 100, OrvikBody(11, 22, {300, 65535})},
                                    {"SupParams", 100, DefaultSupParamsBody()},
                                    {"DataPts", 100, DataPtsBody({10, 65535, 7})},
                                    {"Orvik2", 201, Orvik2Body201()},
                                    {"FxdParams", 100, DefaultFxdParamsBody(44000)}});
  auto sor = std::make_shared<CSORFile>();
  int orvikEvents = 0;
  sor->OnOrvikBlock.Connect([&](bool present) { orvikEvents += present ? 1 : 100; });
  sor->LoadFromFile(Write("in.sor", source));
  EXPECT_EQ(orvikEvents, 1);
  EXPECT_EQ(sor->FileName(), "in.sor");
  EXPECT_EQ(sor->MaxLossVal(), 65535);
  EXPECT_EQ(sor->CRCValue(), Crc16(Bytes(source.begin(), source.end() - 2)));
  ASSERT_EQ(sor->ProprietaryBlocks()->Count(), 1);
  EXPECT_EQ(sor->ProprietaryBlocks()->Item(1)->Revision(), 7);
  EXPECT_EQ(sor->MapBlock()->MapBlocks()->Count(), 9);

  sor->SaveToFile(Path("out.sor"));
  // Positive reflectances are read as negative ones, so the key events come back with
  // -45000; the rest is as loaded.
  Bytes keyEvents = KeyEventsBody();
  BodyBuilder negative;
  negative.I32(-45000);
  std::copy(negative.bytes().begin(), negative.bytes().end(), keyEvents.begin() + 12);
  const Bytes expected = AssembleSor({{"GenParams", 110, DefaultGenParamsBody()},
                                      {"SupParams", 100, DefaultSupParamsBody()},
                                      {"FxdParams", 110, DefaultFxdParamsBody(44000)},
                                      {"DataPts", 100, DataPtsBody({10, 65535, 7})},
                                      {"KeyEvents", 110, keyEvents},
                                      {"Orvik", 100, OrvikBody(11, 22, {300, 65535})},
                                      {"Orvik2", 201, Orvik2Body201()},
                                      {"Acme", 7, acme}});
  EXPECT_EQ(ReadFileBytes(Path("out.sor")), expected);

  // Saving again what was loaded from the saved file gives the same bytes.
  auto again = std::make_shared<CSORFile>();
  again->LoadFromFile(Path("out.sor"));
  again->SaveToFile(Path("out2.sor"));
  EXPECT_EQ(ReadFileBytes(Path("out2.sor")), expected);
}

TEST_F(SorFile, MapAndChecksumErrors) {
  const Bytes valid = AssembleSor({{"GenParams", 100, DefaultGenParamsBody()}});
  {
    Bytes v2 = valid;
    v2[0] = 'M';
    v2[1] = 'a';
    EXPECT_RAISES(CSORFile().LoadFromFile(Write("v2.sor", v2)), 10513, "CSORFile:LoadFromFile()",
                  "Unrecognized file format version \"24909\"");
  }
  {
    // Entries that end short of the map size are a parse error; the map and the "Cksum"
    // body are decoded directly, so a field past their end is a subscript error.
    BodyBuilder longer;  // the map claims two bytes more than its entries fill
    longer.U16(100).I32(8 + 16 + 2).I16(2).Text("GenParams").U16(100).I32(24).U8(0).U8(0).Raw(DefaultGenParamsBody());
    BodyBuilder shorter;  // three blocks counted, one entry present
    shorter.U16(100).I32(8 + 16).I16(3).Text("GenParams").U16(100).I32(24).Raw(DefaultGenParamsBody());
    const struct {
      Bytes file;
      int32_t number;
      std::string description;
    } cases[] = {
        {longer.bytes(), 10512, "Not all data in the Map Block was parsed.\r\nBlock Size: 26, Parsed: 24."},
        {shorter.bytes(), 9, "Subscript out of range"},
        {AssembleSor({{"GenParams", 100, DefaultGenParamsBody()}, {"Cksum", 100, {0x12}}}, false), 9,
         "Subscript out of range"},
    };
    for (const auto& c : cases) {
      EXPECT_RAISES(CSORFile().LoadFromFile(Write("map.sor", c.file), true), c.number, "CSORFile:LoadFromFile()",
                    c.description);
    }
  }
  {
    Bytes wrong = valid;
    wrong[wrong.size() - 1] ^= 0x01;
    const uint16_t stored = static_cast<uint16_t>(wrong[wrong.size() - 2] | (wrong[wrong.size() - 1] << 8));
    const uint16_t computed = Crc16(Bytes(valid.begin(), valid.end() - 2));
    const std::string path = Write("crc.sor", wrong);
    EXPECT_RAISES(CSORFile().LoadFromFile(path), 10020, "CSORFile:LoadFromFile()",
                  "CRC values do not match. File: " + std::to_string(stored) +
                      ", Calculated: " + std::to_string(computed));
    CSORFile ignored;
    ignored.LoadFromFile(path, true);
    EXPECT_EQ(ignored.CRCValue(), stored);
  }
  {
    // No checksum block at all: the stored value stays 0.
    const Bytes bare = AssembleSor({{"GenParams", 100, DefaultGenParamsBody()}}, false);
    const std::string path = Write("bare.sor", bare);
    const Raised r = Capture([&] { CSORFile().LoadFromFile(path); });
    EXPECT_EQ(r.number, 10020);
    EXPECT_EQ(r.description.rfind("CRC values do not match. File: 0, Calculated: ", 0), 0u) << r.description;
    CSORFile ignored;
    ignored.LoadFromFile(path, true);
    EXPECT_EQ(ignored.CRCValue(), 0);
  }
  EXPECT_RAISES(CSORFile().LoadFromFile(Path("missing.sor")), 53, "CSORFile:LoadFromFile()", "File not found");
}

TEST_F(SorFile, TruncatedFilesNameWhatWasCut) {
  const Bytes valid = AssembleSor({{"GenParams", 100, DefaultGenParamsBody()},
                                   {"DataPts", 100, DataPtsBody({1, 2, 3, 4})}});
  const MapImage map = ReadMap(valid);
  EXPECT_RAISES(CSORFile().LoadFromFile(Write("a.sor", Prefix(valid, 5))), 62,
                "CSORFile:LoadFromFile()",
                "Input past end of file while reading the Map Block: 8 bytes expected, 5 found.");
  EXPECT_RAISES(CSORFile().LoadFromFile(Write("b.sor", Prefix(valid, 20))), 62,
                "CSORFile:LoadFromFile()",
                "Input past end of file while reading the Map Block: " + std::to_string(map.mapSize - 8) +
                    " bytes expected, 12 found.");
  const std::size_t dataStart = static_cast<std::size_t>(map.mapSize) + 24;
  EXPECT_RAISES(CSORFile().LoadFromFile(Write("c.sor", Prefix(valid, dataStart + 5))), 62,
                "CSORFile:LoadFromFile()",
                "Input past end of file while reading block \"DataPts\": 20 bytes expected, 5 found.");

  // Every shorter prefix of the file fails with a numbered error, none crashes.
  for (std::size_t n = 0; n < valid.size(); ++n) {
    const Raised r = Capture([&] { CSORFile().LoadFromFile(Write("p.sor", Prefix(valid, n)), true); });
    EXPECT_TRUE(r.raised) << n;
    EXPECT_GT(r.number, 0) << n;
  }
}

TEST_F(SorFile, AFailureDeepInALoadLeavesOneLogLinePerProcedure) {
  BodyBuilder gen;
  gen.U8('E').U8(0).Text(" ").Text(" ").I16(1310).Text(" ").Text(" ").Text(" ").Chars("BC").I32(0).Text(" ").Text(" ");
  const Bytes file = AssembleSor({{"GenParams", 100, gen.bytes()}});
  EXPECT_RAISES(CSORFile().LoadFromFile(Write("lang.sor", file)), 5, "CSORFile:LoadFromFile()",
                "LanguageCode must be 2 characters. \"E\" is not allowed.");
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 3u);
  const std::vector<std::pair<std::string, std::string>> where = {
      {"CGeneralParameterBlock", "Let LanguageCode()"},
      {"CSORFile", "ParseGeneralParameters()"},
      {"CSORFile", "LoadFromFile()"}};
  for (std::size_t i = 0; i < 3; ++i) {
    const auto f = Fields(lines[i]);
    ASSERT_EQ(f.size(), 5u);
    EXPECT_EQ(f[0], "5");
    EXPECT_EQ(f[2], where[i].first);
    EXPECT_EQ(f[3], where[i].second);
  }

  // A supplier block one byte shorter than its map entry says: the parse message names
  // the fixed parameters block.
  Bytes sup = DefaultSupParamsBody();
  sup.pop_back();
  const Raised r = Capture([&] { CSORFile().LoadFromFile(Write("sup.sor", AssembleSor({{"SupParams", 100, sup}}))); });
  EXPECT_EQ(r.number, 10512);
  EXPECT_EQ(r.description.rfind("Not all data in the Fixed Parameters Block was parsed.\r\n", 0), 0u) << r.description;
}

// A load stops at the first error, and the blocks keep each field read before it: a
// count as the file gave it, then the items present.
TEST_F(SorFile, AFailedLoadKeepsWhatWasReadBeforeTheError) {
  const struct {
    SorBlock block;
    std::string description;
    std::function<void(const CSORFile&)> check;
  } cases[] = {
      {{"Orvik2", 200, BodyBuilder().Text("Orvik2").I16(3).I32(111).I32(222).bytes()},
       "Attempted to parse Orvik2 Block past block size.\r\nBlock Size: 17, Parsed: 17.",
       [](const CSORFile& sor) {
         EXPECT_EQ(sor.Orvik2Block()->CursorCount(), 3);
         EXPECT_EQ(sor.Orvik2Block()->CursorLocation(1), 111);
         EXPECT_EQ(sor.Orvik2Block()->CursorLocation(2), 222);
       }},
      {{"DataPts", 100, BodyBuilder().I32(5).I16(1).I32(5).I16(1000).U16(7).U16(9).bytes()},
       "Attempted to parse Data Points Block past block size.\r\nBlock Size: 16, Parsed: 16.",
       [](const CSORFile& sor) {
         EXPECT_EQ(sor.DataPointsBlock()->NumDataPointsForScaleFactor(1), 5);
         EXPECT_EQ(sor.DataPointsBlock()->ScaleFactor(1), 1000);
         EXPECT_EQ(sor.DataPointsBlock()->DataPoints(1, 2), 9);
       }},
  };
  for (const auto& c : cases) {
    CSORFile sor;
    EXPECT_RAISES(sor.LoadFromFile(Write("part.sor", AssembleSor({c.block}))), 10512, "CSORFile:LoadFromFile()",
                  c.description);
    c.check(sor);
  }
}

TEST_F(SorFile, RemoveMethods) {
  auto sor = std::make_shared<CSORFile>();
  sor->RemoveDataPointsBlock();  // logs and returns; the block stays
  ASSERT_NE(sor->DataPointsBlock(), nullptr);
  sor->RemoveKeyEventsBlock();  // no block: the null-reference error is logged
  const auto lines = LogLines();
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(Fields(lines[0])[0], "438");
  EXPECT_EQ(Fields(lines[0])[3], "RemoveDataPointsBlock()");
  EXPECT_EQ(Fields(lines[1])[0], "91");
  EXPECT_EQ(Fields(lines[1])[3], "RemoveKeyEventsBlock()");
  EXPECT_TRUE(messages_.empty());

  sor->AddOrvik2Block(202);
  sor->RemoveOrvik2Block();
  sor->AddKeyEventsBlock();
  sor->AddOrvikBlock();
  sor->RemoveOrvikBlock();
  EXPECT_EQ(sor->OrvikBlock(), nullptr);
  sor->SaveToFile(Path("r.sor"));
  std::vector<std::string> ids;
  for (const auto& e : ReadMap(ReadFileBytes(Path("r.sor"))).entries) ids.push_back(e.id);
  EXPECT_EQ(ids, (std::vector<std::string>{"GenParams", "SupParams", "FxdParams", "DataPts", "KeyEvents", "Orvik2",
                                           "Cksum"}));
}

TEST_F(SorFile, ASecondLoadAccumulatesMapEntriesAndUnknownBlocks) {
  const std::string path =
      Write("x.sor", AssembleSor({{"GenParams", 100, DefaultGenParamsBody()}, {"Mine", 1, {9, 9}}}));
  CSORFile sor;
  sor.LoadFromFile(path);
  sor.LoadFromFile(path);
  EXPECT_EQ(sor.MapBlock()->MapBlocks()->Count(), 6);
  EXPECT_EQ(sor.ProprietaryBlocks()->Count(), 2);

  CSORFiles files;
  auto kept = files.Add(std::make_shared<CSORFile>(), "first");
  EXPECT_EQ(files.Item("first"), kept);
  files.Add(std::make_shared<CSORFile>());
  EXPECT_EQ(files.Count(), 2);
}

TEST_F(SorFile, AFailedSaveLeavesTheOldFile) {
  auto sor = std::make_shared<CSORFile>();
  const std::string path = Path("keep.sor");
  sor->SaveToFile(path);
  const Bytes before = ReadFileBytes(path);

  auto data = sor->DataPointsBlock();
  data->SetNumberScaleFactorsUsed(1);
  data->SetNumDataPointsForScaleFactor(1, 2);
  data->SetDataPoints(1, 2, 65536);  // does not fit its unsigned 16-bit field
  EXPECT_RAISES(sor->SaveToFile(path), 6, "CSORFile:SaveToFile()", "Overflow");
  EXPECT_EQ(ReadFileBytes(path), before);
  const auto lines = LogLines();
  ASSERT_GE(lines.size(), 2u);
  EXPECT_EQ(Fields(lines[lines.size() - 2])[3], "BuildDataPointsBlock()");

  data->SetDataPoints(1, 2, 5);
  EXPECT_RAISES(sor->SaveToFile(Path("no/such/folder/x.sor")), 76, "CSORFile:SaveToFile()", "Path not found");
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& e : std::filesystem::directory_iterator(Path(""))) ++entries;
  EXPECT_EQ(entries, 2u);  // keep.sor and the log: no temporary file is left behind
}

TEST_F(SorFile, TheDataBlockLimitIs16377Samples) {
  auto sor = std::make_shared<CSORFile>();
  auto data = sor->DataPointsBlock();
  data->SetNumberScaleFactorsUsed(1);
  data->SetNumDataPointsForScaleFactor(1, 16377);
  for (int32_t i = 1; i <= 16377; ++i) data->SetDataPoints(1, i, i);
  sor->SaveToFile(Path("max.sor"));
  CSORFile loaded;
  loaded.LoadFromFile(Path("max.sor"));
  EXPECT_EQ(loaded.DataPointsBlock()->TotalNumberofDataPoints(), 16377);
  EXPECT_EQ(loaded.DataPointsBlock()->DataPoints(1, 16377), 16377);
  EXPECT_EQ(loaded.MaxLossVal(), 16377);

  data->SetNumDataPointsForScaleFactor(1, 16378);
  EXPECT_EQ(Capture([&] { sor->SaveToFile(Path("over.sor")); }).number, 6);

  // The same limit applies while loading.
  std::vector<uint32_t> samples(16378, 1);
  const Raised r =
      Capture([&] { CSORFile().LoadFromFile(Write("big.sor", AssembleSor({{"DataPts", 100, DataPtsBody(samples)}}))); });
  EXPECT_EQ(r.number, 6);
}

TEST_F(SorFile, DamagedFilesFailWithNumberedErrors) {
  const Bytes valid = AssembleSor({{"GenParams", 100, DefaultGenParamsBody()},
                                   {"SupParams", 100, DefaultSupParamsBody()},
                                   {"FxdParams", 100, DefaultFxdParamsBody(44000)},
                                   {"KeyEvents", 100, KeyEventsBody()},
                                   {"DataPts", 100, DataPtsBody({10, 20, 30, 40, 50})},
                                   {"Orvik", 100, OrvikBody(1, 2, {3, 4})},
                                   {"Orvik2", 202, [] {
                                      Bytes b = Orvik2Body201();
                                      b.push_back(1);
                                      b.push_back(0);
                                      return b;
                                    }()}});
  CSORFile ok;
  ok.LoadFromFile(Write("valid.sor", valid));  // the base file itself is good

  std::mt19937 random(12345);
  int loaded = 0;
  for (int round = 0; round < 1500; ++round) {
    Bytes damaged = valid;
    const int flips = 1 + static_cast<int>(random() % 4);
    for (int k = 0; k < flips; ++k) {
      damaged[random() % damaged.size()] = static_cast<uint8_t>(random());
    }
    const Raised r = Capture([&] {
      CSORFile sor;
      sor.LoadFromFile(Write("d.sor", damaged), true);
      sor.SaveToFile(Path("d-out.sor"));
    });
    if (r.raised) {
      EXPECT_GT(r.number, 0);
    } else {
      ++loaded;
    }
  }
  EXPECT_GT(loaded, 0);  // some damage only touches values, and those files still load
}

}  // namespace
}  // namespace tarnvik::testing
