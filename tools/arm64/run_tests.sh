#!/usr/bin/env bash
# run_tests.sh BUILD [REGEX]: runs the tests of a build for arm64 Linux under qemu-user, those whose name matches REGEX,
# once in each of the settings at the end. `./dev arm64` makes the build and calls this.
#
# ZENTA_CHECK_SHORT=1 leaves out the second setting: the tests *.at_baseline cover its kernels anyway. Of the third, in which
# every allocation is slow, it runs only the tests of containers that store pointers in packed form.
set -euo pipefail
build=$1 filter=${2:-.}

say() { printf '%s\n' "arm64: $*"; }

# Tests that cannot run here. qemu-user emulates one process: a program that this process starts is left to this machine's
# kernel, which cannot run arm64 programs.
starts_programs='^(demo$|zenta_update_test|zentactl_|host_installer_test|data_tests\.CArrayDumpTest\.ArraysCompile)'
# It also emulates vfork by fork, so posix_spawn does not learn that a program could not be started.
spawns_nothing='^host_platform_test\.ScriptRunnerTest\.ThePersonIsAskedFirst$'

not_run() {
  local reason=$1 names
  names=$(ctest --test-dir "$build" -N -R "$2" | sed -nE 's/^ *Test +#[0-9]+: ([^.]+).*/\1/p' | sort | uniq -c)
  [[ -n $names ]] || { say "no test matches '$2', which is meant to be left out"; exit 1; }
  say "not run, $reason:"
  printf '%s\n' "$names" | sed -E 's/^ *([0-9]+) (.*)/  \2 (\1)/'
}

# Builds a program that prints what it finds of the processor and the settings of the environment.
make_probe() {
  aarch64-linux-gnu-g++ -O -x c++ -o "$build/probe" - <<'CXX'
#include <asm/hwcap.h>
#include <sys/auxv.h>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
int main() {
  const unsigned long has = getauxval(AT_HWCAP);
  if (static_cast<char>(-1) > 0) std::printf("unsigned-char ");
  if (has & HWCAP_ASIMD) std::printf("neon ");
  if (has & HWCAP_CRC32) std::printf("crc32 ");
  if (reinterpret_cast<std::uintptr_t>(std::malloc(16)) >> 56 != 0) std::printf("tagged-pointers ");
}
CXX
}

# run WHAT WANTED NAME=value ...: runs the tests with these settings. Fails unless the probe then prints WANTED.
run() {
  local what=$1 wanted=$2 found
  shift 2
  found=$(env "$@" qemu-aarch64 "$build/probe")
  say "$what: $found"
  [[ $found == "$wanted " ]] || { say "wanted: $wanted"; exit 1; }
  env "$@" ctest --test-dir "$build" --output-on-failure -j "${ZENTA_JOBS:-$(nproc)}" \
    -R "$filter" -E "$starts_programs|$spawns_nothing"
}

say "not built: the Mac's backend over GNUstep, the benchmarks"
not_run "since they start arm64 programs" "$starts_programs"
not_run "since a failed start goes unseen under qemu" "$spawns_nothing"
make_probe
run "a plain processor" "unsigned-char neon crc32" QEMU_CPU=cortex-a53
if [[ -z ${ZENTA_CHECK_SHORT:-} ]]; then
  # Every processor that qemu emulates has the CRC instructions; ZENTA_CPU switches off what is optional.
  run "the same, nothing optional used" "unsigned-char neon crc32" QEMU_CPU=cortex-a53 ZENTA_CPU=baseline
else
  filter='^containers_tests\.(BufferHash|Chunk|BufferList|ChainLink)'
fi
# Every allocation has a tag, and a pointer must carry the same one: an access past an allocation's end is stopped.
run "everything that qemu has, memory tagged" "unsigned-char neon crc32 tagged-pointers" \
  QEMU_CPU=max GLIBC_TUNABLES=glibc.mem.tagging=3
