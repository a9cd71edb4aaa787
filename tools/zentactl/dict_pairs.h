// What a line of a word list says: a key and a value, or why it is no pair. One place for all rules and
// for what is told of the lines that were not taken.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zenta::zentactl {

inline constexpr std::uint32_t kGreatestValue = 0x7FFFFFFF;  // that an image holds
inline constexpr std::size_t kLongestKey = 0xFFFF;           // in units

// How lines are read.
struct PairRule {
  char separator = '\t';
  unsigned value_column = 0;  // from 1 on; 0: the last one
  bool is_plain = false;      // the whole line is the key
  std::uint32_t plain_value = 0;
  unsigned bits = 8;  // of a key's units, in which its length counts
};

struct ListPair {
  std::string_view key;
  std::uint32_t value = 0;
};

// Why a line is not taken.
enum class LineFault : unsigned char {
  kNone,
  kNoSeparator,
  kNoKey,
  kNoNumber,
  kTooGreat,
  kTooLong,
  kIllFormed,
};
inline constexpr std::size_t kLineFaults = 7;  // kNone among them

// Splits a line: at its last separator, so that a key may hold separators; or with a value column before
// that column, and what follows it is not looked at. `is_cut`: only the line's start is there.
[[nodiscard]] LineFault SplitLine(std::string_view line, bool is_cut, const PairRule& rule,
                                  ListPair& pair);

// The separator by which most lines of `text` are pairs, and more than half of them; nullopt if there is
// none. The text may end within a line.
[[nodiscard]] std::optional<char> FindSeparator(std::string_view text, PairRule rule);

// "tab", "space", "comma" or the character itself; and back, nullopt for what is no separator.
[[nodiscard]] std::string SeparatorName(char separator);
[[nodiscard]] std::optional<char> SeparatorOf(std::string_view name);

// The lines that were not taken: how many of each kind, and the first ones of each.
class LineFaults {
 public:
  static constexpr std::size_t kNamed = 10;

  void Add(LineFault fault, const std::string& file, std::uint64_t line, std::string_view text);

  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::uint64_t count(LineFault fault) const { return At(fault).count; }
  // The first line of all, with its fault.
  [[nodiscard]] const std::string& first() const { return first_; }

  // A line for each that is named, and one for the others of its kind; each begins with `start`.
  void Print(std::string_view start, std::ostream& out) const;

 private:
  struct Kind {
    std::uint64_t count = 0;
    std::vector<std::string> named;
  };
  [[nodiscard]] const Kind& At(LineFault fault) const {
    return kinds_[static_cast<std::size_t>(fault)];
  }

  std::array<Kind, kLineFaults> kinds_;
  std::uint64_t count_ = 0;
  std::string first_;
};

// A label for a count of such lines: "no separator".
[[nodiscard]] const char* FaultLabel(LineFault fault);

}  // namespace zenta::zentactl
