// A Mac in a folder of the test program's own: its files and the user defaults are real, the rest
// of it is the shims'.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "datahelpers/ztdh_class.h"
#include "installer/update.h"
#include "tests/apple_shims/shim_mac.h"
#include "tests/datahelpers/signing_key.h"

namespace zenta {

// The folder; main makes it.
inline std::string& MacFolder() {
  static std::string path;
  return path;
}

using Lines = std::vector<std::string>;

// What a call leaves on standard error; of the lines that NSLog wrote, the text behind "log ".
Lines Told(void (*call)());

class MacTest : public testing::Test {
 protected:
  // A signed package waits; of the sources, #2 and #4 are the first that fit.
  MacTest() {
    const std::string own = "com.zenta.inputmethod.ZentaIM", mode = "com.zenta.inputmethod.pinyin";
    TheShimMac() = {};
    TheShimMac().folder = MacFolder();
    TheShimMac().sources = {{}, {own, "x"}, {own, {}}, {own, {}}, {"x", mode}, {own, mode}};
    std::filesystem::create_directories(At("/Library/Caches"));
    PutPackage();
    const std::string digest = ZTDHClass::calcMD5FromFile(At(kPackage)).value();
    Put("/Library/Caches/inputPkg.txt",
        SignDigest(digest, BuiltInSigningConfig(), TestSigner()).value());
  }
  ~MacTest() override { std::filesystem::remove_all(At("/Library")); }

  static constexpr char kPackage[] = "/Library/Caches/update.pkg";

  [[nodiscard]] static std::string At(const std::string& path) { return MacFolder() + path; }
  [[nodiscard]] static bool IsThere(const std::string& path) {
    return std::filesystem::exists(std::filesystem::symlink_status(At(path)));
  }
  static void Put(const std::string& path, const std::string& contents) {
    std::ofstream(At(path), std::ios::binary) << contents;
  }
  static void PutPackage() { Put(kPackage, std::string(10000, 'p')); }
  [[nodiscard]] static std::string Contents(const std::string& path) {
    std::ifstream file(At(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

  // One run of the program.
  static Lines Update() {
    return Told([] { WithSystemPlatform(RunUpdate); });
  }
};

}  // namespace zenta
