// FreshFiles: a new file for every time that something is written, all gone at the end.
//
// Writing over an old file would also measure how that one is freed; and a file system may bring
// what replaces a file that was cut to nothing out to the disk at once, while the writer waits (ext4
// does, so that a crash leaves one of the two). Both are the same fixed sum for every contestant.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

namespace zenta::bench {

class FreshFiles {
 public:
  FreshFiles() = default;
  FreshFiles(const FreshFiles&) = delete;
  FreshFiles& operator=(const FreshFiles&) = delete;
  ~FreshFiles() {
    for (const std::string& path : paths_) std::remove(path.c_str());
  }

  // The path of a file that does not exist yet.
  const char* next() {
    const std::string name =
        "zenta_bench_" + std::to_string(::getpid()) + "_" + std::to_string(paths_.size());
    return paths_.emplace_back(std::filesystem::temp_directory_path() / name).c_str();
  }
  // What is in the file of the last path.
  std::string contents() const {
    std::ifstream file(paths_.back(), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::vector<std::string> paths_;
};

}  // namespace zenta::bench
