#include "corelib/io/files/text_read.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>
#include <vector>

#include "corelib/text/buffer.h"
#include "fuzz/io/text_oracle.h"
#include "tests/corelib/io/files/system_calls.h"

namespace tstl {
namespace {

using std::string_view_literals::operator""sv;

template <class T>
struct TextReadTest : testing::Test {};
TYPED_TEST_SUITE(TextReadTest, Units, UnitNames);

// All encodings of a file with these lines, and malformed ones: a stray byte, two thirds of a mark,
// half a unit at the end.
std::vector<std::string> FormsOf(const std::u16string& text) {
  const std::string utf8(Buffer<unsigned char>(BufferRef<unsigned short>(text)).std_view());
  std::string swapped = "\xFE\xFF";
  for (const char16_t c : text) (swapped += static_cast<char>(c >> 8)) += static_cast<char>(c);
  const std::string units = BytesOf(u"\xFEFF" + text), mark = "\xEF\xBB\xBF";
  return {utf8,    BytesOf(text),        mark + utf8,       units,
          swapped, mark + '\x80' + utf8, "\xEF\xBB" + utf8, units + "z"};
}

// Expects `got` to be all of `want`, or after an error a prefix of it.
void ExpectRead(const auto& got, auto want, const auto& reader) {
  ASSERT_TRUE(reader.error() != 0 || got.size() == want.size());
  ASSERT_LE(got.size(), want.size());
  want.resize(got.size());
  ASSERT_EQ(got, want);
}

// Random texts with every kind of line end, read through buffers of any size by calls that return
// few bytes and may fail.
TYPED_TEST(TextReadTest, ReadsWhatAPlainReaderFindsHoweverTheSystemDelivers) {
  using T = TypeParam;
  const char16_t* const pieces[] = {u"\n",           u"\r",     u"\r\n",   u"\n\n",   u"\t",
                                    u"word",         u"\x6D",   u"\xE9",   u"\x6765", u"a",
                                    u"\xD83D\xDE00", u"\xD801", u"\xDC01", u"\x0A0D", u"\x0D0A"};
  const auto numbers = Rows(
      "-70 12345678 123456789 1234567x 00000000004 _12 12_ 9223372036854775808 "
      "18446744073709551615 18446744073709551616 -9223372036854775809 18439999999999999999 "
      "90000000000000000000 1234567890123456 12345678901234567 1x345678901234567 123456789x1234567 "
      "12345678901234567x9 1234x6789 000000018439999999999999 0000000018439999999999999");
  const auto number_cnt = static_cast<unsigned>(numbers.size());
  RandomTexts random(77);
  for (int round = 0; round < 400; ++round) {
    std::u16string text;
    for (unsigned n = round < 2 ? 0 : random.below(round % 10 == 0 ? 1000 : 150); n != 0; --n) {
      text += pieces[random.below(round % 4 == 0 ? 15 : 11)];
      const auto& number = numbers[random.below(number_cnt)][0];
      if (random.below(9) == 0) text += u'\t' + Widen<unsigned short>(number);
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
        ExpectRead(oracle::LinesOf(reader, empty_lines), oracle::FileLines<T>(bytes, empty_lines),
                   reader);
      } else {
        ExpectRead(oracle::PairsOf(reader, '\t'), oracle::FilePairs<T>(bytes, '\t'), reader);
        const PairFaults got = reader.pair_faults(), want = oracle::FileFaults<T>(bytes, '\t');
        ASSERT_TRUE(reader.error() != 0 ||
                    (got.no_separator == want.no_separator && got.no_number == want.no_number &&
                     got.not_fit == want.not_fit));
      }
      ASSERT_EQ(reader.error(), call > fail_at ? EIO : 0);
      ASSERT_EQ(reader.is_empty(), opened == FAILURE);
    }
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
  const TempFile file("\xEF\xBB\xBFz\ny\n" + std::string(1000, 'x'));
  ASSERT_EQ(reader.open(file.path(), 1), 0u);
  EXPECT_FALSE(reader.for_each_line(false, [](auto) { return false; }));
  EXPECT_FALSE(reader.for_each_pair('\t', [](auto, long long) { return false; }));
  EXPECT_EQ(::truncate(file.path(), 500), 0);
  EXPECT_EQ(::unlink(file.path()), 0);
  EXPECT_EQ(oracle::LinesOf(reader, false).at(0).size(), 493u);
  EXPECT_EQ(reader.error(), 0);
  reader.close();
  EXPECT_EQ(oracle::LinesOf(reader, true).size(), 0u);
  const auto cr = Widen<TypeParam>("\r"), lf = Widen<TypeParam>("\n");
  const TempFile ends_in_cr(BytesOf(Widen<TypeParam>("a") + cr)), starts_with_lf(BytesOf(lf + lf));
  ASSERT_EQ(reader.open(ends_in_cr.path()), 0u);
  EXPECT_EQ(oracle::LinesOf(reader, true).size(), 1u);
  ASSERT_EQ(reader.open(starts_with_lf.path(), 4), 0u);
  EXPECT_EQ(oracle::LinesOf(reader, true).size(), 2u);
}

}  // namespace
}  // namespace tstl
