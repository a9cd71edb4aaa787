// Runs the updater on the Mac's backend, and checks its calls to the frameworks and its log.
#include <gmock/gmock.h>

#include "tests/installer/macos/mac_test.h"

namespace zenta::installer {
namespace {

namespace fs = std::filesystem;
using signing::BuiltInSigningConfig;
using signing::RsaPublicKey;
using signing::SignatureBlock;

std::string Posted(const std::string& name) {
  return "post " + name + " to Darwin, object (null), user info (null), immediately 1";
}
const std::string kRun = Posted("ZentaIMupdate_Run_Notification");
const std::string kFail = Posted("ZentaIMupdate_Fail_Notification");
const char kRegistration[] = "register file:///Library/Input%20Methods/ZentaIM.app";

// Uses the platform as the program does.
template <class Use>
void OnThePlatform(Use use) {
  static Use* current;
  current = &use;
  WithSystemPlatform([](Platform& platform) noexcept { (*current)(platform); });
}

class MacPlatformTest : public MacTest {
 protected:
  const std::string script_ = "run do shell script \"'/usr/sbin/installer' -pkg " + At(kPackage) +
                              " -target /\" with administrator privileges";
};

TEST_F(MacPlatformTest, SignedPackageIsInstalledActivatedAndRemoved) {
  EXPECT_EQ(Update(), WithActivation({kRun, script_, "log will register input", kRegistration,
                                      "list (null), all 1", "log will activate zenta input #2",
                                      "enable #2", "log did enable input: 0", "list (null), all 1"},
                                     "#4", "0"));
  EXPECT_FALSE(IsThere(kPackage));
  EXPECT_EQ(Update(), Lines{kRun});
}

TEST_F(MacPlatformTest, MissingSourcesAndRefusalsAreOnlyLogged) {
  TheShimMac().status = -1;
  TheShimMac().sources.resize(3);
  EXPECT_EQ(Update(), (Lines{kRun, script_, "log will register input", kRegistration,
                             "list (null), all 1", "log will activate zenta input #2", "enable #2",
                             "log did enable input: -1", "list (null), all 1"}));
  TheShimMac().has_source_list = TheShimMac().makes_urls = false;
  PutPackage();
  EXPECT_EQ(Update(), (Lines{kRun, script_, "log will register input", "list (null), all 1",
                             "log will activate zenta input (null)", "enable (null)",
                             "log did enable input: -50", "list (null), all 1"}));
}

TEST_F(MacPlatformTest, FailuresAreCountedInTheDefaultsFile) {
  const std::string file =
      std::string(std::getenv("ZENTA_TEST_DEFAULTS")) + "/macos_platform_test.plist";
  TheShimMac().script = {};
  for (int run = 0; run != 6; ++run) {
    TheShimMac().script_raises = run >= 3;
    const bool third = run % 3 == 2;
    PutPackage();
    EXPECT_EQ(Update(), third ? (Lines{kRun, script_, kFail}) : (Lines{kRun, script_}));
    EXPECT_FALSE(IsThere(kPackage));
    // After the third failure the key is gone.
    const std::string counted = "install_fail_num[^0-9]+" + std::to_string(run % 3 + 1) + "[^0-9]";
    EXPECT_THAT(folder_.Get(file), testing::ContainsRegex(third ? "^[^_]*$" : counted));
  }
}

TEST_F(MacPlatformTest, ScriptOutcomeIsWhatTheRunnerSays) {
  for (ScriptOutcome outcome : {ScriptOutcome{.succeeded = true, .result = "a\rb"},
                                {.succeeded = true},
                                {},
                                {.error_number = -128},
                                {.error_message = "\xE4\xB8\xAD"},
                                {.error_number = 1, .error_message = "no room"}}) {
    TheShimMac().script = outcome;
    for (const bool dictionary : {true, false}) {
      TheShimMac().gives_error_dictionary = dictionary;
      if (!dictionary) outcome = {.succeeded = outcome.succeeded, .result = outcome.result};
      OnThePlatform([&](Platform& platform) {
        const auto& [succeeded, result, number, message] = outcome;
        const ScriptOutcome got = platform.scripts->Run("source");
        EXPECT_EQ(std::tie(got.succeeded, got.result, got.error_number, got.error_message),
                  std::tie(succeeded, result, number, message));
      });
    }
  }
}

TEST_F(MacPlatformTest, OnlyRegularFilesAreOpenedAndNoFolderIsRemoved) {
  OnThePlatform([&](Platform& platform) { ExpectFilesAreKept(*platform.files, root_); });
}

TEST_F(MacPlatformTest, OnlyFilesOfRootAndThisUserAreTrusted) {
  OnThePlatform([&](Platform& platform) { ExpectOnlyOursIsTrusted(*platform.files, root_); });
  fs::permissions(At(kPackage), fs::perms::others_write, fs::perm_options::add);
  EXPECT_EQ(Update(),
            (Lines{kRun, "log will not trust " + At(kPackage) + ": everybody may write it"}));
}

TEST_F(MacPlatformTest, KeyThatTheSystemRefusesOpensNothing) {
  const RsaPublicKey key(BuiltInSigningConfig());
  TheShimMac().encrypts = TheShimMac().takes_keys = false;
  EXPECT_EQ(key.Raise(SignatureBlock{}), std::nullopt);
  EXPECT_ANY_THROW(RsaPublicKey{BuiltInSigningConfig()});
}

}  // namespace
}  // namespace zenta::installer
