// A compiled automation client of Tarnvik.dll, for what a script under Wine cannot do: its
// own event sinks on the objects' connection points, calls through the dual interfaces'
// vtables with the error information read back through IErrorInfo, and a download from
// the simulated KTR 915 on a COM port, cancelled from a window message while it runs.
// Usage: ComClient SAMPLE.sor WORK_FOLDER PORT
// Prints one line per failed check and, last, "N passed, M failed"; exits 0 only when
// none failed.
#include <windows.h>
#include <ocidl.h>
#include <olectl.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <string>
#include <vector>

#include "Tarnvik.h"

namespace {

int passed = 0;
int failed = 0;

bool Check(const char* name, bool condition) {
  if (condition) {
    ++passed;
  } else {
    ++failed;
    std::printf("FAILED: %s\n", name);
  }
  return condition;
}

// Owned COM values.
template <class T>
class Ptr {
 public:
  Ptr() = default;
  Ptr(const Ptr&) = delete;
  Ptr& operator=(const Ptr&) = delete;
  ~Ptr() { Reset(); }
  void Reset() {
    if (p_ != nullptr) p_->Release();
    p_ = nullptr;
  }
  T** Out() {
    Reset();
    return &p_;
  }
  void** OutVoid() { return reinterpret_cast<void**>(Out()); }
  T* Get() const { return p_; }
  T* operator->() const { return p_; }
  explicit operator bool() const { return p_ != nullptr; }

 private:
  T* p_ = nullptr;
};

struct Var {
  VARIANT v;
  Var() { VariantInit(&v); }
  explicit Var(LONG n) : Var() {
    V_VT(&v) = VT_I4;
    V_I4(&v) = n;
  }
  Var(const Var& other) : Var() { VariantCopy(&v, const_cast<VARIANT*>(&other.v)); }
  Var& operator=(const Var&) = delete;
  ~Var() { VariantClear(&v); }
};

class Bstr {
 public:
  explicit Bstr(const std::wstring& text) : b_(SysAllocStringLen(text.data(), static_cast<UINT>(text.size()))) {}
  Bstr(const Bstr&) = delete;
  Bstr& operator=(const Bstr&) = delete;
  ~Bstr() { SysFreeString(b_); }
  operator BSTR() const { return b_; }

 private:
  BSTR b_;
};

// A BSTR result as text, freed.
std::wstring Take(BSTR b) {
  std::wstring text(b != nullptr ? b : L"", SysStringLen(b));
  SysFreeString(b);
  return text;
}

constexpr LONG kNoNumber = -99999;

LONG AsLong(const VARIANT& v) {
  Var changed;
  return SUCCEEDED(VariantChangeType(&changed.v, const_cast<VARIANT*>(&v), 0, VT_I4)) ? V_I4(&changed.v) : kNoNumber;
}

std::wstring AsText(const VARIANT& v) { return V_VT(&v) == VT_BSTR ? std::wstring(V_BSTR(&v)) : L"<not text>"; }

// A one-dimensional array of String VARIANTs, as a script builds one.
Var Strings(const std::vector<std::wstring>& texts) {
  Var array;
  SAFEARRAYBOUND bound{static_cast<ULONG>(texts.size()), 0};
  V_VT(&array.v) = VT_ARRAY | VT_VARIANT;
  V_ARRAY(&array.v) = SafeArrayCreate(VT_VARIANT, 1, &bound);
  for (LONG i = 0; i < static_cast<LONG>(texts.size()); ++i) {
    Var item;
    V_VT(&item.v) = VT_BSTR;
    V_BSTR(&item.v) = SysAllocString(texts[static_cast<size_t>(i)].c_str());
    SafeArrayPutElement(V_ARRAY(&array.v), &i, &item.v);
  }
  return array;
}

std::vector<std::wstring> TextsOf(const VARIANT& v) {
  std::vector<std::wstring> texts;
  if (V_VT(&v) != (VT_ARRAY | VT_VARIANT) || SafeArrayGetDim(V_ARRAY(&v)) != 1) return texts;
  LONG lower = 0, upper = -1;
  SafeArrayGetLBound(V_ARRAY(&v), 1, &lower);
  SafeArrayGetUBound(V_ARRAY(&v), 1, &upper);
  for (LONG i = lower; i <= upper; ++i) {
    Var item;
    SafeArrayGetElement(V_ARRAY(&v), &i, &item.v);
    texts.push_back(AsText(item.v));
  }
  return texts;
}

// The error information the last failed call left on this thread.
struct ErrorText {
  std::wstring source;
  std::wstring description;
};

ErrorText LastError() {
  ErrorText text;
  Ptr<IErrorInfo> info;
  if (GetErrorInfo(0, info.Out()) != S_OK || !info) return text;
  BSTR b = nullptr;
  if (SUCCEEDED(info->GetSource(&b))) text.source = Take(b);
  if (SUCCEEDED(info->GetDescription(&b))) text.description = Take(b);
  return text;
}

constexpr HRESULT LibraryError(LONG number) { return static_cast<HRESULT>(0x800A0000u | static_cast<ULONG>(number)); }

// An events interface implemented as a plain IDispatch: records each event's id and
// arguments (first to last, by-reference ones followed) and then runs answer, which may
// write the by-reference arguments. Lives on the stack: its count only tells who holds it.
class Sink final : public IDispatch {
 public:
  struct Event {
    DISPID id;
    std::vector<Var> args;
  };
  explicit Sink(REFIID events) : events_(events) {}

