// Splits a text in all the ways that readers do, in both unit widths, and accounts for each unit
// once. What the fetch operations return and what they skip must be the text again. split must
// return exactly the non-empty fields between separators. The parts of an ini line must lie inside
// it, in order, trimmed. Input: the separators, numbers, 1 for 16-bit units, then the text.
#include <cstdint>
#include <memory>

#include "corelib/text/buffer_ref.h"
#include "fuzz/require.h"

namespace {

using tstl::BufferRef;
using tstl::BufferRefMutable;
using tstl::NOT_FOUND;
using zenta::fuzz::Require;

// Whether `part` lies in `whole`, `at` units after its start.
template <class T>
bool StandsAt(BufferRef<T> part, BufferRef<T> whole, std::uint64_t at) {
  return part.ref_internal_data() == whole.ref_internal_data() + at &&
         at + part.len() <= whole.len();
}

// Fetches until nothing is left. `skipped` checks each part, the units dropped after it, and
// whether that was the last part.
template <class T, class Fetch, class Skipped>
void FetchAll(BufferRef<T> text, Fetch fetch, Skipped skipped) {
  BufferRefMutable<T> rest = text;
  std::uint64_t seen = 0;
  while (rest) {
    const BufferRef<T> part = fetch(rest);
    Require(StandsAt(part, text, seen), "a fetched part follows the one before it");
    seen += part.len();
    const BufferRef<T> dropped = text.sub_str(
        static_cast<unsigned>(seen), static_cast<unsigned>(text.len() - rest.len() - seen));
    seen += dropped.len();
    Require(seen + rest.len() == text.len(), "every unit is fetched, dropped or left");
    Require(skipped(part, dropped, rest.is_empty()), "what is dropped is a separator, once");
  }
  Require(seen == text.len(), "a text is used up");
}

template <class T>
bool IsBreak(BufferRef<T> text) {
  return text == "\r\n" || text == "\r" || text == "\n";
}

template <class T>
void CheckSplit(BufferRef<T> text, T sep, unsigned max) {
  BufferRefMutable<T> fields[8];
  const unsigned count = text.split(fields, sep, max);
  Require(count <= max, "split stores no more than it may");
  unsigned seen = 0;
  for (unsigned i = 0; i < count; ++i) {
    seen += text.sub_tail(seen).cnt_consecutive_chr(sep);
    Require(!fields[i].is_empty() && StandsAt<T>(fields[i], text, seen),
            "a field stands after separators only");
    Require(fields[i].find_chr(sep) == NOT_FOUND, "a field holds no separator");
    seen += fields[i].len();
    Require(seen == text.len() || text[seen] == sep, "a field ends at a separator");
  }
  if (count < max)
    Require(text.sub_tail(seen).cnt_chr(sep) + seen == text.len(), "split leaves separators only");
  unsigned numbers[8];
  const unsigned number_count = text.split_num(numbers, sep, max);
  Require(number_count <= count, "split_num stops where split skips");
  for (unsigned i = 0; i < number_count; ++i)
    Require(numbers[i] == fields[i].to_num32(), "split_num reads the fields");
}

template <class T>
bool IsTrimmed(BufferRef<T> text) {
  return text.is_empty() || (text.front() != ' ' && text.back() != ' ');
}

template <class T>
void CheckIniLine(BufferRef<T> line, T comment) {
  BufferRefMutable<T> key, value;
  const int result = line.parse_ini_line(key, value, comment);
  const bool is_section = result == 1;
  Require(result >= 0 && result <= 2 && (result != 0) == !key.is_empty(),
          "a key is what makes a line count");
  if (result == 0) return Require(value.is_empty(), "a refused line gives nothing");
  const auto key_at = static_cast<std::uint64_t>(key.begin() - line.begin());
  Require(StandsAt<T>(key, line, key_at) && (is_section || IsTrimmed<T>(key)),
          "the key is a trimmed part of the line");
  Require(
      comment == 0 || (key.find_chr(comment) == NOT_FOUND && value.find_chr(comment) == NOT_FOUND),
      "comments are dropped");
  if (is_section)
    return Require(key.begin()[-1] == '[' && *key.end() == ']' && value.is_empty(),
                   "a section stands in brackets");
  Require(key.find_chr('=') == NOT_FOUND && IsTrimmed<T>(value),
          "the key ends before '=', and the value is trimmed");
  if (value.is_empty()) return;
  const BufferRef<T> between(key.end(), static_cast<unsigned>(value.begin() - key.end()));
  Require(value.end() <= line.end() && between.sub_trim_all() == "=",
          "the value follows the key's '='");
}

constexpr unsigned kRules = 4;

template <class T>
void Run(const std::uint8_t* data, unsigned size) {
  // The first bytes are parameters; the rest is the text, in a block of exactly its size.
  const T sep = data[0], comment = data[1];
  const unsigned number = data[2];
  const unsigned len = size - kRules;
  const std::unique_ptr<T[]> units(new T[len]);
  // Bytes above 0x7F become wide units whose low byte is that of an ASCII character.
  for (unsigned i = 0; i < len; ++i) {
    const unsigned byte = data[kRules + i];
    units[i] = static_cast<T>(sizeof(T) == 1 || byte < 0x80 ? byte : byte * 0x101 & 0xFF7F);
  }
  const BufferRef<T> text(units.get(), len);
  const BufferRef<T> needle = text.sub_str(number & 7, 1 + (number >> 6));

  FetchAll<T>(
      text, [sep](auto& rest) { return rest.fetch_before_chr(sep); },
      [sep](auto part, auto dropped, bool last) {
        return part.find_chr(sep) == NOT_FOUND &&
               (dropped.len() == 1 ? dropped[0] == sep : last && !dropped);
      });
  FetchAll<T>(
      text, [](auto& rest) { return rest.fetch_before_crlf(); },
      [](auto part, auto dropped, bool last) {
        return part.find_chr('\n', '\r') == NOT_FOUND &&
               (IsBreak<T>(dropped) || (last && !dropped));
      });
  const unsigned take = number % 5 + 1, skip = number % 3;
  FetchAll<T>(
      text, [=](auto& rest) { return rest.fetch_head(take, skip); },
      [=](auto part, auto dropped, bool last) {
        return last ? part.len() <= take && dropped.len() <= skip
                    : part.len() == take && dropped.len() == skip;
      });
  if (needle) {
    FetchAll<T>(
        text, [needle](auto& rest) { return rest.fetch_before_str(needle); },
        [needle](auto part, auto dropped, bool last) {
          return part.find_str(needle) == NOT_FOUND && (dropped == needle || (last && !dropped));
        });
  }
  CheckSplit<T>(text, sep, number % 9);
  for (BufferRefMutable<T> rest = text; rest;) CheckIniLine<T>(rest.fetch_before_crlf(), comment);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  if (size < kRules || size > 4096) return 0;
  const auto run = data[3] & 1 ? Run<unsigned short> : Run<unsigned char>;
  run(data, static_cast<unsigned>(size));
  return 0;
}
