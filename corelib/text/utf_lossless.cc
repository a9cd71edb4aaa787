// The lossless conversions of utf.h.
#include "corelib/text/utf.h"

namespace tstl {

std::size_t utf8_to_utf16_lossless(const unsigned char* src, std::size_t n,
                                   unsigned short* dst) noexcept {
  unsigned short* to = dst;
  for (;;) {
    const std::size_t good = valid_utf8_prefix(src, n);
    to += utf8_to_utf16(src, good, to, good);
    if (good == n) return static_cast<std::size_t>(to - dst);
    *to++ = static_cast<unsigned short>(0xDC00 + src[good]);
    src += good + 1;
    n -= good + 1;
  }
}

std::size_t utf16_to_utf8_lossless(const unsigned short* src, std::size_t n, unsigned char* dst,
                                   std::size_t capacity) noexcept {
  unsigned char* to = dst;
  std::size_t done = 0;
  const auto convert_up_to = [&](std::size_t end) {
    const std::size_t left = capacity - static_cast<std::size_t>(to - dst);
    to += utf16_to_utf8(src + done, end - done, to, left, LoneSurrogate::kKeep);
    done = end;
  };
  for (std::size_t i = 0; i < n; ++i) {
    if (is_high_surrogate(src[i]) && i + 1 < n && is_low_surrogate(src[i + 1])) {
      ++i;
    } else if (src[i] >= 0xDC80 && src[i] <= 0xDCFF) {
      convert_up_to(i);
      *to++ = static_cast<unsigned char>(src[i] & 0xFF);
      done = i + 1;
    }
  }
  convert_up_to(n);
  return static_cast<std::size_t>(to - dst);
}

}  // namespace tstl
