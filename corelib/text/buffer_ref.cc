#include "corelib/text/buffer_ref.h"

#include <functional>

namespace tstl {

template <Unit T>
void BufferRef<T>::erase_chr(T c) noexcept {
  unsigned kept = static_cast<unsigned>(detail::first_of(str_, len_, c));
  for (unsigned i = kept; i < len_; ++i) {
    const T unit = str_[i];
    str_[kept] = unit;
    kept += unit != c;
  }
  len_ = kept;
}

template <Unit T>
void BufferRef<T>::erase_chrlist(BufferRef set) noexcept {
  const detail::UnitSet<T> lookup(set.str_, set.len_);
  unsigned kept = 0;
  for (unsigned i = 0; i < len_; ++i) {
    const T unit = str_[i];
    str_[kept] = unit;
    kept += !lookup.has(unit);
  }
  len_ = kept;
}

template <Unit T>
void BufferRef<T>::erase(unsigned pos, unsigned n) noexcept {
  if (pos >= len_) return;
  const BufferRef tail = this->sub_tail(pos).sub_tail(n);
  write(pos, tail);
  len_ = pos + tail.len_;
}

template <Unit T>
void BufferRef<T>::insert_str(unsigned pos, BufferRef other) noexcept {
  if (std::uint64_t{len_} + other.len_ > NOT_FOUND) return;
  const BufferRef tail = this->sub_tail(std::min(pos, len_));
  const bool apart = std::less_equal<>()(other.end(), tail.begin()) ||
                     std::less_equal<>()(tail.end() + other.len_, other.begin());
  if (apart) {
    write(len_ - tail.len_ + other.len_, tail);
    write(len_ - tail.len_, other);
  } else {
    // `other` overlaps the units that move: append a copy of it, then rotate it before the tail.
    write(len_, other);
    std::rotate(tail.begin(), tail.end(), tail.end() + other.len_);
  }
  len_ += other.len_;
}

template class BufferRef<unsigned char>;
template class BufferRef<unsigned short>;
template class BufferRefMutable<unsigned char>;
template class BufferRefMutable<unsigned short>;

}  // namespace tstl
