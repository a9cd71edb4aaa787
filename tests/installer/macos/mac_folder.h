// The folder that a test program keeps its Mac in: its files and the user defaults.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <system_error>

#include "tests/apple_shims/shim_mac.h"

namespace zenta {

// The folder of this process; main makes it.
inline std::string& MacFolder() {
  static std::string path;
  return path;
}

class MacTest : public testing::Test {
 protected:
  MacTest() {
    TheShimMac() = {};
    TheShimMac().folder = MacFolder();
    std::filesystem::create_directories(At("/Library/Caches"));
  }
  ~MacTest() override { std::filesystem::remove_all(At("/Library")); }

  [[nodiscard]] static std::string At(const std::string& path) { return MacFolder() + path; }
  static void Put(const std::string& path, const std::string& contents) {
    std::ofstream(At(path), std::ios::binary) << contents;
  }
  [[nodiscard]] static std::string Contents(const std::string& path) {
    std::ifstream file(At(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

}  // namespace zenta
