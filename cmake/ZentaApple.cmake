# Defines the target zenta_apple, with which the Mac's backend is compiled and linked, if that can be built here.
#
# On a Mac, and where tools/mac/ compiles for one, it has the system's frameworks. Elsewhere the same sources are built only for
# the tests, with GNUstep's Foundation and the stand-ins of tests/apple_shims/ for the rest of Apple's interfaces.

option(ZENTA_REQUIRE_APPLE_LANE "Fail where the Mac's backend cannot be built for its tests" OFF)

# Sets `reason` to why this compiler cannot build the backend with GNUstep. If it can, `reason` is empty and
# ZENTA_APPLE_FLAGS has the flags.
function(zenta_find_gnustep)
  find_program(GNUSTEP_CONFIG gnustep-config)
  if(NOT GNUSTEP_CONFIG)
    set(reason "GNUstep is missing (libgnustep-base-dev)" PARENT_SCOPE)
    return()
  endif()
  execute_process(COMMAND "${GNUSTEP_CONFIG}" --variable=GNUSTEP_SYSTEM_HEADERS OUTPUT_VARIABLE headers
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  set(compile -std=c++20 -fexceptions -fobjc-exceptions -fconstant-string-class=NSConstantString
              -D_NATIVE_OBJC_EXCEPTIONS -DGNUSTEP -DGNUSTEP_BASE_LIBRARY=1 -DGNU_RUNTIME=1 "-isystem${headers}")
  if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    # The runtime and its headers are g++'s. Their folder comes last, because it also has g++'s own compiler headers.
    execute_process(COMMAND g++ -print-file-name=include OUTPUT_VARIABLE runtime OUTPUT_STRIP_TRAILING_WHITESPACE)
    list(APPEND compile -fobjc-runtime=gcc "-idirafter${runtime}")
  endif()
  execute_process(COMMAND "${CMAKE_CXX_COMPILER}" ${compile} -include Foundation/Foundation.h -x objective-c++
                          -fsyntax-only /dev/null RESULT_VARIABLE status OUTPUT_QUIET ERROR_QUIET)
  if(NOT status EQUAL 0)
    set(reason "${CMAKE_CXX_COMPILER} does not compile Objective-C++ with GNUstep (gobjc++)" PARENT_SCOPE)
  endif()
  set(ZENTA_APPLE_FLAGS "${compile}" PARENT_SCOPE)
endfunction()

if(APPLE)
  enable_language(OBJCXX)
  add_library(zenta_apple INTERFACE)
  foreach(framework Foundation Carbon CoreFoundation Security)
    target_link_libraries(zenta_apple INTERFACE "-framework ${framework}")
  endforeach()
elseif(ZENTA_BUILD_TESTS AND ZENTA_BUILD_TOOLS)
  zenta_find_gnustep()
  if(reason AND ZENTA_REQUIRE_APPLE_LANE)
    message(FATAL_ERROR "macOS backend: cannot be tested: ${reason}")
  elseif(reason)
    message(STATUS "macOS backend: not tested here: ${reason}")
  else()
    if(NOT CMAKE_OBJCXX_COMPILER)
      set(CMAKE_OBJCXX_COMPILER "${CMAKE_CXX_COMPILER}")
    endif()
    enable_language(OBJCXX)
    add_library(zenta_apple INTERFACE)
    target_include_directories(zenta_apple INTERFACE "${PROJECT_SOURCE_DIR}/tests/apple_shims/gnustep"
                                                     "${PROJECT_SOURCE_DIR}/tests/apple_shims/frameworks")
    target_compile_options(zenta_apple INTERFACE "$<$<COMPILE_LANGUAGE:OBJCXX>:${ZENTA_APPLE_FLAGS}>")
    target_link_libraries(zenta_apple INTERFACE gnustep-base objc)
  endif()
endif()

# Sets ZENTA_BUILD_ZENTACTL. On a Mac zentactl needs libraries that the updater does not need, and Homebrew has them for one
# architecture only.
function(zenta_decide_on_zentactl)
  set(ZENTA_BUILD_ZENTACTL ON PARENT_SCOPE)
  if(NOT APPLE)
    return()
  endif()
  find_package(OpenSSL 3.0 QUIET COMPONENTS Crypto)
  find_package(CLI11 QUIET)
  find_package(PkgConfig QUIET)
  if(PkgConfig_FOUND)
    pkg_check_modules(plist QUIET libplist-2.0)
  endif()
  list(LENGTH CMAKE_OSX_ARCHITECTURES architectures)
  if(architectures GREATER 1)
    message(STATUS "zentactl: not built for two architectures at once; -DCMAKE_OSX_ARCHITECTURES=arm64 builds it for one")
  elseif(NOT OpenSSL_FOUND OR NOT CLI11_FOUND OR NOT plist_FOUND)
    message(STATUS "zentactl: not built; it needs brew install openssl@3 cli11 libplist pkgconf")
  else()
    return()
  endif()
  set(ZENTA_BUILD_ZENTACTL OFF PARENT_SCOPE)
endfunction()
