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

// Converts one character. False, with nothing done, when there is no room for it.
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

// Units that a sequence of `length` bytes, 0 for a byte that begins none, gives in UTF-16.
constexpr std::size_t units_of(std::size_t length) noexcept {
  return length == 4 ? 2 : length != 0;
}

// Converts one sequence. False, with nothing done, when the end cuts it short or there is no room.
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

// Counts one sequence. False, with nothing done, when the end cuts it short.
bool take_one(ToUtf16Size& at, ToUtf16Size end) noexcept {
  const std::size_t length = utf8_lead_length(*at.src);
  if (length > count(at.src, end.src)) return false;
  at.units += units_of(length);
  at.src += std::max<std::size_t>(length, 1);
  return true;
}

// Passes over one sequence. False, with nothing done, when it is not well-formed.
bool take_one(ToValid& at, ToValid end) noexcept {
  const std::size_t length = utf8_sequence_length(at.src, count(at.src, end.src));
  at.src += length;
  return length != 0;
}

// Takes the characters that begin in the next block, until take_one declines.
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
  const unsigned char* const behind = skip_ascii(at.src, end.src);
  return {behind, at.units + count(at.src, behind)};
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
    [](const unsigned short* src, std::size_t n, unsigned char* dst, std::size_t room,
       LoneSurrogate lone) noexcept {
      return convert(convert_ascii<ToUtf8>, src, n, dst, room, lone);
    },
    [](const unsigned char* src, std::size_t n, unsigned short* dst, std::size_t room) noexcept {
      return convert(convert_ascii<ToUtf16>, src, n, dst, room);
    },
    [](const unsigned char* src, std::size_t n) noexcept { return measure(size_ascii, src, n); },
    [](const unsigned char* src, std::size_t n) noexcept { return judge(pass_ascii, src, n); },
};

}  // namespace detail::utf

namespace {

namespace utf = detail::utf;
using utf::Units;

const utf::Kernels& kernels() noexcept {
  return utf::has_vector_kernels() ? utf::kVectorKernels : utf::kPlainKernels;
}

// What is taken off the three bytes that every unit of a surrogate's size counts for: from each
// surrogate, and besides from the high one of a pair (where less than nothing puts some back on).
struct SurrogateCost {
  Units each, pair;
};

// Bytes that each of eight units takes, before the units `next` to them. A pair is counted at its
// high surrogate, beside what its low one takes by itself.
inline Units unit_sizes(Units u, Units next, const SurrogateCost& less) noexcept {
  const Units surrogate = Units((u & 0xF800) == 0xD800);
  const Units pair = Units((u & 0xFC00) == 0xD800) & Units((next & 0xFC00) == 0xDC00);
  return 1 - Units(u >= 0x80) - Units(u >= 0x800) - (surrogate & less.each) - (pair & less.pair);
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
  const SurrogateCost less = lone == LoneSurrogate::kKeep
                                 ? SurrogateCost{utf::broadcast(0), utf::broadcast(2)}
                                 : SurrogateCost{utf::broadcast(3), utf::broadcast(-4)};
  const auto sizes = [&less](const unsigned short* at) {  // reads the unit behind the eight too
    return unit_sizes(utf::load<Units>(at), utf::load<Units>(at + 1), less);
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
  return size + total(unit_sizes(last, next, less)) - (kLanes - n);  // what is missing came as 0
}

std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept {
  assert(src != nullptr || n == 0);
  return kernels().utf16_size(src, n);
}

std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n, unsigned char* dst,
                          std::size_t room, LoneSurrogate lone) noexcept {
  assert((src != nullptr || n == 0) && (dst != nullptr || room == 0));
  return kernels().utf16_to_utf8(src, n, dst, room, lone);
}

std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n, unsigned short* dst,
                          std::size_t room) noexcept {
  assert((src != nullptr || n == 0) && (dst != nullptr || room == 0));
  return kernels().utf8_to_utf16(src, n, dst, room);
}

std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept {
  assert(src != nullptr || n == 0);
  return kernels().valid_utf8_prefix(src, n);
}

}  // namespace tstl
