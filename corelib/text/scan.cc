#include "corelib/text/scan.h"

#include <algorithm>
#include <bit>
#include <cassert>

#include "corelib/base/cpu.h"

#if defined(__x86_64__) && !defined(ZENTA_PLAIN_VECTORS)
#include <immintrin.h>
#define ZENTA_SCAN_AVX2
#endif

namespace tstl::detail {

#if defined(ZENTA_SCAN_AVX2)
namespace {

// One bit for each of 32 bytes, set where it is LF or CR.
ZENTA_TARGET_AVX2 inline std::uint32_t breaks_avx2(const unsigned char* p) {
  const __m256i bytes = _mm256_loadu_si256(reinterpret_cast<const __m256i_u*>(p));
  const __m256i feeds = _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8('\n'));
  const __m256i returns = _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8('\r'));
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(_mm256_or_si256(feeds, returns)));
}

// As first_break_of_blocks. REQUIRES: n >= 32.
ZENTA_TARGET_AVX2 std::uint64_t first_break_avx2(const unsigned char* p, std::uint64_t n) {
  constexpr std::uint64_t kStep = 32;
  std::uint64_t i = 0;
  // Two blocks a round: a loop of one block is so short that its speed depends on its address.
  for (; n - i >= 2 * kStep; i += 2 * kStep) {
    for (const std::uint64_t at : {i, i + kStep}) {
      const std::uint32_t breaks = breaks_avx2(p + at);
      if (breaks != 0) return at + static_cast<unsigned>(std::countr_zero(breaks));
    }
  }
  if (n - i >= kStep) {
    const std::uint32_t breaks = breaks_avx2(p + i);
    if (breaks != 0) return i + static_cast<unsigned>(std::countr_zero(breaks));
  }
  // The rest is read as a whole block: the bytes read twice hold no break.
  const std::uint32_t breaks = breaks_avx2(p + (n - kStep));
  return breaks != 0 ? n - kStep + static_cast<unsigned>(std::countr_zero(breaks)) : n;
}

}  // namespace
#endif

template <class T>
std::uint64_t first_break_of_blocks(const T* p, std::uint64_t n) {
#if defined(ZENTA_SCAN_AVX2)
  if constexpr (sizeof(T) == 1) {
    if (n >= 32 && base::cpu_level() >= base::CpuLevel::kAvx2) return first_break_avx2(p, n);
  }
#endif
  return first_of_blocks(p, n, T{'\n'}, T{'\r'});
}

// Compares in full wherever the first and the last unit of `s` match.
template <class T>
std::uint64_t first_run_near(const T* p, std::uint64_t starts, const T* s, std::uint64_t m) {
  using Block = base::Block<T>;
  constexpr std::uint64_t kStep = Block::kUnits;
  assert(starts >= kStep && m != 0);
  const Block head = Block::fill(s[0]);
  const Block tail = Block::fill(s[m - 1]);
  const auto fits = [&](std::uint64_t at) {
    return equal(Block::load(p + at), head) & equal(Block::load(p + at + (m - 1)), tail);
  };
  std::uint64_t i = 0;
  for (; starts - i >= 4 * kStep; i += 4 * kStep) {
    const Block a = fits(i), b = fits(i + kStep), c = fits(i + 2 * kStep), d = fits(i + 3 * kStep);
    if (!(a | b | c | d).mask()) continue;
    for (std::uint64_t bits = bit_per_unit(a, b, c, d); bits != 0; bits &= bits - 1) {
      const auto at = i + static_cast<std::uint64_t>(std::countr_zero(bits)) / sizeof(T);
      if (base::equal_short(p + at, s, m * sizeof(T))) return at;
    }
  }
  // The rest is read as whole blocks: the positions tested twice did not match.
  for (; i != starts; i += kStep) {
    i = std::min(i, starts - kStep);
    for (auto mask = fits(i).mask(); mask; mask.drop_first()) {
      if (base::equal_short(p + i + mask.first(), s, m * sizeof(T))) return i + mask.first();
    }
  }
  return starts;
}

// Alternates between a leap to the next unit equal to s[0], which pays where these are rare, and a
// stretch that first_run_near searches. Where leaps turn out short, the stretches grow, so that the
// cost of the leaps becomes negligible.
template <class T>
std::uint64_t first_run_far(const T* p, std::uint64_t starts, const T* s, std::uint64_t m) {
  constexpr std::uint64_t kShort = 4 * base::Block<T>::kUnits;
  constexpr std::uint64_t kLong = 256 * kShort;
  std::uint64_t stretch = kShort;
  std::uint64_t i = 0;
  while (starts - i > 2 * stretch) {
    const std::uint64_t leap = first_of(p + i, starts - i, s[0]);
    i += leap;
    if (starts - i <= stretch) break;
    const std::uint64_t at = first_run_near(p + i, stretch, s, m);
    if (at != stretch) return i + at;
    i += stretch;
    stretch = leap >= kShort ? kShort : std::min(2 * stretch, kLong);
  }
  // The rest is searched as one block at least: the positions before `i` in it did not match.
  i = std::min(i, starts - base::Block<T>::kUnits);
  return i + first_run_near(p + i, starts - i, s, m);
}

#define INSTANTIATE(T)                                                                     \
  template std::uint64_t first_break_of_blocks(const T*, std::uint64_t);                   \
  template std::uint64_t first_run_near(const T*, std::uint64_t, const T*, std::uint64_t); \
  template std::uint64_t first_run_far(const T*, std::uint64_t, const T*, std::uint64_t)
INSTANTIATE(unsigned char);
INSTANTIATE(unsigned short);
#undef INSTANTIATE

}  // namespace tstl::detail
