#include "corelib/text/str.h"

#include <array>
#include <charconv>

namespace tstl {
namespace {

// A real number as its digits, without the point, and the power of ten that they stand for:
// 0.[digits] * 10^exponent. No double is told from its neighbour later than at the 768th
// significant digit; whatever follows there only counts as "more than nothing", so one last digit 1
// stands for it.
class RealDigits {
 public:
  void add(unsigned digit, bool after_point) {
    const bool leading_zero = count_ == 0 && digit == 0;
    if (!leading_zero && count_ < kMaxDigits) {
      digits_[count_++] = static_cast<char>('0' + digit);
    } else if (digit != 0) {
      more_ = true;
    }
    if (!after_point && !leading_zero) ++exponent_;
    if (after_point && leading_zero) --exponent_;
  }

  // The nearest double to 0.[digits] * 10^(exponent + shift); the greatest double for anything
  // above it.
  double value(std::int64_t shift) {
    if (count_ == 0) return 0;
    if (more_) digits_[count_++] = '1';
    const std::int64_t power = std::clamp<std::int64_t>(exponent_ + shift, -kFarPower, kFarPower);
    char* end = digits_.data() + count_;
    *end++ = 'e';
    end = std::to_chars(end, digits_.data() + digits_.size(), power - count_).ptr;
    double result = power < 0 ? 0 : std::numeric_limits<double>::max();
    std::from_chars(digits_.data(), end, result);
    return result;
  }

 private:
  static constexpr unsigned kMaxDigits = 768;
  static constexpr std::int64_t kFarPower = 9999;  // far out of a double's range, with any digits

  std::array<char, kMaxDigits + 16> digits_;
  unsigned count_ = 0;
  bool more_ = false;
  std::int64_t exponent_ = 0;
};

// Walks over a text of units of any width.
template <Unit T>
class Reader {
 public:
  Reader(const T* p, STR::Length n) : p_(p), end_(p + n) {}

  bool take(char c) { return peek(c) && ++p_; }
  bool take_letter(char lower) {
    return p_ != end_ && (*p_ | 0x20u) == static_cast<unsigned char>(lower) && ++p_;
  }
  // '+' or '-'; true for '-'.
  bool take_sign() { return take('-') || (take('+') && false); }
  template <class Use>
  bool take_digits(Use use) {
    const T* const start = p_;
    for (; p_ != end_ && STR::is_digit(*p_); ++p_) use(*p_ - unsigned{'0'});
    return p_ != start;
  }

 private:
  bool peek(char c) const { return p_ != end_ && *p_ == static_cast<unsigned char>(c); }

  const T* p_;
  const T* end_;
};

}  // namespace

template <Unit T>
double STR::zz_toreal(const T* p, Length n) noexcept {
  Reader<T> in(p, n);
  RealDigits digits;
  const bool negative = in.take_sign();
  bool any = in.take_digits([&](unsigned digit) { digits.add(digit, false); });
  if (in.take('.')) any |= in.take_digits([&](unsigned digit) { digits.add(digit, true); });
  if (!any) return 0;

  std::int64_t shift = 0;
  if (in.take_letter('e')) {
    constexpr std::int64_t kEnough = std::int64_t{1}
                                     << 58;  // outweighs any number of digits in memory
    const bool down = in.take_sign();
    in.take_digits([&](unsigned digit) { shift = std::min(shift * 10 + digit, kEnough); });
    if (down) shift = -shift;
  }
  const double value = digits.value(shift);
  return negative ? -value : value;
}

template double STR::zz_toreal(const unsigned char*, Length) noexcept;
template double STR::zz_toreal(const unsigned short*, Length) noexcept;

}  // namespace tstl
