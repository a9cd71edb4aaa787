#include "corelib/containers/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <vector>

namespace tstl {
namespace {

TEST(Crc32Test, EveryLengthAndEveryWayAgreesWithZlib) {
  std::mt19937 random(5);
  for (unsigned n = 0; n < 150; ++n) {
    std::vector<unsigned short> units(n);
    for (auto& unit : units) unit = static_cast<unsigned short>(random());
    std::vector<unsigned char> bytes(1 + 2 * n);
    unsigned char* const run = bytes.data() + 1;  // at an odd address
    const auto* const raw = reinterpret_cast<const unsigned char*>(units.data());
    std::copy(raw, raw + 2 * n, run);
    for (const unsigned size : {n, 2 * n}) {
      const auto want = static_cast<std::uint32_t>(::crc32(0, run, size));
      EXPECT_EQ(crc32(run, size), want);
      EXPECT_EQ(size < 8 ? want : detail::crc32_tables(run, size), want);
#if defined(__x86_64__)
      if (size >= 8 && __builtin_cpu_supports("pclmul")) {
        EXPECT_EQ(detail::crc32_product(run, size), want);
      }
#endif
      EXPECT_EQ(size == n ? want : detail::crc32_units(units.data(), n), want);
      EXPECT_EQ(size == n ? want : crc32(BufferRef<unsigned short>(units.data(), n)), want);
    }
  }
  EXPECT_EQ(crc32(BufferRef<unsigned char>("123456789")), 0xCBF43926u);
}

}  // namespace
}  // namespace tstl
