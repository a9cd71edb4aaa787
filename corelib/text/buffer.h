// Buffer: owning, growable text with a zero unit after its last unit.
//
//   tstl::Buffer<unsigned char> line;                      // 8-bit text: UTF-8
//   line.append_str("count: ").append_num(42, 4);          // "count: 0042"
//   line.append_str(u"，中").append_chr(U'文');            // other widths are transcoded
//   const tstl::Buffer<unsigned short> wide(line);         // the whole text as UTF-16
//   std::puts(reinterpret_cast<const char*>(line.c_str()));
//
//   +-----+-----+-----+-------+
//   | str | len | cap | flags |      20 bytes; offsets and flags: buffer_fix_base.h
//   +--|--+-----+-----+-------+
//      v
//   +---+---+---+---+---+---+------------+
//   | c | o | u | n | t | 0 |    free    |      len is 5; cap + 1 units in all
//   +---+---+---+---+---+---+------------+
//
// The buffers are one chain of classes without virtual functions. Each adds operations; only
// BufferFixBase (the header) and BufferInline (the inline area) add data:
//
//   TextOps<T>              reading: search, compare, cut, split, parse      text_ops.h
//     BufferFixBase<T>      the header (pointer, length, capacity, flags);
//                           access to units; writes that never grow          buffer_fix_base.h
//       BufferMemOwner<T>   where the memory comes from, who frees it,
//                           how it grows                                     buffer_memory.h
//         Buffer<T>         growing operations, transcoding, formatting      this header
//           BufferInline<T, N>  space for N units in the object itself       buffer_inline.h
//
// All reading operations of TextOps work on a buffer, and it converts to a BufferRef wherever a
// function takes one. buffer_memory.h describes growth, the states of storage and allocation
// failure. In short: an operation whose allocation fails writes nothing and leaves a null pointer
// and an empty text; the next operation starts from there.
//
// A text that is passed to an operation may be a part of the same buffer's contents, even if the
// memory moves. An operation that changes a const text first copies it to the heap, whether the
// text grows or not; clear() and assignment only drop it. Operations return the buffer, so that
// calls can be chained. One thread uses a buffer at a time.
//
// Compile with -fno-strict-aliasing, for char16_t text: see buffer_ref.h.
//
// Between the two unit widths text is transcoded by the rules of utf.h (unpaired surrogates are
// dropped): by the constructors, append_str, append_chr and assign_transcoded. The one exception is
// `assign` of 8-bit text to a 16-bit buffer, which widens each byte, on purpose.
#pragma once

#include <cassert>
#include <concepts>
#include <cstdint>
#include <type_traits>
#include <utility>

#include "corelib/base/bytes.h"
#include "corelib/base/types.h"
#include "corelib/text/buffer_memory.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/datetime.h"
#include "corelib/text/num.h"

namespace tstl {

namespace detail {
// Never defined. A call that is left after optimization is reported as an error.
#if defined(__has_attribute) && __has_attribute(error)
__attribute__((error("append_chr: no unit of this buffer has this value; write u'...' or U'...'")))
#endif
void append_chr_of_no_unit() noexcept;
}  // namespace detail

template <Unit T>
class Buffer : public BufferMemOwner<T> {
 public:
  using View = BufferRef<T>;
  using typename BufferFixBase<T>::OtherUnit;
  using typename BufferFixBase<T>::OtherView;

  // ---- Construction and assignment

  Buffer() noexcept = default;
  // Empty, with a capacity of `capacity` units, but at least 32 unless it is 0.
  explicit Buffer(unsigned capacity) noexcept { this->recapacity(capacity); }
  // Copies.
  explicit Buffer(View text) noexcept { append_str(text); }
  Buffer(const T* units, unsigned len) noexcept : Buffer(View(units, len)) {}
  Buffer(const CharOf<T>* units, unsigned len) noexcept
      : Buffer(reinterpret_cast<const T*>(units), len) {}
  Buffer(const Buffer& other) noexcept : BufferMemOwner<T>() { append_str(other); }
  // Transcoded copies of text of the other width.
  explicit Buffer(OtherView text) noexcept { append_str(text); }
  Buffer(const OtherUnit* units, unsigned len) noexcept : Buffer(OtherView(units, len)) {}
  Buffer(const CharOf<OtherUnit>* units, unsigned len) noexcept
      : Buffer(reinterpret_cast<const OtherUnit*>(units), len) {}
  Buffer(Buffer&& other) noexcept { assign_rv(std::move(other), false); }

  Buffer& operator=(const Buffer& other) noexcept { return assign(other); }
  Buffer& operator=(Buffer&& other) noexcept { return assign_rv(std::move(other), true); }
  Buffer& operator=(View text) noexcept { return assign(text); }

