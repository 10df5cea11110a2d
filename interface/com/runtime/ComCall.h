// Every member a client calls runs through Call: a library error becomes the client's
// error information (number, source, description) and the HRESULT that makes automation
// clients show the library's own number (facility 0xA, as Visual Basic components
// report errors).
#pragma once

#include <windows.h>
#include <oleauto.h>

#include <cstdint>
#include <new>
#include <string>

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik::com {

// The HRESULT that carries a library error number to automation clients.
constexpr HRESULT ErrorResult(int32_t number) {
  return static_cast<HRESULT>(0x800A0000u | (static_cast<uint32_t>(number) & 0xFFFFu));
}

// Sets the thread's error information and returns ErrorResult(number).
HRESULT ReportError(int32_t number, const std::string& source, const std::string& description);

// Runs body; any failure is reported as above and never crosses into the client as a C++
// exception. A failure of the conversion layer itself (an argument that does not convert)
// has no source yet: it is reported from "module:procedure", the member the client called.
template <class Body>
HRESULT Call(const char* module, const char* procedure, Body&& body) noexcept {
  try {
    body();
    return S_OK;
  } catch (const Error& e) {
    if (!e.Source().empty()) return ReportError(e.Number(), e.Source(), e.Description());
    return ReportError(e.Number(), std::string(module) + ":" + procedure, e.Description());
  } catch (const std::bad_alloc&) {
    return ReportError(err::OutOfMemory, std::string(module) + ":" + procedure, StandardDescription(err::OutOfMemory));
  } catch (...) {
    return ReportError(err::InvalidCall, std::string(module) + ":" + procedure, StandardDescription(err::InvalidCall));
  }
}

// A null out-pointer from the client.
inline void CheckOut(const void* p) {
  if (p == nullptr) Raise(err::InvalidCall);
}

}  // namespace tarnvik::com
