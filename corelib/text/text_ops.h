// TextOps: every operation that only reads text, shared by the views (BufferRef) and the owning
// buffers.
//
// A class with units of T derives from TextOps<T, itself> and offers `ref_internal_data()` and
// `len()`; a BufferRef<T> can be made from it. Everything below is a view operation: positions and
// lengths count units, results that are views point into the same memory and live as long as it,
// nothing allocates, nothing fails, and nothing outside the text is read. A position that does not
// exist is NOT_FOUND. Null pointers are fine where the length is 0.
//
//   sub_...  a part of the text              cnt_...    how many units
//   find...  a position from the start       is_...     a question
//   findback...  and from the end            to_...     a number
//                                            split, parse_ini_line  several parts at once
//
// Units compare as unsigned values; only ASCII is classified or folded, for both widths; no locale
// is consulted.
#pragma once

#include <algorithm>
#include <cassert>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/str.h"

namespace tstl {

template <Unit T>
class BufferRef;
template <Unit T>
class BufferRefMutable;

namespace detail {

// The characters of an ASCII literal, up to its first zero, as 16-bit units.
template <std::size_t N>
class WideLiteral {
 public:
  constexpr explicit WideLiteral(const char (&text)[N]) {
    while (len_ < N && text[len_] != 0) {
      units_[len_] = static_cast<unsigned char>(text[len_]);
      ++len_;
    }
  }
  constexpr operator BufferRef<unsigned short>() const;

 private:
  unsigned short units_[N] = {};
  unsigned len_ = 0;
};

}  // namespace detail

template <Unit T, class Derived>
class TextOps {
 public:
  using unit_type = T;
  using View = BufferRef<T>;
  static constexpr bool kIsWide = sizeof(T) == 2;

  // ---- Sub-views. Of "abcd": sub_str(1, 100) is "bcd", sub_head(2) "ab", sub_tail(1) "bcd",
  // sub_head_rev(1) "abc", sub_tail_rev(1) "d".

  // Units [pos, pos + n), clamped at the end. `pos` is not clamped: if it is past the end, the
  // result is empty, but its pointer is still `pos` units after the start, so that a caller can see
  // what was asked for. (In a constant expression, where no such pointer exists, it is the end.)
  [[nodiscard]] constexpr View sub_str(unsigned pos, unsigned n) const noexcept {
    return View(unit_at(pos), std::min(n, rest(pos)));
  }
  // The first `n` units.
  [[nodiscard]] constexpr View sub_head(unsigned n) const noexcept {
    return View(data(), std::min(n, size()));
  }
  // From the position `pos` on. Note the difference: sub_tail takes a position, sub_tail_rev a
  // count from the end.
  [[nodiscard]] constexpr View sub_tail(unsigned pos) const noexcept {
    return View(unit_at(pos), rest(pos));
  }
  // All but the last `n` units.
  [[nodiscard]] constexpr View sub_head_rev(unsigned n) const noexcept {
    return View(data(), rest(n));
  }
  // The last `n` units.
  [[nodiscard]] constexpr View sub_tail_rev(unsigned n) const noexcept {
    const unsigned count = std::min(n, size());
    return View(data() + (size() - count), count);
  }
  // The units after, and before, the last '/' or '\\'; the whole text if there is none. Of
  // "dir/sub\\file.txt": "file.txt" and "dir/sub".
  [[nodiscard]] constexpr View sub_fname() const noexcept {
    const unsigned slash = findback_slash();
    return slash == NOT_FOUND ? view() : sub_tail(slash + 1);
  }
  [[nodiscard]] constexpr View sub_fpath() const noexcept {
    const unsigned slash = findback_slash();
    return slash == NOT_FOUND ? view() : sub_head(slash);
  }
  // Without the spaces at an end. Only U+0020 counts: tabs and line ends stay.
  [[nodiscard]] constexpr View sub_trim_head() const noexcept {
    return sub_tail(cnt_consecutive_chr(' '));
  }
  [[nodiscard]] constexpr View sub_trim_tail() const noexcept {
    return sub_head_rev(cntback_consecutive_chr(' '));
  }
  [[nodiscard]] constexpr View sub_trim_all() const noexcept {
    return sub_trim_tail().sub_trim_head();
  }

