#include "corelib/containers/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <random>
#include <vector>

namespace tstl {
namespace {

TEST(Crc32Test, EveryLengthAndPlaceAgreesWithZlib) {
  std::mt19937 random(5);
  for (std::size_t n = 0; n < 150; ++n) {
    for (std::size_t at = 0; at < 4; ++at) {
      std::vector<unsigned char> memory(at + n);
      for (auto& byte : memory) byte = static_cast<unsigned char>(random());
      const unsigned char* const run = memory.data() + at;
      const std::uint32_t want = static_cast<std::uint32_t>(::crc32(0, run, static_cast<uInt>(n)));
      EXPECT_EQ(crc32(run, n), n == 0 ? 0 : want) << n;
      if (n >= 8) {
        EXPECT_EQ(detail::crc32_tables(run, n), want) << n;
      }
    }
  }
  EXPECT_EQ(crc32(BufferRef<unsigned char>("123456789")), 0xCBF43926u);
}

TEST(Crc32Test, WideUnitsCountLowByteFirst) {
  std::mt19937 random(6);
  for (unsigned n = 0; n < 40; ++n) {
    std::vector<unsigned short> units(n);
    std::vector<unsigned char> bytes;
    for (auto& unit : units) {
      unit = static_cast<unsigned short>(random());
      bytes.push_back(static_cast<unsigned char>(unit & 0xFF));
      bytes.push_back(static_cast<unsigned char>(unit >> 8));
    }
    EXPECT_EQ(crc32(BufferRef<unsigned short>(units.data(), n)), crc32(bytes.data(), bytes.size()));
    EXPECT_EQ(detail::crc32_units(units.data(), n), crc32(bytes.data(), bytes.size()));
  }
}

}  // namespace
}  // namespace tstl
