#include "corelib/text/utf.h"

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/detail/utf_kernels.h"
#include "corelib/text/detail/utf_vector.h"

namespace tstl {
namespace detail::utf {
namespace {

// One character at a time -------------------------------------------------------------------------

// Converts one character. False, and nothing is changed, if it does not fit.
bool take_one(ToUtf8& at, ToUtf8 end, LoneSurrogate lone) noexcept {
  char32_t c = *at.src;
  std::size_t taken = 1;
  if (is_high_surrogate(c) && count(at.src, end.src) > 1 && is_low_surrogate(at.src[1])) {
    c = join_surrogates(c, at.src[1]);
    taken = 2;
  }
  const std::size_t length = utf8_length(c, lone);
  if (length > count(at.dst, end.dst)) return false;
  encode_utf8(c, at.dst, lone);
  at.src += taken;
  at.dst += length;
  return true;
}

// Units that a sequence of `length` bytes gives in UTF-16; a `length` of 0 is a byte that begins
// none.
constexpr std::size_t units_of(std::size_t length) noexcept {
  return length == 4 ? 2 : length != 0;
}

// Converts one sequence. False, and nothing is changed, if it is truncated or does not fit.
bool take_one(ToUtf16& at, ToUtf16 end) noexcept {
  const std::size_t length = utf8_lead_length(*at.src);
  if (length > count(at.src, end.src) || units_of(length) > count(at.dst, end.dst)) return false;
  if (length == 4) {
    const char32_t c = decode_utf8(at.src, length) - 0x10000;
    *at.dst++ = static_cast<unsigned short>(0xD800 | (c >> 10 & 0x3FF));
    *at.dst++ = static_cast<unsigned short>(0xDC00 | (c & 0x3FF));
  } else if (length != 0) {
    *at.dst++ = static_cast<unsigned short>(decode_utf8(at.src, length));
  }
  at.src += std::max<std::size_t>(length, 1);
  return true;
}

// Counts one sequence. False, and nothing is changed, if it is truncated.
bool take_one(ToUtf16Size& at, ToUtf16Size end) noexcept {
  const std::size_t length = utf8_lead_length(*at.src);
  if (length > count(at.src, end.src)) return false;
  at.units += units_of(length);
  at.src += std::max<std::size_t>(length, 1);
  return true;
}

// Skips one sequence. False, and nothing is changed, if it is not well-formed.
bool take_one(ToValid& at, ToValid end) noexcept {
  const std::size_t length = utf8_sequence_length(at.src, count(at.src, end.src));
  at.src += length;
  return length != 0;
}

// Processes the characters that begin in the next block, until take_one returns false.
template <class Work, class... Policy>
Work take_ones(Work at, Work end, Policy... policy) noexcept {
  const auto* const stop = at.src + std::min(kBlock, count(at.src, end.src));
  while (at.src < stop && take_one(at, end, policy...)) {
  }
  return at;
}

// Plain kernels -----------------------------------------------------------------------------------

template <Unit T>
bool is_ascii_block(const T* src) noexcept {
  constexpr std::uint64_t kBeyond = sizeof(T) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
  std::uint64_t all = 0;
  for (std::size_t i = 0; i != kBlock; i += 8 / sizeof(T)) all |= load<std::uint64_t>(src + i);
  return (all & kBeyond) == 0;
}

template <Unit T>
const T* skip_ascii(const T* src, const T* src_end) noexcept {
  while (count(src, src_end) >= kBlock && is_ascii_block(src)) src += kBlock;
  return src;
}

template <class Conversion>
Conversion convert_ascii(Conversion at, Conversion end) noexcept {
  while (count(at.src, end.src) >= kBlock && count(at.dst, end.dst) >= kBlock &&
         is_ascii_block(at.src)) {
    for (std::size_t i = 0; i != kBlock; ++i) {
      at.dst[i] = static_cast<std::remove_reference_t<decltype(*at.dst)>>(at.src[i]);
    }
    at.src += kBlock;
    at.dst += kBlock;
  }
  return at;
}

ToUtf16Size size_ascii(ToUtf16Size at, ToUtf16Size end) noexcept {
  const unsigned char* const after = skip_ascii(at.src, end.src);
  return {after, at.units + count(at.src, after)};
}

ToValid pass_ascii(ToValid at, ToValid end) noexcept { return {skip_ascii(at.src, end.src)}; }

}  // namespace

ToUtf8 take_block(ToUtf8 at, ToUtf8 end, LoneSurrogate lone) noexcept {
  return take_ones(at, end, lone);
}
ToUtf16 take_block(ToUtf16 at, ToUtf16 end) noexcept { return take_ones(at, end); }
ToUtf16Size take_block(ToUtf16Size at, ToUtf16Size end) noexcept { return take_ones(at, end); }
ToValid take_block(ToValid at, ToValid end) noexcept { return take_ones(at, end); }

constinit const Kernels kPlainKernels = {
    [](const unsigned short* src, std::size_t n, unsigned char* dst, std::size_t capacity,
       LoneSurrogate lone) noexcept {
      return convert(convert_ascii<ToUtf8>, src, n, dst, capacity, lone);
    },
    [](const unsigned char* src, std::size_t n, unsigned short* dst,
       std::size_t capacity) noexcept {
      return convert(convert_ascii<ToUtf16>, src, n, dst, capacity);
    },
    [](const unsigned char* src, std::size_t n) noexcept { return measure(size_ascii, src, n); },
    [](const unsigned char* src, std::size_t n) noexcept { return validate(pass_ascii, src, n); },
};

}  // namespace detail::utf

namespace {

namespace utf = detail::utf;
using utf::Units;

const utf::Kernels& kernels() noexcept {
  return utf::has_vector_kernels() ? utf::kVectorKernels : utf::kPlainKernels;
}

// Corrections to the three bytes that unit_sizes() counts for a surrogate: `each` is subtracted for
// every surrogate, `pair` also for the high one of a pair, so that a pair takes four bytes in all.
struct SurrogateCost {
  Units each, pair;
};

// The UTF-8 bytes of each of eight units; lane i of `next` is the unit after lane i of `u`.
inline Units unit_sizes(Units u, Units next, const SurrogateCost& cost) noexcept {
  const Units surrogate = Units((u & 0xF800) == 0xD800);
  const Units pair = Units((u & 0xFC00) == 0xD800) & Units((next & 0xFC00) == 0xDC00);
  return 1 - Units(u >= 0x80) - Units(u >= 0x800) - (surrogate & cost.each) - (pair & cost.pair);
}

// The sum of all lanes. REQUIRES: it is below 65,536.
inline std::size_t total(Units sizes) noexcept {
  const auto words = utf::Words(sizes);
  return (words[0] + words[1]) * 0x0001000100010001 >> 48;
}

}  // namespace

std::size_t utf8_size(const unsigned short* src, std::size_t n, LoneSurrogate lone) noexcept {
  assert(src != nullptr || n == 0);
  constexpr std::size_t kLanes = 8;
  const SurrogateCost cost = lone == LoneSurrogate::kKeep
                                 ? SurrogateCost{utf::broadcast(0), utf::broadcast(2)}
                                 : SurrogateCost{utf::broadcast(3), utf::broadcast(-4)};
  const auto sizes = [&cost](const unsigned short* at) {  // also reads the unit after the eight
    return unit_sizes(utf::load<Units>(at), utf::load<Units>(at + 1), cost);
  };
  std::size_t size = 0;
  for (; n > 4 * kLanes; src += 4 * kLanes, n -= 4 * kLanes) {
    if (utf::is_ascii_block(src) && utf::is_ascii_block(src + 2 * kLanes)) {
      size += 4 * kLanes;
    } else {  // at most 4 bytes in each lane of each summand
      size += total(sizes(src) + sizes(src + kLanes) + sizes(src + 2 * kLanes) +
                    sizes(src + 3 * kLanes));
    }
  }
  for (; n > kLanes; src += kLanes, n -= kLanes) size += total(sizes(src));
  if (n == 0) return size;
  const Units last = n == kLanes ? utf::load<Units>(src) : utf::load_first<Units>(src, 2 * n);
  const Units next = __builtin_shufflevector(last, Units{}, 1, 2, 3, 4, 5, 6, 7, 8);
  return size + total(unit_sizes(last, next, cost)) - (kLanes - n);  // each padding 0 counts as 1
}

std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept {
  assert(src != nullptr || n == 0);
  return kernels().utf16_size(src, n);
}

std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n, unsigned char* dst,
                          std::size_t capacity, LoneSurrogate lone) noexcept {
  assert((src != nullptr || n == 0) && (dst != nullptr || capacity == 0));
  return kernels().utf16_to_utf8(src, n, dst, capacity, lone);
}

std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n, unsigned short* dst,
                          std::size_t capacity) noexcept {
  assert((src != nullptr || n == 0) && (dst != nullptr || capacity == 0));
  return kernels().utf8_to_utf16(src, n, dst, capacity);
}

std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept {
  assert(src != nullptr || n == 0);
  return kernels().valid_utf8_prefix(src, n);
}

}  // namespace tstl
