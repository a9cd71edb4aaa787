// Calls the model by name, as Objective-C callers do, and checks that no objects are leaked.
#undef NDEBUG  // with it, GNUstep does not declare its object counters
#include "tests/installer/macos/objective_c.h"
#include "datahelpers/macos/foundation_text.h"
#include "installer/platform/macos/activate_input_model_front.h"

namespace zenta::installer {
namespace {

using signing::TextOfString;

id Model() { return [[[::ZTActivateInputModel alloc] init] autorelease]; }

TEST_F(ObjectiveCTest, ModelAnswersToItsSelectors) {
  EXPECT_EQ(Told([] {
              Send<void>(Model(), "activateInputSourceByMode:", (NSString*)nil);
              Send<void>(Model(), "activateInputSourceByMode:", @"com.zenta.inputmethod.pinyin");
            }),
            WithActivation({"list (null), all 1"}, "#4", "0"));
  EXPECT_EQ(Told([] {
              const auto source = Send<TISInputSourceRef>(Model(), "findZentaInputSource");
              Send<void>(Model(), "activateInputSource:", source);
              Send<void>(Model(), "activateInputSource:", (TISInputSourceRef) nullptr);
            }),
            WithActivation(WithActivation({"list (null), all 1"}, "#2", "0"), "(null)", "-50"));
  TheShimMac().status = -7;
  EXPECT_EQ(Told([] { EXPECT_EQ(Send<OSStatus>(Model(), "registerInput"), -7); }),
            Lines{"register file:///Library/Input%20Methods/ZentaIM.app"});
  const Lines lines = Told([] { Send<void>(Model(), "zt_activateInputSource"); });
  EXPECT_EQ(lines.size(), 16u);
  EXPECT_EQ(lines.back(), "log did select input: -7");
  TheShimMac().sources.clear();
  Told([] { EXPECT_EQ(Send<TISInputSourceRef>(Model(), "findZentaInputSource"), nullptr); });
}

TEST_F(ObjectiveCTest, ProgramMayAskForThePassword) {
  NSString* const folder = @ZENTA_MACOS_PACKAGING;
  const auto value = [&](NSString* file, NSString* key) {
    NSString* path = [folder stringByAppendingPathComponent:file];
    return [[NSDictionary dictionaryWithContentsOfFile:path] objectForKey:key];
  };
  EXPECT_EQ(TextOfString(value(@"Info.plist.in", @"CFBundleIdentifier")),
            "com.zenta.inputmethod.ZentaIM.update");
  EXPECT_GT([value(@"Info.plist.in", @"NSAppleEventsUsageDescription") length], 0u);
  EXPECT_TRUE([value(@"zenta-update.entitlements", @"com.apple.security.automation.apple-events")
      boolValue]);
}

TEST_F(MacTest, ThousandRunsLeaveNoObjectBehind) {
  const auto run = [this](int count) {
    for (int i = 0; i != count; ++i) {
      PutPackage();
      TheShimMac().script = {.succeeded = i % 2 == 0, .error_number = -128};
      TheShimMac().has_source_list = TheShimMac().makes_urls = i % 8 != 0;
      EXPECT_FALSE(Update().empty());
    }
  };
  GSDebugAllocationActive(YES);
  run(48);  // makes what is made only once; its 24 failures leave no counter
  const auto before = LiveObjects();
  const int made = GSDebugAllocationTotal(NSClassFromString(@"ShimInputSource"));
  run(960);
  EXPECT_EQ(LiveObjects(), before);
  EXPECT_GT(GSDebugAllocationTotal(NSClassFromString(@"ShimInputSource")), made + 960);
}

}  // namespace
}  // namespace zenta::installer
