// List: the lists inside records. A pointer and a 32-bit count of consecutive elements, copied by
// value like a view.
//
// A list owns nothing. The readers of records make it grow in the arena of the message that is
// being read; a caller who builds a record points it at elements of his own, which must outlive it.
//
// There is no field for the capacity: a list that grows has room for the next power of two
// elements, so the count tells when the room is used up, and an element is copied once or twice on
// the average, however long the list becomes. An arena takes no memory back: what a list leaves
// behind while it grows element by element is less than it has in the end.
#pragma once

#include <bit>
#include <cassert>
#include <concepts>
#include <cstdint>
#include <cstring>
#include <new>
#include <type_traits>

#include "corelib/base/arena_ref.h"
#include "corelib/base/vector_ref.h"

namespace zenta::records {

// The most bytes of an arena that a byte of a message costs, where readers of records make lists
// from it. An element of a list takes two bytes or more of a message; and it takes four times its
// size or less: the list has less than twice the room that it needs and has left less than that
// behind.
inline constexpr std::uint32_t kMaxGrowth = 256;

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

  // ---- For readers. REQUIRES: the list is empty or was made by these operations alone.

  // Makes room in `arena` for `more` elements beyond those it has, so that adding them takes no
  // further memory. False, and nothing changed, when memory is short.
  [[nodiscard]] bool reserve(std::uint32_t more, tstl::ArenaRef arena);
  // Adds an element as its type makes it. Null, and nothing added, when memory is short. `reserved`:
  // reserve() has made room for it.
  [[nodiscard]] T* append(tstl::ArenaRef arena, bool reserved = false);

 private:
  bool move_to(std::uint64_t capacity, tstl::ArenaRef arena);

  T* elements_ = nullptr;
  std::uint32_t count_ = 0;
};

// ---------------------------------------------------------------------------------------------------------------------

template <class T>
bool List<T>::move_to(std::uint64_t capacity, tstl::ArenaRef arena) {
  static_assert(std::is_trivially_copyable_v<T>, "elements are moved as bytes");
  static_assert(4 * sizeof(T) <= 2 * kMaxGrowth);
  constexpr std::size_t kAlign = alignof(T) < 4 ? 4 : alignof(T);
  void* const memory = arena.alloc(capacity * sizeof(T), kAlign);
  if (memory == nullptr) return false;
  if (count_ != 0) std::memcpy(memory, elements_, std::size_t{count_} * sizeof(T));
  elements_ = static_cast<T*>(memory);
  return true;
}

template <class T>
bool List<T>::reserve(std::uint32_t more, tstl::ArenaRef arena) {
  const std::uint64_t need = std::uint64_t{count_} + more;
  const std::uint64_t capacity = count_ == 0 ? 0 : std::bit_ceil(std::uint64_t{count_});
  return need <= capacity || move_to(std::bit_ceil(need), arena);
}

template <class T>
T* List<T>::append(tstl::ArenaRef arena, bool reserved) {
  const bool is_full = (count_ & (count_ - 1)) == 0;
  if (!reserved && is_full && !reserve(1, arena)) return nullptr;
  return new (elements_ + count_++) T();
}

}  // namespace zenta::records
