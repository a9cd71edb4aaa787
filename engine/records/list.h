// List: the lists inside records. A pointer and a 32-bit count of consecutive elements.
//
//   list:  elements (64-bit pointer) | count (32-bit) | room (32-bit)
//
// The elements lie in the arena of the message that was read, or with a caller who builds a record and
// points the list at elements of his own; they must outlive the list, which destroys nothing. `room`
// tells how many elements the memory has space for that this list took from an arena, and is 0 where
// the elements are somebody else's. A copy of a list is a view of the same elements without room of
// its own, like a list of the caller's: it takes memory of its own before it grows, so that nobody
// else's elements are written to. A list that is moved takes its room along.
//
// Room doubles, so an element is copied once or twice on the average, however long the list becomes.
// An arena takes no memory back: what a list leaves behind while it grows element by element is less
// than it has in the end.
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

// The most bytes of an arena that a byte of a message costs, where readers of records make lists
// from it. An element of a list takes two bytes or more of a message (a number one or more); and it
// takes four times its size or less: the list has less than twice the room that it needs and has left
// less than that behind. Where nobody knows how long a list becomes it begins with room for
// kFirstRoom, which its key and brackets, seven bytes, pay for.
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
      : elements_(other.elements_), count_(other.count_), room_(std::exchange(other.room_, 0)) {}
  constexpr List& operator=(const List& other) noexcept { return *this = List(other); }
  constexpr List& operator=(List&& other) noexcept {
    elements_ = other.elements_;
    count_ = other.count_;
    room_ = std::exchange(other.room_, 0);
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

  // ---- Growing. The elements are moved to memory of the list's own first if they are not there yet.

  // Makes room in `arena` for `more` elements beyond those it has, so that adding them takes no
  // further memory. False, and nothing changed, when memory is short or there were 2^32 elements.
  [[nodiscard]] bool reserve(std::uint32_t more, tstl::ArenaRef arena);
  // Adds an element as its type makes it. Null, and nothing added, as for reserve(). `reserved`:
  // reserve() has made room for it.
  [[nodiscard]] T* append(tstl::ArenaRef arena, bool reserved = false);
  // Whether there is room for another element.
  [[nodiscard]] bool has_room() const noexcept { return count_ < room_; }
  // Takes back what append() added last. REQUIRES: it did.
  void drop_last() noexcept {
    assert(count_ != 0 && count_ <= room_);
    --count_;
  }

 private:
  T* elements_ = nullptr;
  std::uint32_t count_ = 0;
  std::uint32_t room_ = 0;
};
static_assert(sizeof(List<int>) == 16);

// ---------------------------------------------------------------------------------------------------------------------

// Elements are copied, so lists inside them lose their room; that costs a copy if they ever grow.
template <class T>
bool List<T>::reserve(std::uint32_t more, tstl::ArenaRef arena) {
  static_assert(std::is_trivially_destructible_v<T>, "nothing in an arena is destroyed");
  static_assert(
      sizeof(T) <= kMaxGrowth / 2,
      "an element of a list takes at most 128 bytes, so that a short message cannot ask for "
      "much memory: move members into a record of their own, and hold that in a List");
  const std::uint64_t need = std::uint64_t{count_} + more;
  if (need <= room_ || more == 0) return true;
  if (need > tstl::FAILURE) return false;
  const std::uint64_t room = std::min<std::uint64_t>(std::bit_ceil(need), tstl::FAILURE);
  constexpr std::size_t kAlign = alignof(T) < 4 ? 4 : alignof(T);
  auto* const memory = static_cast<T*>(arena.alloc(room * sizeof(T), kAlign));
  if (memory == nullptr) return false;
  std::uninitialized_copy_n(elements_, count_, memory);
  elements_ = memory;
  room_ = static_cast<std::uint32_t>(room);
  return true;
}

template <class T>
T* List<T>::append(tstl::ArenaRef arena, bool reserved) {
  if (!reserved && count_ >= room_ && !reserve(1, arena)) return nullptr;
  assert(count_ < room_);
  return new (elements_ + count_++) T();
}

}  // namespace zenta::records
