// Conversion of short UTF-8 texts to 16-bit units, for readers that convert many of them in
// sequence from one text into one block. It takes no branch on a text's length: it may read past
// the text and overwrite the units past the result.
#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/vector.h"

namespace tstl {

// The bytes that quick_threes() reads at `src` and the units that it writes at `dst`, whatever the
// length of the text.
inline constexpr std::ptrdiff_t kQuickThreesBytes = 28;
inline constexpr std::ptrdiff_t kQuickThreesUnits = 8;

#if defined(ZENTA_TARGET_SHUFFLE)
namespace detail {

// quick_threes() for processors with a byte shuffle.
ZENTA_TARGET_SHUFFLE inline std::size_t threes_by_shuffle(const unsigned char* src,
                                                          unsigned short* dst) noexcept {
  using base::Bytes;
  using base::Units;
  using Lanes32 [[gnu::vector_size(16)]] = std::uint32_t;
  constexpr unsigned char kNo = base::kNoByte;
  // One character in each 32-bit lane, its last byte lowest.
  constexpr Bytes kSpread = {2, 1, 0, kNo, 5, 4, 3, kNo, 8, 7, 6, kNo, 11, 10, 9, kNo};
  const auto a = Lanes32(base::shuffle(base::load<Bytes>(src), kSpread));
  const auto b = Lanes32(base::shuffle(base::load<Bytes>(src + 12), kSpread));
  const auto units_of = [](Lanes32 c) {
    return Lanes32((c & 0x3Fu) | (c >> 2 & 0xFC0u) | (c >> 4 & 0xF000u));
  };
  const auto low_halves = [](Lanes32 x, Lanes32 y) {
    return __builtin_shufflevector(Units(x), Units(y), 0, 2, 4, 6, 8, 10, 12, 14);
  };
  const Units units = low_halves(units_of(a), units_of(b));
  const Units well_formed =
      low_halves(Lanes32((a & 0xF0C0C0u) == 0xE08080u), Lanes32((b & 0xF0C0C0u) == 0xE08080u));
  const Units odd = Units(units < 0x800) | Units((units & 0xF800) == 0xD800);
  base::store(dst, units);
  const unsigned bad = base::movemask(Bytes(~well_formed | odd)) | 0x10000;
  return static_cast<std::size_t>(std::countr_zero(bad)) / 2;
}

}  // namespace detail
#endif

// Converts eight characters of three bytes each, as in Chinese text. Returns how many of them, from
// the first on, are valid UTF-8; the units of the others are unspecified. Returns 0 and writes
// nothing at the processor levels that have no byte shuffle.
[[nodiscard]] inline std::size_t quick_threes([[maybe_unused]] const unsigned char* src,
                                              [[maybe_unused]] unsigned short* dst) noexcept {
#if defined(ZENTA_TARGET_SHUFFLE)
  if (base::has_shuffle()) return detail::threes_by_shuffle(src, dst);
#endif
  return 0;
}

}  // namespace tstl
