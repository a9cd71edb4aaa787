#include "corelib/io/text_read.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <utility>
#include <vector>

#include "corelib/io/buffer_write.h"
#include "tests/corelib/io/system_calls.h"

namespace tstl {
namespace {

template <class T>
struct TextReadTest : testing::Test {
  using Text = StdString<T>;
  using Pairs = std::vector<std::pair<Text, long long>>;

  // What is left of a reader's file.
  static std::vector<Text> Lines(TextRead<T>& reader, bool empty_lines = false) {
    std::vector<Text> lines;
    reader.for_each_line(empty_lines, [&](BufferRef<T> line) {
      lines.emplace_back(line.std_view());
      return true;
    });
    return lines;
  }
  static std::vector<Text> LinesOf(std::string_view bytes) {
    const TempFile file(bytes);
    TextRead<T> reader;
    EXPECT_EQ(reader.open(file.path()), 0u);
    return Lines(reader, true);
  }
  static Pairs PairsOf(const std::string& bytes) {
    const TempFile file(bytes);
    TextRead<T> reader;
    EXPECT_EQ(reader.open(file.path()), 0u);
    Pairs pairs;
    EXPECT_TRUE(reader.for_each_pair('\t', [&](BufferRef<T> key, long long value) {
      pairs.emplace_back(key.std_view(), value);
      return true;
    }));
    return pairs;
  }
  static Text Decoded(const std::u16string& text) {
    return Text(Buffer<T>(BufferRef<unsigned short>(text)).std_view());
  }
};
TYPED_TEST_SUITE(TextReadTest, Units, UnitNames);

// The units as UTF-16 with the high byte first.
std::string HighFirst(const std::u16string& text) {
  std::string bytes;
  for (const char16_t c : text) {
    bytes += static_cast<char>(c >> 8);
    bytes += static_cast<char>(c & 0xFF);
  }
  return bytes;
}

// All forms in which a reader of T takes a text for the same lines.
template <class T>
std::vector<std::string> FormsOf(const std::u16string& text) {
  const std::string utf8(Buffer<unsigned char>(BufferRef<unsigned short>(text)).std_view());
  return {sizeof(T) == 1 ? utf8 : BytesOf(text), "\xEF\xBB\xBF" + utf8, BytesOf(u"\xFEFF" + text),
          HighFirst(u"\xFEFF" + text)};
}

std::vector<std::u16string> SplitPlainly(const std::u16string& text) {
  std::vector<std::u16string> lines{u""};
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == u'\n' && i != 0 && text[i - 1] == u'\r') continue;
    if (text[i] == u'\n' || text[i] == u'\r') {
      lines.emplace_back();
    } else {
      lines.back() += text[i];
    }
  }
  if (lines.back().empty()) lines.pop_back();  // what follows the last line's end is no line
  return lines;
}

// Random texts with every kind of line end, in every form, through buffers and reads of any size.
TYPED_TEST(TextReadTest, LinesAreThoseOfAPlainSplitHoweverTheyAreRead) {
  using T = TypeParam;
  RandomTexts random(77);
  for (int round = 0; round < 300; ++round) {
    std::u16string text;
    for (unsigned n = random.below(round % 10 == 0 ? 1000 : 150); n != 0; --n) {
      const char16_t* const pieces[] = {u"\n",   u"\r",           u"\r\n",   u"\n\n",
                                        u"a",    u"b\t",          u"\x0A0D", u"\x6765",
                                        u"\xE9", u"\xD83D\xDE00", u"\x0D0A", u"word"};
      text += pieces[random.below(12)];
      if (round % 7 == 0) text += u"a line that is long";
    }
    const bool empty_lines = random.below(2);
    std::vector<StdString<T>> want;
    for (const auto& line : SplitPlainly(text)) {
      if (empty_lines || !line.empty()) want.push_back(this->Decoded(line));
    }
    for (const std::string& bytes : FormsOf<T>(text)) {
      const TempFile file(bytes);
      TextRead<T> reader;
      const Answering short_reads(reads, [&](std::uint64_t n) -> std::int64_t {
        if (random.below(9) == 0) return -EINTR;
        return random.below(3) == 0 ? static_cast<std::int64_t>(n) : 1 + random.below(20);
      });
      ASSERT_EQ(reader.open(file.path(), random.below(200)), 0u);
      ASSERT_EQ(this->Lines(reader, empty_lines), want);
      ASSERT_EQ(reader.error(), 0);
    }
  }
}

