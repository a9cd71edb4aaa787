// The keys of the large jobs: as many different ones as are wanted, made when they are asked for.
#pragma once

#include <array>
#include <cstdint>

#include "corelib/text/buffer_ref.h"

namespace zenta::bench {

// Key number i, of 5 to 19 lower-case letters, and a value for it. The first five letters are the
// number, scrambled, so that no key comes twice. REQUIRES: i < kMostKeys.
class NumberedKey {
 public:
  static constexpr std::uint32_t kMostKeys = 26 * 26 * 26 * 26 * 26;

  explicit NumberedKey(std::uint32_t i) {
    std::uint64_t digits = i * std::uint64_t{7654321} % kMostKeys;
    std::uint64_t random = (i + 1) * 0x9E3779B97F4A7C15;
    random ^= random >> 29;
    value_ = random * 0xBF58476D1CE4E5B9 >> 33;
    length_ = 5 + static_cast<unsigned>(value_ % 15);
    for (unsigned at = 0; at < length_; ++at) {
      if (at == 5) digits = random;
      letters_[at] = static_cast<unsigned char>('a' + digits % 26);
      digits /= 26;
    }
  }
  [[nodiscard]] tstl::BufferRef<unsigned char> key() const { return {letters_.data(), length_}; }
  [[nodiscard]] std::uint32_t value() const { return static_cast<std::uint32_t>(value_); }

 private:
  std::array<unsigned char, 19> letters_;
  unsigned length_;
  std::uint64_t value_;  // 31 bits, which an image keeps
};

}  // namespace zenta::bench
