#include "corelib/text/str.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <vector>

#include "tests/corelib/text/units.h"

namespace tstl {
namespace {

template <class T>
class StrTest : public testing::Test {};
TYPED_TEST_SUITE(StrTest, Units, UnitNames);

// 'a' and 'b', line breaks, separators, and units above ASCII whose low bytes or low seven bits are
// those of 'a' or LF.
constexpr std::string_view kAlphabet = "ab\r\n/\\ \xE1\x8A";

// The expected result of an integer parser. from_chars reads the same digits, but reports a value
// out of range instead of returning the limit.
template <class Int>
Int Saturated(std::string_view text) {
  Int value = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), value);
  if (result.ec != std::errc::result_out_of_range) return value;
  return text[0] == '-' ? std::numeric_limits<Int>::min() : std::numeric_limits<Int>::max();
}

TYPED_TEST(StrTest, DecimalNumbersSaturateAndEndAtTheFirstOtherUnit) {
  auto texts = Rows(
      "| - --5 +5 _5 -0 12ab -12- 2147483647 2147483648 -2147483648 -2147483649 4294967295 "
      "4294967296 42949672950 9223372036854775807 9223372036854775808 -9223372036854775808 "
      "-9223372036854775809 18446744073709551615 18446744073709551616 184467440737095516150 "
      "000000000000000000000000000000042 1234567/ 123456789:");
  RandomTexts random(1);
  for (int i = 0; i < 3000; ++i) {
    std::string text(random.below(2), '-');
    for (unsigned n = random.below(26); n != 0; --n) text += "0123456789"[random.below(10)];
    const unsigned at = random.below(60);
    if (at < text.size()) text[at] = "/:a \xB1"[random.below(5)];
    texts.push_back({text});
  }
  for (const auto& row : texts) {
    const std::string& text = row[0];
    SCOPED_TRACE(text);
    const HeapText<TypeParam> units(text);
    const auto* p = units.view().cstr();
    EXPECT_EQ(STR::zz_toint64(p, text.size()), Saturated<long long>(text));
    EXPECT_EQ(STR::zz_touint64(p, text.size()), Saturated<unsigned long long>(text));
    EXPECT_EQ(STR::zz_toint32(p, text.size()), Saturated<int>(text));
    EXPECT_EQ(STR::zz_touint32(p, text.size()), Saturated<unsigned>(text));
  }
}

TEST(StrTest, SixteenBitUnitsWithTheLowByteOfADigitAreNoDigits) {
  for (const char16_t other : std::u16string(u"\u0131\u3031\u8031\uFF31\uFF11\u00B1")) {
    for (unsigned at = 0; at < 20; ++at) {
      SCOPED_TRACE(testing::Message() << unsigned{other} << " at " << at);
      std::u16string text = u"11111111111111111111";
      text[at] = other;
      const HeapText<unsigned short> units((BufferRef<unsigned short>(text)));
      EXPECT_EQ(units.view().to_uint64(), Saturated<unsigned long long>(std::string(at, '1')));
      EXPECT_EQ(units.view().sub_head(8).to_hex32(), at < 8 ? 0 : 0x11111111);
    }
  }
}

TYPED_TEST(StrTest, HexadecimalHalvesAreReadApart) {
  // Text, its value by zz_tohex32, its value by zz_tohex.
  for (const auto& row :
       Rows("|0|0 0|0|0 ff|ff|ff FFFFFFFF|ffffffff|ffffffff 1G|0|0 g1|0|0 0x1|0|0 -1|0|0 @1|0|0 "
            "12345678g|0|100000000 12345678x|0|100000000 123456789|0|123456789 "
            "x23456789|0|23456789 aBcDeF0123456789|0|abcdef0123456789 11111111111111111|0|0")) {
    SCOPED_TRACE(row[0]);
    const HeapText<TypeParam> units(row[0]);
    const auto* p = units.view().cstr();
    EXPECT_EQ(STR::zz_tohex32(p, row[0].size()), std::stoull(row[1], nullptr, 16));
    EXPECT_EQ(STR::zz_tohex(p, row[0].size()), std::stoull(row[2], nullptr, 16));
  }
}

