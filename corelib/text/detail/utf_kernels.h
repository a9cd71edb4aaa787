// What implements corelib/text/utf.h: two sets of kernels, and the exact rules that both fall back
// on.
//
// A kernel goes over the text that is easy for it, block by block. Where it meets something else
// (ill-formed, a surrogate pair, too close to the end of the source or the room) it has the next
// units taken one character at a time, by the exact rules, and tries again behind them. So a kernel
// knows nothing of the odd cases, and both sets give the same results.
#pragma once

#include <cstddef>

#include "corelib/text/utf.h"

namespace tstl::detail {

// The public operations of the same names.
struct UtfKernels {
  std::size_t (*utf16_to_utf8)(const unsigned short* src, std::size_t n, unsigned char* dst,
                               std::size_t room, LoneSurrogate lone) noexcept;
  std::size_t (*utf8_to_utf16)(const unsigned char* src, std::size_t n, unsigned short* dst,
                               std::size_t room) noexcept;
  std::size_t (*utf16_size)(const unsigned char* src, std::size_t n) noexcept;
  std::size_t (*valid_utf8_prefix)(const unsigned char* src, std::size_t n) noexcept;
};

// Blocks of ASCII only; for every machine.
extern const UtfKernels kPlainUtfKernels;

// All text but surrogate pairs, for machines whose vector unit rearranges bytes by a table: x86-64
// with SSE4.2 (2008 on) and every arm64.
extern const UtfKernels kVectorUtfKernels;

// Whether this machine is one. A word that the compiler's run-time library fills in before main
// tells it; asked earlier than that the answer is no, which is the slow way to the same results.
[[nodiscard]] inline bool has_vector_utf_kernels() noexcept {
#if defined(__aarch64__)
  return true;
#elif defined(__x86_64__)
  return __builtin_cpu_supports("sse4.2") && __builtin_cpu_supports("popcnt");
#else
  return false;
#endif
}

// How far a conversion, or the sizing of a text, has come. `src` is at the start of a character.
template <class From, class To>
struct UtfPlace {
  const From* src;
  To* dst;
};
using ToUtf8Place = UtfPlace<unsigned short, unsigned char>;
using ToUtf16Place = UtfPlace<unsigned char, unsigned short>;
struct Utf16SizePlace {
  const unsigned char* src;
  std::size_t units;
};

// Source units that are taken one character at a time before a kernel tries again.
inline constexpr std::size_t kUtfBlock = 16;

// The exact rules. Each takes the characters that begin in the next block and returns the place
// behind them. A result that is where it was means that this is the end: no room, or a last
// sequence that the end cuts short, or for valid_block one that is not well-formed.
ToUtf8Place convert_block(const unsigned short* src, const unsigned short* src_end,
                          unsigned char* dst, unsigned char* dst_end, LoneSurrogate lone) noexcept;
ToUtf16Place convert_block(const unsigned char* src, const unsigned char* src_end,
                           unsigned short* dst, unsigned short* dst_end) noexcept;
Utf16SizePlace size_block(const unsigned char* src, const unsigned char* src_end) noexcept;
const unsigned char* valid_block(const unsigned char* src, const unsigned char* src_end) noexcept;

// Kernel and exact rules in turn, until the source or the room is at its end. Returns the units
// written. `policy` is what convert_block takes besides.
template <class Kernel, class From, class To, class... Policy>
[[gnu::always_inline]] inline std::size_t convert_with(Kernel kernel, const From* src,
                                                       std::size_t n, To* dst, std::size_t room,
                                                       Policy... policy) noexcept {
  const From* const src_end = src + n;
  To* const dst_end = dst + room;
  UtfPlace<From, To> at{src, dst};
  for (;;) {
    at = kernel(at.src, src_end, at.dst, dst_end);
    if (at.src == src_end) break;
    const From* const before = at.src;
    at = convert_block(at.src, src_end, at.dst, dst_end, policy...);
    if (at.src == before) break;
  }
  return static_cast<std::size_t>(at.dst - dst);
}

// The same for utf16_size.
template <class Kernel>
[[gnu::always_inline]] inline std::size_t size_with(Kernel kernel, const unsigned char* src,
                                                    std::size_t n) noexcept {
  const unsigned char* const src_end = src + n;
  std::size_t units = 0;
  for (;;) {
    Utf16SizePlace at = kernel(src, src_end);
    units += at.units;
    if (at.src == src_end) return units;
    src = at.src;
    at = size_block(src, src_end);
    units += at.units;
    if (at.src == src) return units;
    src = at.src;
  }
}

// The same for valid_utf8_prefix.
template <class Kernel>
[[gnu::always_inline]] inline std::size_t valid_with(Kernel kernel, const unsigned char* src,
                                                     std::size_t n) noexcept {
  const unsigned char* const src_end = src + n;
  const unsigned char* at = src;
  for (;;) {
    at = kernel(at, src_end);
    if (at == src_end) break;
    const unsigned char* const before = at;
    at = valid_block(at, src_end);
    if (at == before) break;
  }
  return static_cast<std::size_t>(at - src);
}

}  // namespace tstl::detail
