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
}

void Chunk::reset() {
  release_blocks();
  cursor_ = nullptr;
  total_ = 0;
  left_ = 0;
  block_cnt_ = 0;
  alloc_cnt_ = 0;
  block_pages_ = std::min<std::uint16_t>(block_pages_, kMaxBlock / kPage - 1);
}

void Chunk::rewind() {
  const std::uint64_t keep = std::min({total_, kMaxBlock, limit()});
  if (blocks_ == nullptr || blocks_->prev != nullptr || blocks_->size != keep) {
    reset();
    if (keep != 0) make_current(obtain(keep));
    return;
  }
  // One block of the right size: either the current one, used up to the cursor, or a lone block
  // that a single request took whole.
  detail::unpoison(blocks_->data(), keep);
  std::memset(blocks_->data(), 0, keep - left_);
  detail::poison(blocks_->data(), keep);
  alloc_cnt_ = 0;
  make_current(blocks_);
}

// The request is already counted; alignment needs no thought, since a block's first byte suits
// every request.
void* Chunk::alloc_from_new_block(std::uint64_t n) {
  if (n > std::numeric_limits<std::ptrdiff_t>::max() - sizeof(Block) - 3) return nullptr;
  n = (n + 3) & ~std::uint64_t{3};
  const std::uint64_t size = std::min(next_block_size(), allowed());
  const bool shared = left_ < kWorthKeeping && n <= size;
  Block* const block = obtain(shared ? size : n);
  if (block == nullptr) return nullptr;
  detail::unpoison(block->data(), n);
  if (!shared) return block->data();
  make_current(block);
  cursor_ += n;
  left_ -= static_cast<std::uint32_t>(n);
  return block->data();
}

std::uint64_t Chunk::next_block_size() const {
  const std::uint64_t base = (block_pages_ + std::uint64_t{1}) * kPage;
  const std::uint64_t grown = std::min<std::uint64_t>(block_cnt_, 16) * base;
  return std::min(std::max(base, grown), kMaxBlock);
}

// A zero-filled block at the head of the chain, none of it handed out; null when memory is short and
// past the limit.
Chunk::Block* Chunk::obtain(std::uint64_t size) {
  if (size > allowed()) return nullptr;
  auto* const block = static_cast<Block*>(std::calloc(1, sizeof(Block) + size));
  if (block == nullptr) return nullptr;
  detail::poison(block->data(), size);
  block->prev = blocks_;
  block->size = size;
  blocks_ = block;
  total_ += size;
  if (block_cnt_ != 65535) ++block_cnt_;
  return block;
}

// `block` may be null: then there is no current block, as before.
void Chunk::make_current(Block* block) {
  if (block == nullptr) return;
  cursor_ = block->data();
  left_ = static_cast<std::uint32_t>(block->size);
}

void Chunk::release_blocks() {
  while (blocks_ != nullptr) {
    Block* const block = std::exchange(blocks_, blocks_->prev);
    detail::unpoison(block->data(), block->size);
    std::free(block);
  }
}

}  // namespace tstl
