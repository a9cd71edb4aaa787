// A machine in a temporary folder, gone with the test.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "installer/platform/host/machine_folder.h"

namespace zenta {

class MachineTest : public testing::Test {
 protected:
  // Its name has what shells and URLs trip over.
  MachineTest() {
    std::string name = (std::filesystem::temp_directory_path() / "a mac's $folder-XXXXXX").string();
    root_ = std::filesystem::canonical(mkdtemp(name.data())).string();
  }
  ~MachineTest() override { std::filesystem::remove_all(root_); }

  [[nodiscard]] MachineFolder Machine() const { return MachineFolder(root_); }
  [[nodiscard]] std::string At(const std::string& path) const { return root_ + path; }
  [[nodiscard]] std::string InHome(const std::string& path) const {
    return At(MachineFolder::HomeFolder() + path);
  }

  static void Put(const std::string& path, const std::string& contents) {
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream(path, std::ios::binary) << contents;
  }
  static std::string Contents(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Of the names in a folder.
  static std::ptrdiff_t Count(const std::string& folder) {
    return std::distance(std::filesystem::directory_iterator(folder), {});
  }

  std::string root_;
};

}  // namespace zenta
