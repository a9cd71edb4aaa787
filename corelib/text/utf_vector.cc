// The vector kernels. Both conversions first compute every character in its longest form, without a
// branch. A shuffle from a table, which the lengths of the characters index, then removes the
// unused bytes. So the speed does not depend on how ASCII and Chinese alternate.
#include "corelib/text/detail/utf_vector.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cassert>

#include "corelib/text/detail/utf_kernels.h"

#if defined(__x86_64__) && !defined(ZENTA_PLAIN_VECTORS)
#define ZENTA_UTF_AVX2
#endif

#if defined(ZENTA_TARGET_SHUFFLE)

namespace tstl::detail::utf {
namespace {

using Row = std::array<unsigned char, 16>;
using Table = std::array<Row, 256>;

// Row m is the shuffle that packs those of eight 16-bit lanes whose bit in m is set.
constexpr Table keep_lanes() {
  Table table{};
  for (unsigned mask = 0; mask != 256; ++mask) {
    std::size_t out = 0;
    table[mask].fill(kNoByte);
    for (unsigned at = 0; at != 16; ++at) {
      if (mask >> at / 2 & 1) table[mask][out++] = static_cast<unsigned char>(at);
    }
  }
  return table;
}

// Row m is the shuffle that packs four characters into the bytes that their lengths need. Each
// comes in four bytes: the first of three, an unused one, the last but one and the last. Bit 2i of
// m is set if character i is shorter than two bytes, bit 2i + 1 if it is shorter than three.
constexpr Table keep_bytes() {
  Table table{};
  for (unsigned mask = 0; mask != 256; ++mask) {
    std::size_t out = 0;
    table[mask].fill(kNoByte);
    for (unsigned at = 0; at != 16; at += 4) {
      const unsigned shorter = mask >> at / 2;
      if ((shorter & 2) == 0) table[mask][out++] = static_cast<unsigned char>(at);
      if ((shorter & 1) == 0) table[mask][out++] = static_cast<unsigned char>(at + 2);
      table[mask][out++] = static_cast<unsigned char>(at + 3);
    }
  }
  return table;
}

alignas(64) constexpr Table kKeepLanes = keep_lanes();
alignas(64) constexpr Table kKeepBytes = keep_bytes();

ZENTA_TARGET_SHUFFLE inline Bytes keep(const Table& table, unsigned mask, Bytes v) noexcept {
  return shuffle(v, load<Bytes>(table[mask].data()));
}

ZENTA_TARGET_SHUFFLE inline std::size_t ones(std::uint64_t mask) noexcept {
  return static_cast<std::size_t>(std::popcount(mask));
}

// From UTF-16 -------------------------------------------------------------------------------------

inline Units is_surrogate(Units u) noexcept { return Units((u & 0xF800) == 0xD800); }

// Eight units in UTF-8: the bytes of the first four and of the last four, followed by zeros, and
// how many bytes each has.
struct Encoded {
  Bytes low, high;
  std::size_t low_size, high_size;
};

// REQUIRES: there is no surrogate among them.
ZENTA_TARGET_SHUFFLE inline Encoded encode(Units u) noexcept {
  const Units one = Units(u < 0x80);
  const Units two = Units(u < 0x800);  // two bytes or one
  const Units first = u >> 12 | 0xE0;
  const Units middle = (u >> 6 & 0x3F) | (two & 0x40) | 0x80;
  const Units last = (u & (one | 0x3F)) | (~one & 0x80);
  const Units tail = middle | last << 8;
  const unsigned shorter = movemask(Bytes(one | (two & 0xFF00)));
  const unsigned low = shorter & 0xFF;
  const unsigned high = shorter >> 8;
  return {keep(kKeepBytes, low, Bytes(interleave_low(first, tail))),
          keep(kKeepBytes, high, Bytes(interleave_high(first, tail))), 12 - ones(low),
          12 - ones(high)};
}

// How many units, from the first on, take three bytes each, as in Chinese text. Zeros do not.
inline std::size_t threes_in_front(Units u) noexcept {
  const Units other = Units(u < 0x800) | is_surrogate(u);
  return static_cast<std::size_t>(std::countr_zero(movemask(Bytes(other)) | 0x10000)) / 2;
}

// The bytes of eight units if all of them take three.
struct EncodedInThree {
  Bytes low, high;  // of the first four units, of the last four
};
ZENTA_TARGET_SHUFFLE inline EncodedInThree encode_in_three(Units u) noexcept {
  constexpr unsigned char kNo = kNoByte;
  constexpr Bytes kPack = {0, 2, 3, 4, 6, 7, 8, 10, 11, 12, 14, 15, kNo, kNo, kNo, kNo};
  const Units first = u >> 12 | 0xE0;
  const Units tail = (u >> 6 & 0x3F) | (u << 8 & 0x3F00) | 0x8080;
  return {shuffle(Bytes(interleave_low(first, tail)), kPack),
          shuffle(Bytes(interleave_high(first, tail)), kPack)};
}

// Stores the bytes of eight units and returns their end. Overwrites up to 16 bytes after it.
ZENTA_TARGET_SHUFFLE inline unsigned char* put(unsigned char* dst, const Encoded& e) noexcept {
  store(dst, e.low);
  store(dst + e.low_size, e.high);
  return dst + e.low_size + e.high_size;
}

ZENTA_TARGET_SHUFFLE inline unsigned char* put(unsigned char* dst,
                                               const EncodedInThree& e) noexcept {
  store(dst, e.low);
  store(dst + 12, e.high);
  return dst + 24;
}

// 32 units at a time, as long as they are ASCII and fit.
ZENTA_TARGET_SHUFFLE inline ToUtf8 ascii_to_utf8(ToUtf8 at, ToUtf8 end) noexcept {
  const std::size_t most = std::min(count(at.src, end.src), count(at.dst, end.dst));
  std::size_t i = 0;
  for (; most - i >= 32; i += 32) {
    const Units a = load<Units>(at.src + i), b = load<Units>(at.src + i + 8);
    const Units c = load<Units>(at.src + i + 16), d = load<Units>(at.src + i + 24);
    if (!all((a | b | c | d) < 0x80)) break;
    store(at.dst + i, low_bytes(a, b));
    store(at.dst + i + 16, low_bytes(c, d));
  }
  return {at.src + i, at.dst + i};
}

// 16 units at a time, as long as source and capacity have enough for them without further checks.
ZENTA_TARGET_SHUFFLE inline ToUtf8 to_utf8_freely(ToUtf8 at, ToUtf8 end) noexcept {
  while (count(at.src, end.src) >= 16 && count(at.dst, end.dst) >= 16) {
    const Units a = load<Units>(at.src);
    const Units b = load<Units>(at.src + 8);
    if (all((a | b) < 0x80)) {
      store(at.dst, low_bytes(a, b));
      at = {at.src + 16, at.dst + 16};
      if (count(at.src, end.src) >= 32) at = ascii_to_utf8(at, end);
      continue;
    }
    if (count(at.dst, end.dst) < 64 || any(is_surrogate(a) | is_surrogate(b))) break;
    if (any(Units(a < 0x800) | Units(b < 0x800))) {
      at.dst = put(put(at.dst, encode(a)), encode(b));
    } else {  // all take three bytes, as in Chinese text
      at.dst = put(put(at.dst, encode_in_three(a)), encode_in_three(b));
    }
    at.src += 16;
  }
  return at;
}

// A capacity, in bytes, that is enough for put() whatever the eight units are.
constexpr std::size_t kAmple = 32;

// Converts the first `taken` of eight units; the others are 0. False, and nothing is changed, if
// there is a surrogate or the bytes do not fit.
ZENTA_TARGET_SHUFFLE inline bool put_tight(ToUtf8& at, ToUtf8 end, Units u,
                                           std::size_t taken) noexcept {
  if (any(is_surrogate(u))) return false;
  const Encoded e = encode(u);
  const std::size_t size = e.low_size + e.high_size - (8 - taken);
  const std::size_t capacity = count(at.dst, end.dst);
  if (capacity >= kAmple) {
    put(at.dst, e);
  } else {
    if (size > capacity) return false;
    store_joined(at.dst, capacity, e.low, e.low_size, e.high, size - e.low_size);
  }
  at.src += taken;
  at.dst += size;
  return true;
}

// Converts a short text; most texts are. REQUIRES: it has 1 to 8 units, and the capacity is at
// least kAmple.
ZENTA_TARGET_SHUFFLE inline ToUtf8 short_to_utf8(ToUtf8 at, ToUtf8 end) noexcept {
  const std::size_t n = count(at.src, end.src);
  const Units u = n == 8 ? load<Units>(at.src) : load_first<Units>(at.src, 2 * n);
  if (threes_in_front(u) != n) {
    put_tight(at, end, u, n);
    return at;
  }
  put(at.dst, encode_in_three(u));
  return {end.src, at.dst + 3 * n};
}

ZENTA_TARGET_SHUFFLE inline ToUtf8 blocks(ToUtf8 at, ToUtf8 end) noexcept {
  if (count(at.src, end.src) - 1 < 8 && count(at.dst, end.dst) >= kAmple) {
    return short_to_utf8(at, end);
  }
  constexpr std::size_t kFew = 4;  // not worth the effort
  at = to_utf8_freely(at, end);
  while (count(at.src, end.src) >= 8) {
    if (!put_tight(at, end, load<Units>(at.src), 8)) return at;
  }
  const std::size_t left = count(at.src, end.src);
  if (left >= kFew) put_tight(at, end, load_first<Units>(at.src, 2 * left), left);
  return at;
}

// From UTF-8 --------------------------------------------------------------------------------------

// Sixteen bytes of a text of whole sequences.
struct Window {
  Bytes b;             // the bytes; zeros past the end of the text
  Bytes b1, b2;        // for each byte the one before it, and the one two before it
  unsigned units;      // bit i: byte i gives a unit; it ends its sequence or is the third of four
  std::size_t length;  // bytes of the text in `b`
};

// Which bytes of a window belong to a sequence of four.
struct Fours {
  Bytes third, fourth;
};

inline Bytes is_continuation(Bytes b) noexcept { return Bytes(SignedBytes(b) < -64); }

// What the last sequence of a window leaves to the next window: nothing, its last bytes, or the
// last bytes of a sequence of four.
enum Open : unsigned { kWhole = 0, kOpen = 1, kOpenFour = kOpen | 0x10000 };

// Bit i tells whether byte i must be a continuation byte; if not, it must not be one. For kOpenFour
// a bit past the window is set, so that no window of shorter sequences matches.
inline unsigned expected_continuations(unsigned ends, unsigned open) noexcept {
  return (~ends << 1 & 0xFFFF) | open;
}

// The continuation bytes of a window of five three-byte sequences and the first byte of another.
constexpr unsigned kThreeByteRun = 0b0110110110110110;

// Passes the text to `sink` window by window until the sink returns false or the next window is not
// well-formed. Where a run of ASCII or of three-byte sequences may begin, the sink may first take
// the whole run; it returns the end of what it took. walk() returns the start of the first sequence
// that was not taken to its end. Without `fours` it stops before sequences of four bytes and needs
// fewer registers.
template <bool fours = true, class Sink>
ZENTA_TARGET_SHUFFLE inline const unsigned char* walk(const unsigned char* src,
                                                      const unsigned char* src_end,
                                                      Sink& sink) noexcept {
  constexpr std::size_t kFew = 6;  // not worth the effort
  Window w{};
  unsigned open = kWhole;
  while (count(src, src_end) >= kFew || (open != kWhole && src != src_end)) {
    const Bytes before = w.b;
    w.length = std::min<std::size_t>(count(src, src_end), 16);
    w.b = w.length == 16 ? load<Bytes>(src) : load_first<Bytes>(src, w.length);
    w.b1 = earlier<1>(before, w.b);
    w.b2 = earlier<2>(before, w.b);
    const unsigned inside = 0xFFFFu >> (16 - w.length);
    unsigned ends = movemask(Bytes((w.b < 0xC0) & (w.b1 < 0xE0)));
    const unsigned continuations = movemask(is_continuation(w.b));
    if (continuations != expected_continuations(ends, open) || !all(w.b < 0xF0)) [[unlikely]] {
      if constexpr (!fours) break;
      const Fours of_four = {Bytes(w.b2 >= 0xF0), Bytes(earlier<3>(before, w.b) >= 0xF0)};
      const unsigned thirds = movemask(of_four.third);
      ends &= ~thirds;
      if (continuations != expected_continuations(ends, open & kOpen) || any(w.b >= 0xF8)) break;
      w.units = (ends | thirds) & inside;
      if (!sink.take_fours(w, of_four)) break;
      src += w.length;
      open = (ends >> 15 & 1) != 0 ? kWhole : kOpenFour;
      continue;
    }
    const unsigned char* after = src;
    if (continuations == kThreeByteRun) {
      after = sink.take_three_bytes(src, src_end);
    } else if (continuations == 0) {
      after = sink.take_ascii(src, src_end);
    }
    if (after != src) {
      src = after;
      w.b = Bytes{};
      continue;
    }
    w.units = ends & inside;
    if (!sink.take(w)) break;
    src += w.length;
    open = ~ends >> 15 & 1;
  }
  if (open == kWhole) return src;
  const unsigned char* first = src;
  do --first;
  while ((*first & 0xC0) == 0x80);
  if (count(first, src) == 3) sink.untake_unit();  // the third byte of four
  return first;
}

// A sink's default for runs: skips ASCII, leaves the rest to take().
struct DefaultSink {
  ZENTA_TARGET_SHUFFLE const unsigned char* take_ascii(
      const unsigned char* src, const unsigned char* src_end) const noexcept {
    while (count(src, src_end) >= 16 && movemask(load<Bytes>(src)) == 0) src += 16;
    return src;
  }
  const unsigned char* take_three_bytes(const unsigned char* src,
                                        const unsigned char* /*src_end*/) const noexcept {
    return src;
  }
  void untake_unit() const noexcept {}
};

// Up to eight sequences of three bytes: how many there are from the first on, and their units.
struct ThreeByteRun {
  // Four lie in the first 12 bytes of `a`, four in the last 12 of `b`, which is loaded eight bytes
  // after `a`. Both have zeros past the end of the text.
  ZENTA_TARGET_SHUFFLE ThreeByteRun(Bytes a, Bytes b) noexcept {
    constexpr unsigned char kNo = kNoByte;
    // clang-format off
    constexpr Bytes kTailA = {2, 1, 5, 4, 8, 7, 11, 10, kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo};
    constexpr Bytes kTailB = {kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo, 6, 5, 9, 8, 12, 11, 15, 14};
    constexpr Bytes kLeadA = {0, kNo, 3, kNo, 6, kNo, 9, kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo};
    constexpr Bytes kLeadB = {kNo, kNo, kNo, kNo, kNo, kNo, kNo, kNo, 4, kNo, 7, kNo, 10, kNo, 13, kNo};
    // The bits that identify a lead byte of three, at every third position, and a continuation
    // byte. In such a byte all of them but the lowest are set.
    constexpr Bytes kKindA = {0xF0, 0xC0, 0xC0, 0xF0, 0xC0, 0xC0, 0xF0, 0xC0,
                              0xC0, 0xF0, 0xC0, 0xC0, 0xF0, 0xC0, 0xC0, 0xF0};
    constexpr Bytes kKindB = {0xC0, 0xF0, 0xC0, 0xC0, 0xF0, 0xC0, 0xC0, 0xF0,
                              0xC0, 0xC0, 0xF0, 0xC0, 0xC0, 0xF0, 0xC0, 0xC0};
    // clang-format on
    const unsigned good_a = movemask(Bytes((a & kKindA) == (kKindA << 1)));
    const unsigned good_b = movemask(Bytes((b & kKindB) == (kKindB << 1)));
    const unsigned good = (good_a & 0xFFF) | good_b >> 4 << 12;
    const Units tail = Units(shuffle(a, kTailA) | shuffle(b, kTailB));
    const Units lead = Units(shuffle(a, kLeadA) | shuffle(b, kLeadB));
    units = lead << 12 | (tail >> 2 & 0x0FC0) | (tail & 0x3F);
    sequences = static_cast<std::size_t>(std::countr_one(good)) / 3;
  }

