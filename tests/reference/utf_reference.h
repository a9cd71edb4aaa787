// UTF-8 and UTF-16 converted plainly, one unit at a time, to judge the fast conversions.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace tstl::reference {

using Units8 = std::vector<unsigned char>;
using Units16 = std::vector<unsigned short>;

// The units that encode one character.
template <class Unit>
struct Sequence {
  void set(auto... values) {
    count = 0;
    ((units[count++] = static_cast<Unit>(values)), ...);
  }
  // Appends the units if `out` then has at most `room` units.
  bool append_to(std::vector<Unit>& out, std::size_t room) const {
    if (out.size() + count > room) return false;
    out.insert(out.end(), units, units + count);
    return true;
  }

  Unit units[4];
  std::size_t count = 0;
};

// The encoded characters up to the first that does not fit into `room` bytes.
inline Units8 ToUtf8(const Units16& text, std::size_t room, bool keep_lone) {
  Units8 out;
  out.reserve(std::min(room, 3 * text.size()));
  for (std::size_t i = 0; i < text.size(); ++i) {
    const unsigned u = text[i];
    const unsigned next = i + 1 < text.size() ? text[i + 1] : 0;
    Sequence<unsigned char> bytes;
    if (u < 0x80) {
      bytes.set(u);
    } else if (u < 0x800) {
      bytes.set(0xC0 + u / 64, 0x80 + u % 64);
    } else if (u >= 0xD800 && u < 0xDC00 && next >= 0xDC00 && next < 0xE000) {
      const unsigned c = 0x10000 + (u - 0xD800) * 1024 + (next - 0xDC00);
      bytes.set(0xF0 + c / 262144, 0x80 + c / 4096 % 64, 0x80 + c / 64 % 64, 0x80 + c % 64);
    } else if (u < 0xD800 || u >= 0xE000 || keep_lone) {
      bytes.set(0xE0 + u / 4096, 0x80 + u / 64 % 64, 0x80 + u % 64);
    }
    if (!bytes.append_to(out, room)) break;
    if (bytes.count == 4) ++i;
  }
  return out;
}

// The reverse. The lead byte alone determines the length of a sequence.
inline Units16 ToUtf16(const Units8& text, std::size_t room) {
  static constexpr unsigned kLengths[16] = {1, 1, 1, 1, 1, 1, 1, 1, 0, 0, 0, 0, 2, 2, 3, 4};
  Units16 out;
  out.reserve(std::min(room, text.size()));
  for (std::size_t i = 0; i < text.size();) {
    const unsigned lead = text[i];
    const unsigned length = lead < 0xF8 ? kLengths[lead / 16] : 0;
    if (i + length > text.size()) break;
    unsigned c = lead % (length < 2 ? 128u : 128u >> length);
    for (std::size_t k = 1; k < length; ++k) c = c * 64 + text[i + k] % 64;
    const unsigned bits = (c + 0x200000 - 0x10000) % 0x100000;
    Sequence<unsigned short> units;
    if (length == 4) {
      units.set(0xD800 + bits / 1024, 0xDC00 + bits % 1024);
    } else if (length != 0) {
      units.set(c);
    }
    if (!units.append_to(out, room)) break;
    i += length == 0 ? 1 : length;
  }
  return out;
}

// Length of the well-formed sequence at `at`, or 0 (Unicode Standard, table 3-7).
inline std::size_t SequenceLength(const Units8& text, std::size_t at) {
  struct Row {
    unsigned lead_to, second_from, second_to, length;
  };
  static constexpr Row kRows[] = {
      {0x7F, 0, 0xFF, 1},    {0xC1, 1, 0, 0},       {0xDF, 0x80, 0xBF, 2}, {0xE0, 0xA0, 0xBF, 3},
      {0xEC, 0x80, 0xBF, 3}, {0xED, 0x80, 0x9F, 3}, {0xEF, 0x80, 0xBF, 3}, {0xF0, 0x90, 0xBF, 4},
      {0xF3, 0x80, 0xBF, 4}, {0xF4, 0x80, 0x8F, 4}, {0xFF, 1, 0, 0}};
  if (at >= text.size()) return 0;
  const auto byte = [&](std::size_t i) { return at + i < text.size() ? text[at + i] : 0u; };
  const Row* row = kRows;
  for (const unsigned lead = text[at]; lead > row->lead_to;) ++row;
  if (byte(1) < row->second_from || byte(1) > row->second_to) return 0;
  for (std::size_t i = 2; i < row->length; ++i) {
    if (byte(i) < 0x80 || byte(i) > 0xBF) return 0;
  }
  return row->length;
}

inline std::size_t ValidPrefix(const Units8& text) {
  std::size_t at = 0;
  while (const std::size_t length = SequenceLength(text, at)) at += length;
  return at;
}

}  // namespace tstl::reference