// Expects what strtod reads of `number`, but the greatest double for an overflow.
void ExpectReal(const std::string& number, const std::string& rest = "") {
  constexpr double kMax = std::numeric_limits<double>::max();
  const double want = std::clamp(std::strtod(number.c_str(), nullptr), -kMax, kMax);
  const std::string text = number + rest;
  for (const double got : {HeapText<unsigned char>(text).view().to_real(),
                           HeapText<unsigned short>(text).view().to_real()}) {
    EXPECT_TRUE(got == want && std::signbit(got) == std::signbit(want))
        << text << " is " << got << ", not " << want;
  }
}

TEST(StrTest, RealNumbersFollowTheGrammar) {
  // The number, and the text after it.
  for (const auto& row :
       Rows("| |- |. |+. |inf |-nan |e5 |.e5 |+-1 |_1 0|x10 -0| -0e9| +1.5| .5| 5.| 5.|x -.5e1| "
            "1E-2| 1e+2| 1.5|e 1.5|e+ 1.5|e-x 1.5|,5 1.5|.5 1e400| -1e400| 1.7976931348623159e308| "
            "1e-400| -1e-400| 1e99999999999999999999| 1e-99999999999999999999| "
            "0e99999999999999999999| 4.9e-324| 9007199254740993|")) {
    ExpectReal(row[0], row[1]);
  }
  // The 16-bit form narrows short numbers to an array; a number as long as the array must not be
  // cut there.
  for (unsigned zeros = 30; zeros < 60; ++zeros) {
    ExpectReal("1" + std::string(zeros, '0') + "e-" + std::to_string(zeros));
    ExpectReal("1." + std::string(zeros, '0') + "e5", "x");
  }
}

TEST(StrTest, RealNumbersOfAnyLengthAreRoundedCorrectly) {
  RandomTexts random(2);
  if (std::numeric_limits<long double>::digits > 53) {  // half way, decided by the 768th digit
    char longest[800];
    std::snprintf(longest, sizeof longest, "%.767Le", std::ldexp(0x1p54L - 1, -1075));
    ExpectReal(longest);
  }
  const std::string zeros(100000, '0');
  ExpectReal("1" + zeros + "e-100000");
  ExpectReal("0." + zeros + "1e100001");
  ExpectReal(zeros + "1.5");
  const auto digits = [&](unsigned n) {
    std::string run(n, '0');
    for (char& digit : run) digit = "00000123456789"[random.below(14)];
    return run;
  };
  for (int i = 0; i < 4000; ++i) {
    const unsigned longest = i % 4 == 0 ? 1200 : 25;
    std::string text = digits(1 + random.below(longest)) + "." + digits(random.below(longest));
    if (random.below(2) != 0) text += "e" + std::to_string(int(random.below(700)) - 350);
    ExpectReal(text);
  }
  for (int i = 0; i < 200; ++i) {  // half way between two neighbours, and slightly above it
    const double low = std::ldexp(1 + random.below(1u << 30), int(random.below(1000)) - 560);
    char buffer[1200];
    std::snprintf(buffer, sizeof buffer, "%.1050Lf",
                  (static_cast<long double>(low) + std::nextafter(low, HUGE_VAL)) / 2);
    ExpectReal(buffer);
    ExpectReal(buffer + std::string("1"));
  }
}

