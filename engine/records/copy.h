// A deep copy of a record: into another arena, so that the one that it was read into can be emptied.
//
//   CloudResponse kept;
//   if (!copy_record(response, kept, long_lived)) ...    // memory is short
//   arena.rewind();                                      // `kept` is whole
//
// Copied is what the record's table names: texts, each with a zero after it, lists with their elements,
// nested records, numbers. Members that no table names are copied as they are, views included. The
// arena gives as much as all of it takes, with 4-byte alignment at least.
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

// Makes `to`, which is not looked at and may be `from`, a copy of `from` in `arena`. False, and `to` as
// it was, when memory is short.
template <Record R>
[[nodiscard]] bool copy_record(const R& from, R& to, tstl::ArenaRef arena);

// ---------------------------------------------------------------------------------------------------------------------

namespace detail {

// Each of these puts what the value refers to into the arena, and has the value refer to that.

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
