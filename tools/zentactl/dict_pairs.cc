#include "tools/zentactl/dict_pairs.h"

#include <algorithm>
#include <iterator>
#include <ostream>

#include "corelib/text/utf.h"
#include "tools/common/terminal_text.h"

namespace zenta::zentactl {
namespace {

using tools::ForTerminal;

constexpr struct {
  const char* label;
  const char* why;
} kFaultTexts[kLineFaults] = {
    {"", ""},
    {"no separator", "no separator"},
    {"no key", "no key before the separator"},
    {"no number", "no number in the value's place"},
    {"past 31 bits", "the value is not from 0 to 2147483647"},
    {"too long", "the key is longer than 65535 units"},
    {"ill formed", "the key is not well-formed UTF-8"},
};

constexpr struct {
  const char* name;
  char separator;
} kSeparators[] = {
    // The first ones are preferred where two fit equally well; \1 is Hive's default.
    {"tab", '\t'}, {"space", ' '}, {"comma", ','},  {"semicolon", ';'},
    {"bar", '|'},  {"colon", ':'}, {"equals", '='}, {"ctrl-a", '\1'},
};

const unsigned char* Bytes(std::string_view text) {
  return reinterpret_cast<const unsigned char*>(text.data());
}

// Parses a text that is decimal digits and nothing else. A negative number is out of range:
// kTooGreat.
LineFault ReadValue(std::string_view text, std::uint32_t& value) {
  const bool is_negative = text.starts_with('-');
  if (is_negative) text.remove_prefix(1);
  std::uint64_t number = 0;
  for (const char c : text) {
    const auto digit = static_cast<unsigned>(c - '0');
    if (digit > 9) return LineFault::kNoNumber;
    number = std::min<std::uint64_t>(number * 10 + digit, kGreatestValue + std::uint64_t{1});
  }
  if (text.empty()) return LineFault::kNoNumber;
  value = static_cast<std::uint32_t>(number);
  return is_negative || number > kGreatestValue ? LineFault::kTooGreat : LineFault::kNone;
}

// The offset of the separator before the value; npos if the line has too few. `end` is where the
// value ends.
std::size_t FindColumn(std::string_view line, const PairRule& rule, std::size_t& end) {
  end = line.size();
  if (rule.value_column == 0) return line.rfind(rule.separator);
  std::size_t at = line.npos;
  for (unsigned column = 1; column < rule.value_column; ++column) {
    at = line.find(rule.separator, at + 1);  // npos + 1 is the line's start
    if (at == line.npos) return at;
  }
  end = std::min(end, line.find(rule.separator, at + 1));
  return at;
}

LineFault SplitColumns(std::string_view line, const PairRule& rule, ListPair& pair) {
  pair = {line, rule.plain_value};
  if (rule.is_plain) return LineFault::kNone;
  std::size_t end;
  const std::size_t at = FindColumn(line, rule, end);
  if (at == line.npos) return LineFault::kNoSeparator;
  pair.key = line.substr(0, at);
  if (pair.key.empty()) return LineFault::kNoKey;
  return ReadValue(line.substr(at + 1, end - at - 1), pair.value);
}

bool IsTooLong(std::string_view key, unsigned bits) {
  if (key.size() <= kLongestKey) return false;
  return bits == 8 || tstl::utf16_size(Bytes(key), key.size()) > kLongestKey;
}

}  // namespace

LineFault SplitLine(std::string_view line, bool is_cut, const PairRule& rule, ListPair& pair) {
  if (is_cut) return LineFault::kTooLong;
  const LineFault fault = SplitColumns(line, rule, pair);
  if (fault != LineFault::kNone) return fault;
  if (tstl::valid_utf8_prefix(Bytes(pair.key), pair.key.size()) != pair.key.size()) {
    return LineFault::kIllFormed;
  }
  return IsTooLong(pair.key, rule.bits) ? LineFault::kTooLong : LineFault::kNone;
}

std::optional<char> FindSeparator(std::string_view text, PairRule rule) {
  constexpr std::size_t kCandidates = std::size(kSeparators);
  std::array<std::size_t, kCandidates> pairs{};
  std::size_t lines = 0;
  while (!text.empty()) {
    const std::size_t end = std::min(text.find_first_of("\r\n"), text.size());
    const std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    if (line.empty()) continue;
    ++lines;
    for (std::size_t i = 0; i < kCandidates; ++i) {
      ListPair pair;
      rule.separator = kSeparators[i].separator;
      const LineFault fault = SplitColumns(line, rule, pair);
      pairs[i] += fault == LineFault::kNone || fault == LineFault::kTooGreat;
    }
  }
  const auto most = std::max_element(pairs.begin(), pairs.end());
  if (2 * *most <= lines) return std::nullopt;
  return kSeparators[most - pairs.begin()].separator;
}

std::string SeparatorName(char separator) {
  for (const auto& known : kSeparators) {
    if (known.separator == separator) return known.name;
  }
  return std::string(1, separator);
}

std::optional<char> SeparatorOf(std::string_view name) {
  for (const auto& known : kSeparators) {
    if (name == known.name) return known.separator;
  }
  if (name == "\\t") return '\t';
  const bool is_one = name.size() == 1 && static_cast<unsigned char>(name[0]) < 0x80 &&
                      (name[0] < '0' || name[0] > '9') && name[0] != '\n' && name[0] != '\r';
  return is_one ? std::optional(name[0]) : std::nullopt;
}

void LineFaults::Add(LineFault fault, const std::string& file, std::uint64_t line,
                     std::string_view text) {
  constexpr std::size_t kShown = 60;  // bytes
  Kind& kind = kinds_[static_cast<std::size_t>(fault)];
  ++kind.count;
  if (kind.named.size() == kNamed) return static_cast<void>(++count_);
  const bool is_long = text.size() > kShown;
  std::size_t end = is_long ? kShown : text.size();
  while (is_long && end > kShown - 4 && (static_cast<unsigned char>(text[end]) & 0xC0) == 0x80)
    --end;
  kind.named.push_back(ForTerminal(file) + ": line " + std::to_string(line) + ": " +
                       kFaultTexts[static_cast<std::size_t>(fault)].why + ": \"" +
                       ForTerminal(text.substr(0, end)) + (is_long ? "...\"" : "\""));
  if (count_++ == 0) first_ = kind.named.front();
}

void LineFaults::Print(std::string_view start, std::ostream& out) const {
  for (std::size_t i = 0; i < kLineFaults; ++i) {
    const Kind& kind = kinds_[i];
    for (const std::string& line : kind.named) out << start << line << '\n';
    if (kind.count > kind.named.size()) {
      out << start << "and " << kind.count - kind.named.size() << " more: " << kFaultTexts[i].why
          << '\n';
    }
  }
}

const char* FaultLabel(LineFault fault) {
  return kFaultTexts[static_cast<std::size_t>(fault)].label;
}

}  // namespace zenta::zentactl
