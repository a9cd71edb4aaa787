// Compares two messages member by member.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corelib/text/buffer_ref.h"

namespace zenta::zentactl {

// A member, "attach.suglogs[0].sug_word", and its values as JSON; empty where it is missing.
struct Difference {
  std::string member;
  std::string first, second;
};

struct Differences {
  static constexpr std::size_t kMost = 1000;
  std::vector<Difference> first;  // at most kMost
  std::uint64_t count = 0;
};

// Compares two records that were written as JSON. Elements of arrays are compared by index. Throws
// Failure when out of memory. REQUIRES: both texts are well-formed, and their members are in the
// order of the record's table.
[[nodiscard]] Differences CompareJson(tstl::BufferRef<unsigned char> first,
                                      tstl::BufferRef<unsigned char> second);

}  // namespace zenta::zentactl
