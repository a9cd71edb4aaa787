#include "corelib/containers/crc32.h"

#include <gtest/gtest.h>
#include <zlib.h>

#include <algorithm>
#include <random>
#include <vector>

#include "corelib/base/cpu.h"

namespace tstl {
namespace {

// Every run ends at the end of its heap block, so that the address sanitizer sees reads past it.
TEST(Crc32Test, EveryLengthAtEveryLevelAgreesWithZlib) {
  const base::CpuLevel before = base::cpu_level();
  std::mt19937 random(5);
  for (unsigned n = 0; n <= 300; ++n) {
    std::vector<unsigned char> bytes(1 + n);
    for (auto& byte : bytes) byte = static_cast<unsigned char>(random());
    const unsigned char* const run = bytes.data() + 1;  // at an odd address
    std::vector<unsigned short> units(n / 2);
    std::copy_n(run, n / 2 * 2, reinterpret_cast<unsigned char*>(units.data()));
    const auto want = static_cast<std::uint32_t>(::crc32(0, run, n));
    const auto want_units = static_cast<std::uint32_t>(::crc32(0, run, n / 2 * 2));
    for (auto level = base::CpuLevel::kBaseline; level <= base::cpu_level_of_machine();
         level = static_cast<base::CpuLevel>(static_cast<unsigned>(level) + 1)) {
      base::set_cpu_level(level);
      EXPECT_EQ(crc32(run, n), want) << n << base::cpu_level_name(level);
      EXPECT_EQ(crc32(BufferRef<unsigned short>(units.data(), n / 2)), want_units);
    }
  }
  base::set_cpu_level(before);
  EXPECT_EQ(crc32(BufferRef<unsigned char>("123456789")), 0xCBF43926u);
}

}  // namespace
}  // namespace tstl
