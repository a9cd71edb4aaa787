// ArenaRef: the arena of whoever calls, as the readers of this folder see it.
//
// The arena itself (tstl::Chunk, or anything else that hands out memory and frees it all at once)
// lives in a folder above this one. A reader needs a single operation of it, so that operation is
// what it is given: an object and a function pointer, made on the spot from any arena. Readers ask
// for blocks of nodes and for whole strings, so the indirect call costs nothing that can be
// measured, and their code is compiled once.
//
// A reference owns nothing; the arena must outlive it and everything that was read with it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace tstl {

// `alloc_aligned(n, align)` gives n bytes at a multiple of `align`, a power of two from 4 to 16, or
// null when memory is short. The memory stays where it is until the arena is emptied; nothing in it
// is destroyed.
template <class A>
concept Arena = requires(A& arena, std::uint64_t n, std::size_t align) {
  { arena.alloc_aligned(n, align) } -> std::same_as<void*>;
};

class ArenaRef {
 public:
  template <Arena A>
  ArenaRef(A& arena) noexcept  // NOLINT(google-explicit-constructor): callers pass their arena
      : arena_(&arena), alloc_([](void* self, std::uint64_t n, std::size_t align) {
          return static_cast<A*>(self)->alloc_aligned(n, align);
        }) {}

  // `n` bytes at a multiple of `align`; null when memory is short.
  [[nodiscard]] void* alloc(std::uint64_t n, std::size_t align) const {
    return alloc_(arena_, n, align);
  }

 private:
  void* arena_;
  void* (*alloc_)(void*, std::uint64_t, std::size_t);
};

}  // namespace tstl
