// The implementation of corelib/text/utf.h: two sets of kernels, and the exact rules that both fall
// back on.
//
// A kernel converts block by block and stops at what it cannot handle: ill-formed text, a surrogate
// pair, too little left of the source or of the capacity. take_all() then converts the next units
// one character at a time, by the exact rules, and calls the kernel again. So kernels need not
// handle the odd cases, and both sets give the same results.
#pragma once

#include <cstddef>
#include <type_traits>

#include "corelib/base/vector.h"
#include "corelib/text/detail/utf_character.h"

namespace tstl::detail::utf {

// The public operations of the same names.
struct Kernels {
  std::size_t (*utf16_to_utf8)(const unsigned short* src, std::size_t n, unsigned char* dst,
                               std::size_t capacity, LoneSurrogate lone) noexcept;
  std::size_t (*utf8_to_utf16)(const unsigned char* src, std::size_t n, unsigned short* dst,
                               std::size_t capacity) noexcept;
  std::size_t (*utf16_size)(const unsigned char* src, std::size_t n) noexcept;
  std::size_t (*valid_utf8_prefix)(const unsigned char* src, std::size_t n) noexcept;
};

// Blocks of ASCII only; for every machine.
extern const Kernels kPlainKernels;

// All well-formed text but the surrogate pairs of UTF-16; for processors with a byte shuffle:
// x86-64 with SSE4.2 and every arm64.
extern const Kernels kVectorKernels;

// Whether kVectorKernels can run at the processor's present level.
[[nodiscard]] inline bool has_vector_kernels() noexcept { return base::has_shuffle(); }

// The positions of an operation in its source and destination (or its count so far). Two of them,
// the current ones and the ends, tell what is left to read and the capacity left. `src` always
// points to the start of a character.
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

// Source units that are converted one character at a time before the kernel is called again.
inline constexpr std::size_t kBlock = 16;

// The exact rules. Each processes the characters that begin in the next kBlock units. If `src` does
// not advance, the operation is over: the capacity is used up, the last sequence is truncated or,
// for ToValid, the next one is not well-formed.
ToUtf8 take_block(ToUtf8 at, ToUtf8 end, LoneSurrogate lone) noexcept;
ToUtf16 take_block(ToUtf16 at, ToUtf16 end) noexcept;
ToUtf16Size take_block(ToUtf16Size at, ToUtf16Size end) noexcept;
ToValid take_block(ToValid at, ToValid end) noexcept;

// Alternates the kernel and the exact rules up to the end. `policy` is passed to take_block.
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

// The operations of a set of kernels, each made from one kernel.
[[gnu::always_inline]] inline std::size_t convert(ToUtf8 (*kernel)(ToUtf8, ToUtf8) noexcept,
                                                  const unsigned short* src, std::size_t n,
                                                  unsigned char* dst, std::size_t capacity,
                                                  LoneSurrogate lone) noexcept {
  const ToUtf8 end{src + n, dst + capacity};
  return static_cast<std::size_t>(take_all(kernel, {src, dst}, end, lone).dst - dst);
}
[[gnu::always_inline]] inline std::size_t convert(ToUtf16 (*kernel)(ToUtf16, ToUtf16) noexcept,
                                                  const unsigned char* src, std::size_t n,
                                                  unsigned short* dst,
                                                  std::size_t capacity) noexcept {
  const ToUtf16 end{src + n, dst + capacity};
  return static_cast<std::size_t>(take_all(kernel, {src, dst}, end).dst - dst);
}
[[gnu::always_inline]] inline std::size_t measure(ToUtf16Size (*kernel)(ToUtf16Size,
                                                                        ToUtf16Size) noexcept,
                                                  const unsigned char* src,
                                                  std::size_t n) noexcept {
  return take_all(kernel, {src}, {src + n}).units;
}
[[gnu::always_inline]] inline std::size_t validate(ToValid (*kernel)(ToValid, ToValid) noexcept,
                                                   const unsigned char* src,
                                                   std::size_t n) noexcept {
  return static_cast<std::size_t>(take_all(kernel, {src}, {src + n}).src - src);
}

}  // namespace tstl::detail::utf