  // ---- Searching

  // First unit that is `c` (or `c1` or `c2`), from the start or from `pos` on; last unit that is
  // `c`.
  [[nodiscard]] constexpr unsigned find_chr(T c) const noexcept {
    return position(STR::zz_findchr(data(), size(), c));
  }
  [[nodiscard]] constexpr unsigned find_chr(T c1, T c2) const noexcept {
    return position(STR::zz_findchr(data(), size(), c1, c2));
  }
  // Refuses a number as the second unit: find_chr_bypos searches from a position on.
  template <std::integral C>
  requires(sizeof(C) > 2 && !std::same_as<C, char32_t>) unsigned find_chr(T, C) const = delete;
  [[nodiscard]] constexpr unsigned find_chr_bypos(T c, unsigned pos) const noexcept {
    return position(STR::zz_findchr_bypos(data(), size(), c, pos));
  }
  [[nodiscard]] constexpr unsigned find_chr_bypos(T c1, T c2, unsigned pos) const noexcept {
    return position(STR::zz_findchr_bypos(data(), size(), c1, c2, pos));
  }
  [[nodiscard]] constexpr unsigned findback_chr(T c) const noexcept {
    return position(STR::zz_findbchr(data(), size(), c));
  }
  // Last '/' or '\\'.
  [[nodiscard]] constexpr unsigned findback_slash() const noexcept {
    return position(STR::zz_findbslash(data(), size()));
  }

  // First and last start of the needle. An empty needle is found at 0 by find_str, never by
  // findback_str.
  [[nodiscard]] constexpr unsigned find_str(View needle) const noexcept {
    return find_str(needle.ref_internal_data(), needle.len());
  }
  [[nodiscard]] constexpr unsigned find_str(const T* needle, unsigned n) const noexcept {
    return position(STR::zz_findstr<T>(data(), size(), needle, n));
  }
  [[nodiscard]] constexpr unsigned findback_str(View needle) const noexcept {
    return findback_str(needle.ref_internal_data(), needle.len());
  }
  [[nodiscard]] constexpr unsigned findback_str(const T* needle, unsigned n) const noexcept {
    return position(STR::zz_findb_str<T>(data(), size(), needle, n));
  }
  // First unit that occurs in `set`; `which` receives its index there and keeps its value when
  // there is none.
  [[nodiscard]] constexpr unsigned find_chrlist(View set,
                                                unsigned* which = nullptr) const noexcept {
    return position(
        STR::zz_findchrlist<T>(data(), size(), set.ref_internal_data(), set.len(), which));
  }

  // First line break: LF, CR LF or CR. `brk_len` receives 1 or 2, and 0 when there is none. A text
  // that is cut between CR and LF ends in a break of length 1.
  [[nodiscard]] constexpr unsigned find_crlf(unsigned& brk_len) const noexcept {
    return position(STR::zz_findcrlf(data(), size(), brk_len));
  }
  // Last line break, found from the end: an LF and a CR before it are one break, a CR that is met
  // first is a break of its own.
  [[nodiscard]] constexpr unsigned findback_crlf(unsigned& brk_len) const noexcept {
    return position(STR::zz_findbcrlf(data(), size(), brk_len));
  }

  // The text between the first `open` and the first `close` wholly after it: its position, and its
  // length in `inner_len`. NOT_FOUND and 0 when either is missing.
  [[nodiscard]] constexpr unsigned find_between(unsigned& inner_len, View open,
                                                View close) const noexcept {
    return between(inner_len, find_str(open), open.len(),
                   [&](View inner) { return inner.find_str(close); });
  }
  // The same with single units; an `open` that is the last unit counts as missing.
  [[nodiscard]] constexpr unsigned find_between(unsigned& inner_len, T open,
                                                T close) const noexcept {
    return between(inner_len, find_chr(open), 1, [&](View inner) { return inner.find_chr(close); });
  }