TYPED_TEST(TextReadTest, AMarkTellsTheUnitsAndOddBytesAreNoText) {
  struct Row {
    std::string_view bytes, narrow;  // every line with a '|' behind it
    std::u16string_view wide;
  };
  using std::string_view_literals::operator""sv;
  const Row rows[] = {
      {"", "", u""},
      {"\xEF\xBB\xBF", "", u""},
      {"\xFE\xFF", "", u""},
      {"\xFF\xFE"
       "a\0b"sv,
       "a|", u"a|"},  // half a unit at the end
      {"x", "x|", u""},
      {"\xEF\xBB", "\xEF\xBB|", u"\xBBEF|"},                   // two thirds of a mark
      {"\xFE\xFF\xD8\x01", "\xED\xA0\x81|", u"\xD801|"},       // a surrogate without its partner
      {"\xEF\xBB\xBF\x80\x80\n\nx", "\x80\x80||x|", u"||x|"},  // bytes that decode to nothing
  };
  for (const Row& row : rows) {
    StdString<TypeParam> lines;
    for (const auto& line : this->LinesOf(row.bytes)) lines += line + CharOf<TypeParam>('|');
    const BufferRef<TypeParam> got = lines;
    if constexpr (sizeof(TypeParam) == 1) {
      EXPECT_EQ(got.std_view(), row.narrow);
    } else {
      EXPECT_EQ(got.std_view(), row.wide);
    }
  }
}

TYPED_TEST(TextReadTest, APairIsSplitAtItsLastSeparator) {
  using T = TypeParam;
  struct Row {
    const char *line, *key;
    long long value;
  };
  const Row rows[] = {
      {"key\t12", "key", 12},
      {"a\tb\t3", "a\tb", 3},
      {"no separator", "no separator", 0},
      {"key\t", "key", 0},
      {"\t5", "", 5},
      {"key\t12 ", "key", 12},
      {"key\t 12", "key", 0},
      {"key\tx", "key", 0},
      {"key\t-7", "key", -7},
      {"key\t12345678", "key", 12345678},
      {"key\t123456789", "key", 123456789},
      {"key\t1234567x", "key", 1234567},
      {"k\t9223372036854775807", "k", 0x7FFFFFFFFFFFFFFF},
      {"k\t18446744073709551615", "k", -1},
      {"k\t9223372036854775808", "k", -0x7FFFFFFFFFFFFFFF - 1},
      {"k\t99999999999999999999", "k", -1},
      {"k\t-9223372036854775809", "k", -0x7FFFFFFFFFFFFFFF - 1},
      {"k\t000000000000000000000004", "k", 4},
      {"a key that is longer than a block\t1", "a key that is longer than a block", 1},
      {"k\ta value that is longer than a block", "k", 0},
  };
  std::u16string all;
  typename TestFixture::Pairs want;
  for (const Row& row : rows) {
    all += Widen<unsigned short>(std::string(row.line) + "\r\n\n");
    want.emplace_back(Widen<T>(row.key), row.value);
  }
  for (const std::string& bytes : FormsOf<T>(all)) EXPECT_EQ(this->PairsOf(bytes), want);
}

