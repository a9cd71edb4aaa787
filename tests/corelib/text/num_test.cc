#include "corelib/text/num.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>

#include "tests/corelib/text/written.h"

namespace tstl {
namespace {

template <class T>
class NumTest : public testing::Test {};
TYPED_TEST_SUITE(NumTest, Units, UnitNames);

template <class T, class V>
void ExpectAsToChars(V value) {
  char chars[32];
  const std::string want(chars, std::to_chars(chars, chars + sizeof chars, value).ptr);
  const auto room = static_cast<unsigned>(want.size()) + 1;
  EXPECT_EQ(Written<T>(room, [=](T* buf) { return NUM::zz_tostr(buf, value); }), Widen<T>(want));
  std::to_chars_result hex =
      std::to_chars(chars, chars + sizeof chars, std::make_unsigned_t<V>(value), 16);
  std::string digits(chars, hex.ptr);
  for (char& digit : digits) digit = digit < 'a' ? digit : static_cast<char>(digit - 'a' + 'A');
  EXPECT_EQ(Written<T>(2 * sizeof(V) + 1, [=](T* buf) { return NUM::zz_tohex(buf, value); }),
            Widen<T>(digits));
}

TYPED_TEST(NumTest, IntegersAreWrittenAsToCharsWritesThem) {
  std::mt19937_64 random(1);
  for (unsigned i = 0; i < 20000; ++i) {
    const std::uint64_t value = random() >> random() % 64;
    ExpectAsToChars<TypeParam>(value);
    ExpectAsToChars<TypeParam>(static_cast<long long>(value));
    ExpectAsToChars<TypeParam>(static_cast<int>(value));
    ExpectAsToChars<TypeParam>(static_cast<unsigned>(value));
    ExpectAsToChars<TypeParam>(static_cast<unsigned short>(value));
    ExpectAsToChars<TypeParam>(static_cast<signed char>(value));
  }
  for (const std::uint64_t power : detail::kDecimalPowers) {
    for (const std::uint64_t value : {power - 1, power, 0 - power}) {
      ExpectAsToChars<TypeParam>(value);
      ExpectAsToChars<TypeParam>(static_cast<long long>(value));
      ExpectAsToChars<TypeParam>(static_cast<unsigned>(value));
    }
  }
  ExpectAsToChars<TypeParam>(std::numeric_limits<int>::min());
  ExpectAsToChars<TypeParam>(std::numeric_limits<long long>::min());
}

TYPED_TEST(NumTest, PaddingPutsZerosAfterTheSign) {
  using T = TypeParam;
  struct Row {
    int value;
    unsigned width;
    const char* want;
  };
  for (const Row& row : {Row{-5, 4, "-005"},
                         {12345, 3, "12345"},
                         {7, 1, "7"},
                         {0, 21, "000000000000000000000"},
                         {-12, 3, "-12"},
                         {-12, 0, "-12"}}) {
    SCOPED_TRACE(row.want);
    EXPECT_EQ(Written<T>(std::max(row.width, 6u) + 1,
                         [&](T* buf) {
                           return NUM::zz_fixp(buf, NUM::zz_tostr(buf, row.value), row.width);
                         }),
              Widen<T>(row.want));
  }
  EXPECT_EQ(Written<T>(4, [&](T* buf) { return NUM::zz_fixp(buf, 0, 3); }), Widen<T>("000"));
}

TYPED_TEST(NumTest, FixedPointKeepsADigitBeforeThePoint) {
  using T = TypeParam;
  struct Row {
    long long value;
    unsigned decimals;
    const char* want;
  };
  for (const Row& row : {Row{1234, 3, "1.234"},
                         {5, 3, "0.005"},
                         {-5, 3, "-0.005"},
                         {-1234, 1, "-123.4"},
                         {0, 2, "0.00"},
                         {5, 0, "5."},
                         {std::numeric_limits<long long>::min(), 19, "-0.9223372036854775808"}}) {
    SCOPED_TRACE(row.want);
    EXPECT_EQ(Written<T>(std::max(row.decimals + 2, 20u) + 2,
                         [&](T* buf) { return NUM::zz_totc(buf, row.value, row.decimals); }),
              Widen<T>(row.want));
  }
}

TYPED_TEST(NumTest, SizesHaveFiveDigitsAndAUnit) {
  using T = TypeParam;
  struct Row {
    unsigned long long bytes;
    const char* want;
  };
  for (const Row& row : {Row{0, "0.000B"},
                         {1000, "1000.0B"},
                         {1023, "1023.0B"},
                         {1024, "1.000K"},
                         {1536, "1.500K"},
                         {(1 << 20) - 1, "1023.9K"},
                         {1 << 20, "1.000M"},
                         {10ull << 30 | 1ull << 29, "10.500G"},
                         {123ull << 40, "123.00T"},
                         {5ull << 50, "5.000P"},
                         {~0ull, "15.999E"}}) {
    EXPECT_EQ(Written<T>(NUM::kSizeRoom, [&](T* buf) { return NUM::zz_tofsize(buf, row.bytes); }),
              Widen<T>(row.want));
  }
}

TYPED_TEST(NumTest, RealsReadBackAndHaveTheFewestDigits) {
  using T = TypeParam;
  std::mt19937_64 random(2);
  for (unsigned i = 0; i < 20000; ++i) {
    const double value = i % 2 == 0 ? std::bit_cast<double>(random())
                                    : std::ldexp(static_cast<double>(random() % 100000),
                                                 static_cast<int>(random() % 60) - 40);
    if (std::isnan(value)) continue;
    const auto text =
        Written<T>(NUM::kRealRoom, [&](T* buf) { return NUM::zz_toreal(buf, value); });
    const std::string bytes(text.begin(), text.end());
    double back = 0;
    ASSERT_EQ(std::from_chars(bytes.data(), bytes.data() + bytes.size(), back).ptr,
              bytes.data() + bytes.size());
    ASSERT_EQ(std::bit_cast<std::uint64_t>(back), std::bit_cast<std::uint64_t>(value)) << bytes;
    char shortest[32];
    const auto end = std::to_chars(shortest, shortest + sizeof shortest, value).ptr;
    ASSERT_LE(end - shortest, static_cast<long>(bytes.size()));
  }
}

TYPED_TEST(NumTest, RealsChooseTheirFormByMagnitude) {
  using T = TypeParam;
  const double inf = std::numeric_limits<double>::infinity();
  struct Row {
    double value;
    const char *shortest, *three_and_two;
  };
  for (const Row& row :
       {Row{0, "0", "000.00"},
        {-0.0, "-0", "-000.00"},
        {1, "1", "001.00"},
        {-1234.5, "-1234.5", "-1234.50"},
        {0.125, "0.125", "000.12"},
        {0.1, "0.1", "000.10"},
        {999.999, "999.999", "1000.00"},
        {1e-6, "0.000001", "000.00"},
        {1.5e-7, "1.5e-07", "000.00"},
        {-1e-9, "-1e-09", "-000.00"},
        {1e20, "100000000000000000000", "100000000000000000000.00"},
        {1e21, "1e+21", "1e+21"},
        {-1.7976931348623157e308, "-1.7976931348623157e+308", "-1.7976931348623157e+308"},
        {5e-324, "5e-324", "000.00"},
        {inf, "inf", "inf"},
        {-inf, "-inf", "-inf"},
        {-std::nan(""), "nan", "nan"}}) {
    EXPECT_EQ(Written<T>(NUM::kRealRoom, [&](T* buf) { return NUM::zz_toreal(buf, row.value); }),
              Widen<T>(row.shortest));
    EXPECT_EQ(Written<T>(NUM::kFixedRealRoom,
                         [&](T* buf) { return NUM::zz_toreal(buf, row.value, 3, 2); }),
              Widen<T>(row.three_and_two));
  }
}

TYPED_TEST(NumTest, RealsWithCountedDigitsStayInTheirRoom) {
  using T = TypeParam;
  std::mt19937_64 random(3);
  for (unsigned i = 0; i < 5000; ++i) {
    const double value = std::ldexp(std::bit_cast<double>((random() >> 12) | 0x3FF0000000000000),
                                    static_cast<int>(random() % 200) - 131);
    const auto fraction = static_cast<unsigned>(random() % 41);
    char want[400];
    const int len = std::snprintf(want, sizeof want, "%.*f", static_cast<int>(fraction), -value);
    ASSERT_EQ(Written<T>(NUM::kFixedRealRoom,
                         [&](T* buf) { return NUM::zz_toreal(buf, -value, 0, fraction); }),
              Widen<T>(std::string(want, static_cast<std::size_t>(len))));
    for (const double extreme : {-value, -9.9e20}) {
      Written<T>(NUM::kFixedRealRoom,
                 [&](T* buf) { return NUM::zz_toreal(buf, extreme, ~0u, ~0u); });
    }
  }
}

}  // namespace
}  // namespace tstl
