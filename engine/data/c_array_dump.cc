#include "engine/data/c_array_dump.h"

#include <algorithm>
#include <cassert>
#include <cstring>
#include <string_view>

#include "corelib/base/types.h"
#include "corelib/io/files/buffer_write.h"
#include "corelib/text/num.h"

namespace zenta::data {
namespace {

using Text = tstl::BufferRef<unsigned char>;
using Unit = unsigned char;
using tstl::FAILURE;

template <class Word>
struct Form;
template <>
struct Form<std::uint32_t> {
  static constexpr std::string_view kStart = "const Uint32 ";
  static constexpr unsigned kPerLine = 9;
};
template <>
struct Form<std::uint64_t> {
  static constexpr std::string_view kStart = "const Uint64 ";
  static constexpr unsigned kPerLine = 5;
};

constexpr std::string_view kLineStart = "\r\n    0x";

// Takes the next word from the data, which has at least one byte. A copy of constant size is one
// load.
template <class Word>
Word FetchWord(tstl::BufferRefMutable<Unit>& data) {
  Word word = 0;
  const Text bytes = data.fetch_head(sizeof word);
  if (bytes.len() == sizeof word) {
    std::memcpy(&word, bytes.cstr(), sizeof word);
  } else {
    std::memcpy(&word, bytes.cstr(), bytes.len());
  }
  return word;
}

// Returns the end of what was written.
template <class Word>
Unit* WriteDigits(Unit* to, Word word) {
  for (unsigned i = 0; i < 2 * sizeof word; ++i, word >>= 4) {
    to[2 * sizeof word - 1 - i] = static_cast<Unit>("0123456789ABCDEF"[word & 15]);
  }
  return to + 2 * sizeof word;
}

template <class Word>
class Line {
 public:
  // Takes the next words from `data` and returns their line. REQUIRES: `data` is not empty.
  Text Take(tstl::BufferRefMutable<Unit>& data) {
    assert(data);
    Unit* end = std::copy(kLineStart.begin(), kLineStart.end(), units_);
    for (unsigned i = 0; i < Form<Word>::kPerLine && data; ++i) {
      if (i != 0) end = std::copy(kBetween.begin(), kBetween.end(), end);
      end = WriteDigits(end, FetchWord<Word>(data));
      *end++ = ',';
    }
    return Text(units_, static_cast<unsigned>(end - units_));
  }

 private:
  static constexpr std::string_view kBetween = " 0x";
  Unit units_[kLineStart.size() + Form<Word>::kPerLine * (kBetween.size() + 2 * sizeof(Word) + 1)];
};

template <class Word>
std::uint32_t Dump(const char* path, Text name, Text data) {
  tstl::BufferWrite<Unit> file;
  if (file.open(path, false) == FAILURE) return FAILURE;
  WriteCArray<Word>(name, data, [&file](Text piece) { file << piece; });
  file.close();
  return file.error() == 0 ? 0 : FAILURE;
}

}  // namespace

template <class Word>
void WriteCArray(Text name, Text data, const std::function<void(Text)>& put) {
  Unit count[tstl::NUM::kDecimalRoom];
  const std::uint64_t words = (std::uint64_t{data.len()} + sizeof(Word) - 1) / sizeof(Word);
  const Text digits(count, tstl::NUM::zz_tostr(count, words));
  for (const Text piece : {Text(Form<Word>::kStart), name, Text("["), digits, Text("] = {")}) {
    put(piece);
  }
  tstl::BufferRefMutable<Unit> rest = data;
  for (Line<Word> line; rest;) put(line.Take(rest));
  put("\r\n};\r\n");
}

std::uint32_t DumpUint32Array(const char* path, Text name, Text data) {
  return Dump<std::uint32_t>(path, name, data);
}

std::uint32_t DumpUint64Array(const char* path, Text name, Text data) {
  return Dump<std::uint64_t>(path, name, data);
}

template void WriteCArray<std::uint32_t>(Text name, Text data,
                                         const std::function<void(Text)>& put);
template void WriteCArray<std::uint64_t>(Text name, Text data,
                                         const std::function<void(Text)>& put);

}  // namespace zenta::data