TYPED_TEST(TextReadTest, WhatTheWriterWritesComesBack) {
  using T = TypeParam;
  RandomTexts random(3);
  const TempFile file;
  BufferWrite<T> out;
  ASSERT_EQ(out.open(file.path(), false), 0u);
  typename TestFixture::Pairs want;
  for (unsigned i = 0; i < 5000; ++i) {
    const auto key = random.next<T>(i % 100 == 0 ? 3000 : 20, "ab\t-1\xE1\xFF");
    const std::uint64_t value = (0 - std::uint64_t{i % 2}) ^ (std::uint64_t{i} << random.below(64));
    out.write_pair(key, '\t', value, i % 3 == 0);
    want.emplace_back(key.view().std_view(), static_cast<long long>(value));
  }
  out.close();
  EXPECT_EQ(this->PairsOf(file.bytes()), want);
}

TYPED_TEST(TextReadTest, CallbacksStopTheReadingWhereTheyWant) {
  const TempFile file(
      "\xEF\xBB\xBF"
      "a\nb\nc\n");
  TextRead<TypeParam> reader;
  ASSERT_EQ(reader.open(file.path()), 0u);
  EXPECT_FALSE(reader.for_each_line(false, [](auto) { return false; }));
  EXPECT_FALSE(reader.for_each_pair('\t', [](auto, long long) { return false; }));
  EXPECT_EQ(this->Lines(reader), std::vector{Widen<TypeParam>("c")});
  reader.close();
  EXPECT_TRUE(reader.is_empty());
  EXPECT_EQ(this->Lines(reader), std::vector<StdString<TypeParam>>());
}

// The k-th read fails: every line before is whole, and the one that is cut is not handed out.
TYPED_TEST(TextReadTest, AReadErrorIsNotTheEnd) {
  using T = TypeParam;
  std::string text;
  for (int i = 0; i < 100; ++i) text += "line " + std::to_string(1000 + i) + '\n';
  for (const std::string& bytes : FormsOf<T>(Widen<unsigned short>(text))) {
    for (int k = 0; k < 12; ++k) {
      const TempFile file(bytes);
      const Answering failing(reads, [&, call = 0](std::uint64_t) mutable -> std::int64_t {
        return call++ == k ? -EIO : 97;
      });
      TextRead<T> reader;
      EXPECT_EQ(reader.open(file.path(), 512), k == 0 ? FAILURE : 0u);
      const auto lines = this->Lines(reader);
      EXPECT_LE(lines.size(), 10u * unsigned(k));
      for (const auto& line : lines) EXPECT_EQ(line.size(), 9u);
      EXPECT_EQ(reader.error(), EIO);
      EXPECT_FALSE(reader.for_each_line(false, [](auto) { return true; }));
    }
  }
}

TYPED_TEST(TextReadTest, OpenSaysWhyItFailedAndAFileMayVanishAfterwards) {
  const std::string missing = testing::TempDir() + "/io_test_no_such_file";
  const std::pair<const char*, int> rows[] = {
      {nullptr, EINVAL}, {missing.c_str(), ENOENT}, {"/", EISDIR}};
  TextRead<TypeParam> reader;
  for (const auto& [path, error] : rows) {
    EXPECT_EQ(reader.open(path), FAILURE);
    EXPECT_EQ(reader.error(), error);
    EXPECT_TRUE(reader.is_empty());
  }
  const std::string long_text = "\xEF\xBB\xBF" + std::string(1000, 'x');
  const TempFile file(long_text);
  ASSERT_EQ(reader.open(file.path(), 1), 0u);
  ::unlink(file.path());
  EXPECT_EQ(this->Lines(reader).at(0).size(), 1000u);
  const TempFile shrinking(long_text);
  ASSERT_EQ(reader.open(shrinking.path(), 1), 0u);
  EXPECT_EQ(::truncate(shrinking.path(), 500), 0);
  EXPECT_EQ(this->Lines(reader).at(0).size(), 497u);
  EXPECT_EQ(reader.error(), 0);
}

}  // namespace
}  // namespace tstl
