#include "corelib/text/buffer_fix_base.h"

#include "corelib/text/str.h"

namespace tstl {
namespace {

// How many leading units of `text` stay where they are when the units [tail, end) move: those
// before `tail`, or all if `text` does not overlap these units.
template <Unit T>
unsigned units_before(BufferRef<T> text, const T* tail, const T* end) {
  const auto address = [](const T* p) { return reinterpret_cast<std::uintptr_t>(p); };
  if (address(text.begin()) >= address(end) || address(text.end()) <= address(tail))
    return text.len();
  return text.begin() < tail ? static_cast<unsigned>(tail - text.begin()) : 0;
}

}  // namespace

template <Unit T>
void BufferFixBase<T>::replace_in_place(unsigned pos, unsigned n, View text) noexcept {
  assert(is_writable() && pos <= len_ && n <= len_ - pos);
  assert(std::uint64_t{len_} - n + text.len() <= cap_);
  T* const at = str_ + pos;
  T* const tail = at + n;
  const unsigned tail_len = len_ - pos - n;
  const unsigned text_len = text.len();
  if (text_len <= n) {
    // The text is written first: it overwrites only units that are removed.
    STR::zz_cast(at, text.cstr(), text_len);
    STR::zz_cast(at + text_len, tail, tail_len);
  } else {
    // The tail moves up first. The part of the text that lay in the tail is read at its new
    // position.
    const unsigned before = units_before<T>(text, tail, tail + tail_len);
    STR::zz_cast(at + text_len, tail, tail_len);
    STR::zz_cast(at, text.cstr(), before);
    STR::zz_cast(at + before, text.cstr(before) + (text_len - n), text_len - before);
  }
  len_ = pos + text_len + tail_len;
  str_[len_] = 0;
}

template <Unit T>
unsigned BufferFixBase<T>::replace_fix(unsigned pos, unsigned n, View text, unsigned cap) noexcept {
  if (!is_writable()) return 0;
  pos = std::min(pos, len_);
  n = std::min(n, len_ - pos);
  const unsigned kept = len_ - n;
  const unsigned limit = std::max(std::min(cap, cap_), kept);
  text = text.sub_head(limit - kept);
  replace_in_place(pos, n, text);
  return text.len();
}

template <Unit T>
unsigned BufferFixBase<T>::set_len_fix(unsigned n, unsigned cap) noexcept {
  if (!is_writable()) return len_;
  len_ = std::min({n, cap, cap_});
  str_[len_] = 0;
  return len_;
}

template class BufferFixBase<unsigned char>;
template class BufferFixBase<unsigned short>;

}  // namespace tstl
