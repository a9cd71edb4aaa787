// memcpy for runs that are mostly short: up to 32 bytes are moved by a few loads and stores
// that overlap, without a call.
#pragma once

#include <cstddef>
#include <cstring>

namespace tstl::detail {

// The kSize bytes from the start of a run on and those before its end.
template <std::size_t kSize>
inline void copy_ends(unsigned char* dst, const unsigned char* src, std::size_t n) noexcept {
  unsigned char head[kSize], tail[kSize];
  std::memcpy(head, src, kSize);
  std::memcpy(tail, src + n - kSize, kSize);
  std::memcpy(dst, head, kSize);
  std::memcpy(dst + n - kSize, tail, kSize);
}

// `src` may be null when `n` is 0. REQUIRES: the runs do not overlap.
inline void copy_bytes(unsigned char* dst, const unsigned char* src, std::size_t n) noexcept {
  if (n > 32) {
    std::memcpy(dst, src, n);
  } else if (n >= 16) {
    copy_ends<16>(dst, src, n);
  } else if (n >= 4) {
    // Four overlapping words in either case: how long a short run is, is hard to foresee.
    const std::size_t step = n / 8 * 4;
    copy_ends<4>(dst, src, n);
    copy_ends<4>(dst + step, src + step, n - 2 * step);
  } else if (n != 0) {
    dst[0] = src[0];
    dst[n / 2] = src[n / 2];
    dst[n - 1] = src[n - 1];
  }
}

}  // namespace tstl::detail
