#include "corelib/base/vector.h"

#include <gtest/gtest.h>

#include <array>
#include <random>

#include "corelib/base/block.h"

namespace tstl::base {
namespace {

// Random vectors, half of whose bytes are edge values.
class VectorTest : public testing::Test {
 protected:
  template <class V>
  V Next() {
    std::array<unsigned char, 16> bytes;
    constexpr unsigned char kEdges[] = {0, 1, 0x7F, 0x80, 0x81, 0xFE, 0xFF, 0x41};
    for (auto& byte : bytes) {
      byte = random_() % 2 == 0 ? kEdges[random_() % 8] : static_cast<unsigned char>(random_());
    }
    return load<V>(bytes.data());
  }

  std::mt19937 random_{20};
};

TEST_F(VectorTest, MasksHaveTheHighBitOfEachByte) {
  for (int round = 0; round < 2000; ++round) {
    const auto v = Next<Bytes>();
    const auto mask = Bytes(v >= 0x80);
    unsigned bits = 0;
    std::uint64_t positions = 0;
    for (unsigned i = 0; i < 16; ++i) {
      if (v[i] < 0x80) continue;
      bits |= 1u << i;
      positions |= ((std::uint64_t{1} << kMaskBits) - 1) << kMaskBits * i;
    }
    EXPECT_EQ(movemask(v), bits);
    EXPECT_EQ(position_mask(mask), positions);
    EXPECT_EQ(any(mask), bits != 0);
    EXPECT_EQ(all(mask), bits == 0xFFFF);
    EXPECT_EQ(LaneMask<unsigned char>(positions).bit_per_byte(), bits);
    EXPECT_EQ(movemask(mask, ~mask, Bytes{}, mask),
              bits | std::uint64_t{~bits & 0xFFFF} << 16 | std::uint64_t{bits} << 48);
  }
  EXPECT_TRUE(all(Bytes{} == 0));
  EXPECT_FALSE(any(Bytes{}));
}

TEST_F(VectorTest, NarrowKeepsUnitsBelow256AndMarksTheOthers) {
  for (int round = 0; round < 2000; ++round) {
    auto v = Next<Units>();
    for (unsigned i = 0; i < 8; i += 2) v[i] &= 0xFF;
    const std::uint64_t bytes = narrow(v);
    for (unsigned i = 0; i < 8; ++i) {
      const auto byte = static_cast<unsigned char>(bytes >> 8 * i);
      if (v[i] <= 0xFF) {
        EXPECT_EQ(byte, v[i]);
      } else {
        EXPECT_TRUE(byte == 0 || byte == 0xFF) << v[i];
      }
    }
  }
}

TEST_F(VectorTest, PartialLoadsFillUpWithZeros) {
  for (std::size_t n = 1; n < 16; ++n) {
    const auto whole = Next<Bytes>();
    unsigned char* const run = new unsigned char[n];  // a sanitizer sees reads outside
    for (std::size_t i = 0; i < n; ++i) run[i] = whole[i];
    const auto v = load_first<Bytes>(run, n);
    for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(v[i], i < n ? whole[i] : 0) << n << " " << i;
    delete[] run;
  }
}

#if defined(ZENTA_TARGET_SHUFFLE)
TEST_F(VectorTest, ShuffleTakesBytesByIndexAndSlideMovesThem) {
  if (!has_shuffle()) GTEST_SKIP() << "no shuffle at this level";
  for (int round = 0; round < 500; ++round) {
    const auto v = Next<Bytes>();
    auto index = Next<Bytes>() & 0x0F;
    index[unsigned(round) % 16] = kNoByte;
    const auto shuffled = shuffle(v, index);
    for (unsigned i = 0; i < 16; ++i) {
      EXPECT_EQ(shuffled[i], index[i] == kNoByte ? 0 : v[index[i]]);
    }
    for (int k = -16; k <= 16; ++k) {
      const auto moved = slide(v, k);
      for (int i = 0; i < 16; ++i) {
        EXPECT_EQ(moved[unsigned(i)], i - k >= 0 && i - k < 16 ? v[unsigned(i - k)] : 0) << k;
      }
    }
  }
}
#endif

}  // namespace
}  // namespace tstl::base
