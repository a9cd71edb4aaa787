// The lines of word lists: files plain or compressed (gzip, Zstandard), folders of part files as
// distributed engines leave them, standard input.
//
// Memory is bounded whatever the files hold: some blocks, a decompressor's window (128 MiB at most, as a
// rule far less), and one line of kLongestLine bytes.
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
  std::uint64_t bytes = 0;         // of all, as they are stored; 0 when nobody knows
  std::vector<std::string> notes;  // what was passed over
};

// The files that `inputs` stand for, in order: a folder for its part files (part-*) in the order of their
// names, "-" for standard input. All are noted as inputs. Throws Failure for a folder without part
// files, and for what is not there.
[[nodiscard]] ListFiles FindListFiles(const std::vector<std::filesystem::path>& inputs);

// Reads one of them. A file is known to be compressed by its first bytes. Text is UTF-8, or UTF-16 where a
// byte-order mark says so, and comes as UTF-8 without a mark; a surrogate without its partner comes as
// three bytes, which are ill-formed. Every call throws Failure, naming the file, when it cannot be read
// or its compression is damaged.
class LineReader {
 public:
  static constexpr std::size_t kLongestLine = std::size_t{1} << 20;

  // Reads ahead until `look_ahead` bytes of text are there, or all.
  explicit LineReader(const std::filesystem::path& path, std::size_t look_ahead = 1);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // What was read ahead. REQUIRES: Next() was not called yet.
  [[nodiscard]] std::string_view front() const { return {at_, end_}; }

  // The next line without its end: LF, CR, CR LF, or that of the file. The view is good until the next
  // call. False at the end.
  [[nodiscard]] bool Next(std::string_view& line);
  // Of the line that Next() gave: its number, from 1 on; and whether it is longer than kLongestLine,
  // and only its start was given.
  [[nodiscard]] std::uint64_t number() const { return number_; }
  [[nodiscard]] bool is_cut() const { return is_cut_; }

  // Bytes of the file that were read, as they are stored.
  [[nodiscard]] std::uint64_t bytes_read() const;

 private:
  class File;

  bool Refill();
  const char* FindEnd();
  void Keep(std::string_view piece);

  std::string name_;
  File* file_ = nullptr;  // at the bottom of source_
  std::unique_ptr<host_installer::ByteSource> source_;
  const char* at_ = nullptr;  // what is left of a block of text
  const char* end_ = nullptr;
  const char* line_feed_ = nullptr;  // the first one in it, if at_ has not passed it, or end_
  std::string kept_;                 // the start of a line that spans blocks
  std::uint64_t number_ = 0;
  bool is_cut_ = false;
  bool after_cr_ = false;
};

}  // namespace zenta::zentactl
