#include "corelib/text/datetime.h"

#include "tests/corelib/text/written.h"

namespace tstl {
namespace {

template <class T>
class DateTimeTest : public testing::Test {};
TYPED_TEST_SUITE(DateTimeTest, Units, UnitNames);

template <class T, class Value>
StdString<T> TextOf(const Value& value) {
  return Written<T>(Value::kLength + 1, [&](T* buf) { return value.zz_str(buf); });
}

TYPED_TEST(DateTimeTest, FieldsStandInFixedPlaces) {
  using T = TypeParam;
  EXPECT_EQ(TextOf<T>(Time{9, 5, 7}), Widen<T>("09:05:07"));
  EXPECT_EQ(TextOf<T>(Time{12, 34, 56}), Widen<T>("12:34:56"));
  EXPECT_EQ(TextOf<T>(Date{54, 0, 0}), Widen<T>("2024-01-01"));
  EXPECT_EQ(TextOf<T>(Date{255, 11, 30}), Widen<T>("2225-12-31"));
  EXPECT_EQ(TextOf<T>(DateTime{{54, 2, 4}, 6, 7, 8}), Widen<T>("2024-03-05 06:07:08"));
  EXPECT_EQ(TextOf<T>(DateTime{{0, 0, 0}, 23, 59, 59, u'T'}), Widen<T>("1970-01-01T23:59:59"));
}

// The digits are those of one number with the fields spread over it; an hour's third digit is cut.
TYPED_TEST(DateTimeTest, FieldsOutOfRangeSpillButStayInTheRoom) {
  using T = TypeParam;
  const auto spread = [](unsigned number, unsigned length) {
    std::string digits = std::to_string(number);
    return length < digits.size() ? digits.substr(digits.size() - length)
                                  : std::string(length - digits.size(), '0') + digits;
  };
  constexpr unsigned char kExtremes[] = {0, 1, 9, 10, 59, 99, 100, 127, 200, 254, 255};
  for (const unsigned char a : kExtremes) {
    for (const unsigned char b : kExtremes) {
      for (const unsigned char c : kExtremes) {
        std::string time = spread(a * 1000000u + b * 1000u + c, 8);
        std::string date =
            spread((1970u + a) * 1000000 + (b + 1u) % 256 * 1000 + (c + 1u) % 256, 10);
        time[2] = time[5] = ':';
        date[4] = date[7] = '-';
        ASSERT_EQ(TextOf<T>(Time{a, b, c}), Widen<T>(time));
        ASSERT_EQ(TextOf<T>(Date{a, b, c}), Widen<T>(date));
        ASSERT_EQ(TextOf<T>(DateTime{{a, b, c}, a, b, c, u'#'}), Widen<T>(date + "#" + time));
      }
    }
  }
}

TEST(DateTimeTest, SeparatorIsKeptWholeInWideText) {
  const DateTime value{{}, 0, 0, 0, u'\u3000'};
  EXPECT_EQ(TextOf<unsigned short>(value)[Date::kLength], u'\u3000');
  EXPECT_EQ(TextOf<unsigned char>(value)[Date::kLength], '\0');
}

TEST(DateTimeTest, ValuesAreOrderedByTime) {
  EXPECT_LT((Date{53, 11, 30}), (Date{54, 0, 0}));
  EXPECT_LT((Time{1, 59, 59}), (Time{2, 0, 0}));
  EXPECT_LT((DateTime{{1, 2, 3}, 4, 5, 6, u'T'}), (DateTime{{1, 2, 3}, 4, 5, 7, u' '}));
  EXPECT_EQ((DateTime{{1, 2, 3}, 4, 5, 6}.time()), (Time{4, 5, 6}));
}

}  // namespace
}  // namespace tstl
