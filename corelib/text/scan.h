// The scans under every search: one body for both unit widths and for constant expressions. A scan
// reads units of [p, p + n) only, however it is vectorised: the last, partial block is read as the
// whole block that ends with the run.
#pragma once

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "corelib/base/block.h"
#include "corelib/base/bytes.h"
#include "corelib/base/types.h"

namespace tstl::detail {

template <class T, class... Sought>
constexpr bool is_any(T unit, Sought... sought) {
  return ((unit == sought) || ...);
}

// The scan of a run shorter than a block: its first and its last units, which may overlap, make up
// one block.
template <Unit T, class... Sought>
std::uint64_t first_of_short(const T* p, std::uint64_t n, Sought... sought) {
  constexpr unsigned kHalf = 8 / sizeof(T);
  constexpr unsigned kQuarter = 4 / sizeof(T);
  const auto search = [&](base::Block<T> ends, unsigned half) {
    const auto mask = (equal(ends, base::Block<T>::fill(sought)) | ...).mask();
    if (!mask) return n;
    return mask.first() < half ? mask.first() : n - 2 * half + mask.first();
  };
  if (n >= kHalf) return search(base::Block<T>::load_halves(p, p + (n - kHalf)), kHalf);
  if (n >= kQuarter) return search(base::Block<T>::load_quarters(p, p + (n - kQuarter)), kQuarter);
  std::uint64_t i = 0;
  while (i < n && !is_any(p[i], sought...)) ++i;
  return i;
}

// The scan of a run of a block or more.
template <Unit T, class... Sought>
std::uint64_t first_of_blocks(const T* p, std::uint64_t n, Sought... sought) {
  using Block = base::Block<T>;
  constexpr std::uint64_t kStep = Block::kUnits;
  const auto hits = [&](std::uint64_t at) {
    const auto block = Block::load(p + at);
    return (equal(block, Block::fill(sought)) | ...);
  };
  constexpr bool kHasMemchr = sizeof(T) == 1 && sizeof...(Sought) == 1;
  constexpr std::uint64_t kNear = (kHasMemchr ? 4 : 8) * kStep;
  std::uint64_t i = 0;
  // Block by block while the match is near: the processor foresees in which one, and what comes next
  // need not wait for all of them.
  for (; i != kNear && i + kStep <= n; i += kStep) {
    if (const auto mask = hits(i).mask()) return i + mask.first();
  }
  if constexpr (kHasMemchr) {
    if (i == kNear && i != n) {  // memchr costs a call, but may have wider vectors
      const void* const at = std::memchr(p + i, (sought, ...), n - i);
      return at == nullptr ? n : static_cast<std::uint64_t>(static_cast<const T*>(at) - p);
    }
  }
  while (i + 4 * kStep <= n &&
         !(hits(i) | hits(i + kStep) | hits(i + 2 * kStep) | hits(i + 3 * kStep)).mask()) {
    i += 4 * kStep;
  }
  for (; i + kStep <= n; i += kStep) {
    if (const auto mask = hits(i).mask()) return i + mask.first();
  }
  // The rest as a whole block: units that are read twice hold no match.
  if (i == n) return n;
  const auto mask = hits(n - kStep).mask();
  return mask ? n - kStep + mask.first() : n;
}

// First position that holds one of `sought`, `n` when there is none.
template <Unit T, class... Sought>
constexpr std::uint64_t first_of(const T* p, std::uint64_t n, Sought... sought) {
  if (std::is_constant_evaluated()) {
    std::uint64_t i = 0;
    while (i < n && !is_any(p[i], sought...)) ++i;
    return i;
  }
  if (n < base::Block<T>::kUnits) return first_of_short(p, n, sought...);
  return first_of_blocks(p, n, sought...);
}

// First LF or CR of a run of a block or more, `n` when there is none.
template <class T>
std::uint64_t first_break_of_blocks(const T* p, std::uint64_t n);

// The same of any run. Text is taken apart into lines more often than anything else is searched for,
// so what is sought is compiled in. Most lines of 8-bit text end in the first block, which is searched
// without a call.
template <Unit T>
constexpr std::uint64_t first_break(const T* p, std::uint64_t n) {
  using Block = base::Block<T>;
  if (std::is_constant_evaluated() || n < Block::kUnits) return first_of(p, n, T{'\n'}, T{'\r'});
  if constexpr (sizeof(T) == 1) {
    const auto block = Block::load(p);
    const auto mask = (equal(block, Block::fill('\n')) | equal(block, Block::fill('\r'))).mask();
    if (mask) return mask.first();
  }
  return first_break_of_blocks(p, n);
}

// Last position that holds one of `sought`, `n` when there is none.
template <Unit T, class... Sought>
constexpr std::uint64_t last_of(const T* p, std::uint64_t n, Sought... sought) {
  constexpr std::uint64_t kStep = base::Block<T>::kUnits;
  std::uint64_t end = n;
  while (!std::is_constant_evaluated() && end >= kStep) {
    const auto block = base::Block<T>::load(p + (end - kStep));
    if (const auto mask = (equal(block, base::Block<T>::fill(sought)) | ...).mask()) {
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
  constexpr std::uint64_t kStep = base::Block<T>::kUnits;
  std::uint64_t i = 0;
  while (!std::is_constant_evaluated() && i + kStep <= n) {
    const auto differs = (~equal(base::Block<T>::load(a + i), base::Block<T>::load(b + i))).mask();
    if (differs) return i + differs.first();
    i += kStep;
  }
  while (i < n && a[i] == b[i]) ++i;
  return i;
}

template <Unit T>
constexpr bool same_units(const T* a, const T* b, std::uint64_t n) {
  if (std::is_constant_evaluated()) return std::equal(a, a + n, b);
  return base::equal_bytes(a, b, n * sizeof(T));
}

// First of `starts` positions from `p` on where the `m` units at `s` stand, `starts` when there is
// none; the second one is for long runs. REQUIRES: a block of positions at least; m > 0 units can
// be read from each.
template <class T>
std::uint64_t first_run_near(const T* p, std::uint64_t starts, const T* s, std::uint64_t m);
template <class T>
std::uint64_t first_run_far(const T* p, std::uint64_t starts, const T* s, std::uint64_t m);

// First start of the `m` units at `s`; `n` when there is none. REQUIRES: 0 < m <= n.
template <Unit T>
constexpr std::uint64_t first_run(const T* p, std::uint64_t n, const T* s, std::uint64_t m) {
  assert(m != 0 && m <= n);
  const std::uint64_t starts = n - m + 1;
  std::uint64_t at = 0;
  if (std::is_constant_evaluated() || starts < base::Block<T>::kUnits) {
    while (at < starts && !(p[at] == s[0] && same_units(p + at, s, m))) ++at;
  } else if (starts <= 8 * base::Block<T>::kUnits) {
    at = first_run_near(p, starts, s, m);
  } else {
    at = first_run_far(p, starts, s, m);
  }
  return at == starts ? n : at;
}

// Last start of the `m` units at `s`; `n` when there is none. REQUIRES: 0 < m <= n.
template <Unit T>
constexpr std::uint64_t last_run(const T* p, std::uint64_t n, const T* s, std::uint64_t m) {
  assert(m != 0 && m <= n);
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