  // Replaces the contents by a copy of `text`.
  Buffer& assign(View text) noexcept {
    return text.is_empty() ? clear() : replace_str(0, len_, text);
  }
  // The same with text of the other width. An 8-bit buffer gets its UTF-8 form. In a 16-bit buffer
  // each byte becomes a unit and nothing is decoded, on purpose: see BufferFixBase. REQUIRES:
  // `text` is not in this buffer's memory (bytes may be, if they begin where it begins).
  Buffer& assign(OtherView text) noexcept;
  // Replaces the contents by `text`, transcoded to UTF-8 or UTF-16. REQUIRES: `text` is not in this
  // buffer's memory.
  Buffer& assign_transcoded(OtherView text) noexcept { return clear().append_str(text); }
  // The assignments of BufferFixBase, which take a limit and never grow.
  using BufferFixBase<T>::assign;

  // Move assignment. If `reset_first`, this buffer is reset() first. Heap and external memory of
  // `other` are taken over with the owner bit, and `other` is reset(). A const text is shared. A
  // text in the inline area of `other` is copied and replaces the contents; without `reset_first`
  // the copy uses the memory that this buffer has. Assigning a buffer to itself does nothing.
  Buffer& assign_rv(Buffer&& other, bool reset_first) noexcept;

  // ---- Length

  // Sets the length to 0 and keeps the memory. A const text is dropped.
  Buffer& clear() noexcept;
  // Sets the length. Units that this adds have whatever value is in the memory. REQUIRES: n <=
  // capacity().
  Buffer& set_len(unsigned n) noexcept;
  // Writes the zero at len(), for callers that wrote into the memory themselves.
  void set_zend() noexcept {
    if (this->is_writable()) str_[len_] = 0;
  }
  // Drop the first, or the last, min(n, len()) units. Return the new length.
  unsigned cut_head(unsigned n) noexcept { return erase(0, n).len_; }
  unsigned cut_tail(unsigned n) noexcept { return erase(n < len_ ? len_ - n : 0, n).len_; }

  // ---- Adding and replacing text

  Buffer& append_str(View text) noexcept {
    const unsigned old = len_, n = text.len();
    T* const units = str_;
    if (n - 1 >= cap_ - old || units == nullptr)
      return replace_str(old, 0, text);  // does not fit, or `text` is empty
    len_ = old + n;
    base::copy_bytes_called(units + old, text.cstr(), n * sizeof(T));
    units[old + n] = 0;
    return *this;
  }
  Buffer& append_str(OtherView text) noexcept;
  // The same without loss, for file names and the like: each byte that is not part of well-formed
  // UTF-8 becomes a lone surrogate, and this becomes the byte again. See utf8_to_utf16_lossless.
  Buffer& append_lossless(OtherView text) noexcept;

  // Appends one character. A unit of the buffer's own width is appended as it is; a `char` or an
  // integer counts as one. A UTF-16 unit in an 8-bit buffer and a code point are encoded: capacity
  // for the longest encoding is reserved first, and a lone surrogate or a value that is no code
  // point appends nothing. An integer out of a unit's range appends nothing (debug builds assert);
  // for a constant the compiler reports an error if it optimizes. A wchar_t is refused: whether it
  // is a unit or a code point depends on the system.
  template <std::integral C>
  requires(!std::same_as<C, wchar_t> && !std::same_as<C, bool>) Buffer& append_chr(C c) noexcept {
    if constexpr (std::same_as<C, char32_t> ||
                  (sizeof(T) == 1 &&
                   (std::same_as<C, char16_t> || std::same_as<C, unsigned short>))) {
      return append_encoded(c, sizeof(C) == 2 ? 3 : 4 / sizeof(T));
    } else if constexpr (std::same_as<C, char>) {
      return append_unit(static_cast<unsigned char>(c));
    } else if constexpr (sizeof(C) == 1 && !std::is_signed_v<C>) {
      return append_unit(c);
    } else {
      const bool is_unit = std::in_range<T>(static_cast<long long>(c));
#if defined(__OPTIMIZE__)
      if (__builtin_constant_p(c) && !is_unit) detail::append_chr_of_no_unit();
#endif
      assert(is_unit);
      return is_unit ? append_unit(static_cast<T>(c)) : *this;
    }
  }
  Buffer& append_chr_repeat(T c, unsigned count) noexcept;
  // Appends zero units that count as text.
  Buffer& append_zero(unsigned count = 1) noexcept { return append_chr_repeat(0, count); }

  // Inserts `text` before the unit at `pos`, or at the end if `pos` is past it.
  Buffer& insert_str(unsigned pos, View text) noexcept { return replace_str(pos, 0, text); }
  // Replaces the units [pos, pos + n) by `text`. The range is clamped to the contents.
  Buffer& replace_str(unsigned pos, unsigned n, View text) noexcept;
  // Overwrites the units from `pos` (at most len()) on with `text`, which may extend past the end.
  Buffer& write(unsigned pos, View text) noexcept { return replace_str(pos, text.len(), text); }
  // Removes the units [pos, pos + n), cut at the end.
  Buffer& erase(unsigned pos, unsigned n) noexcept { return replace_str(pos, n, View()); }

  // ---- Changes in place, as BufferRef has them