  Units units;  // unspecified past the sequences
  std::size_t sequences;
};

class Utf16Writer {
 public:
  Utf16Writer(unsigned short* dst, unsigned short* dst_end) noexcept
      : dst_(dst), dst_end_(dst_end) {}

  [[nodiscard]] unsigned short* dst() const noexcept { return dst_; }

  ZENTA_TARGET_SHUFFLE bool take(const Window& w) noexcept { return put(w.units, units_of(w)); }

  ZENTA_TARGET_SHUFFLE bool take_fours(const Window& w, const Fours& fours) noexcept {
    // The last byte gives the low surrogate, computed as for a shorter sequence except for its
    // highest six bits. The third one gives the high surrogate: the ten bits above those of the low
    // one, minus 0x40.
    const Bytes bits = (Bytes(Units(w.b1) << 2) & 0xFC) | (Bytes(Units(w.b) >> 4) & 0x03);
    const Bytes borrow = Bytes(bits < 0x40);
    const Bytes high_surrogate = ((w.b2 + borrow) & 0x03) | 0xD8;
    const Bytes low_surrogate = (Bytes(Units(w.b1) >> 2) & 0x03) | 0xDC;
    UnitBytes units = units_of(w);
    units.low = (units.low & ~fours.third) | ((bits - 0x40) & fours.third);
    units.high = (units.high & ~(fours.third | fours.fourth)) | (high_surrogate & fours.third) |
                 (low_surrogate & fours.fourth);
    return put(w.units, units);
  }

