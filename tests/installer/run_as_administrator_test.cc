#include "installer/run_as_administrator.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <vector>

#include "tests/installer/fake_platform.h"

namespace zenta {
namespace {

TEST(RunAsAdministratorTest, TextsAreHandedBackByOutcome) {
  const std::string required = "The administrator password is required to do this.";
  struct Row {
    ScriptOutcome outcome;
    Text output, error;  // what the places hold afterwards
  };
  const Row rows[] = {
      {{.succeeded = true, .result = "done"}, "done", "untouched"},
      {{.succeeded = true}, {}, "untouched"},
      {{}, "untouched", {}},
      {{.error_number = 1}, "untouched", {}},
      {{.error_message = "no room"}, "untouched", "no room"},
      {{.error_number = 1, .error_message = "no room"}, "untouched", "no room"},
      {{.error_number = -128}, "untouched", required},
      {{.error_number = -128, .error_message = "cancelled"}, "untouched", required}};
  for (const Row& row : rows) {
    FakeMachine machine;
    machine.script = row.outcome;
    Text output = "untouched", error = "untouched";
    const Platform platform = machine.MakePlatform();
    EXPECT_EQ(RunAsAdministrator(*platform.scripts, "/a b", {}, &output, &error),
              row.outcome.succeeded);
    EXPECT_EQ(output, row.output);
    EXPECT_EQ(error, row.error);
    EXPECT_EQ(RunAsAdministrator(*platform.scripts, "/a b", {}), row.outcome.succeeded);
  }
}

TEST(RunAsAdministratorTest, CommandIsInsertedAsItStands) {
  FakeMachine machine;
  machine.fail_at = 2;
  machine.throws = true;
  const Platform platform = machine.MakePlatform();
  for (const std::vector<std::string>& arguments :
       std::initializer_list<std::vector<std::string>>{{}, {"one"}, {"-x", "", "two \"words\""}}) {
    EXPECT_FALSE(RunAsAdministrator(*platform.scripts, "/a b", arguments));
  }
  const auto script = [](std::string command) {
    return "run do shell script \"" + command + "\" with administrator privileges";
  };
  EXPECT_THAT(machine.effects, testing::ElementsAre(script("'/a b' "), script("'/a b' one"),
                                                    script("'/a b' -x  two \"words\"")));
}

}  // namespace
}  // namespace zenta