  // Length of the common prefix.
  [[nodiscard]] constexpr unsigned match_str(View other) const noexcept {
    return STR::zz_mchstr<T>(data(), size(), other.ref_internal_data(), other.len());
  }
  [[nodiscard]] constexpr unsigned cnt_chr(T c) const noexcept {
    return STR::zz_cntchr(data(), size(), c);
  }
  // Units equal to `c` at the start, and at the end.
  [[nodiscard]] constexpr unsigned cnt_consecutive_chr(T c) const noexcept {
    return STR::zz_cntcstvchr(data(), size(), c);
  }
  [[nodiscard]] constexpr unsigned cntback_consecutive_chr(T c) const noexcept {
    return STR::zz_cntbcstvchr(data(), size(), c);
  }

  // ---- Comparison (the operators stand at the end of this header)

  [[nodiscard]] constexpr bool is_equal(View other) const noexcept {
    return size() == other.len() &&
           detail::same_units<T>(data(), other.ref_internal_data(), size());
  }
  // Whether the units are exactly the characters of the zero-terminated `text`.
  [[nodiscard]] constexpr bool is_equal(const char* text) const noexcept {
    for (const T unit : view()) {
      if (*text == 0 || unit != static_cast<unsigned char>(*text++)) return false;
    }
    return *text == 0;
  }
  // The first unit that differs decides; of a text and its prefix the longer is greater:
  // "ab" < "abc" < "b" < "\xFF". `compare` gives less, equal or greater at once.
  [[nodiscard]] constexpr bool is_greater(View other) const noexcept { return compare(other) > 0; }
  [[nodiscard]] constexpr std::strong_ordering compare(View other) const noexcept {
    const unsigned same = match_str(other);
    if (same == size() || same == other.len()) return size() <=> other.len();
    return data()[same] <=> other[same];
  }
  // Every text starts and ends with an empty one.
  [[nodiscard]] constexpr bool is_startwith(View prefix) const noexcept {
    return STR::zz_stwith<T>(data(), size(), prefix.ref_internal_data(), prefix.len());
  }
  [[nodiscard]] constexpr bool is_endwith(View suffix) const noexcept {
    return STR::zz_edwith<T>(data(), size(), suffix.ref_internal_data(), suffix.len());
  }

