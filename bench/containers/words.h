// The keys that the container benchmarks run on: a real Chinese word list, where it is installed,
// and a million or 100,000 synthetic ones of 4 to 24 bytes.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <fstream>
#include <random>
#include <string>
#include <utility>
#include <vector>

#include "corelib/text/buffer_ref.h"

namespace tstl::bench {

struct Words {
  std::vector<std::string> list;      // each once, in the order of the list
  std::vector<std::uint64_t> counts;  // of the words of the list
  std::vector<std::string> shuffled;  // the same words in another order
  std::vector<std::string> missing;   // as many, as long, not in the list

  bool empty() const { return list.empty(); }
};

// Copies into strings that lie one after another, whatever order their originals were made in.
inline std::vector<std::string> packed(const std::vector<std::string>& words) {
  std::vector<std::string> copy;
  copy.reserve(words.size());
  for (const auto& word : words) copy.emplace_back(word.data(), word.size());
  return copy;
}

inline Words words_of(std::vector<std::string> list, std::vector<std::uint64_t> counts) {
  std::mt19937_64 random(2024);
  Words words{packed(list), std::move(counts), {}, {}};
  std::shuffle(list.begin(), list.end(), random);
  words.shuffled = packed(list);
  for (auto& word : list) {
    word[word.size() / 2] = '\x01';  // in none of the lists
  }
  words.missing = packed(list);
  return words;
}

// "word count tag" per line. Empty when the list is not installed.
inline const Words& word_list() {
  static const Words words = [] {
    std::vector<std::string> list;
    std::vector<std::uint64_t> counts;
    std::ifstream file(ZENTA_WORD_LIST);
    for (std::string line; std::getline(file, line);) {
      const auto tag = line.rfind(' ');
      const auto count = line.rfind(' ', tag - 1);
      list.push_back(line.substr(0, count));
      counts.push_back(std::stoull(line.substr(count + 1, tag - count - 1)));
    }
    return words_of(std::move(list), std::move(counts));
  }();
  return words;
}

template <std::size_t kCount = 1000000>
const Words& synthetic() {
  static const Words words = [] {
    std::mt19937_64 random(77);
    std::vector<std::string> list(kCount);
    std::vector<std::uint64_t> counts(list.size());
    for (std::size_t i = 0; i < list.size(); ++i) {
      list[i].resize(4 + random() % 21);
      for (char& c : list[i]) c = static_cast<char>('a' + random() % 26);
      counts[i] = random();
    }
    std::sort(list.begin(), list.end());
    list.erase(std::unique(list.begin(), list.end()), list.end());
    std::shuffle(list.begin(), list.end(), random);
    counts.resize(list.size());
    return words_of(std::move(list), std::move(counts));
  }();
  return words;
}

// The argument of a benchmark: which of the three.
enum Source { kWordList, kSynthetic, kFewSynthetic };
inline const Words& words_from(std::int64_t source) {
  if (source == kFewSynthetic) return synthetic<100000>();
  return source == kWordList ? word_list() : synthetic();
}

// One call of a contestant: all the words, one after another. A part of them would show how quick
// look-ups are whose memory happens to be in a cache.
inline std::uint64_t sum(const std::vector<std::string>& words, auto&& look_up) {
  std::uint64_t total = 0;
  for (const auto& word : words) total += look_up(word);
  return total;
}

// The same for what takes many at once: look_up(keys, cnt) gets them as views.
inline constexpr std::uint32_t kBatch = 256;
inline std::uint64_t sum_batches(const std::vector<std::string>& words, auto&& look_up) {
  std::array<BufferRef<unsigned char>, kBatch> keys;
  std::uint64_t total = 0;
  for (std::size_t start = 0; start < words.size(); start += kBatch) {
    const std::size_t cnt = std::min<std::size_t>(kBatch, words.size() - start);
    std::copy_n(words.begin() + static_cast<std::ptrdiff_t>(start), cnt, keys.begin());
    total += look_up(keys.data(), static_cast<std::uint32_t>(cnt));
  }
  return total;
}

}  // namespace tstl::bench
