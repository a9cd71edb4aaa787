// Parses a line of a word list: into a key and a value, or into the reason why it is no pair.
// Counts the lines that were not taken and writes the messages about them.
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

inline constexpr std::uint32_t kGreatestValue = 0x7FFFFFFF;  // that an image stores
inline constexpr std::size_t kLongestKey = 0xFFFF;           // in units

// How lines are read.
struct PairRule {
  char separator = '\t';
  unsigned value_column = 0;  // from 1 on; 0: the last one
  bool is_plain = false;      // the whole line is the key
  std::uint32_t plain_value = 0;
  unsigned bits = 8;  // of a key's units; the limit of its length is in these units
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

// Splits a line at its last separator, so that a key may contain separators. With a value column
// the line is split before that column, and later columns are ignored. `is_cut` says that `line` is
// only the start of the line. `pair` is meaningful only if the result is kNone.
[[nodiscard]] LineFault SplitLine(std::string_view line, bool is_cut, const PairRule& rule,
                                  ListPair& pair);

// The separator that makes most lines of `text` pairs; nullopt if none does so for more than half
// of them. The text may end inside a line.
[[nodiscard]] std::optional<char> FindSeparator(std::string_view text, PairRule rule);

// The name of a separator: "tab", "space", "comma", ... or the character itself. SeparatorOf() is
// the inverse, nullopt for a text that names no separator.
[[nodiscard]] std::string SeparatorName(char separator);
[[nodiscard]] std::optional<char> SeparatorOf(std::string_view name);

// Counts the lines that were not taken, by kind, and keeps messages about the first kNamed of each
// kind.
class LineFaults {
 public:
  static constexpr std::size_t kNamed = 10;

  void Add(LineFault fault, const std::string& file, std::uint64_t line, std::string_view text);

  [[nodiscard]] std::uint64_t count() const { return count_; }
  [[nodiscard]] std::uint64_t count(LineFault fault) const { return At(fault).count; }
  // The message about the first of all these lines.
  [[nodiscard]] const std::string& first() const { return first_; }

  // Prints the messages, and for each kind the number of lines without one. Each line begins with
  // `start`.
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
