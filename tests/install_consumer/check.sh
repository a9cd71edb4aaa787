#!/usr/bin/env bash
# check.sh PREFIX FOLDER: builds the project in this folder as a user of the library would: against zenta as installed in
# PREFIX, by CMake and by pkg-config, with g++ and clang; then with zenta as a subproject. All output goes to FOLDER.
# `./dev install-check` calls it.
set -euo pipefail
prefix=$(realpath "$1") folder=$(realpath -m "$2") here=$(dirname "$(realpath "${BASH_SOURCE[0]}")")

say() { printf '%s\n' "install-check: $*" >&2; }
die() { say "$*"; exit 1; }

# configure_and_test NAME TARGETS [OPTION ...]: builds these targets in FOLDER/NAME and runs the project's tests.
configure_and_test() {
  local name=$1 targets
  read -ra targets <<< "$2"
  shift 2
  cmake -S "$here" -B "$folder/$name" -G Ninja "$@" > "$folder/$name.log" 2>&1 || { cat "$folder/$name.log" >&2; die "configuring failed"; }
  cmake --build "$folder/$name" --target "${targets[@]}"
  ctest --test-dir "$folder/$name" --output-on-failure --no-tests=error
}

found_by_cmake() { configure_and_test "cmake-$1" all -DEXAMPLES="$examples" -DCMAKE_CXX_COMPILER="$1" -DCMAKE_PREFIX_PATH="$prefix"; }

found_by_pkg_config() {
  local program flags
  for program in consumer:zenta-corelib messages:zenta-engine; do
    flags=$(pkg-config --cflags --libs "${program#*:}")
    # shellcheck disable=SC2086  # flags are split into words
    "$1" -std=c++20 "$here/${program%:*}.cc" -o "$folder/${program%:*}-$1" $flags
    "$folder/${program%:*}-$1"
  done
  for program in "$examples"/*.cc; do
    # shellcheck disable=SC2086
    "$1" -std=c++20 "$program" -o "$folder/example-$1" $flags
  done
}

# An older standard is refused, and that is the compiler's first error.
refuses_older_standard() {
  local said
  ! said=$("$1" -std=c++17 -fsyntax-only -I"$prefix/include/zenta" "$here/consumer.cc" 2>&1) || die "$1 takes C++17"
  [[ $(grep -m 1 'error' <<< "$said") == *'zenta needs C++20'* ]] || die "$1 with C++17 says first: $said"
}

# As a subproject zenta leaves the cache, the tests and the installation of the other project alone.
stays_a_guest() {
  configure_and_test guest 'consumer messages' -DZENTA_SOURCE="$here/../.." -DBUILD_SHARED_LIBS=ON
  grep -q 'BUILD_SHARED_LIBS does not apply' "$folder/guest.log" || die "BUILD_SHARED_LIBS is passed over without a word"
  ! grep -E '^CMAKE_(BUILD_TYPE|OSX_ARCHITECTURES|OSX_DEPLOYMENT_TARGET):[A-Z]+=.' "$folder/guest/CMakeCache.txt" ||
    die "the settings above were made in another project's cache"
  [[ $(ctest --test-dir "$folder/guest" -N) == *'Total Tests: 2'* ]] || die "our tests are among another project's"
  cmake --install "$folder/guest" --prefix "$folder/guest-prefix" > /dev/null
  local installed
  installed=$(cd "$folder/guest-prefix" && find . -type f | sort | xargs)
  [[ $installed == './bin/consumer ./bin/messages' ]] || die "another project installs $installed"
}

mkdir -p "$folder"
examples=$prefix/share/doc/libzenta-dev/examples
compgen -G "$examples/*.cc" > /dev/null || die "no examples are installed"
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name zenta-corelib.pc)")
export PKG_CONFIG_PATH
for compiler in g++ clang++; do
  found_by_cmake "$compiler"
  found_by_pkg_config "$compiler"
  refuses_older_standard "$compiler"
done
stays_a_guest
say "works with g++ and clang, by CMake, by pkg-config, and as a part of another project"
