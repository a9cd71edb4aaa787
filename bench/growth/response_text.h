// The JSON of the large jobs: a cloud response with as many candidates as are wanted.
#pragma once

#include <cstdint>

#include "corelib/containers/chunk.h"
#include "corelib/text/buffer.h"
#include "engine/cloud/cloud_response.h"
#include "engine/records/message.h"

namespace zenta::bench {

// Some 138 bytes for each candidate; empty if there is not enough memory.
inline tstl::Buffer<unsigned char> ResponseText(std::uint32_t candidates) {
  tstl::Chunk arena;
  cloud::CloudResponse response;
  tstl::Buffer<unsigned char> text;
  for (std::uint32_t i = 0; i != candidates; ++i) {
    cloud::CandItem* const item = response.cand_list.append(arena);
    if (item == nullptr) return text;
    *item = {1, u"附近的美食推荐", "1f3c4711", "fu'jin'de'mei'shi", "2|3|2", "k1000", i};
  }
  if (!write_json(response, text)) text.clear();
  return text;
}

// Reads the text into records, and tells whether all candidates are there.
inline bool ReadResponse(const tstl::Buffer<unsigned char>& text, std::uint32_t candidates) {
  tstl::Chunk arena;
  cloud::CloudResponse response;
  return read_json(response, text, arena) && response.cand_list.size() == candidates;
}

}  // namespace zenta::bench
