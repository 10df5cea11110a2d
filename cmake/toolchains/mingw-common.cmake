# Shared part of the mingw-w64 toolchain files: the including file sets TARNVIK_MINGW_TRIPLE
# and CMAKE_SYSTEM_PROCESSOR first.
#
# The POSIX-threads flavour of the compilers: the library uses std::thread and std::mutex,
# which the win32 flavour does not provide.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_C_COMPILER ${TARNVIK_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${TARNVIK_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${TARNVIK_MINGW_TRIPLE}-windres)

# Headers and libraries come from the mingw-w64 sysroot only: the host's /usr/include
# (glibc) must never be searched. Programs are the host's.
set(CMAKE_FIND_ROOT_PATH /usr/${TARNVIK_MINGW_TRIPLE})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)

# Every program and DLL links the C++ runtime (libstdc++, libgcc, winpthread) statically,
# so that it needs nothing beyond the DLLs Windows itself has.
set(TARNVIK_MINGW_STATIC_RUNTIME "-static -static-libgcc -static-libstdc++")
set(CMAKE_EXE_LINKER_FLAGS_INIT "${TARNVIK_MINGW_STATIC_RUNTIME}")
set(CMAKE_SHARED_LINKER_FLAGS_INIT "${TARNVIK_MINGW_STATIC_RUNTIME}")
set(CMAKE_MODULE_LINKER_FLAGS_INIT "${TARNVIK_MINGW_STATIC_RUNTIME}")

# Large translation units (the JSON reader, the test suites) pass the COFF section limit.
set(CMAKE_C_FLAGS_INIT "-Wa,-mbig-obj")
set(CMAKE_CXX_FLAGS_INIT "-Wa,-mbig-obj")

# Test discovery and ctest run the programs under Wine when it is installed.
find_program(TARNVIK_WINE NAMES wine64 wine PATHS /usr/lib/wine /usr/lib64/wine NO_CMAKE_FIND_ROOT_PATH)
if(TARNVIK_WINE)
  set(CMAKE_CROSSCOMPILING_EMULATOR ${TARNVIK_WINE})
endif()
