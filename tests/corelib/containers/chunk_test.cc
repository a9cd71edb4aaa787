#include "corelib/containers/chunk.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace tstl {
namespace {

bool IsZero(const void* memory, std::size_t n) {
  const auto* const bytes = static_cast<const unsigned char*>(memory);
  return std::all_of(bytes, bytes + n, [](unsigned char byte) { return byte == 0; });
}

TEST(ChunkTest, BlocksGrowWithTheirNumberUpToSixteenTimesAndFourMebibytes) {
  using Sizes = std::vector<std::uint64_t>;  // in pages
  for (const auto& [pages, sizes] :
       {std::pair<std::uint16_t, Sizes>{
            0, {1, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 16, 16}},
        {511, {512, 512, 1024, 1024}},
        {65535, {1024, 1024}}}) {
    Chunk arena(pages);
    for (const std::uint64_t size : sizes) {
      const std::uint64_t before = arena.total();
      ASSERT_NE(arena.alloc(4), nullptr);
      EXPECT_EQ(arena.total() - before, size * 4096);
      ASSERT_NE(arena.alloc(arena.left()), nullptr);
    }
    Chunk taken = std::move(arena);
    taken.reset();  // keeps only the standard block size, clamped
    EXPECT_EQ(taken.total() + taken.left() + taken.block_cnt() + taken.alloc_cnt(), 0u);
    EXPECT_EQ(taken.block_pages(), std::min<int>(pages, 1023));
  }
}

TEST(ChunkTest, OnlyABlockWithLittleLeftIsGivenUpForARequestThatItCannotHold) {
  // Bytes left in the current block, bytes requested, bytes of a block for the request alone.
  const std::uint32_t rows[][3] = {{3000, 5000, 5000}, {2048, 2050, 2052}, {2044, 2048, 0},
                                   {2044, 4097, 4100}, {4, 4096, 0},       {0, 1 << 20, 1 << 20}};
  for (const auto& [left, n, own] : rows) {
    SCOPED_TRACE(testing::Message() << left << " left, " << n << " wanted");
    Chunk arena;
    ASSERT_NE(arena.alloc(4096 - left), nullptr);
    ASSERT_TRUE(IsZero(arena.alloc(n), n));
    EXPECT_EQ(arena.total() - 4096, own != 0 ? own : 4096);
    EXPECT_EQ(arena.left(), own != 0 ? left : 4096 - n);
    EXPECT_EQ(arena.block_cnt(), 2);
  }
}

TEST(ChunkTest, SizesThatNoMemoryCanHoldGiveNullAndChangeNothing) {
  Chunk arena;
  ASSERT_NE(arena.alloc(100), nullptr);
  for (const std::uint64_t n : {UINT64_MAX, UINT64_MAX - 2, UINT64_MAX - 3, UINT64_MAX / 2}) {
    EXPECT_EQ(arena.alloc(n), nullptr);
    EXPECT_EQ(arena.alloc_aligned(n, 16), nullptr);
    EXPECT_EQ(arena.alloc_array<std::uint64_t>(n / 8 + 1), nullptr);
  }
  EXPECT_EQ(arena.total() - arena.left(), 100u);
  EXPECT_EQ(arena.total(), 4096u);
}

TEST(ChunkTest, RequestsAreAlignedAsAskedZeroedAndNeverOverlap) {
  Chunk arena;
  std::mt19937 random(1);
  std::vector<std::pair<unsigned char*, std::size_t>> runs;
  for (int i = 0; i < 3000; ++i) {
    const std::size_t n = 1 + random() % (i % 50 == 0 ? 9000 : 90);
    const std::size_t align = std::size_t{4} << random() % 3;
    auto* const run = static_cast<unsigned char*>(arena.alloc_aligned(n, align));
    const BufferRef<unsigned short> text(u"text");
    ASSERT_TRUE(arena.copy(text) == text);
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(run) % align, 0u);
    ASSERT_TRUE(IsZero(run, n));
    std::fill_n(run, n, static_cast<unsigned char>(i));
    runs.emplace_back(run, n);
  }
  EXPECT_EQ(arena.alloc_cnt(), 2 * runs.size());
  for (std::size_t i = 0; i < runs.size(); ++i) {
    const auto [run, n] = runs[i];
    ASSERT_EQ(std::count(run, run + n, static_cast<unsigned char>(i)), std::ptrdiff_t(n));
  }
}

TEST(ChunkTest, RewoundArenaServesTheSameMessageFromOneZeroedBlockOfFourMebibytesAtMost) {
  for (const std::vector<std::size_t>& sizes :
       {std::vector<std::size_t>{700, 3000, 9000, 40}, {20000}, {9 << 20, 100}, {9 << 20}}) {
    Chunk arena;
    std::uint64_t total = 0;
    for (int message = 0; message < 3; ++message) {
      for (const std::size_t n : sizes) {
        auto* const run = arena.alloc_array<unsigned char>(n);
        ASSERT_TRUE(IsZero(run, n));
        std::fill_n(run, n, 0xEE);
      }
      if (message == 0) total = std::min(arena.total(), Chunk::kMaxBlock);
      arena.rewind();
      EXPECT_TRUE(arena.total() == total && arena.left() == total);
      EXPECT_EQ(arena.block_cnt(), 1);
    }
  }
}

TEST(ChunkTest, LimitIsFilledToItsLastBytesAndNeverPassed) {
  Chunk arena;
  EXPECT_EQ(arena.limit(), Chunk::kNoLimit);
  arena.set_limit(5 * Chunk::kPage - 1);  // rounded up
  EXPECT_EQ(arena.limit(), 5 * Chunk::kPage);
  for (int message = 0; message < 2; ++message, arena.rewind()) {
    std::uint64_t served = 0;
    while (arena.alloc(1000) != nullptr) served += 1000;
    EXPECT_GT(served, 4 * Chunk::kPage);
    EXPECT_LE(arena.total(), arena.limit());
    EXPECT_EQ(arena.alloc(1 << 20), nullptr);
  }
  Chunk taken = std::move(arena);
  taken.reset();
  EXPECT_EQ(taken.alloc(5 * Chunk::kPage + 1), nullptr);  // the limit stays
  EXPECT_NE(taken.alloc(5 * Chunk::kPage), nullptr);
  EXPECT_EQ(taken.alloc(1), nullptr);
  for (const std::uint64_t none : {Chunk::kNoLimit, std::uint64_t{1} << 60}) {
    taken.set_limit(none);
    EXPECT_EQ(taken.limit(), Chunk::kNoLimit);
  }
  EXPECT_NE(taken.alloc(1), nullptr);
}

#ifdef ZENTA_ADDRESS_SANITIZER
TEST(ChunkDeathTest, MemoryThatIsNotHandedOutIsPoisoned) {
  const auto write = [](void* at) { *static_cast<volatile char*>(at) = 1; };
  Chunk arena;
  auto* const first = static_cast<char*>(arena.alloc(24));
  auto* const large = static_cast<char*>(arena.alloc(100000));
  write(first + 23), write(large + 99999);
  EXPECT_DEATH(write(first + 24), "use-after-poison");
  arena.rewind();
  void* const again = arena.alloc(8);
  write(again);
  EXPECT_DEATH(write(static_cast<char*>(again) + 8), "use-after-poison");
}
#endif

}  // namespace
}  // namespace tstl
