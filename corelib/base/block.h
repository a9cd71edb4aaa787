// Block: a vector of sixteen bytes of code units. LaneMask: the lanes in which a comparison held.
// Every scan is built from these two.
#pragma once

#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <limits>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/base/vector.h"

namespace tstl::base {

// The lanes of a block that are set: kBitsPerUnit equal bits per unit, the first unit's lowest.
template <Unit T>
class LaneMask {
 public:
  static constexpr unsigned kBitsPerUnit = kMaskBits * sizeof(T);

  explicit constexpr LaneMask(std::uint64_t bits) : bits_(bits) {}

  explicit operator bool() const { return bits_ != 0; }
  // Index of the first and of the last lane that is set. REQUIRES: a lane is set.
  unsigned first() const {
    assert(bits_ != 0);
    return static_cast<unsigned>(std::countr_zero(bits_)) / kBitsPerUnit;
  }
  unsigned last() const {
    assert(bits_ != 0);
    return (63u - static_cast<unsigned>(std::countl_zero(bits_))) / kBitsPerUnit;
  }
  // Clears the first lane that is set.
  void drop_first() {
    const std::uint64_t lowest = bits_ & (0 - bits_);
    bits_ -= lowest * ((std::uint64_t{1} << kBitsPerUnit) - 1);
  }
  // The mask as one bit for each byte, the first byte's lowest.
  std::uint64_t bit_per_byte() const {
    if constexpr (kMaskBits == 1) return bits_;
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
  static Block load(const T* p) { return Block(base::load<Lanes>(p)); }
  // Reads 8 bytes of units from each; the units of `a` come first.
  static Block load_halves(const T* a, const T* b) {
    return Block(std::array{base::load<std::uint64_t>(a), base::load<std::uint64_t>(b)});
  }
  // Reads 4 bytes of units from each, and holds them twice.
  static Block load_quarters(const T* a, const T* b) {
    const auto first = base::load<std::uint32_t>(a);
    const auto second = base::load<std::uint32_t>(b);
    return Block(std::array{first, second, first, second});
  }
  // `unit` in every lane. Broadcasts a 32-bit word: some compilers broadcast a single byte through
  // memory, which stalls.
  static Block fill(T unit) {
    using Words32 [[gnu::vector_size(16)]] = std::uint32_t;
    constexpr std::uint32_t kEach = ~std::uint32_t{0} / std::numeric_limits<T>::max();
    return Block(Words32{} + unit * kEach);
  }

  // A lane of the result is all ones where the comparison holds, zero elsewhere.
  friend Block equal(Block a, Block b) { return Block(a.lanes_ == b.lanes_); }
  friend Block less(Block a, Block b) { return Block(a.lanes_ < b.lanes_); }
  friend Block operator|(Block a, Block b) { return Block(a.lanes_ | b.lanes_); }
  friend Block operator&(Block a, Block b) { return Block(a.lanes_ & b.lanes_); }
  friend Block operator~(Block a) { return Block(~a.lanes_); }

  // The units as bytes, the first one lowest. A unit above 0xFF becomes 0 or 0xFF.
  std::uint64_t narrow() const requires(sizeof(T) == 2) { return base::narrow(lanes_); }

  // REQUIRES: every lane is all ones or zero.
  LaneMask<T> mask() const { return LaneMask<T>(position_mask(Bytes(lanes_))); }

  // The mask of four consecutive blocks with one bit for each unit: bit sizeof(T) * i for unit i.
  // REQUIRES: as mask().
  friend std::uint64_t bit_per_unit(Block a, Block b, Block c, Block d) {
    constexpr std::uint64_t kUnitBits = sizeof(T) == 1 ? ~std::uint64_t{0} : 0x5555555555555555;
    return kUnitBits & movemask(Bytes(a.lanes_), Bytes(b.lanes_), Bytes(c.lanes_), Bytes(d.lanes_));
  }

 private:
  using Lanes [[gnu::vector_size(16)]] = T;
  template <class V>
  explicit constexpr Block(V lanes) : lanes_(std::bit_cast<Lanes>(lanes)) {}

  Lanes lanes_;
};

}  // namespace tstl::base
