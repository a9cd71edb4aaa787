// What implements corelib/text/utf.h: two sets of kernels, and the exact rules that both fall back
// on.
//
// A kernel goes over the text that is easy for it, block by block. Where it meets something else
// (ill-formed, a surrogate pair, too close to the end of the source or the room) it has the next
// units taken one character at a time, by the exact rules, and tries again behind them. So a kernel
// knows nothing of the odd cases, and both sets give the same results.
#pragma once

#include <cstddef>
#include <type_traits>

#include "corelib/base/vector.h"
#include "corelib/text/detail/utf_character.h"

namespace tstl::detail::utf {

// The public operations of the same names.
struct Kernels {
  std::size_t (*utf16_to_utf8)(const unsigned short* src, std::size_t n, unsigned char* dst,
                               std::size_t room, LoneSurrogate lone) noexcept;
  std::size_t (*utf8_to_utf16)(const unsigned char* src, std::size_t n, unsigned short* dst,
                               std::size_t room) noexcept;
  std::size_t (*utf16_size)(const unsigned char* src, std::size_t n) noexcept;
  std::size_t (*valid_utf8_prefix)(const unsigned char* src, std::size_t n) noexcept;
};

// Blocks of ASCII only; for every machine.
extern const Kernels kPlainKernels;

// All well-formed text but the surrogate pairs of UTF-16, for processors that shuffle bytes by a
// table: x86-64 with SSE4.2 and every arm64.
extern const Kernels kVectorKernels;

// Whether this processor, at its present level, is one.
[[nodiscard]] inline bool has_vector_kernels() noexcept { return base::has_shuffle(); }

// How far a piece of work on a text has come, and, as a pair of these, between where and where it
// is: what is left to read, and the room that is left or what was counted. `src` is always at the
// start of a character.
struct ToUtf8 {
  const unsigned short* src;
  unsigned char* dst;
};
struct ToUtf16 {
  const unsigned char* src;
  unsigned short* dst;
};
struct ToUtf16Size {
  const unsigned char* src;
  std::size_t units = 0;
};
struct ToValid {
  const unsigned char* src;
};

// Source units that are taken one character at a time before a kernel tries again.
inline constexpr std::size_t kBlock = 16;

// The exact rules. Each takes the characters that begin in the next block. A result that is where
// it was means that this is the end: no room, a last sequence that the end cuts short, or for
// ToValid one that is not well-formed.
ToUtf8 take_block(ToUtf8 at, ToUtf8 end, LoneSurrogate lone) noexcept;
ToUtf16 take_block(ToUtf16 at, ToUtf16 end) noexcept;
ToUtf16Size take_block(ToUtf16Size at, ToUtf16Size end) noexcept;
ToValid take_block(ToValid at, ToValid end) noexcept;

// Kernel and exact rules in turn, up to the end. `policy` is what take_block takes besides.
template <class Work, class... Policy>
[[gnu::always_inline]] inline Work take_all(Work (*kernel)(Work, Work) noexcept,
                                            std::type_identity_t<Work> at,
                                            std::type_identity_t<Work> end,
                                            Policy... policy) noexcept {
  for (;;) {
    at = kernel(at, end);
    if (at.src == end.src) return at;
    const auto* const before = at.src;
    at = take_block(at, end, policy...);
    if (at.src == before || at.src == end.src) return at;
  }
}

// Each operation by way of a kernel; for the sets of kernels to be made of.
[[gnu::always_inline]] inline std::size_t convert(ToUtf8 (*kernel)(ToUtf8, ToUtf8) noexcept,
                                                  const unsigned short* src, std::size_t n,
                                                  unsigned char* dst, std::size_t room,
                                                  LoneSurrogate lone) noexcept {
  const ToUtf8 end{src + n, dst + room};
  return static_cast<std::size_t>(take_all(kernel, {src, dst}, end, lone).dst - dst);
}
[[gnu::always_inline]] inline std::size_t convert(ToUtf16 (*kernel)(ToUtf16, ToUtf16) noexcept,
                                                  const unsigned char* src, std::size_t n,
                                                  unsigned short* dst, std::size_t room) noexcept {
  const ToUtf16 end{src + n, dst + room};
  return static_cast<std::size_t>(take_all(kernel, {src, dst}, end).dst - dst);
}
[[gnu::always_inline]] inline std::size_t measure(ToUtf16Size (*kernel)(ToUtf16Size,
                                                                        ToUtf16Size) noexcept,
                                                  const unsigned char* src,
                                                  std::size_t n) noexcept {
  return take_all(kernel, {src}, {src + n}).units;
}
[[gnu::always_inline]] inline std::size_t judge(ToValid (*kernel)(ToValid, ToValid) noexcept,
                                                const unsigned char* src, std::size_t n) noexcept {
  return static_cast<std::size_t>(take_all(kernel, {src}, {src + n}).src - src);
}

}  // namespace tstl::detail::utf
