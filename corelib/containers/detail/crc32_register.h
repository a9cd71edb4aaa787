// The CRC-32 register, bit by bit. The tables of every implementation are computed from it.
#pragma once

#include <cstdint>

namespace tstl::detail {

inline constexpr std::uint32_t kCrcPolynomial = 0xEDB88320;  // reflected: bit 0 is x^31
inline constexpr std::uint32_t kCrcPreset = 0xFFFFFFFF;

// The register after `count` zero bits.
constexpr std::uint32_t after_zero_bits(std::uint32_t crc, unsigned count) {
  for (; count != 0; --count) crc = crc >> 1 ^ ((crc & 1) != 0 ? kCrcPolynomial : 0);
  return crc;
}

// The seed 0xFFFFFFFF after n zero bytes. Zero bytes do not change a register of zeros, so a run
// may be padded with leading zero bytes to whole words or blocks and computed from the register 0.
// XOR with after[n] for its n bytes then adds the effect of the seed.
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
