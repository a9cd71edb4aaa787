// The simulator itself: a seed always gives the same run, and a program that lies is detected.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/temp_folder.h"
#include "tests/tools/subprocess.h"

namespace zenta::tools {
namespace {

using testing::HasSubstr;

Finished Simulate(std::vector<std::string> arguments) {
  arguments.insert(arguments.begin(), ZENTA_SIMULATE);
  return RunProgram(arguments);
}

TEST(SimulateTest, ANumberTellsTheSameStoryEachTime) {
  for (const char* seed : {"3", "20", "71"}) {
    SCOPED_TRACE(seed);
    const Finished first = Simulate({"--trace", "1", seed}),
                   again = Simulate({"--trace", "--jobs", "1", "1", seed});
    EXPECT_THAT(first.out, HasSubstr("updater 1: spawn(/bin/sh)"));
    EXPECT_EQ(first.out, again.out);
  }
}

// An installer that does nothing and reports success.
TEST(SimulateTest, FindsAnInstallerThatLies) {
  const TempFolder folder;
  const std::string liar = folder.Put("installer", "#!/bin/sh\nexit 0\n");
  std::filesystem::permissions(liar, std::filesystem::perms(0755));
  const Finished finished = Simulate({"--installer", liar, "--without", "by-hand", "1"});
  EXPECT_EQ(finished.status, 1);
  EXPECT_THAT(finished.out, HasSubstr("again:  ./dev simulate 1 1\n"));
}

TEST(SimulateTest, RefusesWhatItDoesNotUnderstand) {
  using Words = std::vector<std::string>;
  for (const Words& words : {Words{},
                             {"x"},
                             {"1", "2", "3"},
                             {"--each-call", "1"},
                             {"--without", "rain", "1"},
                             {"--jobs", "0", "1"}}) {
    SCOPED_TRACE(testing::PrintToString(words));
    EXPECT_EQ(Simulate(words).status, 2);
  }
}

}  // namespace
}  // namespace zenta::tools
