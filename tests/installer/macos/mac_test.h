// A Mac in a folder: its files are real, everything else is the shims.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "datahelpers/ztdh_class.h"
#include "installer/update.h"
#include "tests/apple_shims/shim_mac.h"
#include "tests/datahelpers/signing_key.h"
#include "tests/installer/machine_fixture.h"

namespace zenta::installer {

using Lines = std::vector<std::string>;

// The lines that a call writes to standard error. In a line of NSLog, "log" replaces the time and
// the process.
Lines Told(void (*call)());

// `lines`, followed by those of the activation of `source`.
inline Lines WithActivation(Lines lines, const std::string& source, const std::string& status) {
  lines.insert(lines.end(), {"log will disableResult input " + source, "disable " + source,
                             "log disableResult input: " + status,
                             "log will enable input " + source, "enable " + source,
                             "log did enable input: " + status, "log will select input " + source,
                             "select " + source, "log did select input: " + status});
  return lines;
}

class MacTest : public MachineTest {
 protected:
  // Puts a signed package in place. Sources #2 and #4 are the first ones that the updater looks
  // for.
  MacTest() {
    const std::string own = "com.zenta.inputmethod.ZentaIM", mode = "com.zenta.inputmethod.pinyin";
    TheShimMac() = {};
    TheShimMac().folder = root_;
    TheShimMac().sources = {{}, {own, "x"}, {own, {}}, {own, {}}, {"x", mode}, {own, mode}};
    PutPackage();
    const std::string digest = ZTDHClass::calcMD5FromFile(At(kPackage)).value();
    Put(kDigestFile,
        signing::SignDigest(digest, signing::BuiltInSigningConfig(), signing::TestSigner())
            .value());
  }

  static constexpr char kPackage[] = "/Library/Caches/update.pkg";
  static constexpr char kDigestFile[] = "/Library/Caches/inputPkg.txt";

  void PutPackage() const { Put(kPackage, std::string(10000, 'p')); }
  // One run of the program.
  static Lines Update() {
    return Told([] { WithSystemPlatform(RunUpdate); });
  }
};

}  // namespace zenta::installer
