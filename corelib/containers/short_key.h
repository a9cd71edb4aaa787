// ShortKey: hashes and compares a key of 4 to 32 bytes, on processors with CRC instructions.
//
// The processor cannot predict the length of the next key, so there is only one branch on it: at 16
// bytes, which most keys do not exceed. The code is also short, because a processor that waits for
// the memory of one look-up executes the next look-ups only as far as its reorder buffer reaches.
// No byte outside the key is read: four overlapping words cover 4 to 16 bytes, and a shuffle puts
// them in order.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "corelib/base/vector.h"
#include "corelib/containers/detail/crc32_block.h"

#if defined(ZENTA_TARGET_CRC_BLOCK)
// The target attribute of every function that uses a ShortKey.
#define ZENTA_TARGET_SHORT_KEY ZENTA_TARGET_CRC_BLOCK

namespace tstl::detail {

// The offset of the i-th of four words that together cover n bytes. REQUIRES: n is 4 to 16.
constexpr std::size_t short_key_word(std::size_t n, std::size_t i) {
  const std::size_t step = n / 8 * 4;
  return (i >= 2 ? n - 4 - step : 0) + (i % 2) * step;
}
// By length: the shuffle from the four words to a block that ends with the key.
inline constexpr auto kShortKeyOrders = [] {
  std::array<std::array<unsigned char, 16>, 17> orders{};
  for (std::size_t n = 4; n <= 16; ++n) {
    orders[n].fill(base::kNoByte);
    for (unsigned char at = 0; at != 16; ++at) {
      orders[n][16 - n + short_key_word(n, at / 4) + at % 4] = at;
    }
  }
  return orders;
}();

class ShortKey {
 public:
  // Whether a key of `n` bytes is short and this processor has the instructions.
  static bool takes(std::size_t n) { return n - 4 <= 28 && has_crc_block(); }

  // Views the bytes. REQUIRES: takes(n).
  ZENTA_TARGET_SHORT_KEY ShortKey(const void* bytes, std::size_t n)
      : n_(n), ends_(ends_of(static_cast<const unsigned char*>(bytes))) {}

  ZENTA_TARGET_SHORT_KEY std::uint32_t crc32() const {
    const std::uint32_t crc =
        is_one_block()
            ? crc_after(base::shuffle(ends_.last, base::load<base::Bytes>(order())))
            : crc_after(base::slide(ends_.first, static_cast<std::ptrdiff_t>(32 - n_)), ends_.last);
    return ~(crc ^ kCrcPresets.after[n_]);
  }

  // Whether the same bytes are at `other`. REQUIRES: as many bytes can be read there.
  ZENTA_TARGET_SHORT_KEY bool is_at(const void* other) const {
    const Ends ends = ends_of(static_cast<const unsigned char*>(other));
    if (is_one_block()) return base::all(ends.last == ends_.last);
    return base::all((ends.first == ends_.first) & (ends.last == ends_.last));
  }

 private:
  // All bytes of a key: the four words, or its first and last 16 bytes.
  struct Ends {
    base::Bytes first, last;
  };
  bool is_one_block() const { return n_ <= 16; }
  const unsigned char* order() const { return kShortKeyOrders[n_].data(); }

  ZENTA_TARGET_SHORT_KEY Ends ends_of(const unsigned char* p) const {
    using Halves = std::uint32_t __attribute__((vector_size(16)));
    if (!is_one_block()) {
      return {base::load<base::Bytes>(p), base::load<base::Bytes>(p + n_ - 16)};
    }
    const auto word = [p, this](std::size_t i) {
      return base::load<std::uint32_t>(p + short_key_word(n_, i));
    };
    return {base::Bytes{}, base::Bytes(Halves{word(0), word(1), word(2), word(3)})};
  }

  std::size_t n_;
  Ends ends_;
};

}  // namespace tstl::detail
#endif
