// Sixteen bytes of text units compared at once, on any machine: the arithmetic is the compilers'
// vector extension, and only the step from lanes to a bit mask is written per instruction set
// (SSE2, which every x86-64 has, and NEON).
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>

#include "corelib/base/types.h"

#if defined(__SSE2__)
#include <emmintrin.h>
#elif defined(__ARM_NEON)
#include <arm_neon.h>
#endif

namespace tstl::detail {

// Which lanes of a block answered yes: kBitsPerUnit equal bits for each unit, the first unit's
// lowest.
template <Unit T>
class LaneMask {
 public:
#if defined(__SSE2__)
  static constexpr unsigned kBitsPerUnit = sizeof(T);
#else
  static constexpr unsigned kBitsPerUnit = 4 * sizeof(T);
#endif
  explicit constexpr LaneMask(std::uint64_t bits) : bits_(bits) {}

  explicit operator bool() const { return bits_ != 0; }
  // Index of the first and of the last unit that answered yes. REQUIRES: there is one.
  unsigned first() const {
    assert(bits_ != 0);
    return static_cast<unsigned>(std::countr_zero(bits_)) / kBitsPerUnit;
  }
  unsigned last() const {
    assert(bits_ != 0);
    return (63u - static_cast<unsigned>(std::countl_zero(bits_))) / kBitsPerUnit;
  }
  void drop_first() {
    const std::uint64_t lowest = bits_ & (0 - bits_);
    bits_ -= lowest * ((std::uint64_t{1} << kBitsPerUnit) - 1);
  }
  // The answers as one bit for each byte, the first byte's lowest.
  std::uint64_t bit_per_byte() const {
    if constexpr (kBitsPerUnit == sizeof(T)) return bits_;
    std::uint64_t bits = bits_ & 0x1111111111111111;
    bits = (bits | bits >> 3) & 0x0303030303030303;
    bits = (bits | bits >> 6) & 0x000F000F000F000F;
    bits = (bits | bits >> 12) & 0x000000FF000000FF;
    return (bits | bits >> 24) & 0xFFFF;
  }

 private:
  std::uint64_t bits_;
};

template <Unit T>
class Block {
 public:
  static constexpr unsigned kUnits = 16 / sizeof(T);

  // Reads exactly kUnits units from `p`, which needs no alignment.
  static Block load(const T* p) {
    Block block;
    std::memcpy(&block.lanes_, p, sizeof block.lanes_);
    return block;
  }
  // Reads 8 bytes of units from each; the units of `a` come first.
  static Block load_halves(const T* a, const T* b) {
    std::array<std::uint64_t, 2> words;
    std::memcpy(&words[0], a, 8);
    std::memcpy(&words[1], b, 8);
    return Block(words);
  }
  // Reads 4 bytes of units from each, and holds them twice.
  static Block load_quarters(const T* a, const T* b) {
    std::array<std::uint32_t, 4> words;
    std::memcpy(&words[0], a, 4);
    std::memcpy(&words[1], b, 4);
    words[2] = words[0];
    words[3] = words[1];
    return Block(words);
  }
  // By way of 32-bit lanes: a single byte goes into all lanes through memory with some compilers,
  // which stalls.
  static Block fill(T unit) {
    using Words [[gnu::vector_size(16)]] = std::uint32_t;
    constexpr std::uint32_t kEach = ~std::uint32_t{0} / std::numeric_limits<T>::max();
    return Block(Words{} + unit * kEach);
  }

  // All ones in the lanes that are equal, or less, zero in the others.
  friend Block equal(Block a, Block b) { return Block(a.lanes_ == b.lanes_); }
  friend Block less(Block a, Block b) { return Block(a.lanes_ < b.lanes_); }
  friend Block operator|(Block a, Block b) { return Block(a.lanes_ | b.lanes_); }
  friend Block operator&(Block a, Block b) { return Block(a.lanes_ & b.lanes_); }
  friend Block operator~(Block a) { return Block(~a.lanes_); }

  // The units as bytes, the first lowest; one above 0xFF becomes 0 or 0xFF.
  std::uint64_t narrow() const requires(sizeof(T) == 2) {
#if defined(__SSE2__)
    const auto units = std::bit_cast<__m128i>(lanes_);
    return std::bit_cast<std::array<std::uint64_t, 2>>(_mm_packus_epi16(units, units))[0];
#elif defined(__ARM_NEON)
    return vget_lane_u64(vreinterpret_u64_u8(vqmovun_s16(std::bit_cast<int16x8_t>(lanes_))), 0);
#else
    std::uint64_t bytes = 0;
    for (unsigned i = 8; i-- != 0;) bytes = bytes << 8 | (lanes_[i] < 0xFF ? lanes_[i] : 0xFF);
    return bytes;
#endif
  }

  // REQUIRES: every lane is all ones or zero.
  LaneMask<T> mask() const {
#if defined(__SSE2__)
    return LaneMask<T>(static_cast<unsigned>(_mm_movemask_epi8(std::bit_cast<__m128i>(lanes_))));
#elif defined(__ARM_NEON)
    const uint8x8_t nibbles = vshrn_n_u16(std::bit_cast<uint16x8_t>(lanes_), 4);
    return LaneMask<T>(vget_lane_u64(vreinterpret_u64_u8(nibbles), 0));
#else
    std::uint64_t bits = 0;
    const auto bytes = std::bit_cast<std::array<unsigned char, 16>>(lanes_);
    for (unsigned i = 0; i < 16; ++i) bits |= (bytes[i] & std::uint64_t{15}) << (4 * i);
    return LaneMask<T>(bits);
#endif
  }

 private:
  using Lanes [[gnu::vector_size(16)]] = T;
  constexpr Block() = default;
  template <class V>
  explicit constexpr Block(V lanes) : lanes_(std::bit_cast<Lanes>(lanes)) {}

  Lanes lanes_{};
};

}  // namespace tstl::detail