  Buffer& to_up() noexcept;
  Buffer& to_low() noexcept;
  Buffer& replace_chr(T from, T to) noexcept;
  Buffer& reverse() noexcept;
  Buffer& erase_chr(T c) noexcept;
  // REQUIRES: `set` is not in this buffer's memory.
  Buffer& erase_chrlist(View set) noexcept;

  // Turn every '\\' into '/'. Then append a '/' unless the text ends with one (an empty text
  // becomes "/"), or drop one '/' from the end.
  Buffer& ensure_slash_end() noexcept;
  Buffer& ensure_noslash_end() noexcept;
  // Appends zero units, up to three, until the length is a multiple of 4 units.
  Buffer& ensure_len_align4() noexcept { return append_zero(-len_ & 3); }

  // ---- Appending values as text, by the functions of NUM

  // Decimal digits, padded to `width` units with zeros after the sign.
  template <Integer V>
  Buffer& append_num(V value, unsigned width = 0) noexcept {
    if (width != 0)
      return append_padded(width, [value](T* buf) { return NUM::zz_tostr(buf, value); });
    const unsigned n = NUM::decimal_length(value);
    if (make_room(std::uint64_t{len_} + n)) len_ += NUM::zz_tostr(str_ + len_, value);
    return *this;
  }
  // Upper-case hexadecimal digits, padded to `width` units with zeros. A negative value is written
  // as the two's complement of its own width.
  template <Integer V>
  Buffer& append_hex(V value, unsigned width = 0) noexcept {
    return append_padded(width, [value](T* buf) { return NUM::zz_tohex(buf, value); });
  }
  // The shortest text that reads back as `value`; or with given numbers of digits before and after
  // the point.
  Buffer& append_real(double value) noexcept;
  Buffer& append_real(double value, unsigned int_digits, unsigned frac_digits) noexcept;
  // "YYYY-MM-DD", "HH:MM:SS", and both with the separator of `value` between them.
  Buffer& append_date(const Date& value) noexcept;
  Buffer& append_time(const Time& value) noexcept;
  Buffer& append_datetime(const DateTime& value) noexcept;
  // A count of bytes with a unit letter: "1.500K". See NUM::zz_tofsize.
  Buffer& append_filesize(unsigned long long bytes) noexcept;
  // A duration: "7ms", from a second on "1.234s", then "2m03.004s", "1h02m03.004s",
  // "5d01h02m03.004s". Nothing is rounded; the units after the first have two digits.
  Buffer& append_timecost(unsigned long long milliseconds) noexcept;
  // The eight binary digits of a byte, the highest first.
  Buffer& append_bin8(unsigned char byte) noexcept;

  // ---- Appending text with escapes; the second undoes the first

  // Makes ASCII control characters visible: as \0 \a \b \t \n \v \f \r or \xHH, and the backslash
  // as \\.
  Buffer& append_ctrl(View text) noexcept;
  // Resolves these escapes, \" \' \/ \e, and \uHHHH for a UTF-16 unit. In 8-bit text two \uHHHH
  // that form a surrogate pair give one character, and a lone surrogate gives nothing. A backslash
  // before anything else is copied. Capacity for the whole of `text` is reserved.
  Buffer& append_unescape(View text) noexcept;

 private:
  using BufferMemOwner<T>::str_;
  using BufferMemOwner<T>::len_;
  using BufferMemOwner<T>::cap_;

  Buffer& append_unit(T c) noexcept {
    const unsigned old = len_;
    T* const units = str_;
    if (old >= cap_ || units == nullptr) return append_chr_repeat(c, 1);
    len_ = old + 1;  // stored first: the next append depends on it
    units[old] = c;
    units[old + 1] = 0;
    return *this;
  }
  Buffer& append_encoded(char32_t c, unsigned headroom) noexcept;
  Buffer& append_padded_text(const T* text, unsigned len, unsigned width) noexcept;
  template <unsigned kCapacity, class Write>
  Buffer& append_written(Write write) noexcept;
  template <class Write>
  Buffer& append_padded(unsigned width, Write write) noexcept {
    T text[NUM::kDecimalRoom];
    return append_padded_text(text, write(text), width);
  }

  // Ensures a writable capacity of `need` units. False if there is none: the caller writes nothing.
  bool make_room(std::uint64_t need) noexcept {
    return (this->is_writable() && need <= cap_) || ((need | len_) != 0 && this->grow(need));
  }
  // The same. If `text` lies in this buffer's memory and the memory moves, `text` is adjusted.
  template <Unit U>
  bool make_room(std::uint64_t need, BufferRef<U>& text) noexcept;
  // Calls `change` with a view of the contents, which it may shorten.
  template <class Change>
  Buffer& change_in_place(Change change) noexcept;
};

static_assert(sizeof(Buffer<unsigned char>) == sizeof(BufferMemOwner<unsigned char>) &&
              sizeof(Buffer<unsigned short>) == sizeof(BufferMemOwner<unsigned short>));

extern template class Buffer<unsigned char>;
extern template class Buffer<unsigned short>;

}  // namespace tstl

// Equals the hash of a view of the text.
template <tstl::Unit T>
struct std::hash<tstl::Buffer<T>> : std::hash<tstl::BufferRef<T>> {};
