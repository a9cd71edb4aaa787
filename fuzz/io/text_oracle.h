// Text files read plainly, to judge TextRead in tests and under the fuzzer: the whole file at once,
// one unit after another, lines and pairs by their definition.
#pragma once

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "corelib/io/files/text_read.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/utf.h"

namespace tstl::oracle {

template <class T>
using String = std::basic_string<CharOf<T>>;
template <class T>
using Pair = std::pair<String<T>, long long>;

// Lines end with LF, CR or CR LF, the last one also with the text.
template <class Text>
std::vector<Text> PlainLines(const Text& text) {
  std::vector<Text> lines;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] != '\n' && text[i] != '\r') continue;
    if (text[i] == '\r' || i == 0 || text[i - 1] != '\r') {
      lines.push_back(text.substr(start, i - start));
    }
    start = i + 1;
  }
  if (start != text.size()) lines.push_back(text.substr(start));
  return lines;
}

// Half a unit at the end is dropped.
inline std::u16string UnitsOf(std::string_view bytes, bool high_first) {
  std::u16string units;
  units.reserve(bytes.size() / 2);
  for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
    const auto first = static_cast<unsigned char>(bytes[i]);
    const auto second = static_cast<unsigned char>(bytes[i + 1]);
    units += static_cast<char16_t>(high_first ? first << 8 | second : second << 8 | first);
  }
  return units;
}

// A line, converted to units of T.
template <class T, class C>
String<T> Decoded(const std::basic_string<C>& line) {
  if constexpr (sizeof(T) == sizeof(C)) {
    return line;
  } else if constexpr (sizeof(T) == 1) {
    const auto* const units = reinterpret_cast<const unsigned short*>(line.data());
    String<T> text(utf8_size(units, line.size(), LoneSurrogate::kKeep), 0);
    utf16_to_utf8(units, line.size(), reinterpret_cast<unsigned char*>(text.data()), text.size(),
                  LoneSurrogate::kKeep);
    return text;
  } else {
    const auto* const bytes = reinterpret_cast<const unsigned char*>(line.data());
    String<T> text(utf16_size(bytes, line.size()), 0);
    utf8_to_utf16(bytes, line.size(), reinterpret_cast<unsigned short*>(text.data()), text.size());
    return text;
  }
}

template <class T, class C>
std::vector<String<T>> DecodedLines(const std::basic_string<C>& text, bool empty_lines) {
  std::vector<String<T>> lines;
  for (const auto& line : PlainLines(text)) {
    auto decoded = Decoded<T>(line);
    if (empty_lines || !decoded.empty()) lines.push_back(std::move(decoded));
  }
  return lines;
}

// The lines that a reader of T finds in a file with these bytes.
template <class T>
std::vector<String<T>> FileLines(std::string_view bytes, bool empty_lines) {
  const auto as_bytes = [&](std::size_t mark) {
    return DecodedLines<T>(std::string(bytes.substr(mark)), empty_lines);
  };
  const auto as_units = [&](std::size_t mark, bool high_first) {
    return DecodedLines<T>(UnitsOf(bytes.substr(mark), high_first), empty_lines);
  };
  if (bytes.starts_with("\xEF\xBB\xBF")) return as_bytes(3);
  if (bytes.starts_with("\xFF\xFE")) return as_units(2, false);
  if (bytes.starts_with("\xFE\xFF")) return as_units(2, true);
  return sizeof(T) == 1 ? as_bytes(0) : as_units(0, false);
}

// The value of the digits at the start of a text, at most `limit`.
template <class Text>
std::uint64_t PlainNumber(const Text& digits, std::uint64_t limit) {
  unsigned __int128 value = 0;
  for (const auto c : digits) {
    if (c < '0' || c > '9') break;
    value = value * 10 + static_cast<unsigned>(c - '0');
    if (value > limit) return limit;
  }
  return static_cast<std::uint64_t>(value);
}

template <class T>
std::vector<Pair<T>> FilePairs(std::string_view bytes, std::type_identity_t<T> separator) {
  std::vector<Pair<T>> pairs;
  for (const auto& line : FileLines<T>(bytes, false)) {
    const auto at = line.rfind(static_cast<CharOf<T>>(separator));
    const auto number = at == line.npos ? String<T>() : line.substr(at + 1);
    const bool negative = !number.empty() && number[0] == '-';
    const std::uint64_t value = negative ? 0 - PlainNumber(number.substr(1), std::uint64_t{1} << 63)
                                         : PlainNumber(number, ~std::uint64_t{0});
    pairs.emplace_back(line.substr(0, at), static_cast<long long>(value));
  }
  return pairs;
}

// The faults in the pairs of a file.
template <class T>
PairFaults FileFaults(std::string_view bytes, std::type_identity_t<T> separator) {
  const auto units = [](std::string_view text) { return String<T>(text.begin(), text.end()); };
  PairFaults faults;
  for (const auto& line : FileLines<T>(bytes, false)) {
    const auto at = line.rfind(static_cast<CharOf<T>>(separator));
    const auto number = at == line.npos ? String<T>() : line.substr(at + 1);
    const bool negative = number.starts_with('-');
    const auto digits = number.substr(negative);
    const auto significant = digits.substr(std::min(digits.find_first_not_of('0'), digits.size()));
    const auto limit = units(negative ? "9223372036854775808" : "18446744073709551615");
    if (at == line.npos) {
      ++faults.no_separator;
    } else if (digits.empty() || digits.find_first_not_of(units("0123456789")) != digits.npos) {
      ++faults.no_number;
    } else if (significant.size() != limit.size() ? significant.size() > limit.size()
                                                  : significant > limit) {
      ++faults.not_fit;
    }
  }
  return faults;
}

// The lines, or the pairs, that are left in a reader's file.
template <class T>
std::vector<String<T>> LinesOf(TextRead<T>& reader, bool empty_lines) {
  std::vector<String<T>> lines;
  reader.for_each_line(empty_lines, [&](BufferRef<T> line) {
    lines.emplace_back(line.std_view());
    return true;
  });
  return lines;
}
template <class T>
std::vector<Pair<T>> PairsOf(TextRead<T>& reader, std::type_identity_t<T> separator) {
  std::vector<Pair<T>> pairs;
  reader.for_each_pair(separator, [&](BufferRef<T> key, long long value) {
    pairs.emplace_back(key.std_view(), value);
    return true;
  });
  return pairs;
}

}  // namespace tstl::oracle
