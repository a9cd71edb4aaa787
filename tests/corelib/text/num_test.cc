#include "corelib/text/num.h"

#include <charconv>
#include <cmath>
#include <cstdio>
#include <limits>
#include <random>
#include <vector>

#include "corelib/text/detail/real_chars.h"
#include "tests/corelib/text/written.h"

namespace tstl {
namespace {

template <class T>
class NumTest : public testing::Test {};
TYPED_TEST_SUITE(NumTest, Units, UnitNames);

template <class T>
void ExpectAsToChars(auto value) {
  char chars[32];
  const std::string decimal(chars, std::to_chars(chars, chars + 32, value).ptr);
  ExpectText<T>(decimal, [=](T* buf) { return NUM::zz_tostr(buf, value); });
  const auto bits = static_cast<std::make_unsigned_t<decltype(value)>>(value);
  std::string hex(chars, std::to_chars(chars, chars + 32, bits, 16).ptr);
  BufferRef<unsigned char>(hex).to_up();
  ExpectText<T>(hex, [=](T* buf) { return NUM::zz_tohex(buf, value); });
}

TYPED_TEST(NumTest, IntegersAreWrittenAsToCharsWritesThem) {
  std::mt19937_64 random(1);
  std::vector<std::uint64_t> values = {1ull << 31, 1ull << 63, 0};
  for (const std::uint64_t power : base::kPowersOfTen)
    values.insert(values.end(), {power - 1, power, 0 - power});
  for (unsigned i = 0; i < 20000; ++i) values.push_back(random() >> random() % 64);
  for (const std::uint64_t value : values) {
    ExpectAsToChars<TypeParam>(value);
    ExpectAsToChars<TypeParam>(static_cast<long long>(value));
    ExpectAsToChars<TypeParam>(static_cast<int>(value));
    ExpectAsToChars<TypeParam>(static_cast<unsigned>(value));
    ExpectAsToChars<TypeParam>(static_cast<signed char>(value));
  }
}

TYPED_TEST(NumTest, NumbersArePaddedPointedAndScaled) {
  using T = TypeParam;
  ExpectText<T>("-005", [](T* buf) { return NUM::zz_fixp(buf, NUM::zz_tostr(buf, -5), 4); });
  ExpectText<T>("12345", [](T* buf) { return NUM::zz_fixp(buf, NUM::zz_tostr(buf, 12345), 3); });
  ExpectText<T>("0000000", [](T* buf) { return NUM::zz_fixp(buf, 0, 7); });
  ExpectText<T>("1.234", [](T* buf) { return NUM::zz_totc(buf, 1234, 3); });
  ExpectText<T>("-0.005", [](T* buf) { return NUM::zz_totc(buf, -5, 3); });
  ExpectText<T>("5.", [](T* buf) { return NUM::zz_totc(buf, 5, 0); });
  ExpectText<T>("0.18446744073709551615", [](T* buf) { return NUM::zz_totc(buf, ~0ull, 20); });
  const std::pair<const char*, std::uint64_t> sizes[] = {
      {"0.000B", 0},        {"1023.0B", 1023},         {"1.000K", 1024},
      {"1023.9K", 1048575}, {"123.00T", 123ull << 40}, {"15.999E", ~0ull}};
  for (const auto& row : sizes)
    ExpectText<T>(row.first, [&](T* buf) { return NUM::zz_tofsize(buf, row.second); });
}

TYPED_TEST(NumTest, RealsReadBackAndAgreeWithPrintf) {
  using T = TypeParam;
  std::mt19937_64 random(2);
  for (unsigned i = 0; i < 20000; ++i) {
    const double values[] = {
        std::bit_cast<double>(random()),
        std::bit_cast<double>(random() >> (12 + i % 52)),  // subnormal
        std::nextafter(std::ldexp(1, static_cast<int>(i % 2098) - 1074), i % 3),
        std::ldexp(static_cast<double>(random() % 100000) - 50000,
                   static_cast<int>(random() % 60) - 40)};
    const double value = values[i % 4];
    if (std::isnan(value)) continue;
    const auto text =
        Written<T>(NUM::kRealRoom, [=](T* buf) { return NUM::zz_toreal(buf, value); });
    ASSERT_EQ(std::strtod(std::string(text.begin(), text.end()).c_str(), nullptr), value);
    Written<T>(NUM::kFixedRealRoom, [=](T* buf) { return NUM::zz_toreal(buf, value, ~0u, ~0u); });
#ifdef __cpp_lib_to_chars
    const bool scientific = text.find(CharOf<T>{'e'}) != text.npos;
    char shortest[400];
    const auto end =
        std::to_chars(shortest, shortest + 400, value,
                      scientific ? std::chars_format::scientific : std::chars_format::fixed);
    ASSERT_EQ(text, Widen<T>(std::string_view(shortest, end.ptr)));
#endif
    if (std::abs(value) >= 1e21) continue;
    char fixed[80];
    std::snprintf(fixed, sizeof fixed, "%.*f", static_cast<int>(i % 41), value);
    ExpectText<T>(fixed, [=](T* buf) { return NUM::zz_toreal(buf, value, 0, i % 41); });
  }
}

#ifdef __cpp_lib_to_chars
// In both forms, fixed only below 1e21, and with all counts of digits.
void ExpectRealAsToChars(double value) {
  const auto expect_same = [value](auto... form) {
    char want[400], got[400];
    const std::string_view text(want, std::to_chars(want, want + 400, value, form...).ptr);
    ASSERT_EQ(text,
              std::string_view(got, detail::real_to_chars(got, got + 400, value, form...).ptr));
  };
  expect_same(std::chars_format::scientific);
  if (!(std::abs(value) < 1e21)) return;
  expect_same(std::chars_format::fixed);
  for (int digits = 0; digits <= 40; digits += 5) expect_same(std::chars_format::fixed, digits);
}

TEST(RealCharsTest, AreThoseOfToChars) {
  constexpr double kInfinity = std::numeric_limits<double>::infinity();
  std::vector<double> values = {0.0, kInfinity, std::numeric_limits<double>::quiet_NaN()};
  for (int exponent = -1074; exponent < 1024; ++exponent) values.push_back(std::ldexp(1, exponent));
  for (int exponent = -323; exponent < 309; ++exponent) {
    for (const char* digits : {"1e", "2.5e", "9.5e"}) {
      values.push_back(std::strtod((digits + std::to_string(exponent)).c_str(), nullptr));
    }
  }
  std::mt19937_64 random(3);
  for (unsigned i = 0; i < 10000; ++i) {
    values.push_back(std::bit_cast<double>(random()));
    values.push_back(std::bit_cast<double>(random() >> (12 + i % 52)));  // subnormal
    values.push_back(static_cast<double>(random() >> i % 64) /
                     static_cast<double>(1ull << i % 40));  // ties
  }
  for (const double value : values) {
    for (const double each :
         {value, -value, std::nextafter(value, 0), std::nextafter(value, kInfinity)}) {
      ExpectRealAsToChars(each);
    }
  }
  char cut[8];
  const auto result = detail::real_to_chars(cut, cut + 8, 0.123456789, std::chars_format::fixed);
  EXPECT_EQ(result.ptr, cut + 8);
  EXPECT_EQ(result.ec, std::errc::value_too_large);
}
#endif

TYPED_TEST(NumTest, RealsChooseTheirFormByMagnitude) {
  using T = TypeParam;
  // Value; its shortest form; with at least three digits before the point and two after it.
  for (const auto& row :
       Rows("-0|-0|-000.00 1e-6|0.000001|000.00 -1e-9|-1e-09|-000.00 1.5e-7|1.5e-07|000.00 "
            "1e20|100000000000000000000|100000000000000000000.00 1e21|1e+21|1e+21 -inf|-inf|-inf "
            "-nan|nan|nan 999.999|999.999|1000.00")) {
    const double value = std::stod(row[0]);
    ExpectText<T>(row[1], [=](T* buf) { return NUM::zz_toreal(buf, value); });
    ExpectText<T>(row[2], [=](T* buf) { return NUM::zz_toreal(buf, value, 3, 2); });
  }
}

}  // namespace
}  // namespace tstl
