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
  for (const std::uint64_t power : detail::kDecimalPowers)
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
  ExpectText<T>("0.000B", [](T* buf) { return NUM::zz_tofsize(buf, 0); });
  ExpectText<T>("1023.0B", [](T* buf) { return NUM::zz_tofsize(buf, 1023); });
  ExpectText<T>("1.000K", [](T* buf) { return NUM::zz_tofsize(buf, 1024); });
  ExpectText<T>("1023.9K", [](T* buf) { return NUM::zz_tofsize(buf, (1 << 20) - 1); });
  ExpectText<T>("123.00T", [](T* buf) { return NUM::zz_tofsize(buf, 123ull << 40); });
  ExpectText<T>("15.999E", [](T* buf) { return NUM::zz_tofsize(buf, ~0ull); });
}

TYPED_TEST(NumTest, RealsReadBackAndAgreeWithPrintf) {
  using T = TypeParam;
  std::mt19937_64 random(2);
  for (unsigned i = 0; i < 20000; ++i) {
    const double value = i % 2 == 0 ? std::bit_cast<double>(random())
                                    : std::ldexp(static_cast<double>(random() % 100000) - 50000,
                                                 static_cast<int>(random() % 60) - 40);
    if (std::isnan(value)) continue;
    const auto text =
        Written<T>(NUM::kRealRoom, [=](T* buf) { return NUM::zz_toreal(buf, value); });
    ASSERT_EQ(std::strtod(std::string(text.begin(), text.end()).c_str(), nullptr), value);
    Written<T>(NUM::kFixedRealRoom, [=](T* buf) { return NUM::zz_toreal(buf, value, ~0u, ~0u); });
    if (std::abs(value) >= 1e21) continue;
    char fixed[80];
    const std::string plain(fixed, std::to_chars(fixed, fixed + 80, value).ptr);
    ASSERT_TRUE(plain.find('e') != plain.npos || text == Widen<T>(plain)) << plain;
    std::snprintf(fixed, sizeof fixed, "%.*f", static_cast<int>(i % 41), value);
    ExpectText<T>(fixed, [=](T* buf) { return NUM::zz_toreal(buf, value, 0, i % 41); });
  }
}

TYPED_TEST(NumTest, RealsChooseTheirFormByMagnitude) {
  using T = TypeParam;
  ExpectText<T>("-0", [](T* buf) { return NUM::zz_toreal(buf, -0.0); });
  ExpectText<T>("0.000001", [](T* buf) { return NUM::zz_toreal(buf, 1e-6); });
  ExpectText<T>("1.5e-07", [](T* buf) { return NUM::zz_toreal(buf, 1.5e-7); });
  ExpectText<T>("100000000000000000000", [](T* buf) { return NUM::zz_toreal(buf, 1e20); });
  ExpectText<T>("1e+21", [](T* buf) { return NUM::zz_toreal(buf, 1e21, 3, 2); });
  ExpectText<T>("-inf", [](T* buf) { return NUM::zz_toreal(buf, -HUGE_VAL, 3, 2); });
  ExpectText<T>("nan", [](T* buf) { return NUM::zz_toreal(buf, -std::nan("")); });
  ExpectText<T>("-000.00", [](T* buf) { return NUM::zz_toreal(buf, -1e-9, 3, 2); });
  ExpectText<T>("1000.00", [](T* buf) { return NUM::zz_toreal(buf, 999.999, 3, 2); });
}

}  // namespace
}  // namespace tstl
