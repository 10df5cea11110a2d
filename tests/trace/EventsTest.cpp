// Trace events, their collection and the pipe that carries change reports between them.
#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "support/Fixtures.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEventPipe.h"
#include "tarnvik/trace/CEvents.h"

namespace tarnvik::testing {
namespace {

std::shared_ptr<CEvent> EventAt(float qrd, const std::string& comment = {}) {
  auto e = std::make_shared<CEvent>();
  e->SetLocationQRD(qrd);
  if (!comment.empty()) e->SetComment(comment);
  return e;
}

// The (location, number) pairs of the collection, in its order.
std::vector<std::pair<float, int16_t>> Layout(const CEvents& events) {
  std::vector<std::pair<float, int16_t>> out;
  for (const auto& e : events) out.emplace_back(e->LocationQRD(), e->Number());
  return out;
}

// Records every value an Event<bool> is raised with.
struct DirtyLog {
  std::vector<bool> values;
  void Watch(Event<bool>& ev) { ev.Connect([this](bool b) { values.push_back(b); }); }
};

std::string Repeat(const std::string& s, int n) {
  std::string out;
  for (int i = 0; i < n; ++i) out += s;
  return out;
}

TEST(EventPipe, RelaysBothEventsWithTheirValues) {
  CEventPipe pipe;
  DirtyLog dirty;
  dirty.Watch(pipe.OnDirty);
  pipe.Dirty(true);
  pipe.Dirty(false);
  EXPECT_EQ(dirty.values, (std::vector<bool>{true, false}));

  // The value travels by reference: a handler's change reaches the caller.
  std::string seenProperty;
  pipe.OnDataChanged.Connect([&](const std::string& p, Variant& v) {
    seenProperty = p;
    v = int32_t{42};
  });
  Variant data = std::string("old");
  pipe.DataChanged("Loss", data);
  EXPECT_EQ(seenProperty, "Loss");
  ASSERT_TRUE(std::holds_alternative<int32_t>(data));
  EXPECT_EQ(std::get<int32_t>(data), 42);
}

TEST(Event, DefaultsAndANullPipe) {
  const auto a = std::make_shared<CEvent>();
  EXPECT_EQ(a->Number(), 0);
  EXPECT_EQ(a->AttenDBperKM(), 9999.0f);
  EXPECT_EQ(static_cast<int32_t>(a->Source()), 0);
  EXPECT_EQ(static_cast<int32_t>(a->EType()), 0);
  EXPECT_EQ(static_cast<int32_t>(a->LossMT()), 0);
  EXPECT_EQ(a->Comment(), "");
  // Each new event has a pipe of its own.
  const auto b = std::make_shared<CEvent>();
  ASSERT_NE(a->EventPipe(), nullptr);
  EXPECT_NE(a->EventPipe(), b->EventPipe());

  const auto pipe = a->EventPipe();
  EXPECT_RAISES(a->SetEventPipe(nullptr), 91, "CEvent:Set EventPipe()",
                "Object variable or With block variable not set");
  EXPECT_EQ(a->EventPipe(), pipe);
}

TEST(Event, CommentKeepsNinetyFourCharactersAndReportsEveryTime) {
  CEvent e;
  DirtyLog dirty;
  dirty.Watch(e.EventPipe()->OnDirty);

  e.SetComment(std::string(100, 'x'));
  EXPECT_EQ(e.Comment(), std::string(94, 'x'));

  // Characters, not bytes: 100 two-byte characters keep 94 characters (188 bytes).
  const std::string eAcute = "\xC3\xA9";
  e.SetComment(Repeat(eAcute, 100));
  EXPECT_EQ(e.Comment(), Repeat(eAcute, 94));
  // A multi-byte 94th character is kept whole, not split at byte 94.
  e.SetComment(std::string(93, 'a') + eAcute + "zz");
  EXPECT_EQ(e.Comment(), std::string(93, 'a') + eAcute);

  e.SetComment(e.Comment());  // unchanged text still reports
  EXPECT_EQ(dirty.values, (std::vector<bool>{true, true, true, true}));

  // Other properties are plain stores.
  e.SetLoss(0.5f);
  e.SetLocationQRD(10);
  e.SetAttenDBperKM(0.2f);
  e.SetEType(EVTYPE_Reflective);
  EXPECT_EQ(dirty.values.size(), 4u);
}

TEST(Events, AddKeepsPositionOrderAndRenumbers) {
  CEvents events;
  DirtyLog dirty;
  dirty.Watch(events.OnDirty);

  const auto first200 = EventAt(200);
  events.Add(EventAt(300));
  events.Add(EventAt(100));
  events.Add(first200);
  using L = std::vector<std::pair<float, int16_t>>;
  EXPECT_EQ(Layout(events), (L{{100, 1}, {200, 2}, {300, 3}}));
  EXPECT_EQ(dirty.values, (std::vector<bool>{true, true, true}));

  // Same position: after the one already there; the event at 300 moves to 4.
  const auto second200 = EventAt(200);
  events.Add(second200);
  EXPECT_EQ(Layout(events), (L{{100, 1}, {200, 2}, {200, 3}, {300, 4}}));
  EXPECT_EQ(events.Item(2), first200);
  EXPECT_EQ(events.Item(3), second200);

  // Before everything, and a stale Number is rewritten.
  events.Item(4)->SetNumber(77);
  events.Add(EventAt(-5));
  EXPECT_EQ(Layout(events), (L{{-5, 1}, {100, 2}, {200, 3}, {200, 4}, {300, 5}}));
  EXPECT_EQ(events.Count(), 5);

  // Every event now reports through the collection's one pipe.
  for (const auto& e : events) EXPECT_EQ(e->EventPipe(), events.moEventPipe());
}

TEST(Events, RemoveRenumbersAndClearIsSilent) {
  CEvents events;
  for (float q : {100.0f, 200.0f, 300.0f}) events.Add(EventAt(q));
  DirtyLog dirty;
  dirty.Watch(events.OnDirty);

  events.Remove(1);
  using L = std::vector<std::pair<float, int16_t>>;
  EXPECT_EQ(Layout(events), (L{{200, 1}, {300, 2}}));
  EXPECT_EQ(dirty.values, (std::vector<bool>{true}));

  events.Clear();
  EXPECT_EQ(events.Count(), 0);
  EXPECT_EQ(dirty.values.size(), 1u);
}

TEST(Events, BadPositionsRaiseAndChangeNothing) {
  CEvents events;
  events.Add(EventAt(100));
  events.Add(EventAt(200));
  DirtyLog dirty;
  dirty.Watch(events.OnDirty);

  EXPECT_RAISES(events.Remove(0), 9, "CEvents:Remove()", "Subscript out of range");
  EXPECT_RAISES(events.Remove(3), 9, "CEvents:Remove()", "Subscript out of range");
  EXPECT_RAISES(events.Item(0), 9, "CEvents:Get Item()", "Subscript out of range");
  EXPECT_RAISES(events.Item(3), 9, "CEvents:Get Item()", "Subscript out of range");
  EXPECT_RAISES(events.Item("1"), 5, "CEvents:Get Item()", "Invalid procedure call or argument");
  EXPECT_RAISES(events.Remove("1"), 5, "CEvents:Remove()", "Invalid procedure call or argument");
  EXPECT_RAISES(events.Add(nullptr), 91, "CEvents:Add()", "Object variable or With block variable not set");
  using L = std::vector<std::pair<float, int16_t>>;
  EXPECT_EQ(Layout(events), (L{{100, 1}, {200, 2}}));
  EXPECT_TRUE(dirty.values.empty());
}

TEST(Events, EditsReachTheCollectionThroughItsPipe) {
  CEvents events;
  const auto e = EventAt(100);
  events.Add(e);
  DirtyLog dirty;
  dirty.Watch(events.OnDirty);

  e->SetLoss(1.5f);
  EXPECT_TRUE(dirty.values.empty());
  e->SetComment("splice");
  EXPECT_EQ(dirty.values, (std::vector<bool>{true}));

  // The pipe passes false on, the collection ignores it.
  DirtyLog pipeLog;
  pipeLog.Watch(events.moEventPipe()->OnDirty);
  events.moEventPipe()->Dirty(false);
  EXPECT_EQ(pipeLog.values, (std::vector<bool>{false}));
  EXPECT_EQ(dirty.values.size(), 1u);
}

TEST(Events, SwitchingPipesMovesTheEventsAndTheListener) {
  CEvents events;
  const auto e = EventAt(100);
  events.Add(e);
  const auto oldPipe = events.moEventPipe();
  const auto newPipe = std::make_shared<CEventPipe>();
  DirtyLog dirty;
  dirty.Watch(events.OnDirty);

  events.SetmoEventPipe(newPipe);
  EXPECT_EQ(events.moEventPipe(), newPipe);
  EXPECT_EQ(e->EventPipe(), newPipe);
  EXPECT_EQ(oldPipe->OnDirty.HandlerCount(), 0u);
  oldPipe->Dirty(true);
  EXPECT_TRUE(dirty.values.empty());
  e->SetComment("moved");
  EXPECT_EQ(dirty.values, (std::vector<bool>{true}));

  EXPECT_RAISES(events.SetmoEventPipe(nullptr), 91, "CEvents:Set moEventPipe()",
                "Object variable or With block variable not set");
  EXPECT_EQ(events.moEventPipe(), newPipe);
  newPipe->Dirty(true);
  EXPECT_EQ(dirty.values.size(), 2u);
}

TEST(Events, PipeAndEventOutliveTheCollection) {
  // Run under the sanitizer: any call into the destroyed collection is reported.
  std::shared_ptr<CEventPipe> pipe;
  std::shared_ptr<CEvent> e;
  {
    auto events = std::make_shared<CEvents>();
    e = EventAt(100);
    events->Add(e);
    pipe = events->moEventPipe();
    EXPECT_EQ(pipe->OnDirty.HandlerCount(), 1u);
  }
  EXPECT_EQ(pipe->OnDirty.HandlerCount(), 0u);
  pipe->Dirty(true);
  e->SetComment("after the collection");
  EXPECT_EQ(e->Comment(), "after the collection");
}

class EventsSink : public TempDirTest {};

TEST_F(EventsSink, HandlerFailuresRaiseFromCallsButAreShownFromThePipe) {
  CEvents events;
  const auto e = EventAt(100);
  events.Add(e);
  events.OnDirty.Connect([](bool) { throw Error(13, "Type mismatch"); });

  // A client call gets the failure back with the collection's procedure.
  EXPECT_RAISES(events.Add(EventAt(200)), 13, "CEvents:Add()", "Type mismatch");
  EXPECT_TRUE(messages_.empty());

  // Through the pipe nobody can receive it: shown, logged, swallowed.
  const Raised r = Capture([&] { e->SetComment("x"); });
  EXPECT_FALSE(r.raised);
  ASSERT_EQ(messages_.size(), 1u);
  EXPECT_EQ(messages_[0], "Error: 13\r\n\r\nType mismatch\r\n\r\nCheck Error Log '" + LogPath() +
                              "' for more details");
  const auto lines = LogLines();
  ASSERT_FALSE(lines.empty());
  const auto fields = Fields(lines.back());
  ASSERT_GE(fields.size(), 4u);
  EXPECT_EQ(fields[2], "CEvents");
  EXPECT_EQ(fields[3], "moEventPipe_Dirty()");
}

}  // namespace
}  // namespace tarnvik::testing
