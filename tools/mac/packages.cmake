# Provides the packages for a Mac's build on Linux: GoogleTest, built from Debian's sources, and empty targets for the other
# libraries. Test programs that use those cannot be built here; zentactl can, with the headers that tools/mac/check.sh
# provides.

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

# Makes an empty target, unless an earlier find_package made it.
function(zenta_provide_nothing target)
  if(NOT TARGET ${target})
    add_library(${target} INTERFACE IMPORTED GLOBAL)
  endif()
endfunction()

macro(zenta_provide_package method name)
  if("${name}" MATCHES "^(Threads|Marisa)$")
    find_package(${name} ${ARGN} BYPASS_PROVIDER)
  else()
    if("${name}" STREQUAL "GTest")
      zenta_provide_googletest()
    elseif("${name}" STREQUAL "OpenSSL")
      zenta_provide_nothing(OpenSSL::Crypto)
    elseif("${name}" STREQUAL "CLI11")
      zenta_provide_nothing(CLI11::CLI11)
    elseif("${name}" STREQUAL "PkgConfig")
      function(pkg_check_modules prefix)
        zenta_provide_nothing(PkgConfig::${prefix})
        set(${prefix}_FOUND TRUE PARENT_SCOPE)
      endfunction()
    elseif("${name}" STREQUAL "ICU")
      zenta_provide_nothing(ICU::uc)
    elseif("${name}" STREQUAL "ZLIB")
      zenta_provide_nothing(ZLIB::ZLIB)
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
