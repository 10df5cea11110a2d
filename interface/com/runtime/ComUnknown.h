// IUnknown for the server's small helper objects (class factory, enumerators): one
// interface besides IUnknown, a reference count, deleted at the last Release.
#pragma once

#include <windows.h>
#include <unknwn.h>

#include <atomic>

namespace tarnvik::com {

template <class Interface>
class Unknown : public Interface {
 public:
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    if (riid == IID_IUnknown || riid == __uuidof(Interface)) {
      *ppv = static_cast<Interface*>(this);
      AddRef();
      return S_OK;
    }
    *ppv = nullptr;
    return E_NOINTERFACE;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

 protected:
  Unknown() = default;
  virtual ~Unknown() = default;

 private:
  std::atomic<ULONG> references_{1};
};

}  // namespace tarnvik::com
