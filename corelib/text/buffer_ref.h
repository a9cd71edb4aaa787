// BufferRef and BufferRefMutable: non-owning views of text, which all functions of the library take
// and return.
//
//   for (tstl::BufferRefMutable<unsigned char> text = "width=5\nheight=7\n"; text;) {
//     tstl::BufferRefMutable<unsigned char> line = text.fetch_before_crlf();
//     const tstl::BufferRef<unsigned char> name = line.fetch_before_chr('=');
//     if (name == "height") height = line.to_num32();  // `line` is what is left of it: "7"
//   }
//
// A view is a pointer and a 32-bit length in units, copied by value. It never owns or frees memory:
// the owner of the text must outlive it, and an owner that reallocates makes its views stale. No
// zero is assumed after the text, which may be cut from the middle of a larger one.
//
//   offset  0      8
//         +------+-----+
//         | str  | len |   12 bytes, aligned to 4: an array of views has no gaps
//         +------+-----+
//
// A const view is one that does not change itself; its text may still be changed. A view can be
// made from a pointer to const and drops the const, on purpose, so that one type serves both. The
// operations that change units (the section "in place") are for views of writable memory only; the
// caller has to know.
//
// char16_t text is viewed as units of `unsigned short` and back, which the language's aliasing rule
// does not allow: whoever includes this compiles with -fno-strict-aliasing. The CMake targets and
// the pkg-config files ask for it.
//
// The reading operations are those of TextOps. Nothing fails and nothing allocates. A parser holds
// a BufferRefMutable over its input and consumes it from the front, as above.
#pragma once

#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <type_traits>

#include "corelib/base/digit.h"
#include "corelib/base/types.h"
#include "corelib/text/str.h"
#include "corelib/text/text_ops.h"

namespace tstl {

// The standard library's character type for a unit: views convert from and to its strings.
template <Unit T>
using CharOf = std::conditional_t<sizeof(T) == 1, char, char16_t>;

// A forwarding reference deduced Text from an rvalue: a temporary object that owns its text.
template <class Text, class T>
concept TemporaryText = !std::is_reference_v<Text> &&
                        (std::same_as<std::remove_cv_t<Text>, std::basic_string<CharOf<T>>> ||
                         (TextLike<Text> && !std::derived_from<Text, BufferRef<T>>));

// Packed so that an array of views holds pointer and length back to back, without gaps.
#pragma pack(push, 4)
template <Unit T>
class BufferRef : public TextOps<T, BufferRef<T>> {
 public:
  using Char = CharOf<T>;
  using StdView = std::basic_string_view<Char>;

  constexpr BufferRef() noexcept = default;
  constexpr BufferRef(const T* str, unsigned len) noexcept : str_(const_cast<T*>(str)), len_(len) {
    assert(str != nullptr || len == 0);
    static_assert(offsetof(BufferRef, str_) == 0 && offsetof(BufferRef, len_) == sizeof(T*));
  }
  // A zero-terminated text of `char` (8-bit) or `char16_t` (16-bit); a null pointer gives an empty
  // view.
  template <std::same_as<CharOf<T>> C>
  BufferRef(const C* text) noexcept
      : BufferRef(text, STR::zz_len(reinterpret_cast<const T*>(text))) {}
  // A buffer or any other owner of text with units of T.
  template <TextLike V>
  requires(std::same_as<typename V::unit_type, T> &&
           !std::derived_from<V, BufferRef>) constexpr BufferRef(const V& text
                                                                     ZENTA_LIFETIMEBOUND) noexcept
      : BufferRef(text.ref_internal_data(), text.len()) {}
  // Standard strings of the unit's character type. A text of 2^32 units or more is cut to 2^32 - 1.
  BufferRef(StdView text) noexcept
      : BufferRef(reinterpret_cast<const T*>(text.data()), cut_length(text.size())) {}
  BufferRef(const std::basic_string<Char>& text ZENTA_LIFETIMEBOUND) noexcept
      : BufferRef(StdView(text)) {}
  template <std::same_as<Char> C>
  BufferRef(const C* str, unsigned len) noexcept
      : BufferRef(reinterpret_cast<const T*>(str), len) {}

  // Refuses a temporary buffer or string: the view would dangle after the statement. A temporary as
  // an argument of a call is fine.
  template <class Owner>
  requires TemporaryText<Owner, T> BufferRef& operator=(Owner&&) = delete;

  // ---- Access. None of these checks bounds; a position counts from 0.

