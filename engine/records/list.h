// List: the lists inside records. A pointer and a 32-bit count of consecutive elements.
//
//   list:  elements (64-bit pointer) | count (32-bit) | capacity (32-bit)
//
// The elements lie in the arena of the message that was read, or in memory of a caller who builds a
// record. They must outlive the list, which destroys nothing.
//
// The capacity counts the elements that fit into the memory which this list took from an arena. It
// is 0 when the memory is somebody else's. A copy of a list is a view of the same elements with
// capacity 0: it takes memory of its own before it grows, and so never writes to elements that
// others see. Moving a list moves its capacity.
//
// The capacity doubles, so an element is copied once or twice on average, however long the list
// becomes. An arena takes no memory back: the memory that a list abandons while it grows element by
// element is less than what it has in the end.
#pragma once

#include <algorithm>
#include <bit>
#include <cassert>
#include <concepts>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "corelib/base/arena_ref.h"
#include "corelib/base/types.h"
#include "corelib/base/vector_ref.h"

namespace zenta::records {

// The most bytes of arena memory that readers of records take for one byte of a message. An element
// costs two bytes or more of the message (a number one or more). It takes at most four times its
// size: the capacity is less than twice the count, and the memory abandoned while growing is less
// than the capacity. A list of unknown length starts with the capacity kFirstRoom, which is paid
// for by the seven bytes of its key and brackets.
inline constexpr std::uint32_t kMaxGrowth = 256;
inline constexpr std::uint32_t kFirstRoom = 8;

template <class T>
class List {
 public:
  using Element = T;

  constexpr List() noexcept = default;
  // `elements` may be null when `count` is 0.
  constexpr List(T* elements, std::uint32_t count) noexcept : elements_(elements), count_(count) {
    assert(elements != nullptr || count == 0);
  }
  template <std::uint32_t kCount>
  constexpr List(T (&elements)[kCount]) noexcept  // NOLINT(google-explicit-constructor): a view
      : List(elements, kCount) {}
  constexpr List(const List& other) noexcept : elements_(other.elements_), count_(other.count_) {}
  constexpr List(List&& other) noexcept
      : elements_(other.elements_),
        count_(other.count_),
        capacity_(std::exchange(other.capacity_, 0)) {}
  constexpr List& operator=(const List& other) noexcept { return *this = List(other); }
  constexpr List& operator=(List&& other) noexcept {
    elements_ = other.elements_;
    count_ = other.count_;
    capacity_ = std::exchange(other.capacity_, 0);
    return *this;
  }
  ~List() = default;

  [[nodiscard]] constexpr T* data() const noexcept { return elements_; }
  [[nodiscard]] constexpr std::uint32_t size() const noexcept { return count_; }
  [[nodiscard]] constexpr bool is_empty() const noexcept { return count_ == 0; }
  // REQUIRES: i < size().
  [[nodiscard]] constexpr T& operator[](std::uint32_t i) const noexcept {
    assert(i < count_);
    return elements_[i];
  }
  [[nodiscard]] constexpr T* begin() const noexcept { return elements_; }
  [[nodiscard]] constexpr T* end() const noexcept { return elements_ + count_; }
  operator tstl::VectorRef<T>() const noexcept { return {elements_, count_}; }

  // ---- Growing. Elements that are in somebody else's memory are copied to memory of the list's
  // own first.

  // Makes space in `arena` for `more` elements beyond size(), so that appending them takes no
  // further memory. False, with nothing changed, when the arena is out of memory or the list would
  // have 2^32 elements or more.
  [[nodiscard]] bool reserve(std::uint32_t more, tstl::ArenaRef arena);
  // Appends a value-initialized element. Null, with nothing added, when reserve() would fail.
  // `reserved`: reserve() has made space for it.
  [[nodiscard]] T* append(tstl::ArenaRef arena, bool reserved = false);
  // Whether append() needs no further memory.
  [[nodiscard]] bool has_room() const noexcept { return count_ < capacity_; }
  // Removes the element that append() added last. REQUIRES: there is one.
  void drop_last() noexcept {
    assert(count_ != 0 && count_ <= capacity_);
    --count_;
  }

 private:
  T* elements_ = nullptr;
  std::uint32_t count_ = 0;
  std::uint32_t capacity_ = 0;
};
static_assert(sizeof(List<int>) == 16);

// ---------------------------------------------------------------------------------------------------------------------

// Elements are copied, so lists inside them get capacity 0; each of those is copied too if it ever
// grows.
template <class T>
bool List<T>::reserve(std::uint32_t more, tstl::ArenaRef arena) {
  static_assert(std::is_trivially_destructible_v<T>, "nothing in an arena is destroyed");
  static_assert(
      sizeof(T) <= kMaxGrowth / 2,
      "an element of a list takes at most 128 bytes, so that a short message cannot ask for "
      "much memory: move members into a record of their own, and hold that in a List");
  const std::uint64_t need = std::uint64_t{count_} + more;
  if (need <= capacity_ || more == 0) return true;
  if (need > tstl::FAILURE) return false;
  const std::uint64_t capacity = std::min<std::uint64_t>(std::bit_ceil(need), tstl::FAILURE);
  constexpr std::size_t kAlign = alignof(T) < 4 ? 4 : alignof(T);
  auto* const memory = static_cast<T*>(arena.alloc(capacity * sizeof(T), kAlign));
  if (memory == nullptr) return false;
  std::uninitialized_copy_n(elements_, count_, memory);
  elements_ = memory;
  capacity_ = static_cast<std::uint32_t>(capacity);
  return true;
}

template <class T>
T* List<T>::append(tstl::ArenaRef arena, bool reserved) {
  if (!reserved && count_ >= capacity_ && !reserve(1, arena)) return nullptr;
  assert(count_ < capacity_);
  return new (elements_ + count_++) T();
}

}  // namespace zenta::records
