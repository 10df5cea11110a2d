# Cross-compiling for 64-bit Windows with mingw-w64 (Debian's x86_64-w64-mingw32 packages).
set(CMAKE_SYSTEM_PROCESSOR x86_64)
set(TARNVIK_MINGW_TRIPLE x86_64-w64-mingw32)
include(${CMAKE_CURRENT_LIST_DIR}/mingw-common.cmake)
