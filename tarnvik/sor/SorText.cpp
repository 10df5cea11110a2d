#include "tarnvik/sor/SorText.h"

#include "tarnvik/foundation/Utf8.h"
#include "tarnvik/foundation/modMain.h"

namespace tarnvik {

int32_t TextFieldSize(const std::string& text) { return ToInt32(static_cast<double>(CharCount(text)) + 1); }

}  // namespace tarnvik
