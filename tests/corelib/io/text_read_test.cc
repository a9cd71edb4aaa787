#include "corelib/io/text_read.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <tuple>
#include <vector>

#include "corelib/text/buffer.h"
#include "fuzz/io/text_oracle.h"
#include "tests/corelib/io/system_calls.h"

namespace tstl {
namespace {

using std::string_view_literals::operator""sv;

template <class T>
struct TextReadTest : testing::Test {};
TYPED_TEST_SUITE(TextReadTest, Units, UnitNames);

// All forms of a file with these lines.
std::vector<std::string> FormsOf(const std::u16string& text) {
  const std::string utf8(Buffer<unsigned char>(BufferRef<unsigned short>(text)).std_view());
  std::string swapped = "\xFE\xFF";
  for (const char16_t c : text) (swapped += static_cast<char>(c >> 8)) += static_cast<char>(c);
  return {utf8, BytesOf(text), "\xEF\xBB\xBF" + utf8, BytesOf(u"\xFEFF" + text), swapped};
}

// Expects what was read to be all there is, or after an error the beginning of it.
void ExpectRead(auto got, auto want, int error) {
  ASSERT_TRUE(error != 0 || got.size() == want.size());
  ASSERT_LE(got.size(), want.size());
  want.resize(got.size());
  ASSERT_EQ(got, want);
}

// Random texts with every kind of line end, through buffers and reads of any size that may fail.
TYPED_TEST(TextReadTest, ReadsWhatAPlainReaderFindsHoweverTheSystemDelivers) {
  using T = TypeParam;
  const char16_t* const pieces[] = {u"\n",    u"\r",   u"\r\n", u"\t",      u"\t12345678",
                                    u"a",     u"\x6D", u"\xE9", u"\x6765x", u"\xD83D\xDE00",
                                    u"\t-70", u"word", u"\n\n", u"\x0A0D",  u"\x0D0A"};
  RandomTexts random(77);
  for (int round = 0; round < 400; ++round) {
    std::u16string text;
    for (unsigned n = random.below(round % 10 == 0 ? 1000 : 150); n != 0; --n) {
      text += pieces[random.below(round % 4 == 0 ? 15 : 12)];
      if (round % 7 == 0) text += u"a line that is long";
    }
    const unsigned fail_at = round % 3 == 0 ? random.below(60) : ~0u;
    const bool empty_lines = random.below(2);
    for (const std::string& bytes : FormsOf(text)) {
      const TempFile file(bytes);
      unsigned call = 0;
      const Answering watch(reads, [&](std::uint64_t n) -> std::int64_t {
        if (call++ >= fail_at) return -EIO;
        if (random.below(9) == 0) return -EINTR;
        return random.below(3) == 0 ? static_cast<std::int64_t>(n) : 1 + random.below(20);
      });
      TextRead<T> reader;
      const unsigned opened = reader.open(file.path(), random.below(200));
      if (round % 2 == 0) {
        const auto lines = oracle::LinesOf(reader, empty_lines);
        ExpectRead(lines, oracle::FileLines<T>(bytes, empty_lines), reader.error());
      } else {
        const auto pairs = oracle::PairsOf(reader, '\t');
        ExpectRead(pairs, oracle::FilePairs<T>(bytes, '\t'), reader.error());
      }
      ASSERT_EQ(reader.error(), call > fail_at ? EIO : 0);
      ASSERT_EQ(reader.is_empty(), opened == FAILURE);
    }
  }
}

TYPED_TEST(TextReadTest, AMarkTellsTheUnits) {
  // A file, its lines in either width, each with a '|' behind it.
  const std::tuple<std::string_view, std::string_view, std::u16string_view> rows[] = {
      {"", "", u""},
      {"\xEF\xBB\xBF", "", u""},
      {"\xEF\xBB", "\xEF\xBB|", u"\xBBEF|"},              // two thirds of a mark
      {"\xFF\xFE\x61\0\n"sv, "a|", u"a|"},                // half a unit at the end
      {"\xFE\xFF\xD8\x01", "\xED\xA0\x81|", u"\xD801|"},  // a surrogate without its partner
      {"\xEF\xBB\xBF\x80\n\nx", "\x80||x|", u"||x|"},     // a byte that decodes to nothing
  };
  for (const auto& [bytes, narrow, wide] : rows) {
    const TempFile file(bytes);
    TextRead<TypeParam> reader;
    ASSERT_EQ(reader.open(file.path()), 0u);
    StdString<TypeParam> lines;
    for (const auto& line : oracle::LinesOf(reader, true)) lines += line + CharOf<TypeParam>('|');
    EXPECT_TRUE(BytesOf(lines) == narrow || BytesOf(lines) == BytesOf(std::u16string(wide)));
  }
}

TYPED_TEST(TextReadTest, APairIsSplitAtItsLastSeparator) {
  std::string lines;
  std::vector<oracle::Pair<TypeParam>> want;
  for (const auto& row :
       Rows("key\t12|key|12 a\tb\t3|a\tb|3 no_tab|no_tab|0 k\t|k|0 \t5||5 k\t12_|k|12 k\t_12|k|0 "
            "k\tx|k|0 k\t-7|k|-7 k\t1234567x|k|1234567 k\t123456789|k|123456789 k\t00000000004|k|4 "
            "k\t9223372036854775808|k|-9223372036854775808 k\t18446744073709551615|k|-1 "
            "k\t18446744073709551616|k|-1 k\t-9223372036854775809|k|-9223372036854775808")) {
    lines += row[0] + "\r\n\n";
    want.emplace_back(Widen<TypeParam>(row[1]), std::stoll(row[2]));
  }
  const TempFile file("\xEF\xBB\xBF" + lines), same(BytesOf(Widen<TypeParam>(lines)));
  for (const TempFile* each : {&file, &same}) {
    TextRead<TypeParam> reader;
    ASSERT_EQ(reader.open(each->path()), 0u);
    EXPECT_EQ(oracle::PairsOf(reader, '\t'), want);
  }
}

TYPED_TEST(TextReadTest, OpenSaysWhyItFailedAndAFileMayVanishOrShrinkAfterwards) {
  const std::pair<const char*, int> rows[] = {
      {nullptr, EINVAL}, {"/no/such/file", ENOENT}, {"/", EISDIR}};
  TextRead<TypeParam> reader;
  for (const auto& [path, error] : rows) {
    EXPECT_EQ(reader.open(path), FAILURE);
    EXPECT_EQ(reader.error(), error);
    EXPECT_TRUE(reader.is_empty());
  }
  const TempFile file(
      "\xEF\xBB\xBF"
      "a\nb\n" +
      std::string(1000, 'x'));
  ASSERT_EQ(reader.open(file.path(), 1), 0u);
  EXPECT_FALSE(reader.for_each_line(false, [](auto) { return false; }));
  EXPECT_FALSE(reader.for_each_pair('\t', [](auto, long long) { return false; }));
  EXPECT_EQ(::truncate(file.path(), 500), 0);
  EXPECT_EQ(::unlink(file.path()), 0);
  EXPECT_EQ(oracle::LinesOf(reader, false).at(0).size(), 493u);
  EXPECT_EQ(reader.error(), 0);
  reader.close();
  EXPECT_EQ(oracle::LinesOf(reader, true).size(), 0u);
}

}  // namespace
}  // namespace tstl
