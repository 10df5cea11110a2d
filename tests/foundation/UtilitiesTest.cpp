// File-name helpers, length-prefixed texts, conversions, the time unit, collections and
// events.
#include <algorithm>
#include <filesystem>
#include <cmath>
#include <sstream>
#include <vector>

#include <gtest/gtest.h>

#include "support/Fixtures.h"
#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/FileIO.h"
#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/foundation/modFileUtil.h"
#include "tarnvik/foundation/NumberText.h"
#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modMain.h"

namespace tarnvik::testing {
namespace {

TEST(FileNames, TitleBaseAndExtension) {
  EXPECT_EQ(ParseFileTitle("C:\\data\\trace.sor"), "trace.sor");
  EXPECT_EQ(ParseFileBase("C:\\data\\trace.sor"), "trace");
  EXPECT_EQ(ParseFileExt("C:\\data\\trace.sor"), "sor");
  EXPECT_EQ(ParseFileTitle("C:trace.sor"), "trace.sor");
  EXPECT_EQ(ParseFileTitle("/home/u/a.b/trace"), "trace");
  EXPECT_EQ(ParseFileExt("/home/u/a.b/trace"), "");
  EXPECT_EQ(ParseFileTitle("trace"), "trace");
  EXPECT_EQ(ParseFileBase("a.b.c"), "a.b");
  EXPECT_EQ(ParseFileExt("a.b.c"), "c");
  EXPECT_EQ(ParseFileExt("x\\y.SOR"), "SOR");
}

TEST(FileNames, GetStringInfoReadsALengthPrefixedText) {
  std::istringstream in(std::string("\x03\x00" "abcz" "\x00\x00" "\xFF\xFF" "\x05\x00" "ab", 14));
  EXPECT_EQ(GetStringInfo(in), "abc");
  EXPECT_EQ(in.get(), 'z');
  EXPECT_EQ(GetStringInfo(in), "");  // length 0: nothing more is read
  EXPECT_EQ(GetStringInfo(in), "");  // negative length
  const Raised r = Capture([&] { GetStringInfo(in); });
  EXPECT_EQ(r.number, 62);
  EXPECT_EQ(r.source, "modFileUtil:GetStringInfo()");
}

class Files : public TempDirTest {};

TEST_F(Files, SafeKillAndReplaceWholeFile) {
  const std::string target = Path("t.bin");
  ReplaceWholeFile(target, {1, 2, 3});
  EXPECT_EQ(ReadWholeFile(target), (std::vector<uint8_t>{1, 2, 3}));
  ReplaceWholeFile(target, {9});
  EXPECT_EQ(ReadWholeFile(target), (std::vector<uint8_t>{9}));
  EXPECT_TRUE(SafeKill(target));
  EXPECT_FALSE(SafeKill(target));  // logged, not raised
  EXPECT_EQ(Fields(LogLines().back())[3], "SafeKill()");

  EXPECT_EQ(Capture([&] { ReadWholeFile(target); }).number, 53);
  EXPECT_EQ(Capture([&] { ReadWholeFile(Path("")); }).number, 75);  // a folder
  EXPECT_EQ(Capture([&] { ReplaceWholeFile(Path("no/such/dir/x"), {1}); }).number, 76);
  // Nothing but the files written is left in the folder (no temporary files).
  int count = 0;
  for (const auto& entry : std::filesystem::directory_iterator(Path(""))) {
    if (entry.path().filename() != "errors.log") ++count;
  }
  EXPECT_EQ(count, 0);
}

// UTF-8 names reach the file system as the same characters (on Windows through the wide
// calls; a conversion through the ANSI code page would garble or refuse them).
TEST_F(Files, Utf8NamesAreKept) {
  for (const std::string name : {"Splei\xC3\x9F.sor", "\xE2\x82\xAC \xF0\x9F\x94\xA5.sor"}) {
    ReplaceWholeFile(Path(name), {7});
    EXPECT_EQ(ReadWholeFile(Path(name)), std::vector<uint8_t>{7}) << name;
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(PathFromUtf8(Path("")))) {
      const std::u8string listed = entry.path().filename().u8string();
      names.emplace_back(listed.begin(), listed.end());
    }
    EXPECT_NE(std::find(names.begin(), names.end(), name), names.end()) << name;
    EXPECT_TRUE(SafeKill(Path(name))) << name;
  }
}

TEST(Conversions, Utf8ToUtf16) {
  const struct {
    std::string utf8;
    std::u16string utf16;
  } cases[] = {
      {"", u""},
      {"a\xC3\x9F\xE2\x82\xAC", u"a\u00DF\u20AC"},
      {"\xF0\x9F\x94\xA5", u"\U0001F525"},  // a surrogate pair
      {"x\xFFy\xE2\x82", u"x\u00FFy\u00E2\u0082"},  // malformed bytes stand for themselves
  };
  for (const auto& c : cases) EXPECT_EQ(Utf8ToUtf16(c.utf8), c.utf16) << c.utf8;
}

TEST(Conversions, RoundHalfToEvenAndOverflow) {
  EXPECT_EQ(ToInt32(2.5), 2);
  EXPECT_EQ(ToInt32(3.5), 4);
  EXPECT_EQ(ToInt32(-2.5), -2);
  EXPECT_EQ(ToInt32(-3.5), -4);
  EXPECT_EQ(ToInt32(2147483647.4), 2147483647);
  EXPECT_EQ(Capture([] { ToInt32(2147483647.5); }).number, 6);  // rounds to 2^31
  EXPECT_EQ(ToInt16(-32768.5), -32768);
  EXPECT_EQ(Capture([] { ToInt16(32767.5); }).number, 6);
  EXPECT_EQ(Capture([] { ToInt32(std::nan("")); }).number, 6);
  EXPECT_EQ(ToByte(255.4), 255);
  EXPECT_EQ(Capture([] { ToByte(-0.6); }).number, 6);
}

// ToInt32 converts an integral value in range at once; every other value goes through
// the rounding path. Both must agree on every integral value (all of -70000..70000,
// then the int32 range in steps of 65537, and its edges) and on the halves and
// near-integers beside them, which must take the rounding path; results or errors alike.
TEST(Conversions, IntegralFastPathMatchesTheRoundingPath) {
  std::vector<double> inputs;
  for (int64_t v = -70000; v <= 70000; ++v) inputs.push_back(static_cast<double>(v));
  for (int64_t v = INT32_MIN; v <= INT32_MAX; v += 65537) inputs.push_back(static_cast<double>(v));
  for (const int64_t v : {int64_t{INT32_MIN} - 1, int64_t{INT32_MIN}, int64_t{INT32_MAX}, int64_t{INT32_MAX} + 1}) {
    inputs.push_back(static_cast<double>(v));
  }
  const std::size_t integral = inputs.size();
  for (std::size_t i = 0; i < integral; i += 97) {
    for (const double offset : {-0.5, 0.5, 1e-9, -1e-9}) inputs.push_back(inputs[i] + offset);
  }
  inputs.push_back(-0.0);
  inputs.push_back(std::nan(""));
  inputs.push_back(1e300);
  int32_t mismatches = 0;
  for (const double v : inputs) {
    int32_t fast = 0;
    int32_t rounded = 0;
    const int32_t fastError = Capture([&] { fast = ToInt32(v); }).number;
    const int32_t roundedError = Capture([&] { rounded = detail::ToInt32Rounded(v); }).number;
    mismatches += fastError != roundedError || fast != rounded;
  }
  EXPECT_EQ(mismatches, 0);
}

// Whole sample arrays through a scale factor against ToInt32 of each value: a factor of 1
// skips the rounding, so every sample a file can hold (0..65535) and the int32 extremes
// must come out as ToInt32 gives them; other factors round each value, and the first
// that does not fit raises 6.
TEST(Conversions, SampleArraysThroughAScaleFactor) {
  std::vector<int32_t> values;
  for (int32_t v = -70000; v <= 70000; ++v) values.push_back(v);
  const auto expectEachAsToInt32 = [](const std::vector<int32_t>& in, double factor) {
    std::vector<int32_t> multiplied = in;
    std::vector<int32_t> divided = in;
    MultiplyToInt32(multiplied, factor);
    DivideToInt32(divided, factor);
    int32_t mismatches = 0;
    for (std::size_t i = 0; i < in.size(); ++i) {
      mismatches += multiplied[i] != ToInt32(static_cast<double>(in[i]) * factor);
      mismatches += divided[i] != ToInt32(static_cast<double>(in[i]) / factor);
    }
    EXPECT_EQ(mismatches, 0) << "factor " << factor;
  };
  for (const double factor : {1.0, 1.5, 0.5, -2.0 / 3.0}) expectEachAsToInt32(values, factor);
  expectEachAsToInt32({INT32_MIN, INT32_MIN + 1, -1, 0, INT32_MAX - 1, INT32_MAX}, 1.0);

  std::vector<int32_t> overflowing = {1, 2, INT32_MAX, 3};
  EXPECT_EQ(Capture([&] { MultiplyToInt32(overflowing, 1.5); }).number, 6);
  EXPECT_EQ(overflowing, (std::vector<int32_t>{2, 3, INT32_MAX, 3}));  // in order, up to the failure
  std::vector<int32_t> large = {INT32_MAX};
  EXPECT_EQ(Capture([&] { DivideToInt32(large, 0.5); }).number, 6);
}

TEST(Conversions, SorTimeAndQrd) {
  EXPECT_EQ(QRDToSORTime(30), 2);
  EXPECT_EQ(QRDToSORTime(50), 2);
  EXPECT_EQ(QRDToSORTime(70), 4);
  EXPECT_EQ(QRDToSORTime(-30), -2);
  EXPECT_EQ(SORTimeToQRD(7), 140);
  EXPECT_EQ(QRDToSORTime(SORTimeToQRD(123457)), 123457);
  EXPECT_RAISES(SORTimeToQRD(107374183), 6, "modMain:SORTimeToQRD()", "Overflow");
  EXPECT_DOUBLE_EQ(Log10(1000.0), 3.0);
  EXPECT_EQ(Capture([] { Log10(0.0); }).number, 5);
}

TEST(Conversions, NowIsAnOleDate) {
  // 2020-01-01 is OLE day 43831; today is later than that and earlier than 2100.
  const Date now = Now();
  EXPECT_GT(now, 43831.0);
  EXPECT_LT(now, 73051.0);
}

struct Item {
  explicit Item(int v) : value(v) {}
  int value;
};

TEST(KeyedCollectionTest, PositionsKeysAndErrors) {
  KeyedCollection<Item> c("CItems");
  c.Add(std::make_shared<Item>(1), "One");
  c.Add(std::make_shared<Item>(2));
  c.Insert(1, std::make_shared<Item>(0), "zero");
  ASSERT_EQ(c.Count(), 3);
  EXPECT_EQ(c.Item(1)->value, 0);
  EXPECT_EQ(c.Item(3)->value, 2);
  EXPECT_EQ(c.Item("ONE")->value, 1);  // keys ignore case

  EXPECT_RAISES(c.Item(4), 9, "CItems:Get Item()", "Subscript out of range");
  EXPECT_RAISES(c.Item(0), 9, "CItems:Get Item()", "Subscript out of range");
  EXPECT_RAISES(c.Item("two"), 5, "CItems:Get Item()", "Invalid procedure call or argument");
  EXPECT_RAISES(c.Add(std::make_shared<Item>(9), "one"), 457, "CItems:Add()",
                "This key is already associated with an element of this collection");
  EXPECT_RAISES(c.Add(nullptr), 91, "CItems:Add()", "Object variable or With block variable not set");
  EXPECT_RAISES(c.Remove(7), 9, "CItems:Remove()", "Subscript out of range");
  EXPECT_EQ(c.Count(), 3);

  c.Remove("zero");
  std::vector<int> seen;
  for (const auto& item : c) seen.push_back(item->value);
  EXPECT_EQ(seen, (std::vector<int>{1, 2}));
  c.Remove(1);
  EXPECT_EQ(c.Item(1)->value, 2);
  c.Clear();
  EXPECT_EQ(c.Count(), 0);
}

TEST(EventTest, HandlersRunInOrderAndCanDisconnect) {
  Event<int, const std::string&> event;
  std::vector<std::string> calls;
  const auto first = event.Connect([&](int n, const std::string& s) { calls.push_back(std::to_string(n) + "a" + s); });
  Event<int, const std::string&>::ConnectionId second = 0;
  second = event.Connect([&](int n, const std::string&) {
    calls.push_back(std::to_string(n) + "b");
    event.Disconnect(second);  // a handler may disconnect itself while the event runs
  });
  event.Raise(1, "x");
  event.Raise(2, "y");
  event.Disconnect(first);
  event.Raise(3, "z");
  EXPECT_EQ(calls, (std::vector<std::string>{"1ax", "1b", "2ay"}));
  EXPECT_EQ(event.HandlerCount(), 0u);
}

}  // namespace
}  // namespace tarnvik::testing

namespace tarnvik::testing {
namespace {

TEST(NumberTextTest, ShortestFormThatReadsBack) {
  EXPECT_EQ(NumberText(0.0f), "0");
  EXPECT_EQ(NumberText(-45.2f), "-45.2");
  EXPECT_EQ(NumberText(0.1f), "0.1");
  EXPECT_EQ(NumberText(1.0210915f), "1.0210915");
  EXPECT_EQ(NumberText(3.0), "3");
  EXPECT_EQ(NumberText(0.1), "0.1");
}

}  // namespace
}  // namespace tarnvik::testing

namespace tarnvik::testing {
namespace {

TEST(EventTest, AHandlerMayDestroyTheObjectRaisingTheEvent) {
  struct Owner {
    Event<> changed;
  };
  auto owner = std::make_unique<Owner>();
  int calls = 0;
  owner->changed.Connect([&] {
    ++calls;
    owner.reset();  // the event's owner is gone while the event is still being raised
  });
  owner->changed.Connect([&] { ++calls; });
  owner->changed.Raise();
  EXPECT_EQ(calls, 2);
  EXPECT_EQ(owner, nullptr);
}

}  // namespace
}  // namespace tarnvik::testing
