#include "ComEvents.h"

namespace tarnvik::com {

ConnectionPoint::~ConnectionPoint() {
  for (const Sink& s : sinks_) s.dispatch->Release();
}

void ConnectionPoint::Fire(DISPID id, std::vector<VARIANT>& args) {
  // IDispatch takes its arguments last to first.
  std::vector<VARIANT> reversed(args.rbegin(), args.rend());
  DISPPARAMS params{reversed.empty() ? nullptr : reversed.data(), nullptr, static_cast<UINT>(reversed.size()), 0};
  // A sink may unadvise while it is called: call a copy of the list.
  std::vector<Sink> sinks = sinks_;
  for (const Sink& s : sinks) s.dispatch->AddRef();
  for (const Sink& s : sinks) {
    VARIANT result;
    VariantInit(&result);
    s.dispatch->Invoke(id, IID_NULL, LOCALE_USER_DEFAULT, DISPATCH_METHOD, &params, &result, nullptr, nullptr);
    VariantClear(&result);
  }
  for (const Sink& s : sinks) s.dispatch->Release();
}

HRESULT ConnectionPoint::QueryInterface(REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  if (riid == IID_IUnknown || riid == IID_IConnectionPoint) {
    *ppv = static_cast<IConnectionPoint*>(this);
    AddRef();
    return S_OK;
  }
  *ppv = nullptr;
  return E_NOINTERFACE;
}

HRESULT ConnectionPoint::GetConnectionInterface(IID* iid) {
  if (iid == nullptr) return E_POINTER;
  *iid = events_;
  return S_OK;
}

HRESULT ConnectionPoint::GetConnectionPointContainer(IConnectionPointContainer** container) {
  if (container == nullptr) return E_POINTER;
  *container = container_;
  container_->AddRef();
  return S_OK;
}

HRESULT ConnectionPoint::Advise(IUnknown* sink, DWORD* cookie) {
  if (sink == nullptr || cookie == nullptr) return E_POINTER;
  IDispatch* dispatch = nullptr;
  // A sink implements the events interface itself, or at least IDispatch.
  if (FAILED(sink->QueryInterface(events_, reinterpret_cast<void**>(&dispatch))) &&
      FAILED(sink->QueryInterface(IID_IDispatch, reinterpret_cast<void**>(&dispatch)))) {
    return CONNECT_E_CANNOTCONNECT;
  }
  *cookie = nextCookie_++;
  sinks_.push_back({*cookie, dispatch});
  return S_OK;
}

HRESULT ConnectionPoint::Unadvise(DWORD cookie) {
  for (auto it = sinks_.begin(); it != sinks_.end(); ++it) {
    if (it->cookie == cookie) {
      IDispatch* dispatch = it->dispatch;
      sinks_.erase(it);
      dispatch->Release();
      return S_OK;
    }
  }
  return CONNECT_E_NOCONNECTION;
}

HRESULT ConnectionPoint::EnumConnections(IEnumConnections** connections) {
  if (connections != nullptr) *connections = nullptr;
  return E_NOTIMPL;
}

HRESULT SingleConnectionPoints::Next(ULONG count, IConnectionPoint** points, ULONG* fetched) {
  if (points == nullptr) return E_POINTER;
  ULONG given = 0;
  if (count > 0 && position_ == 0) {
    points[0] = point_;
    point_->AddRef();
    given = 1;
    position_ = 1;
  }
  if (fetched != nullptr) *fetched = given;
  return given == count ? S_OK : S_FALSE;
}

HRESULT SingleConnectionPoints::Skip(ULONG count) {
  position_ += count;
  return position_ <= 1 ? S_OK : S_FALSE;
}

HRESULT SingleConnectionPoints::Reset() {
  position_ = 0;
  return S_OK;
}

HRESULT SingleConnectionPoints::Clone(IEnumConnectionPoints** copy) {
  if (copy == nullptr) return E_POINTER;
  auto* clone = new SingleConnectionPoints(point_);
  clone->position_ = position_;
  *copy = clone;
  return S_OK;
}

}  // namespace tarnvik::com
