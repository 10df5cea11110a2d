// What every published object shares: reference counting, IDispatch served by the type
// library's own Invoke over the object's dual interface, ISupportErrorInfo, and its
// identity. One COM object stands for one C++ object while a client holds it, so asking
// twice for the same object (a trace's Events, a collection's item) gives the same
// pointer and a client's "Is" comparison holds.
#pragma once

#include <windows.h>
#include <oaidl.h>
#include <ocidl.h>

#include <atomic>
#include <memory>
#include <mutex>
#include <typeinfo>
#include <unordered_map>

#include "ComCall.h"
#include "ComServer.h"

namespace tarnvik::com {

// Implemented by every object of this server: the C++ object it stands for. Only this
// server asks for it, so the interface lives in C++ alone.
// {5B7C0A41-3E0D-4C8B-9A53-2F6E1D4B7C90}
inline constexpr IID IID_ITarnvikObject = {0x5b7c0a41, 0x3e0d, 0x4c8b, {0x9a, 0x53, 0x2f, 0x6e, 0x1d, 0x4b, 0x7c, 0x90}};
struct ITarnvikObject : IUnknown {
  virtual const std::type_info& CppType() const = 0;
  virtual std::shared_ptr<void> CppObject() const = 0;
};

namespace detail {
// C++ object -> the COM object standing for it.
std::mutex& IdentityMutex();
std::unordered_map<const void*, IUnknown*>& Identities();
}  // namespace detail

// The base of every generated object class: Interface is the widl-generated dual
// interface, Cpp the library class.
template <class Interface, class Cpp>
class Dispatched : public Interface, public ISupportErrorInfo, public ITarnvikObject {
 public:
  explicit Dispatched(std::shared_ptr<Cpp> object) : object_(std::move(object)) {
    ObjectCreated();
    std::lock_guard<std::mutex> lock(detail::IdentityMutex());
    detail::Identities()[object_.get()] = static_cast<Interface*>(this);
  }
  virtual ~Dispatched() {
    {
      std::lock_guard<std::mutex> lock(detail::IdentityMutex());
      auto& identities = detail::Identities();
      auto found = identities.find(object_.get());
      if (found != identities.end() && found->second == static_cast<Interface*>(this)) identities.erase(found);
    }
    ObjectDestroyed();
  }
  Dispatched(const Dispatched&) = delete;
  Dispatched& operator=(const Dispatched&) = delete;

  // IUnknown
  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (riid == IID_IUnknown || riid == IID_IDispatch || riid == __uuidof(Interface)) {
      *ppv = static_cast<Interface*>(this);
    } else if (riid == IID_ISupportErrorInfo) {
      *ppv = static_cast<ISupportErrorInfo*>(this);
    } else if (riid == IID_ITarnvikObject) {
      *ppv = static_cast<ITarnvikObject*>(this);
    } else if (!QueryMore(riid, ppv)) {
      return E_NOINTERFACE;
    }
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references_; }
  ULONG STDMETHODCALLTYPE Release() override {
    const ULONG left = --references_;
    if (left == 0) delete this;
    return left;
  }

  // IDispatch, through the type library.
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    if (count == nullptr) return E_POINTER;
    *count = 1;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT index, LCID, ITypeInfo** info) override {
    if (info == nullptr) return E_POINTER;
    *info = nullptr;
    if (index != 0) return DISP_E_BADINDEX;
    ITypeInfo* ti = TypeInfoOf(__uuidof(Interface));
    if (ti == nullptr) return TYPE_E_CANTLOADLIBRARY;
    ti->AddRef();
    *info = ti;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR* names, UINT count, LCID, DISPID* ids) override {
    ITypeInfo* ti = TypeInfoOf(__uuidof(Interface));
    if (ti == nullptr) return TYPE_E_CANTLOADLIBRARY;
    return ti->GetIDsOfNames(names, count, ids);
  }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD flags, DISPPARAMS* params, VARIANT* result,
                                   EXCEPINFO* excep, UINT* argErr) override {
    ITypeInfo* ti = TypeInfoOf(__uuidof(Interface));
    if (ti == nullptr) return TYPE_E_CANTLOADLIBRARY;
    // A script's "obj.Prop = x" for an object-valued property arrives as a put.
    if ((flags & DISPATCH_PROPERTYPUT) && params != nullptr && params->cArgs > 0 &&
        (V_VT(&params->rgvarg[0]) == VT_DISPATCH || V_VT(&params->rgvarg[0]) == VT_UNKNOWN) && PutIsByReference(id)) {
      flags = DISPATCH_PROPERTYPUTREF;
    }
    const HRESULT hr = ti->Invoke(static_cast<Interface*>(this), id, flags, params, result, excep, argErr);
    return hr;
  }

  // ISupportErrorInfo
  HRESULT STDMETHODCALLTYPE InterfaceSupportsErrorInfo(REFIID riid) override {
    return riid == __uuidof(Interface) ? S_OK : S_FALSE;
  }

  // ITarnvikObject
  const std::type_info& CppType() const override { return typeid(Cpp); }
  std::shared_ptr<void> CppObject() const override { return object_; }

 protected:
  Cpp& Self() const { return *object_; }
  const std::shared_ptr<Cpp>& Shared() const { return object_; }
  // Further interfaces of a derived class (connection points).
  virtual bool QueryMore(REFIID, void**) { return false; }
  // Whether the property with this id takes objects (propputref).
  virtual bool PutIsByReference(DISPID) const { return false; }

 private:
  std::shared_ptr<Cpp> object_;
  std::atomic<ULONG> references_{1};
};

// The COM object for a C++ object: the one that stands for it already, or a new Wrapper.
// Returns an AddRef'd pointer to the object's interface, or nullptr for nullptr.
template <class Wrapper, class Cpp>
typename Wrapper::InterfaceType* Wrap(const std::shared_ptr<Cpp>& object) {
  using Interface = typename Wrapper::InterfaceType;
  if (!object) return nullptr;
  {
    std::lock_guard<std::mutex> lock(detail::IdentityMutex());
    auto found = detail::Identities().find(object.get());
    if (found != detail::Identities().end()) {
      found->second->AddRef();
      return static_cast<Interface*>(static_cast<IUnknown*>(found->second));
    }
  }
  return static_cast<Interface*>(new Wrapper(object));  // its reference count starts at 1
}

// The C++ object behind an object a client passes: nullptr for Nothing; error 13 when it
// is not one of this server's objects of that class.
template <class Cpp>
std::shared_ptr<Cpp> Unwrap(IUnknown* object) {
  if (object == nullptr) return nullptr;
  ITarnvikObject* ours = nullptr;
  if (FAILED(object->QueryInterface(IID_ITarnvikObject, reinterpret_cast<void**>(&ours))) || ours == nullptr) {
    Raise(13, StandardDescription(13));
  }
  const bool same = ours->CppType() == typeid(Cpp);
  std::shared_ptr<void> cpp = ours->CppObject();
  ours->Release();
  if (!same) Raise(13, StandardDescription(13));
  return std::static_pointer_cast<Cpp>(cpp);
}

}  // namespace tarnvik::com
