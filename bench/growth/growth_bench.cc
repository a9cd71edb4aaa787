// What one item costs as their number grows from 1,000 to 10,000,000: `ns` for one key of a table, an
// image, a list and its file, and for one candidate of a JSON response. No peers: what matters is
// whether the cost stays level. Takes 1 GiB of memory.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include "bench/fresh_files.h"
#include "bench/growth/keys.h"
#include "bench/growth/response_text.h"
#include "bench/ratio.h"
#include "corelib/containers/buffer_hash.h"
#include "corelib/containers/buffer_list.h"
#include "corelib/containers/dict/dict_builder.h"

namespace zenta::bench {
namespace {

using View = tstl::BufferRef<unsigned char>;
using List = tstl::BufferList<unsigned char>;
using Table = tstl::BufferHash<unsigned char>;
using Dict = tstl::BufferDict<unsigned char>;
using Builder = tstl::DictBuilder<unsigned char>;

constexpr int kMost = 10000000;

// The keys one after another in one text.
class Keys {
 public:
  explicit Keys(const std::vector<std::uint32_t>& numbers) {
    text_.reserve(numbers.size() * 13);
    for (const std::uint32_t i : numbers) text_ += NumberedKey(i).key().std_view();
    const auto* at = reinterpret_cast<const unsigned char*>(text_.data());
    for (const std::uint32_t i : numbers) {
      list.emplace_back(at, NumberedKey(i).key().len());
      at += list.back().len();
    }
  }
  std::vector<View> list;

 private:
  std::string text_;
};

std::vector<std::uint32_t> Numbers(std::size_t n) {
  std::vector<std::uint32_t> numbers(n);
  for (std::uint32_t i = 0; i != n; ++i) numbers[i] = i;
  return numbers;
}

// The first of all keys, as many as the benchmark is for.
std::span<const View> KeysOf(const benchmark::State& state) {
  static const Keys all(Numbers(kMost));
  return std::span(all.list).first(static_cast<std::size_t>(state.range(0)));
}

// Runs the job, which returns whether its result is right, for all items.
template <class Run>
void Measure(benchmark::State& state, Run run) {
  bool done = true;
  Race(state, {.items = static_cast<double>(state.range(0))},
       Contestant{"ours", [&] { done = run() && done; }});
  if (!done) state.SkipWithError("a wrong result");
}

// Looks all keys up in another order than that in which they were added: as copies, so that the
// memory of the keys asked for is read in order. Key number i has the value i.
template <class Container>
void LookUp(benchmark::State& state, const Container& container) {
  std::vector<std::uint32_t> numbers = Numbers(KeysOf(state).size());
  std::shuffle(numbers.begin(), numbers.end(), std::mt19937(1));
  const Keys asked(numbers);
  const std::uint64_t n = numbers.size();
  Measure(state, [&] {
    std::uint64_t sum = 0;
    for (const View key : asked.list) {
      if (const auto* const node = container.find(key)) sum += node->value();
    }
    return sum == n * (n - 1) / 2;
  });
}

void Fill(std::span<const View> keys, Table& table) {
  for (std::uint32_t i = 0; i != keys.size(); ++i) table.insert(keys[i])->set_value(i);
}

// As many buckets as keys, up to BufferHash::kMaxTable; beyond that, chains grow with the keys.
void TableInsert(benchmark::State& state) {
  const auto keys = KeysOf(state);
  const auto n = static_cast<std::uint32_t>(keys.size());
  Measure(state, [&] {
    Table table(n);
    Fill(keys, table);
    return table.itemcnt() == n;
  });
}

void TableLookUp(benchmark::State& state) {
  const auto keys = KeysOf(state);
  Table table(static_cast<std::uint32_t>(keys.size()));
  Fill(keys, table);
  LookUp(state, table);
}

bool BuildImage(std::span<const View> keys, Dict& dict) {
  Builder builder;
  for (std::uint32_t i = 0; i != keys.size(); ++i) builder.add(keys[i], i);
  return builder.build(dict) == 0;
}

void ImageBuild(benchmark::State& state) {
  const auto keys = KeysOf(state);
  Dict dict;
  Measure(state, [&] { return BuildImage(keys, dict); });
  if (dict.find(keys.back()) == nullptr) state.SkipWithError("a key is missing");
}

void ImageLookUp(benchmark::State& state) {
  Dict dict;
  BuildImage(KeysOf(state), dict);
  LookUp(state, dict);
}

List ListOf(const benchmark::State& state) {
  List list;
  std::uint32_t i = 0;
  for (const View key : KeysOf(state)) list.emplace_back(key, NumberedKey(i++).value());
  return list;
}

// Each time from the unsorted order.
void ListSort(benchmark::State& state) {
  List list = ListOf(state);
  const std::vector<List::Node*> unsorted(list.begin(), list.end());
  Measure(state, [&] {
    std::copy(unsorted.begin(), unsorted.end(), list.begin());
    list.sort();
    return list.front()->value() >= list.back()->value();
  });
}

void FileWrite(benchmark::State& state) {
  const List list = ListOf(state);
  FreshFiles files;
  Measure(state, [&] { return list.write_kvfile(files.next(), '\t', false); });
}

void FileRead(benchmark::State& state) {
  FreshFiles files;
  const char* const path = files.next();
  ListOf(state).write_kvfile(path, '\t', false);
  List list;
  Measure(state, [&] { return list.read_kvfile(path, '\t') && list.size() == state.range(0); });
}

// The memory of the records is new each time.
void JsonRead(benchmark::State& state) {
  const auto n = static_cast<std::uint32_t>(state.range(0));
  const tstl::Buffer<unsigned char> text = ResponseText(n);
  Measure(state, [&] { return ReadResponse(text, n); });
}

// Registers a job for 1,000 items, ten times as many, and so on: the fewer items, the more rounds.
void Register(const char* name, void (*job)(benchmark::State&), int most = kMost) {
  for (int n = 1000; n <= most; n *= 10) {
    benchmark::RegisterBenchmark(name, job)
        ->ArgName("items")
        ->Arg(n)
        ->Iterations(std::max(1, 3000000 / n))
        ->Unit(benchmark::kMillisecond);
  }
}

[[maybe_unused]] const bool registered = [] {
  Register("table insert", TableInsert);
  Register("table look-up", TableLookUp);
  Register("image build", ImageBuild);
  Register("image look-up", ImageLookUp);
  Register("list sort", ListSort);
  Register("list file write", FileWrite);
  Register("list file read", FileRead);
  Register("JSON read", JsonRead, 1000000);
  return true;
}();

}  // namespace
}  // namespace zenta::bench
