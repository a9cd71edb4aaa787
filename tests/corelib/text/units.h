// Shared by the typed suites of the text tests: the two unit widths, and texts of either width from
// one literal.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <concepts>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "corelib/text/buffer_ref.h"

namespace tstl {

using Units = testing::Types<unsigned char, unsigned short>;

struct UnitNames {
  template <class T>
  static std::string GetName(int) {
    return sizeof(T) == 1 ? "Unit8" : "Unit16";
  }
};

// The standard string whose view converts to BufferRef<T>.
template <class T>
using StdString = std::basic_string<CharOf<T>>;

// The same text in units of T; each byte becomes one unit.
template <class T>
StdString<T> Widen(std::string_view bytes) {
  StdString<T> text;
  for (const char byte : bytes) text += static_cast<CharOf<T>>(static_cast<unsigned char>(byte));
  return text;
}

// A compact table of texts: blanks separate rows, bars separate the cells of a row, and an
// underscore in a cell stands for a blank.
inline std::vector<std::vector<std::string>> Rows(std::string_view table) {
  std::vector<std::vector<std::string>> rows{{""}};
  for (const char c : table) {
    if (c == ' ') {
      rows.push_back({""});
    } else if (c == '|') {
      rows.back().push_back("");
    } else {
      rows.back().back() += c == '_' ? ' ' : c;
    }
  }
  return rows;
}

// A text in a heap block of exactly its size: the address sanitizer sees every access past its
// ends.
template <class T>
class HeapText {
 public:
  template <std::same_as<BufferRef<T>> View>  // no conversion: a string literal would be ambiguous
  explicit HeapText(View text) : units_(new T[text.len()]), len_(text.len()) {
    std::copy(text.begin(), text.end(), units_.get());
  }
  explicit HeapText(std::string_view bytes) : HeapText(BufferRef<T>(Widen<T>(bytes))) {}

  BufferRef<T> view() const { return BufferRef<T>(units_.get(), len_); }
  operator BufferRef<T>() const { return view(); }

 private:
  std::unique_ptr<T[]> units_;
  unsigned len_;
};

// Random texts over a few units, so that matches and near matches are frequent. In 16-bit texts an
// alphabet byte above 0x7F becomes a unit whose low byte is an ASCII character, to catch code that
// compares low bytes only: '\xE1' becomes U+E161, and 'a' is 0x61.
class RandomTexts {
 public:
  explicit RandomTexts(unsigned seed) : random_(seed) {}

  unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }
  template <class T>
  T unit(std::string_view alphabet) {
    const auto byte = static_cast<unsigned char>(alphabet[below(unsigned(alphabet.size()))]);
    return static_cast<T>(sizeof(T) == 1 || byte < 0x80 ? byte : byte << 8 | (byte & 0x7F));
  }
  template <class T>
  HeapText<T> next(unsigned max_len, std::string_view alphabet) {
    std::vector<T> units(below(max_len + 1));
    for (T& each : units) each = unit<T>(alphabet);
    return HeapText<T>(BufferRef<T>(units.data(), unsigned(units.size())));
  }

 private:
  std::mt19937 random_;
};

}  // namespace tstl
