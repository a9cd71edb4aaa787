// The program on the Mac's backend, down to what its frameworks are asked and what its log shows.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "tests/installer/macos/mac_test.h"

namespace zenta {
namespace {

namespace fs = std::filesystem;

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
  TheShimMac().script_succeeds = false;
  for (const bool raises : {false, true}) {
    TheShimMac().script_raises = raises;
    for (const std::string count : {"1", "2"}) {
      PutPackage();
      EXPECT_EQ(Update(), (Lines{kRun, script_}));
      EXPECT_FALSE(IsThere(kPackage));
      EXPECT_THAT(folder_.Get(file),
                  testing::ContainsRegex("install_fail_num[^0-9]+" + count + "[^0-9]"));
    }
    PutPackage();
    EXPECT_EQ(Update(), (Lines{kRun, script_, kFail}));
    EXPECT_THAT(folder_.Get(file), testing::Not(testing::HasSubstr("install_fail_num")));
  }
}

TEST_F(MacPlatformTest, ScriptOutcomeIsWhatTheRunnerSays) {
  ShimMac& mac = TheShimMac();
  for (const ScriptOutcome& outcome : {ScriptOutcome{.succeeded = true, .result = "a\rb"},
                                       {.succeeded = true},
                                       {},
                                       {.error_number = -128},
                                       {.error_message = "\xE4\xB8\xAD"},
                                       {.error_number = 1, .error_message = "no room"}}) {
    mac.script_succeeds = outcome.succeeded;
    mac.script_result = outcome.result;
    mac.error_number = outcome.error_number;
    mac.error_message = outcome.error_message;
    for (const bool dictionary : {true, false}) {
      mac.gives_error_dictionary = dictionary;
      OnThePlatform([&](Platform& platform) {
        const ScriptOutcome got = platform.scripts->Run("source");
        EXPECT_EQ(got.succeeded, outcome.succeeded);
        EXPECT_EQ(got.result, outcome.result);
        EXPECT_EQ(got.error_number, dictionary ? outcome.error_number : std::nullopt);
        EXPECT_EQ(got.error_message, dictionary ? outcome.error_message : std::nullopt);
      });
    }
  }
}

TEST_F(MacPlatformTest, OnlyRegularFilesAreOpenedAndNoFolderIsRemoved) {
  const auto descriptors = [] {
    return std::distance(fs::directory_iterator("/proc/self/fd"), {});
  };
  Put("/folder/file", "ok");
  ASSERT_EQ(mkfifo(At("/pipe").c_str(), 0600), 0);
  fs::create_symlink("nowhere", At("/to nowhere"));
  fs::create_symlink("folder", At("/to folder"));
  fs::create_symlink("folder/file", At("/to file"));
  struct Row {
    const char* path;
    bool exists, opens, can_be_removed;
  };
  const Row rows[] = {{"/missing", false, false, true},  {"/to nowhere", false, false, true},
                      {"/to folder", true, false, true}, {"/to file", true, true, true},
                      {"/pipe", true, false, true},      {"/folder", true, false, false},
                      {"/folder/file", true, true, true}};
  OnThePlatform([&](Platform& platform) {
    Files& files = *platform.files;
    const auto before = descriptors();
    for (const Row& row : rows) {
      SCOPED_TRACE(row.path);
      EXPECT_EQ(files.Exists(At(row.path)), row.exists);
      auto file = files.OpenForReading(At(row.path));
      EXPECT_EQ(descriptors(), before + row.opens);
      EXPECT_EQ(file ? ReadAll(*file) : Data(), row.opens ? Data({'o', 'k'}) : Data());
      file.reset();
      EXPECT_EQ(descriptors(), before);
      files.Remove(At(row.path));
      EXPECT_EQ(IsThere(row.path), !row.can_be_removed);
    }
  });
}

TEST_F(MacPlatformTest, PackageThatCannotBeReadToItsEndIsNotInstalled) {
  OnThePlatform([&](Platform& platform) {
    const auto file = platform.files->OpenForReading("/proc/self/mem");  // nothing is at its start
    ASSERT_NE(file, nullptr);
    EXPECT_ANY_THROW(static_cast<void>(ReadAll(*file)));
  });
  fs::remove(At(kPackage));
  fs::create_symlink("/proc/self/mem", At(kPackage));
  EXPECT_EQ(Update(), Lines{kRun});
}

TEST_F(MacPlatformTest, KeyThatTheSystemRefusesOpensNothing) {
  const RsaPublicKey key(BuiltInSigningConfig());
  TheShimMac().encrypts = TheShimMac().takes_keys = false;
  EXPECT_EQ(key.Raise(SignatureBlock{}), std::nullopt);
  EXPECT_ANY_THROW(RsaPublicKey{BuiltInSigningConfig()});
}

}  // namespace
}  // namespace zenta
