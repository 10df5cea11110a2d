#include "ComObject.h"

namespace tarnvik::com::detail {

std::mutex& IdentityMutex() {
  static std::mutex mutex;
  return mutex;
}

std::unordered_map<const void*, IUnknown*>& Identities() {
  static std::unordered_map<const void*, IUnknown*> identities;
  return identities;
}

}  // namespace tarnvik::com::detail
