// The processor's level: which instruction set extensions are used beyond baseline x86-64 or arm64.
//
// A kernel that needs an extension is a function with a target attribute (the macros below). It is
// called after a comparison with cpu_level():
//
//   ZENTA_TARGET_AVX2 std::size_t count_avx2(...);
//   if (cpu_level() >= CpuLevel::kAvx2) return count_avx2(...);
//
// The processor is asked once, before main(). The environment variable ZENTA_CPU, read at the same
// time, lowers the level and never raises it: baseline, sse42, avx2, avx512 on x86-64; baseline,
// neon, crc on arm64. Any other value is ignored. A static constructor that runs earlier sees
// kBaseline: the same results, slower.
#pragma once

#include <cstdint>

namespace tstl::base {

// Each level has all of those before it. Baseline is plain code, and SSE2 or NEON where a compiler
// may assume them.
#if defined(__aarch64__)
enum class CpuLevel : std::uint8_t {
  kBaseline,
  kNeon,  // kernels written for NEON, which every arm64 processor has
  kCrc,   // CRC-32 instructions: mandatory from ARMv8.1 on, in every Apple silicon chip
};
#else
enum class CpuLevel : std::uint8_t {
  kBaseline,
  kSse42,   // SSE4.2, POPCNT, PCLMULQDQ: Intel from 2010 on
  kAvx2,    // AVX2, BMI1, BMI2, LZCNT: Intel from 2013 on
  kAvx512,  // AVX-512 F, BW, VL
};
#endif

namespace detail {
extern constinit CpuLevel g_cpu_level;
}

[[nodiscard]] inline CpuLevel cpu_level() noexcept { return detail::g_cpu_level; }

// What the processor has, whatever ZENTA_CPU says.
[[nodiscard]] CpuLevel cpu_level_of_machine() noexcept;

// The level called `name`, at most the machine's. Null and unknown names give the machine's level.
[[nodiscard]] CpuLevel cpu_level_named(const char* name) noexcept;

// The name of `level`, as ZENTA_CPU accepts it.
[[nodiscard]] const char* cpu_level_name(CpuLevel level) noexcept;

// Sets the level, at most to the machine's, and returns the previous one. For tests and benchmarks
// that run every level in one process. REQUIRES: no other thread runs a kernel.
CpuLevel set_cpu_level(CpuLevel level) noexcept;

}  // namespace tstl::base

#if defined(__x86_64__)
#define ZENTA_TARGET_SSE42 __attribute__((target("sse4.2,popcnt,pclmul")))
#define ZENTA_TARGET_AVX2 __attribute__((target("avx2,bmi,bmi2,lzcnt,popcnt,pclmul")))
#define ZENTA_TARGET_AVX512 \
  __attribute__((target("avx512f,avx512bw,avx512vl,avx2,bmi,bmi2,lzcnt,popcnt,pclmul")))
#elif defined(__aarch64__) && defined(__clang__)
#define ZENTA_TARGET_CRC __attribute__((target("crc")))
#elif defined(__aarch64__)
#define ZENTA_TARGET_CRC __attribute__((target("+crc")))
#endif
