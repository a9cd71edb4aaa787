// VectorRef: a view of consecutive elements, for arrays what BufferRef is for text.
//
// A pointer and a 32-bit count, copied by value. It owns nothing: the owner of the elements must
// outlive it.
#pragma once

#include <cassert>
#include <cstdint>
#include <type_traits>

namespace tstl {

template <class T>
class VectorRef {
 public:
  constexpr VectorRef() noexcept = default;
  // `elements` may be null when `count` is 0.
  constexpr VectorRef(const T* elements, std::uint32_t count) noexcept
      : elements_(elements), count_(count) {}
  template <std::uint32_t kCount>
  constexpr VectorRef(
      const T (&elements)[kCount]) noexcept  // NOLINT(google-explicit-constructor): a view of it
      : VectorRef(elements, kCount) {}

  [[nodiscard]] constexpr const T* data() const noexcept { return elements_; }
  [[nodiscard]] constexpr std::uint32_t size() const noexcept { return count_; }
  [[nodiscard]] constexpr bool is_empty() const noexcept { return count_ == 0; }
  // REQUIRES: i < size().
  [[nodiscard]] constexpr const T& operator[](std::uint32_t i) const noexcept {
    assert(i < count_);
    return elements_[i];
  }
  [[nodiscard]] constexpr const T* begin() const noexcept { return elements_; }
  [[nodiscard]] constexpr const T* end() const noexcept { return elements_ + count_; }

 private:
  const T* elements_ = nullptr;
  std::uint32_t count_ = 0;
};

}  // namespace tstl
