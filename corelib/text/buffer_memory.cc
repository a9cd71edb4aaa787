#include "corelib/text/buffer_memory.h"

#include <algorithm>
#include <cassert>
#include <cstdlib>

#include "corelib/text/str.h"

namespace tstl {
namespace {

// Bytes of an allocation: the capacity and the terminating zero.
template <Unit T>
std::size_t allocation_size(std::uint64_t cap) {
  return static_cast<std::size_t>(cap + 1) * sizeof(T);
}

}  // namespace

// Sets the fields and the zero; frees nothing.
template <Unit T>
void BufferMemOwner<T>::install(T* p, unsigned len, unsigned cap, unsigned storage) noexcept {
  str_ = p;
  len_ = len;
  cap_ = cap;
  flags_ = (flags_ & (kDerivedFlags | kInlineMask)) | storage;
  if (p != nullptr && storage != kConstFlag) p[len] = 0;
}

// The inline area if there is one, else the empty state; frees nothing.
template <Unit T>
void BufferMemOwner<T>::install_start() noexcept {
  const unsigned n = inline_capacity();
  install(n != 0 ? internal_with_data_ptr() : nullptr, 0, n, 0);
}

// Frees what is owned, then installs the new storage.
template <Unit T>
void BufferMemOwner<T>::set_data(T* p, unsigned len, unsigned cap, unsigned storage) noexcept {
  assert(len <= cap);
  assert(!is_owner() || p != str_ || p == nullptr);
  try_free();
  if (p == nullptr) return install(nullptr, 0, 0, 0);  // the caller's malloc failed
  install(p, std::min(len, cap), cap, storage);        // the zero never lies outside the memory
}

template <Unit T>
void BufferMemOwner<T>::set_data_empty() noexcept {
  try_free();
  install(nullptr, 0, cap_, 0);
}

template <Unit T>
void BufferMemOwner<T>::set_data_with_data(unsigned n) noexcept {
  assert(n <= kInlineMask);
  try_free();
  flags_ = (flags_ & ~kInlineMask) | (n & kInlineMask);
  install_start();
}

template <Unit T>
void BufferMemOwner<T>::capture_the_ownership() noexcept {
  if (this->is_writable() && !is_with_data()) flags_ |= kOwnerFlag;
}

template <Unit T>
void BufferMemOwner<T>::try_free() noexcept {
  if (is_owner()) std::free(str_);
}

template <Unit T>
void BufferMemOwner<T>::reset() noexcept {
  try_free();
  install_start();
}

template <Unit T>
bool BufferMemOwner<T>::grow(std::uint64_t need) noexcept {
  // All in 64 bits: `need` may be a sum of lengths that 32 bits do not hold. Without memory `cap_`
  // means nothing.
  const std::uint64_t old = str_ == nullptr ? 0 : cap_;
  const std::uint64_t doubled = std::min<std::uint64_t>(old * 2, kGreatestCapacity);
  const std::uint64_t cap = std::max({doubled, need, std::uint64_t{kLeastCapacity}});
  const bool owned = is_owner();
  void* memory = nullptr;
  if (cap <= kGreatestCapacity) {
    memory =
        owned ? std::realloc(str_, allocation_size<T>(cap)) : std::malloc(allocation_size<T>(cap));
  }
  if (memory == nullptr) {
    try_free();  // realloc has left the old memory as it was
    install(nullptr, 0, 0, 0);
    return false;
  }
  // realloc has copied the contents. Those in inline, external or const storage are copied here.
  T* const units = static_cast<T*>(memory);
  if (!owned) STR::zz_cast<T, T>(units, str_, len_);
  install(units, len_, static_cast<unsigned>(cap), kOwnerFlag);
  assert(check_invariants() && need <= cap_);
  return true;
}

template <Unit T>
void BufferMemOwner<T>::shrink_to_fit() noexcept {
  if (!is_owner()) return;
  if (len_ == 0) return reset();
  if (len_ <= inline_capacity()) {
    T* const heap = str_;  // install_start overwrites both
    const unsigned len = len_;
    install_start();
    STR::zz_cast<T, T>(str_, heap, len);
    install(str_, len, cap_, 0);
    std::free(heap);
  } else if (void* const memory = std::realloc(str_, allocation_size<T>(len_))) {
    install(static_cast<T*>(memory), len_, len_, kOwnerFlag);
  }
  assert(check_invariants());
}

template <Unit T>
bool BufferMemOwner<T>::check_invariants() const noexcept {
  if (is_owner() && is_const_data()) return false;
  // Without memory `cap_` may hold any number, see set_data_empty.
  if (str_ == nullptr) return len_ == 0 && !is_owner() && !is_const_data();
  if (is_const_data()) return cap_ == len_;
  if (is_with_data() && (is_owner() || cap_ != inline_capacity())) return false;
  return len_ <= cap_ && str_[len_] == 0;
}

template class BufferMemOwner<unsigned char>;
template class BufferMemOwner<unsigned short>;

}  // namespace tstl
