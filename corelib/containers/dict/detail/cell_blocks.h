// CellBlocks: memory that only grows, in blocks. Nothing moves and nothing is freed one by one; a
// 32-bit index identifies each allocation. Growing never copies, so twice the memory is never held.
#pragma once

#include <cassert>
#include <cstdint>
#include <cstdlib>
#include <utility>

namespace tstl::detail {

// The index counts cells of four bytes, so it addresses up to 16 GiB.
class CellBlocks {
 public:
  static constexpr std::uint64_t kCellSize = 4;
  // Large enough for the allocator to return each block to the system when it is freed. Only the
  // used part of a block is ever resident.
  static constexpr std::uint64_t kBlockSize = std::uint64_t{32} << 20;

  CellBlocks() = default;
  CellBlocks(const CellBlocks&) = delete;
  CellBlocks& operator=(const CellBlocks&) = delete;
  ~CellBlocks() { reset(); }

  // Allocates `n` uninitialized bytes; `cell` receives the index of the first cell. Null if the
  // allocation fails or 16 GiB are in use.
  // REQUIRES: n <= kBlockSize.
  void* add(std::uint64_t n, std::uint32_t& cell) {
    assert(n <= kBlockSize);
    const std::uint64_t taken = (n + kCellSize - 1) / kCellSize * kCellSize;
    if (taken > left_ && !add_block()) return nullptr;
    const std::uint64_t offset = kBlockSize - left_;
    left_ -= taken;
    cell = static_cast<std::uint32_t>((block_cnt_ - 1) * kCellsOfBlock + offset / kCellSize);
    return last_ + offset;
  }

  void* at(std::uint32_t cell) const {
    return blocks_[cell / kCellsOfBlock] + cell % kCellsOfBlock * kCellSize;
  }

  void swap(CellBlocks& other) {
    std::swap(blocks_, other.blocks_);
    std::swap(last_, other.last_);
    std::swap(block_cnt_, other.block_cnt_);
    std::swap(capacity_, other.capacity_);
    std::swap(left_, other.left_);
  }

  void reset() {
    for (std::uint32_t i = 0; i < block_cnt_; ++i) std::free(blocks_[i]);
    std::free(blocks_);
    blocks_ = nullptr;
    last_ = nullptr;
    block_cnt_ = capacity_ = 0;
    left_ = 0;
  }

 private:
  static constexpr std::uint32_t kCellsOfBlock = kBlockSize / kCellSize;
  static constexpr std::uint32_t kMostBlocks = (std::uint64_t{1} << 32) / kCellsOfBlock;

  [[gnu::noinline]] bool add_block() {
    if (block_cnt_ == capacity_) {
      const std::uint32_t more = capacity_ == 0 ? 64 : capacity_ * 2;
      auto* const blocks =
          more > kMostBlocks ? nullptr : std::realloc(blocks_, more * sizeof *blocks_);
      if (blocks == nullptr) return false;
      blocks_ = static_cast<unsigned char**>(blocks);
      capacity_ = more;
    }
    auto* const block = static_cast<unsigned char*>(std::malloc(kBlockSize));
    if (block == nullptr) return false;
    last_ = blocks_[block_cnt_++] = block;
    left_ = kBlockSize;
    return true;
  }

  unsigned char** blocks_ = nullptr;
  unsigned char* last_ = nullptr;  // the last block
  std::uint32_t block_cnt_ = 0;
  std::uint32_t capacity_ = 0;
  std::uint64_t left_ = 0;  // free bytes of the last block
};

}  // namespace tstl::detail
