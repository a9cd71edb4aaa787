// The output of a `zentactl dict` command: an image or a list, which may be larger than memory.
#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

#include "tools/common/new_file.h"

namespace zenta::zentactl {

// A new file that Commit() renames to `out` in one step; without Commit() it is removed. Standard
// output ("-"), a device or a named pipe is written to directly, and after a failure has a part of
// the output. Every member throws Failure, naming `out`.
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
  // Call once, when all is written.
  void Commit();

 private:
  std::filesystem::path out_;
  std::optional<tools::NewFile> file_;
  int descriptor_;
};

// Writes keys and values as the lines of a word list, buffered.
class ListWriter {
 public:
  // On a terminal, control characters of keys are escaped. REQUIRES: `file` outlives this.
  ListWriter(ResultFile& file, char separator);

  void Key(std::string_view key);
  void Pair(std::string_view key, std::uint32_t value);
  // Writes what is still buffered.
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
