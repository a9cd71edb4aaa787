// Records filled at random and compared member by member. Only the list of members comes from the
// tables; values are made and compared by their types.
#pragma once

#include <array>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

#include "corelib/containers/chunk.h"
#include "corelib/text/utf.h"
#include "engine/records/record.h"
#include "tests/reference/short_arena.h"

namespace zenta::reference {

using records::kFields;
using records::List;
using records::Record;

// The first member in which two values differ, as a path of keys; empty when there is none. Texts
// of the first value must end with a zero, as those do that were read.
template <class T>
requires records::Number<T> std::string Difference(T a, T b) {
  return std::memcmp(&a, &b, sizeof a) == 0 ? "" : ": numbers";
}
template <tstl::Unit T>
std::string Difference(tstl::BufferRef<T> a, tstl::BufferRef<T> b) {
  if (!a.is_empty() && a.cstr()[a.len()] != 0) return ": no end";
  return std::vector<T>(a.begin(), a.end()) == std::vector<T>(b.begin(), b.end()) ? "" : ": texts";
}
template <class T, std::size_t kCount>
std::string Difference(const std::array<T, kCount>& a, const std::array<T, kCount>& b) {
  return a == b ? "" : ": numbers";
}
template <class T>
std::string Difference(const List<T>& a, const List<T>& b);
template <Record R>
std::string Difference(const R& a, const R& b) {
  std::string found;
  kFields<R>.each([&](auto field) {
    const std::string inside = Difference(field.of(a), field.of(b));
    if (found.empty() && !inside.empty()) found = "." + std::string(field.kKey) + inside;
  });
  return found;
}
template <class T>
std::string Difference(const List<T>& a, const List<T>& b) {
  if (a.size() != b.size()) return ": counts";
  for (std::uint32_t i = 0; i < a.size(); ++i) {
    const std::string inside = Difference(a[i], b[i]);
    if (!inside.empty()) return "[" + std::to_string(i) + "]" + inside;
  }
  return {};
}

// Fills records with difficult values: limits of integers, empty texts and lists, all bytes, and
// all 16-bit units. `well_formed`: texts are valid UTF-8 and UTF-16 instead. Members that are never
// written keep their values.
class RecordFiller {
 public:
  RecordFiller(unsigned seed, bool well_formed) : random_(seed), well_formed_(well_formed) {}

  template <Record R>
  R Make() {
    R record;
    Fill(record);
    return record;
  }

 private:
  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }

  template <std::floating_point T>
  void Fill(T& value) {
    const T values[] = {0,
                        -T{0},
                        T{1} / 3,
                        std::numeric_limits<T>::max(),
                        std::numeric_limits<T>::lowest(),
                        std::numeric_limits<T>::denorm_min()};
    value = values[Below(6)];
  }
  template <records::Enumeration T>
  void Fill(T& value) {
    std::underlying_type_t<T> number{};
    Fill(number);
    value = static_cast<T>(number);
  }
  template <std::integral T>
  void Fill(T& value) {
    using Limits = std::numeric_limits<T>;
    const T values[] = {0, 1, Limits::max(), Limits::min(), static_cast<T>(random_())};
    value = values[Below(5)];
    if (Below(3) == 0) value = static_cast<T>(value >> Below(8 * sizeof(T)));
  }
  template <tstl::Unit T>
  T AnyUnit() {
    const auto unit = static_cast<T>(Below(2) == 0 ? Below(0x80) : Below(0x10000));
    if (!well_formed_) return unit;
    return sizeof(T) == 1 || tstl::is_surrogate(unit) ? unit & 0x7F : unit;
  }
  template <tstl::Unit T>
  void Fill(tstl::BufferRef<T>& text) {
    T units[40];
    for (std::uint32_t i = 0; i < 40; i += 2) {
      const bool pair = sizeof(T) == 2 && Below(8) == 0;
      units[i] = pair ? static_cast<T>(0xD800 + Below(0x400)) : AnyUnit<T>();
      units[i + 1] = pair ? static_cast<T>(0xDC00 + Below(0x400)) : AnyUnit<T>();
    }
    const std::uint32_t n = Below(3) == 0 ? 0 : Below(40);
    text = arena_.copy(tstl::BufferRef<T>(units, well_formed_ ? n / 2 * 2 : n));
  }
  template <class T>
  void Fill(List<T>& list) {
    for (std::uint32_t n = Below(3) == 0 ? 0 : Below(9); n != 0; --n) Fill(*list.append(arena_));
  }
  template <class T, std::size_t kCount>
  void Fill(std::array<T, kCount>& numbers) {
    for (T& number : numbers) Fill(number);
  }
  template <Record R>
  void Fill(R& record) {
    kFields<R>.each([&](auto field) {
      if (field.kNumber == 0 || !field.kNeverInBinary) Fill(field.of(record));
    });
  }

  std::mt19937_64 random_;
  bool well_formed_;
  tstl::Chunk arena_;
};

}  // namespace zenta::reference
