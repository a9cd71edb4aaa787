#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include "datahelpers/alphabet_codec.h"
#include "datahelpers/ztdh_class.h"
#include "installer/update.h"
#include "tests/datahelpers/signing_key.h"
#include "tests/installer/fake_platform.h"

namespace zenta {
namespace {

using testing::ElementsAre;

const char kPackage[] = "/Library/Caches/update.pkg";
const char kDigest[] = "/Library/Caches/inputPkg.txt";
const char kKey[] = "install_fail_num";
const char kRun[] = "post ZentaIMupdate_Run_Notification";
const char kFail[] = "post ZentaIMupdate_Fail_Notification";
const char kScript[] =
    "run do shell script \"'/usr/sbin/installer' -pkg /Library/Caches/update.pkg -target /\" with "
    "administrator privileges";
const char kRemove[] = "remove /Library/Caches/update.pkg";
const char kContent[] = "a package, or at least 64 bytes that stand for one in these tests.";

std::string Signed(const std::string& payload) {
  return SignDigest(payload, BuiltInSigningConfig(), TestSigner()).value();
}

std::string DigestOf(const std::string& package) {
  return ZTDHClass::getMD5ZTDHMethod001Arg2(package, 16).value();
}

// Two sources of the input method, the mode selected, a signed package waiting.
FakeMachine ReadyMachine(ScriptOutcome script) {
  FakeMachine machine;
  machine.files = {{kPackage, kContent}, {kDigest, Signed(DigestOf(kContent)) + "\n"}};
  machine.sources = {{"com.zenta.inputmethod.ZentaIM", {}},
                     {"com.zenta.inputmethod.ZentaIM.pinyin", "com.zenta.inputmethod.pinyin"}};
  machine.script = std::move(script);
  return machine;
}
const ScriptOutcome kSuccess{.succeeded = true, .result = "installed"};
const ScriptOutcome kFailure{.error_number = 1, .error_message = "no room"};

void RunOn(FakeMachine& machine) {
  Platform platform = machine.MakePlatform();
  RunUpdate(platform);
}

// Whether the run only announced itself.
bool StopsQuietly(FakeMachine machine) {
  const auto files = machine.files, defaults = machine.defaults;
  RunOn(machine);
  return machine.effects == std::vector<std::string>{kRun} && machine.files == files &&
         machine.defaults == defaults;
}

TEST(RunUpdateTest, SignedPackageIsInstalledActivatedAndRemoved) {
  FakeMachine machine = ReadyMachine(kSuccess);
  machine.defaults[kKey] = "2";
  RunOn(machine);
  EXPECT_THAT(
      machine.effects,
      ElementsAre(kRun, kScript, "log will register input",
                  "register /Library/Input Methods/ZentaIM.app", "log will activate zenta input #0",
                  "enable #0", "log did enable input: 0", "log will disableResult input #1",
                  "disable #1", "log disableResult input: 0", "log will enable input #1",
                  "enable #1", "log did enable input: 0", "log will select input #1", "select #1",
                  "log did select input: 0", kRemove));
  EXPECT_FALSE(machine.files.contains(kPackage));
  EXPECT_TRUE(machine.files.contains(kDigest));
  EXPECT_EQ(machine.defaults[kKey], "2") << "a success leaves the counter as it is";
}

TEST(RunUpdateTest, UnsignedPackageStaysAndNothingHappens) {
  const std::string digest = DigestOf(kContent);
  std::string upper = digest;
  for (char& c : upper) c = static_cast<char>(std::toupper(c));
  SignatureBlock wrong = *PadPayload(BytesOf(digest));
  wrong[1] = 2;
  const AlphabetCodec codec(BuiltInSigningConfig().alphabet, BuiltInSigningConfig().value);
  const auto block = TestSigner().Raise(*PadPayload(BytesOf(digest)));
  const std::string files[] = {"",
                               " \n",
                               "!",
                               std::string(171, 'A'),
                               std::string("\xff\xfe\0\0", 4),
                               digest,
                               Signed(upper),
                               Signed(digest + "\n"),
                               Signed(" " + digest),
                               Signed(digest.substr(1)),
                               Signed(""),
                               Signed("\xff\xfe"),
                               Signed(DigestOf("another package")),
                               codec.Encode(*TestSigner().Raise(wrong)),
                               Signed(digest) + "A",
                               Signed(digest) + Signed(digest),
                               Signed(digest).substr(0, 170),
                               codec.Encode(ByteView(*block).first(127)),
                               codec.Encode(BuiltInSigningConfig().modulus),
                               Signed(digest) + std::string(65536, '\n')};
  for (const std::string& file : files) {
    FakeMachine machine = ReadyMachine(kSuccess);
    machine.files[kDigest] = file;
    EXPECT_TRUE(StopsQuietly(machine)) << file.substr(0, 200);
  }
  for (const char* path : {kPackage, kDigest}) {
    FakeMachine machine = ReadyMachine(kSuccess);
    machine.files.erase(path);
    EXPECT_TRUE(StopsQuietly(machine)) << path;
  }
  FakeMachine emptied = ReadyMachine(kSuccess);
  emptied.files[kPackage] = "";
  EXPECT_TRUE(StopsQuietly(emptied));
}

TEST(RunUpdateTest, DigestFileIsNotReadWithoutAPackage) {
  FakeMachine machine = ReadyMachine(kSuccess);
  machine.files.erase(kPackage);
  RunOn(machine);
  EXPECT_EQ(machine.calls, 4u) << "post, two paths, one look";
}

TEST(RunUpdateTest, EverySingleBitOfBothFilesCounts) {
  for (const char* path : {kPackage, kDigest}) {
    FakeMachine machine = ReadyMachine(kSuccess);
    for (std::size_t bit = 0; bit != machine.files[path].size() * 8; ++bit) {
      FakeMachine changed = machine;
      char& byte = changed.files[path][bit / 8];
      byte = static_cast<char>(byte ^ 1 << bit % 8);
      EXPECT_TRUE(StopsQuietly(changed)) << path << " bit " << bit;
    }
  }
}

TEST(RunUpdateTest, FailuresAreCountedAndTheThirdIsAnnounced) {
  struct Row {
    std::optional<std::string> before, after;
  };
  const Row rows[] = {{{}, "1"},          {"0", "1"}, {"1", "2"},
                      {"2", {}},          {"5", {}},  {"-7", "-6"},
                      {"no number", "1"}, {"", "1"},  {"9223372036854775807", {}}};
  const ScriptOutcome failures[] = {{}, kFailure, {.error_number = kScriptCancelled}};
  for (const ScriptOutcome& failure : failures) {
    for (const Row& row : rows) {
      SCOPED_TRACE(row.before.value_or("absent"));
      FakeMachine machine = ReadyMachine(failure);
      if (row.before) machine.defaults[kKey] = *row.before;
      RunOn(machine);
      if (row.after) {
        EXPECT_THAT(machine.effects, ElementsAre(kRun, kScript, "set " + *row.after, kRemove));
      } else {
        EXPECT_THAT(machine.effects,
                    ElementsAre(kRun, kScript, kFail, "unset install_fail_num", kRemove));
      }
      EXPECT_EQ(machine.defaults.contains(kKey), row.after.has_value());
      EXPECT_FALSE(machine.files.contains(kPackage));
      EXPECT_TRUE(machine.files.contains(kDigest));
    }
  }
}

TEST(RunUpdateTest, StandardizedPathIsUsedThroughoutAndUnquoted) {
  FakeMachine machine = ReadyMachine(kFailure);
  machine.standard_place = "/Big Disk";
  for (const char* path : {kPackage, kDigest}) {
    machine.files.insert({machine.standard_place + path, machine.files[path]});
    machine.files[path] = "not this one";
  }
  RunOn(machine);
  EXPECT_THAT(
      machine.effects,
      ElementsAre(kRun,
                  "run do shell script \"'/usr/sbin/installer' -pkg /Big Disk/Library/Caches/"
                  "update.pkg -target /\" with administrator privileges",
                  "set 1", "remove /Big Disk/Library/Caches/update.pkg"));
}

// Every call of a run fails in its turn, by its result and by throwing.
TEST(RunUpdateTest, NothingIsLeftHalfDoneWhicheverCallFails) {
  FakeMachine third = ReadyMachine(kFailure);
  third.defaults[kKey] = "2";
  for (const FakeMachine& ready : {ReadyMachine(kSuccess), ReadyMachine(kFailure), third}) {
    FakeMachine clean = ready;
    RunOn(clean);
    for (std::size_t k = 0; k != 2 * clean.calls; ++k) {
      FakeMachine machine = ready;
      machine.fail_at = k / 2;
      machine.throws = k % 2 != 0;
      SCOPED_TRACE(testing::Message()
                   << "call " << k / 2 << " of " << clean.calls << (k % 2 ? " throws" : " fails"));
      RunOn(machine);
      const auto count = [&](std::string_view effect) {
        return std::count(machine.effects.begin(), machine.effects.end(), effect);
      };
      if (count(kScript) == 0) {
        EXPECT_THAT(machine.effects, ElementsAre(kRun));
        EXPECT_EQ(machine.files, ready.files);
        continue;
      }
      EXPECT_EQ(machine.effects.back(), kRemove);
      EXPECT_EQ(machine.files.contains(kPackage), machine.fail_at + 1 == machine.calls);
      EXPECT_TRUE(machine.files.contains(kDigest));
      EXPECT_EQ(count("disable #1"), count("select #1"));
      EXPECT_GE(count("enable #1"), count("disable #1"));
      EXPECT_EQ(count("log did select input: 0") + count("log did select input: -1") +
                    count("log did select input: -50"),
                count("select #1"));
      EXPECT_GE(count("unset install_fail_num"), count(kFail));
      EXPECT_LE(count("set 1") + count("unset install_fail_num"), 1);
    }
  }
}

}  // namespace
}  // namespace zenta
