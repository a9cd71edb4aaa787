// A machine in a temporary folder, gone with the test. Paths are the machine's own.
#pragma once

#include <gtest/gtest.h>

#include "tests/temp_folder.h"

namespace zenta {

class MachineTest : public testing::Test {
 protected:
  MachineTest() { std::filesystem::create_directory(root_); }

  [[nodiscard]] std::string At(const std::string& path) const { return root_ + path; }
  [[nodiscard]] bool IsThere(const std::string& path) const {
    return exists(std::filesystem::symlink_status(At(path)));
  }
  [[nodiscard]] std::string Contents(const std::string& path) const {
    return folder_.Get(At(path));
  }
  void Put(const std::string& path, const std::string& contents) const {
    create_directories(std::filesystem::path(At(path)).parent_path());
    folder_.Put(At(path), contents);
  }
  // Of the names in a folder.
  [[nodiscard]] std::ptrdiff_t Count(const std::string& folder) const {
    return std::distance(std::filesystem::directory_iterator(At(folder)), {});
  }

  const TempFolder folder_{canonical(std::filesystem::temp_directory_path())};
  const std::string root_ = folder_.At("a mac's $folder");  // shells and URLs trip over this
};

}  // namespace zenta
