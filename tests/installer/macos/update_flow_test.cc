// The update flow on the Mac's backend, down to what its frameworks are asked and what its log
// shows.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "datahelpers/ztdh_class.h"
#include "installer/update.h"
#include "tests/datahelpers/signing_key.h"
#include "tests/installer/macos/mac_folder.h"

namespace zenta {
namespace {

using Lines = std::vector<std::string>;

const char kPackage[] = "/Library/Caches/update.pkg";
const std::string kOwn = "com.zenta.inputmethod.ZentaIM", kMode = "com.zenta.inputmethod.pinyin";

std::string Posted(const std::string& name) {
  return "post " + name + " to Darwin, object (null), user info (null), immediately 1";
}
const std::string kRun = Posted("ZentaIMupdate_Run_Notification");
const std::string kFail = Posted("ZentaIMupdate_Fail_Notification");

class MacUpdateTest : public MacTest {
 protected:
  // A signed package waits; of the sources, #2 and #4 are the first that fit.
  MacUpdateTest() {
    TheShimMac().sources = {{}, {kOwn, "x"}, {kOwn, {}}, {kOwn, {}}, {"x", kMode}, {kOwn, kMode}};
    Put("/Library/Caches/inputPkg.txt",
        SignDigest(*ZTDHClass::calcMD5FromFile(PutPackage()), BuiltInSigningConfig(), TestSigner())
            .value());
  }
  static std::string PutPackage() {
    Put(kPackage, std::string(10000, 'p'));
    return At(kPackage);
  }
  static std::string Script() {
    return "run do shell script \"'/usr/sbin/installer' -pkg " + At(kPackage) +
           " -target /\" with administrator privileges";
  }

  // What a run of the whole program's flow leaves on standard error; of the lines that NSLog wrote,
  // the text behind "log ".
  static Lines Update() {
    testing::internal::CaptureStderr();
    WithSystemPlatform(RunUpdate);
    std::istringstream told(testing::internal::GetCapturedStderr());
    static const std::regex prefix(
        R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} macos_platform_test\[\d+:\d+\] )");
    Lines lines;
    for (std::string line; std::getline(told, line);) {
      lines.push_back(std::regex_replace(line, prefix, "log "));
    }
    return lines;
  }
};

TEST_F(MacUpdateTest, SignedPackageIsInstalledActivatedAndRemoved) {
  EXPECT_EQ(Update(),
            (Lines{kRun, Script(), "log will register input",
                   "register file:///Library/Input%20Methods/ZentaIM.app", "list (null), all 1",
                   "log will activate zenta input #2", "enable #2", "log did enable input: 0",
                   "list (null), all 1", "log will disableResult input #4", "disable #4",
                   "log disableResult input: 0", "log will enable input #4", "enable #4",
                   "log did enable input: 0", "log will select input #4", "select #4",
                   "log did select input: 0"}));
  EXPECT_FALSE(std::filesystem::exists(At(kPackage)));
  EXPECT_EQ(Update(), Lines{kRun});
}

}  // namespace
}  // namespace zenta
