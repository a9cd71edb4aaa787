#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "installer/activate_input_model.h"
#include "tests/installer/fake_platform.h"

namespace zenta {
namespace {

using testing::ElementsAre;

const char kOwn[] = "com.zenta.inputmethod.ZentaIM";
const char kMode[] = "com.zenta.inputmethod.pinyin";

void Activate(FakeMachine& machine) {
  const Platform platform = machine.MakePlatform();
  ZTActivateInputModel(*platform.input_sources, *platform.log).zt_activateInputSource();
}

TEST(ActivateTest, MissingBundleIsLoggedAsNullAndSelectsNothing) {
  FakeMachine machine;
  machine.sources = {
      {kOwn, "com.zenta.inputmethod.other"}, {"com.zenta.inputmethod.zentaim", {}}, {{}, {}}};
  machine.fail_at = 1;  // registering, after the first log line
  Activate(machine);
  EXPECT_THAT(machine.effects,
              ElementsAre("log will register input", "register /Library/Input Methods/ZentaIM.app",
                          "log will activate zenta input (null)", "enable nothing",
                          "log did enable input: -50"));
  EXPECT_EQ(machine.selected, "");
}

TEST(ActivateTest, OnlyTheFirstOfSeveralFittingSourcesIsTaken) {
  FakeMachine machine;
  machine.sources = {{"org.other", {}}, {kOwn, "com.other.mode"}, {kOwn, {}, false},
                     {kOwn, {}, false}, {"a", kMode, false},      {"b", kMode, false}};
  Activate(machine);
  EXPECT_TRUE(machine.sources[2].enabled && machine.sources[4].enabled);
  EXPECT_FALSE(machine.sources[3].enabled || machine.sources[5].enabled);
  EXPECT_EQ(machine.selected, "#4");
}

TEST(ActivateTest, ModeOfTheCallersChoiceIsActivated) {
  FakeMachine machine;
  machine.sources = {{"a", kMode}, {"b", "another"}};
  const Platform platform = machine.MakePlatform();
  ZTActivateInputModel model(*platform.input_sources, *platform.log);
  EXPECT_EQ(model.findZentaInputSource(), nullptr);
  model.activateInputSourceByMode("none of them");
  EXPECT_TRUE(machine.effects.empty());
  model.activateInputSourceByMode("another");
  EXPECT_EQ(machine.selected, "#1");
}

}  // namespace
}  // namespace zenta
