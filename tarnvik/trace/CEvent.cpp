#include "tarnvik/trace/CEvent.h"

#include <utility>

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

CEvent::CEvent() : eventPipe_(std::make_shared<CEventPipe>()) {}

void CEvent::SetComment(const std::string& value) {
  Guarded(kModule, "Let Comment()", [&] {
    comment_ = LeftChars(value, kCommentChars);
    eventPipe_->Dirty(true);
  });
}

void CEvent::SetEventPipe(std::shared_ptr<CEventPipe> value) {
  Guarded(kModule, "Set EventPipe()", [&] {
    // A null pipe would leave the next Comment edit nowhere to report to.
    if (!value) Raise(err::ObjectNotSet);
    eventPipe_ = std::move(value);
  });
}

}  // namespace tarnvik
