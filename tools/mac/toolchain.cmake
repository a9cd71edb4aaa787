# Toolchain of a Mac's build on Linux, for one processor: -DCMAKE_OSX_ARCHITECTURES=arm64 or x86_64. tools/mac/check.sh uses it
# and sets the environment variables that clang++ beside this file reads.
set(CMAKE_SYSTEM_NAME Darwin)
set(CMAKE_CXX_COMPILER "${CMAKE_CURRENT_LIST_DIR}/clang++")
set(CMAKE_OBJCXX_COMPILER "${CMAKE_CURRENT_LIST_DIR}/clang++")
foreach(tool AR RANLIB NM STRIP INSTALL_NAME_TOOL)
  string(TOLOWER "${tool}" name)
  string(REPLACE "_" "-" name "${name}")
  set(CMAKE_${tool} "$ENV{ZENTA_LLVM}/llvm-${name}" CACHE FILEPATH "")
endforeach()
set(CMAKE_TRY_COMPILE_TARGET_TYPE STATIC_LIBRARY)
set(CMAKE_PROJECT_TOP_LEVEL_INCLUDES "${CMAKE_CURRENT_LIST_DIR}/packages.cmake" CACHE FILEPATH "")
