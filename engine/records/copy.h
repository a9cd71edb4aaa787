// A deep copy of a record into another arena, so that the arena that it was read into can be
// emptied.
//
//   CloudResponse kept;
//   if (!copy_record(response, kept, long_lived)) ...    // out of memory
//   arena.rewind();                                      // `kept` stays valid
//
// The members that the record's table names are copied: texts, each with a zero after it, lists
// with their elements, nested records, numbers. Other members are copied by assignment, so views
// among them still refer to the old memory. The arena is asked for exactly the bytes of each text
// and list, aligned to at least 4.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <new>
#include <type_traits>

#include "corelib/base/arena_ref.h"
#include "corelib/base/bytes.h"
#include "engine/records/codec.h"
#include "engine/records/field.h"
#include "engine/records/list.h"

namespace zenta::records {

// Makes `to` a copy of `from` in `arena`. `to` may be `from`, and its old contents are not read.
// False, with `to` unchanged, when the arena is out of memory.
template <Record R>
[[nodiscard]] bool copy_record(const R& from, R& to, tstl::ArenaRef arena);

// ---------------------------------------------------------------------------------------------------------------------

namespace detail {

// Each of these copies what the value refers to into the arena and makes the value refer to the
// copy. False when the arena is out of memory.

template <class T>
requires Number<T> || std::is_same_v<T, bool>
[[nodiscard]] inline bool own(T&, tstl::ArenaRef) noexcept { return true; }

template <Number T, std::size_t kCount>
[[nodiscard]] bool own(std::array<T, kCount>&, tstl::ArenaRef) noexcept {
  return true;
}

template <tstl::Unit T>
[[nodiscard]] bool own(tstl::BufferRef<T>& text, tstl::ArenaRef arena) noexcept {
  if (text.cstr() == nullptr) return true;
  const std::uint64_t n = text.len();
  auto* const copy = static_cast<T*>(arena.alloc((n + 1) * sizeof(T), 4));
  if (copy == nullptr) return false;
  tstl::base::copy_bytes(reinterpret_cast<unsigned char*>(copy),
                         reinterpret_cast<const unsigned char*>(text.cstr()), n * sizeof(T));
  copy[n] = 0;
  text = {copy, text.len()};
  return true;
}

template <class T>
[[nodiscard]] bool own(List<T>& list, tstl::ArenaRef arena);

template <Record R>
[[nodiscard]] bool own(R& record, tstl::ArenaRef arena) {
  return !kFields<R>.any([&](auto f) { return !own(decltype(f)::of(record), arena); });
}

template <class T>
[[nodiscard]] bool own(List<T>& list, tstl::ArenaRef arena) {
  if (list.is_empty()) {
    list = List<T>();
    return true;
  }
  constexpr std::size_t kAlign = alignof(T) < 4 ? 4 : alignof(T);
  auto* const memory = static_cast<T*>(arena.alloc(std::uint64_t{list.size()} * sizeof(T), kAlign));
  if (memory == nullptr) return false;
  std::uninitialized_copy_n(list.data(), list.size(), memory);
  list = List<T>(memory, list.size());
  if constexpr (!Number<T>) {
    for (T& element : list) {
      if (!own(element, arena)) return false;
    }
  }
  return true;
}

}  // namespace detail

template <Record R>
bool copy_record(const R& from, R& to, tstl::ArenaRef arena) {
  R copy = from;
  if (!detail::own(copy, arena)) return false;
  to = copy;
  return true;
}

}  // namespace zenta::records
