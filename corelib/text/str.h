// STR: the functions over raw runs of text units, the layer under every view and buffer.
//
// A run is a pointer and a length in units (`unsigned long long`); a zero-terminated text is a
// pointer alone. Nothing here owns or allocates memory. A counted function reads and writes units
// of its run only. Null pointers are accepted by zz_len, and elsewhere with a length of 0.
//
// Positions are returned as `int`, -1 for "not found". Runs are shorter than 2^32 units; a position
// from 2^31 on comes back as the negative number with the same 32 bits, which the views turn into
// `unsigned` again. Counts and lengths are `unsigned int`. Nothing fails: a text that is not a
// number gives 0, a number that is too great gives the limit.
//
// Units compare as unsigned values. Only ASCII is classified or folded; no locale is consulted. All
// functions can be called from any number of threads at once on different memory, and those that
// only read on the same.
//
//   const unsigned char line[] = "width=640";
//   const int equals = STR::zz_findchr(line, 9, '=');               // 5
//   const int width = STR::zz_toint32(line + equals + 1, 3);        // 640
#pragma once

#include <algorithm>
#include <cassert>
#include <cstdint>
#include <cstring>
#include <limits>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/parse.h"
#include "corelib/text/scan.h"

namespace tstl {

struct STR {
  using Length = unsigned long long;
  // The unit type of an argument that must not take part in deduction, so that 'a' does for either
  // width.
  template <class T>
  using Same = std::type_identity_t<T>;

  // ---- Zero-terminated text

  // Units before the first zero, 2^32 - 1 when there are more; 0 for a null pointer. With `max`: at most
  // `max`, and nothing is read from p[max] on.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_len(const T* p) noexcept {
    if (sizeof(T) == 1 && p != nullptr && !std::is_constant_evaluated()) {
      const Length n = std::strlen(reinterpret_cast<const char*>(p));
      return static_cast<unsigned>(std::min<Length>(n, kMostUnits));
    }
    return zz_len(p, kMostUnits);
  }
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_len(const T* p, Length max) noexcept {
    const Length most = std::min<Length>(max, kMostUnits);
    Length n = 0;
    while (p != nullptr && n < most && p[n] != 0) ++n;
    return static_cast<unsigned>(n);
  }

  // Copies `src` and its zero; with `max`, at most `max` units of it and a zero, so that "abc" with
  // 2 becomes "ab". Returns the length; `dst` has room for one unit more than that.
  template <Unit T>
  static unsigned zz_cpy(T* dst, const T* src) noexcept {
    return copy_terminated(dst, src, zz_len(src));
  }
  template <Unit T>
  static unsigned zz_cpy(T* dst, const T* src, Length max) noexcept {
    return copy_terminated(dst, src, zz_len(src, max));
  }
  // Appends `src` and a zero to the text in `dst`; returns the new length. As for all texts here, what
  // would pass 2^32 - 1 units is cut.
  template <Unit T>
  static unsigned zz_cat(T* dst, const T* src) noexcept {
    const unsigned len = zz_len(dst);
    return len + zz_cpy(dst + len, src, kMostUnits - len);
  }

