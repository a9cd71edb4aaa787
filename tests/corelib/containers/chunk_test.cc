#include "corelib/containers/chunk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <vector>

namespace tstl {
namespace {

bool IsZero(const void* memory, std::size_t n) {
  const auto* const bytes = static_cast<const unsigned char*>(memory);
  return std::all_of(bytes, bytes + n, [](unsigned char byte) { return byte == 0; });
}

// Fills the arena until `left` bytes of the current block are free.
void LeaveFree(Chunk& arena, std::uint32_t left) {
  if (arena.left() < left) {
    ASSERT_NE(arena.alloc(arena.left() + 1), nullptr);
  }
  ASSERT_NE(arena.alloc(arena.left() - left), nullptr);
  ASSERT_EQ(arena.left(), left);
}

TEST(ChunkTest, BlocksGrowWithTheirNumberUpToSixteenTimesAndFourMebibytes) {
  struct Row {
    std::uint16_t pages;
    std::vector<std::uint64_t> sizes;  // in pages
  };
  for (const Row& row : {Row{0, {1, 1, 2, 3, 4}}, Row{511, {512, 512, 1024, 1024}},
                         Row{1023, {1024, 1024}}, Row{65535, {1024, 1024}}}) {
    SCOPED_TRACE(row.pages);
    Chunk arena(row.pages);
    for (const std::uint64_t pages : row.sizes) {
      const std::uint64_t before = arena.total();
      ASSERT_NE(arena.alloc(4), nullptr);
      EXPECT_EQ(arena.total() - before, pages * 4096);
      ASSERT_NE(arena.alloc(arena.left()), nullptr);
    }
  }
  Chunk arena;
  while (arena.block_cnt() < 40) ASSERT_NE(arena.alloc(4096), nullptr);
  EXPECT_EQ(arena.left() + 4096, 16u * 4096);
}

TEST(ChunkTest, OnlyABlockWithLittleLeftIsGivenUpForARequestThatItCannotHold) {
  struct Row {
    std::uint32_t left;
    std::uint64_t n;
    bool own;  // the request gets a block of its own
  };
  for (const Row& row : {Row{3000, 5000, true}, Row{2048, 2052, true}, Row{2044, 2048, false},
                         Row{2044, 4097, true}, Row{4, 4096, false}, Row{0, 1 << 20, true}}) {
    SCOPED_TRACE(testing::Message() << row.left << " left, " << row.n << " wanted");
    Chunk arena;
    ASSERT_NE(arena.alloc(4), nullptr);
    LeaveFree(arena, row.left);
    const std::uint64_t total = arena.total();
    ASSERT_TRUE(IsZero(arena.alloc(row.n), row.n));
    EXPECT_EQ(arena.total() - total, row.own ? (row.n + 3) / 4 * 4 : 4096);
    EXPECT_EQ(arena.left(), row.own ? row.left : 4096 - row.n);
    EXPECT_EQ(arena.block_cnt(), 2);
  }
}

TEST(ChunkTest, SizesThatNoMemoryCanHoldGiveNullAndChangeNothing) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::uint64_t>::max();
  Chunk arena;
  ASSERT_NE(arena.alloc(100), nullptr);
  const std::uint64_t total = arena.total();
  for (const std::uint64_t n : {kMost, kMost - 2, kMost - 3, kMost / 2}) {
    EXPECT_EQ(arena.alloc(n), nullptr);
    EXPECT_EQ(arena.alloc_aligned(n, 16), nullptr);
    EXPECT_EQ(arena.alloc_array<std::uint64_t>(n / 8 + 1), nullptr);
    EXPECT_EQ(arena.copy_units<char16_t>(u"", n), nullptr);
  }
  EXPECT_EQ(arena.total(), total);
  EXPECT_EQ(arena.left(), 4096u - 100);
  EXPECT_EQ(arena.block_cnt(), 1);
}

TEST(ChunkTest, RequestsAreAlignedAsAskedAndNeverOverlap) {
  Chunk arena;
  std::uint32_t state = 1;
  std::vector<std::pair<unsigned char*, std::size_t>> runs;
  for (int i = 0; i < 3000; ++i) {
    state = state * 1664525 + 1013904223;
    const std::size_t n = 1 + (state >> 8) % (i % 50 == 0 ? 9000 : 90);
    const std::size_t align = std::size_t{4} << (state >> 28) % 3;
    auto* const run = static_cast<unsigned char*>(arena.alloc_aligned(n, align));
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(run) % align, 0u);
    ASSERT_TRUE(IsZero(run, n));
    std::fill_n(run, n, static_cast<unsigned char>(i));
    runs.emplace_back(run, n);
  }
  EXPECT_EQ(arena.alloc_cnt(), runs.size());
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const auto [run, n] = runs[i];
    ASSERT_EQ(std::count(run, run + n, static_cast<unsigned char>(i)), std::ptrdiff_t(n));
  }
}

TEST(ChunkTest, RewoundArenaServesTheSameMessageFromOneZeroedBlock) {
  Chunk arena;
  const auto fill = [&arena] {
    for (const std::size_t n : {700u, 3000u, 9000u, 40u}) {
      auto* const run = arena.alloc_array<unsigned char>(n);
      ASSERT_TRUE(IsZero(run, n));
      std::fill_n(run, n, 0xEE);
    }
  };
  fill();
  const std::uint64_t total = arena.total();
  for (int message = 0; message < 3; ++message) {
    arena.rewind();
    EXPECT_EQ(arena.total(), total);
    EXPECT_EQ(arena.left(), total);
    EXPECT_EQ(arena.block_cnt(), 1);
    EXPECT_EQ(arena.alloc_cnt(), 0u);
    fill();
    EXPECT_EQ(arena.total(), total);
  }
}

TEST(ChunkTest, RewindKeepsNoMoreThanTheLargestBlock) {
  Chunk arena;
  ASSERT_NE(arena.alloc(9 << 20), nullptr);
  arena.rewind();
  EXPECT_EQ(arena.total(), Chunk::kMaxBlock);
  ASSERT_TRUE(IsZero(arena.alloc(Chunk::kMaxBlock), Chunk::kMaxBlock));
  EXPECT_EQ(arena.total(), Chunk::kMaxBlock);
}

TEST(ChunkTest, ResetForgetsAllButTheStandardBlockWhichIsCut) {
  Chunk arena(2000);
  ASSERT_NE(arena.alloc(5), nullptr);
  Chunk taken = std::move(arena);
  EXPECT_EQ(arena.total(), 0u);
  EXPECT_EQ(taken.alloc_cnt(), 1u);
  taken.reset();
  EXPECT_EQ(taken.total() + taken.left() + taken.block_cnt() + taken.alloc_cnt(), 0u);
  EXPECT_EQ(taken.block_pages(), 1023);
  EXPECT_EQ(taken.alloc(0), nullptr);
}

}  // namespace
}  // namespace tstl
