// Looking up words in a dictionary image beside tinycdb, a constant database of the same kind: both
// are in memory, with the count of a word as a 32-bit value; building one; and opening one.
//
// Looking up, x_cdb is to be 1.54 or more (0.65 of its time), file_cdb 0.7 or less: our file divided by
// theirs. Building and opening, x_cdb is to be 0.77 or more (1.3 of its time) and 0.83 (1.2).

#include <cdb.h>
#include <fcntl.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <string>

#include "bench/containers/words.h"
#include "bench/ratio.h"
#include "corelib/containers/dict/dict_builder.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;
using Dict = BufferDict<unsigned char>;

// A file that is gone with the object.
class TemporaryFile {
 public:
  TemporaryFile() : fd_(::mkstemp(path_)) {}
  TemporaryFile(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    ::close(fd_);
    std::remove(path_);
  }
  int fd() const { return fd_; }
  const char* path() const { return path_; }
  double size() const { return static_cast<double>(::lseek(fd_, 0, SEEK_END)); }

 private:
  char path_[32] = "/tmp/zenta_dict_bench_XXXXXX";
  int fd_;
};

void make_dict(const Words& words, Dict& dict) {
  DictBuilder<unsigned char> builder;
  for (std::size_t i = 0; i < words.list.size(); ++i) {
    builder.add(words.list[i], words.counts[i] & 0x7FFFFFFF);
  }
  builder.build(dict);
}

void make_dict_of_table(const Words& words, Dict& dict) {
  BufferHash<unsigned char> table(static_cast<std::uint32_t>(words.list.size()));
  for (std::size_t i = 0; i < words.list.size(); ++i) {
    table.insert(words.list[i])->set_value(words.counts[i] & 0x7FFFFFFF);
  }
  dict.open(table);
}

void make_cdb(const Words& words, int fd, struct cdb& db) {
  struct cdb_make make;
  cdb_make_start(&make, fd);
  for (std::size_t i = 0; i < words.list.size(); ++i) {
    const std::uint32_t count = words.counts[i] & 0x7FFFFFFF;
    cdb_make_add(&make, words.list[i].data(), static_cast<unsigned>(words.list[i].size()), &count,
                 4);
  }
  cdb_make_finish(&make);
  cdb_init(&db, fd);
}

std::uint64_t value(const Dict& dict, const std::string& word) {
  const auto* const node = dict.find(word);
  return node == nullptr ? ~0u : node->value();
}
std::uint64_t value(struct cdb& db, const std::string& word) {
  std::uint32_t count = ~0u;
  if (cdb_find(&db, word.data(), static_cast<unsigned>(word.size())) > 0) {
    cdb_read(&db, &count, sizeof count, cdb_datapos(&db));
  }
  return count;
}

std::uint64_t sum_one_by_one(const Dict& dict, const std::vector<std::string>& words) {
  return sum(words, [&dict](const std::string& word) { return value(dict, word); });
}
std::uint64_t sum_together(const Dict& dict, const std::vector<std::string>& words) {
  return sum_batches(words, [&dict](const auto* keys, std::uint32_t cnt) {
    std::array<const Dict::Node*, kBatch> nodes;
    dict.find_all(keys, cnt, nodes.data());
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < cnt; ++i) total += nodes[i] == nullptr ? ~0u : nodes[i]->value();
    return total;
  });
}

// `sum_ours` looks all words up in our image.
template <auto sum_ours>
void find(benchmark::State& state, std::vector<std::string> Words::*which) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  Dict dict;
  make_dict(words, dict);
  const TemporaryFile file;
  struct cdb db;
  make_cdb(words, file.fd(), db);
  for (const std::string& word : words.*which) {
    if (value(dict, word) != value(db, word)) return state.SkipWithError("values differ");
  }
  const auto& asked = words.*which;
  Race(state, {.items = double(asked.size())},
       Contestant{"ours", [&] { return sum_ours(dict, asked); }},
       Contestant{"cdb", [&] { return sum(asked, [&](auto& word) { return value(db, word); }); }});
  state.counters["file_cdb"] = dict.ref_internal_data().len() / file.size();
  cdb_free(&db);
}
void dict_hit_in_order(benchmark::State& state) { find<sum_one_by_one>(state, &Words::list); }
void dict_hit_shuffled(benchmark::State& state) { find<sum_one_by_one>(state, &Words::shuffled); }
void dict_miss(benchmark::State& state) { find<sum_one_by_one>(state, &Words::missing); }
void dict_hit_shuffled_find_all(benchmark::State& state) {
  find<sum_together>(state, &Words::shuffled);
}
void dict_miss_find_all(benchmark::State& state) { find<sum_together>(state, &Words::missing); }

