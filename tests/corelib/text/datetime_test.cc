#include "corelib/text/datetime.h"

#include "tests/corelib/text/written.h"

namespace tstl {
namespace {

template <class T>
class DateTimeTest : public testing::Test {};
TYPED_TEST_SUITE(DateTimeTest, Units, UnitNames);

template <class T, class Value>
void ExpectValue(const Value& value, std::string_view want) {
  ExpectText<T>(want, [&](T* buf) { return value.zz_str(buf); });
}

TYPED_TEST(DateTimeTest, FieldsStandInFixedPlacesAndSpillWithinTheRoom) {
  using T = TypeParam;
  ExpectValue<T>(DateTime{{54, 2, 4}, 6, 7, 8}, "2024-03-05 06:07:08");
  ExpectValue<T>(DateTime{{54, 11, 30}, 23, 59, 59, u'#'}, "2024-12-31#23:59:59");
  ExpectValue<T>(Time{1, 100, 250}, "01:00:50");
  ExpectValue<T>(DateTime{{255, 255, 255}, 255, 255, 255, u'T'}, "2225-00-00T55:55:55");
}

TEST(DateTimeOrderTest, TimesCompareWithoutTheirSeparators) {
  // Each later than the one before.
  constexpr DateTime kTimes[] = {{{53, 11, 30}, 23, 59, 59, u'T'}, {{54, 0, 0}, 0, 0, 0, u' '},
                                 {{54, 0, 0}, 0, 0, 1, u'#'},      {{54, 0, 0}, 0, 1, 0, u' '},
                                 {{54, 0, 0}, 1, 0, 0, u'!'},      {{54, 0, 1}, 0, 0, 0, u' '}};
  for (const DateTime& a : kTimes) {
    DateTime same = a;
    same.separator = u'x';
    EXPECT_TRUE(same == a && same <=> a == 0);
    for (const DateTime& b : kTimes) EXPECT_EQ(same <=> b, &a <=> &b);
  }
}

}  // namespace
}  // namespace tstl
