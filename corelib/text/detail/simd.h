// Sixteen bytes of text units compared at once, on any machine: the arithmetic is the compilers'
// vector extension, and only the step from lanes to a bit mask is written per instruction set
// (SSE2, which every x86-64 has, and NEON).
#pragma once

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "corelib/text/types.h"

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
  unsigned first() const { return static_cast<unsigned>(std::countr_zero(bits_)) / kBitsPerUnit; }
  unsigned last() const {
    return (63u - static_cast<unsigned>(std::countl_zero(bits_))) / kBitsPerUnit;
  }
  void drop_first() {
    bits_ &= ~(((std::uint64_t{1} << kBitsPerUnit) - 1) << (first() * kBitsPerUnit));
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
  static Block fill(T unit) {
    Block block;
    block.lanes_ = Lanes{} + unit;
    return block;
  }

  // All ones in the lanes that are equal, or less, zero in the others.
  friend Block equal(Block a, Block b) { return Block(a.lanes_ == b.lanes_); }
  friend Block less(Block a, Block b) { return Block(a.lanes_ < b.lanes_); }
  friend Block operator|(Block a, Block b) { return Block(a.lanes_ | b.lanes_); }
  friend Block operator&(Block a, Block b) { return Block(a.lanes_ & b.lanes_); }
  friend Block operator~(Block a) { return Block(~a.lanes_); }

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
  typedef T Lanes __attribute__((vector_size(16)));
  constexpr Block() = default;
  template <class V>
  explicit constexpr Block(V lanes) : lanes_(std::bit_cast<Lanes>(lanes)) {}

  Lanes lanes_{};
};

}  // namespace tstl::detail
