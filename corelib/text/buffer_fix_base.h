// BufferFixBase: an owning buffer without its memory management. It reads (all of TextOps), gives
// access to the units, and writes without ever growing.
//
// It is the first link of the chain that buffer.h draws. Each link has the same 20-byte header:
//
//   offset   0      8     12     16      20
//          +------+-----+-----+-------+ - - - - - - - - - - - - - +
//          | str  | len | cap | flags |  inline area, cap + 1 units
//          +------+-----+-----+-------+ - - - - - - - - - - - - - +
//
//   flags, bit  31     the memory is the buffer's own, from malloc, and is freed by it (owner)
//               30     the memory is a read-only text that the buffer only points at (const)
//               24-29  free for derived types; every change of state keeps them
//               0-23   units of the inline area, 0 when there is none
//
// Lengths and capacities count units. `cap` does not count the terminating zero, which every
// operation keeps at `len`. Nothing here allocates. A null pointer is an empty text.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <string_view>
#include <type_traits>

#include "corelib/base/types.h"
#include "corelib/text/buffer_ref.h"
#include "corelib/text/str.h"
#include "corelib/text/text_ops.h"

namespace tstl {

#pragma pack(push, 4)
template <Unit T>
class BufferFixBase : public TextOps<T, BufferFixBase<T>> {
 public:
  using View = BufferRef<T>;
  using StdView = typename View::StdView;
  using OtherUnit = std::conditional_t<sizeof(T) == 1, unsigned short, unsigned char>;
  using OtherView = BufferRef<OtherUnit>;

  BufferFixBase(const BufferFixBase&) = delete;
  BufferFixBase& operator=(const BufferFixBase&) = delete;

  // ---- Access. None of these checks bounds. Pointers hold until the next operation that may grow
  // or replace the memory. REQUIRES: a const text is not written through them.

  [[nodiscard]] unsigned len() const noexcept { return len_; }
  [[nodiscard]] bool is_empty() const noexcept { return len_ == 0; }
  explicit operator bool() const noexcept { return len_ != 0; }
  // Null in the empty state, also after a failed allocation.
  [[nodiscard]] T* ref_internal_data() noexcept { return str_; }
  [[nodiscard]] const T* ref_internal_data() const noexcept { return str_; }
  // The text with its zero; never null. A const text has a zero after it only if its owner put one
  // there.
  [[nodiscard]] const T* c_str() const noexcept { return str_ != nullptr ? str_ : &kZero; }

  [[nodiscard]] T* str(unsigned pos = 0) noexcept { return str_ + pos; }
  [[nodiscard]] const T* str(unsigned pos = 0) const noexcept { return str_ + pos; }
  [[nodiscard]] const T* cstr(unsigned pos = 0) const noexcept { return str_ + pos; }
  [[nodiscard]] T& ref(unsigned pos) noexcept { return str_[pos]; }
  [[nodiscard]] T& operator[](unsigned pos) noexcept { return str_[pos]; }
  [[nodiscard]] const T& operator[](unsigned pos) const noexcept { return str_[pos]; }
  [[nodiscard]] const T& front() const noexcept { return str_[0]; }
  // The unit `n` positions before the last.
  [[nodiscard]] const T& back(unsigned n = 0) const noexcept {
    assert(n < len_);
    return str_[len_ - 1 - n];
  }
  [[nodiscard]] T* begin() noexcept { return str_; }
  [[nodiscard]] T* end() noexcept { return str_ + len_; }
  [[nodiscard]] const T* begin() const noexcept { return str_; }
  [[nodiscard]] const T* end() const noexcept { return str_ + len_; }
  [[nodiscard]] const T* cbegin() const noexcept { return str_; }
  [[nodiscard]] const T* cend() const noexcept { return str_ + len_; }

  // The text as the standard library sees it.
  [[nodiscard]] StdView std_view() const noexcept { return View(*this).std_view(); }
  operator StdView() const noexcept { return std_view(); }