  // Replace both fields, the pointer only, the length only.
  constexpr void set_str(const T* str, unsigned len) noexcept { *this = BufferRef(str, len); }
  constexpr void restr(const T* str) noexcept { str_ = const_cast<T*>(str); }
  constexpr void relen(unsigned len) noexcept { len_ = len; }

  [[nodiscard]] constexpr unsigned len() const noexcept { return len_; }
  [[nodiscard]] constexpr T* ref_internal_data() const noexcept { return str_; }
  // str() and cstr() return a pointer to the unit, the functions after them the unit itself.
  [[nodiscard]] constexpr T* str(unsigned pos = 0) const noexcept { return str_ + pos; }
  [[nodiscard]] constexpr const T* cstr(unsigned pos = 0) const noexcept { return str_ + pos; }
  [[nodiscard]] constexpr T& ref(unsigned pos) const noexcept { return str_[pos]; }
  [[nodiscard]] constexpr T& operator[](unsigned pos) const noexcept { return str_[pos]; }
  [[nodiscard]] constexpr T& front() const noexcept { return str_[0]; }
  // The unit `n` positions before the last.
  [[nodiscard]] constexpr T& back(unsigned n = 0) const noexcept {
    assert(n < len_);
    return str_[len_ - 1 - n];
  }
  [[nodiscard]] constexpr T* begin() const noexcept { return str_; }
  [[nodiscard]] constexpr T* end() const noexcept { return str_ + len_; }
  [[nodiscard]] constexpr const T* cbegin() const noexcept { return str_; }
  [[nodiscard]] constexpr const T* cend() const noexcept { return str_ + len_; }
  [[nodiscard]] constexpr bool is_empty() const noexcept { return len_ == 0; }
  explicit constexpr operator bool() const noexcept { return len_ != 0; }

  // The text as a view of the standard library, of the same lifetime.
  [[nodiscard]] StdView std_view() const noexcept {
    return StdView(reinterpret_cast<const Char*>(str_), len_);
  }
  operator StdView() const noexcept { return std_view(); }

  // ---- In place. REQUIRES: the memory is writable, and large enough where the text grows.

  // Writes a zero after the last unit.
  void ensure_zero_end() noexcept {
    assert(str_ != nullptr);
    str_[len_] = 0;
  }
  void to_up() noexcept { STR::zz_up(str_, len_); }
  void to_low() noexcept { STR::zz_low(str_, len_); }
  // Returns how many units were replaced.
  unsigned replace_chr(T from, T to) noexcept { return STR::zz_replchr(str_, len_, from, to); }
  // REQUIRES: the view is not empty.
  void reverse() noexcept { STR::zz_rev(str_, len_); }

  // Removes every unit equal to `c`, or every unit that occurs in `set`, and closes the gaps.
  // REQUIRES: `set` is not a part of this view, whose units move while it is read.
  void erase_chr(T c) noexcept;
  void erase_chrlist(BufferRef set) noexcept;
  // Removes the units [pos, pos + n), cut at the end; nothing when `pos` is past it.
  void erase(unsigned pos, unsigned n) noexcept;

  // Copies `other` over the units from `pos` on; the length stays. Here and below `other` may be a
  // view of the same memory.
  void write(unsigned pos, BufferRef other) noexcept;
  // Append `other`, or insert it before the unit at `pos` (at the end if `pos` is past it), and add
  // its length. If the sum of the lengths exceeds 32 bits, nothing changes.
  void append_str(BufferRef other) noexcept;
  void insert_str(unsigned pos, BufferRef other) noexcept;

 protected:
  // Drops min(n, len) units at the start.
  constexpr void advance(std::uint64_t n) noexcept {
    const unsigned step = n < len_ ? static_cast<unsigned>(n) : len_;
    str_ += step;
    len_ -= step;
  }

 private:
  static unsigned cut_length(std::size_t n) {
    return n < NOT_FOUND ? static_cast<unsigned>(n) : NOT_FOUND;
  }

  T* str_ = nullptr;
  unsigned len_ = 0;
};

// A view that is consumed from the front: what a parser holds while it walks through its input.
// Results are views of the same memory. fetch_before_chr and fetch_before_crlf always consume
// something of a view that is not empty, so a loop "while not empty" ends.
template <Unit T>
class BufferRefMutable : public BufferRef<T> {
 public:
  using View = BufferRef<T>;
  using View::View;
  constexpr BufferRefMutable(View view) noexcept : View(view) {}
  template <class Owner>
  requires TemporaryText<Owner, T> BufferRefMutable& operator=(Owner&&) = delete;

