# What find_package finds for the Mac's build on Linux: GoogleTest, built from Debian's sources, and in the place of the
# libraries that some tests compare with, targets that are nothing. Programs that use those cannot be built here.

function(zenta_provide_googletest)
  set(root /usr/src/googletest)
  add_library(zenta_googletest STATIC EXCLUDE_FROM_ALL "${root}/googletest/src/gtest-all.cc"
              "${root}/googlemock/src/gmock-all.cc" "${root}/googletest/src/gtest_main.cc")
  target_compile_features(zenta_googletest PUBLIC cxx_std_20)
  target_compile_options(zenta_googletest PRIVATE -w)
  target_include_directories(zenta_googletest SYSTEM PUBLIC "${root}/googletest/include" "${root}/googlemock/include"
                             PRIVATE "${root}/googletest" "${root}/googlemock")
  add_library(GTest::gmock ALIAS zenta_googletest)
  add_library(GTest::gtest_main ALIAS zenta_googletest)
endfunction()

macro(zenta_provide_package method name)
  if("${name}" MATCHES "^(Threads|Marisa)$")
    find_package(${name} ${ARGN} BYPASS_PROVIDER)
  else()
    if("${name}" STREQUAL "GTest")
      zenta_provide_googletest()
    elseif("${name}" STREQUAL "ICU")
      add_library(ICU::uc INTERFACE IMPORTED)
    elseif("${name}" STREQUAL "ZLIB")
      add_library(ZLIB::ZLIB INTERFACE IMPORTED)
    elseif("${name}" STREQUAL "Protobuf")
      add_executable(protobuf::protoc IMPORTED)
      set_property(TARGET protobuf::protoc PROPERTY IMPORTED_LOCATION /usr/bin/false)
    else()
      message(FATAL_ERROR "tools/mac/packages.cmake does not know the package ${name}")
    endif()
    set(${name}_FOUND TRUE)
  endif()
endmacro()

cmake_language(SET_DEPENDENCY_PROVIDER zenta_provide_package SUPPORTED_METHODS FIND_PACKAGE)