TYPED_TEST(StrTest, SearchesAgreeWithTheStandardLibrary) {
  using T = TypeParam;
  const auto want = [](std::size_t at) { return static_cast<int>(at); };  // npos becomes -1
  RandomTexts random(3);
  for (int i = 0; i < 6000; ++i) {
    // Few units: many matches, long runs.
    const auto alphabet = kAlphabet.substr(0, 1 + random.below(unsigned(kAlphabet.size())));
    const HeapText<T> text = random.next<T>(i % 3 == 0 ? 300 : 40, alphabet);
    const HeapText<T> other = random.next<T>(i % 2 == 0 ? 3 : 20, alphabet);
    const auto view = text.view().std_view(), needle = other.view().std_view();
    const T* const p = text.view().cstr();
    const T* const s = other.view().cstr();
    const std::size_t n = view.size(), m = needle.size();
    SCOPED_TRACE(testing::Message() << text.view() << " / " << other.view());
    const T c = random.unit<T>(kAlphabet), d = random.unit<T>(kAlphabet);
    const CharOf<T> both[] = {CharOf<T>(c), CharOf<T>(d), 0}, slashes[] = {'/', '\\', 0};
    const unsigned pos = random.below(unsigned(n) + 3);

    EXPECT_EQ(STR::zz_findchr(p, n, c), want(view.find(both[0])));
    EXPECT_EQ(STR::zz_findchr(p, n, c, d), want(view.find_first_of(both)));
    EXPECT_EQ(STR::zz_findchr_bypos(p, n, c, pos), want(view.find(both[0], pos)));
    EXPECT_EQ(STR::zz_findchr_bypos(p, n, c, d, pos), want(view.find_first_of(both, pos)));
    EXPECT_EQ(STR::zz_findbchr(p, n, c), want(view.rfind(both[0])));
    EXPECT_EQ(STR::zz_findbslash(p, n), want(view.find_last_of(slashes)));
    EXPECT_EQ(STR::zz_findstr(p, n, s, m), want(view.find(needle)));
    EXPECT_EQ(STR::zz_findb_str(p, n, s, m), m == 0 ? -1 : want(view.rfind(needle)));
    unsigned which = 99;
    const int in_set = STR::zz_findchrlist(p, n, s, m, &which);
    EXPECT_EQ(in_set, want(view.find_first_of(needle)));
    EXPECT_EQ(which, in_set < 0 ? 99 : needle.find(view[unsigned(in_set)]));
    EXPECT_EQ(STR::zz_cntchr(p, n, c), std::count(view.begin(), view.end(), both[0]));
    EXPECT_EQ(STR::zz_cntcstvchr(p, n, c), std::min(n, view.find_first_not_of(both[0])));
    EXPECT_EQ(STR::zz_cntbcstvchr(p, n, c), n - (view.find_last_not_of(both[0]) + 1));
    EXPECT_EQ(STR::zz_stwith(p, n, s, m), view.starts_with(needle));
    EXPECT_EQ(STR::zz_edwith(p, n, s, m), view.ends_with(needle));
    const auto apart = std::mismatch(view.begin(), view.end(), needle.begin(), needle.end());
    EXPECT_EQ(STR::zz_mchstr(p, n, s, m), apart.first - view.begin());
  }
}

TYPED_TEST(StrTest, ARareNeedleOrBreakIsFoundWhereverItStandsInALongText) {
  // The distance between occurrences of the needle's first unit.
  for (const unsigned gap : {1u, 7u, 60u, 300u, 9000u}) {
    std::string text(6000, '.');
    for (unsigned i = 0; i < text.size(); i += gap) text[i] = 'n';
    for (unsigned at = 0; at + 6 <= text.size(); at += at < 5950 ? 61 : 1) {
      const HeapText<TypeParam> units(std::string(text).replace(at, 6, "needle"));
      ASSERT_EQ(units.view().find_str(Widen<TypeParam>("needle")), at) << gap;
      ASSERT_EQ(units.view().findback_str(Widen<TypeParam>("needle")), at) << gap;
      ASSERT_EQ(units.view().find_str(Widen<TypeParam>("seldom")), NOT_FOUND) << gap;
      const HeapText<TypeParam> line(text.substr(0, at) + "\r\n");
      unsigned brk_len = 0;
      ASSERT_EQ(line.view().find_crlf(brk_len), at);
      ASSERT_EQ(brk_len, 2);
      ASSERT_EQ(line.view().find_chr('\n', '?'), at + 1);
      ASSERT_EQ(line.view().find_chr('\n'), at + 1);
      ASSERT_EQ(line.view().sub_head(at).find_crlf(brk_len), NOT_FOUND);
    }
  }
}

TYPED_TEST(StrTest, LongRunsAreCountedAndReplacedWhole) {
  std::vector<TypeParam> units(200000, 'x');
  EXPECT_EQ(STR::zz_cntchr(units.data(), units.size(), 'x'), 200000);
  units[1] = units[199999] = 'y';
  EXPECT_EQ(STR::zz_replchr(units.data(), units.size(), 'x', 'y'), 199998);
  EXPECT_EQ(STR::zz_cntcstvchr(units.data(), units.size(), 'y'), 200000);
}