  constexpr void reset() noexcept { *this = BufferRefMutable(); }

  // Drops min(n, len) units; returns the new length.
  constexpr unsigned cut_head(unsigned n) noexcept {
    this->advance(n);
    return this->len();
  }
  // Returns the first min(n, len) units; drops them and `skip` more.
  constexpr View fetch_head(unsigned n, unsigned skip = 0) noexcept {
    return take(this->sub_head(n), std::uint64_t{n} + skip);
  }
  // Return the units before the first `c`, `s` or line break (as find_crlf defines it); drop them
  // and the separator. Without a separator that is the whole view. An empty `s` is found at the
  // start: nothing is consumed.
  constexpr View fetch_before_chr(T c) noexcept { return fetch_before(this->find_chr(c), 1); }
  constexpr View fetch_before_str(View s) noexcept {
    return fetch_before(this->find_str(s), s.len());
  }
  // The same for 16-bit text and an ASCII literal.
  template <std::size_t N>
  requires(sizeof(T) == 2) constexpr View fetch_before_str(const char (&s)[N]) noexcept {
    return fetch_before_str(View(detail::WideLiteral(s)));
  }
  constexpr View fetch_before_crlf() noexcept {
    unsigned brk_len = 0;
    const unsigned at = this->find_crlf(brk_len);
    return fetch_before(at, brk_len);
  }
  // Drop the spaces (U+0020 only) at the start, at the end, at both; return the view as it is then.
  constexpr View trim_head() noexcept { return *this = this->sub_trim_head(); }
  constexpr View trim_tail() noexcept { return *this = this->sub_trim_tail(); }
  constexpr View trim_all() noexcept { return *this = this->sub_trim_all(); }

 private:
  constexpr View take(View head, std::uint64_t consumed) {
    this->advance(consumed);
    return head;
  }
  // NOT_FOUND is no less than any length, so the whole view is fetched.
  constexpr View fetch_before(unsigned at, unsigned skip) { return fetch_head(at, skip); }
};
#pragma pack(pop)

template <Unit T>
void BufferRef<T>::write(unsigned pos, BufferRef other) noexcept {
  assert(str_ != nullptr || other.is_empty());
  if (other) std::memmove(str_ + pos, other.str_, other.len_ * sizeof(T));
}

template <Unit T>
void BufferRef<T>::append_str(BufferRef other) noexcept {
  if (std::uint64_t{len_} + other.len_ > NOT_FOUND) return;
  write(len_, other);
  len_ += other.len_;
}

template <std::size_t N>
constexpr detail::WideLiteral<N>::operator BufferRef<unsigned short>() const {
  return BufferRef<unsigned short>(units_, len_);
}

extern template class BufferRef<unsigned char>;
extern template class BufferRef<unsigned short>;
extern template class BufferRefMutable<unsigned char>;
extern template class BufferRefMutable<unsigned short>;

static_assert(sizeof(BufferRef<unsigned char>) == sizeof(void*) + 4 &&
              alignof(BufferRef<unsigned char>) == 4);
static_assert(sizeof(BufferRefMutable<unsigned short>) == sizeof(void*) + 4);
static_assert(std::is_trivially_copyable_v<BufferRefMutable<unsigned short>> &&
              std::is_standard_layout_v<BufferRef<unsigned short>>);

namespace detail {
template <Unit T, class Stream>
void write_text(Stream& out, BufferRef<T> text) {
  for (const T unit : text) {
    if (unit < 0x80 || sizeof(T) == 1) {
      out.put(static_cast<char>(unit));
      continue;
    }
    out.put('\\').put('u');
    for (int shift = 12; shift >= 0; shift -= 4) {
      out.put(static_cast<char>(base::upper_hex_digit(unit >> shift & 15)));
    }
  }
}
}  // namespace detail

// For messages and test output. 8-bit units are written as they are; 16-bit units as characters if
// they are ASCII, else as \uXXXX, so that ill-formed text is visible too.
template <class Traits, Unit T>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out,
                                             BufferRef<T> text) {
  detail::write_text(out, text);
  return out;
}

}  // namespace tstl

// Equals the hash of the standard library's view of the same text, for heterogeneous lookup.
template <tstl::Unit T>
struct std::hash<tstl::BufferRef<T>> {
  std::size_t operator()(tstl::BufferRef<T> text) const noexcept {
    return std::hash<typename tstl::BufferRef<T>::StdView>()(text);
  }
};
template <tstl::Unit T>
struct std::hash<tstl::BufferRefMutable<T>> : std::hash<tstl::BufferRef<T>> {};
