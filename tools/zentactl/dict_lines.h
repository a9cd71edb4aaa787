// Reads word lists line by line: plain and compressed files (gzip, Zstandard), folders of part
// files as Hadoop and Spark write them, standard input.
//
// Memory is bounded, whatever the files hold: a few blocks, a decompressor's window (at most 128
// MiB, usually far less), and one line of kLongestLine bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "tools/host_installer/byte_source.h"

namespace zenta::zentactl {

struct ListFiles {
  std::vector<std::filesystem::path> paths;
  std::uint64_t bytes = 0;         // of all, as stored; 0 if not known
  std::vector<std::string> notes;  // about what was skipped, and about a job that is not done
};

// The files that `inputs` name, in order. A folder stands for its part files (part-*), sorted by
// name; "-" is standard input. All are noted as inputs (tools/common/inputs.h). Throws Failure for
// a folder without part files, and for a file that is missing or cannot be read.
[[nodiscard]] ListFiles FindListFiles(const std::vector<std::filesystem::path>& inputs);

// Reads the lines of one file. Its first bytes tell whether it is compressed. Its text is UTF-8, or
// UTF-16 if a byte-order mark says so; lines are UTF-8 without a mark. A lone surrogate becomes
// three bytes, which are ill-formed UTF-8. Every call throws Failure, naming the file, if the file
// cannot be read or its compression is damaged.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  // Reads ahead `look_ahead` bytes of text or more, or the whole file if it is shorter.
  explicit LineReader(const std::filesystem::path& path, std::size_t look_ahead = 1);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // The text that was read ahead. REQUIRES: Next() was not called yet.
  [[nodiscard]] std::string_view front() const { return {at_, end_}; }

  // Gets the next line without its line end: LF, CR, CR LF, or none at the end of the file. The
  // view is valid until the next call. False at the end of the file.
  [[nodiscard]] bool Next(std::string_view& line);
  // The number of the line that Next() got last, from 1 on; and whether that line is longer than
  // kLongestLine, so that `line` was only its start.
  [[nodiscard]] std::uint64_t number() const { return number_; }
  [[nodiscard]] bool is_cut() const { return is_cut_; }

  // The bytes of the file that were read so far, as stored.
  [[nodiscard]] std::uint64_t bytes_read() const;

 private:
  class File;

  bool Refill();
  const char* FindEnd();
  void Keep(std::string_view piece);

  std::string name_;
  File* file_ = nullptr;  // owned by the innermost source of source_
  std::unique_ptr<host_installer::ByteSource> source_;
  const char* at_ = nullptr;  // the rest of the block: [at_, end_)
  const char* end_ = nullptr;
  const char* line_feed_ = nullptr;  // the next one in the block, or end_; before at_: not known
  std::string kept_;                 // the start of a line that spans blocks
  std::uint64_t number_ = 0;
  bool is_cut_ = false;
  bool after_cr_ = false;
};

}  // namespace zenta::zentactl