  ZENTA_TARGET_SHUFFLE const unsigned char* take_ascii(const unsigned char* src,
                                                       const unsigned char* src_end) noexcept {
    for (; count(src, src_end) >= 16 && count(dst_, dst_end_) >= 16; src += 16, dst_ += 16) {
      const Bytes b = load<Bytes>(src);
      if (movemask(b) != 0) break;
      store(dst_, interleave_low(b, Bytes{}));
      store(dst_ + 8, interleave_high(b, Bytes{}));
    }
    return src;
  }

  ZENTA_TARGET_SHUFFLE const unsigned char* take_three_bytes(
      const unsigned char* src, const unsigned char* src_end) noexcept {
    for (; count(src, src_end) >= 24 && count(dst_, dst_end_) >= 8; src += 24, dst_ += 8) {
      const ThreeByteRun run(load<Bytes>(src), load<Bytes>(src + 8));
      if (run.sequences != 8) break;
      store(dst_, run.units);
    }
    return src;
  }

  void untake_unit() noexcept { --dst_; }

 private:
  // The low and the high byte of the unit that each byte gives.
  struct UnitBytes {
    Bytes low, high;
  };

  // For sequences of one to three bytes.
  ZENTA_TARGET_SHUFFLE static UnitBytes units_of(const Window& w) noexcept {
    // The last byte of a sequence gives six bits of the unit, or all of it if it is the only one.
    // The byte before it gives up to six more bits, the first of three bytes the highest four.
    const Bytes last = is_continuation(w.b);
    const Bytes middle = is_continuation(w.b1);
    return {
        w.b ^ (last & ((Bytes(Units(w.b1) << 6) & 0xC0) ^ 0x80)),
        last & ((Bytes(Units(w.b1) >> 2) & 0x0F) | (Bytes(Units(w.b2) << 4) & (middle & 0xF0)))};
  }

