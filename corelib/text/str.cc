#include "corelib/text/str.h"

#include <array>
#include <charconv>
#include <cmath>
#include <cstdlib>

#include "corelib/text/detail/real_chars.h"

namespace tstl {
namespace {

// The number that starts at `p`, and where it ends; a null pointer when a double cannot hold it.
const char* parse_double(const char* p, const char* end, double& value) {
#ifdef ZENTA_REAL_CHARS_BY_C
  // REQUIRES: *end is 0, and there is no point, which a locale could want otherwise.
  const double parsed = std::strtod(p, nullptr);
  if (!std::isfinite(parsed)) return nullptr;
  value = parsed;
  return end;
#else
  const auto [stop, error] = std::from_chars(p, end, value);
  return error == std::errc() ? stop : nullptr;
#endif
}

// The digits of a real number without its point, and the power of ten that makes 0.[digits] the
// number. No number needs more than 768 significant digits to tell which double is nearest; what
// follows them counts only as "more than nothing", and one last digit 1 stands for it.
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

  // The double nearest to 0.[digits] * 10^(exponent + shift); the greatest double for anything
  // above it.
  double value(std::int64_t shift) {
    if (count_ == 0) return 0;
    if (more_) digits_[count_++] = '1';
    const std::int64_t power = std::clamp(exponent_ + shift, -kFarPower, kFarPower);
    char* end = digits_.data() + count_;
    *end++ = 'e';
    end = std::to_chars(end, digits_.data() + digits_.size(), power - count_).ptr;
    *end = 0;
    double result = power < 0 ? 0 : std::numeric_limits<double>::max();
    parse_double(digits_.data(), end, result);
    return result;
  }

 private:
  static constexpr unsigned kMaxDigits = 768;
  static constexpr std::int64_t kFarPower = 9999;  // out of a double's range with any digits

  std::array<char, kMaxDigits + 16> digits_;
  unsigned count_ = 0;
  bool more_ = false;
  std::int64_t exponent_ = 0;
};

// Walks over a text of units of either width.
template <Unit T>
class Reader {
 public:
  Reader(const T* p, STR::Length n) : p_(p), end_(p + n) {}

  const T* rest() const { return p_; }
  STR::Length size() const { return static_cast<STR::Length>(end_ - p_); }
  bool at_digit(STR::Length ahead = 0) const { return ahead < size() && STR::is_digit(p_[ahead]); }
  bool take(char c) {
    if (p_ == end_ || *p_ != static_cast<unsigned char>(c)) return false;
    ++p_;
    return true;
  }
  // Takes '+' or '-'; true for '-'.
  bool take_sign() { return take('-') || (take('+') && false); }
  template <class Use>
  void take_digits(Use use) {
    for (; at_digit(); ++p_) use(*p_ - unsigned{'0'});
  }

 private:
  const T* p_;
  const T* end_;
};

// What from_chars can read in place, or after narrowing to a few dozen characters. False when the
// number does not end there or a double cannot hold it.
template <Unit T>
bool parse_short(const Reader<T>& in, double& value) {
#ifdef ZENTA_REAL_CHARS_BY_C
  return false;
#endif
  if constexpr (sizeof(T) == 1) {
    const char* const p = reinterpret_cast<const char*>(in.rest());
    return parse_double(p, p + in.size(), value) != nullptr;
  } else {
    std::array<char, 48> narrow;
    const STR::Length n = std::min<STR::Length>(in.size(), narrow.size());
    for (STR::Length i = 0; i < n; ++i) {
      const T unit = in.rest()[i];
      narrow[i] = static_cast<char>(unit < 0x80 ? unit : 0);
    }
    const char* const stop = parse_double(narrow.data(), narrow.data() + n, value);
    // Near the end of the array it may have been cut, in an exponent's "e+" too.
    return stop != nullptr && (n == in.size() || narrow.data() + n - stop > 2);
  }
}

template <Unit T>
double parse_long(Reader<T> in) {
  RealDigits digits;
  in.take_digits([&](unsigned digit) { digits.add(digit, false); });
  if (in.take('.')) in.take_digits([&](unsigned digit) { digits.add(digit, true); });
  std::int64_t shift = 0;
  if (in.take('e') || in.take('E')) {
    // Outweighs all digits that fit into memory.
    constexpr std::int64_t kEnough = std::int64_t{1} << 58;
    const bool down = in.take_sign();
    in.take_digits([&](unsigned digit) { shift = std::min(shift * 10 + digit, kEnough); });
    if (down) shift = -shift;
  }
  return digits.value(shift);
}

template <Unit T>
double read_real(const T* p, STR::Length n) noexcept {
  Reader<T> in(p, n);
  const bool negative = in.take_sign();
  const bool starts_with_point = in.size() != 0 && in.rest()[0] == '.';
  if (!in.at_digit(starts_with_point ? 1 : 0)) return 0;
  double value = 0;
  if (!parse_short(in, value)) value = parse_long(in);
  return negative ? -value : value;
}

}  // namespace

double STR::zz_toreal(const unsigned char* p, Length n) noexcept { return read_real(p, n); }
double STR::zz_toreal(const unsigned short* p, Length n) noexcept { return read_real(p, n); }

}  // namespace tstl