  // Difference of the first units that differ (a's minus b's), 0 when the texts are equal. A text's
  // end counts as a unit of 0, so a prefix comes before the longer text.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_cmp(const T* a, const T* b) noexcept {
    while (*a == *b && *a != 0) ++a, ++b;
    return *a - *b;
  }

  // Copies a zero-terminated text into units of another width; returns its length. Widening extends
  // with zeros. Narrowing keeps low bytes and takes the first low byte of zero for the end, on
  // purpose: it is for ASCII text. U+4E00, whose low byte is zero, ends the copy; check first where
  // such text can come in.
  template <Unit A, Unit B>
  static constexpr unsigned zz_cast(A* dst, const B* src) noexcept {
    Length n = 0;
    while ((dst[n] = static_cast<A>(src[n])) != 0) ++n;
    return static_cast<unsigned>(std::min<Length>(n, kMostUnits));
  }

  // ---- Counted text: copying and changing in place

  // The same conversion of `n` units, zeros among them; returns n. Runs of one width may overlap in
  // any way, and narrowing may be done in place.
  template <Unit A, Unit B>
  static unsigned zz_cast(A* dst, const B* src, Length n) noexcept {
    if constexpr (std::is_same_v<A, B>) {
      move_units(dst, src, n);
    } else {
      for (Length i = 0; i < n; ++i) dst[i] = static_cast<A>(src[i]);
    }
    return static_cast<unsigned>(n);
  }
  // The same from the last unit to the first, so that 8-bit text at the start of a buffer can be
  // widened in place.
  template <Unit A, Unit B>
  static unsigned zz_cast_rev(A* dst, const B* src, Length n) noexcept {
    if constexpr (std::is_same_v<A, B>) {
      move_units(dst, src, n);
    } else {
      for (Length i = n; i != 0; --i) dst[i - 1] = static_cast<A>(src[i - 1]);
    }
    return static_cast<unsigned>(n);
  }

  // Reverses the run. REQUIRES: n is not 0.
  template <Unit T>
  static constexpr void zz_rev(T* p, Length n) noexcept {
    assert(n != 0);
    std::reverse(p, p + n);
  }

  // Fold 'A' to 'Z' to lower case, 'a' to 'z' to upper case; no other unit changes.
  template <Unit T>
  static constexpr void zz_low(T* p, Length n) noexcept {
    for (Length i = 0; i < n; ++i)
      p[i] = static_cast<T>(p[i] + (is_between(p[i], 'A', 'Z') ? 0x20 : 0));
  }
  template <Unit T>
  static constexpr void zz_up(T* p, Length n) noexcept {
    for (Length i = 0; i < n; ++i)
      p[i] = static_cast<T>(p[i] - (is_between(p[i], 'a', 'z') ? 0x20 : 0));
  }
  // `c` in the other case when it is an ASCII letter.
  template <Unit T>
  [[nodiscard]] static constexpr T zz_shiftcase(T c) noexcept {
    return is_letter(c) ? static_cast<T>(c ^ 0x20) : c;
  }
  // Returns how many units were replaced.
  template <Unit T>
  static constexpr unsigned zz_replchr(T* p, Length n, Same<T> from, Same<T> to) noexcept {
    const unsigned count = zz_cntchr(p, n, from);
    if (count != 0) {
      for (Length i = 0; i < n; ++i) p[i] = p[i] == from ? to : p[i];
    }
    return count;
  }

  // ---- Counted text: searching
  //
  // Plain scans from one end, a block of units at a time but never a unit outside the run. The time
  // is that of one pass; zz_findstr and zz_findb_str compare `s` at every position that looks like
  // a start, n * m units at the very worst, which suits needles of a field's or a key's size.

  // The first unit that is `c` (or `c1` or `c2`), from the start or from `pos` on; -1 when `pos` is
  // past the end.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findchr(const T* p, Length n, Same<T> c) noexcept {
    return position(detail::first_of(p, n, c), n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findchr(const T* p, Length n, Same<T> c1,
                                                Same<T> c2) noexcept {
    return position(detail::first_of(p, n, c1, c2), n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findchr_bypos(const T* p, Length n, Same<T> c,
                                                      Length pos) noexcept {
    if (pos >= n) return -1;
    return position(pos + detail::first_of(p + pos, n - pos, c), n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findchr_bypos(const T* p, Length n, Same<T> c1, Same<T> c2,
                                                      Length pos) noexcept {
    if (pos >= n) return -1;
    return position(pos + detail::first_of(p + pos, n - pos, c1, c2), n);
  }
  // The last unit that is `c`.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findbchr(const T* p, Length n, Same<T> c) noexcept {
    return position(detail::last_of(p, n, c), n);
  }
  // The last '/' or '\\'.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findbslash(const T* p, Length n) noexcept {
    return position(detail::last_of(p, n, T{'/'}, T{'\\'}), n);
  }

  // The first line break: LF, CR, or CR LF. `brk_len` receives its length, 0 when there is none.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findcrlf(const T* p, Length n, unsigned& brk_len) noexcept {
    const Length at = detail::first_break(p, n);
    if (at == n) [[unlikely]] {
      brk_len = 0;
      return position(at, n);
    }
    brk_len = 1;
    // Foreseen, as all breaks of a text are alike, the next search need not wait for it.
    if (p[at] == '\r' && n - at > 1) [[unlikely]] {
      if (p[at + 1] == '\n') [[likely]]
        brk_len = 2;
    }
    return position(at, n);
  }
  // The last line break. Seen from the end a CR is always a break of its own; an LF takes a CR
  // before it along.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findbcrlf(const T* p, Length n,
                                                  unsigned& brk_len) noexcept {
    const Length at = detail::last_of(p, n, T{'\n'}, T{'\r'});
    brk_len = at == n ? 0 : at != 0 && p[at] == '\n' && p[at - 1] == '\r' ? 2 : 1;
    return position(brk_len == 2 ? at - 1 : at, n);
  }

  // The first and the last start of `s`. An empty `s` is found at 0 by the first and never by the
  // last.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findstr(const T* p, Length n, const T* s,
                                                Length m) noexcept {
    if (m > n) return -1;
    return m == 0 ? 0 : position(detail::first_run(p, n, s, m), n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findb_str(const T* p, Length n, const T* s,
                                                  Length m) noexcept {
    return m == 0 || m > n ? -1 : position(detail::last_run(p, n, s, m), n);
  }
  // The first unit that occurs in `set`. `which` (may be null) receives its index there; untouched
  // when there is none.
  template <Unit T>
  [[nodiscard]] static constexpr int zz_findchrlist(const T* p, Length n, const T* set, Length m,
                                                    unsigned* which) noexcept {
    const detail::UnitSet<T> lookup(set, m);
    for (Length i = 0; i < n; ++i) {
      const Length index = lookup.index_of(p[i]);
      if (index == m) continue;
      if (which != nullptr) *which = static_cast<unsigned>(index);
      return static_cast<int>(i);
    }
    return -1;
  }

  // ---- Counted text: counting and comparing

  // Units equal to `c`, wherever they stand.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_cntchr(const T* p, Length n, Same<T> c) noexcept {
    // Counted in runs that cannot overflow a unit, so that the compiler adds whole vectors of
    // units.
    unsigned count = 0;
    while (n != 0) {
      const Length run = n < std::numeric_limits<T>::max() ? n : std::numeric_limits<T>::max();
      T hits = 0;
      for (Length i = 0; i < run; ++i) hits = static_cast<T>(hits + (p[i] == c));
      count += hits;
      p += run;
      n -= run;
    }
    return count;
  }
  // Units equal to `c` at the start and at the end.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_cntcstvchr(const T* p, Length n, Same<T> c) noexcept {
    Length i = 0;
    while (i < n && p[i] == c) ++i;
    return static_cast<unsigned>(i);
  }
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_cntbcstvchr(const T* p, Length n, Same<T> c) noexcept {
    Length i = 0;
    while (i < n && p[n - 1 - i] == c) ++i;
    return static_cast<unsigned>(i);
  }
  // Length of the common prefix.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_mchstr(const T* p, Length n, const T* s,
                                                    Length m) noexcept {
    return static_cast<unsigned>(detail::common_prefix(p, s, n < m ? n : m));
  }
  // Whether the text starts, or ends, with `s`. Every text does with an empty `s`.
  template <Unit T>
  [[nodiscard]] static constexpr bool zz_stwith(const T* p, Length n, const T* s,
                                                Length m) noexcept {
    return m <= n && detail::same_units(p, s, m);
  }
  template <Unit T>
  [[nodiscard]] static constexpr bool zz_edwith(const T* p, Length n, const T* s,
                                                Length m) noexcept {
    return m <= n && detail::same_units(p + (n - m), s, m);
  }

  // True for 1 to 20 units that are digits, but for a '-' that may come first and not alone: what
  // zz_toint64 reads whole, although it may be past a limit.
  template <Unit T>
  [[nodiscard]] static constexpr bool zz_isnum(const T* p, Length n) noexcept {
    if (n == 0 || n > 20) return false;
    Length i = p[0] == '-' ? 1 : 0;
    if (i == n) return false;
    while (i < n && is_digit(p[i])) ++i;
    return i == n;
  }

  // ---- Counted text: numbers
  //
  // Decimal: an optional '-' (signed forms only), then digits up to the first other unit. No
  // blanks, no '+'; a text that does not start so is 0. A value past a limit of the type is that
  // limit.
  //
  //   "12ab"        12               "-", "+5", " 5"        0 (unsigned forms: "-1" too)
  //   "-2147483649" -2147483648 (int) "9223372036854775808" 9223372036854775807 (long long)

  template <Unit T>
  [[nodiscard]] static constexpr long long zz_toint64(const T* p, Length n) noexcept {
    return detail::signed_decimal<long long>(p, n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr int zz_toint32(const T* p, Length n) noexcept {
    return detail::signed_decimal<int>(p, n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr unsigned long long zz_touint64(const T* p, Length n) noexcept {
    return detail::decimal_value<0xFFFFFFFFFFFFFFFF>(p, n);
  }
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_touint32(const T* p, Length n) noexcept {
    return static_cast<unsigned>(detail::decimal_value<0xFFFFFFFF>(p, n));
  }

  // Hexadecimal: 1 to 8 digits of either case and nothing else, or 0.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned zz_tohex32(const T* p, Length n) noexcept {
    return detail::hex_value(p, n);
  }
  // As zz_tohex32 up to 8 units; 9 to 16 units are two texts, the last 8 units and those before
  // them, and each half that holds a bad unit counts as 0 while the other keeps its value. On
  // purpose: check the text first where a half number would do harm.
  template <Unit T>
  [[nodiscard]] static constexpr unsigned long long zz_tohex(const T* p, Length n) noexcept {
    if (n <= 8) return detail::hex_value(p, n);
    if (n > 16) return 0;
    const unsigned long long high = detail::hex_value(p, n - 8);
    return high << 32 | detail::hex_value(p + (n - 8), 8);
  }

  // A real number: [+-] digits [. digits] [e|E [+-] digits], where digits before or after the point
  // may be missing but not both, read up to the first unit that does not fit: "1.5e" and "1.5x"
  // are 1.5. Anything else ("", "-", ".", "inf", " 1") is 0. Rounded to the nearest double, ties to
  // even, however many digits there are. A value past the greatest double is that one with its
  // sign, like the other parsers' limits; one below the least is a signed 0.
  [[nodiscard]] static double zz_toreal(const unsigned char* p, Length n) noexcept;
  [[nodiscard]] static double zz_toreal(const unsigned short* p, Length n) noexcept;

  // ---- Single units

  [[nodiscard]] static constexpr bool is_digit(unsigned unit) noexcept { return unit - '0' < 10; }
  [[nodiscard]] static constexpr bool is_letter(unsigned unit) noexcept {
    return (unit & ~0x20u) - 'A' < 26;
  }

 private:
  // As many as a length of 32 bits and a position hold.
  static constexpr Length kMostUnits = NOT_FOUND;

  template <Unit T>
  static constexpr bool is_between(T unit, char low, char high) {
    return static_cast<T>(unit - low) <= high - low;
  }
  static constexpr int position(Length at, Length n) {
    assert(n <= NOT_FOUND);
    return at == n ? -1 : static_cast<int>(static_cast<unsigned>(at));
  }
  template <Unit T>
  static void move_units(T* dst, const T* src, Length n) {
    if (n != 0) std::memmove(dst, src, n * sizeof(T));  // null pointers stay away from memmove
  }
  template <Unit T>
  static unsigned copy_terminated(T* dst, const T* src, unsigned len) {
    move_units(dst, src, len);
    dst[len] = 0;
    return len;
  }
};

}  // namespace tstl
