// The in-process server: its entry points, class factory and registration.
#include "ComServer.h"

#include <olectl.h>

#include <atomic>
#include <mutex>
#include <string>

#include "ComCall.h"
#include "ComClasses.h"
#include "ComUnknown.h"
#include "tarnvik/foundation/HostServices.h"

namespace tarnvik::com {

namespace {

HMODULE module = nullptr;
std::atomic<long> liveObjects{0};
std::atomic<long> locks{0};

ITypeLib* Library() {
  static ITypeLib* library = [] {
    ITypeLib* lib = nullptr;
    LoadTypeLibEx(ServerPath().c_str(), REGKIND_NONE, &lib);
    return lib;
  }();
  return library;
}

std::wstring GuidText(REFGUID guid) {
  wchar_t text[64] = {};
  StringFromGUID2(guid, text, 64);
  return text;
}

// One value under HKEY_CLASSES_ROOT; false when the registry refuses.
bool SetValue(const std::wstring& key, const wchar_t* name, const std::wstring& value) {
  HKEY handle = nullptr;
  if (RegCreateKeyExW(HKEY_CLASSES_ROOT, key.c_str(), 0, nullptr, 0, KEY_WRITE, nullptr, &handle, nullptr) !=
      ERROR_SUCCESS) {
    return false;
  }
  const auto bytes = static_cast<DWORD>((value.size() + 1) * sizeof(wchar_t));
  const LONG status =
      RegSetValueExW(handle, name, 0, REG_SZ, reinterpret_cast<const BYTE*>(value.c_str()), bytes);
  RegCloseKey(handle);
  return status == ERROR_SUCCESS;
}

void DeleteTree(const std::wstring& key) { RegDeleteTreeW(HKEY_CLASSES_ROOT, key.c_str()); }

std::wstring ProgId(const CoClassEntry& entry) { return std::wstring(kLibraryName) + L"." + entry.name; }

// A transfer from the instrument yields to the host on every empty poll of the line. A
// COM client's own handlers (a form's Cancel button, a timer) run from its thread's
// message queue, so the yield dispatches that queue, as DoEvents does, before the
// library's usual short wait: without it a client on one thread could not cancel a running
// transfer.
void PumpMessages() {
  MSG message;
  while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
    if (message.message == WM_QUIT) {
      PostQuitMessage(static_cast<int>(message.wParam));  // left for the client's own loop
      break;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
  }
  DefaultYield();
}

class ClassFactory final : public Unknown<IClassFactory> {
 public:
  explicit ClassFactory(const CoClassEntry& entry) : entry_(entry) { ObjectCreated(); }
  ClassFactory(const ClassFactory&) = delete;
  ClassFactory& operator=(const ClassFactory&) = delete;

  HRESULT STDMETHODCALLTYPE CreateInstance(IUnknown* outer, REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (outer != nullptr) return CLASS_E_NOAGGREGATION;
    IUnknown* object = nullptr;
    const HRESULT created = Call("Tarnvik", "CreateObject()", [&] { object = entry_.create(); });
    if (FAILED(created)) return created;
    const HRESULT hr = object->QueryInterface(riid, ppv);
    object->Release();
    return hr;
  }
  HRESULT STDMETHODCALLTYPE LockServer(BOOL lock) override {
    com::LockServer(lock != FALSE);
    return S_OK;
  }

 private:
  ~ClassFactory() override { ObjectDestroyed(); }
  const CoClassEntry& entry_;
};

}  // namespace

HMODULE ServerModule() { return module; }

std::wstring ServerPath() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD n = GetModuleFileNameW(module, path.data(), static_cast<DWORD>(path.size()));
    if (n < path.size()) {
      path.resize(n);
      return path;
    }
    path.resize(path.size() * 2);
  }
}