// Beside reading the same file with the C library; and once with check().
void dict_open_64MiB(benchmark::State& state) {
  const TemporaryFile file;
  Dict dict;
  double bytes = 0;
  {
    BufferHash<unsigned char> table(1048576);
    for (std::uint32_t i = 0; i < 1620000; ++i) {
      table.insert("a synthetic key, number " + std::to_string(i))->set_value(i);
    }
    dict.open(table);
    dict.save(file.path());
    bytes = dict.ref_internal_data().len();
  }
  const auto read_plainly = [&] {
    std::FILE* const in = std::fopen(file.path(), "rb");
    auto* const memory = static_cast<unsigned char*>(std::malloc(static_cast<std::size_t>(bytes)));
    const std::size_t got = std::fread(memory, 1, static_cast<std::size_t>(bytes), in);
    std::fclose(in);
    benchmark::DoNotOptimize(memory);
    std::free(memory);
    return got;
  };
  Race(state, {.bytes = bytes}, Contestant{"ours", [&] { return dict.open(file.path()); }},
       Contestant{"fread", read_plainly}, Contestant{"also_check", [&] { return dict.check(); }});
  state.counters["MiB"] = bytes / (1 << 20);
}

// From pairs in memory, to an image in memory and to a file of theirs.
void dict_build(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  Dict dict;
  const auto make_theirs = [&words] {
    const TemporaryFile file;
    struct cdb db;
    make_cdb(words, file.fd(), db);
    cdb_free(&db);
  };
  Race(state, {.items = double(words.list.size())},
       Contestant{"ours", [&] { make_dict(words, dict); }}, Contestant{"cdb", make_theirs},
       Contestant{"also_table", [&] { make_dict_of_table(words, dict); }});
}

// A line of what the system tells of this process's memory, in bytes.
double memory(const std::string& name) {
  std::ifstream status("/proc/self/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with(name)) return std::stod(line.substr(name.size() + 1)) * 1024;
  }
  return 0;
}

// Once; with `range` MiB of memory for pairs, or all. peak_images: the most memory at any moment,
// divided by the image's size.
void dict_build_10000000(benchmark::State& state) {
  constexpr std::uint32_t kKeys = 10000000;
  std::mt19937_64 random(5);
  std::string keys;  // of 4 to 24 bytes, each behind its length
  for (std::uint32_t i = 0; i < kKeys; ++i) {
    keys += static_cast<char>(4 + random() % 21);
    for (int left = keys.back(); left != 0; --left) keys += static_cast<char>('a' + random() % 26);
  }
  double seconds = 0, most = 0, size = 0;
  for ([[maybe_unused]] auto _ : state) {
    std::ofstream("/proc/self/clear_refs") << 5;  // the peak begins anew
    const double before = memory("VmRSS");
    const auto start = std::chrono::steady_clock::now();
    DictBuilder<unsigned char> builder;
    if (state.range(0) != 0) builder.set_memory(std::uint64_t(state.range(0)) << 20);
    for (std::size_t at = 0; at != keys.size(); at += 1 + std::size_t(keys[at])) {
      builder.add({keys.data() + at + 1, unsigned(keys[at])}, at & 0x7FFFFFFF);
    }
    const TemporaryFile file;
    Dict dict;
    if (state.range(0) == 0) builder.build(dict);
    if (state.range(0) != 0) builder.save(file.path());
    seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    most = memory("VmHWM") - before;
    if (state.range(0) != 0) dict.open(file.path());
    size = dict.ref_internal_data().len();
  }
  state.counters["ns"] = seconds * 1e9 / kKeys;
  state.counters["MiB"] = size / (1 << 20);
  state.counters["peak_images"] = most / size;
}

// Opening a file and finding one word: mapped, beside theirs, which is mapped too, and read.
void dict_open_and_find(benchmark::State& state) {
  const Words& words = synthetic();
  const TemporaryFile file, theirs;
  Dict dict;
  make_dict(words, dict);
  dict.save(file.path());
  state.counters["MiB"] = dict.ref_internal_data().len() / double(1 << 20);
  struct cdb made;
  make_cdb(words, theirs.fd(), made);
  cdb_free(&made);
  const std::string& word = words.list[words.list.size() / 2];
  const auto mapped = [&] {
    dict.open_mapped(file.path());
    const std::uint64_t found = value(dict, word);
    dict.close();
    return found;
  };
  const auto read = [&] { return dict.open(file.path()) == 0 ? value(dict, word) : 0; };
  const auto cdb = [&] {
    const int fd = ::open(theirs.path(), O_RDONLY | O_CLOEXEC);
    struct cdb db;
    cdb_init(&db, fd);
    const std::uint64_t found = value(db, word);
    cdb_free(&db);
    ::close(fd);
    return found;
  };
  if (mapped() != cdb() || read() != cdb()) return state.SkipWithError("values differ");
  Race(state, {}, Contestant{"ours", mapped}, Contestant{"cdb", cdb},
       Contestant{"also_read", read});
}

BENCHMARK(dict_hit_in_order)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_hit_shuffled)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_miss)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_hit_shuffled_find_all)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_miss_find_all)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_build)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(dict_build_10000000)->ArgName("MiB")->Arg(0)->Arg(64)->Iterations(1);
BENCHMARK(dict_open_and_find)->Iterations(200);
BENCHMARK(dict_open_64MiB)->Unit(benchmark::kMillisecond)->Iterations(5);

}  // namespace
}  // namespace tstl::bench
