// The hash table beside std::unordered_map and absl::flat_hash_map of std::string: filling, looking
// up words that are there (in the order of the list and in another) and words that are not.
//
// All three are sized beforehand, ours and the standard one with as many buckets as there are
// words. x_std is to be 2 or more, x_absl more than 1 but for misses, bytes_std 0.6 or less: our
// memory for a word divided by theirs.

#include <absl/container/flat_hash_map.h>
#include <malloc.h>

#include <array>
#include <chrono>
#include <memory>
#include <unordered_map>

#include "bench/containers/words.h"
#include "bench/ratio.h"
#include "corelib/containers/buffer_hash.h"

namespace tstl::bench {
namespace {

using zenta::bench::Contestant;
using zenta::bench::Race;
using Ours = BufferHash<unsigned char>;
using Std = std::unordered_map<std::string, std::uint64_t>;
using Absl = absl::flat_hash_map<std::string, std::uint64_t>;

void add(Ours& table, const std::string& word, std::uint64_t count) {
  table.insert(word)->set_value(count);
}
void add(auto& map, const std::string& word, std::uint64_t count) { map[word] = count; }

std::uint64_t value(const Ours& table, const std::string& word) {
  const auto* const node = table.find(word);
  return node == nullptr ? 1 : node->value();
}
std::uint64_t value(const auto& map, const std::string& word) {
  const auto at = map.find(word);
  return at == map.end() ? 1 : at->second;
}

template <class Table>
std::unique_ptr<Table> sized(const Words& words) {
  const auto n = static_cast<std::uint32_t>(words.list.size());
  auto table = std::make_unique<Table>(n);
  if constexpr (!std::is_same_v<Table, Ours>) table->reserve(n);
  return table;
}

template <class Table>
std::unique_ptr<Table> filled(const Words& words) {
  auto table = sized<Table>(words);
  for (std::size_t i = 0; i < words.list.size(); ++i) add(*table, words.list[i], words.counts[i]);
  return table;
}

std::unique_ptr<Ours> filled_together(const Words& words) {
  auto table = sized<Ours>(words);
  const std::uint64_t* count = words.counts.data();
  sum_batches(words.list, [&](const auto* keys, std::uint32_t cnt) {
    std::array<Ours::Node*, kBatch> nodes;
    table->insert_all(keys, cnt, nodes.data());
    for (std::uint32_t i = 0; i < cnt; ++i) nodes[i]->set_value(*count++);
    return cnt;
  });
  return table;
}

std::size_t heap_bytes() {
  const struct mallinfo2 info = ::mallinfo2();
  return info.uordblks + info.hblkhd;
}

// Seconds and bytes of filling a table, the best of all rounds; freeing it does not count.
struct Filling {
  double seconds = 1e9;
  double bytes = 0;

  void run(auto fill, const Words& words) {
    const std::size_t before = heap_bytes();
    const auto start = std::chrono::steady_clock::now();
    const auto table = fill(words);
    const std::chrono::duration<double> passed = std::chrono::steady_clock::now() - start;
    seconds = std::min(seconds, passed.count());
    bytes = static_cast<double>(heap_bytes() - before);
  }
};

template <auto fill_ours>
void fill(benchmark::State& state) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  Filling ours, standard, absl;
  for ([[maybe_unused]] auto _ : state) {
    ours.run(fill_ours, words);
    standard.run(filled<Std>, words);
    absl.run(filled<Absl>, words);
  }
  const double n = static_cast<double>(words.list.size());
  state.counters["ns"] = ours.seconds / n * 1e9;
  state.counters["x_std"] = standard.seconds / ours.seconds;
  state.counters["x_absl"] = absl.seconds / ours.seconds;
  state.counters["bytes"] = ours.bytes / n;
  state.counters["bytes_std"] = ours.bytes / standard.bytes;
  state.counters["bytes_absl"] = ours.bytes / absl.bytes;
}

void insert(benchmark::State& state) { fill<filled<Ours>>(state); }
void insert_all(benchmark::State& state) { fill<filled_together>(state); }

std::uint64_t sum_one_by_one(const auto& table, const std::vector<std::string>& words) {
  return sum(words, [&table](const std::string& word) { return value(table, word); });
}
std::uint64_t sum_together(const Ours& table, const std::vector<std::string>& words) {
  return sum_batches(words, [&table](const auto* keys, std::uint32_t cnt) {
    std::array<const Ours::Node*, kBatch> nodes;
    table.find_all(keys, cnt, nodes.data());
    std::uint64_t total = 0;
    for (std::uint32_t i = 0; i < cnt; ++i) total += nodes[i] == nullptr ? 1 : nodes[i]->value();
    return total;
  });
}

// `sum_ours` looks all words up in our table.
template <auto sum_ours>
void find(benchmark::State& state, std::vector<std::string> Words::*which) {
  const Words& words = words_from(state.range(0));
  if (words.empty()) return state.SkipWithError("the word list is not installed");
  const auto ours = filled<Ours>(words);
  const auto standard = filled<Std>(words);
  const auto absl = filled<Absl>(words);
  for (const std::string& word : words.*which) {
    if (value(*ours, word) != value(*standard, word)) return state.SkipWithError("values differ");
  }
  const auto& asked = words.*which;
  Race(state, {.items = double(asked.size())},
       Contestant{"ours", [&] { return sum_ours(*ours, asked); }},
       Contestant{"std", [&] { return sum_one_by_one(*standard, asked); }},
       Contestant{"absl", [&] { return sum_one_by_one(*absl, asked); }});
}

void hit_in_order(benchmark::State& state) { find<sum_one_by_one<Ours>>(state, &Words::list); }
void hit_shuffled(benchmark::State& state) { find<sum_one_by_one<Ours>>(state, &Words::shuffled); }
void miss(benchmark::State& state) { find<sum_one_by_one<Ours>>(state, &Words::missing); }
void hit_shuffled_find_all(benchmark::State& state) { find<sum_together>(state, &Words::shuffled); }
void miss_find_all(benchmark::State& state) { find<sum_together>(state, &Words::missing); }

BENCHMARK(insert)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(insert_all)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(hit_in_order)->ArgName("synthetic")->DenseRange(0, 2)->Iterations(5);
BENCHMARK(hit_shuffled)->ArgName("synthetic")->DenseRange(0, 2)->Iterations(5);
BENCHMARK(miss)->ArgName("synthetic")->DenseRange(0, 2)->Iterations(5);
BENCHMARK(hit_shuffled_find_all)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);
BENCHMARK(miss_find_all)->ArgName("synthetic")->DenseRange(0, 1)->Iterations(5);

}  // namespace
}  // namespace tstl::bench
