// A temporary folder for a test. The destructor removes it with its contents.
#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

namespace zenta {

class TempFolder {
 public:
  explicit TempFolder(const std::filesystem::path& in = std::filesystem::temp_directory_path()) {
    std::string name = (in / "zenta-test-XXXXXX").string();
    if (mkdtemp(name.data()) == nullptr) std::abort();
    path_ = name;
  }
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;
  ~TempFolder() { std::filesystem::remove_all(path_); }

  [[nodiscard]] std::string At(const std::string& name) const { return (path_ / name).string(); }
  [[nodiscard]] std::string Get(const std::string& name) const {
    std::ifstream file(path_ / name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }
  // Writes a file and creates the folders above it. Returns the file's path.
  std::string Put(const std::string& name, const std::string& contents) const {
    std::filesystem::create_directories((path_ / name).parent_path());
    std::ofstream(path_ / name, std::ios::binary) << contents;
    return At(name);
  }

 private:
  std::filesystem::path path_;
};

}  // namespace zenta
