#include "tarnvik/trace/CEvents.h"

#include <algorithm>
#include <utility>

#include "tarnvik/foundation/modErrors.h"
#include "tarnvik/foundation/modMain.h"

namespace tarnvik {

CEvents::CEvents() : Base(kModule) { Listen(std::make_shared<CEventPipe>()); }

CEvents::~CEvents() { moEventPipe_->OnDirty.Disconnect(pipeConnection_); }

void CEvents::Add(std::shared_ptr<CEvent> oEvent) {
  Guarded(kModule, "Add()", [&] {
    if (!oEvent) Raise(err::ObjectNotSet);
    CheckInt16(int64_t{Count()} + 1);  // refuse before anything changes
    oEvent->SetEventPipe(moEventPipe_);
    const float location = oEvent->LocationQRD();
    const auto further = std::find_if(begin(), end(), [location](const std::shared_ptr<CEvent>& e) {
      return e->LocationQRD() > location;
    });
    Base::Insert(static_cast<int32_t>(further - begin()) + 1, std::move(oEvent));
    Renumber();
    OnDirty.Raise(true);
  });
}

void CEvents::Remove(int32_t lIndex) {
  Guarded(kModule, "Remove()", [&] {
    if (lIndex < 1 || lIndex > Count()) Raise(err::SubscriptOutOfRange);
    Base::Remove(lIndex);
    Renumber();
    OnDirty.Raise(true);
  });
}

// Reports the unknown key itself, under this class's name.
void CEvents::Remove(const std::string& sKey) { Base::Remove(sKey); }

void CEvents::SetmoEventPipe(std::shared_ptr<CEventPipe> value) {
  Guarded(kModule, "Set moEventPipe()", [&] {
    if (!value) Raise(err::ObjectNotSet);
    Listen(std::move(value));
    for (const auto& e : *this) e->SetEventPipe(moEventPipe_);
  });
}

void CEvents::Listen(std::shared_ptr<CEventPipe> pipe) {
  if (moEventPipe_) moEventPipe_->OnDirty.Disconnect(pipeConnection_);
  moEventPipe_ = std::move(pipe);
  pipeConnection_ = moEventPipe_->OnDirty.Connect([this](bool bIsDirty) { moEventPipe_Dirty(bIsDirty); });
}

void CEvents::Renumber() {
  int32_t number = 0;
  for (const auto& e : *this) e->SetNumber(CheckInt16(++number));
}

void CEvents::moEventPipe_Dirty(bool bIsDirty) {
  GuardedSwallow(kModule, "moEventPipe_Dirty()", OnFailure::ShowMessage, [&] {
    if (bIsDirty) OnDirty.Raise(true);
  });
}

}  // namespace tarnvik
