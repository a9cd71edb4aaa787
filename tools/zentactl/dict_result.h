// Where a command of `zentactl dict` writes an image or a list, which may be larger than memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tools/common/new_file.h"

namespace zenta::zentactl {

// A new file that takes its name in one step when it is whole, and is gone otherwise; or standard output
// ("-"), a device or a named pipe, which are written to and may have got a part. Every member throws
// Failure, naming `out`.
class ResultFile {
 public:
  explicit ResultFile(std::filesystem::path out);
  ResultFile(const ResultFile&) = delete;
  ResultFile& operator=(const ResultFile&) = delete;
  ~ResultFile();

  [[nodiscard]] int descriptor() const { return descriptor_; }
  // Whether what is written can be read back from the descriptor.
  [[nodiscard]] bool is_file() const { return file_.has_value(); }

  void Write(std::string_view bytes);
  // Once, when all is written.
  void Commit();

 private:
  std::filesystem::path out_;
  std::optional<tools::NewFile> file_;
  int descriptor_;
};

// Writes keys and values as the lines of a word list, many lines at a time.
class ListWriter {
 public:
  // A terminal gets keys with escapes for what it would obey. REQUIRES: `file` outlives this.
  ListWriter(ResultFile& file, char separator);

  void Key(std::string_view key);
  void Pair(std::string_view key, std::uint32_t value);
  // What is still in memory.
  void Flush();

 private:
  void AddKey(std::string_view key);
  void EndLine();

  ResultFile& file_;
  char separator_;
  bool is_terminal_;
  std::string lines_;
};

}  // namespace zenta::zentactl