  // Writes the units of those bytes whose bit is set. False if they do not fit.
  ZENTA_TARGET_SHUFFLE bool put(unsigned bytes, const UnitBytes& units) noexcept {
    const Bytes a = keep(kKeepLanes, bytes & 0xFF, interleave_low(units.low, units.high));
    const Bytes b = keep(kKeepLanes, bytes >> 8, interleave_high(units.low, units.high));
    const std::size_t a_count = ones(bytes & 0xFF);
    const std::size_t b_count = ones(bytes >> 8);
    const std::size_t capacity = count(dst_, dst_end_);
    if (capacity >= 16) {
      store(dst_, a);
      store(dst_ + a_count, b);
    } else {
      if (a_count + b_count > capacity) return false;
      store_joined(dst_, 2 * capacity, a, 2 * a_count, b, 2 * b_count);
    }
    dst_ += a_count + b_count;
    return true;
  }

  unsigned short* dst_;
  unsigned short* dst_end_;
};

// Whether a text is short, as most are (3 to 24 bytes), and may begin with a three-byte sequence.
inline bool is_short(const unsigned char* src, const unsigned char* src_end) noexcept {
  return count(src, src_end) - 3 <= 24 - 3 && *src >= 0xE0;
}

// REQUIRES: is_short(src, src_end).
ZENTA_TARGET_SHUFFLE inline ThreeByteRun load_short(const unsigned char* src,
                                                    const unsigned char* src_end) noexcept {
  const std::size_t n = count(src, src_end);
  const Bytes a = n >= 16 ? load<Bytes>(src) : load_first<Bytes>(src, n);
  if (n <= 12) return {a, Bytes{}};
  return {a, n == 24 ? load<Bytes>(src + 8) : load_first<Bytes>(src + 8, n - 8)};
}

ZENTA_TARGET_SHUFFLE inline ToUtf16 blocks(ToUtf16 at, ToUtf16 end) noexcept {
  if (is_short(at.src, end.src) && count(at.dst, end.dst) >= 8) {
    const ThreeByteRun run = load_short(at.src, end.src);
    store(at.dst, run.units);
    at = {at.src + 3 * run.sequences, at.dst + run.sequences};
  }
  Utf16Writer writer(at.dst, end.dst);
  const unsigned char* const after = walk(at.src, end.src, writer);
  return {after, writer.dst()};
}

struct Utf16Counter : DefaultSink {
  ZENTA_TARGET_SHUFFLE const unsigned char* take_ascii(const unsigned char* src,
                                                       const unsigned char* src_end) noexcept {
    const unsigned char* const after = DefaultSink::take_ascii(src, src_end);
    units += count(src, after);
    return after;
  }
  ZENTA_TARGET_SHUFFLE bool take(const Window& w) noexcept {
    units += ones(w.units);
    return true;
  }
  ZENTA_TARGET_SHUFFLE bool take_fours(const Window& w, const Fours& /*fours*/) noexcept {
    return take(w);
  }
  void untake_unit() noexcept { --units; }

