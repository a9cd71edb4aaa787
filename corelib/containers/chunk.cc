#include "corelib/containers/chunk.h"

#include <cstdlib>
#include <limits>

namespace tstl {

Chunk& Chunk::operator=(Chunk&& other) noexcept {
  Chunk taken(std::move(other));
  swap(taken);
  return *this;
}

void Chunk::swap(Chunk& other) noexcept {
  std::swap(cursor_, other.cursor_);
  std::swap(blocks_, other.blocks_);
  std::swap(total_, other.total_);
  std::swap(left_, other.left_);
  std::swap(block_pages_, other.block_pages_);
  std::swap(block_cnt_, other.block_cnt_);
  std::swap(alloc_cnt_, other.alloc_cnt_);
  std::swap(unlimited_pages_, other.unlimited_pages_);
  std::swap(unzeroed_, other.unzeroed_);
}

void Chunk::reset() {
  release_blocks();
  cursor_ = nullptr;
  total_ = 0;
  left_ = 0;
  unzeroed_ = 0;
  block_cnt_ = 0;
  alloc_cnt_ = 0;
  block_pages_ = std::min<std::uint16_t>(block_pages_, kMaxBlock / kPage - 1);
}

void Chunk::rewind() {
  const std::uint64_t keep = std::min({total_, kMaxBlock, limit()});
  if (blocks_ == nullptr || blocks_->prev != nullptr || blocks_->size != keep) {
    reset();
    if (keep != 0) make_current(obtain(keep, false));
    return;
  }
  // One block of the right size: the current one, or one that a single request had for itself.
  detail::poison(blocks_->data(), keep);
  alloc_cnt_ = 0;
  make_current(blocks_);
}

// The caller has counted the request.
void* Chunk::alloc_further(std::uint64_t n, std::size_t align) {
  const std::uint64_t gap = gap_before(align);
  if (unzeroed_ == 0 || n > left() || gap > left() - round_up(n)) return alloc_from_new_block(n);
  zero_ahead(gap + n);
  return take(gap, n);
}

// A block's first byte is aligned for every request.
void* Chunk::alloc_from_new_block(std::uint64_t n) {
  if (n > std::numeric_limits<std::ptrdiff_t>::max() - sizeof(Block) - 3) return nullptr;
  n = round_up(n);
  const std::uint64_t size = std::min(next_block_size(), allowed());
  const bool shared = left() < kWorthKeeping && n <= size;
  Block* const block = obtain(shared ? size : n, !shared);
  if (block == nullptr) return nullptr;
  if (!shared) {
    detail::unpoison(block->data(), n);
    return block->data();
  }
  make_current(block);
  zero_ahead(n);
  return take(0, n);
}

// Zeroes more of the current block, so that take() can serve `n` bytes.
// REQUIRES: left_ < n <= left().
void Chunk::zero_ahead(std::uint64_t n) {
  const auto missing = static_cast<std::uint32_t>(round_up(n) - left_);
  const std::uint32_t size = std::min(std::max(missing, kZeroedAhead), unzeroed_);
  unsigned char* const at = cursor_ + left_;
  detail::unpoison(at, size);
  std::memset(at, 0, size);
  detail::poison(at, size);
  left_ += size;
  unzeroed_ -= size;
}

std::uint64_t Chunk::next_block_size() const {
  const std::uint64_t base = (block_pages_ + std::uint64_t{1}) * kPage;
  const std::uint64_t grown = std::min<std::uint64_t>(block_cnt_, 16) * base;
  return std::min(std::max(base, grown), kMaxBlock);
}

// Links a new, unallocated block at the head of the chain; null if the allocation fails or would
// exceed the limit.
Chunk::Block* Chunk::obtain(std::uint64_t size, bool zeroed) {
  if (size > allowed()) return nullptr;
  const std::uint64_t whole = sizeof(Block) + size;
  auto* const block = static_cast<Block*>(zeroed ? std::calloc(1, whole) : std::malloc(whole));
  if (block == nullptr) return nullptr;
  detail::poison(block->data(), size);
  block->prev = blocks_;
  block->size = size;
  blocks_ = block;
  total_ += size;
  if (block_cnt_ != 65535) ++block_cnt_;
  return block;
}

// Does nothing if `block` is null.
void Chunk::make_current(Block* block) {
  if (block == nullptr) return;
  cursor_ = block->data();
  left_ = 0;
  unzeroed_ = static_cast<std::uint32_t>(block->size);
}

void Chunk::release_blocks() {
  while (blocks_ != nullptr) {
    Block* const block = std::exchange(blocks_, blocks_->prev);
    detail::unpoison(block->data(), block->size);
    std::free(block);
  }
}

}  // namespace tstl