  // ---- Writes that never grow. `cap` limits the length of the result, as does the buffer's own
  // capacity. What does not fit is cut off the added text, never off the units that are kept; if
  // these alone exceed the limit, nothing is added. `text` may be a part of the same buffer's
  // contents. A const text is not changed.

  // Append `text`; insert it before the unit at `pos`, or at the end if `pos` is past it; overwrite
  // the units from `pos` on, also past the end. Return how many units of `text` were used.
  unsigned append_str_fix(View text, unsigned cap) noexcept {
    return replace_fix(len_, 0, text, cap);
  }
  unsigned insert_str_fix(unsigned pos, View text, unsigned cap) noexcept {
    return replace_fix(pos, 0, text, cap);
  }
  unsigned write_fix(unsigned pos, View text, unsigned cap) noexcept {
    return replace_fix(pos, text.len(), text, cap);
  }
  // Removes the units [pos, pos + n), cut at the end.
  void erase_fix(unsigned pos, unsigned n, unsigned cap) noexcept {
    replace_fix(pos, n, View(), cap);
  }
  // Sets the length, `cap` at most, and returns it. Units that this adds have whatever value is in
  // the memory.
  unsigned set_len_fix(unsigned n, unsigned cap) noexcept;

  // Replaces the contents by `text`; returns how many units of it were used.
  unsigned assign(View text, unsigned cap) noexcept { return replace_fix(0, len_, text, cap); }
  // The same with 8-bit text, one unit for each byte. This assignment does not decode, on purpose:
  // it is for ASCII, Latin-1 and raw bytes; UTF-8 is decoded by Buffer's constructors, append_str
  // and assign_transcoded. REQUIRES: `bytes` is not in this buffer's memory, unless it begins where
  // the memory begins.
  unsigned assign(OtherView bytes, unsigned cap) noexcept requires(sizeof(T) == 2) {
    if (!is_writable()) return 0;
    const unsigned n = std::min({bytes.len(), cap, cap_});
    STR::zz_cast_rev(str_, bytes.cstr(), n);  // backwards: bytes at the start are widened in place
    return set_len_fix(n, cap);
  }

 protected:
  static constexpr unsigned kOwnerFlag = 1u << 31;
  static constexpr unsigned kConstFlag = 1u << 30;
  static constexpr unsigned kDerivedFlags = 0x3F000000;
  static constexpr unsigned kInlineMask = 0x00FFFFFF;

  BufferFixBase() noexcept {
    static_assert(std::is_standard_layout_v<BufferFixBase> && alignof(BufferFixBase) == 4);
    static_assert(offsetof(BufferFixBase, str_) == 0 &&
                  offsetof(BufferFixBase, len_) == sizeof(T*));
    static_assert(offsetof(BufferFixBase, cap_) == sizeof(T*) + 4 &&
                  offsetof(BufferFixBase, flags_) == sizeof(T*) + 8);
    static_assert(sizeof(BufferFixBase) == sizeof(T*) + 12);
  }
  ~BufferFixBase() = default;

  // There is memory, and it may be written.
  [[nodiscard]] bool is_writable() const noexcept {
    return str_ != nullptr && (flags_ & kConstFlag) == 0;
  }
  // Replaces the units [pos, pos + n) by `text`, which may be a part of the contents.
  // REQUIRES: is_writable(), the range lies within the contents, and the result fits.
  void replace_in_place(unsigned pos, unsigned n, View text) noexcept;

  T* str_ = nullptr;
  unsigned len_ = 0;
  unsigned cap_ = 0;
  unsigned flags_ = 0;

 private:
  static constexpr T kZero = 0;

  // The same with `pos` and `n` clamped to the contents and `text` cut to the space that `cap`
  // leaves. Returns how many units of `text` were used.
  unsigned replace_fix(unsigned pos, unsigned n, View text, unsigned cap) noexcept;
};
#pragma pack(pop)

extern template class BufferFixBase<unsigned char>;
extern template class BufferFixBase<unsigned short>;

template <class Traits, Unit T>
std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out,
                                             const BufferFixBase<T>& text) {
  return out << BufferRef<T>(text);
}

}  // namespace tstl
