#include "tools/common/nearest.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace zenta::tools {
namespace {

constexpr std::size_t kLongestWord = 64;  // bounds a comparison's time, the product of both lengths

// Optimal string alignment distance: Levenshtein's, with a transposition as one error. Keeps three
// rows of the table: for the current letter of `a` and for the two before it.
std::size_t Distance(std::string_view a, std::string_view b) {
  std::vector<std::size_t> older(b.size() + 1), last(b.size() + 1), row(b.size() + 1);
  for (std::size_t j = 0; j <= b.size(); ++j) last[j] = j;
  for (std::size_t i = 1; i <= a.size(); ++i) {
    row[0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t changed = last[j - 1] + (a[i - 1] != b[j - 1]);
      row[j] = std::min({changed, last[j] + 1, row[j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1]) {
        row[j] = std::min(row[j], older[j - 2] + 1);
      }
    }
    std::swap(older, last);
    std::swap(last, row);
  }
  return last[b.size()];
}

}  // namespace

std::string NearestWord(std::string_view written, const std::vector<std::string>& words) {
  std::string nearest;
  std::size_t fewest = kLongestWord;
  if (written.size() > kLongestWord) return nearest;
  for (const std::string& word : words) {
    const std::size_t errors = Distance(written, word);
    const std::size_t letters = std::max(written.size(), word.size());
    if (errors < fewest && 3 * errors <= letters) {
      fewest = errors;
      nearest = word;
    }
  }
  return nearest;
}

}  // namespace zenta::tools
