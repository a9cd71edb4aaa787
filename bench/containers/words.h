// The keys that the container benchmarks run on: a real Chinese word list, where it is installed,
// and a million synthetic ones of 4 to 24 bytes.
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

inline const Words& synthetic() {
  static const Words words = [] {
    std::mt19937_64 random(77);
    std::vector<std::string> list(1000000);
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

// The argument of a benchmark: which of the two.
enum Source { kWordList, kSynthetic };
inline const Words& words_from(std::int64_t source) {
  return source == kWordList ? word_list() : synthetic();
}

// Goes round the words, a batch at a time: one call of a contestant.
class Batches {
 public:
  static constexpr std::size_t kBatch = 256;
  explicit Batches(const std::vector<std::string>& words) : words_(words) {}

  std::uint64_t sum(auto&& look_up) {
    const std::size_t start = advance();
    std::uint64_t total = 0;
    for (std::size_t i = 0; i < kBatch; ++i) total += look_up(words_[start + i]);
    return total;
  }
  // The next batch as views.
  const std::array<BufferRef<unsigned char>, kBatch>& next() {
    const std::size_t start = advance();
    for (std::size_t i = 0; i < kBatch; ++i) views_[i] = words_[start + i];
    return views_;
  }

 private:
  std::size_t advance() {
    if (at_ + kBatch > words_.size()) at_ = 0;
    return std::exchange(at_, at_ + kBatch);
  }

  std::array<BufferRef<unsigned char>, kBatch> views_;
  const std::vector<std::string>& words_;
  std::size_t at_ = 0;
};

}  // namespace tstl::bench
