// Where fuzz targets and tests keep their files: in a memory file system if there is one, because a
// disk would take most of the time of a target that writes a file for each input.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

#include "fuzz/require.h"

namespace zenta::fuzz {

inline std::string ScratchRoot() {
  std::error_code none;
  return std::filesystem::is_directory("/dev/shm", none)
             ? "/dev/shm"
             : std::filesystem::temp_directory_path().string();
}

// A new folder there, which is removed at the end with its contents.
class ScratchFolder {
 public:
  explicit ScratchFolder(const std::string& name) : path_(ScratchRoot() + "/" + name + "-XXXXXX") {
    Require(mkdtemp(path_.data()) != nullptr);
  }
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  ~ScratchFolder() { std::filesystem::remove_all(path_); }

  const std::string& path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace zenta::fuzz
