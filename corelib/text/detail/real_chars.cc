#include "corelib/text/detail/real_chars.h"

#include <algorithm>
#include <array>
#include <cassert>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string_view>
#include <system_error>

namespace tstl::detail {
namespace {

using Limits = std::numeric_limits<double>;

constexpr double kLeastInexact = 0x1p53;  // from here on not every integer is a double

// Holds what printf writes here: 21 digits before the point, 40 after it, and the locale's point,
// which may be several bytes.
using PrintfText = std::array<char, 96>;

// digits[0] . digits[1] digits[2] ... * 10^exponent
struct Decimal {
  std::array<char, Limits::max_digits10> digits;
  int count;
  int exponent;

  std::string_view from(int first) const {
    return {digits.data() + first, static_cast<std::size_t>(count - first)};
  }
};

constexpr Decimal kZero = {.digits = {'0'}, .count = 1, .exponent = 0};

// Appends to an array. What does not fit is cut, and reported as std::to_chars does.
class Output {
 public:
  Output(char* first, char* last) : next_(first), last_(last) {}

  void put(char c) { put(std::string_view(&c, 1)); }
  void put(std::string_view text) {
    const std::size_t room = static_cast<std::size_t>(last_ - next_);
    if (text.size() > room) error_ = std::errc::value_too_large;
    next_ = std::copy_n(text.begin(), std::min(room, text.size()), next_);
  }
  void put_zeros(int count) {
    for (; count > 0; --count) put('0');
  }
  std::to_chars_result result() const { return {next_, error_}; }

 private:
  char* next_;
  char* const last_;
  std::errc error_{};
};

// Parses what printf wrote as "d.ddde+xx". The point may take any number of characters, so the
// digits before and after it are copied separately.
Decimal decimal_of(const PrintfText& text, int count) {
  Decimal decimal{.digits = {text[0]}, .count = count, .exponent = 0};
  const char* const mark = std::strchr(text.data(), 'e');
  std::copy(mark - (count - 1), mark, decimal.digits.begin() + 1);
  decimal.exponent = static_cast<int>(std::strtol(mark + 1, nullptr, 10));
  while (decimal.count > 1 && decimal.digits[static_cast<unsigned>(decimal.count) - 1] == '0') {
    --decimal.count;
  }
  return decimal;
}

// printf and strtod use the same locale's point.
bool reads_back(const PrintfText& text, double value) {
  return std::strtod(text.data(), nullptr) == value;
}

bool is_power_of_two(double value) {
  int exponent;
  return std::frexp(value, &exponent) == 0.5;
}

// Adds one to the last digit; false if it is 9.
bool count_up(PrintfText& text) {
  char& last = *(std::strchr(text.data(), 'e') - 1);
  if (last == '9') return false;
  ++last;
  return true;
}

// The fewest digits that read back as `value`, which is finite and not negative.
//
// No two numbers of 15 digits read as the same double unless it is subnormal. So if a shorter text
// reads as `value`, it is the one of 15 digits without its last zeros. Below a power of two the
// doubles are twice as dense as above it: there the nearest decimal may read as another double
// while the next greater decimal reads as `value`. (If that one ends in 0, it was tried with a
// digit less.)
Decimal shortest_decimal(double value) {
  for (int count = value < Limits::min() ? 1 : Limits::digits10;; ++count) {
    PrintfText text;
    if (std::snprintf(text.data(), text.size(), "%.*e", count - 1, value) < 0) return kZero;
    if (count == Limits::max_digits10 || reads_back(text, value) ||
        (is_power_of_two(value) && count_up(text) && reads_back(text, value))) {
      return decimal_of(text, count);
    }
  }
}

void put_fixed(Output& out, const Decimal& decimal) {
  const int whole = decimal.exponent + 1;  // digits before the point
  if (whole <= 0) {
    out.put("0.");
    out.put_zeros(-whole);
    out.put(decimal.from(0));
    return;
  }
  out.put(decimal.from(0).substr(0, static_cast<std::size_t>(whole)));
  out.put_zeros(whole - decimal.count);
  if (decimal.count > whole) {
    out.put('.');
    out.put(decimal.from(whole));
  }
}

void put_scientific(Output& out, const Decimal& decimal) {
  out.put(decimal.digits[0]);
  if (decimal.count > 1) {
    out.put('.');
    out.put(decimal.from(1));
  }
  out.put(decimal.exponent < 0 ? "e-" : "e+");
  const int size = std::abs(decimal.exponent);
  if (size < 10) out.put('0');
  std::array<char, 4> digits;
  char* const end = std::to_chars(digits.begin(), digits.end(), size).ptr;
  out.put({digits.data(), static_cast<std::size_t>(end - digits.data())});
}

}  // namespace

std::to_chars_result real_to_chars(char* first, char* last, double value, std::chars_format form) {
  const double size = std::abs(value);
  if (form == std::chars_format::fixed && size >= kLeastInexact && std::isfinite(value)) {
    return real_to_chars(first, last, value, form, 0);  // an integer shows its exact digits
  }
  Output out(first, last);
  if (std::signbit(value)) out.put('-');
  if (!std::isfinite(value)) {
    out.put(std::isnan(value) ? "nan" : "inf");
  } else if (form == std::chars_format::fixed) {
    put_fixed(out, shortest_decimal(size));
  } else {
    put_scientific(out, shortest_decimal(size));
  }
  return out.result();
}

std::to_chars_result real_to_chars(char* first, char* last, double value,
                                   [[maybe_unused]] std::chars_format form, int precision) {
  assert(form == std::chars_format::fixed);
  PrintfText text;
  const int length = std::snprintf(text.data(), text.size(), "%.*f", precision, value);
  assert(length < static_cast<int>(text.size()));
  Output out(first, last);
  if (length < 0) {
    out.put('0');
    return out.result();
  }
  const std::string_view all(text.data(), static_cast<std::size_t>(length));
  out.put(all.substr(0, all.find_first_not_of("-0123456789")));
  if (precision > 0) {
    out.put('.');
    out.put(all.substr(all.size() - static_cast<std::size_t>(precision)));
  }
  return out.result();
}

}  // namespace tstl::detail
