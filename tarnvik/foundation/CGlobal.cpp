#include "tarnvik/foundation/CGlobal.h"

#include "tarnvik/foundation/modErrors.h"

namespace tarnvik {

CGlobal::CGlobal() = default;

void CGlobal::InitializeTraceDLLErrors(const std::string& sLogFilename) {
  Guarded(kModule, "InitializeTraceDLLErrors()", [&] { InitializeErrors(sLogFilename, false); });
}

}  // namespace tarnvik
