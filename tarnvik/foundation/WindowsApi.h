// Library-internal: <windows.h> as the library's Windows-only sources include it, without
// the min/max macros and the rarely used parts. Include it only under #if defined(_WIN32).
#pragma once

#ifndef NOMINMAX
#define NOMINMAX
#endif
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
