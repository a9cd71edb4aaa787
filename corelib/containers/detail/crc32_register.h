// The register of CRC-32 as polynomials see it: the tables of all ways to compute it begin here.
#pragma once

#include <cstdint>

namespace tstl::detail {

inline constexpr std::uint32_t kCrcPolynomial = 0xEDB88320;  // lowest bit: the highest power
inline constexpr std::uint32_t kCrcPreset = 0xFFFFFFFF;

// The register after `count` zero bits.
constexpr std::uint32_t after_zero_bits(std::uint32_t crc, unsigned count) {
  for (; count != 0; --count) crc = crc >> 1 ^ ((crc & 1) != 0 ? kCrcPolynomial : 0);
  return crc;
}

// What the preset register has become after so many zero bytes. Zero bytes do not change a register
// of zeros: so a run may be put behind some of them, to fill whole words or blocks, and what the
// preset one would have become is added after.
struct CrcPresets {
  std::uint32_t after[33];
};
constexpr CrcPresets make_crc_presets() {
  CrcPresets presets{};
  for (unsigned n = 0; n <= 32; ++n) presets.after[n] = after_zero_bits(kCrcPreset, 8 * n);
  return presets;
}
inline constexpr CrcPresets kCrcPresets = make_crc_presets();

}  // namespace tstl::detail
