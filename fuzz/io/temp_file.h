// A file for one test or one input, gone at its end.
#pragma once

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

namespace tstl {

class TempFile {
 public:
  explicit TempFile(std::string_view bytes = {}) {
    static int count = 0;
    const std::string name = std::to_string(::getpid()) + "_" + std::to_string(++count % 100);
    path_ = std::filesystem::temp_directory_path() / ("io_test_" + name);
    std::ofstream(path_, std::ios::binary).write(bytes.data(), std::ssize(bytes));
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { ::unlink(path()); }

  const char* path() const { return path_.c_str(); }
  std::string bytes() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

}  // namespace tstl
