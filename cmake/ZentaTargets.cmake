# The four kinds of targets. Files are always listed by name, relative to the calling folder.

# A static library zenta_<name>, with the alias zenta::<name>. HEADERS are its public headers, which are installed; includes
# name them from the repository's root. LINKS are public, PRIVATE_LINKS private dependencies. THROWS lists the sources that
# call a throwing library and catch there; all others are built without exceptions and run-time types, unless the whole
# library is marked EXCEPTIONS. INTERNAL: a part of the programs, neither installed nor exported.
function(zenta_library name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "EXCEPTIONS;INTERNAL" "" "SOURCES;HEADERS;LINKS;PRIVATE_LINKS;THROWS")
  set(target zenta_${name})
  add_library(${target} STATIC ${arg_SOURCES} ${arg_THROWS})
  add_library(zenta::${name} ALIAS ${target})
  set_target_properties(${target} PROPERTIES EXPORT_NAME ${name})
  target_sources(${target} PUBLIC FILE_SET HEADERS BASE_DIRS "${PROJECT_SOURCE_DIR}" FILES ${arg_HEADERS})
  target_compile_features(${target} PUBLIC cxx_std_20)
  # char16_t text is accessed as unsigned short and back, here and in the headers that a caller inlines.
  target_compile_options(${target} PUBLIC -fno-strict-aliasing)
  target_link_libraries(${target} PUBLIC ${arg_LINKS} PRIVATE ${arg_PRIVATE_LINKS} $<BUILD_INTERFACE:zenta_flags>)
  if(arg_SOURCES AND NOT arg_EXCEPTIONS)
    set_property(SOURCE ${arg_SOURCES} APPEND PROPERTY COMPILE_OPTIONS -fno-exceptions -fno-rtti)
  endif()
  if(NOT arg_INTERNAL)
    set_property(GLOBAL APPEND PROPERTY ZENTA_LIBRARIES ${target})
  endif()
endfunction()

# A GoogleTest program; each of its tests becomes a ctest entry named <name>.<Suite>.<Test>.
# ENVIRONMENT: NAME=value settings for the tests. LINK_OPTIONS: passed to the linker. FAIL_REGULAR_EXPRESSION: a test that
# prints this fails. EVERY_LEVEL: the whole program runs once more at each lower level of the processor (corelib/base/cpu.h).
if(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
  set(ZENTA_LOWER_CPU_LEVELS baseline neon)
else()
  set(ZENTA_LOWER_CPU_LEVELS baseline sse42 avx2)
endif()
function(zenta_test name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "EVERY_LEVEL" "TIMEOUT;FAIL_REGULAR_EXPRESSION" "SOURCES;LINKS;LINK_OPTIONS;ENVIRONMENT;DEFINITIONS")
  if(NOT arg_TIMEOUT)
    set(arg_TIMEOUT 300)
  endif()
  add_executable(${name} ${arg_SOURCES})
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LINKS} GTest::gmock GTest::gtest_main zenta_flags)
  target_link_options(${name} PRIVATE ${arg_LINK_OPTIONS})
  gtest_discover_tests(${name} TEST_PREFIX "${name}." DISCOVERY_MODE PRE_TEST DISCOVERY_TIMEOUT 60
                       PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "${arg_ENVIRONMENT}"
                                  FAIL_REGULAR_EXPRESSION "${arg_FAIL_REGULAR_EXPRESSION}")
  if(arg_EVERY_LEVEL)
    foreach(level IN LISTS ZENTA_LOWER_CPU_LEVELS)
      add_test(NAME ${name}.at_${level} COMMAND ${name})
      set_tests_properties(${name}.at_${level} PROPERTIES TIMEOUT ${arg_TIMEOUT} ENVIRONMENT "ZENTA_CPU=${level}")
    endforeach()
  endif()
endfunction()

# A Google Benchmark program. LINKS has the libraries that it measures for comparison, too.
function(zenta_benchmark name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "" "SOURCES;LINKS;DEFINITIONS")
  add_executable(${name} ${arg_SOURCES})
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LINKS} benchmark::benchmark_main zenta_flags)
  set_property(GLOBAL APPEND PROPERTY ZENTA_BENCHMARKS $<TARGET_FILE:${name}>)
endfunction()

# A fuzz target: one source with LLVMFuzzerTestOneInput, a seed corpus in fuzz/corpus/<name>/, and, if words help it, a
# dictionary fuzz/dictionaries/<name>.dict. With ZENTA_FUZZ it is linked with libFuzzer or with ZENTA_FUZZING_ENGINE. Without,
# it replays its corpus as a test, so that every compiler builds and runs it. OPTIONS: one option that `./dev fuzz` passes on,
# such as a limit to the length of inputs where longer ones find nothing more.
function(zenta_fuzzer name)
  cmake_parse_arguments(PARSE_ARGV 1 arg "" "OPTIONS" "SOURCES;LINKS;DEFINITIONS")
  add_executable(${name} ${arg_SOURCES})
  target_compile_definitions(${name} PRIVATE ${arg_DEFINITIONS})
  target_include_directories(${name} PRIVATE "${PROJECT_SOURCE_DIR}")
  target_link_libraries(${name} PRIVATE ${arg_LINKS} zenta_flags)
  if(ZENTA_FUZZ)
    target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/asan_options.cc")
    if(ZENTA_FUZZING_ENGINE)
      target_link_libraries(${name} PRIVATE "${ZENTA_FUZZING_ENGINE}")
    else()
      target_link_options(${name} PRIVATE -fsanitize=fuzzer)
    endif()
    set_property(GLOBAL APPEND PROPERTY ZENTA_FUZZERS "$<TARGET_FILE:${name}> ${arg_OPTIONS}")
  else()
    target_sources(${name} PRIVATE "${PROJECT_SOURCE_DIR}/fuzz/replay_main.cc")
    add_test(NAME fuzz_replay.${name} COMMAND ${name} "${PROJECT_SOURCE_DIR}/fuzz/corpus/${name}")
  endif()
endfunction()

# Writes the paths of all benchmarks and fuzzers to files for ./dev, one a line. A fuzzer's options follow its path.
function(zenta_write_program_lists)
  foreach(kind BENCHMARKS FUZZERS)
    get_property(programs GLOBAL PROPERTY ZENTA_${kind})
    list(JOIN programs "\n" lines)
    string(TOLOWER "${kind}.txt" file)
    file(GENERATE OUTPUT "${PROJECT_BINARY_DIR}/${file}" CONTENT "${lines}\n")
  endforeach()
endfunction()
