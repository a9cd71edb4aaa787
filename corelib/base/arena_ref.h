// ArenaRef: a reference to the caller's arena, for readers that cannot include the arena's header.
//
// The arena (tstl::Chunk, or any other type that frees all its memory at once) lives in a folder
// above this one. A reader only allocates from it, so ArenaRef is an object pointer and a function
// pointer, converted implicitly from any arena. Readers allocate blocks of nodes and whole strings:
// the cost of the indirect call cannot be measured, and their code is compiled only once.
//
// A reference owns nothing; the arena must outlive it and everything that was read with it.
#pragma once

#include <concepts>
#include <cstddef>
#include <cstdint>

namespace tstl {

// `alloc_aligned(n, align)` returns n bytes aligned to `align`, a power of two from 4 to 16, or
// null if the allocation fails. The memory keeps its address until the arena is reset. No
// destructor is called for what lies in it.
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

  // `n` bytes aligned to `align`, as alloc_aligned() above; null if the allocation fails.
  [[nodiscard]] void* alloc(std::uint64_t n, std::size_t align) const {
    return alloc_(arena_, n, align);
  }

 private:
  void* arena_;
  void* (*alloc_)(void*, std::uint64_t, std::size_t);
};

}  // namespace tstl
