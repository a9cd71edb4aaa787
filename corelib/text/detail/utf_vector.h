// Vector operations of the UTF kernels that corelib/base/vector.h lacks: the bytes before each
// byte, and stores of a part of a vector.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>

#include "corelib/base/bytes.h"
#include "corelib/base/vector.h"

namespace tstl::detail::utf {

using base::all;
using base::any;
using base::broadcast;
using base::Bytes;
using base::interleave_high;
using base::interleave_low;
using base::load;
using base::load_first;
using base::low_bytes;
using base::movemask;
using base::SignedBytes;
using base::store;
using base::Units;
using base::Words;

template <class T>
inline std::size_t count(const T* first, const T* last) noexcept {
  return static_cast<std::size_t>(last - first);
}

// For each byte of `b` the byte kBack positions before it, in the text `before` followed by `b`.
template <int kBack>
inline Bytes earlier(Bytes before, Bytes b) noexcept {
  constexpr int k = 16 - kBack;
  return __builtin_shufflevector(before, b, k, k + 1, k + 2, k + 3, k + 4, k + 5, k + 6, k + 7,
                                 k + 8, k + 9, k + 10, k + 11, k + 12, k + 13, k + 14, k + 15);
}

#if defined(ZENTA_TARGET_SHUFFLE)

using base::kNoByte;
using base::shuffle;
using base::slide;

// Stores the first `n` bytes of `v` and no other.
// REQUIRES: n is 0, 2 or 4 to 15.
ZENTA_TARGET_SHUFFLE inline void store_first(unsigned char* dst, Bytes v, std::size_t n) noexcept {
  const std::uint64_t word = Words(v)[0];
  if (n >= 8) {
    const Bytes after = slide(v, 8 - static_cast<std::ptrdiff_t>(n));
    store(dst, word);
    store(dst + n - 8, std::uint64_t{Words(after)[0]});
  } else if (n >= 4) {
    store(dst, static_cast<std::uint32_t>(word));
    store(dst + n - 4, static_cast<std::uint32_t>(word >> 8 * (n - 4)));
  } else if (n != 0) {
    assert(n == 2);
    store(dst, static_cast<std::uint16_t>(word));
  }
}

// Stores the first `a_size` bytes of `a` and, after them, `b_size` bytes of `b`. Both vectors are
// zero past their sizes.
// No byte beyond `capacity` is written.
// REQUIRES: a_size + b_size is at most `capacity`, and 0, 2 or at least 4.
ZENTA_TARGET_SHUFFLE inline void store_joined(void* dst, std::size_t capacity, Bytes a,
                                              std::size_t a_size, Bytes b,
                                              std::size_t b_size) noexcept {
  auto* const p = static_cast<unsigned char*>(dst);
  const auto b_at = static_cast<std::ptrdiff_t>(a_size);
  const auto end = static_cast<std::ptrdiff_t>(a_size + b_size);
  assert(a_size + b_size <= capacity);
  const Bytes head = a | slide(b, b_at);
  if (end > 16) {
    store(p, head);
    store(p + end - 16, slide(a, 16 - end) | slide(b, 16 - end + b_at));
  } else if (capacity >= 16) {
    store(p, head);
  } else {
    store_first(p, head, a_size + b_size);
  }
}

#endif

}  // namespace tstl::detail::utf
