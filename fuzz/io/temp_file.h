// A file for one test, or one that a fuzz target writes for each input; removed at the end.
#pragma once

#include <unistd.h>

#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>
#include <string_view>

#include "fuzz/scratch_folder.h"

namespace tstl {

class TempFile {
 public:
  explicit TempFile(std::string_view bytes = {}) {
    static int count = 0;
    const std::string name = std::to_string(::getpid()) + "_" + std::to_string(++count % 100);
    path_ = zenta::fuzz::ScratchRoot() + "/io_test_" + name;
    write(bytes);
  }
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { ::unlink(path()); }

  // Replaces the contents, whatever the file is by now.
  void write(std::string_view bytes) const {
    std::FILE* const file = std::fopen(path(), "wb");
    zenta::fuzz::Require(file != nullptr &&
                         std::fwrite(bytes.data(), 1, bytes.size(), file) == bytes.size() &&
                         std::fclose(file) == 0);
  }

  const char* path() const { return path_.c_str(); }
  std::string bytes() const {
    std::ifstream file(path_, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
  }

 private:
  std::string path_;
};

}  // namespace tstl
