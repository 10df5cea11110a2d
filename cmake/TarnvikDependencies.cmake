# Finding the header-only and test dependencies, natively and when cross-compiling.

# nlohmann-json (header-only). A native build takes the installed package. A cross build
# must not add the host's /usr/include to its search path (its glibc headers would stand
# in for the target's), so unless the target's sysroot has its own package, the host's
# nlohmann folder alone is copied into the build tree and offered under the same target.
function(tarnvik_find_nlohmann_json)
  if(TARGET nlohmann_json::nlohmann_json)
    return()
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(nlohmann_json 3 REQUIRED)
    return()
  endif()
  find_package(nlohmann_json 3 QUIET)
  if(nlohmann_json_FOUND)
    return()
  endif()

  find_path(TARNVIK_HOST_NLOHMANN_INCLUDE nlohmann/json.hpp
    PATHS /usr/include /usr/local/include
    NO_DEFAULT_PATH NO_CMAKE_FIND_ROOT_PATH
    DOC "Host folder holding nlohmann/json.hpp, staged for cross builds")
  if(NOT TARNVIK_HOST_NLOHMANN_INCLUDE)
    message(FATAL_ERROR "nlohmann-json not found for the target nor on the host (nlohmann/json.hpp)")
  endif()
  # The version is defined in json.hpp itself or, from 3.11, in detail/abi_macros.hpp.
  set(major "")
  foreach(header json.hpp detail/abi_macros.hpp)
    if(major STREQUAL "" AND EXISTS "${TARNVIK_HOST_NLOHMANN_INCLUDE}/nlohmann/${header}")
      file(STRINGS "${TARNVIK_HOST_NLOHMANN_INCLUDE}/nlohmann/${header}" line
        REGEX "^#define NLOHMANN_JSON_VERSION_MAJOR +[0-9]+")
      if(line MATCHES "VERSION_MAJOR +([0-9]+)")
        set(major "${CMAKE_MATCH_1}")
      endif()
    endif()
  endforeach()
  if(NOT major STREQUAL "3")
    message(FATAL_ERROR "nlohmann-json 3 is needed; ${TARNVIK_HOST_NLOHMANN_INCLUDE} has version '${major}'")
  endif()

  set(staging "${PROJECT_BINARY_DIR}/staging/include")
  file(COPY "${TARNVIK_HOST_NLOHMANN_INCLUDE}/nlohmann" DESTINATION "${staging}")
  add_library(nlohmann_json::nlohmann_json INTERFACE IMPORTED GLOBAL)
  set_target_properties(nlohmann_json::nlohmann_json PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "${staging}")
  message(STATUS "nlohmann-json: host headers staged in ${staging}")
endfunction()

# GoogleTest. A native build takes the installed package; a cross build compiles the
# sources Debian ships (googletest package) with the cross compiler.
set(TARNVIK_GTEST_SOURCE_DIR "/usr/src/googletest" CACHE PATH "GoogleTest sources for cross builds")
function(tarnvik_find_gtest)
  if(TARGET GTest::gtest)
    return()
  endif()
  if(NOT CMAKE_CROSSCOMPILING)
    find_package(GTest REQUIRED)
    return()
  endif()
  if(NOT EXISTS "${TARNVIK_GTEST_SOURCE_DIR}/CMakeLists.txt")
    message(FATAL_ERROR "Cross builds compile GoogleTest from source: none at ${TARNVIK_GTEST_SOURCE_DIR}")
  endif()
  set(BUILD_GMOCK OFF CACHE BOOL "" FORCE)
  set(INSTALL_GTEST OFF CACHE BOOL "" FORCE)
  add_subdirectory("${TARNVIK_GTEST_SOURCE_DIR}" "${PROJECT_BINARY_DIR}/googletest" EXCLUDE_FROM_ALL SYSTEM)
endfunction()
