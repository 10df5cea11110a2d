// Outgoing events: each object that raises events has one connection point for its
// events interface. Firing calls every advised sink's IDispatch::Invoke, synchronously and
// in the order the sinks were advised, as the library raises its C++ events.
#pragma once

#include <windows.h>
#include <oaidl.h>
#include <ocidl.h>
#include <olectl.h>

#include <vector>

#include "ComUnknown.h"

namespace tarnvik::com {

class ConnectionPoint final : public IConnectionPoint {
 public:
  // container is the object the point belongs to (not AddRef'd: it owns the point).
  ConnectionPoint(IConnectionPointContainer* container, REFIID events) : container_(container), events_(events) {}
  ~ConnectionPoint();
  ConnectionPoint(const ConnectionPoint&) = delete;
  ConnectionPoint& operator=(const ConnectionPoint&) = delete;

  REFIID EventsIID() const { return events_; }
  // Calls every sink with these arguments, given first to last (each VARIANT is only read
  // unless it is by reference, where a sink may write the caller's value).
  void Fire(DISPID id, std::vector<VARIANT>& args);

  // IUnknown: the point lives inside its container and shares its lifetime.
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override;
  ULONG STDMETHODCALLTYPE AddRef() override { return container_->AddRef(); }
  ULONG STDMETHODCALLTYPE Release() override { return container_->Release(); }

  // IConnectionPoint
  HRESULT STDMETHODCALLTYPE GetConnectionInterface(IID* iid) override;
  HRESULT STDMETHODCALLTYPE GetConnectionPointContainer(IConnectionPointContainer** container) override;
  HRESULT STDMETHODCALLTYPE Advise(IUnknown* sink, DWORD* cookie) override;
  HRESULT STDMETHODCALLTYPE Unadvise(DWORD cookie) override;
  HRESULT STDMETHODCALLTYPE EnumConnections(IEnumConnections** connections) override;

 private:
  struct Sink {
    DWORD cookie;
    IDispatch* dispatch;
  };
  IConnectionPointContainer* container_;
  IID events_;
  std::vector<Sink> sinks_;
  DWORD nextCookie_ = 1;
};

// IConnectionPointContainer over the single point of an object.
class SingleConnectionPoints final : public Unknown<IEnumConnectionPoints> {
 public:
  explicit SingleConnectionPoints(ConnectionPoint* point) : point_(point) { point_->AddRef(); }
  ~SingleConnectionPoints() override { point_->Release(); }
  SingleConnectionPoints(const SingleConnectionPoints&) = delete;
  SingleConnectionPoints& operator=(const SingleConnectionPoints&) = delete;

  HRESULT STDMETHODCALLTYPE Next(ULONG count, IConnectionPoint** points, ULONG* fetched) override;
  HRESULT STDMETHODCALLTYPE Skip(ULONG count) override;
  HRESULT STDMETHODCALLTYPE Reset() override;
  HRESULT STDMETHODCALLTYPE Clone(IEnumConnectionPoints** copy) override;

 private:
  ConnectionPoint* point_;
  ULONG position_ = 0;
};

}  // namespace tarnvik::com
