#include "corelib/containers/crc32.h"

#include "corelib/containers/detail/little_endian.h"

namespace tstl {
namespace {

struct Tables {
  // What a byte leaves in an all-zero register after itself and k zero bytes.
  std::uint32_t of_byte[8][256];
  // What the preset register has become after k zero bytes.
  std::uint32_t preset[8];
};

constexpr std::uint32_t after_zero_byte(const Tables& tables, std::uint32_t crc) {
  return crc >> 8 ^ tables.of_byte[0][crc & 0xFF];
}

constexpr Tables make_tables() {
  Tables tables{};
  for (std::uint32_t byte = 0; byte < 256; ++byte) {
    std::uint32_t crc = byte;
    for (int bit = 0; bit < 8; ++bit) crc = crc >> 1 ^ ((crc & 1) != 0 ? 0xEDB88320 : 0);
    tables.of_byte[0][byte] = crc;
  }
  for (int k = 1; k < 8; ++k) {
    for (int byte = 0; byte < 256; ++byte) {
      tables.of_byte[k][byte] = after_zero_byte(tables, tables.of_byte[k - 1][byte]);
    }
  }
  tables.preset[0] = 0xFFFFFFFF;
  for (int k = 1; k < 8; ++k) tables.preset[k] = after_zero_byte(tables, tables.preset[k - 1]);
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
  std::uint32_t crc = kTables.preset[0];
  if (n >= 4) {
    crc = after_four(detail::load_le<std::uint32_t>(p) ^ crc, 0);
    p += 4;
  }
  while (p != end) crc = after_zero_byte(kTables, crc ^ *p++);
  return ~crc;
}

}  // namespace

// The bytes of a longer run that exceed whole words are taken first, as a word with zero bytes in
// front of them: those do not change an all-zero register, and what the preset one would have
// become by then is added after.
std::uint32_t crc32(const unsigned char* p, std::size_t n) noexcept {
  if (n < 8) return crc32_short(p, n);
  const std::size_t odd = n % 8;
  std::uint32_t crc = kTables.preset[odd];
  if (odd != 0) crc ^= after_eight(0, detail::load_le<std::uint64_t>(p) << (64 - 8 * odd));
  const unsigned char* const end = p + n;
  for (p += odd; p != end; p += 8) crc = after_eight(crc, detail::load_le<std::uint64_t>(p));
  return ~crc;
}

namespace detail {

std::uint32_t crc32_units(const unsigned short* units, std::size_t n) noexcept {
  std::uint32_t crc = kTables.preset[0];
  for (std::size_t i = 0; i < n; ++i) {
    crc = after_zero_byte(kTables, crc ^ (units[i] & 0xFFu));
    crc = after_zero_byte(kTables, crc ^ (units[i] / 256u));
  }
  return ~crc;
}

}  // namespace detail
}  // namespace tstl
