// Reading and writing a key-value file beside the loops that a user would write: std::getline, the
// last tab, std::stoull, into a vector or a map; and std::ofstream. `blocks` is a careful loop: 4 KiB
// reads, memchr and std::from_chars, with the keys in one arena.
//
// Files are in the system's folder for temporary ones and stay in its cache.

#include <fcntl.h>
#include <unistd.h>

#include <charconv>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory_resource>
#include <string_view>
#include <unordered_map>

#include "bench/containers/words.h"
#include "bench/fresh_files.h"
#include "bench/ratio.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::FreshFiles;
using zenta::bench::Race;
using List = BufferList<unsigned char>;
using Table = BufferHash<unsigned char>;
using Vector = std::vector<std::pair<std::string, std::uint64_t>>;
using Map = std::unordered_map<std::string, std::uint64_t>;

// A path whose file is gone with the object.
struct TemporaryPath {
  const std::string path =
      std::filesystem::temp_directory_path() / ("zenta_list_bench_" + std::to_string(::getpid()));
  ~TemporaryPath() { std::remove(path.c_str()); }
};

List list_of(const Words& words) {
  List list;
  for (std::size_t i = 0; i < words.list.size(); ++i) {
    list.emplace_back(words.list[i], words.counts[i]);
  }
  return list;
}

void read_by_loop(const std::string& path, auto add) {
  std::ifstream file(path);
  for (std::string line; std::getline(file, line);) {
    const auto tab = line.rfind('\t');
    add(line.substr(0, tab), std::stoull(line.substr(tab + 1)));
  }
}

// Reads the file by blocks of 4 KiB and copies the keys into an arena. A line is at most a block long.
class BlockReader {
 public:
  struct Pair {
    std::string_view key;
    std::uint64_t value;
  };
  const std::vector<Pair>& read(const char* path) {
    arena_.release();
    pairs_.clear();
    char block[2 * kBlock];
    std::size_t kept = 0;
    const int file = ::open(path, O_RDONLY);
    for (ssize_t got; (got = ::read(file, block + kept, kBlock)) > 0;) {
      const char* const end = block + kept + got;
      const char* at = block;
      for (const char* lf; (lf = find(at, end, '\n')) != nullptr; at = lf + 1) add(at, lf);
      kept = static_cast<std::size_t>(end - at);
      std::memmove(block, at, kept);
    }
    ::close(file);
    return pairs_;
  }

 private:
  static constexpr std::size_t kBlock = 4096;

  static const char* find(const char* at, const char* end, char c) {
    return static_cast<const char*>(std::memchr(at, c, static_cast<std::size_t>(end - at)));
  }
  void add(const char* line, const char* end) {
    const char* const tab = find(line, end, '\t');
    const auto length = static_cast<std::size_t>(tab - line);
    auto* const key = static_cast<char*>(arena_.allocate(length, 1));
    std::memcpy(key, line, length);
    Pair& pair = pairs_.emplace_back(Pair{{key, length}, 0});
    std::from_chars(tab + 1, end, pair.value);
  }

  std::pmr::monotonic_buffer_resource arena_{1 << 20};
  std::vector<Pair> pairs_;
};

void read_list(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  const TemporaryPath file;
  list_of(words).write_kvfile(file.path.c_str(), '\t', false);
  List list;
  Vector vector;
  const auto by_loop = [&] {
    vector = Vector();
    read_by_loop(file.path, [&](std::string key, std::uint64_t value) {
      vector.emplace_back(std::move(key), value);
    });
  };
  by_loop();
  BlockReader blocks;
  const auto by_blocks = [&] { return blocks.read(file.path.c_str()).size(); };
  if (by_blocks() != vector.size()) return state.SkipWithError("the lists differ");
  if (!list.read_kvfile(file.path.c_str(), '\t') ||
      !std::equal(list.begin(), list.end(), vector.begin(), vector.end(),
                  [](const auto* node, const auto& pair) {
                    return node->key().std_view() == pair.first && node->value() == pair.second;
                  })) {
    return state.SkipWithError("the lists differ");
  }
  Race(state, {.items = double(words.list.size())},
       Contestant{"ours", [&] { return list.read_kvfile(file.path.c_str(), '\t'); }},
       Contestant{"loop", by_loop}, Contestant{"blocks", by_blocks});
}

// Both tables are sized beforehand.
void read_table(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  const TemporaryPath file;
  list_of(words).write_kvfile(file.path.c_str(), '\t', false);
  Table table(static_cast<std::uint32_t>(words.list.size()));
  Map map;
  const auto by_loop = [&] {
    map = Map();
    map.reserve(words.list.size());
    read_by_loop(file.path, [&](const std::string& key, std::uint64_t value) { map[key] = value; });
  };
  by_loop();
  table.read_kvfile(file.path.c_str(), '\t');
  for (const auto& [key, value] : map) {
    if (table.itemcnt() != map.size() || table.find(key)->value() != value) {
      return state.SkipWithError("the tables differ");
    }
  }
  Race(state, {.items = double(words.list.size())},
       Contestant{"ours", [&] { return table.read_kvfile(file.path.c_str(), '\t'); }},
       Contestant{"loop", by_loop});
}

// Into new files.
void write_list(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  FreshFiles files;
  const List list = list_of(words);
  const auto by_loop = [&] {
    std::ofstream out(files.next());
    for (std::size_t i = 0; i < words.list.size(); ++i) {
      out << words.list[i] << '\t' << words.counts[i] << '\n';
    }
  };
  const auto ours = [&] { return list.write_kvfile(files.next(), '\t', false); };
  by_loop();
  const std::string want = files.contents();
  if (!ours() || files.contents() != want) return state.SkipWithError("the files differ");
  Race(state, {.bytes = double(want.size()), .items = double(words.list.size())},
       Contestant{"ours", ours}, Contestant{"loop", by_loop});
}

BENCHMARK(read_list)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(read_table)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(write_list)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);

}  // namespace
}  // namespace tstl::bench
