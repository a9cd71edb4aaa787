#include "corelib/io/json/detail/json_scan.h"

#include "corelib/base/cpu.h"

#if defined(__x86_64__) && !defined(ZENTA_PLAIN_VECTORS)
#include <immintrin.h>
#define ZENTA_JSON_SCAN_AVX2
#endif

namespace tstl::detail {
namespace {

std::uint64_t stops_of(const unsigned char* window) {
  std::uint64_t stops = 0;
  for (unsigned i = 0; i < kStopWindow; i += base::Block<unsigned char>::kUnits) {
    const auto found = json_stops<Plain::kText>(base::Block<unsigned char>::load(window + i));
    stops |= found.mask().bit_per_byte() << i;
  }
  return stops;
}

// The last window is padded with zeros, which are stops. So a search always ends, at the end of the
// text at the latest.
std::uint64_t stops_of_last(const unsigned char* window, std::size_t left) {
  unsigned char bytes[kStopWindow] = {};
  if (left != 0) std::memcpy(bytes, window, left);
  return stops_of(bytes);
}

#if defined(ZENTA_JSON_SCAN_AVX2)
ZENTA_TARGET_AVX2 inline std::uint32_t stops_of_half(__m256i bytes) {
  const __m256i quotes = _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8('"'));
  const __m256i slashes = _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8('\\'));
  const __m256i controls = _mm256_cmpeq_epi8(_mm256_min_epu8(bytes, _mm256_set1_epi8(0x1F)), bytes);
  const __m256i stops = _mm256_or_si256(_mm256_or_si256(quotes, slashes), controls);
  return static_cast<std::uint32_t>(_mm256_movemask_epi8(stops));
}

ZENTA_TARGET_AVX2 inline std::uint64_t stops_of_avx2(const unsigned char* window) {
  const auto* const halves = reinterpret_cast<const __m256i_u*>(window);
  const std::uint64_t high = stops_of_half(_mm256_loadu_si256(halves + 1));
  return high << 32 | stops_of_half(_mm256_loadu_si256(halves));
}
#endif

}  // namespace

StopFinder::StopFinder(const unsigned char* begin, const unsigned char* end)
    : window_(begin), end_(end) {
  stops_ = left(begin) >= kStopWindow ? stops_of(begin) : stops_of_last(begin, left(begin));
}

template <std::uint64_t (*kStopsOf)(const unsigned char* window)>
const unsigned char* StopFinder::walk(const unsigned char* at) {
  const bool is_inside = static_cast<std::size_t>(at - window_) < kStopWindow;
  for (at = is_inside ? window_ + kStopWindow : at; left(at) >= kStopWindow; at += kStopWindow) {
    const std::uint64_t stops = kStopsOf(at);
    if (stops == 0) continue;
    window_ = at;
    stops_ = stops;
    return at + std::countr_zero(stops);
  }
  return last_window(at);
}

const unsigned char* StopFinder::last_window(const unsigned char* at) {
  window_ = at;
  stops_ = stops_of_last(at, left(at));
  return at + std::countr_zero(stops_);
}

#if defined(ZENTA_JSON_SCAN_AVX2)
ZENTA_TARGET_AVX2 const unsigned char* StopFinder::next_window_avx2(const unsigned char* at) {
  return walk<stops_of_avx2>(at);
}
#endif

const unsigned char* StopFinder::next_window(const unsigned char* at) {
#if defined(ZENTA_JSON_SCAN_AVX2)
  if (base::cpu_level() >= base::CpuLevel::kAvx2) return next_window_avx2(at);
#endif
  return walk<stops_of>(at);
}

}  // namespace tstl::detail
