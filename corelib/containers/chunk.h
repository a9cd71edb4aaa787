// Chunk: the arena from which every keyed container and every message tree allocates. Small
// requests are served from blocks, one after another and zero-filled. Nothing is freed before the
// whole arena is.
//
// The arena owns all memory that it allocates; a pointer stays valid until reset(), rewind() or the
// arena's end, and moving the arena leaves it valid. No destructor is called for what an arena
// holds, so only trivially destructible types may live in it. A request that cannot be served
// returns null and leaves the arena as it was. One thread at a time.
//
// A limit bounds the size of all blocks together, for arenas that are filled from others' messages:
// a request that would exceed it fails like one for which there is no memory.
//
// All bytes that are not allocated are poisoned for the address sanitizer, also those that reset()
// and rewind() took back: it stops a program that touches one.
//
//   block:  link to the block obtained before it | usable bytes (64-bit) | the usable bytes ...
//
// The current block is zeroed a kilobyte ahead of the allocations, so that the caller, who fills
// the memory next, finds it in the first-level cache:
//
//   | allocated ...  | zero, free: left_ | free: unzeroed_ |
//                    ^ cursor_
//
// Blocks grow with their number, from the standard size to 16 times that, but not beyond 4 MiB. A
// request gets a block of its own if it does not fit the current block and is either larger than
// the next block would be, or the current block still has 2048 free bytes or more. Small requests
// then go on filling the current block.
#pragma once

#include <algorithm>
#include <cassert>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>
#include <utility>

#include "corelib/base/types.h"
#include "corelib/containers/detail/poison.h"
#include "corelib/text/buffer_ref.h"

namespace tstl {

class Chunk {
 public:
  static constexpr std::uint64_t kPage = 4096;
  // The greatest block that is shared by several requests, and the most that rewind() keeps.
  static constexpr std::uint64_t kMaxBlock = 4194304;
  // A current block with at least this much left stays current when a request does not fit.
  static constexpr std::uint32_t kWorthKeeping = 2048;
  // The alignment of every block, so the strictest that a request may ask for.
  static constexpr std::size_t kMaxAlign = alignof(std::max_align_t);
  static constexpr std::uint64_t kNoLimit = UINT64_MAX;

  // Takes no memory before the first request.
  Chunk() = default;
  // The standard block has (`block_pages` + 1) * 4096 bytes.
  explicit Chunk(std::uint16_t block_pages) : block_pages_(block_pages) {}
  Chunk(Chunk&& other) noexcept { swap(other); }
  Chunk& operator=(Chunk&& other) noexcept;
  ~Chunk() { release_blocks(); }

  // `n` zero-filled bytes at a multiple of 4; null if the allocation fails, whatever `n` is. The
  // next request follows directly, at the next multiple of 4. `n` = 0 gives the address of the next
  // request, which is null in an arena that has no block yet.
  [[nodiscard]] void* alloc(std::uint64_t n);

  // The same at a multiple of `align`: for records with 8-byte members.
  // REQUIRES: `align` is a power of two from 4 to kMaxAlign.
  [[nodiscard]] void* alloc_aligned(std::uint64_t n, std::size_t align);

  // `n` elements of T, all bytes zero, aligned for T; null if the allocation fails or the product
  // of count and size overflows.
  template <class T>
  [[nodiscard]] T* alloc_array(std::uint64_t n);

  // One T, all bytes zero; null if the allocation fails.
  template <class T>
  [[nodiscard]] T* make() {
    return alloc_array<T>(1);
  }

  // A copy of the text, followed by a zero unit; null and empty if the allocation fails.
  template <Unit T>
  [[nodiscard]] BufferRef<T> copy(BufferRef<T> text);

  // Releases every block and zeroes all counts. The limit stays, and so does the standard block
  // size, at most kMaxBlock.
  void reset();

  // Empties the arena for the next message: as reset(), but keeps one block, as large as all were
  // together (up to kMaxBlock), so that a message like the last one needs no new memory. If the
  // allocation of that block fails, this is reset() alone.
  void rewind();

  void swap(Chunk& other) noexcept;

  // The standard block size from the next block on, in pages of 4096 bytes minus one.
  void set_block_pages(std::uint16_t pages) { block_pages_ = pages; }

  // From the next block on, all blocks together have at most `bytes` usable bytes, rounded up to
  // whole pages; existing blocks stay. kNoLimit, like any number of pages that 32 bits cannot
  // count, is no limit.
  void set_limit(std::uint64_t bytes) {
    const std::uint64_t pages = bytes / kPage + (bytes % kPage != 0);
    unlimited_pages_ = pages < FAILURE ? ~static_cast<std::uint32_t>(pages) : 0;
  }
  // The limit in bytes; kNoLimit where there is none.
  std::uint64_t limit() const {
    return unlimited_pages_ == 0 ? kNoLimit : std::uint64_t{~unlimited_pages_} * kPage;
  }

