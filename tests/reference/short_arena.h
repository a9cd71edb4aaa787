// An arena that runs out of memory.
#pragma once

#include <cstddef>
#include <cstdint>

#include "corelib/containers/chunk.h"

namespace zenta::reference {

// Serves `left` allocations; all that follow get null.
struct ShortArena {
  void* alloc_aligned(std::uint64_t n, std::size_t align) {
    if (left == 0) return nullptr;
    --left;
    return memory.alloc_aligned(n, align);
  }
  unsigned left;
  tstl::Chunk memory{};
};

}  // namespace zenta::reference
