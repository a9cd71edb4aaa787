#include "corelib/containers/crc32.h"

#include <cassert>

#include "corelib/base/bytes.h"
#include "corelib/containers/detail/crc32_product.h"
#include "corelib/containers/short_key.h"

namespace tstl {
namespace {

using base::load_le;
using detail::after_zero_bits;

constexpr std::uint32_t kPreset = 0xFFFFFFFF;

struct Tables {
  // What a byte leaves in an all-zero register after itself and k zero bytes.
  std::uint32_t of_byte[8][256];
};

constexpr Tables make_tables() {
  Tables tables{};
  for (unsigned k = 0; k < 8; ++k) {
    for (unsigned byte = 0; byte < 256; ++byte) {
      tables.of_byte[k][byte] = after_zero_bits(k == 0 ? byte : tables.of_byte[k - 1][byte], 8);
    }
  }
  return tables;
}

constexpr Tables kTables = make_tables();

// What four bytes, the lowest of `word` first, leave in an all-zero register after themselves and
// `zeros` zero bytes.
std::uint32_t after_four(std::uint32_t word, int zeros) {
  const auto* const table = kTables.of_byte + zeros;
  return (table[3][word & 0xFF] ^ table[2][word >> 8 & 0xFF]) ^
         (table[1][word >> 16 & 0xFF] ^ table[0][word >> 24]);
}

// The register after the eight bytes of `word`. Only the first four meet the old register, so that
// the others do not wait for it.
std::uint32_t after_eight(std::uint32_t crc, std::uint64_t word) {
  const std::uint32_t later = after_four(static_cast<std::uint32_t>(word >> 32), 0);
  return after_four(static_cast<std::uint32_t>(word) ^ crc, 4) ^ later;
}

std::uint32_t crc32_short(const unsigned char* p, std::size_t n) {
  const unsigned char* const end = p + n;
  std::uint32_t crc = kPreset;
  if (n >= 4) {
    crc = after_four(base::load_le<std::uint32_t>(p) ^ crc, 0);
    p += 4;
  }
  while (p != end) crc = crc >> 8 ^ kTables.of_byte[0][(crc ^ *p++) & 0xFF];
  return ~crc;
}

#if defined(__x86_64__)
// The first `n` bytes of a run of 8 or more as the last of a block. REQUIRES: 0 < n <= 16.
__m128i load_last(const unsigned char* p, std::size_t n) {
  const auto whole = [](std::uint64_t low, std::uint64_t high) {
    return _mm_set_epi64x(static_cast<long long>(high), static_cast<long long>(low));
  };
  const std::uint64_t first = base::load_le<std::uint64_t>(p);
  if (n < 8) return whole(0, first << (64 - 8 * n));
  const std::size_t half = 4 * (16 - n);  // a shift by 64 bits, in two
  return whole(first << half << half, base::load_le<std::uint64_t>(p + n - 8));
}

const bool kHasProduct = __builtin_cpu_supports("pclmul");

TSTL_SHORT_KEY_TARGET std::uint32_t crc32_of_short(const unsigned char* p, std::size_t n) {
  return detail::ShortKey(p, n).crc32();
}
#endif

}  // namespace

// The bytes that exceed whole words are taken first, as a word with zero bytes in front of them:
// those do not change an all-zero register, and what the preset one would have become by then is
// added after.
std::uint32_t detail::crc32_tables(const unsigned char* p, std::size_t n) noexcept {
  assert(n >= 8);
  const std::size_t odd = n % 8;
  std::uint32_t crc = detail::kCrcPresets.after[odd];
  if (odd != 0) crc ^= after_eight(0, base::load_le<std::uint64_t>(p) << (64 - 8 * odd));
  const unsigned char* const end = p + n;
  for (p += odd; p != end; p += 8) crc = after_eight(crc, base::load_le<std::uint64_t>(p));
  return ~crc;
}

#if defined(__x86_64__)
TSTL_CRC_TARGET std::uint32_t detail::crc32_product(const unsigned char* p,
                                                    std::size_t n) noexcept {
  const unsigned char* const end = p + n;
  const std::size_t odd = (n - 1) % 16 + 1;
  std::uint32_t preset = detail::kCrcPresets.after[odd];
  __m128i x = load_last(p, odd);
  for (p += odd; p != end; p += 16) {
    x = detail::crc_folded(x) ^ _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)) ^
        _mm_cvtsi32_si128(static_cast<int>(preset));
    preset = 0;
  }
  return ~(detail::crc_reduced(x) ^ preset);
}
#endif

std::uint32_t crc32(const unsigned char* p, std::size_t n) noexcept {
#if defined(__x86_64__)
  if (detail::ShortKey::takes(n)) return crc32_of_short(p, n);
  if (kHasProduct && n >= 8) return detail::crc32_product(p, n);
#endif
  return n < 8 ? crc32_short(p, n) : detail::crc32_tables(p, n);
}

std::uint32_t detail::crc32_units(const unsigned short* units, std::size_t n) noexcept {
  std::uint32_t crc = kPreset;
  for (std::size_t i = 0; i < n; ++i) {
    for (const unsigned byte : {units[i] % 256u, units[i] / 256u}) {
      crc = crc >> 8 ^ kTables.of_byte[0][(crc ^ byte) & 0xFF];
    }
  }
  return ~crc;
}

}  // namespace tstl