TYPED_TEST(StrTest, OnlyAsciiLettersChangeCase) {
  // The text, in lower case, in upper case, with the cases swapped.
  for (const auto& row : Rows("@AZ[`az{|@az[`az{|@AZ[`AZ{|@az[`AZ{ \xC1\xE1\xDA|\xC1\xE1\xDA|"
                              "\xC1\xE1\xDA|\xC1\xE1\xDA")) {
    const HeapText<TypeParam> low(row[0]), up(row[0]), swapped(row[0]);
    low.view().to_low();
    up.view().to_up();
    for (TypeParam& c : swapped.view()) c = STR::zz_shiftcase(c);
    EXPECT_EQ(low.view(), Widen<TypeParam>(row[1]));
    EXPECT_EQ(up.view(), Widen<TypeParam>(row[2]));
    EXPECT_EQ(swapped.view(), Widen<TypeParam>(row[3]));
  }
}

TYPED_TEST(StrTest, TerminatedTextIsCopiedWithItsZero) {
  const auto abc = Widen<TypeParam>("abc");
  const auto* src = reinterpret_cast<const TypeParam*>(abc.c_str());
  EXPECT_EQ(STR::zz_len(static_cast<TypeParam*>(nullptr)), 0);
  EXPECT_EQ(STR::zz_len(static_cast<TypeParam*>(nullptr), 9), 0);
  for (const unsigned max : {0u, 2u, 3u, 9u}) {
    const HeapText<TypeParam> dst("#####");
    const std::string cut = std::string("abc").substr(0, max);
    EXPECT_EQ(STR::zz_len(src, max), cut.size());
    EXPECT_EQ(STR::zz_cpy(dst.view().str(), src, max), cut.size());
    EXPECT_EQ(dst.view(), Widen<TypeParam>((cut + '\0').append(4 - cut.size(), '#')));
  }
  const HeapText<TypeParam> dst("#######");
  EXPECT_EQ(STR::zz_cpy(dst.view().str(), src), 3);
  EXPECT_EQ(STR::zz_cat(dst.view().str(), src), 6);
  EXPECT_EQ(dst.view(), Widen<TypeParam>(std::string_view("abcabc\0", 7)));
  EXPECT_EQ(STR::zz_cmp(src, dst.view().cstr()), -'a');
  EXPECT_EQ(STR::zz_cmp(src, src), 0);
  const TypeParam high[] = {0xFF, 0};
  EXPECT_EQ(STR::zz_cmp(high, src), 0xFF - 'a');
}

TEST(StrTest, CastsWidenWithZerosAndNarrowToLowBytes) {
  const unsigned short wide[] = {'A', 0x4E00, 'B', 0};
  unsigned char narrow[4] = {9, 9, 9, 9};
  EXPECT_EQ((STR::zz_cast<unsigned char, unsigned short>(narrow, wide, 3)), 3);
  EXPECT_EQ(BufferRef<unsigned char>(narrow, 4), std::string_view("A\0B\x9", 4));
  EXPECT_EQ((STR::zz_cast<unsigned char, unsigned short>(narrow + 2, wide)), 1);
  EXPECT_EQ(BufferRef<unsigned char>(narrow, 4), std::string_view("A\0A\0", 4));

  const std::string text = "in place \xE4\xFF, longer than a vector or two of the machine";
  std::vector<unsigned short> buffer(text.size());
  auto* const bytes = reinterpret_cast<unsigned char*>(buffer.data());
  std::memcpy(bytes, text.data(), text.size());
  STR::zz_cast_rev(buffer.data(), bytes, text.size());
  EXPECT_EQ(BufferRef<unsigned short>(buffer.data(), unsigned(text.size())),
            Widen<unsigned short>(text));
  STR::zz_cast(bytes, buffer.data(), text.size());
  EXPECT_EQ(std::memcmp(bytes, text.data(), text.size()), 0);
  STR::zz_cast(buffer.data() + 1, buffer.data(), 20);  // units of one width may overlap
  EXPECT_EQ(std::memcmp(buffer.data() + 1, text.data(), 40), 0);
}

}  // namespace
}  // namespace tstl