  std::vector<Event> received;
  std::function<void(DISPID, DISPPARAMS&)> answer;
  ULONG references = 1;

  HRESULT STDMETHODCALLTYPE QueryInterface(REFIID riid, void** ppv) override {
    if (ppv == nullptr) return E_POINTER;
    *ppv = nullptr;
    if (!IsEqualIID(riid, IID_IUnknown) && !IsEqualIID(riid, IID_IDispatch) && !IsEqualIID(riid, events_)) {
      return E_NOINTERFACE;
    }
    *ppv = static_cast<IDispatch*>(this);
    AddRef();
    return S_OK;
  }
  ULONG STDMETHODCALLTYPE AddRef() override { return ++references; }
  ULONG STDMETHODCALLTYPE Release() override { return --references; }
  HRESULT STDMETHODCALLTYPE GetTypeInfoCount(UINT* count) override {
    *count = 0;
    return S_OK;
  }
  HRESULT STDMETHODCALLTYPE GetTypeInfo(UINT, LCID, ITypeInfo**) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE GetIDsOfNames(REFIID, LPOLESTR*, UINT, LCID, DISPID*) override { return E_NOTIMPL; }
  HRESULT STDMETHODCALLTYPE Invoke(DISPID id, REFIID, LCID, WORD, DISPPARAMS* params, VARIANT*, EXCEPINFO*,
                                   UINT*) override {
    Event event{id, {}};
    for (UINT i = params->cArgs; i-- > 0;) {
      Var arg;
      VariantCopyInd(&arg.v, &params->rgvarg[i]);
      event.args.push_back(arg);
    }
    received.push_back(event);
    if (answer) answer(id, *params);
    return S_OK;
  }

 private:
  IID events_;
};

// Whether the sink's index-th event is id with a first argument of that type and value.
bool IsEvent(const Sink& sink, size_t index, DISPID id, VARTYPE type, LONG first) {
  if (sink.received.size() <= index || sink.received[index].id != id || sink.received[index].args.empty()) {
    return false;
  }
  const VARIANT& arg = sink.received[index].args[0].v;
  return V_VT(&arg) == type && AsLong(arg) == first;
}

// One sink advised on an object's connection point; unadvised when it goes.
class Connection {
 public:
  Connection(IUnknown* object, REFIID events, IDispatch* sink) {
    Ptr<IConnectionPointContainer> container;
    if (SUCCEEDED(object->QueryInterface(IID_IConnectionPointContainer, container.OutVoid())) &&
        SUCCEEDED(container->FindConnectionPoint(events, point_.Out()))) {
      advised_ = SUCCEEDED(point_->Advise(sink, &cookie_));
    }
  }
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() {
    if (advised_) point_->Unadvise(cookie_);
  }
  bool Advised() const { return advised_; }
  HRESULT Unadvise() {
    advised_ = false;
    return point_ ? point_->Unadvise(cookie_) : E_POINTER;
  }

