# Cross-compiling for 32-bit Windows with mingw-w64 (Debian's i686-w64-mingw32 packages).
set(CMAKE_SYSTEM_PROCESSOR x86)
set(TARNVIK_MINGW_TRIPLE i686-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
