// Finds the word that was most likely meant by a misspelt one.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zenta::tools {

// The word of `words` with the fewest typing errors compared with `written`: letters that are
// wrong, missing, superfluous, or swapped with their neighbour. The first of several. Empty if it
// has more errors than a third of the longer word's letters, or if `written` has over 64 bytes.
[[nodiscard]] std::string NearestWord(std::string_view written,
                                      const std::vector<std::string>& words);

}  // namespace zenta::tools