 private:
  Ptr<IConnectionPoint> point_;
  DWORD cookie_ = 0;
  bool advised_ = false;
};

template <class T>
bool Create(const wchar_t* progId, REFIID iid, Ptr<T>& object) {
  CLSID clsid;
  return SUCCEEDED(CLSIDFromProgID(progId, &clsid)) &&
         SUCCEEDED(CoCreateInstance(clsid, nullptr, CLSCTX_INPROC_SERVER, iid, object.OutVoid()));
}

// ---- Trace and event editing ----------------------------------------------------------

void TraceEvents(const std::wstring& sample) {
  CLSID clsid;
  Check("ProgID names the class", SUCCEEDED(CLSIDFromProgID(L"Tarnvik.CFileOperations", &clsid)) &&
                                      IsEqualCLSID(clsid, CLSID_CFileOperations));
  Ptr<_CFileOperations> files;
  Ptr<_CTrace> trace;
  if (!Check("CFileOperations created", Create(L"Tarnvik.CFileOperations", IID__CFileOperations, files)) ||
      !Check("ReadTrace", SUCCEEDED(files->ReadTrace(Bstr(sample), VARIANT_FALSE, VARIANT_FALSE, trace.Out())))) {
    return;
  }
  LONG samples = 0;
  Check("samples read", SUCCEEDED(trace->get_Samples(&samples)) && samples == 8000);

  Sink traceSink(DIID___CTrace);
  Connection traceEvents(trace.Get(), DIID___CTrace, &traceSink);
  Check("trace sink advised", traceEvents.Advised());
  trace->put_FiberNumber(12);
  Check("edit raises IsDirty(True)", traceSink.received.size() == 1 && IsEvent(traceSink, 0, 1, VT_BOOL, VARIANT_TRUE));

  Ptr<_CEvents> events;
  Ptr<_CEvent> first;
  if (!Check("Events", SUCCEEDED(trace->get_Events(events.Out()))) ||
      !Check("Events(1)", SUCCEEDED(events->Item(Var(1).v, first.Out())))) {
    return;
  }
  Sink eventsSink(DIID___CEvents);
  Connection eventsEvents(events.Get(), DIID___CEvents, &eventsSink);
  first->put_Comment(Bstr(L"edited by the client"));
  Check("event edit raises Dirty(True)",
        eventsSink.received.size() == 1 && IsEvent(eventsSink, 0, 1, VT_BOOL, VARIANT_TRUE));
  events->Remove(Var(1).v);
  Check("Remove raises Dirty(True)",
        eventsSink.received.size() == 2 && IsEvent(eventsSink, 1, 1, VT_BOOL, VARIANT_TRUE));

  Check("trace sink unadvised", traceEvents.Unadvise() == S_OK);
  Check("events sink unadvised", eventsEvents.Unadvise() == S_OK);
  Check("Unadvise releases the sinks", traceSink.references == 1 && eventsSink.references == 1);
  Check("a second Unadvise is refused", traceEvents.Unadvise() == CONNECT_E_NOCONNECTION);
  trace->put_FiberNumber(13);
  if (SUCCEEDED(events->Item(Var(1).v, first.Out()))) first->put_Comment(Bstr(L"after Unadvise"));
  Check("no events after Unadvise", traceSink.received.size() == 1 && eventsSink.received.size() == 2);

  // An object released while a sink is still advised lets the sink go with it.
  Sink kept(DIID___CTrace);
  {
    Ptr<_CTrace> other;
    Ptr<IConnectionPointContainer> container;
    Ptr<IConnectionPoint> point;
    DWORD cookie = 0;
    Check("sink held by a second trace",
          Create(L"Tarnvik.CTrace", IID__CTrace, other) &&
              SUCCEEDED(other->QueryInterface(IID_IConnectionPointContainer, container.OutVoid())) &&
              SUCCEEDED(container->FindConnectionPoint(DIID___CTrace, point.Out())) &&
              SUCCEEDED(point->Advise(&kept, &cookie)) && kept.references == 2);
  }
  Check("releasing the object releases its sinks", kept.references == 1);
}

// ---- SOR file: the Orvik block event --------------------------------------------------

void SorFileEvents(const std::wstring& sample, const std::wstring& work) {
  Ptr<_CSORFile> sor;
  if (!Check("CSORFile created", Create(L"Tarnvik.CSORFile", IID__CSORFile, sor))) return;
  Sink sink(DIID___CSORFile);
  Connection connection(sor.Get(), DIID___CSORFile, &sink);
  const std::wstring withOrvik = work + L"\\orvik.sor";
  Check("load without an Orvik block", SUCCEEDED(sor->LoadFromFile(Bstr(sample), VARIANT_FALSE)));
  Check("no OrvikBlock event for a file without one", sink.received.empty());
  // The block holds one level per key event: the count must match before it is saved.
  Ptr<_COrvikBlock> orvik;
  Ptr<_CKeyEventsBlock> keyBlock;
  Ptr<_CKeyEvents> keys;
  LONG keyCount = 0;
  const bool added = SUCCEEDED(sor->AddOrvikBlock()) && SUCCEEDED(sor->get_OrvikBlock(orvik.Out())) &&
                     SUCCEEDED(sor->get_KeyEventsBlock(keyBlock.Out())) &&
                     SUCCEEDED(keyBlock->get_KeyEvents(keys.Out())) && SUCCEEDED(keys->get_Count(&keyCount)) &&
                     SUCCEEDED(orvik->put_EventCount(static_cast<short>(keyCount)));
  Check("save with an Orvik block", added && SUCCEEDED(sor->SaveToFile(Bstr(withOrvik))));
  Check("load with an Orvik block", SUCCEEDED(sor->LoadFromFile(Bstr(withOrvik), VARIANT_FALSE)));
  Check("OrvikBlock(True) raised once", sink.received.size() == 1 && IsEvent(sink, 0, 1, VT_BOOL, VARIANT_TRUE));
  connection.Unadvise();
  sor->LoadFromFile(Bstr(withOrvik), VARIANT_FALSE);
  Check("no OrvikBlock after Unadvise", sink.received.size() == 1);
}

// ---- Byte arrays: a SAFEARRAY of bytes keeps its lower bound both ways -----------------

void ByteArrays() {
  Ptr<_CBlock> block;
  if (!Check("CBlock created", Create(L"Tarnvik.CBlock", IID__CBlock, block))) return;
  SAFEARRAYBOUND bound{3, 5};  // elements 5..7
  Var bytes;
  V_VT(&bytes.v) = VT_ARRAY | VT_UI1;
  V_ARRAY(&bytes.v) = SafeArrayCreate(VT_UI1, 1, &bound);
  for (LONG i = 5; i <= 7; ++i) {
    BYTE b = static_cast<BYTE>(44 + i);  // "123"
    SafeArrayPutElement(V_ARRAY(&bytes.v), &i, &b);
  }
  Check("SetRawData", SUCCEEDED(block->SetRawData(bytes.v)));
  Var back;
  Check("GetRawData", SUCCEEDED(block->GetRawData(&back.v)));
  LONG lower = 0, upper = 0;
  BYTE last = 0;
  const bool isBytes = V_VT(&back.v) == (VT_ARRAY | VT_UI1);
  if (isBytes) {
    SafeArrayGetLBound(V_ARRAY(&back.v), 1, &lower);
    SafeArrayGetUBound(V_ARRAY(&back.v), 1, &upper);
    SafeArrayGetElement(V_ARRAY(&back.v), &upper, &last);
  }
  Check("bytes come back as bytes", isBytes);
  Check("bytes keep their bounds 5..7", lower == 5 && upper == 7 && last == '3');
}

// ---- Event pipe: a by-reference value answered by the sink ----------------------------

void EventPipe() {
  Ptr<_CEventPipe> pipe;
  if (!Check("CEventPipe created", Create(L"Tarnvik.CEventPipe", IID__CEventPipe, pipe))) return;
  Sink sink(DIID___CEventPipe);
  sink.answer = [](DISPID id, DISPPARAMS& params) {
    // DataChanged(sProperty, vData): the value comes last to first, so vData is rgvarg[0].
    if (id != 2 || params.cArgs != 2 || V_VT(&params.rgvarg[0]) != (VT_BYREF | VT_VARIANT)) return;
    VARIANT* value = V_VARIANTREF(&params.rgvarg[0]);
    const LONG doubled = AsLong(*value) * 2;
    VariantClear(value);
    V_VT(value) = VT_I4;
    V_I4(value) = doubled;
  };
  Connection connection(pipe.Get(), DIID___CEventPipe, &sink);
  Var value(21);
  Check("DataChanged", SUCCEEDED(pipe->DataChanged(Bstr(L"Level"), &value.v)));
  Check("DataChanged reaches the sink",
        sink.received.size() == 1 && sink.received[0].id == 2 && sink.received[0].args.size() == 2 &&
            AsText(sink.received[0].args[0].v) == L"Level" && AsLong(sink.received[0].args[1].v) == 21);
  Check("the sink's answer reaches the caller", V_VT(&value.v) == VT_I4 && V_I4(&value.v) == 42);
  pipe->Dirty(VARIANT_FALSE);
  Check("Dirty(False) reaches the sink", sink.received.size() == 2 && IsEvent(sink, 1, 1, VT_BOOL, VARIANT_FALSE));
  connection.Unadvise();
  Var untouched(21);
  pipe->DataChanged(Bstr(L"Level"), &untouched.v);
  Check("no DataChanged after Unadvise", sink.received.size() == 2 && AsLong(untouched.v) == 21);
}

// ---- Download from the instrument ------------------------------------------------------

_CKTR915* cancelTarget = nullptr;
bool cancelledByMessage = false;

LRESULT CALLBACK CancelWindow(HWND window, UINT message, WPARAM w, LPARAM l) {
  if (message != WM_APP) return DefWindowProcW(window, message, w, l);
  if (cancelTarget != nullptr) cancelledByMessage = SUCCEEDED(cancelTarget->CancelOperation(VARIANT_TRUE));
  return 0;
}

void Download(short port) {
  Ptr<_CKTR915> ktr;
  if (!Check("CKTR915 created", Create(L"Tarnvik.CKTR915", IID__CKTR915, ktr))) return;
  Sink sink(DIID___CKTR915);
  Connection connection(ktr.Get(), DIID___CKTR915, &sink);
  VARIANT_BOOL connected = VARIANT_FALSE;
  if (!Check("Connect", SUCCEEDED(ktr->Connect(port)) && SUCCEEDED(ktr->get_Connected(&connected)) &&
                            connected == VARIANT_TRUE)) {
    return;
  }
  const std::vector<std::wstring> expected{L"TRV-A-0144_7_S13", L"SYNTH_2_S13", L"SYNTH_3_S13"};
  Var names;
  Check("GetFilenames", SUCCEEDED(ktr->GetFilenames(10.0f, &names.v)));
  Check("file names as an array of strings", TextsOf(names.v) == expected);

  Ptr<_CTraces> traces;
  LONG count = 0;
  if (Check("GetFiles", SUCCEEDED(ktr->GetFiles(names.v, 10.0f, traces.Out())))) {
    Check("one trace a file", SUCCEEDED(traces->get_Count(&count)) && count == 3);
    const LONG samples[] = {8000, 500, 500};
    for (LONG i = 1; i <= count && i <= 3; ++i) {
      Ptr<_CTrace> trace;
      LONG n = 0;
      BSTR name = nullptr;
      const bool ok = SUCCEEDED(traces->Item(Var(i).v, trace.Out())) && SUCCEEDED(trace->get_Samples(&n)) &&
                      SUCCEEDED(trace->get_FileName(&name));
      const std::wstring fileName = Take(name);
      Check("downloaded samples", ok && n == samples[i - 1]);
      Check("downloaded file name", fileName == expected[static_cast<size_t>(i - 1)] + L".sor");
    }
  }

  Ptr<_CTraces> none;
  Check("a missing file: error 5", ktr->GetFiles(Strings({L"NOPE_1_S13"}).v, 10.0f, none.Out()) == LibraryError(5));
  const ErrorText error = LastError();
  Check("a missing file: source", error.source == L"CKTR915:GetFiles()");
  Check("a missing file: description",
        error.description.rfind(L"Could not find file: 'NOPE_1_S13'", 0) == 0);
  Ptr<ISupportErrorInfo> supports;
  Check("error information supported", SUCCEEDED(ktr->QueryInterface(IID_ISupportErrorInfo, supports.OutVoid())) &&
                                           supports->InterfaceSupportsErrorInfo(IID__CKTR915) == S_OK);
  Check("no events before a cancel", sink.received.empty());

  // A message the client posted before the transfer runs while the transfer waits for the
  // line, as a form's Cancel button would: its handler cancels the running transfer.
  WNDCLASSW windowClass{};
  windowClass.lpfnWndProc = CancelWindow;
  windowClass.hInstance = GetModuleHandleW(nullptr);
  windowClass.lpszClassName = L"TarnvikClientCancel";
  RegisterClassW(&windowClass);
  HWND window = CreateWindowExW(0, windowClass.lpszClassName, L"", 0, 0, 0, 0, 0, HWND_MESSAGE, nullptr,
                                windowClass.hInstance, nullptr);
  if (!Check("message window", window != nullptr)) return;
  cancelTarget = ktr.Get();
  PostMessageW(window, WM_APP, 0, 0);
  Ptr<_CTraces> cancelled;
  Check("a cancelled transfer: error 11005",
        ktr->GetFiles(names.v, 10.0f, cancelled.Out()) == LibraryError(11005));
  Check("cancelled from a message during the transfer", cancelledByMessage);
  Check("KTREvent(KTREV_Cancelled, 0)", sink.received.size() == 1 && IsEvent(sink, 0, 3, VT_I4, KTREV_Cancelled) &&
                                            sink.received[0].args.size() == 2 &&
                                            V_VT(&sink.received[0].args[1].v) != VT_EMPTY &&
                                            AsLong(sink.received[0].args[1].v) == 0);
  Check("KTR sink unadvised", connection.Unadvise() == S_OK);
  Check("the session stays cancelled", ktr->GetFiles(names.v, 10.0f, cancelled.Out()) == LibraryError(11005));
  Check("no KTREvent after Unadvise", sink.received.size() == 1);
  ktr->Disconnect();
  Check("Disconnect", SUCCEEDED(ktr->get_Connected(&connected)) && connected == VARIANT_FALSE);
  cancelTarget = nullptr;
  DestroyWindow(window);
}

std::wstring Wide(const char* text) {
  const int n = MultiByteToWideChar(CP_ACP, 0, text, -1, nullptr, 0);
  std::wstring wide(static_cast<size_t>(n > 0 ? n : 1), L'\0');
  MultiByteToWideChar(CP_ACP, 0, text, -1, wide.data(), n);
  wide.resize(wide.size() - 1);
  return wide;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fprintf(stderr, "usage: ComClient SAMPLE.sor WORK_FOLDER PORT\n");
    return 2;
  }
  if (FAILED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED))) {
    std::fprintf(stderr, "COM could not be initialised\n");
    return 1;
  }
  TraceEvents(Wide(argv[1]));
  SorFileEvents(Wide(argv[1]), Wide(argv[2]));
  EventPipe();
  Download(static_cast<short>(std::atoi(argv[3])));
  ByteArrays();
  CoUninitialize();
  std::printf("%d passed, %d failed\n", passed, failed);
  return failed == 0 ? 0 : 1;
}
