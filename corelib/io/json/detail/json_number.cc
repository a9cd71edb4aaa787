#include "corelib/io/json/detail/json_number.h"

#include <algorithm>
#include <limits>

#include "corelib/text/parse.h"

namespace tstl::detail {
namespace {

// A number of RFC 8259 with a fraction or an exponent, as the digits in [begin, end) times
// 10^`exponent`. The decimal point may lie among the digits. Neither the first nor the last digit
// is a zero; for zero there are no digits.
struct Decimal {
  explicit Decimal(BufferRef<unsigned char> text) noexcept
      : begin(text.cbegin()), end(text.cend()), negative(*begin == '-') {
    begin += negative;
    const unsigned char* const e =
        std::find_if(begin, end, [](unsigned char c) { return (c | 0x20) == 'e'; });
    if (e != end) exponent = exponent_of(e + 1, end);
    end = e;
    const unsigned char* const point = std::find(begin, end, '.');
    if (point != end) exponent -= end - point - 1;
    for (; end != begin && (end[-1] == '0' || end[-1] == '.'); --end) exponent += end[-1] == '0';
    while (begin != end && (*begin == '0' || *begin == '.')) ++begin;
  }

  // A bound for exponents: no text has enough digits to offset one of kFar.
  static constexpr std::int64_t kFar = std::int64_t{1} << 40;
  static std::int64_t exponent_of(const unsigned char* at, const unsigned char* stop) noexcept {
    const bool down = *at == '-';
    std::int64_t sum = 0;
    for (at += *at == '-' || *at == '+'; at != stop; ++at) {
      sum = std::min(sum * 10 + (*at - '0'), kFar);
    }
    return down ? -sum : sum;
  }

  const unsigned char* begin;
  const unsigned char* end;
  bool negative;
  std::int64_t exponent = 0;
};

// Appends a decimal digit to `sum`; false when the result exceeds 64 bits.
bool append_digit(std::uint64_t& sum, unsigned digit) noexcept {
  return !__builtin_mul_overflow(sum, std::uint64_t{10}, &sum) &&
         !__builtin_add_overflow(sum, digit, &sum);
}

// json_magnitude() for a number with a fraction or an exponent.
bool fraction_magnitude(const Decimal& number, std::uint64_t& value) noexcept {
  value = 0;
  if (number.begin == number.end) return true;
  if (number.exponent < 0 || number.exponent > std::numeric_limits<std::uint64_t>::digits10) {
    return false;
  }
  for (const unsigned char* at = number.begin; at != number.end; ++at) {
    if (*at != '.' && !append_digit(value, *at - unsigned{'0'})) return false;
  }
  for (auto zeros = number.exponent; zeros != 0; --zeros) {
    if (!append_digit(value, 0)) return false;
  }
  return true;
}

}  // namespace

// A number is an integer if no digit is left after its decimal point once trailing zeros are
// dropped.
bool json_is_integer(BufferRef<unsigned char> text, bool has_fraction) noexcept {
  if (!has_fraction) return true;
  const Decimal number(text);
  return number.begin == number.end || number.exponent >= 0;
}

bool json_magnitude(BufferRef<unsigned char> text, bool has_fraction, std::uint64_t& value,
                    bool& negative) noexcept {
  const unsigned char* at = text.cbegin();
  const unsigned char* const end = text.cend();
  negative = *at == '-';
  if (has_fraction) [[unlikely]]
    return fraction_magnitude(Decimal(text), value);
  at += negative;
  std::uint64_t sum = 0;
  for (int words = 0; words != 2 && end - at >= 8; ++words, at += 8) {  // 16 digits fit 64 bits
    sum = sum * 100'000'000 + DigitWord::load(at, 8).value();
  }
  for (; at != end; ++at) {
    if (!append_digit(sum, *at - unsigned{'0'})) return false;
  }
  value = sum;
  return true;
}

}  // namespace tstl::detail