  std::size_t units = 0;
};

// 64 bytes at a time, as long as they are well-formed. Masks of the bytes that begin a sequence of
// at least two, at least three, and four bytes tell where continuation bytes must be.
ZENTA_TARGET_SHUFFLE inline ToUtf16Size count_freely(ToUtf16Size at, ToUtf16Size end) noexcept {
  const auto bits_of = [](const Bytes(&b)[4], auto is) {
    return movemask(Bytes(is(b[0])), Bytes(is(b[1])), Bytes(is(b[2])), Bytes(is(b[3])));
  };
  std::uint64_t open = 0;  // continuation bytes that the next block begins with
  std::size_t open_units = 0;
  for (; count(at.src, end.src) >= 64; at.src += 64) {
    const Bytes b[4] = {load<Bytes>(at.src), load<Bytes>(at.src + 16), load<Bytes>(at.src + 32),
                        load<Bytes>(at.src + 48)};
    if (open == 0 && movemask(b[0] | b[1] | b[2] | b[3]) == 0) {
      at.units += 64;
      continue;
    }
    const std::uint64_t two = bits_of(b, [](Bytes v) { return v >= 0xC0; });
    const std::uint64_t three = bits_of(b, [](Bytes v) { return v >= 0xE0; });
    const std::uint64_t four = bits_of(b, [](Bytes v) { return v >= 0xF0; });
    const std::uint64_t continuations = bits_of(b, is_continuation);
    if (continuations != (two << 1 | three << 2 | four << 3 | open) ||
        any((b[0] >= 0xF8) | (b[1] >= 0xF8) | (b[2] >= 0xF8) | (b[3] >= 0xF8))) {
      break;
    }
    at.units += 64 + ones(four) - ones(continuations);
    open = two >> 63 | three >> 62 | four >> 61;
    open_units = four >> 61 != 0 ? 2 : 1;
  }
  if (open == 0) return at;
  do --at.src;  // the last sequence continues after the last block
  while ((*at.src & 0xC0) == 0x80);
  return {at.src, at.units - open_units};
}

ZENTA_TARGET_SHUFFLE inline ToUtf16Size blocks(ToUtf16Size at, ToUtf16Size end) noexcept {
  at = count_freely(at, end);
  Utf16Counter counter;
  const unsigned char* const after = walk(at.src, end.src, counter);
  return {after, at.units + counter.units};
}

// Accepts strict UTF-8 only: no overlong sequence, no surrogate, nothing above U+10FFFF.
struct Utf8Validator : DefaultSink {
  ZENTA_TARGET_SHUFFLE bool take(const Window& w) const noexcept { return !any(bad(w)); }
  ZENTA_TARGET_SHUFFLE bool take_fours(const Window& w, const Fours& /*fours*/) const noexcept {
    return !any(bad(w) | ((w.b1 == 0xF0) & (w.b < 0x90)) | ((w.b1 == 0xF4) & (w.b >= 0x90)) |
                (w.b >= 0xF5));
  }

