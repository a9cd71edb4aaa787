#include "corelib/text/utf.h"

#include <algorithm>
#include <cstdint>

#include "corelib/text/detail/utf_kernels.h"
#include "corelib/text/detail/utf_vector.h"
#include "corelib/text/types.h"

namespace tstl {
namespace detail {
namespace {

// One character at a time -------------------------------------------------------------------------

// A conversion under way: `[src, src_end)` is left to read, `[dst, dst_end)` to write.
template <Unit From, Unit To>
struct Run {
  const From* src;
  const From* src_end;
  To* dst;
  To* dst_end;

  [[nodiscard]] std::size_t left() const noexcept { return count(src, src_end); }
  [[nodiscard]] std::size_t room() const noexcept { return count(dst, dst_end); }
};

// Converts one character. False, with nothing done, when there is no room for it.
bool convert_one(Run<unsigned short, unsigned char>& run, LoneSurrogate lone) noexcept {
  char32_t c = *run.src;
  std::size_t taken = 1;
  if (is_high_surrogate(c) && run.left() > 1 && is_low_surrogate(run.src[1])) {
    c = join_surrogates(c, run.src[1]);
    taken = 2;
  }
  const std::size_t length = utf8_length(c, lone);
  if (length > run.room()) return false;
  encode_utf8(c, run.dst, lone);
  run.src += taken;
  run.dst += length;
  return true;
}

// Units that a sequence of `length` bytes, 0 for a byte that begins none, gives in UTF-16.
constexpr std::size_t units_of(std::size_t length) noexcept {
  return length == 4 ? 2 : length != 0;
}

// Converts one sequence. False, with nothing done, when the end cuts it short or there is no room.
bool convert_one(Run<unsigned char, unsigned short>& run) noexcept {
  const std::size_t length = utf8_lead_length(*run.src);
  if (length > run.left() || units_of(length) > run.room()) return false;
  if (length == 4) {
    const char32_t c = decode_utf8(run.src, length) - 0x10000;
    *run.dst++ = static_cast<unsigned short>(0xD800 | (c >> 10 & 0x3FF));
    *run.dst++ = static_cast<unsigned short>(0xDC00 | (c & 0x3FF));
  } else if (length != 0) {
    *run.dst++ = static_cast<unsigned short>(decode_utf8(run.src, length));
  }
  run.src += std::max<std::size_t>(length, 1);
  return true;
}

// Takes characters with `one` until it declines or the next block is behind.
template <class From, class One>
void over_block(const From*& src, const From* src_end, One one) noexcept {
  const From* const stop = src + std::min(kUtfBlock, count<From>(src, src_end));
  while (src < stop && one()) {
  }
}

// Plain kernels -----------------------------------------------------------------------------------

template <Unit T>
bool is_ascii_block(const T* src) noexcept {
  constexpr std::uint64_t kBeyond = sizeof(T) == 1 ? 0x8080808080808080 : 0xFF80FF80FF80FF80;
  std::uint64_t all = 0;
  for (std::size_t i = 0; i != kUtfBlock; i += 8 / sizeof(T)) all |= load<std::uint64_t>(src + i);
  return (all & kBeyond) == 0;
}

template <Unit T>
const T* skip_ascii(const T* src, const T* src_end) noexcept {
  while (count(src, src_end) >= kUtfBlock && is_ascii_block(src)) src += kUtfBlock;
  return src;
}

template <Unit From, Unit To>
UtfPlace<From, To> convert_ascii(const From* src, const From* src_end, To* dst,
                                 To* dst_end) noexcept {
  while (count(src, src_end) >= kUtfBlock && count(dst, dst_end) >= kUtfBlock &&
         is_ascii_block(src)) {
    for (std::size_t i = 0; i != kUtfBlock; ++i) dst[i] = static_cast<To>(src[i]);
    src += kUtfBlock;
    dst += kUtfBlock;
  }
  return {src, dst};
}

Utf16SizePlace size_ascii(const unsigned char* src, const unsigned char* src_end) noexcept {
  const unsigned char* const behind = skip_ascii(src, src_end);
  return {behind, count(src, behind)};
}

}  // namespace

ToUtf8Place convert_block(const unsigned short* src, const unsigned short* src_end,
                          unsigned char* dst, unsigned char* dst_end, LoneSurrogate lone) noexcept {
  Run<unsigned short, unsigned char> run{src, src_end, dst, dst_end};
  over_block(run.src, src_end, [&] { return convert_one(run, lone); });
  return {run.src, run.dst};
}

ToUtf16Place convert_block(const unsigned char* src, const unsigned char* src_end,
                           unsigned short* dst, unsigned short* dst_end) noexcept {
  Run<unsigned char, unsigned short> run{src, src_end, dst, dst_end};
  over_block(run.src, src_end, [&] { return convert_one(run); });
  return {run.src, run.dst};
}

Utf16SizePlace size_block(const unsigned char* src, const unsigned char* src_end) noexcept {
  std::size_t units = 0;
  over_block(src, src_end, [&] {
    const std::size_t length = utf8_lead_length(*src);
    if (length > count(src, src_end)) return false;
    units += units_of(length);
    src += std::max<std::size_t>(length, 1);
    return true;
  });
  return {src, units};
}

const unsigned char* valid_block(const unsigned char* src, const unsigned char* src_end) noexcept {
  over_block(src, src_end, [&] {
    const std::size_t length = utf8_sequence_length(src, count(src, src_end));
    src += length;
    return length != 0;
  });
  return src;
}

constinit const UtfKernels kPlainUtfKernels = {
    [](const unsigned short* src, std::size_t n, unsigned char* dst, std::size_t room,
       LoneSurrogate lone) noexcept {
      return convert_with(convert_ascii<unsigned short, unsigned char>, src, n, dst, room, lone);
    },
    [](const unsigned char* src, std::size_t n, unsigned short* dst, std::size_t room) noexcept {
      return convert_with(convert_ascii<unsigned char, unsigned short>, src, n, dst, room);
    },
    [](const unsigned char* src, std::size_t n) noexcept { return size_with(size_ascii, src, n); },
    [](const unsigned char* src, std::size_t n) noexcept {
      return valid_with(skip_ascii<unsigned char>, src, n);
    },
};

}  // namespace detail

namespace {

using detail::Units;

const detail::UtfKernels& kernels() noexcept {
  return detail::has_vector_utf_kernels() ? detail::kVectorUtfKernels : detail::kPlainUtfKernels;
}

// What surrogates make of the three bytes that any unit of their size takes: so much less each, and
// so much less again for the high one of a pair.
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

// The sum of all lanes, below 65,536.
inline std::size_t total(Units sizes) noexcept {
  const auto words = detail::Words(sizes);
  return (words[0] + words[1]) * 0x0001000100010001 >> 48;
}

}  // namespace

std::size_t utf8_size(const unsigned short* src, std::size_t n, LoneSurrogate lone) noexcept {
  constexpr std::size_t kLanes = 8;
  const SurrogateCost less = lone == LoneSurrogate::kKeep
                                 ? SurrogateCost{detail::broadcast(0), detail::broadcast(2)}
                                 : SurrogateCost{detail::broadcast(3), detail::broadcast(-4)};
  const auto sizes = [&less](const unsigned short* at) {  // reads the unit behind the eight too
    return unit_sizes(detail::load<Units>(at), detail::load<Units>(at + 1), less);
  };
  std::size_t size = 0;
  for (; n > 4 * kLanes; src += 4 * kLanes, n -= 4 * kLanes) {
    if (detail::is_ascii_block(src) && detail::is_ascii_block(src + 2 * kLanes)) {
      size += 4 * kLanes;
    } else {
      size += total(sizes(src) + sizes(src + kLanes) + sizes(src + 2 * kLanes) +
                    sizes(src + 3 * kLanes));
    }
  }
  for (; n > kLanes; src += kLanes, n -= kLanes) size += total(sizes(src));
  if (n == 0) return size;
  const Units last = n == kLanes ? detail::load<Units>(src) : detail::load_first<Units>(src, 2 * n);
  const Units next = __builtin_shufflevector(last, Units{}, 1, 2, 3, 4, 5, 6, 7, 8);
  return size + total(unit_sizes(last, next, less)) - (kLanes - n);  // what is missing came as 0
}

std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept {
  return kernels().utf16_size(src, n);
}

std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n, unsigned char* dst,
                          std::size_t room, LoneSurrogate lone) noexcept {
  return kernels().utf16_to_utf8(src, n, dst, room, lone);
}

std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n, unsigned short* dst,
                          std::size_t room) noexcept {
  return kernels().utf8_to_utf16(src, n, dst, room);
}

std::size_t valid_utf8_prefix(const unsigned char* src, std::size_t n) noexcept {
  return kernels().valid_utf8_prefix(src, n);
}

}  // namespace tstl
