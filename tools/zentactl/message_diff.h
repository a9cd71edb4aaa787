// Where two messages differ, member by member.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "corelib/text/buffer_ref.h"

namespace zenta::zentactl {

// A member, "attach.suglogs[0].sug_word", and its values as JSON; empty where it is not there.
struct Difference {
  std::string member;
  std::string first, second;
};

struct Differences {
  static constexpr std::size_t kMost = 1000;
  std::vector<Difference> first;  // at most kMost
  std::uint64_t count = 0;
};

// Both texts are JSON that a record was written to: well-formed, members in the same order. Elements of
// arrays are compared by their index. Throws Failure when memory is short.
[[nodiscard]] Differences CompareJson(tstl::BufferRef<unsigned char> first,
                                      tstl::BufferRef<unsigned char> second);

}  // namespace zenta::zentactl
