#include "corelib/containers/crc32.h"

#include <cassert>

#include "corelib/base/bytes.h"
#include "corelib/containers/detail/crc32_block.h"
#include "corelib/containers/short_key.h"

namespace tstl {
namespace {

using detail::after_zero_bits;

struct Tables {
  // [k][byte]: an all-zero register after `byte` and k zero bytes.
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

// An all-zero register after the four bytes of `word`, the lowest first, and `zeros` zero bytes.
std::uint32_t after_four(std::uint32_t word, int zeros) {
  const auto* const table = kTables.of_byte + zeros;
  return (table[3][word & 0xFF] ^ table[2][word >> 8 & 0xFF]) ^
         (table[1][word >> 16 & 0xFF] ^ table[0][word >> 24]);
}

// The register after the eight bytes of `word`, the lowest first. Only the first four bytes depend
// on the old register, so the table look-ups of the others do not wait for it.
std::uint32_t after_eight(std::uint32_t crc, std::uint64_t word) {
  const std::uint32_t later = after_four(static_cast<std::uint32_t>(word >> 32), 0);
  return after_four(static_cast<std::uint32_t>(word) ^ crc, 4) ^ later;
}

std::uint32_t crc32_short(const unsigned char* p, std::size_t n) {
  const unsigned char* const end = p + n;
  std::uint32_t crc = detail::kCrcPreset;
  if (n >= 4) {
    crc = after_four(base::load<std::uint32_t>(p) ^ crc, 0);
    p += 4;
  }
  while (p != end) crc = crc >> 8 ^ kTables.of_byte[0][(crc ^ *p++) & 0xFF];
  return ~crc;
}

// Slicing by 8. The n % 8 bytes that do not fill a word are read first, as a word with zero bytes
// in front of them.
std::uint32_t crc32_tables(const unsigned char* p, std::size_t n) {
  if (n < 8) return crc32_short(p, n);
  const std::size_t odd = n % 8;
  std::uint32_t crc = detail::kCrcPresets.after[odd];
  if (odd != 0) crc ^= after_eight(0, base::load<std::uint64_t>(p) << (64 - 8 * odd));
  const unsigned char* const end = p + n;
  for (p += odd; p != end; p += 8) crc = after_eight(crc, base::load<std::uint64_t>(p));
  return ~crc;
}

#if defined(ZENTA_TARGET_SHORT_KEY)
ZENTA_TARGET_SHORT_KEY std::uint32_t crc32_of_short(const unsigned char* p, std::size_t n) {
  return detail::ShortKey(p, n).crc32();
}
#endif

#if defined(ZENTA_VECTOR_SSE2)
constexpr std::size_t kLeastOfBlocks = 17;  // a first block of 1 to 16 bytes, and a whole one

// The same by folding 16-byte blocks. The first block has the 1 to 16 bytes that leave whole ones.
ZENTA_TARGET_CRC_BLOCK std::uint32_t crc32_blocks(const unsigned char* p, std::size_t n) {
  assert(n >= kLeastOfBlocks);
  const unsigned char* const end = p + n;
  const std::size_t odd = (n - 1) % 16 + 1;
  const auto preset = base::Bytes(base::Words{detail::kCrcPresets.after[odd], 0});
  base::Bytes x = base::slide(base::load<base::Bytes>(p), static_cast<std::ptrdiff_t>(16 - odd));
  p += odd;
  x = detail::crc_folded(x) ^ base::load<base::Bytes>(p) ^ preset;
  while ((p += 16) != end) x = detail::crc_folded(x) ^ base::load<base::Bytes>(p);
  return ~detail::crc_after(x);
}
#elif defined(ZENTA_VECTOR_NEON)
constexpr std::size_t kLeastOfBlocks = 0;

ZENTA_TARGET_CRC_BLOCK std::uint32_t crc32_blocks(const unsigned char* p, std::size_t n) {
  std::uint32_t crc = detail::kCrcPreset;
  for (; n >= 8; n -= 8, p += 8) crc = detail::crc_of(crc, base::load<std::uint64_t>(p));
  if ((n & 4) != 0) {
    crc = detail::crc_of(crc, base::load<std::uint32_t>(p));
    p += 4;
  }
  if ((n & 2) != 0) {
    crc = detail::crc_of(crc, base::load<std::uint16_t>(p));
    p += 2;
  }
  if ((n & 1) != 0) crc = detail::crc_of(crc, *p);
  return ~crc;
}
#endif

}  // namespace

std::uint32_t crc32(const unsigned char* p, std::size_t n) noexcept {
#if defined(ZENTA_TARGET_SHORT_KEY)
  if (detail::ShortKey::takes(n)) return crc32_of_short(p, n);
  if (detail::has_crc_block() && n >= kLeastOfBlocks) return crc32_blocks(p, n);
#endif
  return crc32_tables(p, n);
}

}  // namespace tstl
