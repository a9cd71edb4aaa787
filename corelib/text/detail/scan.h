// The scans under every search: one body for both unit widths and for constant expressions. A scan
// reads units of [p, p + n) only, however it is vectorised: the last, partial block is read as the
// whole block that ends with the run.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <type_traits>

#include "corelib/text/detail/simd.h"
#include "corelib/text/types.h"

namespace tstl::detail {

template <class T, class... Sought>
constexpr bool is_any(T unit, Sought... sought) {
  return ((unit == sought) || ...);
}

// First position that holds one of `sought`, `n` when there is none.
template <Unit T, class... Sought>
constexpr std::uint64_t first_of(const T* p, std::uint64_t n, Sought... sought) {
  constexpr std::uint64_t kStep = Block<T>::kUnits;
  if (std::is_constant_evaluated() || n < kStep) {
    std::uint64_t i = 0;
    while (i < n && !is_any(p[i], sought...)) ++i;
    return i;
  }
  const auto hits = [&](std::uint64_t at) {
    const auto block = Block<T>::load(p + at);
    return (equal(block, Block<T>::fill(sought)) | ...);
  };
  std::uint64_t i = 0;
  while (i + 4 * kStep <= n &&
         !(hits(i) | hits(i + kStep) | hits(i + 2 * kStep) | hits(i + 3 * kStep)).mask()) {
    i += 4 * kStep;
  }
  for (; i < n; i += kStep) {
    if (i + kStep > n) i = n - kStep;
    if (const auto mask = hits(i).mask()) return i + mask.first();
  }
  return n;
}

// Last position that holds one of `sought`, `n` when there is none.
template <Unit T, class... Sought>
constexpr std::uint64_t last_of(const T* p, std::uint64_t n, Sought... sought) {
  constexpr std::uint64_t kStep = Block<T>::kUnits;
  std::uint64_t end = n;
  while (!std::is_constant_evaluated() && end >= kStep) {
    const auto block = Block<T>::load(p + (end - kStep));
    if (const auto mask = (equal(block, Block<T>::fill(sought)) | ...).mask()) {
      return end - kStep + mask.last();
    }
    end -= kStep;
  }
  for (; end != 0; --end) {
    if (is_any(p[end - 1], sought...)) return end - 1;
  }
  return n;
}

// Length of the common prefix of two runs of `n` units.
template <Unit T>
constexpr std::uint64_t common_prefix(const T* a, const T* b, std::uint64_t n) {
  constexpr std::uint64_t kStep = Block<T>::kUnits;
  std::uint64_t i = 0;
  while (!std::is_constant_evaluated() && i + kStep <= n) {
    const auto differs = (~equal(Block<T>::load(a + i), Block<T>::load(b + i))).mask();
    if (differs) return i + differs.first();
    i += kStep;
  }
  while (i < n && a[i] == b[i]) ++i;
  return i;
}

template <Unit T>
constexpr bool same_units(const T* a, const T* b, std::uint64_t n) {
  return std::equal(a, a + n, b);
}

// First start of the `m` units at `s`, by comparison at every position whose first and last unit
// fit; `n` when there is none. REQUIRES: 0 < m <= n.
template <Unit T>
constexpr std::uint64_t first_run(const T* p, std::uint64_t n, const T* s, std::uint64_t m) {
  constexpr std::uint64_t kStep = Block<T>::kUnits;
  const std::uint64_t starts = n - m + 1;
  if (std::is_constant_evaluated() || starts < kStep) {
    for (std::uint64_t i = 0; i < starts; ++i) {
      if (p[i] == s[0] && same_units(p + i, s, m)) return i;
    }
    return n;
  }
  const auto head = Block<T>::fill(s[0]);
  const auto tail = Block<T>::fill(s[m - 1]);
  for (std::uint64_t i = 0; i < starts; i += kStep) {
    if (i + kStep > starts) i = starts - kStep;
    auto mask =
        (equal(Block<T>::load(p + i), head) & equal(Block<T>::load(p + i + (m - 1)), tail)).mask();
    for (; mask; mask.drop_first()) {
      if (same_units(p + i + mask.first(), s, m)) return i + mask.first();
    }
  }
  return n;
}

// Last start of the `m` units at `s`; `n` when there is none. REQUIRES: 0 < m <= n.
template <Unit T>
constexpr std::uint64_t last_run(const T* p, std::uint64_t n, const T* s, std::uint64_t m) {
  for (std::uint64_t starts = n - m + 1; starts != 0; --starts) {
    if (p[starts - 1] == s[0] && same_units(p + starts - 1, s, m)) return starts - 1;
  }
  return n;
}

// A set of units to look up many times: a bit per low byte rules out nearly all units that are not
// in it, so that a long set costs no more than a short one. Views the caller's units, which must
// outlive it.
template <Unit T>
class UnitSet {
 public:
  constexpr UnitSet(const T* units, std::uint64_t n) : units_(units), n_(n) {
    for (std::uint64_t i = 0; i < n; ++i) word(units[i]) |= bit(units[i]);
  }

  // Index in the set of the first unit equal to `unit`; the set's size when there is none.
  constexpr std::uint64_t index_of(T unit) const {
    if ((words_[(unit & 0xFF) / 64] & bit(unit)) == 0) return n_;
    return first_of(units_, n_, unit);
  }
  constexpr bool has(T unit) const { return index_of(unit) != n_; }

 private:
  static constexpr std::uint64_t bit(T unit) { return std::uint64_t{1} << (unit % 64); }
  constexpr std::uint64_t& word(T unit) { return words_[(unit & 0xFF) / 64]; }

  std::array<std::uint64_t, 4> words_{};
  const T* units_;
  std::uint64_t n_;
};

}  // namespace tstl::detail