ITypeInfo* TypeInfoOf(REFGUID guid) {
  static std::mutex mutex;
  static std::vector<std::pair<GUID, ITypeInfo*>> cache;
  std::lock_guard<std::mutex> lock(mutex);
  for (const auto& [g, info] : cache) {
    if (IsEqualGUID(g, guid)) return info;
  }
  ITypeLib* library = Library();
  ITypeInfo* info = nullptr;
  if (library == nullptr || FAILED(library->GetTypeInfoOfGuid(guid, &info))) return nullptr;
  cache.emplace_back(guid, info);
  return info;
}

void ObjectCreated() { ++liveObjects; }
void ObjectDestroyed() { --liveObjects; }
void LockServer(bool lock) { lock ? ++locks : --locks; }
bool CanUnload() { return liveObjects == 0 && locks == 0; }

}  // namespace tarnvik::com

using namespace tarnvik::com;

extern "C" {

BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID) {
  if (reason == DLL_PROCESS_ATTACH) {
    module = instance;
    DisableThreadLibraryCalls(instance);
  }
  return TRUE;
}

HRESULT STDAPICALLTYPE DllGetClassObject(REFCLSID clsid, REFIID riid, void** ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  static std::once_flag pump;
  std::call_once(pump, [] { tarnvik::SetYieldHandler(PumpMessages); });
  for (std::size_t i = 0; i < kCoClassCount; ++i) {
    const CoClassEntry& entry = kCoClasses[i];
    if (!entry.creatable || !IsEqualCLSID(*entry.clsid, clsid)) continue;
    auto* factory = new ClassFactory(entry);
    const HRESULT hr = factory->QueryInterface(riid, ppv);
    factory->Release();
    return hr;
  }
  return CLASS_E_CLASSNOTAVAILABLE;
}

HRESULT STDAPICALLTYPE DllCanUnloadNow() { return CanUnload() ? S_OK : S_FALSE; }

HRESULT STDAPICALLTYPE DllRegisterServer() {
  std::wstring path = ServerPath();
  const std::wstring libraryId = GuidText(kLibraryId);
  for (std::size_t i = 0; i < kCoClassCount; ++i) {
    const CoClassEntry& entry = kCoClasses[i];
    if (!entry.creatable) continue;
    const std::wstring clsid = GuidText(*entry.clsid);
    const std::wstring key = L"CLSID\\" + clsid;
    const bool ok = SetValue(key, nullptr, entry.name) && SetValue(key + L"\\InprocServer32", nullptr, path) &&
                    SetValue(key + L"\\InprocServer32", L"ThreadingModel", L"Apartment") &&
                    SetValue(key + L"\\ProgID", nullptr, ProgId(entry)) &&
                    SetValue(key + L"\\TypeLib", nullptr, libraryId) && SetValue(key + L"\\Version", nullptr, L"1.0") &&
                    SetValue(ProgId(entry), nullptr, entry.name) && SetValue(ProgId(entry) + L"\\CLSID", nullptr, clsid);
    if (!ok) return SELFREG_E_CLASS;
  }
  ITypeLib* library = nullptr;
  HRESULT hr = LoadTypeLibEx(path.c_str(), REGKIND_NONE, &library);
  if (FAILED(hr)) return SELFREG_E_TYPELIB;
  hr = RegisterTypeLib(library, path.data(), nullptr);
  library->Release();
  return FAILED(hr) ? SELFREG_E_TYPELIB : S_OK;
}

HRESULT STDAPICALLTYPE DllUnregisterServer() {
  for (std::size_t i = 0; i < kCoClassCount; ++i) {
    const CoClassEntry& entry = kCoClasses[i];
    if (!entry.creatable) continue;
    DeleteTree(L"CLSID\\" + GuidText(*entry.clsid));
    DeleteTree(ProgId(entry));
  }
  UnRegisterTypeLib(kLibraryId, 1, 0, LOCALE_NEUTRAL, sizeof(void*) == 8 ? SYS_WIN64 : SYS_WIN32);
  return S_OK;
}

}  // extern "C"
