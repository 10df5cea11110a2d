// The classes this server publishes, as the generated code lists them.
#pragma once

#include <windows.h>

#include <cstddef>

namespace tarnvik::com {

struct CoClassEntry {
  const CLSID* clsid;
  const wchar_t* name;  // the class name; its ProgID is "<library>.<name>"
  bool creatable;
  // A new object of the class, AddRef'd once; raises on failure.
  IUnknown* (*create)();
};

extern const CoClassEntry kCoClasses[];
extern const std::size_t kCoClassCount;
extern const GUID kLibraryId;
extern const wchar_t kLibraryName[];

}  // namespace tarnvik::com