 private:
  // Bytes of sequences of up to three that are not allowed after the byte before them.
  ZENTA_TARGET_SHUFFLE static Bytes bad(const Window& w) noexcept {
    return Bytes(((w.b & 0xFE) == 0xC0) | ((w.b1 == 0xE0) & (w.b < 0xA0)) |
                 ((w.b1 == 0xED) & (w.b >= 0xA0)));
  }
};

ZENTA_TARGET_SHUFFLE inline ToValid blocks(ToValid at, ToValid end) noexcept {
  if (is_short(at.src, end.src)) {
    const ThreeByteRun run = load_short(at.src, end.src);
    at.src += 3 * std::min(run.sequences, threes_in_front(run.units));
  }
  Utf8Validator validate;
  at.src = walk<false>(at.src, end.src, validate);
  return {walk(at.src, end.src, validate)};
}

// A beginning in ASCII ----------------------------------------------------------------------------

#if defined(ZENTA_UTF_AVX2)
ZENTA_TARGET_AVX2 inline __m256i load_avx2(const void* src) noexcept {
  return _mm256_loadu_si256(static_cast<const __m256i_u*>(src));
}
ZENTA_TARGET_AVX2 inline void store_avx2(void* dst, __m256i v) noexcept {
  _mm256_storeu_si256(static_cast<__m256i_u*>(dst), v);
}

// Convert the first units of a text, as long as they are ASCII, and return how many.
ZENTA_TARGET_AVX2 std::size_t ascii_avx2(const unsigned short* src, unsigned char* dst,
                                         std::size_t n) noexcept {
  const __m256i not_ascii = _mm256_set1_epi16(~0x7F);
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i a = load_avx2(src + i);
    const __m256i b = load_avx2(src + i + 16);
    if (_mm256_testz_si256(_mm256_or_si256(a, b), not_ascii) == 0) break;
    // Packs each half of 16 bytes by itself, so the middle quarters trade places.
    store_avx2(dst + i, _mm256_permute4x64_epi64(_mm256_packus_epi16(a, b), 0b11'01'10'00));
  }
  return i;
}
ZENTA_TARGET_AVX2 std::size_t ascii_avx2(const unsigned char* src, unsigned short* dst,
                                         std::size_t n) noexcept {
  std::size_t i = 0;
  for (; n - i >= 32; i += 32) {
    const __m256i b = load_avx2(src + i);
    if (_mm256_movemask_epi8(b) != 0) break;
    store_avx2(dst + i, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(b)));
    store_avx2(dst + i + 16, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(b, 1)));
  }
  return i;
}
#endif

// Converts a part of the ASCII that a text begins with, and returns its length. Long texts in ASCII
// are so frequent that they have a loop of their own, in the widest vectors.
template <class From, class To>
inline std::size_t convert_ascii([[maybe_unused]] const From* src, [[maybe_unused]] std::size_t n,
                                 [[maybe_unused]] To* dst,
                                 [[maybe_unused]] std::size_t capacity) noexcept {
#if defined(ZENTA_UTF_AVX2)
  constexpr std::size_t kLong = 64;
  if (n >= kLong && (src[0] | src[kLong - 1]) < 0x80 &&
      base::cpu_level() >= base::CpuLevel::kAvx2) {
    return ascii_avx2(src, dst, std::min(n, capacity));
  }
#endif
  return 0;
}

ZENTA_TARGET_SHUFFLE std::size_t utf16_to_utf8(const unsigned short* src, std::size_t n,
                                               unsigned char* dst, std::size_t capacity,
                                               LoneSurrogate lone) noexcept {
  const std::size_t ascii = convert_ascii(src, n, dst, capacity);
  return ascii + convert(blocks, src + ascii, n - ascii, dst + ascii, capacity - ascii, lone);
}
ZENTA_TARGET_SHUFFLE std::size_t utf8_to_utf16(const unsigned char* src, std::size_t n,
                                               unsigned short* dst, std::size_t capacity) noexcept {
  const std::size_t ascii = convert_ascii(src, n, dst, capacity);
  return ascii + convert(blocks, src + ascii, n - ascii, dst + ascii, capacity - ascii);
}
ZENTA_TARGET_SHUFFLE std::size_t utf16_size(const unsigned char* src, std::size_t n) noexcept {
  return measure(blocks, src, n);
}
ZENTA_TARGET_SHUFFLE std::size_t valid_utf8_prefix(const unsigned char* src,
                                                   std::size_t n) noexcept {
  return validate(blocks, src, n);
}

}  // namespace

constinit const Kernels kVectorKernels = {utf16_to_utf8, utf8_to_utf16, utf16_size,
                                          valid_utf8_prefix};

}  // namespace tstl::detail::utf

#else

namespace tstl::detail::utf {
const Kernels kVectorKernels = {};  // never chosen
}  // namespace tstl::detail::utf

#endif