  std::uint16_t block_pages() const { return block_pages_; }
  // Sum of the usable bytes of all blocks.
  std::uint64_t total() const { return total_; }
  // Free bytes of the current block.
  std::uint32_t left() const { return left_ + unzeroed_; }
  // Blocks obtained; stays at 65535 when there are more.
  std::uint16_t block_cnt() const { return block_cnt_; }
  // Requests made, failed ones included; wraps around.
  std::uint32_t alloc_cnt() const { return alloc_cnt_; }

 private:
  struct Block {
    Block* prev;
    std::uint64_t size;  // usable bytes, a multiple of 4; they follow the header

    unsigned char* data() { return reinterpret_cast<unsigned char*>(this + 1); }
  };
  static_assert(sizeof(Block) == 16 && sizeof(Block) % kMaxAlign == 0);

  // Bytes that are zeroed at once, or more for a greater request.
  static constexpr std::uint32_t kZeroedAhead = 1024;

  // For a request that does not fit into the zeroed bytes.
  void* alloc_further(std::uint64_t n, std::size_t align);
  void* alloc_from_new_block(std::uint64_t n);
  void zero_ahead(std::uint64_t n);
  std::uint64_t next_block_size() const;
  // Bytes that blocks may still take.
  std::uint64_t allowed() const { return limit() - std::min(limit(), total_); }
  // Allocates `n` bytes after a gap. REQUIRES: both are zeroed.
  void* take(std::uint64_t gap, std::uint64_t n) {
    unsigned char* const memory = cursor_ + gap;
    const std::uint64_t taken = gap + round_up(n);
    cursor_ += taken;
    left_ -= static_cast<std::uint32_t>(taken);
    detail::unpoison(memory, n);
    return memory;
  }
  static constexpr std::uint64_t round_up(std::uint64_t n) { return (n + 3) & ~std::uint64_t{3}; }
  // Bytes from the cursor to the next multiple of `align`.
  std::uint64_t gap_before(std::size_t align) const {
    return -reinterpret_cast<std::uintptr_t>(cursor_) & (align - 1);
  }
  Block* obtain(std::uint64_t size, bool zeroed);
  void make_current(Block* block);
  void release_blocks();

  unsigned char* cursor_ = nullptr;
  Block* blocks_ = nullptr;  // the block obtained last; not always the current one
  std::uint64_t total_ = 0;
  std::uint32_t left_ = 0;  // always a multiple of 4, as is unzeroed_
  std::uint16_t block_pages_ = 0;
  std::uint16_t block_cnt_ = 0;
  std::uint32_t alloc_cnt_ = 0;
  std::uint32_t unlimited_pages_ = 0;  // the limit's complement, so that all bits zero is no limit
  std::uint32_t unzeroed_ = 0;
};
static_assert(sizeof(Chunk) == 48 && std::is_standard_layout_v<Chunk>);

// ---------------------------------------------------------------------------------------------------------------------

// left_ is a multiple of 4, so a request that fits also fits when it is rounded up.
inline void* Chunk::alloc(std::uint64_t n) {
  ++alloc_cnt_;
  return n > left_ ? alloc_further(n, 4) : take(0, n);
}

inline void* Chunk::alloc_aligned(std::uint64_t n, std::size_t align) {
  assert(align >= 4 && align <= kMaxAlign && (align & (align - 1)) == 0);
  ++alloc_cnt_;
  const std::uint64_t gap = gap_before(align);
  return n > left_ || gap > left_ - round_up(n) ? alloc_further(n, align) : take(gap, n);
}

template <class T>
T* Chunk::alloc_array(std::uint64_t n) {
  static_assert(std::is_trivially_destructible_v<T>);
  static_assert(alignof(T) <= kMaxAlign);
  if (n > SIZE_MAX / sizeof(T)) return nullptr;
  return static_cast<T*>(alloc_aligned(n * sizeof(T), std::max<std::size_t>(alignof(T), 4)));
}

template <Unit T>
BufferRef<T> Chunk::copy(BufferRef<T> text) {
  T* const units = alloc_array<T>(text.len() + std::uint64_t{1});
  if (units == nullptr) return {};
  if (text) std::memcpy(units, text.cstr(), text.len() * sizeof(T));
  return BufferRef<T>(units, text.len());
}

}  // namespace tstl
