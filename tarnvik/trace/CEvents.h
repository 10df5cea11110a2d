// A trace's key events, kept in ascending order of LocationQRD and numbered 1..Count.
// All events of the collection report through the collection's pipe, which the
// collection listens to: an event's Comment edit comes out as OnDirty(true).
#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "tarnvik/foundation/Event.h"
#include "tarnvik/foundation/KeyedCollection.h"
#include "tarnvik/trace/CEvent.h"
#include "tarnvik/trace/CEventPipe.h"

namespace tarnvik {

// Private base: adding and removing must go through the ordering and renumbering below.
class CEvents : private KeyedCollection<CEvent> {
  using Base = KeyedCollection<CEvent>;

 public:
  CEvents();
  // Stops listening, so that a pipe the client still holds never calls into a destroyed
  // collection.
  ~CEvents();

  using Base::const_iterator;
  using Base::value_type;

  // By 1-based position (outside 1..Count raises 9). Events are added without a key, so
  // the text-key form always raises 5.
  using Base::Item;
  using Base::Count;
  // Removes every event and raises nothing.
  using Base::Clear;
  using Base::begin;
  using Base::end;

  // Gives oEvent the collection's pipe, inserts it before the first event lying strictly
  // further along (so it goes after events at the same position), renumbers and raises
  // OnDirty(true). A null event raises 91; a 32768th event raises 6 (Number is 16-bit).
  // Either leaves the collection unchanged.
  void Add(std::shared_ptr<CEvent> oEvent);
  // Removes the event at lIndex, renumbers and raises OnDirty(true). Outside 1..Count
  // raises 9 and changes nothing.
  void Remove(int32_t lIndex);
  // The text-key form, for clients that pass a key as Item allows: no event has one, so
  // it raises 5 and changes nothing.
  void Remove(const std::string& sKey);

  // The pipe the collection listens to. Setting a new one moves every event held onto it,
  // so that all events keep sharing the collection's pipe; nullptr raises 91.
  std::shared_ptr<CEventPipe> moEventPipe() const { return moEventPipe_; }
  void SetmoEventPipe(std::shared_ptr<CEventPipe> value);

  // Raised with true after Add and Remove, and when the pipe reports Dirty(true).
  Event<bool> OnDirty;

 private:
  static constexpr const char* kModule = "CEvents";

  void Listen(std::shared_ptr<CEventPipe> pipe);
  void Renumber();
  // Sink of the pipe's OnDirty; failures are shown, not raised, since the caller is the
  // pipe, not a client.
  void moEventPipe_Dirty(bool bIsDirty);

  std::shared_ptr<CEventPipe> moEventPipe_;
  Event<bool>::ConnectionId pipeConnection_ = 0;
};

}  // namespace tarnvik
