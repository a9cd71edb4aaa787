#include "corelib/text/scan.h"

#include <algorithm>
#include <cassert>

namespace tstl::detail {

// Compares in full wherever the first and the last unit fit.
template <Unit T>
std::uint64_t first_run_near(const T* p, std::uint64_t starts, const T* s, std::uint64_t m) {
  constexpr std::uint64_t kStep = base::Block<T>::kUnits;
  assert(starts >= kStep && m != 0);
  const auto head = base::Block<T>::fill(s[0]);
  const auto tail = base::Block<T>::fill(s[m - 1]);
  for (std::uint64_t i = 0;; i = std::min(i + kStep, starts - kStep)) {
    const auto heads = equal(base::Block<T>::load(p + i), head);
    auto mask = (heads & equal(base::Block<T>::load(p + i + (m - 1)), tail)).mask();
    for (; mask; mask.drop_first()) {
      if (base::equal_short(p + i + mask.first(), s, m * sizeof(T))) return i + mask.first();
    }
    if (i == starts - kStep) return starts;
  }
}

// Leaps from one first unit to the next where these are rare; where leaps turn out short, the
// stretches that are compared in between grow.
template <Unit T>
std::uint64_t first_run_far(const T* p, std::uint64_t starts, const T* s, std::uint64_t m) {
  constexpr std::uint64_t kShort = 4 * base::Block<T>::kUnits;
  constexpr std::uint64_t kLong = 16 * kShort;
  std::uint64_t stretch = kShort;
  std::uint64_t i = 0;
  while (starts - i > 2 * stretch) {
    const std::uint64_t leap = first_of(p + i, starts - i, s[0]);
    i += leap;
    if (starts - i <= stretch) break;
    const std::uint64_t at = first_run_near(p + i, stretch, s, m);
    if (at != stretch) return i + at;
    i += stretch;
    stretch = leap >= kShort ? kShort : std::min(2 * stretch, kLong);
  }
  // The rest, as one block at least: what it takes in again before `i` holds no start.
  i = std::min(i, starts - base::Block<T>::kUnits);
  return i + first_run_near(p + i, starts - i, s, m);
}

#define INSTANTIATE(T)                                                                     \
  template std::uint64_t first_run_near(const T*, std::uint64_t, const T*, std::uint64_t); \
  template std::uint64_t first_run_far(const T*, std::uint64_t, const T*, std::uint64_t)
INSTANTIATE(unsigned char);
INSTANTIATE(unsigned short);
#undef INSTANTIATE

}  // namespace tstl::detail
