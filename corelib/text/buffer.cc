#include "corelib/text/buffer.h"

#include <algorithm>

#include "corelib/text/escape.h"
#include "corelib/text/str.h"
#include "corelib/text/utf.h"

namespace tstl {
namespace {

// Both directions under one name, so that Buffer has one body for both widths.
std::size_t transcoded_size(BufferRef<unsigned short> text) {
  return utf8_size(text.cstr(), text.len());
}
std::size_t transcoded_size(BufferRef<unsigned char> text) {
  return utf16_size(text.cstr(), text.len());
}

void transcode(BufferRef<unsigned short> text, unsigned char* dst, std::size_t capacity) {
  utf16_to_utf8(text.cstr(), text.len(), dst, capacity);
}
void transcode(BufferRef<unsigned char> text, unsigned short* dst, std::size_t capacity) {
  utf8_to_utf16(text.cstr(), text.len(), dst, capacity);
}

std::size_t lossless_capacity(BufferRef<unsigned short> text) {
  return utf8_size(text.cstr(), text.len(), LoneSurrogate::kKeep);
}
std::size_t lossless_capacity(BufferRef<unsigned char> text) { return text.len(); }

std::size_t transcode_lossless(BufferRef<unsigned short> text, unsigned char* dst,
                               std::size_t capacity) {
  return utf16_to_utf8_lossless(text.cstr(), text.len(), dst, capacity);
}
std::size_t transcode_lossless(BufferRef<unsigned char> text, unsigned short* dst, std::size_t) {
  return utf8_to_utf16_lossless(text.cstr(), text.len(), dst);
}

// Writes one character and returns how many units it takes, 0 for a value that is no character.
std::size_t encode(char32_t c, unsigned char* dst) { return encode_utf8(c, dst); }
std::size_t encode(char32_t c, unsigned short* dst) {
  if (c > 0x10FFFF || is_surrogate(c)) return 0;
  if (c < 0x10000) {
    dst[0] = static_cast<unsigned short>(c);
    return 1;
  }
  dst[0] = static_cast<unsigned short>(0xD800 + ((c - 0x10000) >> 10));
  dst[1] = static_cast<unsigned short>(0xDC00 + (c & 0x3FF));
  return 2;
}

// Units for 2^64 milliseconds, which are 12 digits of days, and a zero.
constexpr unsigned kTimecostCapacity = 27;

template <Unit T>
unsigned write_timecost(T* buf, unsigned long long rest) {
  struct Step {
    unsigned milliseconds;
    unsigned char letter;
  };
  unsigned len = 0;
  if (rest < 1000) {
    len = NUM::zz_tostr(buf, rest);
    buf[len++] = 'm';
  } else {
    // Once a unit has been written, those below it follow even when they are 0.
    for (const Step& step : {Step{86400000, 'd'}, Step{3600000, 'h'}, Step{60000, 'm'}}) {
      if (len == 0 && rest < step.milliseconds) continue;
      const unsigned digits = NUM::zz_tostr(buf + len, rest / step.milliseconds);
      len += NUM::zz_fixp(buf + len, digits, len == 0 ? 0 : 2);
      buf[len++] = step.letter;
      rest %= step.milliseconds;
    }
    const unsigned digits = NUM::zz_totc(buf + len, rest, 3);
    len += NUM::zz_fixp(buf + len, digits, len == 0 ? 0 : 6);
  }
  buf[len++] = 's';
  return len;
}

}  // namespace

template <Unit T>
template <Unit U>
bool Buffer<T>::make_room(std::uint64_t need, BufferRef<U>& text) noexcept {
  // Only realloc moves memory. Storage that is not owned is copied and stays readable, so a text in
  // it needs no adjustment. Addresses are compared as integers, because `text` may lie elsewhere.
  const auto address = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
  const std::uintptr_t offset = address(text.cstr()) - address(str_);
  const bool moves = this->is_owner() && offset <= cap_ * sizeof(T);
  if (!make_room(need)) return false;
  if (moves) text.restr(reinterpret_cast<const U*>(address(str_) + offset));
  return true;
}

template <Unit T>
template <class Change>
Buffer<T>& Buffer<T>::change_in_place(Change change) noexcept {
  if (len_ != 0 && make_room(len_)) {
    View text(str_, len_);
    change(text);
    len_ = text.len();
    str_[len_] = 0;
  }
  return *this;
}

// ---- Assignment and length

template <Unit T>
Buffer<T>& Buffer<T>::assign(OtherView text) noexcept {
  if constexpr (sizeof(T) == 1) {
    return assign_transcoded(text);
  } else {
    if (text.is_empty()) return clear();  // needs no memory
    if (make_room(text.len(), text)) BufferFixBase<T>::assign(text, cap_);
    return *this;
  }
}

template <Unit T>
Buffer<T>& Buffer<T>::assign_rv(Buffer&& other, bool reset_first) noexcept {
  if (&other == this) return *this;
  assert(!this->is_owner() || other.str_ != str_);
  if (reset_first) this->reset();
  if (other.str_ == nullptr) {
    this->reset();
  } else if (other.is_const_data()) {
    this->set_data_const(other.str_, other.len_);
  } else if (other.is_with_data()) {
    assign(other);
  } else {
    // Heap or external memory: first the pointer is handed over, then the owner bit, so that there
    // is at most one owner. set_data_external frees what this buffer owned.
    this->set_data_external(other.cap_, other.str_, other.len_);
    const bool owner = other.is_owner();
    other.release_the_ownership();
    if (owner) this->capture_the_ownership();
    other.reset();
  }
  assert(this->check_invariants() && other.check_invariants());
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::clear() noexcept {
  if (!this->is_writable()) {
    this->reset();
  } else {
    str_[len_ = 0] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::set_len(unsigned n) noexcept {
  assert(n <= cap_);
  if (n != len_ && make_room(len_)) this->set_len_fix(n, cap_);
  return *this;
}

// ---- Adding and replacing

template <Unit T>
Buffer<T>& Buffer<T>::append_str(OtherView text) noexcept {
  const std::size_t added = transcoded_size(text);
  if (added != 0 && make_room(std::uint64_t{len_} + added, text)) {
    transcode(text, str_ + len_, added);
    len_ += static_cast<unsigned>(added);
    str_[len_] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::append_lossless(OtherView text) noexcept {
  const std::size_t capacity = lossless_capacity(text);
  if (text && make_room(std::uint64_t{len_} + capacity, text)) {
    len_ += static_cast<unsigned>(transcode_lossless(text, str_ + len_, capacity));
    str_[len_] = 0;
  }
  return *this;
}

// The capacity is reserved before the character is examined, so that it does not depend on it.
template <Unit T>
Buffer<T>& Buffer<T>::append_encoded(char32_t c, unsigned headroom) noexcept {
  if (make_room(std::uint64_t{len_} + headroom)) {
    len_ += static_cast<unsigned>(encode(c, str_ + len_));
    str_[len_] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::append_chr_repeat(T c, unsigned count) noexcept {
  if (count != 0 && make_room(std::uint64_t{len_} + count)) {
    std::fill_n(str_ + len_, count, c);
    len_ += count;
    str_[len_] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::replace_str(unsigned pos, unsigned n, View text) noexcept {
  pos = std::min(pos, len_);
  n = std::min(n, len_ - pos);
  const std::uint64_t need = std::uint64_t{len_} - n + text.len();
  // An edit that changes nothing must not copy a const text or allocate.
  const bool changes = n != 0 || text;
  if (changes && make_room(need, text)) this->replace_in_place(pos, n, text);
  return *this;
}

// ---- Changes in place

template <Unit T>
Buffer<T>& Buffer<T>::to_up() noexcept {
  return change_in_place([](View& text) { text.to_up(); });
}
template <Unit T>
Buffer<T>& Buffer<T>::to_low() noexcept {
  return change_in_place([](View& text) { text.to_low(); });
}
template <Unit T>
Buffer<T>& Buffer<T>::replace_chr(T from, T to) noexcept {
  return change_in_place([=](View& text) { text.replace_chr(from, to); });
}
template <Unit T>
Buffer<T>& Buffer<T>::reverse() noexcept {
  return change_in_place([](View& text) { text.reverse(); });
}
template <Unit T>
Buffer<T>& Buffer<T>::erase_chr(T c) noexcept {
  return change_in_place([=](View& text) { text.erase_chr(c); });
}
template <Unit T>
Buffer<T>& Buffer<T>::erase_chrlist(View set) noexcept {
  return change_in_place([=](View& text) { text.erase_chrlist(set); });
}

template <Unit T>
Buffer<T>& Buffer<T>::ensure_slash_end() noexcept {
  const bool has_slash = len_ != 0 && (this->back() == '/' || this->back() == '\\');
  // All capacity is reserved at once: if appending the slash failed, the buffer would become "/".
  if (!make_room(std::uint64_t{len_} + !has_slash)) return *this;
  STR::zz_replchr<T>(str_, len_, '\\', '/');
  return has_slash ? *this : append_unit('/');
}

template <Unit T>
Buffer<T>& Buffer<T>::ensure_noslash_end() noexcept {
  replace_chr('\\', '/');
  if (len_ != 0 && this->back() == '/') cut_tail(1);
  return *this;
}

// ---- Values and escapes as text

// For texts whose length is known only after writing: written on the stack first, so that the
// buffer grows by the length of the text and not by the greatest possible length.
template <Unit T>
template <unsigned kCapacity, class Write>
Buffer<T>& Buffer<T>::append_written(Write write) noexcept {
  T text[kCapacity];
  return append_str(View(text, write(text)));
}

template <Unit T>
Buffer<T>& Buffer<T>::append_padded_text(const T* text, unsigned len, unsigned width) noexcept {
  if (make_room(std::uint64_t{len_} + std::max(len, width))) {
    STR::zz_cast(str_ + len_, text, len);
    len_ += NUM::zz_fixp(str_ + len_, len, width);
    str_[len_] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::append_real(double value) noexcept {
  return append_written<NUM::kRealRoom>([=](T* buf) { return NUM::zz_toreal(buf, value); });
}
template <Unit T>
Buffer<T>& Buffer<T>::append_real(double value, unsigned int_digits,
                                  unsigned frac_digits) noexcept {
  return append_written<NUM::kFixedRealRoom>(
      [=](T* buf) { return NUM::zz_toreal(buf, value, int_digits, frac_digits); });
}
template <Unit T>
Buffer<T>& Buffer<T>::append_date(const Date& value) noexcept {
  return append_written<Date::kLength + 1>([=](T* buf) { return value.zz_str(buf); });
}
template <Unit T>
Buffer<T>& Buffer<T>::append_time(const Time& value) noexcept {
  return append_written<Time::kLength + 1>([=](T* buf) { return value.zz_str(buf); });
}
template <Unit T>
Buffer<T>& Buffer<T>::append_datetime(const DateTime& value) noexcept {
  return append_written<DateTime::kLength + 1>([=](T* buf) { return value.zz_str(buf); });
}
template <Unit T>
Buffer<T>& Buffer<T>::append_filesize(unsigned long long bytes) noexcept {
  return append_written<NUM::kSizeRoom>([=](T* buf) { return NUM::zz_tofsize(buf, bytes); });
}

template <Unit T>
Buffer<T>& Buffer<T>::append_timecost(unsigned long long milliseconds) noexcept {
  return append_written<kTimecostCapacity>(
      [=](T* buf) { return write_timecost(buf, milliseconds); });
}

template <Unit T>
Buffer<T>& Buffer<T>::append_bin8(unsigned char byte) noexcept {
  return append_written<8>([=](T* buf) {
    for (unsigned i = 0; i < 8; ++i) buf[i] = static_cast<T>('0' + (byte >> (7 - i) & 1));
    return 8u;
  });
}

template <Unit T>
Buffer<T>& Buffer<T>::append_ctrl(View text) noexcept {
  const std::uint64_t added = detail::escaped_size(text);
  if (added != 0 && make_room(len_ + added, text)) {
    detail::escape(text, str_ + len_);
    len_ += static_cast<unsigned>(added);
    str_[len_] = 0;
  }
  return *this;
}

template <Unit T>
Buffer<T>& Buffer<T>::append_unescape(View text) noexcept {
  if (text && make_room(std::uint64_t{len_} + text.len(), text)) {
    len_ += detail::unescape(text, str_ + len_);
    str_[len_] = 0;
  }
  return *this;
}

template class Buffer<unsigned char>;
template class Buffer<unsigned short>;

}  // namespace tstl
