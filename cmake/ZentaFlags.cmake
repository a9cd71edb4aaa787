# Compiler settings that hold for every target of this project.
#
# The include root is the repository's root, so every include names its folder: "corelib/text/str.h".

set(CMAKE_CXX_STANDARD 20)
set(CMAKE_CXX_STANDARD_REQUIRED ON)
set(CMAKE_CXX_EXTENSIONS OFF)
set(CMAKE_POSITION_INDEPENDENT_CODE ON)
set(CMAKE_EXPORT_COMPILE_COMMANDS ON)
# As a part of another project we leave the build type alone, even if that project sets none.
if(PROJECT_IS_TOP_LEVEL AND NOT CMAKE_BUILD_TYPE AND NOT CMAKE_CONFIGURATION_TYPES)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Build type" FORCE)
endif()

add_library(zenta_flags INTERFACE)
target_compile_options(zenta_flags INTERFACE -Wall -Wextra -Wshadow -Wconversion -Wsign-conversion
                                             $<$<BOOL:${ZENTA_WERROR}>:-Werror>)
# g++ 12 sees overlapping copies in the standard library's own string operators (GCC bug 105651).
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU" AND CMAKE_CXX_COMPILER_VERSION VERSION_LESS 13)
  target_compile_options(zenta_flags INTERFACE -Wno-restrict)
endif()

# A fuzzing engine other than libFuzzer brings its own sanitizers and coverage in CXXFLAGS.
set(ZENTA_FUZZING_ENGINE "" CACHE STRING "What fuzz targets are linked with instead of libFuzzer")
if(ZENTA_SANITIZE OR (ZENTA_FUZZ AND NOT ZENTA_FUZZING_ENGINE))
  # Without vptr: that check needs run-time types, and corelib/ and engine/ have none.
  add_compile_options(-fsanitize=address,undefined -fno-sanitize=vptr -fno-sanitize-recover=all
                      -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
if(ZENTA_FUZZ)
  if(NOT CMAKE_CXX_COMPILER_ID MATCHES "Clang")
    message(FATAL_ERROR "ZENTA_FUZZ needs clang: configure with --preset fuzz")
  endif()
  if(NOT ZENTA_FUZZING_ENGINE)
    add_compile_options(-fsanitize=fuzzer-no-link)
  endif()
endif()
if(ZENTA_COVERAGE)
  add_compile_options(--coverage)
  add_link_options(--coverage)
endif()