  // ---- The same for 16-bit text with an ASCII literal (8-bit text takes the literal as a view)

  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr unsigned find_str(
      const char (&needle)[N]) const noexcept {
    return find_str(View(detail::WideLiteral(needle)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr unsigned findback_str(
      const char (&needle)[N]) const noexcept {
    return findback_str(View(detail::WideLiteral(needle)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr unsigned find_chrlist(
      const char (&set)[N], unsigned* which = nullptr) const noexcept {
    return find_chrlist(View(detail::WideLiteral(set)), which);
  }
  template <std::size_t N, std::size_t M>
  requires kIsWide [[nodiscard]] constexpr unsigned find_between(
      unsigned& inner_len, const char (&open)[N], const char (&close)[M]) const noexcept {
    return find_between(inner_len, View(detail::WideLiteral(open)),
                        View(detail::WideLiteral(close)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr unsigned match_str(
      const char (&other)[N]) const noexcept {
    return match_str(View(detail::WideLiteral(other)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr bool is_greater(const char (&other)[N]) const noexcept {
    return compare(other) > 0;
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr std::strong_ordering compare(
      const char (&other)[N]) const noexcept {
    return compare(View(detail::WideLiteral(other)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr bool is_startwith(
      const char (&prefix)[N]) const noexcept {
    return is_startwith(View(detail::WideLiteral(prefix)));
  }
  template <std::size_t N>
  requires kIsWide [[nodiscard]] constexpr bool is_endwith(const char (&suffix)[N]) const noexcept {
    return is_endwith(View(detail::WideLiteral(suffix)));
  }

  // ---- Classification: true for an empty text unless stated otherwise

  // 1 to 20 units, all digits after an optional '-'. False for "" and "-".
  [[nodiscard]] constexpr bool is_numstr() const noexcept { return STR::zz_isnum(data(), size()); }
  // ASCII letters only; letters and digits only; units from `low` to `high` only.
  [[nodiscard]] constexpr bool is_alpha_str() const noexcept { return all(STR::is_letter); }
  [[nodiscard]] constexpr bool is_alpha_num_str() const noexcept {
    return all([](T unit) { return STR::is_letter(unit) || STR::is_digit(unit); });
  }
  [[nodiscard]] constexpr bool is_range(T low, T high) const noexcept {
    return all([=](T unit) { return low <= unit && unit <= high; });
  }
  // Ends with an ASCII letter, digit or '_' and then an '@': somebody is typing a mail address.
  // False for an empty text.
  [[nodiscard]] constexpr bool is_email_pred() const noexcept {
    if (size() < 2 || data()[size() - 1] != '@') return false;
    const T before = data()[size() - 2];
    return before == '_' || STR::is_digit(before) || STR::is_letter(before);
  }
  // The first unit is not '/', and the second is not ':', as after a drive letter. Anything shorter
  // than 2 units is relative, "/" too, and so is anything that starts with '.'.
  [[nodiscard]] constexpr bool is_relative_path() const noexcept {
    if (size() < 2 || data()[0] == '.') return true;
    return data()[1] != ':' && data()[0] != '/';
  }

  // ---- Conversion to numbers, by the rules of STR: a text that does not start with a number is 0,
  // text after the number is ignored, and a number out of range is the limit of the type

  [[nodiscard]] constexpr int to_int32() const noexcept { return STR::zz_toint32(data(), size()); }
  [[nodiscard]] constexpr unsigned to_uint32() const noexcept {
    return STR::zz_touint32(data(), size());
  }
  [[nodiscard]] constexpr long long to_int64() const noexcept {
    return STR::zz_toint64(data(), size());
  }
  [[nodiscard]] constexpr unsigned long long to_uint64() const noexcept {
    return STR::zz_touint64(data(), size());
  }
  // Up to 16 hexadecimal digits, in two halves; an invalid half counts as 0: see STR::zz_tohex.
  [[nodiscard]] constexpr unsigned long long to_hex() const noexcept {
    return STR::zz_tohex(data(), size());
  }
  [[nodiscard]] double to_real() const noexcept { return STR::zz_toreal(data(), size()); }
  // Signed 64-bit and unsigned 32-bit decimal, the same as to_int64 and to_uint32.
  [[nodiscard]] constexpr long long to_num() const noexcept { return to_int64(); }
  [[nodiscard]] constexpr unsigned to_num32() const noexcept { return to_uint32(); }
  // 1 to 8 hexadecimal digits and nothing else, or 0.
  [[nodiscard]] constexpr unsigned to_hex32() const noexcept {
    return STR::zz_tohex32(data(), size());
  }
  // Parses up to `max` fields between `sep` units by the rule of to_num32 into out[0 .. max) and
  // returns how many. It stops at the first empty field, on purpose; split skips empty fields.
  constexpr unsigned split_num(unsigned* out, T sep, unsigned max) const noexcept {
    assert(out != nullptr || max == 0);
    BufferRefMutable<T> rest = view();
    unsigned count = 0;
    while (count < max) {
      const View field = rest.fetch_before_chr(sep);
      if (field.is_empty()) break;
      out[count++] = field.to_num32();
    }
    return count;
  }

  // ---- Copying out. REQUIRES: pos + n <= len(); `dst` is large enough.

  // Copies `n` units from `pos` on; returns n.
  constexpr unsigned read(T* dst, unsigned pos, unsigned n) const noexcept {
    assert(std::uint64_t{pos} + n <= size());
    std::copy_n(data() + pos, n, dst);
    return n;
  }
  // The same and a zero at dst[n]; without a range, the whole text.
  constexpr unsigned read_zend(T* dst, unsigned pos, unsigned n) const noexcept {
    read(dst, pos, n);
    dst[n] = 0;
    return n;
  }
  constexpr unsigned read_zend(T* dst) const noexcept { return read_zend(dst, 0, size()); }

  // ---- Splitting

  // Stores the non-empty fields between `sep` units in out[0 .. max) and returns how many. Empty
  // fields are skipped: ",a,,b," gives "a" and "b". Text after the last field that fits is ignored.
  constexpr unsigned split(BufferRefMutable<T>* out, T sep, unsigned max) const noexcept {
    assert(out != nullptr || max == 0);
    BufferRefMutable<T> rest = view();
    unsigned count = 0;
    while (count < max && !rest.is_empty()) {
      const View field = rest.fetch_before_chr(sep);
      if (!field.is_empty()) out[count++] = field;
    }
    return count;
  }

  // Reads one line of an ini file into `key` and `value`. Returns
  //   1  a section header, "[name]": the name as `key`, `value` empty;
  //   2  "key = value", cut at the first '=', or a key alone, with `value` empty;
  //   0  anything else, with both empty.
  // The text from `comment_chr` on is dropped, unless that is 0, and so are spaces around the line,
  // the key and the value; tabs stay, on purpose. The rest must have at least 3 units ("a=b",
  // "[a]") and must not start with '='. Either output may be this line itself.
  constexpr int parse_ini_line(BufferRefMutable<T>& key, BufferRefMutable<T>& value,
                               T comment_chr) const noexcept {
    const unsigned comment = comment_chr == 0 ? NOT_FOUND : find_chr(comment_chr);
    const View line = sub_head(comment).sub_trim_all();
    key.reset();
    value.reset();
    if (line.len() < 3 || line.front() == '=') return 0;
    if (line.front() == '[' && line.back(0) == ']') {
      key = line.sub_str(1, line.len() - 2);
      return 1;
    }
    const unsigned equals = line.find_chr('=');
    key = line.sub_head(equals).sub_trim_tail();
    if (equals != NOT_FOUND) value = line.sub_tail(equals + 1).sub_trim_head();
    return 2;
  }

 private:
  constexpr const Derived& derived() const { return static_cast<const Derived&>(*this); }
  constexpr const T* data() const { return derived().ref_internal_data(); }
  constexpr unsigned size() const { return derived().len(); }
  constexpr View view() const { return View(data(), size()); }

  static constexpr unsigned position(int at) { return static_cast<unsigned>(at); }
  constexpr unsigned rest(unsigned pos) const { return pos < size() ? size() - pos : 0; }
  // Past the end the address is computed as an integer: no pointer may be formed there.
  constexpr const T* unit_at(unsigned pos) const {
    if (pos <= size()) return data() + pos;
    if (std::is_constant_evaluated()) return data() + size();
    return reinterpret_cast<const T*>(reinterpret_cast<std::uintptr_t>(data()) +
                                      std::uintptr_t{pos} * sizeof(T));
  }
  template <class Predicate>
  constexpr bool all(Predicate matches) const {
    const View text = view();
    return std::all_of(text.begin(), text.end(), matches);
  }
  template <class FindClose>
  constexpr unsigned between(unsigned& inner_len, unsigned open, unsigned open_len,
                             FindClose find_close) const {
    inner_len = 0;
    if (open == NOT_FOUND) return NOT_FOUND;
    const unsigned inner = open + open_len;
    const unsigned close = find_close(sub_tail(inner));
    if (close == NOT_FOUND) return NOT_FOUND;
    inner_len = close;
    return inner;
  }
};

// A class whose text has the operations above.
template <class V>
concept TextLike = requires(const V& v) {
  typename V::unit_type;
  { v.len() } -> std::same_as<unsigned>;
  { v.ref_internal_data() } -> std::convertible_to<const typename V::unit_type*>;
};
// What converts to a view and so compares with a text V: views, buffers, and standard strings of
// the same width.
template <class O, class V>
concept ComparableWith = std::convertible_to<const O&, BufferRef<typename V::unit_type>>;

template <TextLike A, ComparableWith<A> B>
[[nodiscard]] constexpr bool operator==(const A& a, const B& b) noexcept {
  return a.is_equal(BufferRef<typename A::unit_type>(b));
}
template <TextLike A, ComparableWith<A> B>
[[nodiscard]] constexpr std::strong_ordering operator<=>(const A& a, const B& b) noexcept {
  return a.compare(BufferRef<typename A::unit_type>(b));
}
// 16-bit text with the ASCII characters of a C string, or of a literal.
template <TextLike A>
requires A::kIsWide [[nodiscard]] constexpr bool operator==(const A& a, const char* b) noexcept {
  return a.is_equal(b);
}
template <TextLike A, std::size_t N>
requires A::kIsWide [[nodiscard]] constexpr std::strong_ordering operator<=>(
    const A& a, const char (&b)[N]) noexcept {
  return a.compare(b);
}

}  // namespace tstl
