#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>

#include "datahelpers/ztdh_class.h"
#include "installer/run_as_administrator.h"
#include "installer/update.h"
#include "tests/datahelpers/signing_key.h"
#include "tests/installer/fake_platform.h"

namespace zenta::installer {
namespace {

using signing::BuiltInSigningConfig;
using signing::SignDigest;
using signing::TestSigner;
using signing::Text;
using testing::ElementsAre;
using Effects = std::vector<std::string>;

// The paths as this machine standardizes them: with a space, which the script does not quote.
const char kPackage[] = "/Big Disk/Library/Caches/update.pkg";
const char kDigest[] = "/Big Disk/Library/Caches/inputPkg.txt";
const char kKey[] = "install_fail_num";
const char kRun[] = "post ZentaIMupdate_Run_Notification";
const char kFail[] = "post ZentaIMupdate_Fail_Notification";
const char kScript[] =
    "run do shell script \"'/usr/sbin/installer' -pkg /Big Disk/Library/Caches/update.pkg -target "
    "/\" with administrator privileges";
const char kRemove[] = "remove /Big Disk/Library/Caches/update.pkg";
const char kContent[] = "a package, or the 60 bytes that stand for one in these tests";
const ScriptOutcome kSuccess{.succeeded = true, .result = "installed"};

std::string Signed(const std::string& payload) {
  return SignDigest(payload, BuiltInSigningConfig(), TestSigner()).value();
}

// A machine with a signed package. Sources #2 and #4 are the first ones that the updater looks for.
FakeMachine ReadyMachine(ScriptOutcome script, std::optional<std::string> count = {}) {
  FakeMachine machine;
  machine.files[kPackage] = kContent;
  machine.files[kDigest] = Signed(*ZTDHClass::getMD5ZTDHMethod001Arg2(kContent, 16)) + "\n";
  const std::string own = "com.zenta.inputmethod.ZentaIM", mode = "com.zenta.inputmethod.pinyin";
  machine.sources = {{{}, {}}, {own, "x"}, {own, {}}, {own, {}}, {"x", mode}, {own, mode}};
  machine.script = std::move(script);
  if (count) machine.defaults[kKey] = *count;
  return machine;
}

FakeMachine AfterRun(FakeMachine machine) {
  Platform platform = machine.MakePlatform();
  RunUpdate(platform);
  return machine;
}

// Whether a run only announces itself.
bool StopsQuietly(const FakeMachine& before) {
  const FakeMachine after = AfterRun(before);
  return after.effects == Effects{kRun} && after.files == before.files;
}

TEST(RunAsAdministratorTest, TextsAreHandedBackByOutcome) {
  const Text kSame = "untouched", kRequired = "The administrator password is required to do this.";
  const struct {
    ScriptOutcome outcome;
    Text output, error;  // the two output parameters afterwards
  } rows[] = {{{.succeeded = true, .result = "done"}, "done", kSame},
              {{.succeeded = true}, {}, kSame},
              {{}, kSame, {}},
              {{.error_message = "no room"}, kSame, "no room"},
              {{.error_number = -128, .error_message = "no"}, kSame, kRequired},
              {{.error_number = -128}, kSame, kRequired}};
  const std::string words[] = {"-x", "", "two \"words\""};
  for (const auto& row : rows) {
    FakeMachine machine;
    machine.script = row.outcome;
    Text output = kSame, error = kSame;
    FakePart part(machine);
    const bool succeeded = row.outcome.succeeded;
    std::optional<std::int64_t> number;
    EXPECT_EQ(RunAsAdministrator(part, "/a b", words, &output, &error, &number), succeeded);
    EXPECT_EQ(std::tuple(output, error, number),
              std::tuple(row.output, row.error, row.outcome.error_number));
    EXPECT_EQ(RunAsAdministrator(part, "/a b", words), succeeded);
    EXPECT_THAT(machine.effects, testing::Each("run do shell script \"'/a b' -x  two \"words\"\" "
                                               "with administrator privileges"));
  }
}

TEST(RunUpdateTest, SignedPackageIsInstalledActivatedAndRemoved) {
  FakeMachine ready = ReadyMachine(kSuccess, "2");
  ready.defaults["package_left_behind"] = "1";  // another package
  FakeMachine after = AfterRun(ready);
  EXPECT_THAT(
      after.effects,
      ElementsAre(kRun, kScript, "log will register input",
                  "register /Library/Input Methods/ZentaIM.app", "log will activate zenta input #2",
                  "enable #2", "log did enable input: 0", "log will disableResult input #4",
                  "disable #4", "log disableResult input: 0", "log will enable input #4",
                  "enable #4", "log did enable input: 0", "log will select input #4", "select #4",
                  "log did select input: 0", kRemove));
  EXPECT_FALSE(after.files.contains(kPackage));
  EXPECT_TRUE(after.files.contains(kDigest));
  EXPECT_EQ(after.defaults[kKey], "2");
}

TEST(RunUpdateTest, UnsignedPackageStaysAndNothingHappens) {
  const std::string digest = *ZTDHClass::getMD5ZTDHMethod001Arg2(kContent, 16);
  std::string upper = digest;
  for (char& c : upper) c = static_cast<char>(std::toupper(c));
  for (const std::string& text :
       {std::string(), std::string(" \n"), std::string("!"), std::string(171, 'A'), digest,
        Signed(upper), Signed(digest + "\n"), Signed(digest.substr(1)), Signed(""),
        Signed("\xff\xfe"), Signed(digest).substr(0, 170), Signed(digest) + "A",
        Signed(digest) + Signed(digest), Signed(digest) + std::string(65536, '\n')}) {
    FakeMachine machine = ReadyMachine(kSuccess);
    machine.files[kDigest] = text;
    EXPECT_TRUE(StopsQuietly(machine)) << text.substr(0, 200);
  }
  for (const auto& [path, calls] : {std::pair{kPackage, 4u}, {kDigest, 5u}}) {
    FakeMachine machine = ReadyMachine(kSuccess);
    machine.distrusted[path] = "why";
    EXPECT_THAT(AfterRun(machine).effects,
                ElementsAre(kRun, "log will not trust " + std::string(path) + ": why"));
    EXPECT_TRUE(AfterRun(machine).files.contains(path));
    machine.files.erase(path);
    EXPECT_TRUE(StopsQuietly(machine)) << path;
    EXPECT_EQ(AfterRun(machine).calls, calls) << "nothing is read";
  }
}

TEST(RunUpdateTest, EverySingleBitOfBothFilesCounts) {
  const FakeMachine ready = ReadyMachine(kSuccess);
  for (const char* path : {kPackage, kDigest}) {
    for (std::size_t bit = 0; bit != ready.files.at(path).size() * 8; ++bit) {
      FakeMachine changed = ready;
      char& byte = changed.files[path][bit / 8];
      byte = static_cast<char>(byte ^ 1 << bit % 8);
      EXPECT_TRUE(StopsQuietly(changed)) << path << " bit " << bit;
    }
  }
}

TEST(RunUpdateTest, FailuresAreCountedAndTheThirdIsAnnounced) {
  const Effects third = {kRun, kScript, kFail, "unset install_fail_num", kRemove};
  const std::pair<std::optional<std::string>, const char*> rows[] = {
      {{}, "set 1"},  {"1", "set 2"},   {"2", ""},           {"5", ""},
      {"0", "set 1"}, {"-7", "set -6"}, {"a word", "set 1"}, {"9223372036854775807", ""}};
  for (const auto& [before, set] : rows) {
    const Effects counted = {kRun, kScript, set, kRemove};
    EXPECT_EQ(AfterRun(ReadyMachine({.error_number = 1}, before)).effects,
              *set == '\0' ? third : counted);
  }
}

TEST(RunUpdateTest, PackageThatCannotBeRemovedIsTriedOnceAndEachRunIsAFailure) {
  for (const ScriptOutcome& outcome : {kSuccess, ScriptOutcome()}) {
    FakeMachine machine = ReadyMachine(outcome);
    machine.nothing_goes = true;
    for (const char* count : {"1", "2", "", "1"}) {
      machine = AfterRun(machine);
      EXPECT_EQ(machine.defaults.contains(kKey) ? machine.defaults[kKey] : "", count);
    }
    EXPECT_EQ(std::ranges::count(machine.effects, kScript), 1);
    EXPECT_EQ(std::ranges::count(machine.effects, kFail), 1);
    machine.nothing_goes = false;
    machine = AfterRun(machine);
    EXPECT_EQ(machine.defaults, decltype(machine.defaults)({{kKey, "1"}}));
    EXPECT_FALSE(machine.files.contains(kPackage));
    machine.files[kPackage] = kContent;  // downloaded once more
    EXPECT_EQ(std::ranges::count(AfterRun(machine).effects, kScript), 2);
  }
}

long Count(const FakeMachine& after, const std::string& start) {
  return std::ranges::count_if(after.effects,
                               [&](const auto& each) { return each.starts_with(start); });
}

bool Counted(const FakeMachine& before, const FakeMachine& after) {
  return Count(after, kFail) != 0 || after.defaults != before.defaults;
}

// Lets each call of a run fail in turn, first by its result and then by throwing.
TEST(RunUpdateTest, NothingIsLeftHalfDoneWhicheverCallFails) {
  for (const FakeMachine& ready :
       {ReadyMachine(kSuccess), ReadyMachine({}), ReadyMachine({}, "2")}) {
    const FakeMachine clean = AfterRun(ready);
    for (std::size_t k = 0; k != 2 * clean.calls; ++k) {
      SCOPED_TRACE(testing::Message() << "call " << k / 2 << (k % 2 ? " throws" : " fails"));
      FakeMachine failing = ready;
      failing.fail_at = k / 2;
      failing.throws = k % 2 != 0;
      const FakeMachine after = AfterRun(failing);
      const auto count = [&](const char* start) { return Count(after, start); };
      if (count(kScript) == 0) {
        EXPECT_NE(k / 2, 0u) << "an announcement that fails stops nothing";
        EXPECT_EQ(count("log") + 1u, after.effects.size());
        EXPECT_EQ(std::tie(after.files, after.defaults), std::tie(ready.files, ready.defaults));
        continue;
      }
      const bool removed = !after.files.contains(kPackage);
      EXPECT_TRUE(!removed || (ready.script.succeeded && count("log did") != 0) ||
                  Counted(ready, after))
          << "a download is lost";
      EXPECT_TRUE(removed || count("log cannot") == 1) << "no log line for a package that stays";
      EXPECT_GE(count("enable #4"), count("disable #4"));
      EXPECT_EQ(count("select #4"), count("disable #4"));
      EXPECT_EQ(count("log did") + count("log disable"), count("en") + count("dis") + count("sel"));
      EXPECT_EQ(count("unset"), count(kFail));
      EXPECT_LE(count("set") + count(kFail), 1);
    }
  }
}

// Before each call of a run in turn, somebody else removes the package or replaces it by a newer
// one. The last two calls before the installer starts and before the removal are not protected: no
// system checks and acts in one step.
TEST(RunUpdateTest, WhateverOthersDoMeanwhileNothingOfTheirsIsLost) {
  for (const std::string newer : {"", "a newer package"}) {
    for (const FakeMachine& ready : {ReadyMachine(kSuccess), ReadyMachine({}, "1")}) {
      const FakeMachine clean = AfterRun(ready);
      for (std::size_t k = 0; k != clean.calls - 2; ++k) {
        SCOPED_TRACE(testing::Message() << "before call " << k << " of " << clean.calls);
        FakeMachine crowded = ready;
        crowded.meddle_at = k;
        crowded.meddle = [&newer](FakeMachine& m) {
          m.files.erase(kPackage);
          if (!newer.empty()) m.files[kPackage] = newer;
        };
        FakeMachine after = AfterRun(crowded);
        EXPECT_EQ(after.files[kPackage], newer);
        EXPECT_EQ(Count(after, kScript), k + 2 >= clean.calls_before_script);
        EXPECT_EQ(Counted(ready, after), Count(after, kScript) != 0 && !ready.script.succeeded);
      }
    }
  }
}

}  // namespace
}  // namespace zenta::installer
