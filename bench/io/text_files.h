// The entries of a key-value file to read and to write: the word list of Debian's python3-jieba
// with its counts if it is installed, otherwise a synthetic one of the same kind.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <vector>

namespace tstl::bench {

struct Entry {
  std::string word;
  std::uint64_t count;
};

inline std::vector<Entry> synthetic_entries() {
  std::mt19937_64 random(5);
  std::vector<Entry> entries(350000);
  for (Entry& entry : entries) {
    for (std::size_t n = 1 + random() % 5; n != 0; --n) {
      const auto c = 0x4E00 + random() % 0x5000;  // three bytes each in UTF-8
      entry.word += static_cast<char>(0xE0 | c >> 12);
      entry.word += static_cast<char>(0x80 | (c >> 6 & 0x3F));
      entry.word += static_cast<char>(0x80 | (c & 0x3F));
    }
    entry.count = random() % 8 == 0 ? random() % 100000 : random() % 10;
  }
  return entries;
}

inline const std::vector<Entry>& entries() {
  static const std::vector<Entry> all = [] {
    std::vector<Entry> list;
    std::ifstream file(ZENTA_WORD_LIST);  // "word count tag" per line
    for (std::string line; std::getline(file, line);) {
      const auto tag = line.rfind(' ');
      const auto count = line.rfind(' ', tag - 1);
      list.push_back({line.substr(0, count), std::stoull(line.substr(count + 1))});
    }
    return list.empty() ? synthetic_entries() : list;
  }();
  return all;
}

// The path of a temporary file, which is removed at the end.
class TempFile {
 public:
  explicit TempFile(const char* name = "bench")
      : path_(std::filesystem::temp_directory_path() / (name + std::to_string(::getpid()))) {}
  TempFile(const TempFile&) = delete;
  TempFile& operator=(const TempFile&) = delete;
  ~TempFile() { std::remove(path_.c_str()); }

  const char* path() const { return path_.c_str(); }

 private:
  std::string path_;
};

}  // namespace tstl::bench
