// ShortKey: the hash and the comparison of a key of 4 to 32 bytes, on processors with masked loads.
//
// How long the next key is cannot be foreseen. So nothing here branches on it, but for one length
// that most keys do not pass; and there are few instructions, because a processor that waits for one
// look-up's memory goes on to the next look-ups only as far as its window of instructions reaches.
// A masked load reads no byte outside the key.
#pragma once

#include <cstddef>
#include <cstdint>

#include "corelib/containers/detail/crc32_product.h"

#if defined(__x86_64__)
#define TSTL_SHORT_KEYS 1
// Of every function that uses one.
#define TSTL_SHORT_KEY_TARGET __attribute__((target("pclmul,bmi2,avx512bw,avx512vl")))

namespace tstl::detail {

inline const bool kHasShortKeys =
    __builtin_cpu_supports("pclmul") && __builtin_cpu_supports("bmi2") &&
    __builtin_cpu_supports("avx512bw") && __builtin_cpu_supports("avx512vl");

class ShortKey {
 public:
  // Whether this processor takes keys of so many bytes.
  static bool takes(std::size_t n) { return n - 4 <= 28 && kHasShortKeys; }

  // Views the bytes. REQUIRES: takes(n).
  ShortKey(const void* bytes, std::size_t n)
      : start_(reinterpret_cast<std::uintptr_t>(bytes)), n_(static_cast<unsigned>(n)) {}

  TSTL_SHORT_KEY_TARGET std::uint32_t crc32() const {
    const std::uintptr_t end = start_ + n_;
    const __m128i block = n_ <= 16
                              ? load_before(end, n_)
                              : crc_folded(load_before(end - 16, n_ - 16)) ^ load_before(end, 16);
    return ~(crc_reduced(block) ^ kCrcPresets.after[n_]);
  }

  // Whether the same bytes are at `other`, where there must be as many.
  TSTL_SHORT_KEY_TARGET bool is_at(const void* other) const {
    const __mmask32 mask = _bzhi_u32(0xFFFFFFFF, n_);
    const __m256i key = _mm256_maskz_loadu_epi8(mask, reinterpret_cast<const void*>(start_));
    return _mm256_mask_cmpneq_epu8_mask(mask, key, _mm256_maskz_loadu_epi8(mask, other)) == 0;
  }

 private:
  // The last `n` bytes before `end` as the last of a block that is zero in front of them.
  // REQUIRES: n <= 16.
  TSTL_SHORT_KEY_TARGET static __m128i load_before(std::uintptr_t end, unsigned n) {
    return _mm_maskz_loadu_epi8(static_cast<__mmask16>(0xFFFF0000u >> n),
                                reinterpret_cast<const void*>(end - 16));
  }

  std::uintptr_t start_;
  unsigned n_;
};

}  // namespace tstl::detail
#endif
