// The word that somebody most likely meant who wrote another.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace zenta::tools {

// Of `words` the one with the fewest typing errors to `written`: letters that are wrong, missing, too
// many, or swapped with their neighbour. Empty if even that one has too many of them, more than a third
// of the longer word's letters. Of equals it is the first.
[[nodiscard]] std::string NearestWord(std::string_view written,
                                      const std::vector<std::string>& words);

}  // namespace zenta::tools
