#include "installer/run_as_administrator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/installer/fake_platform.h"

namespace zenta::installer {
namespace {

using signing::Text;

TEST(RunAsAdministratorTest, TextsAreHandedBackByOutcome) {
  const char kSame[] = "untouched";
  const char kRequired[] = "The administrator password is required to do this.";
  const struct {
    ScriptOutcome outcome;
    Text output, error;  // what the places hold afterwards
  } rows[] = {{{.succeeded = true, .result = "done"}, "done", kSame},
              {{.succeeded = true}, {}, kSame},
              {{}, kSame, {}},
              {{.error_message = "no room"}, kSame, "no room"},
              {{.error_number = -128, .error_message = "no"}, kSame, kRequired},
              {{.error_number = -128}, kSame, kRequired}};
  for (const auto& row : rows) {
    FakeMachine machine;
    machine.script = row.outcome;
    Text output = kSame, error = kSame;
    const Platform platform = machine.MakePlatform();
    const bool succeeded = row.outcome.succeeded;
    EXPECT_EQ(RunAsAdministrator(*platform.scripts, "/a", {}, &output, &error), succeeded);
    EXPECT_EQ(std::pair(output, error), std::pair(row.output, row.error));
    const std::string words[] = {"-x", "", "two \"words\""};
    EXPECT_EQ(RunAsAdministrator(*platform.scripts, "/a b", words), succeeded);
    EXPECT_THAT(
        machine.effects,
        testing::ElementsAre(
            "run do shell script \"'/a' \" with administrator privileges",
            "run do shell script \"'/a b' -x  two \"words\"\" with administrator privileges"));
  }
}

}  // namespace
}  // namespace zenta::installer
