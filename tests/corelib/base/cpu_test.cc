#include "corelib/base/cpu.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace tstl::base {
namespace {

TEST(CpuTest, ANameLowersTheLevelAndNeverRaisesIt) {
  const CpuLevel most = cpu_level_of_machine();
  EXPECT_EQ(cpu_level_named(nullptr), most);
  EXPECT_EQ(cpu_level_named("no such level"), most);
  EXPECT_EQ(cpu_level_named("baseline"), CpuLevel::kBaseline);
  for (auto level = CpuLevel::kBaseline; level <= most; level = CpuLevel(unsigned(level) + 1)) {
    EXPECT_EQ(cpu_level_named(cpu_level_name(level)), level);
  }
#if defined(__x86_64__)
  EXPECT_LE(cpu_level_named("avx512"), most);
#endif
}

TEST(CpuTest, TheEnvironmentIsReadAtTheStart) {
  EXPECT_EQ(cpu_level(), cpu_level_named(std::getenv("ZENTA_CPU")));
}

}  // namespace
}  // namespace tstl::base
