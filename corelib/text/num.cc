#include "corelib/text/num.h"

#include <cassert>
#include <charconv>
#include <cmath>
#include <system_error>

#include "corelib/text/detail/real_chars.h"

namespace tstl {
namespace {

constexpr double kLeastScientific = 1e21;  // the bounds that ECMAScript's Number.toString has, too
constexpr double kLeastFixed = 1e-6;

// std::to_chars(first, last, value, form...) where the C++ library has it.
template <class... Form>
std::to_chars_result real_to_chars(char* first, char* last, double value, Form... form) {
#ifdef ZENTA_REAL_CHARS_BY_C
  return detail::real_to_chars(first, last, value, form...);
#else
  return std::to_chars(first, last, value, form...);
#endif
}

// What real_to_chars wrote into `chars`, in units of T and with a zero.
template <Unit T>
unsigned finish(T* buf, const char* chars, std::to_chars_result written) {
  assert(written.ec == std::errc());
  T* const end = std::copy(chars, static_cast<const char*>(written.ptr), buf);
  *end = 0;
  return static_cast<unsigned>(end - buf);
}

template <Unit T>
unsigned write_real(T* buf, double value) noexcept {
  // real_to_chars knows the fewest digits, but chooses between its two forms by length; here the
  // magnitude decides, so that neighbouring numbers look alike.
  if (std::isnan(value)) value = std::abs(value);  // its sign means nothing
  const double size = std::abs(value);
  const bool fixed = size == 0 || (size >= kLeastFixed && size < kLeastScientific);
  char chars[NUM::kRealRoom];
  return finish(buf, chars,
                real_to_chars(chars, chars + sizeof chars, value,
                              fixed ? std::chars_format::fixed : std::chars_format::scientific));
}

template <Unit T>
unsigned write_real(T* buf, double value, unsigned int_digits, unsigned frac_digits) noexcept {
  // This keeps the room bounded: the greatest `double` has 309 digits before the point.
  if (!(std::abs(value) < kLeastScientific)) return write_real(buf, value);
  int_digits = std::min(int_digits, NUM::kMaxRealDigits);
  frac_digits = std::min(frac_digits, NUM::kMaxRealDigits);
  char chars[NUM::kFixedRealRoom];
  const unsigned len =
      finish(buf, chars,
             real_to_chars(chars, chars + sizeof chars, value, std::chars_format::fixed,
                           static_cast<int>(frac_digits)));
  const unsigned fraction = frac_digits == 0 ? 0 : frac_digits + 1;
  return NUM::zz_fixp(buf, len, int_digits + fraction + std::signbit(value));
}

}  // namespace

unsigned NUM::zz_toreal(unsigned char* buf, double value) noexcept {
  return write_real(buf, value);
}
unsigned NUM::zz_toreal(unsigned short* buf, double value) noexcept {
  return write_real(buf, value);
}
unsigned NUM::zz_toreal(unsigned char* buf, double value, unsigned int_digits,
                        unsigned frac_digits) noexcept {
  return write_real(buf, value, int_digits, frac_digits);
}
unsigned NUM::zz_toreal(unsigned short* buf, double value, unsigned int_digits,
                        unsigned frac_digits) noexcept {
  return write_real(buf, value, int_digits, frac_digits);
}

}  // namespace tstl
