#include "corelib/base/cpu.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__) && defined(__linux__)
#include <asm/hwcap.h>
#include <sys/auxv.h>
#endif

namespace tstl::base {
namespace {

#if defined(__x86_64__)
constexpr const char* kNames[] = {"baseline", "sse42", "avx2", "avx512"};

// For the bits of CPUID and of XCR0 see Intel's Software Developer's Manual: volume 2, CPUID, and
// volume 1, chapter 13.
struct Cpuid {
  explicit Cpuid(unsigned leaf) { __get_cpuid_count(leaf, 0, &eax, &ebx, &ecx, &edx); }
  unsigned eax = 0, ebx = 0, ecx = 0, edx = 0;
};
constexpr bool has(unsigned word, unsigned bits) { return (word & bits) == bits; }

// XCR0: the registers that the operating system saves for a thread. REQUIRES: OSXSAVE.
unsigned saved_registers() {
  unsigned low, high;
  __asm__("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
  return low;
}

CpuLevel ask() {
  const Cpuid basic(1), wide(7), extended(0x80000001);
  constexpr unsigned kOsxsaveAvx = bit_OSXSAVE | bit_AVX;
  constexpr unsigned kYmmSaved = 0x6;   // XCR0: XMM and YMM
  constexpr unsigned kZmmSaved = 0xE6;  // XCR0: these, mask registers and ZMM
  if (!has(basic.ecx, bit_SSE4_2 | bit_POPCNT | bit_PCLMUL)) return CpuLevel::kBaseline;
  if (!has(basic.ecx, kOsxsaveAvx) || !has(saved_registers(), kYmmSaved) ||
      !has(wide.ebx, bit_AVX2 | bit_BMI | bit_BMI2) || !has(extended.ecx, bit_LZCNT)) {
    return CpuLevel::kSse42;
  }
  if (!has(saved_registers(), kZmmSaved) ||
      !has(wide.ebx, bit_AVX512F | bit_AVX512BW | bit_AVX512VL)) {
    return CpuLevel::kAvx2;
  }
  return CpuLevel::kAvx512;
}
#elif defined(__aarch64__)
constexpr const char* kNames[] = {"baseline", "neon", "crc"};

CpuLevel ask() {
#if defined(__linux__)
  return (getauxval(AT_HWCAP) & HWCAP_CRC32) != 0 ? CpuLevel::kCrc : CpuLevel::kNeon;
#else
  return CpuLevel::kCrc;  // every Apple silicon chip has the CRC-32 instructions
#endif
}
#else
constexpr const char* kNames[] = {"baseline"};
CpuLevel ask() { return CpuLevel::kBaseline; }
#endif

}  // namespace

constinit CpuLevel detail::g_cpu_level = CpuLevel::kBaseline;

CpuLevel cpu_level_of_machine() noexcept {
  static const CpuLevel level = ask();
  return level;
}

CpuLevel cpu_level_named(const char* name) noexcept {
  const CpuLevel most = cpu_level_of_machine();
  if (name == nullptr) return most;
  for (const char* const& known : kNames) {
    if (std::strcmp(name, known) == 0) {
      return std::min(most, static_cast<CpuLevel>(&known - kNames));
    }
  }
  return most;
}

const char* cpu_level_name(CpuLevel level) noexcept { return kNames[static_cast<unsigned>(level)]; }

CpuLevel set_cpu_level(CpuLevel level) noexcept {
  const CpuLevel before = cpu_level();
  detail::g_cpu_level = std::min(level, cpu_level_of_machine());
  return before;
}

namespace {
[[maybe_unused]] const CpuLevel kAtStart = set_cpu_level(cpu_level_named(std::getenv("ZENTA_CPU")));
}

}  // namespace tstl::base
