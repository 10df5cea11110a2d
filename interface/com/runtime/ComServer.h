// The server's shared state: the module it lives in, its type library (embedded as a
// resource), and the count of live objects and locks that DllCanUnloadNow reports.
#pragma once

#include <windows.h>
#include <oaidl.h>

#include <string>

namespace tarnvik::com {

HMODULE ServerModule();
std::wstring ServerPath();
// The type information of one interface of the embedded library (not AddRef'd; lives as
// long as the server). nullptr when the library cannot be loaded.
ITypeInfo* TypeInfoOf(REFGUID guid);

void ObjectCreated();
void ObjectDestroyed();
void LockServer(bool lock);
bool CanUnload();

}  // namespace tarnvik::com
