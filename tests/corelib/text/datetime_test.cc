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

// The digits are those of one number with the fields spread over it; an hour's third digit is cut.
TYPED_TEST(DateTimeTest, FieldsStandInFixedPlacesAndSpillWithinTheRoom) {
  ExpectValue<TypeParam>(DateTime{{54, 2, 4}, 6, 7, 8}, "2024-03-05 06:07:08");
  const auto low_digits = [](unsigned number, unsigned count) {
    const std::string digits = std::string(count, '0') + std::to_string(number);
    return digits.substr(digits.size() - count);
  };
  constexpr unsigned char kExtremes[] = {0, 1, 9, 10, 59, 99, 100, 127, 200, 254, 255};
  for (const unsigned char a : kExtremes) {
    for (const unsigned char b : kExtremes) {
      for (const unsigned char c : kExtremes) {
        std::string time = low_digits(a * 1000000u + b * 1000u + c, 8);
        std::string date =
            std::to_string((1970u + a) * 1000000 + (b + 1u) % 256 * 1000 + (c + 1u) % 256);
        time[2] = time[5] = ':';
        date[4] = date[7] = '-';
        ExpectValue<TypeParam>(Time{a, b, c}, time);
        ExpectValue<TypeParam>(Date{a, b, c}, date);
        ExpectValue<TypeParam>(DateTime{{a, b, c}, a, b, c, u'#'}, date + "#" + time);
      }
    }
  }
}

}  // namespace
}  // namespace tstl
